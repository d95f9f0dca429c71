#pragma once

#include "movie/QTTime.h"

#include <QSlider>

#include <optional>
#include <vector>

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
    /// Marks above the slider, that can be dragged.
    void setTicks(const std::vector<QTTime>& ticks);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

signals:
    void timeChosen(const reelwright::QTTime& time);
    void stepChosen(int frames);
    /// A tick was dragged to another time.
    void tickMoved(std::size_t tick, const reelwright::QTTime& time);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void choose(const QPointF& position);
    [[nodiscard]] int handleWidth() const;
    [[nodiscard]] int valueAt(const QPointF& position) const;
    [[nodiscard]] int placeOf(const QTTime& time) const;
    [[nodiscard]] std::optional<std::size_t> tickAt(const QPointF& position) const;

    std::int32_t m_scale = 1; ///< units of the slider a second
    bool m_isTold = false; ///< the value changes because the movie goes on
    int m_wheel = 0; ///< what does not make a step yet
    std::vector<QTTime> m_ticks;
    std::optional<std::size_t> m_dragged; ///< a tick that the user has
};

} // namespace reelwright
