#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

/// Decoding and encoding in a module of its own, which is loaded when the first picture is asked for: the
/// libraries for it take longer to load than all of the rest of the program. Only these plain types cross
/// the border; no exception does. A text that a call answers is the reason of its failure, empty for none.
namespace reelwright::picture {

inline constexpr const char* kPictureModule = "reelwright-picture.so";
inline constexpr const char* kMakePictureLibrary = "reelwrightPictureLibrary";

/// A movie as bytes.
class ByteSource
{
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;
    [[nodiscard]] virtual std::uint64_t size() const = 0;
    /// Fills `out` from `offset`; answers the bytes read, fewer only at the end, and -1 for a failure.
    virtual std::int64_t readAt(std::uint64_t offset, std::span<std::byte> out) = 0;
};

/// Exact seconds.
struct Seconds
{
    std::int64_t value = 0;
    std::int64_t scale = 1;
};

/// A decoded picture as it is shown: turned, pixels of 8 bits in the order red, green, blue.
struct Pixels
{
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;
};

/// How far an export is.
struct ExportProgress
{
    double fraction = 0; ///< from 0 to 1
    std::int64_t pictures = 0; ///< that were written
    std::uint64_t bytes = 0; ///< of the target, so far
};
/// Hears how far it is, and stops it by answering false.
using ExportReport = std::function<bool(const ExportProgress&)>;

/// What an export makes.
struct ExportSettings
{
    std::string muxer; ///< FFmpeg's name of the container
    bool copiesMedia = false; ///< the same media in another container: nothing is decoded
    std::string videoEncoder; ///< empty: no picture
    std::string audioEncoder; ///< empty: no sound
    std::vector<std::string> pixelFormats; ///< the first one that loses nothing, else the first
    std::vector<std::pair<std::string, std::string>> videoOptions; ///< of the encoder: profile, crf, ...
    std::vector<std::pair<std::string, std::string>> muxerOptions;
    std::int64_t videoBitRate = 0; ///< bits a second; 0: the encoder's own way
    std::int64_t audioBitRate = 0;
    int width = 0; ///< pixels shown; 0: as it is
    int height = 0;
    int rateNumerator = 0; ///< frames a second; 0: as they are
    int rateDenominator = 1;
    int channels = 0; ///< of each sound; 0: as they are
    int sampleRate = 0; ///< Hz; 0: as it is
    bool mixesSound = false; ///< all sound tracks into one
    bool isImageSequence = false;
    bool squarePixels = false; ///< the target knows no other shape
    bool keepsColor = true; ///< the tags that say what the colours mean
    bool burnsTimecode = false; ///< `timecode`, counting, into the picture
    std::vector<int> trackIDs; ///< the tracks that play
    bool hasRange = false;
    Seconds rangeStart;
    Seconds rangeEnd;
    std::string timecode; ///< of the first frame; empty for none
    std::vector<std::pair<std::string, std::string>> metadata;
    Seconds duration; ///< of what is exported, for the progress
};

class PictureLibrary
{
public:
    PictureLibrary() = default;
    PictureLibrary(const PictureLibrary&) = delete;
    PictureLibrary& operator=(const PictureLibrary&) = delete;
    virtual ~PictureLibrary() = default;

    virtual bool hasEncoder(const std::string& name) = 0;
    virtual bool hasMuxer(const std::string& name) = 0;
    /// The encoder of this machine's hardware for what that encoder makes, tried with a picture; empty where
    /// there is none that works.
    virtual std::string hardwareEncoder(const std::string& name) = 0;

    /// Writes the movie to `path`. `wasStopped` becomes true when `report` stopped it.
    virtual std::string exportMovie(ByteSource& movie, const ExportSettings& settings,
        const std::string& path, const ExportReport& report, bool& wasStopped)
        = 0;

    /// The picture that the movie shows at each of these times, which ascend, as an image file of that type
    /// ("png", "jpg", "tif", "bmp"). `take` gets each and can stop it.
    virtual std::string stills(ByteSource& movie, const std::vector<int>& trackIDs,
        const std::vector<Seconds>& times, const std::string& type,
        const std::function<bool(std::size_t index, std::span<const std::uint8_t> file)>& take)
        = 0;
    /// The same as pixels, no larger than that (0: as large as they are), in the shape that is shown.
    virtual std::string pictures(ByteSource& movie, const std::vector<int>& trackIDs,
        const std::vector<Seconds>& times, int mostWidth, int mostHeight,
        const std::function<bool(std::size_t index, const Pixels& picture)>& take)
        = 0;
    /// Pictures of one size as a sheet of that many columns with a text under each, as a PNG file.
    virtual std::string sheet(const std::vector<Pixels>& pictures, const std::vector<std::string>& texts,
        int columns, std::vector<std::uint8_t>& file)
        = 0;
};

using MakePictureLibrary = PictureLibrary*();

} // namespace reelwright::picture

extern "C" reelwright::picture::MakePictureLibrary reelwrightPictureLibrary;
