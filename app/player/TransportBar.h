#pragma once

#include <QWidget>

class QHBoxLayout;
class QLabel;
class QSlider;

namespace reelwright {

class MovieView;
class Scrubber;
class TransportButton;

/// What a movie view is played with: a scrubber over a row of buttons. Speaks to the view and shows its
/// state, whoever changed it; several bars of one view agree. Keeps a reference to the view. Keys that its
/// controls have no use for are the view's.
class TransportBar : public QWidget
{
    Q_OBJECT

public:
    explicit TransportBar(MovieView& view, QWidget* parent = nullptr);

    /// Puts something into the room between the buttons and the volume: a field for the time.
    void addWidget(QWidget* widget);
    [[nodiscard]] Scrubber& scrubber() const { return *m_scrubber; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void showPlaying();
    void showSpeed();
    void showSound();
    void showFullScreen(bool isFull);
    void showDuration();
    void beginScrubbing();
    void endScrubbing();

    MovieView& m_view;
    Scrubber* m_scrubber;
    QWidget* m_playback; ///< the buttons that need a movie
    TransportButton* m_play;
    QLabel* m_speed;
    TransportButton* m_mute;
    QSlider* m_volume;
    TransportButton* m_loop;
    TransportButton* m_fullScreen;
    QHBoxLayout* m_middle;
    double m_rateBefore = 0; ///< scrubbing pauses
};

} // namespace reelwright
