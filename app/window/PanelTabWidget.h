#pragma once

#include "document/PanelTabs.h"

#include <QTabWidget>

#include <map>
#include <optional>
#include <vector>

namespace reelwright {

class MyDocument;
class Pane;

/// The tabs of a document's window: those that fit what is selected, of the panes that there are. Borrows the
/// document.
class PanelTabWidget final : public QTabWidget
{
    Q_OBJECT

public:
    explicit PanelTabWidget(MyDocument& document, QWidget* parent = nullptr);

    /// From now on there is a pane for that panel.
    void addPane(Panel panel, Pane* pane);
    /// Brings a panel's tab to the front, where there is one.
    void showPanel(Panel panel);
    /// The tabs for the selection, filled. When it is another one, its own tab comes to the front.
    void reloadSelection();
    /// Fills the tabs that are there.
    void reloadPanes();
    /// The manual's page about the tab in front.
    [[nodiscard]] QString helpPage() const;

signals:
    void helpAsked(const QString& page);

private:
    MyDocument& m_document;
    std::map<Panel, Pane*> m_panes;
    std::vector<Panel> m_present;
    std::optional<std::size_t> m_row; ///< the tabs are for that one
};

} // namespace reelwright
