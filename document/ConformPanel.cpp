#include "document/ConformPanel.h"

#include "conform/ExactConform.h"
#include "conform/HeaderSidecar.h"
#include "conform/KWConformController.h"
#include "conform/SoundRate.h"
#include "document/MyDocument.h"
#include "edits/ConformEdits.h"
#include "movie/saving/MovieSaver.h"
#include "support/Preferences.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>

namespace reelwright {
namespace {

    constexpr const char* kStripKey = "conformStripEDTS";
    constexpr const char* kSuppressKey = "suppressConformWarning";
    constexpr const char* kInformation
        = "Conforming cannot be undone and is recommended to be performed on a duplicate of the file.";

    /// Digits in groups of three: "48 000".
    std::string grouped(std::uint64_t number)
    {
        auto digits = fmt::format("{}", number);
        for (auto at = digits.size(); at > 3;) {
            at -= 3;
            digits.insert(at, "\u202F");
        }
        return digits;
    }

    std::string rateText(double rate)
    {
        auto text = fmt::format("{:.3f}", rate);
        text.erase(text.find_last_not_of('0') + 1);
        if (text.ends_with('.'))
            text.pop_back();
        return text;
    }

    std::string trackText(const QTTrack& track)
    {
        const auto record = KWMovTrack::trackWithQuickTimeTrack(track);
        const auto name = track.name();
        return fmt::format("Track {}{}{}", track.trackID(),
            record ? fmt::format(", {}", KWMovTrack::typeName(record->trackType())) : "",
            name.empty() ? "" : fmt::format(" “{}”", name));
    }

    /// Makes the rows of one place after the other.
    class Rows
    {
    public:
        void at(std::string where) { m_where = std::move(where); }
        void add(const std::string& field, const std::string& before, const std::string& after)
        {
            if (before == after)
                return;
            m_rows.push_back({std::exchange(m_where, {}), field, before, after});
        }
        void add(const std::string& field, std::uint64_t before, std::uint64_t after)
        {
            add(field, grouped(before), grouped(after));
        }
        std::vector<ConformPanel::Row> take() { return std::move(m_rows); }

    private:
        std::string m_where;
        std::vector<ConformPanel::Row> m_rows;
    };

    std::vector<ConformPanel::Row> rowsOf(const ConformPlan& plan, const QTMovie& movie)
    {
        struct Field
        {
            std::size_t place; ///< 0 for the movie header, else the track's number
            const ConformPatch* patch;
            std::size_t alike; ///< further entries of the same table
        };
        std::vector<Field> fields;
        const auto found = plan.walk.offsets.find("trak");
        const auto traks = found == plan.walk.offsets.end() ? KWQuickTimeParser::Offsets {} : found->second;
        for (const auto& patch : plan.patches) {
            const auto place = static_cast<std::size_t>(std::count_if(
                traks.begin(), traks.end(), [&](auto trak) { return trak < patch.atomPosition; }));
            if (!fields.empty() && patch.atom == "stts"
                && fields.back().patch->atomPosition == patch.atomPosition)
                ++fields.back().alike;
            else
                fields.push_back({place, &patch, 0});
        }
        std::stable_sort(
            fields.begin(), fields.end(), [](const Field& a, const Field& b) { return a.place < b.place; });
        Rows rows;
        const auto tracks = movie.tracks();
        std::optional<std::size_t> last;
        for (const auto& field : fields) {
            if (last != field.place)
                rows.at(field.place == 0 || field.place > tracks.size() ? "Movie header"
                                                                        : trackText(tracks[field.place - 1]));
            last = field.place;
            const auto& patch = *field.patch;
            const auto name
                = patch.field + (field.alike == 0 ? "" : fmt::format(" (and {} more)", grouped(field.alike)));
            if (patch.atom == "edts")
                rows.add("edit list", "used", "skipped");
            else
                rows.add(name, patch.before, patch.after);
        }
        return rows.take();
    }

    std::string soundRates(const QTTrack& track)
    {
        const auto description = track.media().sampleDescription(1);
        const auto rate = description ? soundRate::of(*description) : std::nullopt;
        return rate ? grouped(static_cast<std::uint64_t>(std::llround(*rate))) : "none";
    }

    /// Of a conform that goes by no patches: the same fields, compared.
    std::vector<ConformPanel::Row> rowsBetween(const QTMovie& before, const QTMovie& after)
    {
        Rows rows;
        rows.at("Movie header");
        rows.add("time scale", before.movieHeader().timeScale, after.movieHeader().timeScale);
        rows.add("duration", before.movieHeader().duration, after.movieHeader().duration);
        const auto changed = after.tracks();
        for (const auto& track : before.tracks()) {
            const auto same = std::find_if(changed.begin(), changed.end(),
                [&](const QTTrack& other) { return other.atom().id == track.atom().id; });
            if (same == changed.end())
                continue; // a timecode track, which is made anew
            rows.at(trackText(track));
            rows.add("time scale", track.media().header().timeScale, same->media().header().timeScale);
            rows.add("sample duration", track.media().sampleTable().firstDuration(),
                same->media().sampleTable().firstDuration());
            if (track.mediaType() == QTMediaTypeSound)
                rows.add("sample rate", soundRates(track), soundRates(*same));
        }
        return rows.take();
    }

    std::string pictureEffect(double before, double after)
    {
        const auto percent = (after / before - 1) * 100;
        if (std::abs(percent) < 0.0005)
            return "plays as before, every frame stays";
        return fmt::format(
            "plays {:.2f} % {}, every frame stays", std::abs(percent), percent > 0 ? "faster" : "slower");
    }

    std::optional<std::string> soundEffect(const QTMovie& before, const QTMovie& after)
    {
        const auto old = before.tracksOfMediaType(QTMediaTypeSound);
        const auto changed = after.tracksOfMediaType(QTMediaTypeSound);
        if (old.empty() || changed.empty())
            return std::nullopt;
        const auto description = old.front().media().sampleDescription(1);
        if (description)
            if (const auto format = KWConformController::formatWithOwnRate(description->format()))
                return fmt::format("will not follow: {} keeps its own sample rate", *format);
        const auto newDescription = changed.front().media().sampleDescription(1);
        const auto rate = description ? soundRate::of(*description) : std::nullopt;
        const auto newRate = newDescription ? soundRate::of(*newDescription) : std::nullopt;
        if (!rate || !newRate)
            return std::nullopt;
        const auto semitones = 12 * std::log2(*newRate / *rate);
        if (std::abs(semitones) < 0.005)
            return "stays as it is";
        return fmt::format("follows: {} → {} Hz, {:.2f} semitones {}",
            grouped(static_cast<std::uint64_t>(std::llround(*rate))),
            grouped(static_cast<std::uint64_t>(std::llround(*newRate))), std::abs(semitones),
            semitones > 0 ? "higher" : "lower");
    }

    std::vector<std::pair<std::string, std::string>> effectsOf(const QTMovie& before, const QTMovie& after)
    {
        std::vector<std::pair<std::string, std::string>> effects;
        effects.emplace_back(
            "Picture", pictureEffect(KWQuickTime::fpsForMovie(before), KWQuickTime::fpsForMovie(after)));
        effects.emplace_back("Duration",
            fmt::format("{} → {}", KWQuickTime::formattedQTTime(before.duration(), before),
                KWQuickTime::formattedQTTime(after.duration(), after)));
        if (auto sound = soundEffect(before, after))
            effects.emplace_back("Sound", std::move(*sound));
        if (const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, after)) {
            TimecodeDefinition definition;
            const auto start = KWTimecodeController::timecodeForTrack(track->track(), &definition);
            effects.emplace_back("Timecode",
                fmt::format("starts at {}, counts {} frames a second", start, definition.numberOfFrames));
        }
        return effects;
    }

} // namespace

ConformPanel::ConformPanel(MyDocument& document, Preferences& preferences, Ask ask, AskOnce askOnce)
    : m_document(document)
    , m_preferences(preferences)
    , m_ask(std::move(ask))
    , m_askOnce(std::move(askOnce))
{
}

std::string ConformPanel::presentRate() const
{
    return fmt::format("{:.2f}", KWQuickTime::fpsForMovie(m_document.movie()));
}

bool ConformPanel::stripsEditLists() const
{
    return m_preferences.boolean(kStripKey);
}

void ConformPanel::setStripsEditLists(bool strips)
{
    static_cast<void>(m_preferences.set(kStripKey, strips));
}

ConformPanel::Preview ConformPanel::preview(const Choice& choice) const
{
    return preview(m_document.movie(), choice, stripsEditLists());
}

ConformPanel::Preview ConformPanel::preview(const QTMovie& movie, const Choice& choice, bool stripsEditLists)
{
    Preview preview;
    const auto rate = KWQuickTime::fpsForMovie(movie);
    const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (video.empty() || !(rate > 0)) {
        preview.error = "The movie has no picture whose frame rate could be conformed.";
        return preview;
    }
    preview.presentRate = rateText(rate) + " fps";
    const auto table = video.front().media().sampleTable();
    const auto exact = ExactConform::pictureRate(movie);
    preview.presentText
        = fmt::format("{}{}, {} frames", exact ? fmt::format("{}/{}, ", exact->num, exact->den) : "",
            table.timeRunCount() == 1 ? "constant" : "varying", grouped(table.sampleCount()));
    const auto typed = ExactRate::parse(choice.rate);
    const auto number = typedRate(choice.rate);
    const bool isRate = choice.exactly ? typed.has_value() : number && *number >= 1;
    if (!isRate) {
        preview.error = choice.rate.empty() ? "" : "Type a frame rate of 1 or more, such as 23.976 or 25.";
        return preview;
    }
    QTMovie after;
    if (choice.exactly) {
        after = movie;
        auto done = ExactConform::apply(after, {*typed, choice.acceptDrift});
        if (!done) {
            preview.error = done.error().detail;
            return preview;
        }
        preview.warnings = std::move(done->warnings);
        preview.rows = rowsBetween(movie, after);
        preview.summary = fmt::format("{} fields", preview.rows.size());
    } else {
        const auto mode = MovieSaver::canUpdateMovieFile(movie) ? SavePreview::Mode::InPlace
                                                                : SavePreview::Mode::Flattened;
        auto forecast = KWConformController::forecast(
            movie, {rate, *number, stripsEditLists, true}, mode, KWQuickTimeParser::Notes::Quiet);
        if (!forecast) {
            preview.error = forecast.error().detail;
            return preview;
        }
        after = std::move(forecast->movie);
        preview.warnings = std::move(forecast->warnings);
        preview.rows = rowsOf(forecast->plan, movie);
        preview.summary = fmt::format("{} fields, {} bytes", grouped(forecast->plan.patches.size()),
            grouped(forecast->plan.byteCount()));
    }
    if (KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie))
        preview.summary += "; then the timecode track is rebuilt";
    preview.effects = effectsOf(movie, after);
    preview.isPossible = true;
    return preview;
}

void ConformPanel::conformFrameRate(const Choice& choice)
{
    if (m_waiting || m_document.isSaving())
        return;
    if (choice.exactly) {
        conformExactly(choice);
        return;
    }
    Waiting task {choice, KWQuickTime::fpsForMovie(m_document.movie()), typedRate(choice.rate).value_or(0)};
    if (task.to < 1.0) {
        m_ask("Unable to conform", "Frame rate must be at least 1 frame per second.", {"OK"});
        return;
    }
    if (!m_preferences.boolean(kSuppressKey)) {
        bool suppress = false;
        const auto answer
            = m_askOnce("Warning: the conform function is a destructive operation that cannot be undone",
                kInformation, {"Continue", "Cancel"}, suppress);
        if (suppress)
            static_cast<void>(m_preferences.set(kSuppressKey, true));
        if (answer != 0)
            return;
    }
    if (!m_document.isEdited()) {
        conformSaved(task);
        return;
    }
    if (m_ask("This movie must be saved before continuing", kInformation, {"Save", "Cancel"}) != 0)
        return;
    if (m_document.saveDocument()) {
        m_waiting = std::move(task);
        proceed();
    }
}

void ConformPanel::proceed()
{
    if (!m_waiting || m_document.isSaving() || m_document.isWriting())
        return;
    const auto task = *std::exchange(m_waiting, std::nullopt);
    if (m_document.isEdited()) // it was not saved, and why has been said
        return;
    if (task.isWritten)
        tellDone(task);
    else
        conformSaved(task);
}

void ConformPanel::conformSaved(const Waiting& task)
{
    const auto& movie = m_document.movie();
    if (!MovieSaver::canUpdateMovieFile(movie)) {
        conformByRewriting(task);
        return;
    }
    const auto kept = keepHeader(task.choice);
    const auto fail = [&](const MovieError& error) {
        std::error_code none;
        if (kept && !kept->empty())
            std::filesystem::remove(*kept, none);
        m_ask("Conform failed", error.detail.empty() ? "Unknown error." : error.message(), {"OK"});
    };
    if (!kept) {
        fail(kept.error());
        return;
    }
    if (const auto done
        = KWConformController::conformSaved(movie, {task.from, task.to, stripsEditLists(), false});
        !done) {
        fail(done.error());
        return;
    }
    // Opened again, the document knows the file's new date and header.
    const auto path = m_document.path();
    if (!m_document.loadMovieFromURL(path)) {
        m_ask("Conform failed", "The file was conformed, but cannot be opened again.", {"OK"});
        return;
    }
    rebuildTimecode();
    tellDone(task);
}

void ConformPanel::conformByRewriting(Waiting task)
{
    auto forecast = KWConformController::forecast(
        m_document.movie(), {task.from, task.to, stripsEditLists(), true}, SavePreview::Mode::Flattened);
    if (!forecast) {
        m_ask("Conform failed", forecast.error().message(), {"OK"});
        return;
    }
    // The document's own save writes the whole file, on its thread, with its progress.
    m_document.perform(
        "Conform", [&](QTMovie& movie) { movie = forecast->movie; }, MyDocument::ViewUpdate::Reset);
    task.isWritten = true;
    if (m_document.saveDocument())
        m_waiting = std::move(task);
}

void ConformPanel::conformExactly(const Choice& choice)
{
    const auto rate = ExactRate::parse(choice.rate);
    if (!rate) {
        m_ask("Unable to conform", "Frame rate must be at least 1 frame per second.", {"OK"});
        return;
    }
    const auto kept = keepHeader(choice);
    const auto done = kept
        ? m_document.perform(edits::conformExactly(*rate, choice.acceptDrift), MyDocument::ViewUpdate::Reset)
        : Result<void> {tl::unexpected<MovieError>(kept.error())};
    if (done)
        return;
    std::error_code none;
    if (kept && !kept->empty())
        std::filesystem::remove(*kept, none);
    m_ask("Conform failed", done.error().message(), {"OK"});
}

Result<std::string> ConformPanel::keepHeader(const Choice& choice) const
{
    if (!choice.keepHeader)
        return std::string {};
    auto path = HeaderSidecar::besideMovie(m_document.path());
    RW_CHECK(HeaderSidecar::keep(m_document.movie(), path));
    return path;
}

void ConformPanel::rebuildTimecode()
{
    const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, m_document.movie());
    if (!track)
        return;
    m_document.perform(
        "Rebuild Timecode",
        [](QTMovie& movie) {
            auto rebuilt = movie; // the track that is there is better than none
            const auto first = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, rebuilt);
            if (first && KWTimecodeController::replaceTimecodeTrack(first->track(), rebuilt))
                movie = std::move(rebuilt);
        },
        MyDocument::ViewUpdate::Reset);
}

void ConformPanel::tellDone(const Waiting& task)
{
    m_ask("Conform complete",
        fmt::format("The movie was conformed from {:.2f} fps to {:.2f} fps.", task.from, task.to), {"OK"});
}

void ConformPanel::restoreHeader(const std::string& path)
{
    const auto done = m_document.perform(edits::restoreHeader(path), MyDocument::ViewUpdate::Reset);
    if (!done)
        m_ask("Unable to restore the old rate", done.error().message(), {"OK"});
}

} // namespace reelwright
