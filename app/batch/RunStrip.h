#pragma once

#include <QElapsedTimer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace reelwright {

/// How far a run is: the file in hand, files a second, the time left, and a button to cancel.
class RunStrip final : public QWidget
{
    Q_OBJECT

public:
    explicit RunStrip(QWidget* parent = nullptr);

    void begin(std::size_t files);
    void setLabel(const QString& label);
    void setDone(std::size_t done);
    void end();
    [[nodiscard]] double seconds() const { return m_seconds; }

signals:
    void cancelled();

private:
    QLabel* m_label;
    QLabel* m_rate;
    QProgressBar* m_bar;
    QPushButton* m_cancel;
    QElapsedTimer m_clock;
    double m_seconds = 0;
};

} // namespace reelwright
