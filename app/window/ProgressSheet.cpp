#include "app/window/ProgressSheet.h"

#include <QFileInfo>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>
#include <QStorageInfo>

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr int kSteps = 1000;
    constexpr int kSpacing = 8;
    constexpr int kDetailsWidth = 264;

} // namespace

ProgressSheet::ProgressSheet(QWidget* parent)
    : QFrame(parent)
    , m_label(new QLabel(this))
    , m_where(new QLabel(this))
    , m_done(new QLabel(this))
    , m_left(new QLabel(this))
    , m_bar(new QProgressBar(this))
    , m_cancel(new QPushButton(tr("&Cancel"), this))
{
    setAccessibleName(tr("Progress"));
    auto bold = m_label->font();
    bold.setBold(true);
    m_label->setFont(bold);
    for (auto* label : {m_label, m_where, m_done, m_left})
        label->setTextFormat(Qt::PlainText);
    m_where->setForegroundRole(QPalette::PlaceholderText);
    m_left->setForegroundRole(QPalette::PlaceholderText);
    m_where->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_bar->setAccessibleName(tr("Progress"));
    m_bar->setTextVisible(false);
    m_cancel->setAutoDefault(false);
    m_cancel->setToolTip(tr("Stop this; what was there before stays (Escape)"));

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins({});
    layout->setHorizontalSpacing(kSpacing);
    layout->setVerticalSpacing(kSpacing / 2);
    layout->addWidget(m_label, 0, 0);
    layout->addWidget(m_where, 0, 1);
    layout->addWidget(m_bar, 1, 0, 1, 2);
    layout->addWidget(m_done, 0, 2);
    layout->addWidget(m_left, 1, 2);
    layout->addWidget(m_cancel, 0, 3, 2, 1, Qt::AlignVCenter);
    layout->setColumnStretch(1, 1);
    layout->setColumnMinimumWidth(2, kDetailsWidth);

    connect(m_cancel, &QPushButton::clicked, this, [this] {
        m_cancel->setEnabled(false);
        m_bar->setRange(0, 0);
        setLabel(tr("Cancelling..."));
        emit cancelled();
    });
    m_delay.setSingleShot(true);
    m_delay.setInterval(kDelayMilliseconds);
    connect(&m_delay, &QTimer::timeout, this, &ProgressSheet::appear);
    hide();
}

QString ProgressSheet::inWords(double seconds)
{
    constexpr int kMinute = 60;
    constexpr int kHour = 3600;
    const auto whole = static_cast<int>(std::clamp(std::ceil(seconds), 0.0, 360000.0));
    if (whole < kMinute)
        return tr("%1 s").arg(whole);
    if (whole < kHour)
        return tr("%1 min %2 s").arg(whole / kMinute).arg(whole % kMinute);
    return tr("%1 h %2 min").arg(whole / kHour).arg(whole % kHour / kMinute);
}

void ProgressSheet::setLabel(const QString& label)
{
    m_label->setText(label);
}

void ProgressSheet::setTarget(const QString& path, quint64 bytes)
{
    const QFileInfo file {path};
    m_bytes = bytes;
    m_where->setText(tr("%1, in \u201C%2\u201D").arg(file.fileName(), QFileInfo(file.absolutePath()).fileName()));
    m_where->setToolTip(path);
}

void ProgressSheet::begin()
{
    m_isActive = true;
    m_cancel->setEnabled(true);
    m_bar->setRange(0, 0);
    m_done->clear();
    m_left->clear();
    m_clock.start();
    m_delay.start();
}

void ProgressSheet::setFraction(double fraction)
{
    if (!m_isActive || !m_cancel->isEnabled())
        return;
    m_bar->setRange(0, kSteps);
    m_bar->setValue(static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * kSteps)));
    const auto percent = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100);
    const auto size = [](double bytes) {
        return QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat);
    };
    m_done->setText(m_bytes > 0 ? tr("%1 %: %2 of %3 written")
                                      .arg(percent)
                                      .arg(size(fraction * static_cast<double>(m_bytes)), size(static_cast<double>(m_bytes)))
                                : tr("%1 %").arg(percent));
    const double elapsed = static_cast<double>(m_clock.elapsed()) / 1000;
    m_left->setText(fraction > 0.01 ? tr("%1 left").arg(inWords(elapsed / fraction - elapsed)) : QString());
    if (m_clock.elapsed() < kDelayMilliseconds)
        return;
    // While the program quits, a save runs without an event loop: no timer and no paint event come.
    appear();
    repaint();
}

void ProgressSheet::setDetails(const QString& done, const QString& left)
{
    if (!m_cancel->isEnabled())
        return;
    m_done->setText(done);
    m_left->setText(left);
}

void ProgressSheet::appear()
{
    m_delay.stop();
    if (m_isActive && !isVisible())
        show();
}

void ProgressSheet::end()
{
    m_isActive = false;
    m_delay.stop();
    hide();
}

bool ProgressSheet::cancel()
{
    if (!m_isActive || !m_cancel->isEnabled())
        return false;
    m_cancel->click();
    return true;
}

void ProgressSheet::keyPressEvent(QKeyEvent* event)
{
    if (event->key() != Qt::Key_Escape || !cancel())
        QFrame::keyPressEvent(event);
}

} // namespace reelwright
