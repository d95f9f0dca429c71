#pragma once

#include "attributes/KWImageDescriptionController.h"
#include "document/DocumentWindow.h"
#include "document/MyDocument.h"

namespace reelwright {

/// What the encoding attributes' panel of a document does: its list is that of the selected video track.
/// Every change is one step of the undo history; what fails is told the user. Borrows the document and its
/// window.
class AttributePanel
{
public:
    AttributePanel(MyDocument& document, DocumentWindow& window)
        : m_document(document)
        , m_window(window)
    {
    }

    /// Takes the list of the selected track anew.
    void loadImageDescriptionExtensionsForTrack();
    [[nodiscard]] const std::vector<AttributeEntry>& attributes() const { return m_attributes; }

    /// The names that can be added: those that are not there, of gamma and color neither when the other is.
    [[nodiscard]] std::vector<std::string> showAddAttributeMenu() const;
    /// Adds one with its starting value: pixels 1:1, gamma 2.2, NTSC, the first color space; "Fields" adds
    /// the dominance too.
    void addAttribute(std::string_view name);
    /// Removes the attribute of a row after asking.
    void removeAttribute(std::size_t row);
    /// The user gave the row another value.
    void setValue(std::size_t row, const AttributeValue& value);
    /// Gives the selected track these attributes, with their codes and values, in one step.
    void setAttributes(const std::vector<AttributeEntry>& attributes);
    /// The custom color sheet: the three chosen items, which are the codes.
    void addCustomColorAttribute(int primaries, int transfer, int matrix);

private:
    void change(const AttributeEntry& attribute, const std::optional<AttributeValue>& value);
    void perform(const Edit& edit);

    MyDocument& m_document;
    DocumentWindow& m_window;
    std::vector<AttributeEntry> m_attributes;
};

} // namespace reelwright
