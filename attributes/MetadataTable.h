#pragma once

#include "attributes/KWMetadataController.h"
#include "support/DelimitedText.h"

namespace reelwright {

/// Metadata of many movies as a table: a row for each file, a column for each key. An empty cell says
/// nothing, "<remove>" removes the key, and a text that begins with "<" has that doubled.
class MetadataTable
{
public:
    /// A row of a table that is to be written.
    struct FileRows
    {
        std::string path;
        std::vector<KWMetadataItem> rows; ///< those that have a text of their own
    };
    /// Of the file's movie.
    static FileRows rowsOf(const std::string& path, const QTMovie& movie);
    /// The table as CSV. Of a key that a file has several times the first text stands for all.
    static std::string text(const std::vector<FileRows>& files);

    /// Errors: Io; Refused for a file that is no such table, or that has two rows for one file.
    static Result<MetadataTable> read(const std::string& path);
    static Result<MetadataTable> parse(ByteSpan bytes);

    /// What a table did to a movie.
    struct Applied
    {
        std::size_t cells = 0; ///< that say something
        std::vector<std::string> refused; ///< a sentence for each cell that could not be done
    };
    /// Makes the changes of the row of the movie's file, which is found by its path, else by its name.
    /// Errors: Refused when there is no such row or more than one by that name.
    Result<Applied> apply(QTMovie& movie) const;

private:
    [[nodiscard]] Result<const TextRecord*> rowOf(const std::string& path) const;

    TextRecord m_header;
    std::vector<TextRecord> m_rows;
};

} // namespace reelwright
