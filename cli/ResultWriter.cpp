#include "cli/ResultWriter.h"

#include <utility>

namespace reelwright::cli {
namespace {

    std::string indented(const std::string& text)
    {
        std::string result = "  ";
        for (const char character : text) {
            result += character;
            if (character == '\n')
                result += "  ";
        }
        return result;
    }

} // namespace

ResultWriter::ResultWriter(Console& console, OutputFormat format, std::size_t fileCount)
    : m_console(console)
    , m_format(format)
    , m_isArray(format == OutputFormat::JsonDocument && fileCount != 1)
{
}

void ResultWriter::addText(std::size_t index, std::string text)
{
    add(index, std::move(text));
}

void ResultWriter::addJson(std::size_t index, const Json& json)
{
    if (m_format == OutputFormat::JsonLines) {
        m_console.write(toText(json, JsonStyle::OneLine) + '\n');
        return;
    }
    const auto text = toText(json, JsonStyle::Indented);
    add(index, m_isArray ? indented(text) : text + '\n');
}

void ResultWriter::skip(std::size_t index)
{
    if (m_format != OutputFormat::JsonLines)
        add(index, {});
}

void ResultWriter::add(std::size_t index, std::string text)
{
    const std::lock_guard lock {m_mutex};
    m_waiting.emplace(index, std::move(text));
    for (auto ready = m_waiting.find(m_next); ready != m_waiting.end(); ready = m_waiting.find(++m_next)) {
        if (ready->second.empty()) {
            m_waiting.erase(ready);
            continue;
        }
        const auto* before = !m_isArray ? "" : m_hasWritten ? ",\n" : "[\n";
        m_console.write(before + ready->second);
        m_hasWritten = true;
        m_waiting.erase(ready);
    }
}

void ResultWriter::finish()
{
    if (m_isArray)
        m_console.write(m_hasWritten ? "\n]\n" : "[]\n");
}

} // namespace reelwright::cli
