#include "support/DelimitedText.h"

namespace reelwright {

std::optional<std::vector<TextRecord>> parseDelimitedText(std::string_view text, char delimiter)
{
    std::vector<TextRecord> records;
    TextRecord record;
    std::size_t i = 0;
    while (i < text.size()) {
        std::string field;
        if (text[i] == '"') {
            for (++i;; ++i) {
                if (i >= text.size())
                    return std::nullopt;
                if (text[i] == '"' && (++i >= text.size() || text[i] != '"'))
                    break;
                field += text[i];
            }
        } else {
            while (
                i < text.size() && text[i] != delimiter && text[i] != '\n' && text.substr(i, 2) != "\r\n") {
                if (text[i] == '"')
                    return std::nullopt;
                field += text[i++];
            }
        }
        record.push_back(std::move(field));
        if (i < text.size() && text[i] == delimiter) {
            if (++i == text.size())
                record.emplace_back();
            else if (text[i] != '\n' && text.substr(i, 2) != "\r\n")
                continue;
            else
                record.emplace_back();
        }
        if (i < text.size() && text[i] == '\r')
            ++i;
        if (i < text.size() && text[i++] != '\n')
            return std::nullopt;
        if (record.size() > 1 || !record.front().empty())
            records.push_back(std::move(record));
        record = {};
    }
    return records;
}

std::string delimitedRecord(const TextRecord& fields, char delimiter)
{
    std::string line;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const auto& field = fields[i];
        if (i > 0)
            line += delimiter;
        const bool isPlain = field.find_first_of(std::string("\"\r\n") + delimiter) == std::string::npos
            && (field.empty() || (field.front() != ' ' && field.back() != ' '));
        if (isPlain && !(field.empty() && fields.size() == 1)) {
            line += field;
            continue;
        }
        line += '"';
        for (const char c : field)
            line += c == '"' ? std::string("\"\"") : std::string(1, c);
        line += '"';
    }
    return line + "\r\n";
}

char delimiterOf(std::string_view firstLine)
{
    if (firstLine.find(',') != std::string_view::npos)
        return ',';
    return firstLine.find(';') != std::string_view::npos ? ';'
        : firstLine.find('\t') != std::string_view::npos ? '\t'
                                                         : ',';
}

} // namespace reelwright
