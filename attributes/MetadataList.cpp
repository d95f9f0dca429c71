#include "attributes/MetadataList.h"

#include "attributes/MetadataPresets.h"
#include "movie/atoms/TextEncoding.h"
#include "support/DelimitedText.h"
#include "support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <iterator>

namespace reelwright {
namespace {

    using Rows = std::vector<KWMetadataItem>;
    using Json = nlohmann::ordered_json;

    constexpr std::string_view kPlainHeader = "Description,Value";
    constexpr std::string_view kBetween = "\",\"";
    const TextRecord kQuotedHeader {"Key", "Value", "Description"};

    tl::unexpected<MovieError> refusal(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    std::string lowercase(std::string_view text)
    {
        std::string result {text};
        std::transform(result.begin(), result.end(), result.begin(),
            [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return result;
    }

    KWMetadataItem rowOf(std::string key, std::string value)
    {
        KWMetadataItem row;
        const auto known = MetadataPresets::keyNamed(key);
        row.key = known.empty() ? std::move(key) : known;
        row.value = std::move(value);
        row.description = row.key;
        if (const auto description = MetadataPresets::description(row.key); !description.empty())
            row.description = description;
        return row;
    }

    std::string unquoted(std::string_view field)
    {
        while (field.starts_with('"'))
            field.remove_prefix(1);
        while (field.ends_with('"'))
            field.remove_suffix(1);
        return std::string(field);
    }

    /// Lines without their line ends.
    std::vector<std::string_view> linesOf(std::string_view text)
    {
        auto lines = split(text, "\n");
        for (auto& line : lines)
            if (line.ends_with('\r'))
                line.remove_suffix(1);
        return lines;
    }

    /// A table of fields in quotes that are not doubled inside: a field ends where a quote, a comma and a
    /// quote stand, and a row where a line ends in a quote before one that begins with one.
    Rows parsePlainRows(const std::vector<std::string_view>& lines)
    {
        Rows rows;
        for (std::size_t i = 1; i < lines.size(); ++i) {
            const auto middle = lines[i].starts_with('"') ? lines[i].find(kBetween) : std::string_view::npos;
            if (middle != std::string_view::npos) {
                auto key = std::string(lines[i].substr(1, middle - 1));
                std::string value {lines[i].substr(middle + kBetween.size())};
                const auto isWhole = [&] {
                    const bool isLast
                        = i + 1 >= lines.size() || lines[i + 1].empty() || lines[i + 1].starts_with('"');
                    return value.ends_with('"') && isLast;
                };
                while (!isWhole() && i + 1 < lines.size())
                    value.append("\n").append(lines[++i]);
                if (value.ends_with('"'))
                    value.pop_back();
                rows.push_back(rowOf(std::move(key), std::move(value)));
                continue;
            }
            const auto fields = split(lines[i], ",");
            if (fields.size() >= 2)
                rows.push_back(rowOf(unquoted(fields[0]), unquoted(fields[1])));
        }
        return rows;
    }

    Rows parseCsv(std::string_view text)
    {
        const auto lines = linesOf(text);
        if (lines.size() < 2)
            return {};
        const auto table = lines.front() == kPlainHeader
            ? std::nullopt
            : parseDelimitedText(text, delimiterOf(lines.front()));
        if (!table || table->empty())
            return parsePlainRows(lines);
        const auto& header = table->front();
        const auto columnNamed = [&](std::string_view name, std::size_t otherwise) {
            const auto place = std::find_if(header.begin(), header.end(),
                [&](const std::string& field) { return lowercase(trimmed(field)) == name; });
            return place == header.end() ? otherwise : static_cast<std::size_t>(place - header.begin());
        };
        const auto key = columnNamed("key", 0);
        const auto value = columnNamed("value", 1);
        Rows rows;
        for (auto record = table->begin() + 1; record != table->end(); ++record)
            if (record->size() > std::max(key, value))
                rows.push_back(rowOf((*record)[key], (*record)[value]));
        return rows;
    }

    Rows parseText(std::string_view text)
    {
        Rows rows;
        for (const auto line : linesOf(text)) {
            const auto fields = split(line, "\t");
            if (fields.size() >= 2)
                rows.push_back(rowOf(std::string(fields[0]), std::string(fields[1])));
        }
        return rows;
    }

    Result<Rows> parseJson(const std::string& text)
    {
        auto json = Json::parse(text, nullptr, false);
        if (json.is_array() && json.size() == 1 && json[0].is_object() && json[0].contains("metadata"))
            json = Json(json[0]);
        if (json.is_object() && json.contains("metadata"))
            json = Json(json["metadata"]);
        if (!json.is_array())
            return refusal("the list is no JSON array of objects with key and value");
        Rows rows;
        for (const auto& entry : json) {
            if (!entry.is_object() || !entry.contains("key") || !entry["key"].is_string()
                || !entry.contains("value"))
                return refusal("the list has an entry that is no object with key and value");
            if (entry["value"].is_string()) // null: something else than text
                rows.push_back(rowOf(entry["key"].get<std::string>(), entry["value"].get<std::string>()));
        }
        return rows;
    }

    /// What an import takes the row's value under.
    std::string exportKey(const KWMetadataItem& row)
    {
        return row.storedKey.empty() ? row.description : row.key;
    }

    /// Has the row a text that a list can give back?
    bool isListed(const KWMetadataItem& row, const QTMovie* movie, MetadataList::Format format)
    {
        if (!row.storedKey.empty())
            return row.item.isText();
        if (!movie || !MetadataList::isExact(format))
            return true;
        // What stands under other keys comes with these.
        return KWMetadataController::hasOwnKey(row.description, *movie);
    }

} // namespace

std::optional<MetadataList::Format> MetadataList::formatNamed(std::string_view name)
{
    return name == "csv"       ? std::optional(Format::Csv)
        : name == "text"       ? std::optional(Format::Text)
        : name == "csv-quoted" ? std::optional(Format::QuotedCsv)
        : name == "json"       ? std::optional(Format::JsonList)
                               : std::nullopt;
}

std::string MetadataList::text(const std::vector<KWMetadataItem>& rows, Format format, const QTMovie* movie)
{
    std::string text;
    if (format == Format::Csv)
        text.append(kPlainHeader).append("\n");
    if (format == Format::QuotedCsv)
        text = delimitedRecord(kQuotedHeader);
    auto json = Json::array();
    for (const auto& row : rows) {
        if (!isListed(row, movie, format))
            continue;
        switch (format) {
        case Format::Csv:
            text.append("\"").append(row.description).append(kBetween).append(row.value).append("\"\n");
            break;
        case Format::Text:
            text.append(row.description).append("\t").append(row.value).append("\n");
            break;
        case Format::QuotedCsv:
            text += delimitedRecord({exportKey(row), row.value, row.description});
            break;
        case Format::JsonList:
            json.push_back({{"key", exportKey(row)}, {"value", row.value}, {"description", row.description}});
            break;
        }
    }
    constexpr int kIndent = 2;
    return format == Format::JsonList ? json.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n"
                                      : text;
}

Result<std::vector<KWMetadataItem>> MetadataList::parse(ByteSpan bytes, std::string_view ending)
{
    const auto text = decodeTextFile(bytes);
    if (!text)
        return refusal("the list is neither UTF-8 nor UTF-16 text; save it as UTF-8");
    const auto first = text->find_first_not_of(" \t\r\n");
    const bool isJson = ending == "json"
        || (first != std::string::npos && ((*text)[first] == '[' || (*text)[first] == '{')
            && ending != "csv");
    if (isJson)
        return parseJson(*text);
    return ending == "csv" ? parseCsv(*text) : parseText(*text);
}

Result<std::vector<KWMetadataItem>> MetadataList::read(const std::string& path)
{
    const auto dot = path.rfind('.');
    const auto ending
        = lowercase(dot == std::string::npos ? std::string_view {} : std::string_view(path).substr(dot + 1));
    if (ending == "mov" || ending == "qt" || ending == "mp4" || ending == "m4v") {
        RW_TRY(const auto movie, QTMovie::open(path, Storage::posix(), HeaderReading::Outline));
        auto rows = KWMetadataController::movieRows(movie);
        for (auto& row : rows)
            row.key = exportKey(row);
        std::erase_if(
            rows, [](const KWMetadataItem& row) { return !row.storedKey.empty() && !row.item.isText(); });
        return rows;
    }
    constexpr std::size_t kMaxSize = 256'000'000;
    std::ifstream file {path, std::ios::binary};
    if (!file)
        return systemFailure(errno == 0 ? ENOENT : errno, path, "cannot be read");
    std::string bytes;
    std::vector<char> block(1 << 16);
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())) || file.gcount() > 0) {
        bytes.append(block.data(), static_cast<std::size_t>(file.gcount()));
        if (bytes.size() > kMaxSize)
            return failure(MovieError::Code::Refused, path, "is too large for a list of metadata");
    }
    if (file.bad() || (!file.eof() && file.fail()))
        return systemFailure(errno == 0 ? EIO : errno, path, "cannot be read");
    auto rows = parse(std::as_bytes(std::span {bytes}), ending);
    if (!rows)
        rows.error().where = path;
    return rows;
}

std::vector<KWMetadataValue> MetadataList::selectedValues(const std::vector<KWMetadataItem>& rows)
{
    std::vector<KWMetadataValue> values;
    for (const auto& row : rows)
        if (row.selected)
            values.push_back({row.key, row.value});
    return values;
}

} // namespace reelwright
