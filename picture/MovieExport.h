#pragma once

#include "movie/QTTrack.h"
#include "picture/modules/PictureModule.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace reelwright {

/// A kind of file that movies can be exported to, as the list of formats shows it.
struct ExportFormat
{
    const char* name; ///< "ProRes 422 HQ", what --format takes
    const char* extension; ///< "mov"
    const char* description;
    picture::ExportSettings settings; ///< what it starts with
    /// About how many bits a pixel takes, where that is not given as a rate; 0 for none.
    double bitsPerPixel = 0;
};

/// What can be chosen beside the format. Read from and written as a JSON text, as it is remembered.
struct ExportChoices
{
    std::optional<int> quality; ///< of constant-quality encoders, the lower the better
    std::optional<std::int64_t> videoBitRate; ///< bits a second
    std::optional<std::int64_t> audioBitRate; ///< bits a second
    std::optional<int> width; ///< pixels, with height
    std::optional<int> height;
    std::optional<std::pair<int, int>> frameRate; ///< 30000, 1001
    std::optional<int> channels;
    std::optional<int> sampleRate; ///< Hz
    bool video = true;
    bool audio = true;
    std::optional<bool> mix; ///< all sound tracks into one
    bool color = true; ///< keep the tags that say what the colours mean
    bool burnTimecode = false; ///< the timecode into the picture
    bool hardware = false; ///< the encoder of this machine's hardware

    /// {"quality", "videoBitRate", "audioBitRate", "width", "height", "frameRate": "30000/1001" or a number,
    /// "channels", "sampleRate", "video", "audio", "mix", "color", "burnTimecode", "hardware"}, all optional.
    /// Errors: Refused, naming what is not known.
    static Result<ExportChoices> parse(const std::string& json);
    [[nodiscard]] std::string toJson() const;
};

/// From the first to before the last time of the movie.
struct ExportRange
{
    QTTime start;
    QTTime end;
};

/// A job of an export; a value that a thread may have to itself.
struct ExportJob
{
    const ExportFormat* format = nullptr;
    ExportChoices choices;
    std::optional<ExportRange> range;
    std::string path;
    bool overwrite = false;
};

/// Writes movies as other files. What is exported is the edited movie: the tracks that play, edit lists,
/// turns, the shape of pixels, timecode and texts of the metadata where the target takes them.
class MovieExport
{
public:
    /// The formats that this machine can write, by name.
    static Result<std::vector<const ExportFormat*>> availableFormats();
    /// The format of that name, upper and lower case alike, or nothing.
    static const ExportFormat* formatNamed(std::string_view name);

    /// The name of the hardware encoder that can stand in for that format's; empty for none that works.
    /// Tries it with a picture, once.
    static std::string hardwareEncoder(const ExportFormat& format);
    /// The pictures that the job writes, and about how many bytes; 0 where that cannot be said.
    struct Estimate
    {
        std::int64_t pictures = 0;
        std::uint64_t bytes = 0;
    };
    static Estimate estimate(const QTMovie& movie, const ExportJob& job);

    /// Writes to a hidden sibling, which takes the target's name when it is complete; of one that fails or is
    /// stopped nothing stays. Errors: Refused for the movie's own file, an existing one (unless `overwrite`),
    /// a full disk, hardware that does not encode; Cancelled when `report` stopped it.
    static Result<void> run(
        const QTMovie& movie, const ExportJob& job, const picture::ExportReport& report = {});
};

/// Single pictures of a movie.
class FrameExport
{
public:
    /// The picture at a time of the movie as the bytes of an image file: "png", "jpg", "tif" or "bmp". At the
    /// natural size, turned, in square pixels, with 16 bits a colour where the picture has more than eight
    /// and the file can.
    static Result<Bytes> image(const QTMovie& movie, const QTTime& time, const std::string& extension);
    /// The same for several times, which ascend.
    static Result<void> images(const QTMovie& movie, const std::vector<QTTime>& times,
        const std::string& extension,
        const std::function<Result<void>(std::size_t index, const Bytes&)>& take);
    /// Small pictures for lists, no larger than that.
    static Result<void> thumbnails(const QTMovie& movie, const std::vector<QTTime>& times, int mostWidth,
        int mostHeight, const std::function<bool(std::size_t index, const picture::Pixels&)>& take);
    /// A sheet of that many columns and rows of pictures from the whole movie with a text under each, as a
    /// PNG file.
    static Result<Bytes> sheet(
        const QTMovie& movie, int columns, int rows, const std::function<std::string(const QTTime&)>& text,
        const std::function<bool(std::size_t index)>& goOn = {});
    /// "still-000001.png" for "still.png" and 0.
    static std::string numbered(const std::string& path, std::size_t index);
    /// Writes an image under that name, all or nothing. Errors: Refused when there is such a file (unless
    /// `overwrite`); Io.
    static Result<void> write(const std::string& path, const Bytes& image, bool overwrite);
    /// Every so much of the movie, from its start on. Errors: Refused for a step of nothing, and for one that
    /// would make more than a hundred thousand.
    static Result<std::vector<QTTime>> timesEvery(const QTMovie& movie, const QTTime& step);
};

} // namespace reelwright
