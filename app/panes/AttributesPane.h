#pragma once

#include "app/panes/Pane.h"
#include "document/AttributePanel.h"
#include "movie/samples/PictureFacts.h"

class QFormLayout;
class QFrame;
class QLabel;
class QMenu;
class QPushButton;
class QTableWidget;
class QToolButton;

namespace reelwright {

/// The Encoding Attributes tab of a video track: what the file says of showing its pixels, beside what the
/// picture's own stream says; below it what the selected row means, and the apertures. Borrows the document
/// and its window.
class AttributesPane final : public Pane
{
    Q_OBJECT

public:
    AttributesPane(MyDocument& document, DocumentWindow& window, QWidget* parent = nullptr);

    void reload() override;

signals:
    /// The user wants to take attributes from another movie.
    void copyFromAsked();

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
    void usePicturesValue(int row);
    void useAll();
    void updateButtons();
    void fillDetails();
    void fillApertures();
    void addDetails(QFormLayout& form);
    /// What the picture says of the attribute of a row.
    [[nodiscard]] std::optional<AttributeEntry> saidByPicture(int row) const;
    [[nodiscard]] bool differs(int row) const;

    MyDocument& m_document;
    AttributePanel m_panel;
    std::optional<PictureFacts>
        m_picture; ///< of the shown track; nothing until it is read, or where it cannot be
    QString m_pictureNote;
    std::uint32_t m_pictureTrack = 0; ///< the track that m_picture is of
    QFrame* m_banner;
    QLabel* m_disagreement;
    QTableWidget* m_table;
    QToolButton* m_add;
    QMenu* m_addMenu;
    QPushButton* m_remove;
    QLabel* m_title;
    QLabel* m_saidByFile;
    QLabel* m_saidByPicture;
    QLabel* m_meaning;
    QTableWidget* m_apertures;
    QLabel* m_note;
    bool m_isFilling = false;
};

} // namespace reelwright
