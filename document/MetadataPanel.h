#pragma once

#include "attributes/MetadataList.h"
#include "edits/MetadataEdits.h"

#include <string>
#include <vector>

namespace reelwright {

class DocumentWindow;
class KWMovTrack;
class MyDocument;

/// The metadata panel's side of a document: the rows of the movie, or of the selected track, and what is done
/// with them. Each change is one step of the undo history. Borrows the document and its window.
class MetadataPanel
{
public:
    MetadataPanel(MyDocument& document, DocumentWindow& window)
        : m_document(document)
        , m_window(window)
    {
    }

    /// The rows for the selection, everything that stands there among them.
    [[nodiscard]] std::vector<KWMetadataItem> rows() const;
    [[nodiscard]] static std::vector<KWMetadataItem> loadMovieMetadata(const QTMovie& movie);
    [[nodiscard]] std::vector<KWMetadataItem> loadTrackMetadata(const KWMovTrack& record) const;

    /// Adds a value for the selection. False, after an alert, for an empty key and for what cannot be
    /// written.
    bool addMetadata(const std::string& key, const std::string& value);
    /// The user changed the value of a row. Tells when it cannot be written.
    bool setValue(const KWMetadataItem& row, const std::string& value);
    /// Removes the row after asking.
    bool removeMetadata(const KWMetadataItem& row);

    /// "clip Metadata", or "Untitled Metadata"
    [[nodiscard]] std::string exportName() const;
    [[nodiscard]] std::string exportText(MetadataList::Format format) const;
    /// Tells when the file cannot be written.
    void writeExport(const std::string& path, MetadataList::Format format) const;
    /// Tells why a list could not be read.
    void tellUnreadable(const MovieError& error) const;
    /// Writes the selected rows into the movie; what was refused is told, and the rest is written.
    void importMetadata(const std::vector<KWMetadataItem>& rows, const std::string& source);

    /// Takes what was chosen from another movie. False, after an alert, when that is impossible.
    bool copyFrom(const std::string& path, const std::vector<std::string>& subjects);

private:
    [[nodiscard]] edits::MetadataOwner owner() const;
    bool perform(const Edit& edit);
    void tellRefused(const char* title, RefusedParts refused) const;

    MyDocument& m_document;
    DocumentWindow& m_window;
};

} // namespace reelwright
