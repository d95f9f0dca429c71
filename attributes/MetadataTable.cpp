#include "attributes/MetadataTable.h"

#include "attributes/MetadataPresets.h"
#include "movie/atoms/TextEncoding.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <unordered_map>

namespace reelwright {
namespace {

    constexpr auto kFileColumn = "File";
    constexpr auto kRemove = "<remove>";

    tl::unexpected<MovieError> refusal(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    std::string columnOf(const KWMetadataItem& row)
    {
        return row.storedKey.empty() ? row.description : row.key;
    }

    std::string fileNameOf(const std::string& path)
    {
        return path.substr(path.rfind('/') + 1);
    }

    std::string resolved(const std::string& path)
    {
        std::error_code error;
        const auto real = std::filesystem::weakly_canonical(path, error);
        return error ? path : real.string();
    }

    Result<void> setCell(const std::string& key, const std::string& text,
        const std::optional<std::string>& before, QTMovie& movie)
    {
        const auto reference = QTMetaDataReference::ofMovie(movie);
        if (text == kRemove) {
            RW_CHECK(KWMetadataController::removeMetaDataKeys({key}, reference, movie));
            return {};
        }
        if (text.starts_with('<') && !text.starts_with("<<"))
            return refusal(
                fmt::format("\"{}\" under {} begins with \"<\", which has to be doubled, or is to be \"{}\"",
                    text, key, kRemove));
        const auto value = text.starts_with("<<") ? text.substr(1) : text;
        if (before == value)
            return {};
        const bool isRow = key == kTitleRow || key == kCopyrightRow;
        if (before && !isRow)
            return KWMetadataController::replaceMetaDataValue(*before, value, key, reference, movie);
        RW_TRY(
            const auto refused, KWMetadataController::importMetaDataValues({{key, value}}, reference, movie));
        return refused.empty() ? Result<void> {} : refusal(refused.front());
    }

} // namespace

MetadataTable::FileRows MetadataTable::rowsOf(const std::string& path, const QTMovie& movie)
{
    FileRows file {path, KWMetadataController::movieRows(movie)};
    std::erase_if(file.rows, [&](const KWMetadataItem& row) {
        if (!row.storedKey.empty())
            return !row.item.isText();
        return row.description == kTitleRow ? !KWMetadataController::hasDisplayName(movie)
                                            : !KWMetadataController::copyright(movie);
    });
    return file;
}

std::string MetadataTable::text(const std::vector<FileRows>& files)
{
    TextRecord header {kFileColumn, kTitleRow, kCopyrightRow};
    std::unordered_map<std::string, std::size_t> columns {{kTitleRow, 1}, {kCopyrightRow, 2}};
    for (const auto& file : files)
        for (const auto& row : file.rows)
            if (columns.emplace(columnOf(row), header.size()).second)
                header.push_back(columnOf(row));
    auto text = delimitedRecord(header);
    for (const auto& file : files) {
        TextRecord record(header.size());
        record[0] = file.path;
        std::set<std::size_t> filled;
        for (const auto& row : file.rows)
            if (const auto column = columns.at(columnOf(row)); filled.insert(column).second)
                record[column] = (row.value.starts_with('<') ? "<" : "") + row.value;
        text += delimitedRecord(record);
    }
    return text;
}

Result<MetadataTable> MetadataTable::parse(ByteSpan bytes)
{
    const auto text = decodeTextFile(bytes);
    if (!text)
        return refusal("the table is neither UTF-8 nor UTF-16 text; save it as UTF-8");
    const auto delimiter = delimiterOf(std::string_view(*text).substr(0, text->find('\n')));
    auto records = parseDelimitedText(*text, delimiter);
    if (!records || records->empty() || records->front().front() != kFileColumn)
        return refusal(fmt::format(
            "the table is no CSV whose first column is \"{}\"; \"metadata --format csv --table\" makes one",
            kFileColumn));
    MetadataTable table;
    table.m_header = std::move(records->front());
    std::set<std::string> names;
    for (auto& name : table.m_header) {
        if (const auto key = MetadataPresets::keyNamed(name); !key.empty())
            name = key;
        if (!name.empty() && !names.insert(name).second)
            return refusal(fmt::format("the table has two columns \"{}\"", name));
    }
    std::set<std::string> files;
    for (auto record = records->begin() + 1; record != records->end(); ++record) {
        if (record->size() > table.m_header.size())
            return refusal(fmt::format("the table's row of \"{}\" has {} fields, more than its header's {}",
                record->front(), record->size(), table.m_header.size()));
        if (!files.insert(record->front()).second)
            return refusal(fmt::format("the table has two rows for \"{}\"", record->front()));
        table.m_rows.push_back(std::move(*record));
    }
    return table;
}

Result<MetadataTable> MetadataTable::read(const std::string& path)
{
    errno = 0;
    std::ifstream file {path, std::ios::binary};
    if (!file || std::filesystem::is_directory(path))
        return systemFailure(errno == 0 ? EISDIR : errno, path, "cannot be read");
    const std::string bytes {std::istreambuf_iterator<char>(file), {}};
    auto table = parse(std::as_bytes(std::span {bytes}));
    if (!table)
        table.error().where = path;
    return table;
}

Result<const TextRecord*> MetadataTable::rowOf(const std::string& path) const
{
    for (const auto& row : m_rows)
        if (row.front() == path)
            return &row;
    const auto real = resolved(path);
    for (const auto& row : m_rows)
        if (fileNameOf(row.front()) == fileNameOf(path) && row.front().find('/') != std::string::npos
            && resolved(row.front()) == real)
            return &row;
    const TextRecord* found = nullptr;
    for (const auto& row : m_rows) {
        if (fileNameOf(row.front()) != fileNameOf(path))
            continue;
        if (found)
            return refusal(
                fmt::format("the table has several rows for files named \"{}\", and none for this path",
                    fileNameOf(path)));
        found = &row;
    }
    if (!found)
        return refusal("the table has no row for this file");
    return found;
}

Result<MetadataTable::Applied> MetadataTable::apply(QTMovie& movie) const
{
    RW_TRY(const auto* const row, rowOf(movie.fileName()));
    std::unordered_map<std::string, std::string> before;
    for (const auto& item : rowsOf({}, movie).rows)
        before.emplace(columnOf(item), item.value);
    const EditableScope editable {movie};
    Applied applied;
    for (std::size_t column = 1; column < row->size(); ++column) {
        const auto& cell = (*row)[column];
        const auto& key = m_header[column];
        if (cell.empty())
            continue;
        ++applied.cells;
        if (key.empty()) {
            applied.refused.push_back(fmt::format("the table has no key over \"{}\"", cell));
            continue;
        }
        const auto place = before.find(key);
        auto changed = movie; // a cell is done whole or not at all
        if (auto done = setCell(
                key, cell, place == before.end() ? std::nullopt : std::optional(place->second), changed);
            done)
            movie = std::move(changed);
        else
            applied.refused.push_back(done.error().message());
    }
    return applied;
}

} // namespace reelwright
