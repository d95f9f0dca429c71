#include "chapters/KWChapterController.h"

#include "chapters/ChapterTimes.h"
#include "movie/samples/TextMedia.h"
#include "movie/samples/TimecodeMedia.h"
#include "support/KWLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace reelwright {
namespace {

    using Chapters = KWChapterController::Chapters;

    tl::unexpected<MovieError> refusal(std::string reason)
    {
        return failure(MovieError::Code::Refused, {}, std::move(reason));
    }

    tl::unexpected<MovieError> noSuchRow(std::size_t row, std::size_t count)
    {
        return refusal(fmt::format("there is no chapter {}; the movie has {}", row + 1, count));
    }

    /// Why these starts cannot be, or nothing.
    std::optional<std::string> objectionTo(const Chapters& chapters, const QTMovie& movie)
    {
        const auto duration = movie.duration();
        for (const auto& [name, start] : chapters) {
            if (start.value < 0)
                return fmt::format("The chapter \"{}\" would start before the movie.", name);
            if (start > duration)
                return KWChapterController::kBeyondEnd;
        }
        return std::nullopt;
    }

    Result<Chapters> checked(Chapters chapters, const QTMovie& movie)
    {
        if (const auto objection = objectionTo(chapters, movie))
            return refusal(*objection);
        std::set<QTTime> taken;
        for (const auto& [name, start] : chapters)
            if (!taken.insert(start).second)
                return refusal(KWChapterController::kConflict);
        return chapters;
    }

    std::set<QTTime> startsOf(const Chapters& chapters)
    {
        std::set<QTTime> starts;
        for (const auto& [name, start] : chapters)
            starts.insert(start);
        return starts;
    }

    /// The movie times at which a track begins to show another sample, or a sample from elsewhere. Errors:
    /// those of QTTrack::editList; Refused when there are very many.
    Result<std::vector<QTTime>> boundaries(const QTTrack& track)
    {
        constexpr std::size_t kMost = 50'000;
        constexpr std::size_t kMostSteps = 5'000'000;
        std::size_t steps = 0;
        RW_TRY(const auto list, track.editList());
        const auto table = track.media().sampleTable();
        const auto mediaScale = track.media().timeScale();
        std::vector<QTTime> times;
        if (mediaScale <= 0 || track.timeScale() <= 0)
            return times;
        QTTime start {0, track.timeScale()};
        for (const auto& edit : list.edits) {
            const auto end = start + QTTime {static_cast<std::int64_t>(edit.duration), start.scale};
            if (!edit.isEmpty()) {
                times.push_back(start);
                std::int64_t media = 0;
                for (std::size_t i = 0; i < table.timeRunCount(); ++i) {
                    const auto run = table.timeRun(i);
                    for (std::uint32_t k = 0; k < run.count; ++k, media += run.duration) {
                        if (times.size() > kMost || ++steps > kMostSteps)
                            return refusal(
                                "the timecode track has too many samples to look for breaks in it");
                        if (media <= edit.mediaTime)
                            continue;
                        const auto time
                            = QTTime {media - edit.mediaTime, mediaScale} + atScale(start, mediaScale);
                        if (time >= end || run.duration == 0)
                            break;
                        times.push_back(time);
                    }
                }
            }
            start = end;
        }
        return times;
    }

} // namespace

int KWChapterController::compareChapterTimes(const Chapter& chapter, const Chapter& other)
{
    return chapter.start < other.start ? -1 : chapter.start > other.start ? 1 : 0;
}

bool KWChapterController::checkForChapterConflictsInArray(const Chapters& chapters, const QTTime& value)
{
    return std::any_of(
        chapters.begin(), chapters.end(), [&](const Chapter& chapter) { return chapter.start == value; });
}

Result<void> KWChapterController::setChapterMarkers(const Chapters& chapters, QTMovie& movie)
{
    auto sorted = chapters;
    std::stable_sort(sorted.begin(), sorted.end(),
        [](const Chapter& a, const Chapter& b) { return compareChapterTimes(a, b) < 0; });
    if (const auto objection = objectionTo(sorted, movie)) {
        KWLog::appendLog("Error setting chapters: {}", *objection);
        return refusal(*objection);
    }
    auto edited = movie;
    const EditableScope editable {edited};
    if (auto done = chapterList::replace(edited, sorted); !done) {
        KWLog::appendLog("Error setting chapters: {}", done.error().message());
        return done;
    }
    const auto tracks = edited.tracks();
    if (tracks.size() == 1 && chapterList::isChapterTrack(tracks.front()))
        if (const auto marked = chapterList::mark(edited, tracks.front()); !marked)
            KWLog::appendLog("Error marking the chapter track: {}", marked.error().message());
    edited.setEditable(movie.isEditable());
    movie = std::move(edited);
    return {};
}

void KWChapterController::addTo(
    Chapters& chapters, const QTTime& time, const std::string& name, const QTMovie& movie)
{
    const auto length = ChapterTimes {movie}.frameLengthAt(time);
    const auto taken = startsOf(chapters);
    auto start = time;
    while (taken.contains(start)) {
        const auto next = length + start; // at the scale of frames, which a typed time need not have
        const auto scale = std::max(next.scale, 1);
        start = start < next ? next : QTTime {rescale(start.value, std::max(start.scale, 1), scale) + 1, scale};
    }
    chapters.push_back({name, start});
}

Result<void> KWChapterController::addChapter(const QTTime& time, const std::string& name, QTMovie& movie)
{
    RW_TRY(auto chapters, chapterList::read(movie));
    addTo(chapters, time, name, movie);
    return setChapterMarkers(chapters, movie);
}

Result<void> KWChapterController::removeChapters(const std::vector<std::size_t>& rows, QTMovie& movie)
{
    if (rows.empty())
        return {};
    RW_TRY(const auto chapters, chapterList::read(movie));
    const std::set<std::size_t> removed {rows.begin(), rows.end()};
    if (*removed.rbegin() >= chapters.size())
        return noSuchRow(*removed.rbegin(), chapters.size());
    Chapters left;
    for (std::size_t row = 0; row < chapters.size(); ++row)
        if (!removed.contains(row))
            left.push_back(chapters[row]);
    return setChapterMarkers(left, movie);
}

Result<void> KWChapterController::removeAllChapters(QTMovie& movie)
{
    return setChapterMarkers({}, movie);
}

Result<void> KWChapterController::renameChapter(std::size_t row, const std::string& name, QTMovie& movie)
{
    RW_TRY(auto chapters, chapterList::read(movie));
    if (row >= chapters.size())
        return noSuchRow(row, chapters.size());
    chapters[row].name = name;
    return setChapterMarkers(chapters, movie);
}

Result<void> KWChapterController::moveChapter(std::size_t row, const QTTime& start, QTMovie& movie)
{
    RW_TRY(auto chapters, chapterList::read(movie));
    if (row >= chapters.size())
        return noSuchRow(row, chapters.size());
    auto moved = chapters[row];
    moved.start = start;
    chapters.erase(chapters.begin() + static_cast<std::ptrdiff_t>(row));
    if (checkForChapterConflictsInArray(chapters, start))
        return refusal(kConflict);
    chapters.push_back(std::move(moved));
    return setChapterMarkers(chapters, movie);
}

std::vector<KWChapterController::Refusal> KWChapterController::insertInto(
    Chapters& chapters, const std::vector<ImportedChapter>& entries, const QTMovie& movie)
{
    const ChapterTimes times {movie};
    const auto duration = movie.duration();
    auto taken = startsOf(chapters);
    std::vector<Refusal> refused;
    for (const auto& entry : entries) {
        const auto start = entry.start ? entry.start : times.fromText(entry.startTimecode);
        const auto refuse = [&](std::string reason) { refused.push_back({entry, std::move(reason)}); };
        if (!start || start->value < 0)
            refuse(fmt::format("\"{}\" is no time in this movie.", entry.startTimecode));
        else if (*start > duration)
            refuse(kBeyondEnd);
        else if (entry.name.size() > textMedia::kMaxText)
            refuse("The name is too long to be stored.");
        else if (!taken.insert(*start).second)
            refuse(kConflict);
        else
            chapters.push_back({entry.name, *start});
    }
    for (const auto& [entry, reason] : refused)
        KWLog::fastAppendLog("Chapter {} \"{}\" not imported: {}", entry.startTimecode, entry.name, reason);
    return refused;
}

Result<std::vector<KWChapterController::Refusal>> KWChapterController::insertChapters(
    const std::vector<ImportedChapter>& entries, QTMovie& movie)
{
    RW_TRY(auto chapters, chapterList::read(movie));
    auto refused = insertInto(chapters, entries, movie);
    if (refused.size() < entries.size())
        RW_CHECK(setChapterMarkers(chapters, movie));
    return refused;
}

Result<KWChapterController::Chapters> KWChapterController::shifted(
    Chapters chapters, const QTTime& offset, const QTMovie& movie)
{
    const ChapterTimes times {movie};
    for (auto& chapter : chapters) {
        // In the finer of the two scales, so that nothing is rounded twice.
        const auto scale = std::max(chapter.start.scale, offset.scale);
        chapter.start = times.nearestPicture(atScale(chapter.start, scale) + offset);
    }
    return checked(std::move(chapters), movie);
}

Result<KWChapterController::Chapters> KWChapterController::stretched(
    Chapters chapters, std::int64_t numerator, std::int64_t denominator, const QTMovie& movie)
{
    if (numerator <= 0 || denominator <= 0)
        return refusal("chapters are stretched by a fraction of two numbers above zero");
    constexpr std::int32_t kFineScale = 240'000;
    const ChapterTimes times {movie};
    for (auto& chapter : chapters) {
        const auto scale = std::max(chapter.start.scale, kFineScale);
        const auto start = atScale(chapter.start, scale).value;
        chapter.start = times.nearestPicture({rescale(start, numerator, denominator), scale});
    }
    return checked(std::move(chapters), movie);
}

Result<KWChapterController::Chapters> KWChapterController::withOneEvery(
    Chapters chapters, const QTTime& interval, const QTMovie& movie)
{
    if (interval.value <= 0 || interval.scale <= 0)
        return refusal("the time between two chapters has to be longer than nothing");
    const auto duration = movie.duration();
    const auto count = static_cast<std::int64_t>(duration.seconds() / interval.seconds()) + 1;
    if (count > static_cast<std::int64_t>(textMedia::kMaxSamples))
        return refusal(fmt::format("these would be {} chapters", count));
    const ChapterTimes times {movie};
    auto taken = startsOf(chapters);
    for (std::int64_t i = 0; i < count; ++i) {
        const auto start = times.nearestPicture({interval.value * i, interval.scale});
        if (start < duration && taken.insert(start).second)
            chapters.push_back({fmt::format("Chapter {}", i + 1), start});
    }
    return chapters;
}

Result<KWChapterController::Chapters> KWChapterController::withTimecodeBreaks(
    Chapters chapters, const QTMovie& movie)
{
    const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
    if (tracks.empty())
        return refusal("the movie has no timecode track");
    RW_TRY(const auto times, boundaries(tracks.front()));
    auto taken = startsOf(chapters);
    std::optional<timecodeMedia::Reading> last;
    QTTime lastTime;
    for (const auto& time : times) {
        RW_TRY(auto reading, timecodeMedia::atMovieTime(tracks.front(), time));
        if (!reading)
            continue;
        const auto& definition = reading->description.definition;
        bool countsOn = false;
        if (last && definition == last->description.definition && definition.timeScale > 0
            && definition.timeScale <= INT32_MAX) {
            const auto gone = atScale(time - lastTime, static_cast<std::int32_t>(definition.timeScale)).value;
            countsOn = reading->frame == last->frame + rescale(gone, 1, definition.frameDuration);
        }
        if (last && !countsOn && time < movie.duration() && taken.insert(time).second)
            chapters.push_back({reading->text, time});
        last = std::move(reading);
        lastTime = time;
    }
    return chapters;
}

} // namespace reelwright
