#pragma once

#include "movie/QTTime.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace reelwright {

/// The clock of playing backward, which no player does: tells again and again which time is due.
class BackwardPlay : public QObject
{
    Q_OBJECT

public:
    explicit BackwardPlay(QObject* parent = nullptr);

    /// Runs from that time on, that many times as fast as the movie; anew when it ran already.
    void start(const QTTime& from, double speed);
    void stop() { m_timer.stop(); }
    [[nodiscard]] bool isRunning() const { return m_timer.isActive(); }
    /// Goes on from another time, when it runs.
    void moveTo(const QTTime& time);

signals:
    /// Many times a second; zero at last, and until it is stopped.
    void due(const reelwright::QTTime& time);

private:
    void tell();

    QTimer m_timer;
    QElapsedTimer m_clock;
    QTTime m_from;
    double m_speed = 1;
};

} // namespace reelwright
