#pragma once

#include "movie/QTMovie.h"
#include "movie/saving/MovieSaver.h"
#include "saving/SaveJournal.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

enum class SaveMode {
    None, ///< nothing is written
    InPlace, ///< the header is updated within the file
    Flattened, ///< the whole movie is written
};

/// How a file is saved, whatever was changed in it.
struct SaveRules
{
    bool forceResave = false; ///< write the whole file anew even where its header could be updated
    bool dryRun = false; ///< go the whole way, and write nothing
    bool verify = false; ///< compare checksums of the media before and after
    bool preserveTimes = false; ///< give the result the access and modification times of the file
};

/// What is to be saved, and where.
struct SaveRequest
{
    QTMovie movie; ///< edited
    std::string output {}; ///< empty: the movie's own file
    SaveRules rules {};
    /// Not given: in place where that can be, and nothing at all for a movie without changes.
    std::optional<SaveMode> mode {};
    VolumeRule volumes = VolumeRule::JournalledOnly;
    bool overwrite = false; ///< may another file than the movie's own be replaced?
    /// What has to stand at `output`, if anything does; its date does not matter. The movie's own file must
    /// always be the one that was opened.
    std::optional<FileState> expected {};
    /// A change that depends on the bytes which the save is going to produce (see SavePreview): asked once it
    /// is known how the movie is saved. Answers the movie to be saved instead; the outcome has it.
    std::function<Result<QTMovie>(const QTMovie& movie, SaveMode mode)> transform {};
    UnusedBytes unused = UnusedBytes::Keep; ///< of the original, in a file that is written as a whole
    bool makesFolder = false; ///< of the output, where it is missing
    bool setsTypeAndCreator = false; ///< of a file that is written as a whole
    SaveJournal* journal = nullptr; ///< notes the movie before it is written
    /// Only do what an interrupted save of the movie's own file left to do. Goes with an unchanged movie.
    bool finishesInterrupted = false;
    WholeFileEvents wholeFile {}; ///< of a file that is written as a whole
};

/// The checksum of one track's media before and after a save.
struct MediaComparison
{
    std::uint32_t trackID = 0;
    std::optional<std::string> before; ///< nothing for a track that was not there
    std::optional<std::string> after;
};

/// What became of a request.
struct SaveOutcome
{
    std::optional<MovieError> error; ///< why it failed
    SaveMode mode = SaveMode::None; ///< how it was saved; in a dry run: would be
    std::string output {}; ///< what was written, or would be; empty for nothing
    std::uint64_t bytesWritten = 0; ///< in a dry run: that would be
    std::vector<std::string> warnings {};
    std::optional<std::vector<MediaComparison>> media {};
    QTMovie movie {}; ///< the request's, transformed; after an update in place over the file as it is now
};

/// The one road by which a movie reaches the disk, for documents, the command line and batches: which way it
/// is saved, what stands against that, the writing, the check of what was written, and whose file it stays. A
/// dry run is this road without its last step, so it refuses what a save would.
namespace saving {

    /// Why the movie's own file cannot be updated in place, if that is so. Changed: another program changed
    /// it, and it must not be replaced either.
    std::optional<MovieError> hindranceInPlace(const QTMovie& movie, VolumeRule volumes);

    /// `progress` hears about long work, and can stop it.
    SaveOutcome save(SaveRequest request, const Progress& progress = {});

} // namespace saving
} // namespace reelwright
