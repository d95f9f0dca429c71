#pragma once

#include <QToolButton>

namespace reelwright {

/// A button with a sign of moving pictures on it, drawn in the colour of its palette at any size.
class TransportButton : public QToolButton
{
    Q_OBJECT

public:
    enum class Sign {
        ToStart,
        FrameBack,
        Play,
        Pause,
        FrameForward,
        ToEnd,
        Sound,
        Muted,
        Loop,
        FullScreen,
        LeaveFullScreen,
    };

    TransportButton(Sign sign, QWidget* parent);

    void setSign(Sign sign);
    [[nodiscard]] Sign sign() const { return m_sign; }
    /// Its name, for the tool tip and for screen readers; the tool tip also tells the key.
    void setWords(const QString& name, const QKeySequence& key);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Sign m_sign;
};

} // namespace reelwright
