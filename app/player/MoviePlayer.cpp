#include "app/player/MoviePlayer.h"

#include "app/shell/Background.h"

#include <QLoggingCategory>
#include <QPointer>
#include <QTimer>

extern "C" {
#include <libavutil/log.h>
}
#include <mpv/client.h>
#include <mpv/stream_cb.h>

#include <atomic>
#include <clocale>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace reelwright {
namespace {

    Q_LOGGING_CATEGORY(logPlayer, "reelwright.player", QtCriticalMsg)

    constexpr char kProtocol[] = "reelwright";
    /// Tells the replies apart that are waited for.
    enum Reply : std::uint64_t { kNoReply, kLoadReply, kSeekReply, kPictureReply };
    enum Observed : std::uint64_t { kTime = 1, kEnd, kTransfer };
    /// Seconds by which the player's times may differ from the tables' without being another frame's.
    constexpr double kTimeTolerance = 0.001;
    /// A step whose frame does not come (a damaged sample) ends after this.
    constexpr int kStepLimitMilliseconds = 1500;

    /// Options of libmpv, with the reason where it does not show.
    struct Option
    {
        const char* name;
        const char* value;
    };
    constexpr Option kOptions[] = {
        {"config", "no"},
        {"terminal", "no"},
        {"load-scripts", "no"},
        {"ytdl", "no"},
        {"osc", "no"},
        {"osd-level", "0"},
        {"load-stats-overlay", "no"},
        {"load-osd-console", "no"},
        {"load-auto-profiles", "no"},
        {"input-default-bindings", "no"},
        {"input-vo-keyboard", "no"},
        {"input-media-keys", "no"},
        {"idle", "yes"},
        {"vo", "libmpv"},
        {"hwdec", "no"},
        {"gpu-hwdec-interop", "no"},
        {"pause", "yes"},
        {"keep-open", "yes"},
        {"hr-seek", "yes"},
        {"rebase-start-time", "no"}, // time 0 is the movie's, also when nothing plays there
        {"keepaspect", "no"}, // where the picture lies is the track's matter, not the codec's
        {"sid", "no"},
        {"audio-display", "no"},
        {"sub-auto", "no"},
        {"audio-file-auto", "no"},
        {"cover-art-auto", "no"},
        {"autoload-files", "no"},
        {"audio-client-name", "Reelwright"},
        // The desktop's own. Looking for others would come to libraries (JACK, SDL) that are one for the
        // whole process: of players that look at the same time one hangs, or calls what is not there.
        {"ao", "pipewire,pulse,alsa"},
        {"audio-fallback-to-null", "yes"},
        {"volume-max", "100"},
        {"demuxer-lavf-format", "mov"}, // and nothing that the bytes may look like
        {"demuxer-lavf-probe-info", "nostreams"}, // sample descriptions say it all; spares reading media
        {"cache", "no"},
        {"demuxer-max-bytes", "64MiB"},
        {"demuxer-max-back-bytes", "16MiB"},
    };

    /// A stream as libmpv has it open. Used by one of its threads at a time. It is not told that libmpv wants
    /// to stop reading: libmpv looks for that itself before each read, and may tell it after closing.
    struct OpenStream
    {
        std::shared_ptr<const MovieStream> stream;
        std::uint64_t position = 0;
    };

    std::int64_t readStream(void* cookie, char* buffer, std::uint64_t size)
    {
        constexpr std::uint64_t kMostAtOnce = 1U << 20U; // so that stopping is heard soon
        auto& open = *static_cast<OpenStream*>(cookie);
        const auto got = open.stream->readAt(open.position,
            {reinterpret_cast<std::byte*>(buffer), static_cast<std::size_t>(std::min(size, kMostAtOnce))});
        if (!got)
            return -1;
        open.position += *got;
        return static_cast<std::int64_t>(*got);
    }

    std::int64_t seekStream(void* cookie, std::int64_t offset)
    {
        auto& open = *static_cast<OpenStream*>(cookie);
        if (offset < 0 || static_cast<std::uint64_t>(offset) > open.stream->size())
            return MPV_ERROR_GENERIC;
        open.position = static_cast<std::uint64_t>(offset);
        return offset;
    }

    std::int64_t sizeOfStream(void* cookie)
    {
        return static_cast<std::int64_t>(static_cast<OpenStream*>(cookie)->stream->size());
    }

    void closeStream(void* cookie)
    {
        delete static_cast<OpenStream*>(cookie);
    }

    std::string number(double value)
    {
        return QByteArray::number(value, 'f', 9).toStdString();
    }

    /// The address of a feed: libmpv's own list of pieces, lane by lane. Its sources' numbers start with
    /// `firstSource`.
    std::string addressOf(
        const PlayerFeed& feed, bool hasPicture, std::size_t soundLanes, std::uint64_t firstSource)
    {
        std::string address;
        const auto append = [&](const PlayerFeed::Lane& lane) {
            address += address.empty() ? "edl://" : ";!new_stream;";
            const char* separator = "";
            for (const auto& piece : lane) {
                address += separator;
                address += kProtocol;
                address += "://" + std::to_string(firstSource + piece.source) + ',' + number(piece.start)
                    + ',' + number(piece.length);
                separator = ";";
            }
        };
        if (hasPicture)
            append(feed.picture);
        for (std::size_t i = 0; i < soundLanes; ++i)
            append(feed.sounds[i]);
        return address;
    }

    /// Brings pictures of a high range to that of usual screens; nothing for others.
    std::string toneFilter(const std::string& transfer)
    {
        struct Row
        {
            std::string_view transfer; ///< libmpv's name
            const char* name; ///< the filter's
            int peak; ///< candelas a square metre that become the brightest white before the curve
        };
        constexpr Row kRows[] = {{"pq", "smpte2084", 203}, {"hlg", "arib-std-b67", 203}};
        for (const auto& row : kRows)
            if (transfer == row.transfer)
                return std::string("lavfi=[zscale=transferin=") + row.name
                    + ":primariesin=bt2020:matrixin=bt2020nc:transfer=linear:npl=" + std::to_string(row.peak)
                    + ",format=gbrpf32le,zscale=primaries=bt709,tonemap=tonemap=hable:desat=0,"
                      "zscale=transfer=bt709:matrix=bt709:range=limited,format=yuv420p]";
        return {};
    }

    /// All sound tracks as one; each at its own loudness, as they would be heard side by side.
    std::string mixOf(std::size_t tracks)
    {
        std::string graph;
        for (std::size_t i = 1; i <= tracks; ++i)
            graph += "[aid" + std::to_string(i) + ']';
        return graph + "amix=inputs=" + std::to_string(tracks) + ":normalize=0:dropout_transition=0[ao]";
    }

} // namespace

/// What libmpv's threads use: lives until the last of them has ended.
struct MoviePlayer::Core
{
    mpv_handle* handle = nullptr;
    std::mutex mutex;
    std::map<std::uint64_t, std::shared_ptr<const MovieStream>> streams; ///< by the number in their address
    std::atomic<bool> eventsWaiting = false;

    static int open(void* userData, char* address, mpv_stream_cb_info* info)
    {
        auto& core = *static_cast<Core*>(userData);
        const char* number = std::strrchr(address, '/');
        const std::lock_guard lock {core.mutex};
        const auto found = core.streams.find(number ? std::strtoull(number + 1, nullptr, 10) : 0);
        if (found == core.streams.end())
            return MPV_ERROR_LOADING_FAILED;
        auto stream = std::make_unique<OpenStream>();
        stream->stream = found->second;
        info->cookie = stream.release();
        info->read_fn = readStream;
        info->seek_fn = seekStream;
        info->size_fn = sizeOfStream;
        info->close_fn = closeStream;
        return 0;
    }
};

MoviePlayer::MoviePlayer(Sound sound, QObject* parent)
    : QObject(parent)
    , m_core(std::make_unique<Core>())
{
    // libmpv reads numbers as C does, and does not start otherwise; QApplication sets the user's locale.
    std::setlocale(LC_NUMERIC, "C");
    // The messages of its decoders come through libmpv while the player that was made first lives; after that
    // they would go to standard error.
    av_log_set_level(AV_LOG_QUIET);
    auto* handle = mpv_create();
    if (!handle)
        return;
    for (const auto& option : kOptions)
        mpv_set_option_string(handle, option.name, option.value); // versions differ in what they know
    if (sound == Sound::Silent)
        mpv_set_option_string(handle, "ao", "null");
    if (mpv_initialize(handle) < 0
        || mpv_stream_cb_add_ro(handle, kProtocol, m_core.get(), &Core::open) < 0) {
        mpv_terminate_destroy(handle);
        return;
    }
    m_core->handle = handle;
    mpv_request_log_messages(handle, "warn");
    mpv_observe_property(handle, kTime, "time-pos", MPV_FORMAT_DOUBLE);
    mpv_observe_property(handle, kEnd, "eof-reached", MPV_FORMAT_FLAG);
    mpv_observe_property(handle, kTransfer, "video-params/gamma", MPV_FORMAT_STRING);
    mpv_set_wakeup_callback(
        handle,
        [](void* self) {
            auto* player = static_cast<MoviePlayer*>(self);
            if (!player->m_core->eventsWaiting.exchange(true))
                QMetaObject::invokeMethod(player, &MoviePlayer::handleEvents, Qt::QueuedConnection);
        },
        this);
}

MoviePlayer::~MoviePlayer()
{
    if (!m_core->handle)
        return;
    mpv_set_wakeup_callback(m_core->handle, nullptr, nullptr);
    // Ending waits for reads that are under way, on a slow volume for long.
    runInBackground(
        [core = std::shared_ptr<Core>(std::move(m_core))] { mpv_terminate_destroy(core->handle); });
}

mpv_handle* MoviePlayer::handle() const
{
    return m_core->handle;
}

void MoviePlayer::set(const char* name, const char* value)
{
    if (m_core->handle)
        mpv_set_property_async(m_core->handle, kNoReply, name, MPV_FORMAT_STRING, &value);
}

void MoviePlayer::load(const PlayerFeed& feed, double startSeconds)
{
    m_feed = feed;
    m_start = startSeconds;
    m_attempts = attemptsFor(feed);
    m_lastError.clear();
    m_waitingSeek.reset();
    m_busy = true;
    startLoad();
}

/// A picture that cannot be decoded ends a load before the sound is looked at, and so does a sound that
/// cannot be mixed or opened: what keeps the rest from being played is left out.
std::deque<MoviePlayer::Attempt> MoviePlayer::attemptsFor(const PlayerFeed& feed)
{
    std::deque<Attempt> attempts;
    const auto sounds = feed.sounds.size();
    for (const bool hasPicture : {true, false}) {
        if (hasPicture && feed.picture.empty())
            continue;
        if (sounds > 1)
            attempts.push_back({hasPicture, sounds});
        if (sounds > 0)
            attempts.push_back({hasPicture, 1});
    }
    if (!feed.picture.empty())
        attempts.push_back({true, 0});
    return attempts;
}

void MoviePlayer::startLoad()
{
    if (!m_core->handle || m_attempts.empty()) {
        fail(Failure::Unreadable);
        return;
    }
    if (m_loadState == LoadState::Requested) {
        m_loadWaiting = true;
        return;
    }
    m_loadWaiting = false;
    m_stepping = false;
    const auto& attempt = m_attempts.front();
    const auto address = addressOf(m_feed, attempt.hasPicture, attempt.sounds, m_streamNumber);
    {
        const std::lock_guard lock {m_core->mutex};
        m_core->streams.clear(); // those that are open hold their stream themselves
        for (const auto& source : m_feed.sources)
            m_core->streams.emplace(m_streamNumber++, source);
    }
    const auto start = m_start > 0 ? number(m_start) : std::string("none");
    const auto mix = attempt.sounds > 1 ? mixOf(attempt.sounds) : std::string {};
    const auto reordering = number(m_feed.reordering);

    // By name, because the places of the arguments changed between versions.
    const auto text = [](const char* value) {
        mpv_node node {};
        node.format = MPV_FORMAT_STRING;
        node.u.string = const_cast<char*>(value); // NOLINT: libmpv reads it only
        return node;
    };
    const char* optionNames[] = {"start", "lavfi-complex", "vid", "hr-seek-demuxer-offset"};
    mpv_node optionValues[] = {text(start.c_str()), text(mix.c_str()),
        text(attempt.hasPicture ? "auto" : "no"), text(reordering.c_str())};
    mpv_node_list options {4, optionValues, const_cast<char**>(optionNames)}; // NOLINT
    mpv_node optionMap {};
    optionMap.format = MPV_FORMAT_NODE_MAP;
    optionMap.u.list = &options;
    const char* names[] = {"name", "url", "flags", "options"};
    mpv_node values[] = {text("loadfile"), text(address.c_str()), text("replace"), optionMap};
    mpv_node_list arguments {4, values, const_cast<char**>(names)}; // NOLINT
    mpv_node command {};
    command.format = MPV_FORMAT_NODE_MAP;
    command.u.list = &arguments;
    if (mpv_command_node_async(m_core->handle, kLoadReply, &command) < 0) {
        m_loadState = LoadState::Idle;
        fail(Failure::Unreadable);
        return;
    }
    m_loadState = LoadState::Requested;
}

void MoviePlayer::unload()
{
    m_feed = {};
    m_attempts.clear();
    m_waitingSeek.reset();
    m_loadWaiting = false;
    m_busy = false;
    m_stepping = false;
    if (!m_core->handle)
        return;
    const char* command[] = {"stop", nullptr};
    mpv_command_async(m_core->handle, kNoReply, command);
}

void MoviePlayer::seek(double seconds)
{
    if (!m_core->handle || m_feed.empty())
        return;
    if (m_busy)
        m_waitingSeek = seconds;
    else
        startSeek(seconds);
}

void MoviePlayer::startSeek(double seconds)
{
    const auto time = QByteArray::number(seconds, 'f', 9);
    const char* command[] = {"seek", time.constData(), "absolute+exact", nullptr};
    m_busy = mpv_command_async(m_core->handle, kSeekReply, command) >= 0;
    m_stepping = false;
}

void MoviePlayer::stepForward(double seconds)
{
    if (m_busy || !m_core->handle || m_loadState != LoadState::Playing) {
        seek(seconds);
        return;
    }
    const char* command[] = {"frame-step", nullptr};
    m_busy = m_stepping = mpv_command_async(m_core->handle, kSeekReply, command) >= 0;
    m_stepTarget = seconds;
    QTimer::singleShot(kStepLimitMilliseconds, this, [this, number = ++m_stepNumber] {
        if (m_stepping && number == m_stepNumber)
            finish();
    });
}

void MoviePlayer::setPaused(bool paused)
{
    // Said once more, it would end a step that is under way.
    if (std::exchange(m_paused, paused) != paused)
        set("pause", paused ? "yes" : "no");
}

void MoviePlayer::setSpeed(double speed)
{
    set("speed", QByteArray::number(speed, 'f', 4).constData());
}

void MoviePlayer::setVolume(int percent)
{
    set("volume", QByteArray::number(percent).constData());
}

void MoviePlayer::setMuted(bool muted)
{
    set("mute", muted ? "yes" : "no");
}

void MoviePlayer::setLooping(bool looping)
{
    set("loop-file", looping ? "inf" : "no");
}

void MoviePlayer::finish()
{
    m_busy = false;
    m_stepping = false;
    if (m_waitingSeek) {
        const auto seconds = *m_waitingSeek;
        m_waitingSeek.reset();
        startSeek(seconds);
        return;
    }
    emit settled();
}

void MoviePlayer::fail(Failure failure)
{
    emit failed(failure, m_lastError);
}

void MoviePlayer::handleEvents()
{
    m_core->eventsWaiting = false;
    // A slot may end this player.
    for (const QPointer<MoviePlayer> self {this}; self;) {
        const auto* event = mpv_wait_event(m_core->handle, 0);
        if (event->event_id == MPV_EVENT_NONE)
            return;
        handleEvent(*event);
    }
}

void MoviePlayer::handleEvent(const mpv_event& event)
{
    const bool isStale = m_loadState == LoadState::Requested;
    switch (event.event_id) {
    case MPV_EVENT_LOG_MESSAGE: {
        const auto* message = static_cast<const mpv_event_log_message*>(event.data);
        const auto text = QString::fromUtf8(message->text).trimmed();
        qCDebug(logPlayer) << message->prefix << text;
        if (!isStale && message->log_level <= MPV_LOG_LEVEL_ERROR && m_lastError.isEmpty())
            m_lastError = text;
        break;
    }
    case MPV_EVENT_PROPERTY_CHANGE:
        if (!isStale)
            handleProperty(event);
        break;
    case MPV_EVENT_START_FILE:
        m_loadState = LoadState::Opening;
        if (m_loadWaiting)
            startLoad();
        break;
    case MPV_EVENT_PLAYBACK_RESTART:
        if (isStale)
            break;
        if (m_loadState == LoadState::Opening) {
            m_loadState = LoadState::Playing;
            const bool lacksPicture = !m_attempts.front().hasPicture && !m_feed.picture.empty();
            if (m_attempts.front().hasPicture)
                mpv_get_property_async(m_core->handle, kPictureReply, "video-params/w", MPV_FORMAT_INT64);
            const QPointer<MoviePlayer> self {this};
            emit started();
            if (self && lacksPicture && m_loadState == LoadState::Playing)
                fail(Failure::NoPicture);
            if (!self || m_loadState != LoadState::Playing)
                break;
        }
        if (m_busy && !m_stepping)
            finish();
        break;
    case MPV_EVENT_END_FILE:
        if (!isStale)
            handleEnd(event);
        break;
    case MPV_EVENT_GET_PROPERTY_REPLY:
        if (!isStale && event.reply_userdata == kPictureReply && event.error < 0)
            fail(Failure::NoPicture);
        break;
    case MPV_EVENT_COMMAND_REPLY:
        if (event.error >= 0)
            break;
        if (event.reply_userdata == kLoadReply) {
            m_loadState = LoadState::Idle;
            m_busy = false;
            fail(Failure::Unreadable);
        } else if (event.reply_userdata == kSeekReply && m_busy && m_loadState == LoadState::Playing) {
            finish();
        }
        break;
    default:
        break;
    }
}

void MoviePlayer::handleProperty(const mpv_event& event)
{
    const auto* property = static_cast<const mpv_event_property*>(event.data);
    if (event.reply_userdata == kTime && property->format == MPV_FORMAT_DOUBLE) {
        const auto seconds = *static_cast<const double*>(property->data);
        const QPointer<MoviePlayer> self {this};
        emit positionChanged(seconds);
        // The position of the seek before the step may come late.
        if (self && m_stepping && seconds > m_stepTarget - kTimeTolerance)
            finish();
    } else if (event.reply_userdata == kTransfer && property->format == MPV_FORMAT_STRING) {
        showInRange(*static_cast<char* const*>(property->data));
    } else if (event.reply_userdata == kEnd && property->format == MPV_FORMAT_FLAG
        && *static_cast<const int*>(property->data) != 0) {
        const QPointer<MoviePlayer> self {this};
        if (m_stepping)
            finish();
        if (self)
            emit endReached();
    }
}

void MoviePlayer::showInRange(const std::string& transfer)
{
    const auto filter = m_mapsTones ? toneFilter(transfer) : std::string {};
    if (std::exchange(m_toneFilter, filter) != filter)
        set("vf", filter.c_str());
}

void MoviePlayer::handleEnd(const mpv_event& event)
{
    const auto* end = static_cast<const mpv_event_end_file*>(event.data);
    const bool hadStarted = m_loadState == LoadState::Playing;
    m_loadState = LoadState::Idle;
    if (end->reason != MPV_END_FILE_REASON_ERROR && end->reason != MPV_END_FILE_REASON_EOF)
        return;
    if (!hadStarted && m_attempts.size() > 1) {
        m_attempts.pop_front();
        startLoad();
        return;
    }
    m_busy = false;
    m_waitingSeek.reset();
    fail(!m_feed.picture.empty() && end->error == MPV_ERROR_NOTHING_TO_PLAY ? Failure::NoPicture
                                                                            : Failure::Unreadable);
}

} // namespace reelwright
