#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace reelwright {

/// Rows of printable texts in aligned columns.
class TextTable
{
public:
    enum class Align { Left, Right };

    /// Columns beyond these are aligned to the left.
    explicit TextTable(std::vector<Align> columns = {})
        : m_columns(std::move(columns))
    {
    }

    void addRow(std::vector<std::string> cells);
    /// The rows, each ended by a line end, with `indent` spaces in front and two between the columns.
    [[nodiscard]] std::string text(std::size_t indent = 0) const;

private:
    std::vector<Align> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace reelwright
