#pragma once

#include "movie/files/MovieFile.h"

#include <vector>

namespace reelwright {

/// A movie header without the inside of its large sample tables: enough for a report. Cut are the tables of
/// pictures and sound but for their durations (`stsz`, `stz2`, `stsc`, `stco`, `co64`, `ctts`, `stss`,
/// `sdtp`), where that saves a good deal of reading and the table holds what it claims; of a damaged header
/// nothing is left out.
struct HeaderOutline
{
    /// The header in its full size. The inside of cut tables is nothing in particular; memory that nobody
    /// touches costs nothing.
    Bytes bytes;
    std::vector<std::uint64_t> cutAtoms; ///< their file offsets, ascending

    /// Reads the header that `place` tells of. Errors: Io; Truncated.
    static Result<HeaderOutline> read(StorageFile& file, const TopLevelAtom& place);
    /// Leaves in the tree that was parsed from `bytes` only what was read; see Atom::isCut.
    void markCut(Atom& moov) const;
};

} // namespace reelwright
