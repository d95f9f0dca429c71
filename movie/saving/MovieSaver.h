#pragma once

#include "movie/QTMovie.h"

#include <string>

namespace reelwright {

/// On which volumes files are updated in place.
enum class VolumeRule {
    JournalledOnly, ///< see volumeAllowsInPlaceUpdate
    Any,
};

struct SaveOptions
{
    Progress progress; ///< may be empty
    VolumeRule volumes = VolumeRule::JournalledOnly;
};

struct SaveReport
{
    std::uint64_t bytesWritten = 0; ///< to the movie file; media copied by the kernel included
    bool headerLeftTheFront = false; ///< the header stood before the media and had to move behind them
};

/// Writes movies back to files. At every instant the file on disk is the old movie or the new one, whole.
class MovieSaver
{
public:
    /// Can the movie's own file be updated in place? The error (Refused) says why not.
    static Result<void> canUpdateMovieFile(
        const QTMovie& movie, VolumeRule volumes = VolumeRule::JournalledOnly);

    /// Updates the movie's own file in place: new media and the new header are placed where no reader looks,
    /// then the header's type is switched, then the old header is retired. Cost: the header, never the media.
    /// Writes nothing when nothing was changed. On an error the file is the old movie, or the new one where
    /// the very last steps failed; the movie then lies over the file as it is and can be saved again.
    static Result<SaveReport> updateMovieFile(QTMovie& movie, const SaveOptions& options = {});

    /// Writes the movie flattened (header first, all media in the one file) to `path`, replacing a file there
    /// only when the new one is complete. The movie itself is not changed; open the file to go on with it.
    /// Errors: Io; Refused when the movie's file was changed meanwhile; Truncated when media are missing;
    /// Cancelled.
    static Result<SaveReport> writeToFile(
        const QTMovie& movie, const std::string& path, const SaveOptions& options = {});
};

} // namespace reelwright
