#include "edits/TextEdit.h"

#include "edits/EditCatalogue.h"
#include "movie/atoms/TextEncoding.h"
#include "support/KWLog.h"
#include "tracks/TextLists.h"
#include "tracks/TextStyleJson.h"

#include <fmt/format.h>

#include <charconv>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> refusal(std::string reason)
    {
        return failure(MovieError::Code::Refused, {}, std::move(reason));
    }

    /// A text as it is typed: "\n" begins a new line.
    std::string typedText(std::string_view typed)
    {
        std::string text;
        for (std::size_t i = 0; i < typed.size(); ++i) {
            const auto next = typed.substr(i, 2);
            if (next == "\\n" || next == "\\\\") {
                text += next == "\\n" ? '\n' : '\\';
                ++i;
            } else {
                text += typed[i];
            }
        }
        return text;
    }

    bool isUtf8(std::string_view text)
    {
        return isValidUtf8(std::as_bytes(std::span {text}));
    }

    struct TypedRange
    {
        TypedTime start;
        TypedTime duration;
    };

    /// "TIMECODE/DURATION"; both may have a "/" of their own.
    std::optional<TypedRange> rangeOf(std::string_view text)
    {
        for (auto slash = text.rfind('/'); slash != std::string_view::npos && slash > 0;
             slash = text.rfind('/', slash - 1)) {
            const auto start = TypedTime::parse(text.substr(0, slash));
            const auto duration = TypedTime::parse(text.substr(slash + 1));
            if (start && duration && !start->isRelative() && !duration->isRelative()
                && duration->form() != TypedTime::Form::Label)
                return TypedRange {*start, *duration};
        }
        return std::nullopt;
    }

    /// What stands before and behind a character, cut at the first one.
    std::optional<std::pair<std::string_view, std::string_view>> cutAt(char mark, std::string_view text)
    {
        const auto at = text.find(mark);
        if (at == std::string_view::npos)
            return std::nullopt;
        return std::pair {text.substr(0, at), text.substr(at + 1)};
    }

    std::optional<std::size_t> numberOf(std::string_view text)
    {
        std::size_t number = 0;
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        return error == std::errc {} && stop == end && number > 0 ? std::optional(number) : std::nullopt;
    }

} // namespace

Result<std::vector<TextCue>::iterator> TextEdit::TrackTexts::numbered(std::size_t number)
{
    for (auto text = texts.begin(); text != texts.end(); ++text)
        if (const auto known = numbers.find(text->start); known != numbers.end() && known->second == number)
            return text;
    return refusal(fmt::format("track {} has no text {}", track.trackID(), number));
}

TextEdit::Style TextEdit::beginStyle()
{
    return m_lastStyle = std::make_shared<std::optional<std::string>>();
}

Result<TextStyle> TextEdit::styled(TextStyle style, const Style& with)
{
    if (*with)
        RW_CHECK(textStyle::apply(**with, style));
    return style;
}

Result<void> TextEdit::add(std::string_view value)
{
    const auto place = cutAt('@', value);
    const auto text = place ? cutAt('=', place->second) : std::nullopt;
    const auto tracks = place ? TrackSelector::parse(place->first) : std::nullopt;
    const auto range = text ? rangeOf(text->first) : std::nullopt;
    if (!tracks || !range)
        return edits::wrongValue("--add-text", value,
            fmt::format(
                "SELECTOR@TIMECODE/DURATION=TEXT, such as tx1@00:00:05:00/3s=Hello, where times are {}",
                TypedTime::acceptedForms()));
    if (!isUtf8(text->second))
        return edits::wrongValue("--add-text", value, "a text in UTF-8");
    m_steps.push_back({*tracks,
        [range = *range, words = typedText(text->second), style = beginStyle()](
            TrackTexts& state, EditNotes& notes) -> Result<void> {
            const auto& movie = state.track.movie();
            TextCue cue;
            RW_TRY(const auto start, range.start.exactly(movie));
            RW_TRY(const auto duration, range.duration.exactly(movie));
            cue.setTimes(start, duration);
            RW_TRY(cue.style, styled(TextInsertion::usualStyle(state.track), style));
            cue.setText(words);
            TextNotes told;
            RW_CHECK(TextInsertion::addTo(
                state.texts, std::move(cue), TextInsertion::limitFor(state.track), told));
            notes.remarks.insert(notes.remarks.end(), told.remarks.begin(), told.remarks.end());
            return {};
        }});
    return {};
}

Result<void> TextEdit::change(std::string_view value)
{
    const auto place = cutAt('@', value);
    const auto tracks = place ? TrackSelector::parse(place->first) : std::nullopt;
    const auto text = place ? cutAt('=', place->second) : std::nullopt;
    const auto number = place ? numberOf(text ? text->first : place->second) : std::nullopt;
    if (!tracks || !number)
        return edits::wrongValue("--change-text", value,
            "SELECTOR@N=TEXT, where N is a text's number, from 1; without =TEXT for its --text-style alone");
    if (text && !isUtf8(text->second))
        return edits::wrongValue("--change-text", value, "a text in UTF-8");
    const auto words = text ? std::optional(typedText(text->second)) : std::nullopt;
    if (words && words->empty())
        return edits::wrongValue("--change-text", value, "a text; --remove-text takes one away");
    m_steps.push_back({*tracks,
        [number = *number, words, style = beginStyle()](TrackTexts& state, EditNotes&) -> Result<void> {
            RW_TRY(const auto at, state.numbered(number));
            RW_TRY(auto changed, styled(at->style, style));
            at->setStyle(std::move(changed));
            if (words)
                at->setText(*words);
            return {};
        }});
    return {};
}

Result<void> TextEdit::remove(std::string_view value)
{
    const auto place = cutAt('@', value);
    const auto tracks = place ? TrackSelector::parse(place->first) : std::nullopt;
    const auto number = place ? numberOf(place->second) : std::nullopt;
    if (!tracks || (!number && place->second != "all"))
        return edits::wrongValue(
            "--remove-text", value, "SELECTOR@N, where N is a text's number, from 1, or all");
    m_steps.push_back({*tracks, [number](TrackTexts& state, EditNotes&) -> Result<void> {
                           if (!number) {
                               state.texts.clear();
                               return {};
                           }
                           RW_TRY(const auto at, state.numbered(*number));
                           state.texts.erase(at);
                           return {};
                       }});
    return {};
}

Result<void> TextEdit::import(std::string_view value)
{
    const auto parts = cutAt('=', value);
    const auto tracks = parts ? TrackSelector::parse(parts->first) : std::nullopt;
    if (!tracks || parts->second.empty())
        return edits::wrongValue("--import-text", value, "SELECTOR=FILE, such as tx1=titles.srt");
    m_steps.push_back({*tracks,
        [path = std::string(parts->second), style = beginStyle()](
            TrackTexts& state, EditNotes& notes) -> Result<void> {
            RW_TRY(const auto list, TextLists::parsedFile(path));
            RW_TRY(const auto look, styled(TextInsertion::usualStyle(state.track), style));
            const auto told
                = TextLists::insert(state.texts, list, look, TextInsertion::limitFor(state.track));
            notes.remarks.insert(notes.remarks.end(), told.remarks.begin(), told.remarks.end());
            for (const auto& refused : told.refused)
                notes.refused.push_back(fmt::format("{}, {}", path, refused));
            return {};
        }});
    return {};
}

Result<void> TextEdit::setStyle(std::string_view value)
{
    if (!m_lastStyle)
        return refusal(
            "--text-style stands behind the --add-text, --change-text or --import-text that it is about");
    TextStyle checked;
    if (const auto done = textStyle::apply(value, checked); !done)
        return refusal("--text-style: " + done.error().detail);
    *m_lastStyle = std::string(value);
    return {};
}

Result<TextEdit::TrackTexts> TextEdit::begin(const QTTrack& track)
{
    if (!textMedia::isTextTrack(track))
        return refusal(
            fmt::format("track {} holds no text; --add-track text makes one that does", track.trackID()));
    RW_TRY(auto texts, TextInsertion::texts(track));
    TrackTexts state {track, texts, std::move(texts), {}};
    // Edits before this one may have changed the track: a text is known by where it starts.
    const auto opened = track.movie().asSaved();
    for (const auto& former : opened.tracks())
        if (former.trackID() == track.trackID())
            if (const auto known = TextInsertion::texts(former))
                for (std::size_t i = 0; i < known->size(); ++i)
                    state.numbers.emplace((*known)[i].start, i + 1);
    return state;
}

Result<Edit> TextEdit::finish()
{
    return makeEditWithNotes("--add-text", "Texts", "Change texts",
        [edit = shared_from_this()](QTMovie& movie) { return edit->apply(movie); });
}

Result<EditNotes> TextEdit::apply(QTMovie& movie) const
{
    EditNotes notes;
    std::map<std::uint32_t, TrackTexts> states;
    for (const auto& [selector, step] : m_steps) {
        RW_TRY(const auto tracks, selector.select(movie));
        for (const auto& track : tracks) {
            auto state = states.find(track.trackID());
            if (state == states.end()) {
                RW_TRY(auto begun, begin(track));
                state = states.emplace(track.trackID(), std::move(begun)).first;
            }
            RW_CHECK(step(state->second, notes));
        }
    }
    // A list that comes out as it was is not written again.
    for (const auto& [id, state] : states)
        if (state.texts != state.before) {
            auto done = TextInsertion::setTexts(state.texts, state.track);
            if (!done) {
                KWLog::appendLog("Error adding text: {}", done.error().status);
                return tl::unexpected<MovieError>(std::move(done).error());
            }
        }
    return notes;
}

} // namespace reelwright
