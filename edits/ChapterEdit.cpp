#include "edits/ChapterEdit.h"

#include "chapters/ChapterTimes.h"
#include "chapters/MarkerFiles.h"
#include "chapters/TimecodeLabels.h"
#include "edits/EditCatalogue.h"
#include "movie/atoms/TextEncoding.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>

namespace reelwright {
namespace {

    using Chapters = KWChapterController::Chapters;

    constexpr auto kTimeForms
        = "a timecode such as 00:00:10:00 counted from the movie's first frame, 10. for ten "
          "seconds, value/scale in seconds, or tc:01:00:10:00 for a label of the timecode track";

    tl::unexpected<MovieError> refusal(std::string reason)
    {
        return failure(MovieError::Code::Refused, {}, std::move(reason));
    }

    std::optional<std::int64_t> numberOf(std::string_view text)
    {
        std::int64_t number = 0;
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        return error == std::errc {} && stop == end ? std::optional(number) : std::nullopt;
    }

    /// A time as it is typed: what it means depends on the movie.
    using MovieTime = std::function<Result<QTTime>(const QTMovie&)>;

    std::optional<MovieTime> fractionOfSeconds(std::string_view text, std::size_t slash)
    {
        const auto value = numberOf(text.substr(0, slash));
        const auto scale = numberOf(text.substr(slash + 1));
        constexpr std::int64_t kMost = 1LL << 53U;
        if (!value || !scale || *value < 0 || *value > kMost || *scale <= 0 || *scale > INT32_MAX)
            return std::nullopt;
        const QTTime time {*value, static_cast<std::int32_t>(*scale)};
        return [time](const QTMovie&) -> Result<QTTime> { return time; };
    }

    std::optional<MovieTime> typedTime(std::string_view text)
    {
        constexpr std::string_view kLabel = "tc:";
        const bool isLabel = text.starts_with(kLabel);
        if (isLabel)
            text.remove_prefix(kLabel.size());
        if (const auto slash = text.find('/'); slash != std::string_view::npos && !isLabel)
            return fractionOfSeconds(text, slash);
        if (text.find_first_of("0123456789") == std::string_view::npos
            || text.find_first_not_of("0123456789:;.,") != std::string_view::npos)
            return std::nullopt;
        const auto full = KWTimecode::timecodeFromUserString(text, false, "00:00:00:00");
        return [full, isLabel, typed = std::string(text)](const QTMovie& movie) -> Result<QTTime> {
            const ChapterTimes times {movie};
            auto time = isLabel ? TimecodeLabels {movie}.timeOf(full) : times.fromText(full);
            if (!time)
                return refusal(isLabel ? fmt::format("the movie has no frame with the timecode {}", typed)
                                       : fmt::format("\"{}\" is no time in this movie", typed));
            return times.nearestPicture(*time);
        };
    }

    /// "TIMECODE=NAME" or "N=NAME", at the first "=".
    std::optional<std::pair<std::string_view, std::string>> beforeEquals(std::string_view value)
    {
        const auto equals = value.find('=');
        if (equals == std::string_view::npos)
            return std::nullopt;
        return std::pair {value.substr(0, equals), std::string(value.substr(equals + 1))};
    }

    Result<void> checkName(const char* option, std::string_view name)
    {
        if (!isValidUtf8(std::as_bytes(std::span {name})))
            return refusal(fmt::format("{} takes a name in UTF-8", option));
        return {};
    }

    std::string formatNames()
    {
        std::string names;
        for (const auto& format : MarkerFiles::importFormats())
            names += fmt::format("{}{}", names.empty() ? "" : ", ", format.name);
        return names;
    }

} // namespace

Result<void> ChapterEdit::add(std::string_view value)
{
    const auto parts = beforeEquals(value);
    const auto time = parts ? typedTime(parts->first) : std::nullopt;
    if (!time)
        return edits::wrongValue(
            "--add-chapter", value, fmt::format("TIMECODE=NAME, where TIMECODE is {}", kTimeForms));
    RW_CHECK(checkName("--add-chapter", parts->second));
    m_steps.emplace_back([time = *time, name = parts->second](State& state) -> Result<void> {
        RW_TRY(const auto start, time(state.movie));
        if (start > state.movie.duration())
            return refusal(KWChapterController::kBeyondEnd);
        KWChapterController::addTo(state.chapters, start, name, state.movie);
        return {};
    });
    return {};
}

Result<void> ChapterEdit::remove(std::string_view value)
{
    if (value == "all") {
        m_steps.emplace_back([](State& state) -> Result<void> {
            state.chapters.clear();
            state.numbers.clear();
            return {};
        });
        return {};
    }
    const auto number = numberOf(value);
    if (!number || *number < 1)
        return edits::wrongValue("--remove-chapter", value, "a chapter's number, from 1, or all");
    m_steps.emplace_back([number = static_cast<std::size_t>(*number)](State& state) -> Result<void> {
        RW_TRY(const auto row, rowOf(number, state));
        state.chapters.erase(state.chapters.begin() + static_cast<std::ptrdiff_t>(row));
        state.numbers.erase(state.numbers.begin() + static_cast<std::ptrdiff_t>(row));
        return {};
    });
    return {};
}

Result<void> ChapterEdit::rename(std::string_view value)
{
    const auto parts = beforeEquals(value);
    const auto number = parts ? numberOf(parts->first) : std::nullopt;
    if (!number || *number < 1)
        return edits::wrongValue("--rename-chapter", value, "N=NAME, where N is a chapter's number, from 1");
    RW_CHECK(checkName("--rename-chapter", parts->second));
    m_steps.emplace_back(
        [number = static_cast<std::size_t>(*number), name = parts->second](State& state) -> Result<void> {
            RW_TRY(const auto row, rowOf(number, state));
            state.chapters[row].name = name;
            return {};
        });
    return {};
}

Result<void> ChapterEdit::import(std::string_view value)
{
    if (value.empty())
        return edits::wrongValue("--import-chapters", value, "a file");
    m_lastFormat = std::make_shared<const MarkerFormat*>(nullptr);
    m_steps.emplace_back([path = std::string(value), format = m_lastFormat](State& state) -> Result<void> {
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error))
            return failure(MovieError::Code::Io, path, "there is no such file to import chapters from");
        const auto entries
            = MarkerFiles::importedChapters(path, *format ? **format : MarkerFiles::importFormatOf(path),
                MarkerFiles::referenceHour(state.movie), state.movie);
        if (entries.empty())
            return failure(MovieError::Code::Refused, path,
                "No chapters found. Could not locate any chapters or markers in the specified file.");
        for (const auto& [chapter, reason] :
            KWChapterController::insertInto(state.chapters, entries, state.movie))
            state.refused.push_back(fmt::format(
                "chapter {} \"{}\" was not imported: {}", chapter.startTimecode, chapter.name, reason));
        return {};
    });
    return {};
}

Result<void> ChapterEdit::setFormat(std::string_view value)
{
    const auto* format = MarkerFiles::importFormatNamed(value);
    if (!format)
        return edits::wrongValue("--chapter-format", value, formatNames());
    if (!m_lastFormat)
        return refusal(
            "--chapter-format says how the file of the --import-chapters before it is read; give that first");
    *m_lastFormat = format;
    return {};
}

Result<void> ChapterEdit::shift(std::string_view value)
{
    const bool isBack = value.starts_with('-');
    const auto time = typedTime(isBack || value.starts_with('+') ? value.substr(1) : value);
    if (!time || value.find("tc:") != std::string_view::npos)
        return edits::wrongValue(
            "--shift-chapters", value, "a timecode such as +00:00:10:00, or -10. for ten seconds earlier");
    return addRewrite(
        [time = *time, isBack](const Chapters& chapters, const QTMovie& movie) -> Result<Chapters> {
            RW_TRY(auto offset, time(movie));
            if (isBack)
                offset.value = -offset.value;
            return KWChapterController::shifted(chapters, offset, movie);
        });
}

Result<void> ChapterEdit::stretch(std::string_view value)
{
    const auto slash = value.find('/');
    const auto numerator = numberOf(value.substr(0, slash));
    const auto denominator
        = slash == std::string_view::npos ? std::nullopt : numberOf(value.substr(slash + 1));
    if (!numerator || !denominator || *numerator <= 0 || *denominator <= 0 || *numerator > INT32_MAX
        || *denominator > INT32_MAX)
        return edits::wrongValue("--stretch-chapters", value, "a fraction such as 25/24 or 1001/1000");
    return addRewrite([n = *numerator, d = *denominator](const Chapters& chapters, const QTMovie& movie) {
        return KWChapterController::stretched(chapters, n, d, movie);
    });
}

Result<void> ChapterEdit::addEvery(std::string_view value)
{
    const auto time = typedTime(value);
    if (!time || value.starts_with("tc:"))
        return edits::wrongValue(
            "--chapter-every", value, "a time such as 00:05:00:00, or 5.. for five minutes");
    return addRewrite([time = *time](const Chapters& chapters, const QTMovie& movie) -> Result<Chapters> {
        RW_TRY(const auto interval, time(movie));
        return KWChapterController::withOneEvery(chapters, interval, movie);
    });
}

Result<void> ChapterEdit::addAtTimecodeBreaks(std::string_view)
{
    return addRewrite([](const Chapters& chapters, const QTMovie& movie) {
        return KWChapterController::withTimecodeBreaks(chapters, movie);
    });
}

Result<void> ChapterEdit::addRewrite(Rewrite rewrite)
{
    m_steps.emplace_back([rewrite = std::move(rewrite)](State& state) -> Result<void> {
        RW_TRY(state.chapters, rewrite(state.chapters, state.movie));
        return {};
    });
    return {};
}

Result<ChapterEdit::State> ChapterEdit::begin(const QTMovie& movie)
{
    RW_TRY(auto chapters, chapterList::read(movie));
    State state {movie, std::move(chapters), {}, {}};
    // Edits before this one may have changed the list: a chapter is known by where it starts.
    const auto opened = chapterList::read(movie.asSaved());
    std::multimap<QTTime, std::size_t> byStart;
    if (opened)
        for (std::size_t i = 0; i < opened->size(); ++i)
            byStart.emplace((*opened)[i].start, i + 1);
    for (const auto& [name, start] : state.chapters) {
        const auto known = byStart.lower_bound(start);
        const bool isKnown = known != byStart.end() && known->first == start;
        state.numbers.push_back(isKnown ? std::optional(known->second) : std::nullopt);
        if (isKnown)
            byStart.erase(known);
    }
    return state;
}

Result<std::size_t> ChapterEdit::rowOf(std::size_t number, const State& state)
{
    const auto found = std::find(state.numbers.begin(), state.numbers.end(), number);
    if (found == state.numbers.end())
        return refusal(fmt::format("there is no chapter {}", number));
    return static_cast<std::size_t>(found - state.numbers.begin());
}

Result<Edit> ChapterEdit::finish()
{
    return makeEditInParts("--add-chapter", "Chapters", "Change chapters",
        [edit = shared_from_this()](QTMovie& movie) { return edit->apply(movie); });
}

Result<RefusedParts> ChapterEdit::apply(QTMovie& movie) const
{
    RW_TRY(auto state, begin(movie));
    const auto before = state.chapters;
    for (const auto& step : m_steps) {
        RW_CHECK(step(state));
        state.numbers.resize(state.chapters.size()); // what was added stands behind the others
    }
    // A list that comes out as it was is not written again.
    if (state.chapters != before)
        RW_CHECK(KWChapterController::setChapterMarkers(state.chapters, movie));
    return std::move(state.refused);
}

} // namespace reelwright
