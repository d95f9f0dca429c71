#pragma once

#include "movie/ChapterList.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace reelwright {

/// A chapter of a list that is imported.
struct ImportedChapter
{
    std::string name;
    std::string startTimecode; ///< hours, minutes, seconds and frames between ":", as ChapterTimes reads them
    std::optional<QTTime> start; ///< where the list says it exactly, this and not the text counts
};

/// Changes a movie's chapters. Keeps no state. Every change makes a new complete list; what fails is logged.
/// The movie is made editable for the time of a change only. Rows are places in the movie's list, from 0.
class KWChapterController
{
public:
    using Chapters = std::vector<Chapter>;

    static constexpr auto kNewName = "New Chapter";
    // Why a start is refused.
    static constexpr auto kConflict
        = "The chapter start time conflicts with the start time of another chapter.";
    static constexpr auto kBeyondEnd = "Chapters cannot start beyond the movie's duration.";

    /// The order of the start times: below zero, zero or above. Equal times have none.
    static int compareChapterTimes(const Chapter& chapter, const Chapter& other);
    /// Does an entry start at exactly that time?
    static bool checkForChapterConflictsInArray(const Chapters& chapters, const QTTime& value);

    /// Replaces all chapters, in the order of their starts. In a movie that has no other track the chapter
    /// track is marked as one. Errors: those of chapterList::replace; Refused for a start before the movie or
    /// beyond its duration. The movie is then as it was.
    static Result<void> setChapterMarkers(const Chapters& chapters, QTMovie& movie);
    /// Adds a chapter at a time, or at the next free one, frame by frame.
    static Result<void> addChapter(const QTTime& time, const std::string& name, QTMovie& movie);
    static Result<void> removeChapters(const std::vector<std::size_t>& rows, QTMovie& movie);
    static Result<void> removeAllChapters(QTMovie& movie);
    static Result<void> renameChapter(std::size_t row, const std::string& name, QTMovie& movie);
    /// Gives a chapter another start. Errors: Refused with one of the two sentences above.
    static Result<void> moveChapter(std::size_t row, const QTTime& start, QTMovie& movie);

    /// A chapter that was not imported, and why.
    struct Refusal
    {
        ImportedChapter chapter;
        std::string reason;
    };
    /// Adds the entries of a list. Those that conflict with a chapter, start beyond the movie's duration or
    /// have no time that can be read are refused and answered; the rest is added.
    static Result<std::vector<Refusal>> insertChapters(
        const std::vector<ImportedChapter>& entries, QTMovie& movie);

    /// The same for a list, behind whose chapters the entries come to stand.
    static std::vector<Refusal> insertInto(
        Chapters& chapters, const std::vector<ImportedChapter>& entries, const QTMovie& movie);
    /// A chapter in a list at a time, or at the next free one.
    static void addTo(Chapters& chapters, const QTTime& time, const std::string& name, const QTMovie& movie);

    // Changes of whole lists: they give the new one and leave the movie alone. Errors: Refused where a
    // chapter would leave the movie, or two would fall on one time.

    static Result<Chapters> shifted(Chapters chapters, const QTTime& offset, const QTMovie& movie);
    /// Times all starts by that fraction, to the nearest picture.
    static Result<Chapters> stretched(
        Chapters chapters, std::int64_t numerator, std::int64_t denominator, const QTMovie& movie);
    /// With one more at the start of the movie and after each interval, "Chapter 1" and on, where there is
    /// none yet.
    static Result<Chapters> withOneEvery(Chapters chapters, const QTTime& interval, const QTMovie& movie);
    /// With one more, named by its timecode, wherever the timecode does not count on.
    static Result<Chapters> withTimecodeBreaks(Chapters chapters, const QTMovie& movie);
};

} // namespace reelwright
