#include "tracks/KWMovTrack.h"

#include "support/KWLog.h"

namespace reelwright {
namespace {

    struct TrackType
    {
        KWMovTrack::TypeCode code;
        FourCC mediaType;
        std::string_view name;
    };

    constexpr TrackType kTypes[] = {
        {KWMovTrack::kMovie, FourCC {}, "Movie"},
        {KWMovTrack::kVideo, QTMediaTypeVideo, "Video"},
        {KWMovTrack::kAudio, QTMediaTypeSound, "Audio"},
        {KWMovTrack::kTimecode, QTMediaTypeTimeCode, "Timecode"},
        {KWMovTrack::kText, QTMediaTypeText, "Text"},
        {KWMovTrack::kSprite, QTMediaTypeSprite, "Sprite"},
        {KWMovTrack::kCaptions, QTMediaTypeClosedCaption, "Captions"},
    };

    std::optional<int> typeCodeOf(FourCC mediaType)
    {
        for (const auto& type : kTypes)
            if (type.code != KWMovTrack::kMovie && type.mediaType == mediaType)
                return type.code;
        return std::nullopt;
    }

} // namespace

KWMovTrack KWMovTrack::trackWithQTTrack(const QTTrack& track)
{
    KWMovTrack record {track};
    const auto header = track.header();
    record.m_trackID = header.trackID;
    record.m_enabled = (header.flags & TrackHeader::kEnabled) != 0;
    record.m_trackType = typeCodeOf(track.mediaType());
    if (record.m_trackType != kAudio)
        return record;
    if (const auto description = track.media().sampleDescription(1))
        if (const auto sound = description->sound()) {
            record.m_channels = sound->channels;
            if (!sound->channelList.empty())
                record.m_audioChannelDescription = sound->channelList.front();
        }
    return record;
}

std::optional<KWMovTrack> KWMovTrack::trackWithQuickTimeTrack(const QTTrack& track)
{
    if (!track.isValid()) {
        KWLog::appendLog("Error adding track: {}", "the movie has no such track");
        return std::nullopt;
    }
    return trackWithQTTrack(track);
}

std::optional<KWMovTrack> KWMovTrack::firstTrackOfType(int typeCode, const QTMovie& movie)
{
    for (const auto& type : kTypes)
        if (type.code == typeCode && typeCode >= kVideo && typeCode <= kSprite)
            if (const auto track = movie.firstTrackOfMediaType(type.mediaType))
                return trackWithQTTrack(*track);
    return std::nullopt;
}

std::string_view KWMovTrack::typeName(std::optional<int> typeCode)
{
    for (const auto& type : kTypes)
        if (type.code == typeCode)
            return type.name;
    return "Unknown";
}

} // namespace reelwright
