#pragma once

#include "cli/Console.h"
#include "report/Json.h"

#include <map>

namespace reelwright::cli {

enum class OutputFormat {
    Text,
    JsonDocument, ///< one object, or an array of them for several files
    JsonLines, ///< one object a line, as each file is done
};

/// Writes the results of a command, one a file, to standard output. Files may finish in any order and on any
/// thread: JSON lines come out as they are done, the other forms in the order of the files.
class ResultWriter
{
public:
    ResultWriter(Console& console, OutputFormat format, std::size_t fileCount);

    [[nodiscard]] OutputFormat format() const { return m_format; }
    [[nodiscard]] bool wantsText() const { return m_format == OutputFormat::Text; }

    /// The result of file number `index` (from 0), in the form that `format` asks for.
    void addText(std::size_t index, std::string text);
    void addJson(std::size_t index, const Json& json);
    /// File number `index` has no result that is told.
    void skip(std::size_t index);
    /// Call when all results have been added.
    void finish();

private:
    void add(std::size_t index, std::string text);

    Console& m_console;
    const OutputFormat m_format;
    const bool m_isArray;
    std::mutex m_mutex;
    std::map<std::size_t, std::string> m_waiting;
    std::size_t m_next = 0;
    bool m_hasWritten = false;
};

} // namespace reelwright::cli
