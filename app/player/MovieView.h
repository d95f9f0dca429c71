#pragma once

#include "app/player/BackwardPlay.h"
#include "app/player/MoviePlayer.h"
#include "app/player/PlayableMovie.h"

#include <QFutureWatcher>
#include <QWidget>

#include <memory>
#include <optional>

class QLabel;
class QMenu;

namespace reelwright {

class PictureSurface;
class TextOverlay;

/// Shows a movie as it stands in memory, with its unsaved edits: picture, sound, and the frame at a time,
/// exactly. Never blocks; loading, seeking and decoding happen elsewhere, and a signal tells when they are
/// done. What cannot be shown is said in the view, and everything else goes on.
///
/// Keys, while it has the focus: Space plays and pauses; J, K, L play backward, stop, play forward, and
/// faster when pressed again; Left and Right step by a frame, with Shift by ten; Home and End; M asks for a
/// chapter, with Shift it mutes; F asks for full screen.
class MovieView : public QWidget
{
    Q_OBJECT

public:
    enum class Renderer { Automatic, Software, OpenGL };
    struct Options
    {
        Renderer renderer = Renderer::Automatic;
        MoviePlayer::Sound sound = MoviePlayer::Sound::Device;

        /// As the environment asks for: REELWRIGHT_RENDERER (software, opengl), REELWRIGHT_SOUND (off).
        static Options fromEnvironment();
    };

    explicit MovieView(QWidget* parent = nullptr);
    MovieView(Options options, QWidget* parent);
    ~MovieView() override;

    /// Shows another movie, or another state of the same one. Time and play state stay; the first movie
    /// starts at its own current time. The old picture stays until the new one is there.
    void setMovie(const QTMovie& movie);
    /// Shows nothing.
    void clear();

    /// The start of the frame on show, exactly, where there is a picture.
    [[nodiscard]] QTTime currentTime() const { return m_time; }
    /// Shows the frame at that time. Calls may come faster than frames can be shown; the last one wins.
    void setCurrentTime(const QTTime& time);
    [[nodiscard]] QTTime duration() const { return m_playable.duration; }
    void gotoBeginning();
    void gotoEnd();

    void play();
    void pause();
    void togglePlaying();
    [[nodiscard]] bool isPlaying() const { return m_rate != 0; }
    /// 1 is the movie's own speed, below 0 backward (without sound), 0 paused. At most eight times.
    void setRate(double rate);
    [[nodiscard]] double rate() const { return m_rate; }
    /// Pauses and goes that many frames on, or back; stays at the first and the last one.
    void stepForward(int frames = 1) { step(frames); }
    void stepBackward(int frames = 1) { step(-frames); }

    void setVolume(int percent);
    [[nodiscard]] int volume() const { return m_volume; }
    void setMuted(bool muted);
    [[nodiscard]] bool isMuted() const { return m_isMuted; }
    void setLooping(bool looping);
    [[nodiscard]] bool isLooping() const { return m_isLooping; }

    /// What is said in the place of the picture, or an empty string.
    [[nodiscard]] QString message() const;
    /// Is everything that was asked for on show?
    [[nodiscard]] bool isSettled() const;

    [[nodiscard]] QSize sizeHint() const override;

signals:
    void timeChanged(const reelwright::QTTime& time);
    void durationChanged(const reelwright::QTTime& duration);
    void playStateChanged(bool isPlaying);
    void rateChanged(double rate);
    void volumeChanged(int percent);
    void mutedChanged(bool isMuted);
    void loopingChanged(bool isLooping);
    /// The end was reached while playing.
    void ended();
    /// The first picture of what setMovie was given last is on show; or its sound is ready, where it has no
    /// picture.
    void firstFrameShown();
    /// The frame that was asked for last is on show.
    void settled();
    /// Something of the movie cannot be played; a sentence for the user.
    void failed(const QString& message);
    /// The user asks for a chapter where the picture is.
    void chapterAsked();
    /// The user asks for full screen, or to leave it. FullScreen hears it.
    void fullScreenRequested();
    void fullScreenChanged(bool isFullScreen);
    /// A menu is about to be shown that more may be added to.
    void contextMenuShown(QMenu& menu);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void makeSurface(Renderer renderer);
    void makeNext();
    void accept();
    void loadMovie();
    void showStarted();
    void showPosition(double seconds);
    void showSettled();
    void showFailure(MoviePlayer::Failure failure, const QString& detail);
    void finishPlaying();
    void playBackward(const QTTime& time);
    void say(const QString& message);
    void layOut();
    /// Without the frame that shows the focus.
    [[nodiscard]] QRect inner() const;

    void seekTo(const QTTime& time);
    void setTime(const QTTime& time);
    void step(int frames);

    Options m_options;
    MoviePlayer m_player;
    std::unique_ptr<PictureSurface> m_surface;
    TextOverlay* m_texts;
    QLabel* m_message;

    QFutureWatcher<PlayableMovie> m_maker;
    std::optional<QTMovie> m_next; ///< waits for the maker
    PlayableMovie m_playable;
    bool m_hasMovie = false;
    bool m_waitsForPicture = false;

    QTTime m_time {0, 600};
    double m_rate = 0;
    int m_volume = 100;
    bool m_isMuted = false;
    bool m_isLooping = false;
    bool m_wasCorrected = false; ///< the present time was already asked for twice

    BackwardPlay m_backward;
};

} // namespace reelwright
