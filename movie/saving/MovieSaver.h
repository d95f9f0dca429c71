#pragma once

#include "movie/QTMovie.h"
#include "movie/files/Storage.h"
#include "movie/saving/UnusedBytes.h"

#include <functional>
#include <string>

namespace reelwright {

/// On which volumes files are updated in place.
enum class VolumeRule {
    JournalledOnly, ///< see volumeAllowsInPlaceUpdate
    Any,
};

/// What is told and asked of a whole file on its way to its place. Each may be empty.
struct WholeFileEvents
{
    /// The file is being written under that hidden name.
    std::function<void(const std::string& temporary)> begun {};
    /// It is complete, and about to take its name; `replaces`: from another file.
    std::function<void(const std::string& temporary, const std::string& target, bool replaces)> complete {};
    /// Takes away the file that was replaced (see Storage::Disposal). Without it that file is deleted.
    Storage::Disposal dispose {};
};

struct SaveOptions
{
    Progress progress {}; ///< may be empty
    VolumeRule volumes = VolumeRule::JournalledOnly;
    UnusedBytes unused = UnusedBytes::Keep;
    /// Go the whole way to the first write, and end there: what a save would refuse is refused, and the
    /// report says what would be written.
    bool rehearse = false;
    /// May `writeToFile` replace a file? The movie's own one always, as long as nobody else changed it.
    bool overwrite = true;
    /// What has to stand where `writeToFile` writes, if anything does. Its date does not matter.
    std::optional<FileState> expected {};
    /// Told before the first write each movie header (a whole atom) that the file is going to have at some
    /// moment of the save. An error ends the save.
    std::function<Result<void>(ByteSpan header)> announce {};
    /// Finish what an interrupted update left to do, also where nothing was changed: a header that lies
    /// behind the media although there is room for it in front of them is brought there.
    bool finishesInterrupted = false;
    WholeFileEvents wholeFile {};
};

struct SaveReport
{
    std::uint64_t bytesWritten = 0; ///< to the movie file; media copied by the kernel included
    bool headerLeftTheFront = false; ///< the header stood before the media and had to move behind them
    std::uint64_t bytesLeftOut = 0; ///< of the movie's file; never by an update in place
    bool sourceChanged = false; ///< the movie's own file is no longer as it was opened: a copy was made of
                                ///< what its media are now
};

enum class SaveWay { InPlace, Flattened };

/// Writes movies back to files. At every instant the file on disk is the old movie or the new one, whole.
class MovieSaver
{
public:
    /// Can the movie's own file be updated in place? The error (Refused) says why not.
    static Result<void> canUpdateMovieFile(
        const QTMovie& movie, VolumeRule volumes = VolumeRule::JournalledOnly);

    /// What a save that way would do, without writing a byte, or why it would be refused. The save itself
    /// goes by the same plan; it looks once more whether the file is what was opened, and takes the lock.
    static Result<SaveReport> plan(const QTMovie& movie, SaveWay way, const SaveOptions& options = {});
    /// Is the movie's own file, by its name, still the one that was opened? A new date alone is no change.
    /// Errors: Changed; Io where there is no such file any more.
    static Result<void> checkUnchanged(const QTMovie& movie);

    /// Updates the movie's own file in place: new media and the new header are placed where no reader looks,
    /// then the header's type is switched, then the old header is retired. Cost: the header, never the media.
    /// Writes nothing when nothing was changed. On an error the file is the old movie, or the new one where
    /// the very last steps failed; the movie then lies over the file as it is and can be saved again.
    static Result<SaveReport> updateMovieFile(QTMovie& movie, const SaveOptions& options = {});

    /// Writes the movie flattened (header first, all media in the one file) to `path`, replacing a file there
    /// only when the new one is complete. The movie itself is not changed; open the file to go on with it.
    /// Errors: Io; Refused where a file must not be replaced, or would lose its owner; Changed when another
    /// program changed the file that is replaced, or wrote to the media while they were copied; Truncated
    /// when media are missing; Cancelled.
    static Result<SaveReport> writeToFile(
        const QTMovie& movie, const std::string& path, const SaveOptions& options = {});
};

} // namespace reelwright
