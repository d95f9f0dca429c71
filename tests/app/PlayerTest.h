#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

#include <functional>

namespace reelwright::test {

/// Milliseconds: as long as decoding may take on the slowest machine.
constexpr int kPlayerWait = 30'000;

/// Waits until that is so; false when it does not become so in time.
inline bool becomes(const std::function<bool()>& condition)
{
    QTimer pulse; // ends the waiting for events
    pulse.start(2);
    const QDeadlineTimer limit(kPlayerWait);
    while (!condition()) {
        if (limit.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace reelwright::test
