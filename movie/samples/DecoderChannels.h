#pragma once

#include "movie/atoms/Atom.h"

#include <cstdint>
#include <optional>

namespace reelwright {

/// How many channels a decoder makes of sound, by its own configuration: the field of a sample description
/// often says 2 for everything. `type` is that of the atom that holds the configuration (`esds`, `dac3`,
/// `dec3`, `ddts`, `alac`, `dOps`, `dfLa`), `payload` what stands in it. Nothing for other atoms, and where the
/// configuration does not say.
std::optional<std::uint32_t> decoderChannels(FourCC type, ByteSpan payload);

} // namespace reelwright
