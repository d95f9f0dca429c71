#pragma once

#include "movie/QTMovie.h"

#include <string>

namespace reelwright {

/// A movie header kept in a small file of its own, to be put back after a conform. Beside the header (a
/// `moov` atom as it stood in its file) it holds where the movie's first and last samples lie and a checksum
/// of each, so that it is put back into its own movie only.
///
///     | rwck: version, count, {track, offset, size, checksum} ... | moov |
class HeaderSidecar
{
public:
    /// Writes the header that the movie's file has now, whatever was edited since. Errors: Refused when there
    /// is a file of that name, for a movie without a movie file and for one without samples of its own; Io.
    static Result<void> keep(const QTMovie& movie, const std::string& path);
    /// Gives the movie, which must be editable, the header that was kept; it is saved like any edit. Errors:
    /// Refused when it is no such file or another movie's, naming the sample that differs; Io.
    static Result<void> restore(const std::string& path, QTMovie& movie);

    /// Where a header is kept: in a folder ("NAME.header"), or under the given name.
    static std::string pathFor(const std::string& fileOrFolder, const std::string& moviePath);
    /// A free name beside the movie.
    static std::string besideMovie(const std::string& moviePath);
    /// How large the file would be.
    static std::uint64_t sizeOf(const QTMovie& movie);
};

} // namespace reelwright
