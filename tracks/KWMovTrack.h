#pragma once

#include "movie/QTTrack.h"

#include <optional>
#include <string_view>

namespace reelwright {

/// A row of the track list: what the list shows of one track. The stored fields are as the track was when the
/// record was made; times and bounds are asked of the track each time. Borrows the movie like the track it
/// holds.
class KWMovTrack
{
public:
    /// Type codes; `kMovie` stands for the movie itself, which has no record.
    enum TypeCode : int {
        kMovie = 0,
        kVideo = 1,
        kAudio = 2,
        kTimecode = 3,
        kText = 4,
        kSprite = 5,
        kCaptions = 6,
    };

    /// The record of a track. Sound whose description cannot be read gives a record without channel data. The
    /// track must be valid.
    static KWMovTrack trackWithQTTrack(const QTTrack& track);
    /// The same for a view that may have lost its track: then the failure is logged and there is no record.
    static std::optional<KWMovTrack> trackWithQuickTimeTrack(const QTTrack& track);
    /// The first track of a type, `kVideo` to `kSprite`; nothing for other codes.
    static std::optional<KWMovTrack> firstTrackOfType(int typeCode, const QTMovie& movie);

    /// The name that the list shows for a type code; "Unknown" for no code and for those without a name.
    static std::string_view typeName(std::optional<int> typeCode);

    [[nodiscard]] std::uint32_t trackID() const { return m_trackID; }
    void setTrackID(std::uint32_t trackID) { m_trackID = trackID; }
    /// Nothing for a media type without a code.
    [[nodiscard]] std::optional<int> trackType() const { return m_trackType; }
    void setTrackType(std::optional<int> trackType) { m_trackType = trackType; }
    [[nodiscard]] bool enabled() const { return m_enabled; }
    void setEnabled(bool enabled) { m_enabled = enabled; }
    [[nodiscard]] const QTTrack& track() const { return m_track; }
    void setTrack(const QTTrack& track) { m_track = track; }
    /// Of a sound track; 0 for others.
    [[nodiscard]] std::uint32_t channels() const { return m_channels; }
    void setChannels(std::uint32_t channels) { m_channels = channels; }
    /// The first channel of a sound track's channel layout; zero where the layout lists no channels.
    [[nodiscard]] const AudioChannelDescription& audioChannelDescription() const
    {
        return m_audioChannelDescription;
    }
    void setAudioChannelDescription(const AudioChannelDescription& description)
    {
        m_audioChannelDescription = description;
    }

    /// QTTrackRangeAttribute.
    [[nodiscard]] QTTimeRange timeRange() const { return m_track.range(); }
    /// QTTrackTimeScaleAttribute.
    [[nodiscard]] std::int32_t timescale() const { return m_track.timeScale(); }
    [[nodiscard]] QTTime inPoint() const { return timeRange().time; }
    [[nodiscard]] QTTime duration() const { return timeRange().duration; }
    /// QTTrackBoundsAttribute.
    [[nodiscard]] QTRect trackBounds() const { return m_track.bounds(); }

private:
    explicit KWMovTrack(const QTTrack& track)
        : m_track(track)
    {
    }

    std::uint32_t m_trackID = 0;
    std::optional<int> m_trackType;
    bool m_enabled = false;
    QTTrack m_track;
    std::uint32_t m_channels = 0;
    AudioChannelDescription m_audioChannelDescription;
};

} // namespace reelwright
