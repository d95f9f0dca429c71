#include "edits/TimecodeEdit.h"

#include "edits/TimecodeEdits.h"
#include "movie/atoms/UserData.h"
#include "support/Text.h"
#include "tasks/KWQuickTaskController.h"
#include "timecode/KWTimecodeController.h"
#include "times/TypedTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>

namespace reelwright {
namespace {

    constexpr std::size_t kMaxReel = 255;
    constexpr int kMostHours = 99; // two digits

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    std::optional<QTTrack> firstTimecodeTrack(const QTMovie& movie)
    {
        const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie);
        return track ? std::optional(track->track()) : std::nullopt;
    }

    /// The record of a typed timecode, its fields within the clock's.
    std::optional<TimecodeRecord> typedRecord(std::string_view value)
    {
        const auto typed = TypedTime::parse(value);
        const auto record = typed && typed->form() == TypedTime::Form::Fields
            ? timecodeMedia::recordOf(typed->timecode())
            : std::nullopt;
        const bool isClock = record && record->hours <= kMostHours && record->minutes < 60
            && record->seconds < 60 && record->frames <= UINT8_MAX;
        if (!isClock)
            return std::nullopt;
        auto result = *record;
        result.negative = typed->sign() == TypedTime::Sign::Minus;
        return result;
    }

    /// A place that starts of timecodes come from.
    struct Source
    {
        const char* name; ///< "thm:" is followed by a path
        bool isDate; ///< without frames, and saying nothing of flags
        Result<void> (*add)(QTMovie&, const std::string& path);
    };

    template <class T> Result<void> withoutValue(Result<T> answer)
    {
        if (!answer)
            return tl::unexpected<MovieError>(std::move(answer).error());
        return {};
    }

    const std::array<Source, 7>& sources()
    {
        using Controller = KWTimecodeController;
        using Tasks = KWQuickTaskController;
        static const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
        static const std::array<Source, 7> all {{
            {"creation", true,
                [](QTMovie& movie, const std::string&) {
                    return withoutValue(Tasks::timecodeTrackFromCreationTime(movie));
                }},
            {"file", true,
                [](QTMovie& movie, const std::string&) {
                    return withoutValue(Tasks::timecodeTrackFromFileCreationTime(movie));
                }},
            {"now", true,
                [](QTMovie& movie, const std::string&) {
                    return withoutValue(Controller::addTimecodeTrackWithDate(now, movie));
                }},
            {"udta", false,
                [](QTMovie& movie, const std::string&) {
                    return Tasks::addTimecodeTrackFromUserDataField(movie);
                }},
            {"thm:", true,
                [](QTMovie& movie, const std::string& path) {
                    return withoutValue(Controller::addTimecodeFromTHMFile(path, movie));
                }},
            {"thm-folder:", true,
                [](QTMovie& movie, const std::string& path) {
                    return withoutValue(Controller::addTimecodeFromTHMFolder(path, movie));
                }},
            {"movies:", false,
                [](QTMovie& movie, const std::string& path) {
                    return withoutValue(Controller::addTimecodeFromMovieInFolder(path, movie));
                }},
        }};
        return all;
    }

    const Source* sourceNamed(std::string_view value)
    {
        for (const auto& source : sources()) {
            const std::string_view name = source.name;
            if (name.ends_with(':') ? value.starts_with(name) && value.size() > name.size() : value == name)
                return &source;
        }
        return nullptr;
    }

    bool has(std::uint32_t flags, std::uint32_t flag)
    {
        return (flags & flag) != 0;
    }

} // namespace

Result<void> TimecodeEdit::takeStart(std::string_view option, Start start)
{
    if (!m_startOption.empty())
        return refusal(m_startOption == option
                ? fmt::format("{} can be given once only", option)
                : fmt::format("{} and {} exclude each other", m_startOption, option));
    m_startOption = option;
    m_start = std::move(start);
    return {};
}

Result<void> TimecodeEdit::setTimecode(std::string_view value)
{
    const auto record = value.starts_with('+') ? std::nullopt : typedRecord(value);
    if (!record)
        return refusal(fmt::format(
            "--timecode takes a timecode such as 10:00:00:00 (or 10:00:00;00 for drop frame, 10... for ten "
            "hours), two digits a field, not \"{}\"",
            value));
    TimecodeChange change;
    change.start = record;
    change.counter = false;
    change.dropFrame = value.find(';') != std::string_view::npos;
    if (record->negative)
        change.negativeTimes = true;
    return takeStart("--timecode", [change](const QTMovie&) -> Result<TimecodeChange> { return change; });
}

Result<void> TimecodeEdit::setCounter(std::string_view value)
{
    std::int32_t number = 0;
    const auto* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc {} || stop != end || number < 0)
        return refusal(fmt::format("--counter takes a number from 0 to {}, not \"{}\"", INT32_MAX, value));
    TimecodeChange change;
    change.start.emplace().frames = number;
    change.counter = true;
    return takeStart("--counter", [change](const QTMovie&) -> Result<TimecodeChange> { return change; });
}

Result<void> TimecodeEdit::setSource(std::string_view value)
{
    const auto* source = sourceNamed(value);
    if (!source)
        return refusal(
            fmt::format("--timecode-from takes creation, file, now, udta, thm:PATH, thm-folder:DIR or "
                        "movies:DIR, not \"{}\"",
                value));
    const std::string path {value.substr(std::string_view(source->name).size())};
    return takeStart("--timecode-from", [source, path](const QTMovie& movie) -> Result<TimecodeChange> {
        RW_CHECK(KWTimecodeController::canHaveTimecode(movie));
        // The sources add tracks. What the one that a copy gets says is what the track here is to say.
        auto copy = movie;
        RW_CHECK(source->add(copy, path));
        RW_TRY(const auto read,
            timecodeMedia::atMediaTime(copy.tracksOfMediaType(QTMediaTypeTimeCode).back(), 0));
        const auto flags = read.description.definition.flags;
        TimecodeChange change;
        change.start = timecodeMedia::record(read.frame, read.description.definition);
        change.counter = false;
        if (source->isDate) {
            change.missing = TimecodeChange::Missing::Nearest;
            return change;
        }
        change.dropFrame = has(flags, TimecodeDefinition::kDropFrame);
        change.negativeTimes = has(flags, TimecodeDefinition::kNegativeTimesOK);
        change.limit24Hours = has(flags, TimecodeDefinition::k24HourMax);
        if (!read.description.reel.empty())
            change.reel = read.description.reel;
        return change;
    });
}

Result<void> TimecodeEdit::setOffset(std::string_view value)
{
    const auto record = value.starts_with('+') || value.starts_with('-') ? typedRecord(value) : std::nullopt;
    if (!record)
        return refusal(fmt::format("--timecode-offset takes a timecode with its sign such as +01:00:00:00 or "
                                   "-00:00:00:12, two digits a field, not \"{}\"",
            value));
    if (m_change.offset)
        return refusal("--timecode-offset can be given once only");
    m_change.offset = record;
    return {};
}

Result<void> TimecodeEdit::setReel(std::string_view value)
{
    if (m_change.reel)
        return refusal("--reel can be given once only");
    if (value.size() > kMaxReel)
        return refusal(fmt::format(
            "--reel takes a name of at most {} bytes of UTF-8; this one has {}", kMaxReel, value.size()));
    if (!isValidUtf8(std::as_bytes(std::span {value})))
        return refusal("--reel takes a name in UTF-8");
    m_change.reel = value;
    return {};
}

Result<void> TimecodeEdit::setTrack(std::string_view value)
{
    const auto selector = TrackSelector::parse(value);
    if (!selector || value.ends_with('*'))
        return refusal(fmt::format(
            "--timecode-track takes one timecode track by its place or its ID (tc2, 5), not \"{}\"", value));
    m_track = *selector;
    return {};
}

void TimecodeEdit::addFlag(std::uint32_t flag)
{
    if (flag == TimecodeDefinition::kDropFrame)
        m_change.dropFrame = true;
    else if (flag == TimecodeDefinition::kNegativeTimesOK)
        m_change.negativeTimes = true;
    else
        m_change.limit24Hours = true;
}

bool TimecodeEdit::isBegun() const
{
    return m_track || m_start || m_relinks || !m_change.isEmpty();
}

Result<void> TimecodeEdit::check() const
{
    if (m_startOption == "--counter"
        && (m_change.dropFrame || m_change.negativeTimes || m_change.limit24Hours))
        return refusal(
            "a counter has no drop frame, no negative times and no 24-hour limit: --counter goes with "
            "--reel only");
    if (m_start && m_change.offset)
        return refusal(fmt::format("{} and --timecode-offset exclude each other", m_startOption));
    if (m_track && !m_start && !m_relinks && m_change.isEmpty())
        return refusal(fmt::format("--timecode-track {} says nothing of what is to change; add --timecode, "
                                   "--reel or another timecode option",
            m_track->text()));
    return {};
}

Result<Edit> TimecodeEdit::finish()
{
    RW_CHECK(check());
    auto edit = makeEdit("--timecode", "Timecode", "Set timecode",
        [self = shared_from_this()](QTMovie& movie) { return withoutValue(self->apply(movie)); });
    edit.performAndTell = [self = shared_from_this()](QTMovie& movie) { return self->apply(movie); };
    return edit;
}

Result<QTTrack> TimecodeEdit::track(QTMovie& movie) const
{
    if (m_track) {
        RW_TRY(const auto tracks, m_track->select(movie));
        if (tracks.size() != 1 || tracks.front().mediaType() != QTMediaTypeTimeCode)
            return refusal(fmt::format(
                "track {} is no timecode track; \"reelwright-cli tracks\" lists them", m_track->text()));
        return tracks.front();
    }
    if (const auto track = firstTimecodeTrack(movie))
        return *track;
    RW_CHECK(KWTimecodeController::canHaveTimecode(movie));
    if (!m_start)
        return refusal("the movie has no timecode track yet; give its start with --timecode");
    RW_TRY(const auto added, KWTimecodeController::insertBlankTimecodeTrack(movie));
    return added.track();
}

Result<std::string> TimecodeEdit::apply(QTMovie& movie) const
{
    auto change = m_change;
    if (m_start) {
        RW_TRY(change, m_start(movie));
        const auto take = [](auto& field, const auto& given) {
            if (given)
                field = given;
        };
        take(change.reel, m_change.reel);
        take(change.dropFrame, m_change.dropFrame);
        take(change.negativeTimes, m_change.negativeTimes);
        take(change.limit24Hours, m_change.limit24Hours);
    }
    RW_TRY(const auto changed, track(movie));
    std::string remark;
    if (!change.isEmpty()) {
        RW_TRY(remark, KWTimecodeController::changeTimecode(change, changed, movie));
    }
    if (m_relinks)
        RW_CHECK(KWTimecodeController::relinkTimecode(changed, movie));
    return remark;
}

Edit edits::changeTimecode(const TrackSelector& track, const TimecodeChange& change)
{
    const auto perform = [=](QTMovie& movie) -> Result<std::string> {
        RW_TRY(const auto tracks, track.select(movie));
        std::string remark;
        for (const auto& each : tracks) {
            RW_TRY(remark, KWTimecodeController::changeTimecode(change, each, movie));
        }
        return remark;
    };
    auto edit = makeEdit("--timecode", "Timecode", "Set timecode",
        [perform](QTMovie& movie) { return withoutValue(perform(movie)); });
    edit.performAndTell = perform;
    return edit;
}

} // namespace reelwright
