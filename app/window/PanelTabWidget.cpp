#include "app/window/PanelTabWidget.h"

#include "app/panes/Pane.h"
#include "document/MyDocument.h"

#include <QTabBar>
#include <QToolButton>

#include <utility>

namespace reelwright {

PanelTabWidget::PanelTabWidget(MyDocument& document, QWidget* parent)
    : QTabWidget(parent)
    , m_document(document)
{
    constexpr int kMinimumWidth = 296;
    setMinimumWidth(kMinimumWidth);
    setUsesScrollButtons(true);
    tabBar()->setExpanding(false);
    setElideMode(Qt::ElideNone);
    setAccessibleName(tr("Panels"));
    auto* help = new QToolButton(this);
    help->setText(QStringLiteral("?"));
    help->setAutoRaise(true);
    help->setAccessibleName(tr("Help on this pane"));
    help->setToolTip(tr("What this pane is for (F1)"));
    connect(help, &QToolButton::clicked, this, [this] { emit helpAsked(helpPage()); });
    setCornerWidget(help, Qt::TopRightCorner);
}

QString PanelTabWidget::helpPage() const
{
    struct Row
    {
        Panel panel;
        const char* page;
    };
    constexpr Row kPages[] = {
        {Panel::Information, "info"},
        {Panel::QuickTasks, "quick-tasks"},
        {Panel::MovieSettings, "settings"},
        {Panel::Conform, "conform"},
        {Panel::Chapters, "chapters"},
        {Panel::Metadata, "metadata"},
        {Panel::Timecode, "timecode"},
        {Panel::Media, "media"},
        {Panel::TextInsertion, "text"},
        {Panel::EncodingAttributes, "attributes"},
    };
    for (const auto& row : kPages)
        if (const auto known = m_panes.find(row.panel); known != m_panes.end() && known->second == currentWidget())
            return QLatin1String(row.page);
    return {};
}

void PanelTabWidget::addPane(Panel panel, Pane* pane)
{
    pane->setParent(this);
    pane->hide();
    m_panes[panel] = pane;
}

void PanelTabWidget::showPanel(Panel panel)
{
    if (const auto known = m_panes.find(panel); known != m_panes.end() && indexOf(known->second) >= 0)
        setCurrentWidget(known->second);
}

void PanelTabWidget::reloadSelection()
{
    const auto panels = m_document.panelTabs([this](Panel panel) { return m_panes.count(panel) != 0; });
    std::vector<Panel> present;
    for (const auto& tab : panels.tabs)
        present.push_back(tab.panel);
    const auto row = m_document.selectedRow();
    const bool sameRow = row == std::exchange(m_row, row);
    if (present != m_present) {
        setUpdatesEnabled(false);
        while (count() > 0)
            removeTab(0);
        for (const auto& tab : panels.tabs)
            addTab(m_panes[tab.panel],
                QString::fromUtf8(tab.title.data(), static_cast<qsizetype>(tab.title.size())));
        setUpdatesEnabled(true);
    }
    // An undo fills the panels again, and must not take the user's tab away.
    if (!sameRow || present != m_present)
        setCurrentIndex(static_cast<int>(panels.selected));
    m_present = std::move(present);
    reloadPanes();
}

void PanelTabWidget::reloadPanes()
{
    for (const auto panel : m_present)
        m_panes[panel]->reload();
}

} // namespace reelwright
