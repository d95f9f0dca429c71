#pragma once

#include "movie/QTMovie.h"

namespace reelwright {

/// Finds the header that a file means among its `moov` atoms: the first that is whole, can be read and has a
/// track; else the first that can be read. Notes in the file which one it is, and its bytes where all of it
/// was read. Errors: those of the first that cannot be read; Truncated and Unsupported, with the reason,
/// where there is none.
Result<Atom> chooseHeader(MovieFile& file, HeaderReading reading, std::vector<MovieWarning>& warnings);

} // namespace reelwright
