#pragma once

#include <QLineEdit>

namespace reelwright {

/// The field that shows the running timecode and takes one to go to.
class TimecodeField final : public QLineEdit
{
    Q_OBJECT

public:
    explicit TimecodeField(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    /// Escape was pressed, or the field was left: what was typed does not count.
    void abandoned();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    bool m_selectsOnRelease = false;
};

} // namespace reelwright
