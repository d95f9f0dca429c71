#include "report/TextTable.h"

#include "report/Printable.h"

#include <algorithm>

namespace reelwright {

void TextTable::addRow(std::vector<std::string> cells)
{
    m_rows.push_back(std::move(cells));
}

std::string TextTable::text(std::size_t indent) const
{
    std::vector<std::size_t> widths;
    for (const auto& row : m_rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], displayWidth(row[i]));
    }
    std::string result;
    for (const auto& row : m_rows) {
        std::string line(indent, ' ');
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - displayWidth(row[i]), ' ');
            const bool right = i < m_columns.size() && m_columns[i] == Align::Right;
            line += (i == 0 ? "" : "  ") + (right ? padding + row[i] : row[i] + padding);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + '\n';
    }
    return result;
}

} // namespace reelwright
