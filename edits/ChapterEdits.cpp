#include "edits/ChapterEdits.h"

#include "edits/ChapterEdit.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace reelwright::edits {
namespace {

    using Controller = KWChapterController;

    template <Result<void> (ChapterEdit::*read)(std::string_view)>
    Result<void> value(std::string_view text, EditSteps& steps)
    {
        return (steps.compound<ChapterEdit>().*read)(text);
    }

    constexpr EditKind kKinds[] = {
        {"--add-chapter", "TIMECODE=NAME",
            "Add a chapter, at the next free frame where there is\none; see below for times",
            value<&ChapterEdit::add>},
        {"--remove-chapter", "N|all", "Remove a chapter", value<&ChapterEdit::remove>},
        {"--rename-chapter", "N=NAME", "Give a chapter another name", value<&ChapterEdit::rename>},
        {"--import-chapters", "FILE",
            "Add the chapters of a movie, a marker list or an FCPXML\nproject; what is refused is named",
            value<&ChapterEdit::import>},
        {"--chapter-format", "NAME",
            "How the file before is read: fcp, avid, dvdsp, csv, text,\nedl, webvtt, "
            "ffmetadata, json, cue, csv-quoted",
            value<&ChapterEdit::setFormat>},
        {"--shift-chapters", "TIMECODE", "Move all chapters: +00:00:10:00, or -10. for ten seconds\nearlier",
            value<&ChapterEdit::shift>},
        {"--stretch-chapters", "N/D", "Multiply all starts: 25/24 makes 24 seconds 25",
            value<&ChapterEdit::stretch>},
        {"--chapter-every", "TIMECODE", "Add one at the start and after each such time",
            value<&ChapterEdit::addEvery>},
        {"--chapter-at-breaks", "", "Add one wherever the timecode does not count on",
            value<&ChapterEdit::addAtTimecodeBreaks>},
    };

    std::string timeText(const QTTime& time)
    {
        const auto common = std::max<std::int64_t>(std::gcd(time.value, std::int64_t {time.scale}), 1);
        return fmt::format("{}/{}", time.value / common, time.scale / common);
    }

    template <class Rewrite>
    Edit rewriting(std::string option, std::string undoName, std::string queueLabel, Rewrite rewrite)
    {
        return makeEdit(std::move(option), std::move(undoName), std::move(queueLabel),
            [rewrite](QTMovie& movie) -> Result<void> {
                RW_TRY(auto chapters, chapterList::read(movie));
                RW_TRY(const auto changed, rewrite(std::move(chapters), movie));
                return Controller::setChapterMarkers(changed, movie);
            });
    }

} // namespace

Edit addChapter(const QTTime& time, const std::string& name)
{
    return {fmt::format("--add-chapter {}={}", timeText(time), name), "Add Chapter",
        fmt::format("Add chapter \"{}\"", name),
        record("KWChapterController addChapter:name:movie:", Controller::addChapter, time, name,
            KWPlaceholderMovie::placeholder())};
}

Edit removeChapters(const std::vector<std::size_t>& rows)
{
    std::string option;
    for (const auto row : rows)
        option += fmt::format("{}--remove-chapter {}", option.empty() ? "" : " ", row + 1);
    return {option, rows.size() == 1 ? "Remove Chapter" : "Remove Chapters",
        rows.size() == 1 ? fmt::format("Remove chapter {}", rows.front() + 1)
                         : fmt::format("Remove {} chapters", rows.size()),
        record("KWChapterController removeChapters:movie:", Controller::removeChapters, rows,
            KWPlaceholderMovie::placeholder())};
}

Edit renameChapter(std::size_t row, const std::string& name)
{
    return {fmt::format("--rename-chapter {}={}", row + 1, name), "Chapter Name",
        fmt::format("Rename chapter {} to \"{}\"", row + 1, name),
        record("KWChapterController renameChapter:name:movie:", Controller::renameChapter, row, name,
            KWPlaceholderMovie::placeholder())};
}

Edit moveChapter(std::size_t row, const QTTime& start)
{
    return {{}, "Chapter Start", fmt::format("Move chapter {}", row + 1),
        record("KWChapterController moveChapter:start:movie:", Controller::moveChapter, row, start,
            KWPlaceholderMovie::placeholder())};
}

Edit insertChapters(const std::vector<ImportedChapter>& entries)
{
    return makeEditInParts("--import-chapters", "Import Chapters",
        fmt::format("Import {} chapters", entries.size()), [entries](QTMovie& movie) -> Result<RefusedParts> {
            RW_TRY(const auto refused, Controller::insertChapters(entries, movie));
            RefusedParts parts;
            for (const auto& [chapter, reason] : refused)
                parts.push_back(fmt::format("{} \"{}\": {}", chapter.startTimecode, chapter.name, reason));
            return parts;
        });
}

Edit shiftChapters(const QTTime& offset)
{
    const auto text = fmt::format("{}{}", offset.value < 0 ? "" : "+", timeText(offset));
    return rewriting("--shift-chapters " + text, "Shift Chapters", "Shift chapters by " + text,
        [offset](Controller::Chapters chapters, const QTMovie& movie) {
            return Controller::shifted(std::move(chapters), offset, movie);
        });
}

Edit stretchChapters(std::int64_t numerator, std::int64_t denominator)
{
    return rewriting(fmt::format("--stretch-chapters {}/{}", numerator, denominator), "Stretch Chapters",
        fmt::format("Stretch chapters by {}/{}", numerator, denominator),
        [=](Controller::Chapters chapters, const QTMovie& movie) {
            return Controller::stretched(std::move(chapters), numerator, denominator, movie);
        });
}

Edit addChapterEvery(const QTTime& interval)
{
    return rewriting("--chapter-every " + timeText(interval), "Add Chapters",
        fmt::format("Add a chapter every {} seconds", interval.seconds()),
        [interval](Controller::Chapters chapters, const QTMovie& movie) {
            return Controller::withOneEvery(std::move(chapters), interval, movie);
        });
}

Edit addChaptersAtTimecodeBreaks()
{
    return rewriting("--chapter-at-breaks", "Add Chapters", "Add chapters at timecode breaks",
        [](Controller::Chapters chapters, const QTMovie& movie) {
            return Controller::withTimecodeBreaks(std::move(chapters), movie);
        });
}

Edit setChapters(const KWChapterController::Chapters& chapters)
{
    return {{}, "Chapters", fmt::format("Set {} chapters", chapters.size()),
        record("KWChapterController setChapterMarkers:movie:", Controller::setChapterMarkers, chapters,
            KWPlaceholderMovie::placeholder())};
}

std::span<const EditKind> chapterKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
