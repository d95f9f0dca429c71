#pragma once

#include "attributes/KWMetadataController.h"

#include <string_view>

namespace reelwright {

/// Lists of metadata as files.
class MetadataList
{
public:
    enum class Format {
        Csv, ///< "Description,Value", every field in quotes, which are not doubled inside
        Text, ///< description, tab, value
        QuotedCsv, ///< "Key,Value,Description" after RFC 4180
        JsonList, ///< [{key, value, description}]
    };
    /// "csv", "text", "csv-quoted", "json"; nothing for another name.
    static std::optional<Format> formatNamed(std::string_view name);
    /// The formats in which every text comes back as it was.
    static bool isExact(Format format) { return format == Format::QuotedCsv || format == Format::JsonList; }

    /// The rows that have a text. In the exact formats title and copyright are listed only where they stand
    /// under keys of their own, and not as what a file's name or another row says: `movie` tells; null for
    /// the rows of a track.
    static std::string text(
        const std::vector<KWMetadataItem>& rows, Format format, const QTMovie* movie = nullptr);

    /// The rows of a file, all of them selected. The name's ending says what it is: a movie, "csv" or
    /// anything else for text. UTF-8 and UTF-16. Lists of all the formats above are told apart by what they
    /// hold; descriptions of known keys count as these keys. Errors: Io; Refused for what is no text; those
    /// of opening a movie.
    static Result<std::vector<KWMetadataItem>> read(const std::string& path);
    /// Of a list's bytes; `ending` in lower case without the dot.
    static Result<std::vector<KWMetadataItem>> parse(ByteSpan bytes, std::string_view ending);
    /// The values that are selected, as an import takes them.
    static std::vector<KWMetadataValue> selectedValues(const std::vector<KWMetadataItem>& rows);
};

} // namespace reelwright
