#pragma once

#include <QElapsedTimer>
#include <QFrame>
#include <QTimer>

class QLabel;
class QProgressBar;
class QPushButton;

namespace reelwright {

/// The strip that a window shows below its movie while something long is under way: what, where to, how far,
/// how long yet, and a way to stop it. The window stays usable. Work that is done at once never shows it.
class ProgressSheet final : public QFrame
{
    Q_OBJECT

public:
    explicit ProgressSheet(QWidget* parent = nullptr);

    void setLabel(const QString& label);
    /// The file that is written, and how many bytes that will be (0: not known).
    void setTarget(const QString& path, quint64 bytes);
    /// Work begins; how long it takes is not known yet.
    void begin();
    /// From 0 to 1.
    void setFraction(double fraction);
    /// What is said of it, in place of what follows from the fraction alone.
    void setDetails(const QString& done, const QString& left);
    void end();
    /// Presses Cancel. False when nothing is under way that could be cancelled.
    bool cancel();
    [[nodiscard]] bool isActive() const { return m_isActive; }

    /// "5 s", "2 min 10 s".
    static QString inWords(double seconds);

    static constexpr int kDelayMilliseconds = 250;

signals:
    void cancelled();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void appear();

    QLabel* m_label;
    QLabel* m_where;
    QLabel* m_done;
    QLabel* m_left;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
    QTimer m_delay;
    QElapsedTimer m_clock;
    quint64 m_bytes = 0;
    bool m_isActive = false;
};

} // namespace reelwright
