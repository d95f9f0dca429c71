#pragma once

#include "document/DocumentFile.h"
#include "movie/QTMovie.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

namespace reelwright {

/// The kinds of save, with the numbers that they have in a save request. A copy always writes the movie as it
/// stands, and the document stays at its own file.
enum class SaveOperation { Save = 0, SaveAs = 1, SaveTo = 2, Copy = 3 };

/// Moves and removals of a save, so that a test can make them fail. As FileHelper has them.
struct SaveFiles
{
    std::function<std::error_code(
        const std::string& from, const std::string& to, std::chrono::milliseconds timeout)>
        move;
    std::function<std::error_code(const std::string& path, std::chrono::milliseconds timeout)> remove;

    /// FileHelper's own.
    static SaveFiles real();
};

/// Writes a movie for a document, by the road that fits: an update in place, a flattened file, and when that
/// cannot be written where it belongs, one beside it that takes its place. Knows no window; may run on any
/// thread.
class MovieWriter
{
public:
    struct Request
    {
        QTMovie movie;
        std::string path; ///< the target
        SaveOperation operation = SaveOperation::Save;
        bool needsFlattening = false;
        /// The document's own file as it was when it was opened or last written, when the target is that
        /// file: another one in its place is not overwritten. Its date may be another, since this program's
        /// own doings and backups change dates.
        std::optional<FileState> expectedFile;
        bool resaveOnOtherVolumes = true; ///< "nonHFSResave"
        bool flattenWithoutAsking = true; ///< "autoFlatten" is 1
    };

    struct Questions
    {
        /// May this file be written? Asked first; from then on no other document may have it.
        std::function<bool(const DocumentFile& target)> claim;
        /// Shall the movie be flattened?
        std::function<bool()> flatten;
        /// The update in place is behind us: a whole file is going to be written.
        std::function<void()> pastInPlaceUpdate;
        Progress progress;
    };

    struct Outcome
    {
        enum class Kind {
            Updated, ///< in place
            Flattened, ///< `written` is the target, opened again
            Copied, ///< flattened, and the document has nothing to do with what was written
            Nothing, ///< there was nothing to write
            Declined, ///< the user did not want it flattened
            Cancelled, ///< by the progress function
            Failed, ///< nothing was replaced; `title` and `text` say why
            Changed, ///< the same: another program changed the file
            Abandoned, ///< the new file could not take its place; `title` and `text`
        };
        Kind kind = Kind::Nothing;
        std::string title {};
        std::string text {};
        QTMovie movie {}; ///< the request's; over the file as it is now
        Result<QTMovie> written {};
        std::string resolvedPath {}; ///< of the target
        std::uint64_t bytesWritten = 0;
    };

    static Outcome write(Request request, const Questions& questions, const std::shared_ptr<Storage>& storage,
        const SaveFiles& files);
};

} // namespace reelwright
