#pragma once

#include "edits/Edit.h"
#include "tracks/TextLists.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

class MyDocument;

/// The text insertion panel of a text track: the texts of the document's selected track, and what is done
/// with them. Each change is one step of the document's history. Rows are those of the track's list. Borrows
/// the document.
class TextPanel
{
public:
    /// What the controls hold; texts as typed.
    struct Fields
    {
        std::string text;
        std::string start; ///< empty: the current position
        std::string duration;
        std::string left;
        std::string top;
        std::string width;
        std::string height;
        TextAlignment alignment = TextAlignment::Center;
        int fontSize = 0; ///< pixels of the track
        TextStyle::Color color {};
        std::optional<TextStyle::Color> background; ///< nothing: the picture shows through
        std::uint8_t face = 0;
    };

    explicit TextPanel(MyDocument& document);

    /// The texts of the selected track. Errors: why they cannot be read.
    [[nodiscard]] Result<std::vector<TextCue>> texts() const;
    /// What the controls show for a new text of the selected track: its box from the track's bounds, or the
    /// look of its last text.
    [[nodiscard]] Fields fieldsForNew() const;
    [[nodiscard]] Fields fieldsOf(const TextCue& text) const;
    [[nodiscard]] std::string timeText(const QTTime& time) const;

    /// Adds what the controls hold. Answers what the user should know, or the empty text. Errors: Refused
    /// with the sentence for the user.
    Result<std::string> insertMediaText(const Fields& fields);
    Result<std::string> changeText(std::size_t row, const Fields& fields);
    Result<void> removeTexts(const std::vector<std::size_t>& rows);

    /// Answers what was left out or done otherwise, or the empty text.
    Result<std::string> importTexts(const std::string& path, const Fields& fields);
    Result<void> exportTexts(const std::string& path, TextLists::Format format) const;
    /// "NAME Texts", without an extension.
    [[nodiscard]] std::string proposedExportName() const;

private:
    [[nodiscard]] Result<TextCue> cueOf(const Fields& fields, TextCue base) const;
    Result<std::string> performTelling(const Edit& edit);

    MyDocument& m_document;
};

} // namespace reelwright
