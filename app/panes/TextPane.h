#pragma once

#include "app/panes/Pane.h"
#include "document/TextPanel.h"

#include <functional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QToolButton;

namespace reelwright {

class MovieView;
class MyDocument;

/// The Media tab of a text track: its texts, and the one that is being written. Selecting a text goes there
/// in the picture. Borrows the document and the view.
class TextPane final : public Pane
{
    Q_OBJECT

public:
    TextPane(MyDocument& document, MovieView& view, QWidget* parent = nullptr);

    void reload() override;

private:
    bool eventFilter(QObject* watched, QEvent* event) override;
    QWidget* makeTable();
    QWidget* makeEditor();
    void show(const TextPanel::Fields& fields);
    [[nodiscard]] TextPanel::Fields typed() const;
    [[nodiscard]] std::vector<std::size_t> selectedRows() const;
    void selectionChanged();
    /// The action: puts what was typed into the track.
    void insertMediaText();
    void changeText();
    void removeTexts();
    void importTexts();
    void exportTexts();
    void chooseColor(QToolButton* button, TextStyle::Color& color, const QString& title);
    void told(const Result<std::string>& done, const QString& title);
    void tell(const QString& title, const QString& text);
    void updateButtons();

    MyDocument& m_document;
    MovieView& m_view;
    TextPanel m_panel;
    std::vector<TextCue> m_texts;
    std::uint32_t m_trackID = 0; ///< whose texts are shown
    QTableWidget* m_table;
    QLabel* m_problem;
    QPlainTextEdit* m_text;
    QLineEdit* m_start;
    QLineEdit* m_duration;
    QLineEdit* m_left;
    QLineEdit* m_top;
    QLineEdit* m_width;
    QLineEdit* m_height;
    QComboBox* m_alignment;
    QSpinBox* m_size;
    QToolButton* m_colorButton;
    QCheckBox* m_hasBackground;
    QToolButton* m_backgroundButton;
    QToolButton* m_bold;
    QToolButton* m_italic;
    QToolButton* m_underline;
    QPushButton* m_add;
    QPushButton* m_change;
    QPushButton* m_remove;
    QPushButton* m_import;
    QPushButton* m_export;
    TextStyle::Color m_color {};
    TextStyle::Color m_background {};
    bool m_isFilling = false;
};

} // namespace reelwright
