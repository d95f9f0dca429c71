#include "chapters/MarkerLists.h"
#include "chapters/TimecodeLabels.h"
#include "support/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>

namespace reelwright::markerLists {
namespace {

    std::vector<std::string_view> linesOf(std::string_view text)
    {
        auto lines = split(text, "\n");
        for (auto& line : lines)
            if (line.ends_with('\r'))
                line.remove_suffix(1);
        return lines;
    }

    std::string replaced(std::string text, std::string_view from, std::string_view to)
    {
        for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
            text.replace(at, from.size(), to);
        return text;
    }

    std::string onOneLine(std::string text)
    {
        std::replace_if(
            text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
        return text;
    }

    template <class Number> std::optional<Number> numberOf(std::string_view text)
    {
        text = trimmed(text);
        Number number {};
        const auto* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        return error == std::errc {} && stop == end ? std::optional(number) : std::nullopt;
    }

    ImportedChapter entryAt(const QTTime& start, std::string name, const MarkerTarget& target)
    {
        return {std::move(name), target.times.formatted(start), start};
    }

    /// The same for a time that was rounded so: it means the picture that begins there.
    ImportedChapter entryNear(
        const QTTime& start, const QTTime& rounding, std::string name, const MarkerTarget& target)
    {
        return entryAt(target.times.nearestPicture(start, rounding), std::move(name), target);
    }

    /// The end of a chapter: where the next one starts, or the movie ends.
    QTTime endOf(const MarkerSource& source, std::size_t index)
    {
        return index + 1 < source.chapters.size() ? source.chapters[index + 1].start
                                                  : source.movie.duration();
    }

    constexpr std::int64_t kFarthest = 1LL << 53U; ///< units that no movie reaches

    std::string clockText(const QTTime& time)
    {
        const auto thousandths = std::max<std::int64_t>(atScale(time, 1000).value, 0);
        return fmt::format("{:02}:{:02}:{:02}.{:03}", thousandths / 3'600'000, thousandths / 60'000 % 60,
            thousandths / 1000 % 60, thousandths % 1000);
    }

    /// "01:02:03.456" or "02:03.456".
    std::optional<QTTime> clockTime(std::string_view text)
    {
        const auto pieces = split(trimmed(text), ":");
        if (pieces.size() < 2 || pieces.size() > 3)
            return std::nullopt;
        std::int64_t minutes = 0;
        for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
            const auto number = numberOf<std::int64_t>(pieces[i]);
            if (!number || *number < 0 || *number > INT32_MAX)
                return std::nullopt;
            minutes = minutes * 60 + *number;
        }
        const auto seconds = numberOf<double>(pieces.back());
        if (!seconds || !(*seconds >= 0) || *seconds >= 60)
            return std::nullopt;
        return QTTime {minutes * 60'000 + static_cast<std::int64_t>(*seconds * 1000 + 0.5), 1000};
    }

    /// Fields of RFC 4180, a row a record.
    std::vector<std::vector<std::string>> csvRows(std::string_view text)
    {
        std::vector<std::vector<std::string>> rows;
        std::vector<std::string> row;
        std::string field;
        bool quoted = false;
        const auto endRow = [&] {
            row.push_back(std::move(field));
            field.clear();
            rows.push_back(std::move(row));
            row.clear();
        };
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char c = text[i];
            if (quoted) {
                if (c != '"')
                    field += c;
                else if (i + 1 < text.size() && text[i + 1] == '"')
                    field += text[++i];
                else
                    quoted = false;
            } else if (c == '"' && field.empty()) {
                quoted = true;
            } else if (c == ',') {
                row.push_back(std::move(field));
                field.clear();
            } else if (c == '\n') {
                endRow();
            } else if (c != '\r' || i + 1 >= text.size() || text[i + 1] != '\n') {
                field += c;
            }
        }
        if (!field.empty() || !row.empty())
            endRow();
        return rows;
    }

    std::string csvField(const std::string& text)
    {
        if (text.find_first_of(",\"\r\n") == std::string::npos)
            return text;
        return '"' + replaced(text, "\"", "\"\"") + '"';
    }

    /// A backslash before what means something in a file of ffmpeg's metadata.
    std::string escapedMetadata(std::string_view text)
    {
        std::string escaped;
        for (const char c : text) {
            if (std::string_view("=;#\\\n").find(c) != std::string_view::npos)
                escaped += '\\';
            escaped += c;
        }
        return escaped;
    }

    /// Lines of such a file, of which a backslash at the end makes one of two, and their keys and values.
    std::vector<std::pair<std::string, std::string>> metadataItems(std::string_view text)
    {
        std::vector<std::pair<std::string, std::string>> items;
        std::string key;
        std::string part;
        bool hasKey = false;
        const auto endLine = [&] {
            items.emplace_back(hasKey ? key : part, hasKey ? part : std::string {});
            key.clear();
            part.clear();
            hasKey = false;
        };
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\\' && i + 1 < text.size()) {
                part += text[++i];
            } else if (text[i] == '=' && !hasKey) {
                key = std::exchange(part, {});
                hasKey = true;
            } else if (text[i] == '\n') {
                endLine();
            } else if (text[i] != '\r') {
                part += text[i];
            }
        }
        endLine();
        return items;
    }

    using Json = nlohmann::ordered_json;

    std::string textIn(const Json& object, const char* key)
    {
        const auto found = object.is_object() ? object.find(key) : object.end();
        return object.is_object() && found != object.end() && found->is_string() ? found->get<std::string>()
                                                                                 : std::string {};
    }

    /// The time of an entry: our own value and scale, or timecode, or ffprobe's text of seconds.
    std::optional<QTTime> timeIn(const Json& entry, const MarkerTarget& target)
    {
        if (const auto start = entry.find("start"); start != entry.end() && start->is_object()) {
            const auto value = start->find("value");
            const auto scale = start->find("scale");
            if (value != start->end() && scale != start->end() && value->is_number_integer()
                && scale->is_number_integer()) {
                const auto units = value->get<std::int64_t>();
                const auto perSecond = scale->get<std::int64_t>();
                if (units >= 0 && units <= kFarthest && perSecond > 0 && perSecond <= INT32_MAX)
                    return QTTime {units, static_cast<std::int32_t>(perSecond)};
            }
            return target.times.fromText(textIn(*start, "timecode"));
        }
        const auto seconds = numberOf<double>(textIn(entry, "start_time"));
        constexpr double kMillion = 1e6;
        if (!seconds || !(*seconds >= 0) || *seconds * kMillion > static_cast<double>(kFarthest))
            return std::nullopt;
        return QTTime {static_cast<std::int64_t>(*seconds * kMillion + 0.5), 1'000'000};
    }

} // namespace

std::string writeEdl(const MarkerSource& source)
{
    const TimecodeLabels labels {source.movie};
    auto text = fmt::format("TITLE: {}\nFCM: {}\n", onOneLine(source.title),
        labels.dropsFrames() ? "DROP FRAME" : "NON-DROP FRAME");
    for (std::size_t i = 0; i < source.chapters.size(); ++i) {
        const auto& [name, start] = source.chapters[i];
        const auto in = labels.at(start);
        const auto out = labels.behind(start);
        text += fmt::format("\n{:03}  001      V     C        {} {} {} {}\n |C:ResolveColorBlue |M:{} |D:1\n",
            i + 1, in, out, in, out, onOneLine(name));
    }
    return text;
}

std::vector<ImportedChapter> readEdl(std::string_view text, const MarkerTarget& target)
{
    const TimecodeLabels labels {target.movie};
    std::vector<ImportedChapter> entries;
    const auto add = [&](std::string_view label, std::string_view name) {
        // A label from before the movie counts from its start.
        if (const auto time = labels.timeOf(label, TimecodeLabels::Early::FromStart))
            entries.push_back(
                {std::string(trimmed(name)), std::string(label), target.times.nearestPicture(*time)});
    };
    std::string_view recordIn;
    for (const auto line : linesOf(text)) {
        auto words = split(line, " \t");
        std::erase(words, std::string_view {});
        if (const auto name = line.find("|M:"); name != std::string_view::npos) {
            const auto rest = line.substr(name + 3);
            add(recordIn, rest.substr(0, rest.rfind("|D:")));
        } else if (words.size() >= 4 && words[0] == "*" && words[1] == "LOC:") {
            // Time, colour, and the rest of the line.
            const auto color = line.find(words[3], line.find(words[2]) + words[2].size());
            add(words[2], line.substr(color + words[3].size()));
        } else if (words.size() >= 8 && numberOf<int>(words[0])) {
            recordIn = words[words.size() - 2];
        }
    }
    return entries;
}

std::string writeWebVtt(const MarkerSource& source)
{
    std::string text = "WEBVTT\n";
    for (std::size_t i = 0; i < source.chapters.size(); ++i) {
        auto name = source.chapters[i].name;
        for (const auto& [from, to] : {std::pair {"&", "&amp;"}, {"<", "&lt;"}, {">", "&gt;"}})
            name = replaced(std::move(name), from, to);
        while (name.find("\n\n") != std::string::npos) // would end the cue
            name = replaced(std::move(name), "\n\n", "\n");
        text += fmt::format("\n{}\n{} --> {}\n{}\n", i + 1, clockText(source.chapters[i].start),
            clockText(endOf(source, i)), name);
    }
    return text;
}

std::vector<ImportedChapter> readWebVtt(std::string_view text, const MarkerTarget& target)
{
    const auto lines = linesOf(text);
    std::vector<ImportedChapter> entries;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto arrow = lines[i].find("-->");
        if (arrow == std::string_view::npos)
            continue;
        const auto start = clockTime(lines[i].substr(0, arrow));
        std::string name;
        while (i + 1 < lines.size() && !lines[i + 1].empty())
            name += (name.empty() ? "" : "\n") + std::string(lines[++i]);
        for (const auto& [from, to] : {std::pair {"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}})
            name = replaced(std::move(name), from, to);
        if (start)
            entries.push_back(entryNear(*start, {1, 1000}, std::move(name), target));
    }
    return entries;
}

std::string writeFfmetadata(const MarkerSource& source)
{
    std::string text = ";FFMETADATA1\n";
    for (std::size_t i = 0; i < source.chapters.size(); ++i) {
        const auto& [name, start] = source.chapters[i];
        text += fmt::format("\n[CHAPTER]\nTIMEBASE=1/{}\nSTART={}\nEND={}\ntitle={}\n", start.scale,
            start.value, std::max(atScale(endOf(source, i), start.scale).value, start.value),
            escapedMetadata(name));
    }
    return text;
}

std::vector<ImportedChapter> readFfmetadata(std::string_view text, const MarkerTarget& target)
{
    std::vector<ImportedChapter> entries;
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    struct Section
    {
        std::int64_t numerator = 1;
        std::int64_t denominator = kNanoseconds;
        std::optional<std::int64_t> start;
        std::string title;
    };
    std::optional<Section> section;
    const auto endSection = [&] {
        if (section && section->start && *section->start >= 0
            && *section->start <= kFarthest / section->numerator)
            entries.push_back(entryAt(
                {*section->start * section->numerator, static_cast<std::int32_t>(section->denominator)},
                section->title, target));
        section.reset();
    };
    for (auto& [key, value] : metadataItems(text)) {
        if (key.starts_with('[')) {
            endSection();
            if (trimmed(key) == "[CHAPTER]")
                section.emplace();
        } else if (!section) {
            continue;
        } else if (key == "TIMEBASE") {
            const auto slash = value.find('/');
            const auto numerator = numberOf<std::int64_t>(std::string_view(value).substr(0, slash));
            const auto denominator = slash == std::string::npos
                ? std::nullopt
                : numberOf<std::int64_t>(std::string_view(value).substr(slash + 1));
            if (numerator && denominator && *numerator > 0 && *numerator <= INT32_MAX && *denominator > 0
                && *denominator <= INT32_MAX) {
                section->numerator = *numerator;
                section->denominator = *denominator;
            }
        } else if (key == "START") {
            section->start = numberOf<std::int64_t>(value);
        } else if (key == "title") {
            section->title = std::move(value);
        }
    }
    endSection();
    return entries;
}

std::string writeJson(const MarkerSource& source)
{
    auto chapters = Json::array();
    for (const auto& [name, start] : source.chapters)
        chapters.push_back({{"name", name},
            {"start",
                {{"value", start.value}, {"scale", start.scale},
                    {"timecode", source.times.formatted(start)}}}});
    return Json {{"chapters", std::move(chapters)}}.dump(2, ' ', false, Json::error_handler_t::replace)
        + '\n';
}

std::vector<ImportedChapter> readJson(std::string_view text, const MarkerTarget& target)
{
    const auto json = Json::parse(text, nullptr, false);
    const auto found = json.is_object() ? json.find("chapters") : json.end();
    const auto& chapters = json.is_object() && found != json.end() ? *found : json;
    std::vector<ImportedChapter> entries;
    if (!chapters.is_array())
        return entries;
    for (const auto& entry : chapters) {
        if (!entry.is_object())
            continue;
        const auto time = timeIn(entry, target);
        auto name = textIn(entry, "name");
        if (const auto tags = entry.find("tags"); name.empty() && tags != entry.end())
            name = textIn(*tags, "title");
        if (time)
            entries.push_back(entryAt(*time, std::move(name), target));
    }
    return entries;
}

std::string writeCue(const MarkerSource& source)
{
    const auto quoted
        = [](std::string text) { return '"' + replaced(onOneLine(std::move(text)), "\"", "'") + '"'; };
    auto text = fmt::format("TITLE {}\nFILE {} WAVE\n", quoted(source.title), quoted(source.title));
    for (std::size_t i = 0; i < source.chapters.size(); ++i) {
        constexpr std::int32_t kFrames = 75;
        const auto frames = std::max<std::int64_t>(atScale(source.chapters[i].start, kFrames).value, 0);
        text += fmt::format("  TRACK {:02} AUDIO\n    TITLE {}\n    INDEX 01 {:02}:{:02}:{:02}\n", i + 1,
            quoted(source.chapters[i].name), frames / kFrames / 60, frames / kFrames % 60, frames % kFrames);
    }
    return text;
}

std::vector<ImportedChapter> readCue(std::string_view text, const MarkerTarget& target)
{
    std::vector<ImportedChapter> entries;
    std::string title;
    for (const auto line : linesOf(text)) {
        const auto command = trimmed(line);
        if (command.starts_with("TRACK ")) {
            title.clear();
        } else if (command.starts_with("TITLE ")) {
            auto value = trimmed(command.substr(6));
            if (value.size() >= 2 && value.starts_with('"') && value.ends_with('"'))
                value = value.substr(1, value.size() - 2);
            title = value;
        } else if (command.starts_with("INDEX 01 ")) {
            const auto pieces = split(trimmed(command.substr(9)), ":");
            std::int64_t frames = 0;
            bool isTime = pieces.size() == 3;
            for (std::size_t i = 0; isTime && i < 3; ++i) {
                const auto number = numberOf<std::int64_t>(pieces[i]);
                isTime = number && *number >= 0 && *number <= INT32_MAX;
                constexpr std::int64_t kUnits[] = {60, 60, 75};
                frames = frames * kUnits[i] + number.value_or(0);
            }
            if (isTime)
                entries.push_back(entryNear({frames, 75}, {1, 75}, title, target));
        }
    }
    return entries;
}

std::string writeQuotedCsv(const MarkerSource& source)
{
    std::string text = "Timecode,Name\r\n";
    for (const auto& [name, start] : source.chapters)
        text += fmt::format("{},{}\r\n", source.times.formatted(start), csvField(name));
    return text;
}

std::vector<ImportedChapter> readQuotedCsv(std::string_view text, const MarkerTarget& target)
{
    std::vector<ImportedChapter> entries;
    for (auto& row : csvRows(text)) {
        const auto time = row.size() >= 2 ? target.times.fromText(row[0]) : std::nullopt;
        if (time) // a header has none
            entries.push_back({std::move(row[1]), std::move(row[0]), time});
    }
    return entries;
}

} // namespace reelwright::markerLists
