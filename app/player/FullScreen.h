#pragma once

#include <QLabel>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QTimer>

namespace reelwright {

class MovieView;
class TransportBar;

/// Shows a movie view over the whole screen, and brings it back to its place in its window. Playing goes on.
/// A transport bar lies over the picture while the pointer moves, and for two seconds after it. Escape, and
/// whatever asks the view for full screen (F, a double click), leaves. Belongs to the view.
class FullScreen : public QObject
{
    Q_OBJECT

public:
    explicit FullScreen(MovieView& view);

    [[nodiscard]] bool isActive() const { return m_isActive; }
    void enter();
    void leave();
    void toggle();
    /// Is there a bar over the picture? True unless the movie wants none.
    void setBarWanted(bool wanted);

    /// What the running timecode says.
    void setTimecode(const QString& timecode);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showBar();
    void hideBar();
    void placeBar();

    MovieView& m_view;
    QPointer<TransportBar> m_bar;
    QTimer m_stillness;
    Qt::WindowFlags m_flagsBefore;
    QRect m_geometryBefore;
    bool m_isActive = false;
    bool m_isBarWanted = true;
    QString m_timecode;
    QPointer<QLabel> m_timecodeLabel;
};

} // namespace reelwright
