#pragma once

#include "movie/atoms/Bytes.h"
#include "movie/atoms/FourCC.h"

#include <string>
#include <vector>

namespace reelwright {

/// A field of an atom by its name.
struct AtomField
{
    std::string name; ///< "time scale", "entry 12"
    std::size_t offset = 0; ///< bytes from the start of the atom, its header included
    std::size_t size = 0; ///< bytes
    std::string value; ///< printable: "30000", "2026-03-01 10:22:07 UTC", "duration 90, media time 0, rate 1"
};

/// Where an atom stands, which decides what its bytes mean.
struct AtomContext
{
    FourCC type;
    FourCC parent; ///< zero on the outermost level
    FourCC mediaType; ///< of the track that it lies in: "vide", "soun"; zero elsewhere
};

/// The fields of an atom, in order, as far as this program knows them: those of `docs/format/`. `payload` is
/// what follows the atom's header of `headerSize` bytes (or the beginning of it). Of long tables the first
/// entries are told, and how many there are; the extensions of a sample description follow its own fields.
/// Never fails: what does not fit is left out.
std::vector<AtomField> atomFields(const AtomContext& context, ByteSpan payload, std::size_t headerSize);

} // namespace reelwright
