#include "edits/ChapterEdit.h"

#include "chapters/ChapterTimes.h"
#include "chapters/MarkerFiles.h"
#include "edits/EditCatalogue.h"
#include "movie/atoms/TextEncoding.h"
#include "times/TypedTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>

namespace reelwright {
namespace {

    using Chapters = KWChapterController::Chapters;

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

    /// A time of a chapter as it is typed; nothing for a text that is none, and for one that moves another.
    std::optional<TypedTime> typedTime(std::string_view text)
    {
        auto time = TypedTime::parse(text);
        return time && !time->isRelative() ? std::optional(std::move(*time)) : std::nullopt;
    }

    /// The same for a length of time.
    std::optional<TypedTime> typedLength(std::string_view text)
    {
        auto time = typedTime(text);
        return time && time->form() != TypedTime::Form::Label ? time : std::nullopt;
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
        return edits::wrongValue("--add-chapter", value,
            fmt::format("TIMECODE=NAME, where TIMECODE is {}", TypedTime::acceptedForms()));
    RW_CHECK(checkName("--add-chapter", parts->second));
    m_steps.emplace_back([time = *time, name = parts->second](State& state) -> Result<void> {
        RW_TRY(const auto exact, time.exactly(state.movie));
        const auto start = ChapterTimes {state.movie}.nearestPicture(exact);
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
    const auto time = typedLength(isBack || value.starts_with('+') ? value.substr(1) : value);
    if (!time)
        return edits::wrongValue(
            "--shift-chapters", value, "a timecode such as +00:00:10:00, or -10. for ten seconds earlier");
    return addRewrite(
        [time = *time, isBack](const Chapters& chapters, const QTMovie& movie) -> Result<Chapters> {
            RW_TRY(auto offset, time.exactly(movie));
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
    const auto time = typedLength(value);
    if (!time)
        return edits::wrongValue(
            "--chapter-every", value, "a time such as 00:05:00:00, or 5.. for five minutes");
    return addRewrite([time = *time](const Chapters& chapters, const QTMovie& movie) -> Result<Chapters> {
        RW_TRY(const auto interval, time.exactly(movie));
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
