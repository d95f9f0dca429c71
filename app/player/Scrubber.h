#pragma once

#include "movie/QTTime.h"

#include <QSlider>

namespace reelwright {

/// A slider over the whole of a movie. A click jumps, dragging scrubs; the wheel and the keys step by frames.
/// Knows no movie: tells what is asked for, and shows what it is told.
class Scrubber : public QSlider
{
    Q_OBJECT

public:
    explicit Scrubber(QWidget* parent = nullptr);

    void setDuration(const QTTime& duration);
    /// Moves the handle, unless the user has it.
    void setTime(const QTTime& time);

signals:
    void timeChosen(const reelwright::QTTime& time);
    void stepChosen(int frames);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void choose(const QPointF& position);

    std::int32_t m_scale = 1; ///< units of the slider a second
    bool m_isTold = false; ///< the value changes because the movie goes on
    int m_wheel = 0; ///< what does not make a step yet
};

} // namespace reelwright
