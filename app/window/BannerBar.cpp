#include "app/window/BannerBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    constexpr int kSpacing = 8;
    constexpr int kIconSize = 16;

    /// A ground between the window's own and the kind's colour, so that it fits light and dark palettes.
    QColor tinted(const QPalette& palette, const QColor& colour)
    {
        const auto ground = palette.color(QPalette::Window);
        const auto mix = [](int a, int b) { return (4 * a + b) / 5; };
        return {mix(ground.red(), colour.red()), mix(ground.green(), colour.green()),
            mix(ground.blue(), colour.blue())};
    }

} // namespace

BannerBar::BannerBar(QWidget* parent)
    : QWidget(parent)
    , m_layout(new QVBoxLayout(this))
{
    m_layout->setContentsMargins({});
    m_layout->setSpacing(kSpacing);
    hide();
}

void BannerBar::show(const std::vector<Banner>& banners)
{
    QStringList wanted;
    for (const auto& banner : banners)
        if (!m_closed.contains(banner.name))
            wanted << banner.name + QLatin1Char('\n') + banner.text;
    if (wanted == m_shown)
        return;
    m_shown = wanted;
    while (auto* item = m_layout->takeAt(0)) {
        item->widget()->deleteLater();
        item->widget()->hide();
        delete item;
    }
    for (const auto& banner : banners)
        if (!m_closed.contains(banner.name))
            m_layout->addWidget(makeBar(banner));
    setVisible(!m_shown.isEmpty());
}

QWidget* BannerBar::makeBar(const Banner& banner)
{
    const bool isWarning = banner.kind == Kind::Warning;
    auto* bar = new QFrame;
    bar->setFrameShape(QFrame::StyledPanel);
    bar->setAutoFillBackground(true);
    auto colours = bar->palette();
    colours.setColor(
        QPalette::Window, tinted(palette(), isWarning ? QColor(255, 190, 40) : QColor(80, 150, 255)));
    bar->setPalette(colours);

    auto* layout = new QHBoxLayout(bar);
    layout->setContentsMargins(kSpacing, kSpacing / 2, kSpacing, kSpacing / 2);
    layout->setSpacing(kSpacing);
    auto* icon = new QLabel;
    icon->setPixmap(
        style()
            ->standardIcon(isWarning ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation)
            .pixmap(kIconSize, kIconSize));
    icon->setAccessibleName(isWarning ? tr("Warning") : tr("Information"));
    layout->addWidget(icon);
    auto* label = new QLabel(
        QStringLiteral("<b>%1</b> %2").arg(banner.title.toHtmlEscaped(), banner.text.toHtmlEscaped()));
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setAccessibleName(banner.title + QLatin1Char(' ') + banner.text);
    layout->addWidget(label, 1);
    for (const auto& button : banner.buttons) {
        auto* made = new QPushButton(button.text);
        made->setAutoDefault(false);
        connect(made, &QPushButton::clicked, this, [work = button.work] { work(); });
        layout->addWidget(made);
    }
    if (!isWarning) {
        auto* close = new QToolButton;
        close->setAutoRaise(true);
        close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
        close->setAccessibleName(tr("Close this note"));
        close->setToolTip(tr("Close this note"));
        connect(close, &QToolButton::clicked, this, [this, bar, name = banner.name] {
            m_closed << name;
            bar->hide();
        });
        layout->addWidget(close);
    }
    return bar;
}

} // namespace reelwright
