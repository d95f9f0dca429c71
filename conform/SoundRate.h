#pragma once

#include "movie/QTTrack.h"

namespace reelwright::soundRate {

/// The sample rate of a sound description as it is stored; nothing where it cannot be read.
std::optional<double> of(const SampleDescription& description);

/// Can the description of that form hold the rate? Versions 0 and 1 have 16 bits for its whole part.
bool fits(double rate);

/// The entry with another sample rate. One that holds it in 16.16 keeps its form; a higher rate needs version
/// 2, which uncompressed sound can be given in QuickTime files. Errors: Refused where there is no form for
/// it.
Result<Atom> withRate(const Atom& entry, double rate, bool isQuickTimeFile);

} // namespace reelwright::soundRate
