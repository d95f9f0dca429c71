#include "app/player/BackwardPlay.h"

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    constexpr int kInterval = 40; // milliseconds
    constexpr std::int32_t kLeastScale = 1000;

} // namespace

BackwardPlay::BackwardPlay(QObject* parent)
    : QObject(parent)
{
    m_timer.setInterval(kInterval);
    connect(&m_timer, &QTimer::timeout, this, &BackwardPlay::tell);
}

void BackwardPlay::start(const QTTime& from, double speed)
{
    m_from = from;
    m_speed = speed;
    m_clock.start();
    m_timer.start();
}

void BackwardPlay::moveTo(const QTTime& time)
{
    if (isRunning())
        start(time, m_speed);
}

void BackwardPlay::tell()
{
    const auto gone = static_cast<double>(m_clock.elapsed()) / 1000 * m_speed;
    const auto scale = std::max(m_from.scale, kLeastScale);
    emit due({std::llround(std::max(m_from.seconds() - gone, 0.0) * scale), scale});
}

} // namespace reelwright
