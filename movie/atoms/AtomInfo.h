#pragma once

#include "movie/atoms/Bytes.h"
#include "movie/atoms/FourCC.h"

#include <cstddef>
#include <optional>
#include <span>

namespace reelwright {

/// Where the children of an atom begin.
enum class AtomLayout {
    Leaf,
    Container, ///< children fill the payload
    FullContainer, ///< version and flags, then children
    CountedList, ///< version and flags, a 32-bit count, then children
    ProbeContainer, ///< `meta`: children at once in QuickTime, after version and flags in ISO files
};

/// One row of the table of atoms that hold atoms.
struct AtomInfo
{
    FourCC type;
    FourCC parent; ///< the row holds only below this parent; zero: anywhere
    AtomLayout layout = AtomLayout::Leaf;
    const char* quirk = "";
};

/// All rows, the parser's and the dumper's one source.
std::span<const AtomInfo> atomTable();

/// Bytes before the first child of an atom of that type below that parent, or nothing for a leaf. `payload`
/// decides where the bytes have to be asked.
std::optional<std::size_t> childrenOffset(FourCC type, FourCC parent, ByteSpan payload);

} // namespace reelwright
