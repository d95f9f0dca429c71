#pragma once

#include <QElapsedTimer>
#include <QFrame>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;

namespace reelwright {

/// The sheet that a window shows while it saves: it lies over the picture, and the window stays usable
/// beside it. Work that is done at once never shows it.
class ProgressSheet final : public QFrame
{
    Q_OBJECT

public:
    /// Lies over `host`, and follows its size.
    explicit ProgressSheet(QWidget* host);

    void setLabel(const QString& label);
    /// Work begins; how long it takes is not known yet.
    void begin();
    /// From 0 to 1.
    void setFraction(double fraction);
    void end();

    static constexpr int kDelayMilliseconds = 250;

signals:
    void cancelled();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void appear();
    void place();

    QLabel* m_label;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
    QTimer m_delay;
    QElapsedTimer m_clock;
    bool m_isActive = false;
};

} // namespace reelwright
