#include "app/batch/RunStrip.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>

namespace reelwright {

RunStrip::RunStrip(QWidget* parent)
    : QWidget(parent)
    , m_label(new QLabel)
    , m_rate(new QLabel)
    , m_bar(new QProgressBar)
    , m_cancel(new QPushButton(tr("Cancel")))
{
    m_bar->setAccessibleName(tr("Files done"));
    m_bar->setFormat(QStringLiteral("%v / %m"));
    m_label->setTextFormat(Qt::PlainText);
    m_label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_label, 2);
    layout->addWidget(m_bar, 2);
    layout->addWidget(m_rate);
    layout->addWidget(m_cancel);
    connect(m_cancel, &QPushButton::clicked, this, &RunStrip::cancelled);
}

void RunStrip::begin(std::size_t files)
{
    m_bar->setRange(0, static_cast<int>(files));
    m_bar->setValue(0);
    m_rate->clear();
    m_cancel->setEnabled(true);
    m_clock.start();
    show();
}

void RunStrip::setLabel(const QString& label)
{
    m_label->setText(label);
    if (label == QLatin1String("Cancelling..."))
        m_cancel->setEnabled(false);
}

void RunStrip::setDone(std::size_t done)
{
    m_bar->setValue(static_cast<int>(done));
    const auto elapsed = static_cast<double>(m_clock.elapsed()) / 1000;
    constexpr double kBeforeAGuess = 1;
    if (elapsed < kBeforeAGuess || done == 0)
        return;
    const auto rate = static_cast<double>(done) / elapsed;
    const auto left = static_cast<int>((m_bar->maximum() - static_cast<double>(done)) / rate + 0.5);
    m_rate->setText(tr("%1 files/s, %2:%3 left")
                        .arg(rate, 0, 'f', rate < 10 ? 1 : 0)
                        .arg(left / 60)
                        .arg(left % 60, 2, 10, QLatin1Char('0')));
}

void RunStrip::end()
{
    m_seconds = static_cast<double>(m_clock.elapsed()) / 1000;
    m_bar->setValue(m_bar->maximum());
    hide();
}

} // namespace reelwright
