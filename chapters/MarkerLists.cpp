#include "chapters/MarkerLists.h"

#include "support/Text.h"

#include <fmt/format.h>

namespace reelwright {
namespace {

    /// The lines, without the carriage returns that some programs end them with.
    std::vector<std::string_view> linesOf(std::string_view text)
    {
        auto lines = split(text, "\n");
        for (auto& line : lines)
            if (line.ends_with('\r'))
                line.remove_suffix(1);
        return lines;
    }

    std::string_view withoutQuotes(std::string_view text)
    {
        while (text.starts_with('"'))
            text.remove_prefix(1);
        while (text.ends_with('"'))
            text.remove_suffix(1);
        return text;
    }

    /// A marker's name and time, as they stand in a line.
    struct Fields
    {
        std::string_view name;
        std::string_view time;
    };

    /// Reads the lines from `first` on.
    template <class Parse>
    std::vector<ImportedChapter> readLines(
        std::string_view text, const MarkerTarget& target, std::size_t first, Parse parse)
    {
        HourBase hour {target.referenceHour};
        std::vector<ImportedChapter> entries;
        const auto lines = linesOf(text);
        for (std::size_t i = first; i < lines.size(); ++i)
            if (const std::optional<Fields> fields = parse(lines[i]))
                entries.push_back({std::string(fields->name), hour.rebased(fields->time), {}});
        return entries;
    }

    /// One line for each chapter; `format` makes it of the time and the name.
    template <class Format>
    std::string writeLines(const MarkerSource& source, std::string header, Format format)
    {
        auto text = std::move(header);
        for (const auto& [name, start] : source.chapters)
            text += format(source.times.formatted(start), name);
        return text;
    }

} // namespace

std::string HourBase::rebased(std::string_view time)
{
    const auto parts = split(time, ":;");
    const auto hour = integerValue(parts.front());
    int newHour = 0;
    if (m_hour == -1)
        m_hour = hour;
    else if (hour != m_hour)
        newHour = m_hour < hour ? hour - m_hour : hour;
    auto text = fmt::format("{}{}:", newHour < 10 ? "0" : "", newHour);
    for (std::size_t i = 1; i < parts.size(); ++i)
        text += fmt::format("{}{}", i == 1 ? "" : ":", parts[i]);
    return text;
}

namespace markerLists {

    std::string writeFinalCut(const MarkerSource& source)
    {
        return writeLines(source, "Name\tType\tMarker Name\tComment\tStart\tDuration\tColor\n",
            [](const std::string& time, const std::string& name) {
                return fmt::format("Sequence 1\tSequence\t{}\t\t{}\t00:00:00:00\tRed\n", name, time);
            });
    }

    std::string writeAvid(const MarkerSource& source)
    {
        return writeLines(source, {}, [](const std::string& time, const std::string& name) {
            return fmt::format("Reelwright\t{}\tV1\tred\t{}\n", time, name);
        });
    }

    std::string writeDvdStudio(const MarkerSource& source)
    {
        return writeLines(source, {}, [](const std::string& time, const std::string& name) {
            return fmt::format("{} {}\n", time, name);
        });
    }

    std::string writeCsv(const MarkerSource& source)
    {
        return writeLines(source, "Timecode,Name\n", [](const std::string& time, const std::string& name) {
            return fmt::format("\"{}\",\"{}\"\n", time, name);
        });
    }

    std::string writeText(const MarkerSource& source)
    {
        return writeLines(source, {}, [](const std::string& time, const std::string& name) {
            return fmt::format("{}\t{}\n", time, name);
        });
    }

    std::vector<ImportedChapter> readFinalCut(std::string_view text, const MarkerTarget& target)
    {
        return readLines(text, target, 1, [](std::string_view line) -> std::optional<Fields> {
            const auto fields = split(line, "\t");
            if (fields.size() != 7 || fields[1] != "Sequence")
                return std::nullopt;
            return Fields {fields[2], fields[4]};
        });
    }

    std::vector<ImportedChapter> readAvid(std::string_view text, const MarkerTarget& target)
    {
        return readLines(text, target, 0, [](std::string_view line) -> std::optional<Fields> {
            const auto fields = split(line, "\t");
            return fields.size() == 5 ? std::optional(Fields {fields[4], fields[1]}) : std::nullopt;
        });
    }

    std::vector<ImportedChapter> readDvdStudio(std::string_view text, const MarkerTarget& target)
    {
        return readLines(text, target, 0, [](std::string_view line) -> std::optional<Fields> {
            const auto space = line.find(' ');
            if (space == std::string_view::npos)
                return std::nullopt;
            return Fields {line.substr(space + 1), line.substr(0, space)};
        });
    }

    std::vector<ImportedChapter> readCsv(std::string_view text, const MarkerTarget& target)
    {
        return readLines(text, target, 1, [](std::string_view line) -> std::optional<Fields> {
            const auto fields = split(line, ",");
            if (fields.size() != 2)
                return std::nullopt;
            return Fields {withoutQuotes(fields[1]), withoutQuotes(fields[0])};
        });
    }

    std::vector<ImportedChapter> readText(std::string_view text, const MarkerTarget& target)
    {
        return readLines(text, target, 0, [](std::string_view line) -> std::optional<Fields> {
            const auto fields = split(line, "\t");
            return fields.size() == 2 ? std::optional(Fields {fields[1], fields[0]}) : std::nullopt;
        });
    }

} // namespace markerLists
} // namespace reelwright
