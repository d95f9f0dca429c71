#pragma once

#include "app/player/PlayerFeed.h"

#include <QObject>
#include <QString>

#include <deque>
#include <memory>
#include <optional>

struct mpv_handle;
struct mpv_event;

namespace reelwright {

/// Plays a PlayerFeed through libmpv: its decoding and its clock, none of its windows, keys and files. Every
/// call returns at once; what came of it arrives as a signal on the player's thread. Where pictures are drawn
/// is another's business (PictureSurface), which must be there before the first `load`.
class MoviePlayer : public QObject
{
    Q_OBJECT

public:
    enum class Sound {
        Device, ///< the desktop's; silence where there is none
        Silent, ///< plays into nothing at the right speed
    };
    enum class Failure {
        Unreadable, ///< nothing of the stream can be played
        NoPicture, ///< the picture cannot be decoded; sound, if there is any, plays
    };

    explicit MoviePlayer(Sound sound, QObject* parent = nullptr);
    ~MoviePlayer() override;

    /// For the maker of the pictures; null when libmpv cannot be started.
    [[nodiscard]] mpv_handle* handle() const;

    /// Replaces what is played, from that time on; playing or paused as before.
    void load(const PlayerFeed& feed, double startSeconds);
    void unload();

    /// Is a load, seek or step being carried out?
    [[nodiscard]] bool isBusy() const { return m_busy; }
    /// Shows the first frame that starts at or up to five milliseconds before that time. While busy the
    /// request waits, and a later one takes its place: what is shown last is what was asked for last.
    void seek(double seconds);
    /// Shows the next frame, which starts at that time. Only while paused.
    void stepForward(double seconds);

    void setPaused(bool paused);
    void setSpeed(double speed);
    void setVolume(int percent);
    void setMuted(bool muted);
    void setLooping(bool looping);
    /// Whoever draws the pictures knows usual ranges only: brighter ones are brought into them.
    void setMapsTones(bool maps) { m_mapsTones = maps; }

signals:
    /// A load has its first picture or sound.
    void started();
    /// A load, seek or step was carried out and none is waiting.
    void settled();
    void positionChanged(double seconds);
    void endReached();
    /// `detail` is the player's own word about it, and may be empty.
    void failed(reelwright::MoviePlayer::Failure failure, const QString& detail);

private:
    struct Core;
    /// What of the feed a load tries to play.
    struct Attempt
    {
        bool hasPicture = false;
        std::size_t sounds = 0;
    };

    void handleEvents();
    void handleEvent(const mpv_event& event);
    void handleProperty(const mpv_event& event);
    void showInRange(const std::string& transfer);
    void handleEnd(const mpv_event& event);
    static std::deque<Attempt> attemptsFor(const PlayerFeed& feed);
    void startLoad();
    void startSeek(double seconds);
    void finish();
    void fail(Failure failure);
    void set(const char* name, const char* value);

    enum class LoadState {
        Idle,
        Requested, ///< until the player starts it, whatever it says is about the one before
        Opening,
        Playing,
    };

    std::unique_ptr<Core> m_core;
    PlayerFeed m_feed;
    std::uint64_t m_streamNumber = 0;
    double m_start = 0;
    /// The present one first; the next one follows when it cannot be played.
    std::deque<Attempt> m_attempts;
    LoadState m_loadState = LoadState::Idle;
    bool m_loadWaiting = false;
    bool m_busy = false;
    bool m_stepping = false;
    bool m_mapsTones = false;
    std::string m_toneFilter; ///< the one in use
    bool m_paused = true;
    std::optional<double> m_waitingSeek;
    std::uint64_t m_stepNumber = 0;
    double m_stepTarget = 0;
    QString m_lastError;
};

} // namespace reelwright
