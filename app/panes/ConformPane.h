#pragma once

#include "app/panes/Pane.h"
#include "document/ConformPanel.h"

#include <QTimer>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QRadioButton;
class QTableWidget;

namespace reelwright {

/// The movie's frame rate: another one, what that does in words and field by field, and the button. Borrows
/// the document.
class ConformPane final : public Pane
{
    Q_OBJECT

public:
    explicit ConformPane(MyDocument& document, QWidget* parent = nullptr);

    void reload() override;

public slots:
    /// The Conform… button.
    void conformFrameRate();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makeChoice();
    QWidget* makeWarning();
    void connectControls();
    [[nodiscard]] ConformPanel::Choice choice() const;
    [[nodiscard]] std::size_t ask(const std::string& title, const std::string& text,
        const std::vector<std::string>& buttons, bool* suppress);
    /// Has what would change found out in the background.
    void showPreview();
    void showFound(const ConformPanel::Preview& preview);
    void showEffects(const ConformPanel::Preview& preview);
    void showRows(const std::vector<ConformPanel::Row>& rows);
    void showWarning(const ConformPanel::Preview& preview);
    void restoreHeader();

    MyDocument& m_document;
    ConformPanel m_panel;
    QTimer m_preview; ///< after typing has paused
    QTimer m_waiting; ///< for the document's save
    QLabel* m_present = nullptr;
    QComboBox* m_rate = nullptr;
    QRadioButton* m_rounded = nullptr;
    QRadioButton* m_exactly = nullptr;
    QCheckBox* m_strip = nullptr;
    QCheckBox* m_keepHeader = nullptr;
    QCheckBox* m_acceptDrift = nullptr;
    QFormLayout* m_effects = nullptr;
    QLabel* m_summary = nullptr;
    QTableWidget* m_rows = nullptr;
    QLabel* m_warning = nullptr;
    QPushButton* m_restore = nullptr;
    QPushButton* m_conform = nullptr;
    bool m_isFilled = false;
    int m_asked = 0; ///< of several that are under way the last preview counts
};

} // namespace reelwright
