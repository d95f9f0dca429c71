#include "app/shell/StartWindow.h"

#include <QAction>
#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QIcon>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    /// A dashed frame that lights up while something is dragged over it.
    class DropTarget final : public QWidget
    {
    public:
        using QWidget::QWidget;

        void setLit(bool isLit)
        {
            m_isLit = isLit;
            update();
        }

    protected:
        void paintEvent(QPaintEvent* /*event*/) override
        {
            constexpr qreal kRadius = 10;
            QPainter painter {this};
            painter.setRenderHint(QPainter::Antialiasing);
            auto frame = palette().color(QPalette::WindowText);
            frame.setAlphaF(0.35F);
            if (m_isLit) {
                frame = palette().color(QPalette::Highlight);
                auto fill = frame;
                fill.setAlphaF(0.12F);
                painter.setBrush(fill);
            }
            painter.setPen({frame, 2, Qt::DashLine, Qt::RoundCap});
            painter.drawRoundedRect(QRectF {rect()}.adjusted(1, 1, -1, -1), kRadius, kRadius);
        }

    private:
        bool m_isLit = false;
    };

    void setLit(QWidget* target, bool isLit)
    {
        static_cast<DropTarget*>(target)->setLit(isLit);
    }

    constexpr QSize kSize {560, 400};
    constexpr int kIconSize = 96;
    constexpr int kPatience = 300; ///< milliseconds before it is said that something is going on

} // namespace

QStringList draggedFiles(const QMimeData* data)
{
    QStringList paths;
    const auto urls = data->urls();
    for (const auto& url : urls)
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    return paths;
}

StartWindow::StartWindow(const ApplicationActions& actions)
    : m_target(new DropTarget)
    , m_progress(new QProgressBar)
    , m_busyTimer(new QTimer {this})
{
    setWindowTitle(tr("Reelwright"));
    setAcceptDrops(true);
    resize(kSize);

    auto* file = menuBar()->addMenu(tr("&File"));
    file->addAction(actions.newBatch);
    file->addAction(actions.open);
    file->addMenu(actions.openRecent);
    file->addSeparator();
    file->addAction(actions.quit);
    menuBar()->addMenu(tr("&Edit"))->addAction(actions.preferences);
    menuBar()->addMenu(tr("&Help"))->addActions({actions.diagnostics, actions.about});

    auto* icon = new QLabel;
    icon->setPixmap(QApplication::windowIcon().pixmap(QSize {kIconSize, kIconSize}, devicePixelRatio()));
    icon->setAlignment(Qt::AlignCenter);

    auto* headline = new QLabel {tr("Drop movies here")};
    auto font = headline->font();
    font.setPointSizeF(font.pointSizeF() * 1.5);
    headline->setFont(font);
    headline->setAlignment(Qt::AlignCenter);

    auto* hint = new QLabel {tr("QuickTime and MP4 movies are changed in their own file, without encoding.")};
    hint->setAlignment(Qt::AlignCenter);
    hint->setWordWrap(true);

    auto* open = new QPushButton {tr("&Open\u2026")};
    open->setObjectName(QStringLiteral("open"));
    open->setDefault(true);
    open->setAccessibleDescription(tr("Choose movie files to open"));
    connect(open, &QPushButton::clicked, actions.open, &QAction::trigger);

    m_progress->setRange(0, 0);
    m_progress->setTextVisible(false);
    m_progress->setMaximumWidth(200);
    m_progress->setAccessibleName(tr("Opening"));
    auto policy = m_progress->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    m_progress->setSizePolicy(policy);
    m_progress->hide();
    m_busyTimer->setSingleShot(true);
    m_busyTimer->setInterval(kPatience);
    connect(m_busyTimer, &QTimer::timeout, m_progress, &QWidget::show);

    auto* inside = new QVBoxLayout {m_target};
    inside->setContentsMargins(24, 24, 24, 24);
    inside->setSpacing(12);
    inside->addStretch();
    inside->addWidget(icon);
    inside->addWidget(headline);
    inside->addWidget(hint);
    inside->addSpacing(8);
    inside->addWidget(open, 0, Qt::AlignHCenter);
    inside->addWidget(m_progress, 0, Qt::AlignHCenter);
    inside->addStretch();

    auto* content = new QWidget;
    auto* outside = new QVBoxLayout {content};
    outside->setContentsMargins(20, 20, 20, 20);
    outside->addWidget(m_target);
    setCentralWidget(content);
    open->setFocus();
}

void StartWindow::setBusy(bool isBusy)
{
    if (isBusy) {
        m_busyTimer->start();
    } else {
        m_busyTimer->stop();
        m_progress->hide();
    }
}

void StartWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (draggedFiles(event->mimeData()).isEmpty())
        return;
    event->acceptProposedAction();
    setLit(m_target, true);
}

void StartWindow::dragLeaveEvent(QDragLeaveEvent* /*event*/)
{
    setLit(m_target, false);
}

void StartWindow::dropEvent(QDropEvent* event)
{
    setLit(m_target, false);
    event->acceptProposedAction();
    emit filesDropped(draggedFiles(event->mimeData()));
}

void StartWindow::closeEvent(QCloseEvent* event)
{
    // Whether it goes is decided by who hears this.
    event->ignore();
    emit closed();
}

} // namespace reelwright
