#include "tracks/TextInsertion.h"

#include "movie/TextTrack.h"
#include "movie/atoms/TextEncoding.h"
#include "support/KWLog.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace reelwright {
namespace {

    constexpr std::int32_t kNormalRate = 1 << 16;

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    std::int16_t pixels(int value)
    {
        return static_cast<std::int16_t>(std::clamp<int>(value, INT16_MIN, INT16_MAX));
    }

    /// "12.5 s"
    std::string inWords(const QTTime& time)
    {
        return fmt::format("{:g} s", std::round(time.seconds() * 1000) / 1000);
    }

    std::string shortened(const std::string& text)
    {
        constexpr std::size_t kMost = 40;
        auto line = text.substr(0, text.find('\n'));
        if (line.size() < text.size() || line.size() > kMost)
            line = line.substr(0, fittingUtf8(line, kMost)) + "\u2026";
        return '"' + line + '"';
    }

    /// Line ends as a text media has them come as "\r", "\n" or both.
    std::string withPlainLines(const std::string& text)
    {
        std::string plain;
        plain.reserve(text.size());
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] != '\r')
                plain += text[i];
            else if (i + 1 == text.size() || text[i + 1] != '\n')
                plain += '\n';
        return plain;
    }

    /// The media's time scale made fine enough for the times, where one is.
    std::int32_t scaleFor(const std::vector<TextCue>& texts, std::int32_t present)
    {
        std::int64_t scale = std::max(present, 1);
        for (const auto& text : texts)
            for (const auto& time : {text.start, text.end})
                if (time.scale > 0 && atScale(time, static_cast<std::int32_t>(scale)) != time) {
                    const auto finer = std::lcm<std::int64_t>(scale, time.scale);
                    if (finer > TextInsertion::kFinestScale)
                        return static_cast<std::int32_t>(scale);
                    scale = finer;
                }
        return static_cast<std::int32_t>(scale);
    }

    /// The entry, pointing at the movie's own file.
    Atom withOwnReference(Atom entry)
    {
        constexpr std::size_t kReserved = 6;
        if (entry.head.size() < kReserved + 2)
            return entry;
        ByteWriter head;
        head.bytes(entry.head.slice(0, kReserved).span())
            .u16(1)
            .bytes(entry.head.slice(kReserved + 2).span());
        entry.head = head.toBytes();
        return entry;
    }

    /// The descriptions of a new media, each once.
    class Descriptions
    {
    public:
        explicit Descriptions(const QTTrack& track)
            : m_media(track.media())
        {
            const auto first = m_media.sampleDescription(1);
            m_format = first ? first->format() : textMedia::kQuickTimeText;
        }

        [[nodiscard]] FourCC format() const { return m_format; }
        struct Place
        {
            std::uint32_t number = 0; ///< 1-based
            Bytes extensions {}; ///< of the sample, for what the description says otherwise
        };
        /// Where a text's style is described.
        Place of(const TextCue& text)
        {
            if (text.description != 0 && !text.sample.empty()) {
                if (const auto known = m_kept.find(text.description); known != m_kept.end())
                    return {known->second};
                if (const auto present = m_media.sampleDescription(text.description))
                    return {m_kept[text.description] = add(withOwnReference(present->entry()))};
            }
            const auto characters = static_cast<std::size_t>(std::count_if(text.text.begin(), text.text.end(),
                [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
            // As the description's format can say it, so that equal ones are seen to be equal.
            const auto entry = text.style.description(m_format);
            const auto style = TextStyle::of(SampleDescription {entry}).value_or(text.style);
            for (std::size_t i = 0; i < m_entries.size(); ++i)
                if (const auto described = TextStyle::of(SampleDescription {m_entries[i]});
                    described && style.isWithinReachOf(*described, m_format))
                    return {static_cast<std::uint32_t>(i + 1),
                        style.extensions(*described, m_format, characters)};
            return {add(entry)};
        }
        /// One is always needed.
        std::vector<Atom> take()
        {
            if (m_entries.empty()) {
                const auto first = m_media.sampleDescription(1);
                m_entries.push_back(
                    first ? withOwnReference(first->entry()) : TextStyle {}.description(m_format));
            }
            return std::move(m_entries);
        }

    private:
        std::uint32_t add(Atom entry)
        {
            for (std::size_t i = 0; i < m_entries.size(); ++i)
                if (m_entries[i].type == entry.type && m_entries[i].head == entry.head
                    && m_entries[i].children.empty() && entry.children.empty())
                    return static_cast<std::uint32_t>(i + 1);
            m_entries.push_back(std::move(entry));
            return static_cast<std::uint32_t>(m_entries.size());
        }

        QTMedia m_media;
        FourCC m_format;
        std::vector<Atom> m_entries;
        std::map<std::uint32_t, std::uint32_t> m_kept;
    };

    /// The leading empty edits of a track, in the movie's units.
    std::int64_t leadingGap(const QTTrack& track)
    {
        const auto list = track.editList();
        return list ? track.range().time.value : 0;
    }

} // namespace

TextBox TextCue::box() const
{
    return {style.boxLeft, style.boxTop, style.boxRight - style.boxLeft, style.boxBottom - style.boxTop};
}

void TextCue::setBox(const TextBox& newBox)
{
    if (newBox == box())
        return;
    auto changed = style;
    changed.boxLeft = pixels(newBox.left);
    changed.boxTop = pixels(newBox.top);
    changed.boxRight = pixels(newBox.left + newBox.width);
    changed.boxBottom = pixels(newBox.top + newBox.height);
    setStyle(changed);
}

TextAlignment TextCue::alignment() const
{
    return style.justification == 1 ? TextAlignment::Center
        : style.justification == -1 ? TextAlignment::Right
                                    : TextAlignment::Left;
}

void TextCue::setAlignment(TextAlignment alignment)
{
    auto changed = style;
    changed.justification = alignment == TextAlignment::Center ? 1
        : alignment == TextAlignment::Right                    ? -1
                                                               : 0;
    setStyle(changed);
}

void TextCue::setTimes(const QTTime& newStart, const QTTime& duration)
{
    start = newStart;
    const auto both
        = std::lcm<std::int64_t, std::int64_t>(std::max(newStart.scale, 1), std::max(duration.scale, 1));
    if (both <= INT32_MAX && atScale(duration, start.scale) != duration)
        start = atScale(start, static_cast<std::int32_t>(both));
    end = start + duration;
}

void TextCue::setText(std::string newText)
{
    newText = withPlainLines(newText);
    if (newText == text)
        return;
    text = std::move(newText);
    sample = {};
}

void TextCue::setStyle(TextStyle newStyle)
{
    if (newStyle == style)
        return;
    style = std::move(newStyle);
    description = 0;
    sample = {}; // may carry styles of its own
}

Result<std::vector<TextCue>> TextInsertion::texts(const QTTrack& track)
{
    RW_TRY(auto shown, textMedia::shownTexts(track));
    std::map<std::uint32_t, TextStyle> styles;
    std::vector<TextCue> cues;
    for (auto& each : shown) {
        if (each.text.empty())
            continue;
        if (each.end <= each.start) // never seen, but never lost either
            each.end = each.start + QTTime {1, each.start.scale};
        auto style = styles.find(each.description);
        if (style == styles.end()) {
            const auto description = track.media().sampleDescription(each.description);
            const auto read = description ? TextStyle::of(*description) : std::nullopt;
            style = styles.emplace(each.description, read.value_or(TextStyle {})).first;
        }
        TextCue cue {withPlainLines(each.text), each.start, each.end, style->second, std::move(each.sample),
            each.description};
        const auto description = track.media().sampleDescription(each.description);
        if (description)
            cue.style.takeExtensions(textMedia::extensionsOf(cue.sample.span()), description->format());
        cues.push_back(std::move(cue));
    }
    return cues;
}

TextBox TextInsertion::usualBox(double width, double height)
{
    constexpr double kAbove = 0.85; // of the height
    const auto top = static_cast<int>(std::floor(height * kAbove));
    return {0, top, static_cast<int>(width), static_cast<int>(height) - top};
}

TextStyle TextInsertion::plainStyle(const TextBox& box)
{
    constexpr double kLines = 2.5; // of text in the box
    constexpr int kSmallest = 12;
    constexpr std::uint16_t kWhite = 0xFFFF;
    TextCue cue;
    cue.style.displayFlags = TextStyle::kKeyed | TextStyle::kAntiAlias;
    cue.style.foreground = {kWhite, kWhite, kWhite};
    cue.style.verticalJustification = -1;
    cue.style.fontSize = static_cast<std::uint16_t>(
        std::clamp<double>(std::floor(box.height / kLines), kSmallest, UINT8_MAX));
    cue.setBox(box);
    cue.setAlignment(TextAlignment::Center);
    return cue.style;
}

TextStyle TextInsertion::usualStyle(const QTTrack& track)
{
    if (const auto present = texts(track); present && !present->empty())
        return present->back().style;
    auto size = track.size();
    if (size.width <= 0 || size.height <= 0)
        size = track.movie().naturalSize();
    return plainStyle(usualBox(size.width, size.height));
}

std::optional<QTTime> TextInsertion::limitFor(const QTTrack& track)
{
    std::optional<QTTime> latest;
    for (const auto& other : track.movie().tracks()) {
        if (other == track)
            continue;
        const auto range = other.range();
        const auto end = range.time + range.duration;
        if (range.duration.value > 0 && (!latest || end > *latest))
            latest = end;
    }
    return latest;
}

Result<void> TextInsertion::addTo(
    std::vector<TextCue>& texts, TextCue added, const std::optional<QTTime>& most, TextNotes& notes)
{
    if (added.text.empty())
        return refusal("there is no text to add");
    if (added.start.value < 0 || added.start.scale <= 0)
        return refusal("the text begins before the movie");
    if (added.end <= added.start)
        return refusal("the text has no duration");
    if (most && added.start >= *most)
        return refusal(fmt::format("the text {} would begin at {}, but the movie ends at {}",
            shortened(added.text), inWords(added.start), inWords(*most)));
    if (most && added.end > *most) {
        notes.remarks.push_back(fmt::format("the text {} ends with the movie at {}, not at {}",
            shortened(added.text), inWords(*most), inWords(added.end)));
        added.end = *most;
    }
    const auto next = std::lower_bound(texts.begin(), texts.end(), added.start,
        [](const TextCue& text, const QTTime& start) { return text.start < start; });
    if (next != texts.end() && next->start == added.start)
        return refusal(fmt::format("the text {} begins at {} already; change or remove that one",
            shortened(next->text), inWords(next->start)));
    if (next != texts.end() && added.end > next->start) {
        notes.remarks.push_back(fmt::format("the text {} ends at {}, where the next one begins",
            shortened(added.text), inWords(next->start)));
        added.end = next->start;
    }
    if (next != texts.begin() && (next - 1)->end > added.start) {
        auto& before = *(next - 1);
        notes.remarks.push_back(fmt::format("the text {} ends at {}, where the new one begins",
            shortened(before.text), inWords(added.start)));
        before.end = added.start;
    }
    texts.insert(next, std::move(added));
    return {};
}

Result<void> TextInsertion::setTexts(const std::vector<TextCue>& texts, const QTTrack& track)
{
    if (!textMedia::isTextTrack(track))
        return refusal("the track holds no text");
    if (texts.size() > textMedia::kMaxSamples / 2)
        return refusal(fmt::format("a track holds at most {} texts", textMedia::kMaxSamples / 2));
    auto& movie = track.editMovie();
    const auto movieScale = movie.timeScale();
    if (movieScale <= 0)
        return refusal("the movie has no time scale");
    const auto scale = scaleFor(texts, track.media().timeScale());
    const QTTime gap {leadingGap(track), movieScale};
    const bool keepsGap = !texts.empty() && gap.value > 0 && gap <= texts.front().start;
    const auto origin = keepsGap ? atScale(gap, scale).value : 0;

    Descriptions descriptions {track};
    // Those of samples that stay come first: what is new can often do with them.
    for (const auto& text : texts)
        if (!text.sample.empty())
            descriptions.of(text);
    textMedia::NewSamples media;
    media.mediaTimeScale = scale;
    std::int64_t at = 0;
    for (const auto& text : texts) {
        if (text.text.size() > textMedia::kMaxText)
            return refusal(fmt::format("the text {} is longer than the {} bytes that a sample holds",
                shortened(text.text), textMedia::kMaxText));
        const auto start = atScale(text.start, scale).value - origin;
        const auto end = atScale(text.end, scale).value - origin;
        const auto [description, extensions] = descriptions.of(text);
        if (end <= start || start < at)
            continue; // too short for the scale
        if (start > at)
            media.samples.push_back({textMedia::encode({}, descriptions.format()),
                static_cast<std::uint64_t>(start - at), description});
        media.samples.push_back(
            {text.sample.empty() ? textMedia::encode(text.text, descriptions.format(), extensions.span())
                                 : text.sample,
                static_cast<std::uint64_t>(end - start), description});
        at = end;
    }
    media.descriptions = descriptions.take();
    if (texts.empty()) { // as a new track is: one unit long
        at = std::max<std::int64_t>(scale / movieScale, 1);
        media.samples.push_back(
            {textMedia::encode({}, descriptions.format()), static_cast<std::uint64_t>(at), 1});
    }

    const EditableScope scope {movie};
    RW_CHECK(textMedia::replaceMedia(movie, track, media));
    EditList list;
    if (keepsGap)
        list.edits.push_back({static_cast<std::uint64_t>(gap.value), -1, kNormalRate});
    const auto length = std::max<std::int64_t>(rescale(at, movieScale, scale), 1);
    list.edits.push_back({static_cast<std::uint64_t>(length), 0, kNormalRate});
    return track.setEditList(list);
}

Result<TextNotes> TextInsertion::addText(const TextCue& text, const QTTrack& toTrack)
{
    const auto add = [&]() -> Result<TextNotes> {
        RW_TRY(auto present, texts(toTrack));
        TextNotes notes;
        RW_CHECK(addTo(present, text, limitFor(toTrack), notes));
        RW_CHECK(setTexts(present, toTrack));
        return notes;
    };
    auto done = add();
    if (!done)
        KWLog::appendLog("Error adding text: {}", done.error().status);
    return done;
}

Result<TextNotes> TextInsertion::addText(const std::string& text, const QTTrack& toTrack,
    const TextBox& bounds, TextAlignment textAlignment, int fontSize, const TextStyle::Color& textColor,
    const QTTime& duration, const QTTime& start)
{
    TextCue cue;
    cue.style = plainStyle(bounds);
    cue.setAlignment(textAlignment);
    cue.style.fontSize = static_cast<std::uint16_t>(std::clamp<int>(fontSize, 0, UINT16_MAX));
    cue.style.foreground = textColor;
    cue.setText(text);
    cue.setTimes(start, duration);
    return addText(cue, toTrack);
}

} // namespace reelwright
