#pragma once

#include "movie/samples/TextStyle.h"
#include "movie/samples/TimecodeMedia.h"
#include "report/MetadataFacts.h"
#include "timecode/TimecodeSurvey.h"
#include "tracks/TrackPlaces.h"

namespace reelwright {

/// A time, and how it reads as a timecode at the frame rate of the movie's first video track.
struct TimeFact
{
    QTTime time;
    std::string timecode;
};

/// What a timecode track says at its beginning.
struct TimecodeFacts
{
    std::string start;
    std::int64_t startFrame = 0;
    TimecodeDescription description;
};

/// Pixels; nothing where the file does not say.
struct PixelSize
{
    double width = 0;
    double height = 0;
};

/// The aperture dimensions of a video track (`tapt`).
struct ApertureFacts
{
    std::optional<PixelSize> clean;
    std::optional<PixelSize> production;
    std::optional<PixelSize> encoded;
};

/// What the first sample description of a video track says about showing its pixels.
struct AttributeFacts
{
    VideoDescription video;
    std::optional<PixelAspectRatio> pixelAspectRatio;
    std::optional<std::uint32_t> gamma; ///< 16.16 fixed point
    std::optional<ColorParameters> color;
    std::string colorSpace; ///< the name, "other" for a profile without one, empty for none
    std::optional<FieldLayout> fieldLayout;
    std::size_t descriptions = 0; ///< of the track; those behind the first are not told
};

/// A text of a text track.
struct TextFact
{
    std::string text;
    TimeFact start;
    TimeFact end;
    TextStyle style;
    bool operator==(const TextFact& other) const
    {
        return text == other.text && start.time == other.start.time && end.time == other.end.time
            && style == other.style;
    }
};

struct TrackFacts
{
    std::uint32_t id = 0;
    const TrackKind* kind = nullptr;
    std::string typeName; ///< "Video"
    std::string placeName; ///< "v1"
    FourCC mediaType;
    std::string name;
    bool enabled = false;
    TimeFact in;
    TimeFact duration;
    std::int32_t mediaTimeScale = 0;
    std::int64_t mediaDuration = 0;
    std::uint32_t sampleCount = 0;
    double frameRate = 0; ///< samples of the table a second, on average
    double sampleRate = 0; ///< of sound, Hz; 0 where it is not known
    std::optional<FourCC> format; ///< of the first sample description
    std::optional<PixelSize> size; ///< encoded pixels of video, the box of other visual tracks
    Matrix matrix;
    std::uint32_t channels = 0;
    std::string channelLabel; ///< of the first channel, empty when it has none
    double volume = 0; ///< 1 is full
    std::optional<double> balance; ///< of sound: from -1, left, to 1, right
    int layer = 0; ///< tracks of lower layers stand in front
    int alternateGroup = 0; ///< of tracks of one group one plays; 0 is none
    std::string language; ///< of the media: "eng", "English"; empty when it is not said
    std::map<FourCC, std::vector<std::uint32_t>> references;
    std::optional<TimecodeFacts> timecode;
    std::string timecodeProblem; ///< why a timecode track has none
    std::optional<ApertureFacts> apertures;
    std::optional<AttributeFacts> attributes; ///< of video
    std::optional<PixelSize> shownSize; ///< of video: before the matrix
    std::vector<MetadataFact> metadata;
    /// Of a text track that is not the list of chapters; nothing where they cannot be read.
    std::optional<std::vector<TextFact>> texts;
};

struct ChapterFact
{
    std::string name;
    TimeFact start;
};

/// What the reports tell about a movie, gathered once. Holds nothing of the movie itself but the
/// bytes of its metadata, which are shared.
struct MovieFacts
{
    std::string file;
    std::uint64_t size = 0; ///< bytes
    FourCC brand; ///< zero where the file has none
    bool isMovieFile = true; ///< and not a sound or DV file that was opened as a movie
    std::optional<std::string> hindrance; ///< why the file cannot be updated in place
    bool needsFlattening = false; ///< are some of its media in other files?
    bool fragmented = false;
    TimeFact duration;
    std::int64_t durationInFrames = 0;
    double frameRate = 0; ///< of the first video track, 0 without one
    int timebase = 0;
    bool ntsc = false;
    bool dropFrame = false;
    QTSize naturalSize;
    bool autoPlay = false;
    bool autoClose = false;
    bool autoQuit = false;
    FourCC controller; ///< zero where the movie says nothing
    FourCC apertureMode; ///< zero where the movie says nothing
    std::vector<MetadataFact> metadata;
    std::string startTimecode; ///< empty where the timecode track cannot be read
    TimecodeSurvey timecodes; ///< every place that carries one, without files beside the movie
    std::vector<ChapterFact> chapters;
    std::vector<TrackFacts> tracks; ///< in ascending order of their IDs
    std::vector<std::string> warnings;

    static MovieFacts of(const QTMovie& movie);
};

/// The reason of an error about `file`, without the file's name where the error begins with it.
std::string reasonFor(const MovieError& error, const std::string& file);

/// What was noted when the movie was opened, the first hundred and the number of those left out.
std::vector<std::string> warningTexts(const QTMovie& movie);

} // namespace reelwright
