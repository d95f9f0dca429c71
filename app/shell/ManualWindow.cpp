#include "app/shell/ManualWindow.h"

#include <QAction>
#include <QFile>
#include <QLineEdit>
#include <QTextBrowser>
#include <QToolBar>

namespace reelwright {
namespace {

    constexpr QSize kUsualSize {760, 640};
    const auto kFolder = QStringLiteral("qrc:/manual/");
    const auto kFirstPage = QStringLiteral("index");

} // namespace

ManualWindow::ManualWindow(QWidget* parent)
    : QMainWindow(parent)
    , m_browser(new QTextBrowser)
{
    setWindowTitle(tr("Reelwright Manual"));
    resize(kUsualSize);
    m_browser->setAccessibleName(tr("Manual"));
    m_browser->setOpenExternalLinks(false);
    m_browser->document()->setDocumentMargin(16);
    setCentralWidget(m_browser);

    auto* bar = addToolBar(tr("Pages"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextOnly);
    auto* contents = bar->addAction(tr("&Contents"), this, [this] { showPage({}); });
    contents->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Home));
    auto* back = bar->addAction(tr("&Back"), m_browser, &QTextBrowser::backward);
    back->setShortcut(QKeySequence::Back);
    auto* forward = bar->addAction(tr("&Forward"), m_browser, &QTextBrowser::forward);
    forward->setShortcut(QKeySequence::Forward);
    back->setEnabled(false);
    forward->setEnabled(false);
    connect(m_browser, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
    connect(m_browser, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);
    auto* wanted = new QLineEdit;
    wanted->setPlaceholderText(tr("Find on this page"));
    wanted->setAccessibleName(tr("Find on this page"));
    wanted->setClearButtonEnabled(true);
    bar->addWidget(wanted);
    connect(wanted, &QLineEdit::returnPressed, this, [this, wanted] {
        if (!m_browser->find(wanted->text())) { // once more from the top
            m_browser->moveCursor(QTextCursor::Start);
            m_browser->find(wanted->text());
        }
    });
    auto* find = new QAction(this);
    find->setShortcut(QKeySequence::Find);
    connect(find, &QAction::triggered, wanted, [wanted] { wanted->setFocus(); });
    auto* close = new QAction(this);
    close->setShortcuts({QKeySequence(Qt::Key_Escape), QKeySequence::Close});
    connect(close, &QAction::triggered, this, &QWidget::close);
    addActions({find, close});
    showPage({});
}

void ManualWindow::showPage(const QString& name)
{
    const bool isKnown = !name.isEmpty() && QFile::exists(QStringLiteral(":/manual/") + name + QStringLiteral(".md"));
    m_browser->setSource(
        QUrl(kFolder + (isKnown ? name : kFirstPage) + QStringLiteral(".md")), QTextDocument::MarkdownResource);
    m_browser->setFocus();
}

} // namespace reelwright
