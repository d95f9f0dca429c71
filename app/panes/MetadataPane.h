#pragma once

#include "app/panes/Pane.h"
#include "document/MetadataPanel.h"

class QComboBox;
class QLineEdit;
class QPushButton;
class QToolButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace reelwright {

/// The metadata of the movie or of the selected track in groups, to be edited in place. Borrows the document
/// and its window.
class MetadataPane final : public Pane
{
    Q_OBJECT

public:
    MetadataPane(MyDocument& document, DocumentWindow& window, QWidget* parent = nullptr);

    void reload() override;
    /// "Copy Attributes and Metadata From…"
    void copyFromMovie();

protected:
    void showEvent(QShowEvent* event) override;

private:
    /// What the tree shows: unchanged bytes need no new rows.
    [[nodiscard]] bool isShown(const std::vector<KWMetadataItem>& rows) const;
    void fill();
    void addRow(std::size_t index);
    void filter();
    void updateButtons();
    [[nodiscard]] const KWMetadataItem* rowOf(const QTreeWidgetItem* item) const;
    /// The first of that key, or null.
    [[nodiscard]] QTreeWidgetItem* itemOf(const std::string& key) const;
    [[nodiscard]] QTreeWidgetItem* groupNamed(const QString& name);

    void fillAddMenu();
    void addPreset(const std::string& key);
    void showAddMetaDataDialog();
    void removeMetaData();
    void importMetadata();
    void exportMetadata();
    void takeChange(QTreeWidgetItem* item, int column);

    MyDocument& m_document;
    MetadataPanel m_panel;
    QLineEdit* m_search;
    QComboBox* m_language;
    QTreeWidget* m_tree;
    QToolButton* m_add;
    QPushButton* m_remove;
    QPushButton* m_import; ///< of a movie, not of tracks
    std::vector<KWMetadataItem> m_rows;
    std::optional<std::uint32_t> m_trackID; ///< of the rows
    bool m_isFilling = false;
    bool m_isStale = true;
};

} // namespace reelwright
