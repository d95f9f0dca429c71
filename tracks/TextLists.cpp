#include "tracks/TextLists.h"

#include "movie/atoms/TextEncoding.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>

namespace reelwright {
namespace {

    using Format = TextLists::Format;
    using Entry = TextLists::Entry;

    constexpr TextLists::FormatKind kFormats[] = {
        {Format::Srt, "srt", "SubRip (*.srt)", "srt"},
        {Format::WebVtt, "webvtt", "WebVTT (*.vtt)", "vtt"},
    };
    constexpr std::uint64_t kMostBytes = 64U << 20U;
    constexpr std::int32_t kMilliseconds = 1000;
    constexpr std::string_view kArrow = "-->";

    std::string_view trimmed(std::string_view text)
    {
        constexpr std::string_view kBlanks = " \t\r";
        const auto first = text.find_first_not_of(kBlanks);
        if (first == std::string_view::npos)
            return {};
        return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
    }

    /// The lines of a text, whichever way they end.
    std::vector<std::string_view> linesOf(std::string_view text)
    {
        std::vector<std::string_view> lines;
        while (!text.empty()) {
            const auto end = std::min(text.find_first_of("\r\n"), text.size());
            lines.push_back(text.substr(0, end));
            const std::size_t mark = text.substr(end).starts_with("\r\n") ? 2 : 1;
            text.remove_prefix(std::min(end + mark, text.size()));
        }
        return lines;
    }

    /// "01:02:03,456", "02:03.456"
    std::optional<QTTime> timeOf(std::string_view text)
    {
        text = trimmed(text);
        const auto point = text.find_first_of(",.");
        if (point == std::string_view::npos)
            return std::nullopt;
        const auto number = [](std::string_view digits) -> std::optional<std::int64_t> {
            std::int64_t value = 0;
            const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
            constexpr std::size_t kMostDigits = 7;
            if (digits.empty() || digits.size() > kMostDigits || digits.front() == '-'
                || error != std::errc {} || end != digits.data() + digits.size())
                return std::nullopt;
            return value;
        };
        auto fraction = std::string(text.substr(point + 1, 3));
        fraction.resize(3, '0');
        const auto milliseconds = number(fraction);
        if (!milliseconds || point + 1 == text.size()
            || text.substr(point + 1).find_first_not_of("0123456789") != std::string_view::npos)
            return std::nullopt;
        std::int64_t seconds = 0;
        int fields = 0;
        for (auto rest = text.substr(0, point);; ++fields) {
            const auto colon = std::min(rest.find(':'), rest.size());
            const auto field = number(rest.substr(0, colon));
            constexpr std::int64_t kSixty = 60;
            if (!field || (fields > 0 && *field >= kSixty) || fields == 3)
                return std::nullopt;
            seconds = seconds * kSixty + *field;
            if (colon == rest.size())
                break;
            rest.remove_prefix(colon + 1);
        }
        if (fields == 0)
            return std::nullopt;
        return QTTime {seconds * kMilliseconds + *milliseconds, kMilliseconds};
    }

    struct Timing
    {
        QTTime start;
        QTTime end;
        std::optional<TextAlignment> alignment;
    };

    /// "START --> END", and in WebVTT what follows.
    std::optional<Timing> timingOf(std::string_view line)
    {
        const auto arrow = line.find(kArrow);
        if (arrow == std::string_view::npos)
            return std::nullopt;
        auto rest = trimmed(line.substr(arrow + kArrow.size()));
        const auto blank = std::min(rest.find_first_of(" \t"), rest.size());
        const auto start = timeOf(line.substr(0, arrow));
        const auto end = timeOf(rest.substr(0, blank));
        if (!start || !end)
            return std::nullopt;
        Timing timing {*start, *end, {}};
        const auto settings = rest.substr(blank);
        const auto says
            = [&](std::string_view what) { return settings.find(what) != std::string_view::npos; };
        if (says("align:start") || says("align:left"))
            timing.alignment = TextAlignment::Left;
        else if (says("align:end") || says("align:right"))
            timing.alignment = TextAlignment::Right;
        else if (says("align:center") || says("align:middle"))
            timing.alignment = TextAlignment::Center;
        return timing;
    }

    /// A tag between "<" and ">", "" for a "<" that begins none.
    std::string_view tagAt(std::string_view text)
    {
        const auto end = text.find('>');
        if (end == std::string_view::npos || end < 2)
            return {};
        const auto first = text[1];
        const bool begins = (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z') || first == '/'
            || (first >= '0' && first <= '9');
        return begins && text.substr(1, end).find('<') == std::string_view::npos ? text.substr(0, end + 1)
                                                                                 : std::string_view {};
    }

    std::uint8_t faceOf(std::string_view tag)
    {
        if (tag.empty() || (tag.size() > 1 && tag[1] != '.' && tag[1] != ' '))
            return 0;
        switch (tag.front() | 0x20) {
        case 'b':
            return TextStyle::kBold;
        case 'i':
            return TextStyle::kItalic;
        case 'u':
            return TextStyle::kUnderlined;
        default:
            return 0;
        }
    }

    struct Reference
    {
        std::string_view name;
        std::string_view text;
    };
    constexpr Reference kReferences[] = {
        {"&amp;", "&"},
        {"&lt;", "<"},
        {"&gt;", ">"},
        {"&nbsp;", "\u00A0"},
        {"&lrm;", "\u200E"},
        {"&rlm;", "\u200F"},
        {"&quot;", "\""},
        {"&apos;", "'"},
    };

    /// The text without its tags. A face counts when it is on for every character that can be seen.
    void takeText(std::string_view marked, Format format, Entry& entry)
    {
        std::uint8_t open = 0;
        std::uint8_t everywhere = TextStyle::kBold | TextStyle::kItalic | TextStyle::kUnderlined;
        bool isEmpty = true;
        while (!marked.empty()) {
            if (marked.front() == '<')
                if (const auto tag = tagAt(marked); !tag.empty()) {
                    const bool closes = tag[1] == '/';
                    const auto face = faceOf(tag.substr(closes ? 2 : 1, tag.size() - (closes ? 3 : 2)));
                    open = static_cast<std::uint8_t>(closes ? open & ~face : open | face);
                    marked.remove_prefix(tag.size());
                    continue;
                }
            if (format == Format::Srt
                && marked.starts_with("{\\")) // a command of another format, as "{\an8}"
                if (const auto end = marked.find('}'); end != std::string_view::npos) {
                    marked.remove_prefix(end + 1);
                    continue;
                }
            std::string_view text = marked.substr(0, 1);
            std::size_t used = 1;
            if (format == Format::WebVtt && marked.front() == '&')
                for (const auto& [name, meaning] : kReferences)
                    if (marked.starts_with(name)) {
                        text = meaning;
                        used = name.size();
                    }
            entry.text += text;
            if (text.find_first_not_of(" \t\n") != std::string_view::npos) {
                everywhere &= open;
                isEmpty = false;
            }
            marked.remove_prefix(used);
        }
        entry.face = isEmpty ? std::uint8_t {0} : everywhere;
        while (!entry.text.empty() && entry.text.back() == '\n')
            entry.text.pop_back();
    }

    std::string timeText(const QTTime& time, Format format)
    {
        const auto all = std::max<std::int64_t>(atScale(time, kMilliseconds).value, 0);
        const auto seconds = all / kMilliseconds;
        return fmt::format("{:02}:{:02}:{:02}{}{:03}", seconds / 3600, seconds / 60 % 60, seconds % 60,
            format == Format::Srt ? ',' : '.', all % kMilliseconds);
    }

    /// A text as a list can hold it: no line of it is empty, which would end it.
    std::string marked(const TextCue& cue, Format format)
    {
        std::string text;
        bool isLineEmpty = true;
        for (const char character : cue.text) {
            if (character == '\n' && isLineEmpty)
                text += "\u00A0";
            isLineEmpty = character == '\n';
            if (format == Format::WebVtt && (character == '&' || character == '<' || character == '>'))
                text += character == '&' ? "&amp;" : character == '<' ? "&lt;" : "&gt;";
            else
                text += character;
        }
        if (isLineEmpty)
            text += "\u00A0";
        constexpr std::pair<std::uint8_t, char> kTags[]
            = {{TextStyle::kUnderlined, 'u'}, {TextStyle::kItalic, 'i'}, {TextStyle::kBold, 'b'}};
        for (const auto& [face, tag] : kTags)
            if ((cue.style.fontFace & face) != 0)
                text = fmt::format("<{0}>{1}</{0}>", tag, text);
        return text;
    }

} // namespace

std::span<const TextLists::FormatKind> TextLists::formats()
{
    return kFormats;
}

const TextLists::FormatKind* TextLists::formatNamed(std::string_view name)
{
    for (const auto& kind : kFormats)
        if (name == kind.name || name == kind.extension)
            return &kind;
    return nullptr;
}

Result<TextLists::Parsed> TextLists::parsed(std::string_view text)
{
    const auto lines = linesOf(text);
    const auto format = !lines.empty() && lines.front().starts_with("WEBVTT") ? Format::WebVtt : Format::Srt;
    Parsed list;
    const auto isBlank = [](std::string_view line) { return trimmed(line).empty(); };
    for (std::size_t i = 0; i < lines.size(); ++i) {
        // Between the entries stand numbers, names and, in WebVTT, notes and styles.
        if (lines[i].find(kArrow) == std::string_view::npos)
            continue;
        Entry entry;
        entry.line = i + 1;
        const auto timing = timingOf(lines[i]);
        std::string whole;
        for (++i; i < lines.size() && !isBlank(lines[i]) && lines[i].find(kArrow) == std::string_view::npos;
             ++i)
            whole += fmt::format("{}{}", whole.empty() ? "" : "\n", lines[i]);
        if (i < lines.size() && lines[i].find(kArrow) != std::string_view::npos) {
            // No blank line stands between them: the number of the next one is no text of this one.
            const auto last = whole.rfind('\n');
            const auto number = whole.substr(last == std::string::npos ? 0 : last + 1);
            if (!number.empty() && number.find_first_not_of("0123456789") == std::string::npos)
                whole.resize(last == std::string::npos ? 0 : last);
            --i;
        }
        if (!timing) {
            list.refused.push_back(fmt::format("line {}: the times cannot be read; they look like {}",
                entry.line,
                format == Format::Srt ? "00:00:01,000 --> 00:00:02,500" : "00:00:01.000 --> 00:00:02.500"));
            continue;
        }
        entry.start = timing->start;
        entry.end = timing->end;
        entry.alignment = timing->alignment;
        takeText(whole, format, entry);
        if (entry.end <= entry.start)
            list.refused.push_back(fmt::format("line {}: the text ends before it begins", entry.line));
        else if (!entry.text.empty())
            list.entries.push_back(std::move(entry));
    }
    if (list.entries.empty() && list.refused.empty())
        return failure(MovieError::Code::Refused, {},
            "there are no texts in the list; it has to be SubRip (SRT) or WebVTT");
    return list;
}

Result<TextLists::Parsed> TextLists::parsedFile(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return failure(MovieError::Code::Io, path, "there is no such file to import texts from");
    const auto size = std::filesystem::file_size(path, error);
    if (error || size > kMostBytes)
        return failure(MovieError::Code::Refused, path, "the file is too large for a list of texts");
    std::ifstream file {path, std::ios::binary};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (!file.read(bytes.data(), static_cast<std::streamsize>(size)))
        return systemFailure(errno != 0 ? errno : EIO, path, "the file cannot be read");
    const auto text = decodeTextFile(std::as_bytes(std::span {bytes}));
    if (!text)
        return failure(MovieError::Code::Refused, path,
            "the file is no text in UTF-8 or UTF-16; convert it first, for example with iconv -f "
            "WINDOWS-1252 "
            "-t UTF-8");
    auto list = parsed(*text);
    if (!list)
        return failure(list.error().code, path, list.error().detail);
    return list;
}

std::string TextLists::written(Format format, const std::vector<TextCue>& texts)
{
    std::string list = format == Format::WebVtt ? "WEBVTT\n" : "";
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto& text = texts[i];
        if (format == Format::WebVtt || i > 0)
            list += '\n';
        if (format == Format::Srt)
            list += fmt::format("{}\n", i + 1);
        list += fmt::format("{} {} {}", timeText(text.start, format), kArrow, timeText(text.end, format));
        if (format == Format::WebVtt && text.alignment() != TextAlignment::Center)
            list += text.alignment() == TextAlignment::Left ? " align:left" : " align:right";
        list += fmt::format("\n{}\n", marked(text, format));
    }
    return list;
}

TextNotes TextLists::insert(std::vector<TextCue>& texts, const Parsed& list, const TextStyle& style,
    const std::optional<QTTime>& most)
{
    auto entries = list.entries;
    std::stable_sort(
        entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.start < b.start; });
    TextNotes notes;
    notes.refused = list.refused;
    std::size_t begun = 0; // of entries that begin together, the first
    TextNotes ends;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i > 0 && entries[i].start == entries[begun].start) {
            // Two speakers at one time are two lines.
            const auto at = std::find_if(texts.begin(), texts.end(),
                [&](const TextCue& text) { return text.start == entries[i].start && text.sample.empty(); });
            if (at != texts.end()) {
                at->text += '\n' + entries[i].text;
                continue;
            }
        }
        begun = i;
        TextCue cue;
        cue.style = style;
        cue.style.fontFace = static_cast<std::uint8_t>(style.fontFace | entries[i].face);
        if (entries[i].alignment)
            cue.setAlignment(*entries[i].alignment);
        cue.setText(entries[i].text);
        cue.start = entries[i].start;
        cue.end = entries[i].end;
        if (const auto done = TextInsertion::addTo(texts, std::move(cue), most, ends); !done)
            notes.refused.push_back(fmt::format("line {}: {}", entries[i].line, done.error().detail));
    }
    if (!ends.remarks.empty())
        notes.remarks.push_back(ends.remarks.size() == 1
                ? ends.remarks.front()
                : fmt::format(
                    "{} of the texts end where the next one begins, or with the movie", ends.remarks.size()));
    return notes;
}

} // namespace reelwright
