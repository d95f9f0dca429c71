#pragma once

#include "app/panes/Pane.h"
#include "document/AttributePanel.h"
#include "movie/samples/PictureFacts.h"

class QLabel;
class QMenu;
class QPushButton;
class QTableWidget;
class QToolButton;

namespace reelwright {

/// The Encoding Attributes tab of a video track: what the file says of showing its pixels, beside what the
/// picture's own stream says. Borrows the document and its window.
class AttributesPane final : public Pane
{
    Q_OBJECT

public:
    AttributesPane(MyDocument& document, DocumentWindow& window, QWidget* parent = nullptr);

    void reload() override;

private:
    enum Column { Name, InFile, InPicture };

    void fill();
    void fillRow(int row);
    void fillAddMenu();
    void readPicture();
    void edited(int row, int column);
    void choose(int row, int index);
    /// Gives the attribute of a row that value.
    void take(int row, const AttributeValue& value);
    void showCustomColorAttributeDialogWithSettings(const AttributeEntry& color);
    void usePicturesValue();
    void updateButtons();
    /// What the picture says of the attribute of a row.
    [[nodiscard]] std::optional<AttributeEntry> saidByPicture(int row) const;
    [[nodiscard]] bool differs(int row) const;

    MyDocument& m_document;
    AttributePanel m_panel;
    std::optional<PictureFacts>
        m_picture; ///< of the shown track; nothing until it is read, or where it cannot be
    QString m_pictureNote;
    std::uint32_t m_pictureTrack = 0; ///< the track that m_picture is of
    QLabel* m_disagreement;
    QTableWidget* m_table;
    QToolButton* m_add;
    QMenu* m_addMenu;
    QPushButton* m_remove;
    QPushButton* m_use;
    QLabel* m_note;
    bool m_isFilling = false;
};

} // namespace reelwright
