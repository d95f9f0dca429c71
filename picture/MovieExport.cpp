#include "picture/MovieExport.h"

#include "movie/FrameRate.h"
#include "movie/QTMetaData.h"
#include "movie/samples/TimecodeMedia.h"
#include "picture/PictureLoader.h"
#include "support/FileHelper.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace reelwright {
namespace {

    using picture::ExportSettings;
    using picture::Seconds;

    tl::unexpected<MovieError> refusal(const std::string& where, std::string sentence)
    {
        return failure(MovieError::Code::Refused, where, std::move(sentence));
    }

    Seconds secondsOf(const QTTime& time)
    {
        return {time.value, std::max(time.scale, 1)};
    }

    /// The texts of the metadata under the names that FFmpeg's muxers know.
    std::vector<std::pair<std::string, std::string>> metadataOf(const QTMovie& movie)
    {
        struct Name
        {
            const char* key;
            const char* name;
        };
        constexpr Name kNames[] = {
            {"com.apple.quicktime.displayname", "title"},
            {"com.apple.quicktime.title", "title"},
            {"com.apple.quicktime.author", "author"},
            {"com.apple.quicktime.artist", "artist"},
            {"com.apple.quicktime.album", "album"},
            {"com.apple.quicktime.comment", "comment"},
            {"com.apple.quicktime.copyright", "copyright"},
            {"com.apple.quicktime.description", "description"},
            {"com.apple.quicktime.genre", "genre"},
            {"com.apple.quicktime.keywords", "keywords"},
            {"\u00A9nam", "title"},
            {"\u00A9cpy", "copyright"},
            {"\u00A9cmt", "comment"},
            {"\u00A9ART", "artist"},
        };
        std::vector<std::pair<std::string, std::string>> texts;
        for (const auto& item : QTMetaData::ofMovie(movie).items())
            for (const auto& name : kNames) {
                if (item.shownKey() != name.key)
                    continue;
                if (auto text = item.text())
                    texts.emplace_back(name.name, std::move(*text));
            }
        return texts;
    }

    std::string timecodeAt(const QTMovie& movie, const QTTime& time)
    {
        for (const auto& track : movie.tracksOfMediaType(QTMediaTypeTimeCode))
            if (const auto reading = timecodeMedia::atMovieTime(track, time); reading && *reading)
                return (*reading)->text;
        return {};
    }

    /// Takes the hidden file away unless it was kept.
    class HiddenFile
    {
    public:
        explicit HiddenFile(const std::string& path)
        {
            const auto name = path.rfind('/') + 1;
            // The extension stays: some muxers go by it.
            const auto dot = path.rfind('.');
            const auto extension = dot != std::string::npos && dot > name ? path.substr(dot) : std::string {};
            m_path = FileHelper::uniqueFilename(fmt::format("{}.{}.export{}", path.substr(0, name),
                path.substr(name, path.size() - name - extension.size()), extension));
        }
        HiddenFile(const HiddenFile&) = delete;
        HiddenFile& operator=(const HiddenFile&) = delete;
        ~HiddenFile()
        {
            if (!m_isKept)
                ::unlink(m_path.c_str());
        }

        [[nodiscard]] const std::string& path() const { return m_path; }

        Result<void> moveTo(const std::string& target, bool overwrite)
        {
            const int file = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
            if (file < 0 || ::fsync(file) != 0) {
                const int error = errno;
                if (file >= 0)
                    ::close(file);
                return systemFailure(error, target, "cannot be written");
            }
            ::close(file);
            const int moved = ::renameat2(
                AT_FDCWD, m_path.c_str(), AT_FDCWD, target.c_str(), overwrite ? 0 : RENAME_NOREPLACE);
            if (moved != 0)
                return systemFailure(errno, target, "cannot be made");
            m_isKept = true;
            return {};
        }

    private:
        std::string m_path;
        bool m_isKept = false;
    };

    /// Is there room for half of what the export is going to take? More exactly that is not known.
    Result<void> checkRoom(const std::string& path, std::uint64_t estimate)
    {
        const auto least = std::max<std::uint64_t>(16U << 20U, estimate / 2);
        struct statvfs volume = {};
        const auto folder = std::filesystem::absolute(path).parent_path().string();
        if (::statvfs(folder.c_str(), &volume) != 0)
            return systemFailure(errno, folder, "cannot be written to");
        const auto free = std::uint64_t {volume.f_bavail} * volume.f_frsize;
        if (free < least)
            return refusal(folder,
                fmt::format("{} MB are free on this volume, and the export needs about {} MB; choose another "
                            "place, or make room",
                    free >> 20U, std::max(estimate, least) >> 20U));
        return {};
    }

    Result<ExportSettings> settingsFor(const QTMovie& movie, const ExportJob& job)
    {
        auto settings = job.format->settings;
        const auto& choices = job.choices;
        auto length = movie.duration();
        if (!choices.video)
            settings.videoEncoder.clear();
        if (!choices.audio)
            settings.audioEncoder.clear();
        if (settings.videoEncoder.empty() && settings.audioEncoder.empty() && !settings.copiesMedia)
            return refusal(job.path, "neither picture nor sound is to be exported; take one of them");
        if (choices.quality) {
            std::erase_if(settings.videoOptions, [](const auto& option) { return option.first == "crf"; });
            settings.videoOptions.emplace_back("crf", std::to_string(*choices.quality));
        }
        if (choices.videoBitRate) {
            std::erase_if(settings.videoOptions, [](const auto& option) { return option.first == "crf"; });
            settings.videoBitRate = *choices.videoBitRate;
        }
        settings.audioBitRate = choices.audioBitRate.value_or(settings.audioBitRate);
        settings.width = choices.width.value_or(0);
        settings.height = choices.height.value_or(0);
        if (choices.frameRate)
            std::tie(settings.rateNumerator, settings.rateDenominator) = *choices.frameRate;
        settings.channels = choices.channels.value_or(settings.channels);
        settings.sampleRate = choices.sampleRate.value_or(settings.sampleRate);
        settings.mixesSound = choices.mix.value_or(settings.mixesSound);
        settings.keepsColor = choices.color;
        settings.burnsTimecode = choices.burnTimecode;
        if (choices.hardware && !settings.videoEncoder.empty()) {
            const auto encoder = MovieExport::hardwareEncoder(*job.format);
            if (encoder.empty())
                return refusal(job.path, "this machine's hardware does not encode this format; export without \"hardware\"");
            settings.videoEncoder = encoder;
            settings.videoOptions.clear();
            settings.pixelFormats = {"yuv420p", "nv12"};
            if (settings.videoBitRate == 0)
                if (const auto estimate = MovieExport::estimate(movie, job); length.value > 0)
                    settings.videoBitRate = std::max<std::int64_t>(200'000,
                        static_cast<std::int64_t>(static_cast<double>(estimate.bytes) * 8 / length.seconds()));
        }
        settings.trackIDs = playingTracks(movie);
        settings.metadata = metadataOf(movie);
        auto start = QTTime {0, movie.timeScale()};
        if (job.range) {
            if (job.range->end <= job.range->start)
                return refusal(job.path, "the range to export ends before it begins");
            settings.hasRange = true;
            settings.rangeStart = secondsOf(job.range->start);
            settings.rangeEnd = secondsOf(job.range->end);
            start = job.range->start;
            length = job.range->end - job.range->start;
        }
        settings.duration = secondsOf(length);
        if (settings.muxer == "mov" || settings.muxer == "mp4" || settings.muxer == "mxf" || settings.burnsTimecode)
            settings.timecode = timecodeAt(movie, start);
        return settings;
    }

    Result<void> runSequence(picture::PictureLibrary& library, picture::ByteSource& source,
        const ExportSettings& settings, const ExportJob& job, const picture::ExportReport& report,
        const QTMovie& movie)
    {
        const std::filesystem::path whole = job.path;
        // Numbered files stand in a folder of their own, which takes its name when all are there.
        std::string hidden = FileHelper::uniqueFilename(
            (whole.parent_path() / ("." + whole.filename().string() + ".export")).string());
        std::error_code error;
        if (!std::filesystem::create_directory(hidden, error))
            return failure(MovieError::Code::Io, hidden, "the folder cannot be made: " + error.message());
        const auto pattern
            = fmt::format("{}/{}_%06d.{}", hidden, whole.stem().string(), job.format->extension);
        bool wasStopped = false;
        auto done
            = pictureResult(library.exportMovie(source, settings, pattern, report, wasStopped), movie);
        if (done && wasStopped)
            done = failure(MovieError::Code::Cancelled, job.path, "the export was cancelled");
        if (done && job.overwrite)
            std::filesystem::remove_all(job.path, error);
        if (done && ::renameat2(AT_FDCWD, hidden.c_str(), AT_FDCWD, job.path.c_str(), RENAME_NOREPLACE) != 0)
            done = systemFailure(errno, job.path, "cannot be made");
        if (!done)
            std::filesystem::remove_all(hidden, error);
        return done;
    }

} // namespace

Result<ExportChoices> ExportChoices::parse(const std::string& text)
{
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object())
        return refusal(
            {}, "settings are a JSON object such as {\"quality\": 18, \"width\": 1280, \"height\": 720}");
    ExportChoices choices;
    for (const auto& [name, value] : json.items()) {
        const auto whole = [&](std::int64_t least, std::int64_t most) -> Result<std::int64_t> {
            if (!value.is_number_integer() || value.get<std::int64_t>() < least
                || value.get<std::int64_t>() > most)
                return refusal(
                    {}, fmt::format("\"{}\" takes a whole number from {} to {}", name, least, most));
            return value.get<std::int64_t>();
        };
        constexpr std::int64_t kMostPixels = 32768;
        if (name == "quality") {
            RW_TRY(const auto number, whole(0, 63));
            choices.quality = static_cast<int>(number);
        } else if (name == "videoBitRate") {
            RW_TRY(choices.videoBitRate, whole(1000, 10'000'000'000));
        } else if (name == "audioBitRate") {
            RW_TRY(choices.audioBitRate, whole(1000, 10'000'000));
        } else if (name == "width" || name == "height") {
            RW_TRY(const auto number, whole(1, kMostPixels));
            (name == "width" ? choices.width : choices.height) = static_cast<int>(number);
        } else if (name == "channels") {
            RW_TRY(const auto number, whole(1, 16));
            choices.channels = static_cast<int>(number);
        } else if (name == "sampleRate") {
            RW_TRY(const auto number, whole(1000, 768'000));
            choices.sampleRate = static_cast<int>(number);
        } else if (name == "video" || name == "audio" || name == "mix" || name == "color"
            || name == "burnTimecode" || name == "hardware") {
            if (!value.is_boolean())
                return refusal({}, fmt::format("\"{}\" takes true or false", name));
            const bool is = value.get<bool>();
            if (name == "mix")
                choices.mix = is;
            else
                (name == "video"               ? choices.video
                        : name == "audio"        ? choices.audio
                        : name == "color"        ? choices.color
                        : name == "burnTimecode" ? choices.burnTimecode
                                                 : choices.hardware)
                    = is;
        } else if (name == "frameRate") {
            int numerator = 0;
            int denominator = 1;
            const auto rate = value.is_string() ? value.get<std::string>()
                : value.is_number()             ? value.dump()
                                                : "";
            char rest = 0;
            double plain = 0;
            if (std::sscanf(rate.c_str(), "%d/%d%c", &numerator, &denominator, &rest) != 2
                && std::sscanf(rate.c_str(), "%lf%c", &plain, &rest) == 1) {
                // 23.976, 29.97, 59.94 and the like stand for the exact rates.
                const auto nominal = static_cast<int>(plain + 0.999);
                const bool isNtsc = plain != nominal && std::abs(plain - nominal * 1000.0 / 1001.0) < 0.01;
                numerator = isNtsc ? nominal * 1000 : static_cast<int>(plain * 1000 + 0.5);
                denominator = isNtsc ? 1001 : 1000;
            }
            if (numerator <= 0 || denominator <= 0)
                return refusal({}, "\"frameRate\" takes a rate such as 25, 29.97 or \"30000/1001\"");
            choices.frameRate = std::pair {numerator, denominator};
        } else {
            return refusal({},
                fmt::format("there is no setting \"{}\"; there are quality, videoBitRate, audioBitRate, "
                            "width, height, frameRate, channels, sampleRate, video, audio, mix, color, "
                            "burnTimecode and hardware",
                    name));
        }
    }
    if (choices.width.has_value() != choices.height.has_value())
        return refusal({}, "\"width\" and \"height\" are given together");
    return choices;
}

std::string ExportChoices::toJson() const
{
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    const auto add = [&](const char* name, const auto& value) {
        if (value)
            json[name] = *value;
    };
    add("quality", quality);
    add("videoBitRate", videoBitRate);
    add("audioBitRate", audioBitRate);
    add("width", width);
    add("height", height);
    if (frameRate)
        json["frameRate"] = fmt::format("{}/{}", frameRate->first, frameRate->second);
    add("channels", channels);
    add("sampleRate", sampleRate);
    if (!video)
        json["video"] = false;
    if (!audio)
        json["audio"] = false;
    add("mix", mix);
    if (!color)
        json["color"] = false;
    if (burnTimecode)
        json["burnTimecode"] = true;
    if (hardware)
        json["hardware"] = true;
    return json.dump();
}

std::string MovieExport::hardwareEncoder(const ExportFormat& format)
{
    const auto library = pictureLibrary();
    return library && !format.settings.videoEncoder.empty()
        ? (*library)->hardwareEncoder(format.settings.videoEncoder)
        : std::string {};
}

MovieExport::Estimate MovieExport::estimate(const QTMovie& movie, const ExportJob& job)
{
    const auto& settings = job.format->settings;
    const auto& choices = job.choices;
    const double whole = movie.duration().seconds();
    const double seconds = job.range ? (job.range->end - job.range->start).seconds() : whole;
    Estimate result;
    if (seconds <= 0)
        return result;
    double bits = 0;
    const auto average = FrameRate::averageOfPicture(movie);
    const double rate = choices.frameRate ? static_cast<double>(choices.frameRate->first) / choices.frameRate->second
        : average                         ? static_cast<double>(average->num) / static_cast<double>(average->den)
                                          : 0;
    const bool hasPicture = choices.video && (settings.copiesMedia || !settings.videoEncoder.empty());
    if (hasPicture)
        result.pictures = std::llround(rate * seconds);
    if (settings.copiesMedia) {
        if (movie.file() && whole > 0)
            bits = 8 * static_cast<double>(movie.file()->state.size) * seconds / whole;
    } else {
        if (const auto videoRate = choices.videoBitRate.value_or(settings.videoBitRate); hasPicture && videoRate > 0) {
            bits += static_cast<double>(videoRate) * seconds;
        } else if (hasPicture) {
            const auto size = movie.naturalSize();
            const double pixels = choices.width && choices.height ? double(*choices.width) * *choices.height
                                                                  : double(size.width) * double(size.height);
            bits += job.format->bitsPerPixel * pixels * static_cast<double>(result.pictures);
        }
        if (choices.audio && !settings.audioEncoder.empty())
            for (const auto& track : movie.tracksOfMediaType(QTMediaTypeSound))
                if (track.isEnabled()) {
                    constexpr double kPlain = 48'000.0 * 24 * 2;
                    const auto soundRate = choices.audioBitRate.value_or(settings.audioBitRate);
                    bits += (soundRate > 0 ? static_cast<double>(soundRate) : kPlain) * seconds;
                    if (choices.mix.value_or(settings.mixesSound))
                        break;
                }
    }
    result.bytes = static_cast<std::uint64_t>(bits / 8);
    return result;
}

Result<void> MovieExport::run(
    const QTMovie& movie, const ExportJob& job, const picture::ExportReport& report)
{
    RW_TRY(auto* const library, pictureLibrary());
    std::error_code error;
    if (std::filesystem::exists(job.path, error)) {
        if (!movie.fileName().empty() && std::filesystem::equivalent(job.path, movie.fileName(), error))
            return refusal(job.path, "this is the movie's own file; export to another one");
        if (!job.overwrite)
            return refusal(job.path, "the file exists; --overwrite replaces it");
    }
    RW_CHECK(checkRoom(job.path, estimate(movie, job).bytes));
    RW_TRY(const auto settings, settingsFor(movie, job));
    RW_TRY(const auto source, pictureSource(movie));
    if (settings.isImageSequence)
        return runSequence(*library, *source, settings, job, report, movie);
    HiddenFile hidden {job.path};
    bool wasStopped = false;
    RW_CHECK(
        pictureResult(library->exportMovie(*source, settings, hidden.path(), report, wasStopped), movie));
    if (wasStopped)
        return failure(MovieError::Code::Cancelled, job.path, "the export was cancelled");
    return hidden.moveTo(job.path, job.overwrite);
}

Result<Bytes> FrameExport::image(const QTMovie& movie, const QTTime& time, const std::string& extension)
{
    Bytes image;
    RW_CHECK(images(movie, {time}, extension, [&](std::size_t, const Bytes& file) -> Result<void> {
        image = file;
        return {};
    }));
    return image;
}

Result<void> FrameExport::images(const QTMovie& movie, const std::vector<QTTime>& times,
    const std::string& extension, const std::function<Result<void>(std::size_t, const Bytes&)>& take)
{
    RW_TRY(auto* const library, pictureLibrary());
    RW_TRY(const auto source, pictureSource(movie));
    std::vector<Seconds> seconds;
    for (const auto& time : times)
        seconds.push_back(secondsOf(time));
    Result<void> taken;
    const auto text = library->stills(*source, playingTracks(movie), seconds, extension,
        [&](std::size_t index, std::span<const std::uint8_t> file) {
            taken = take(index, Bytes::copyOf(std::as_bytes(file)));
            return taken.has_value();
        });
    RW_CHECK(pictureResult(text, movie));
    return taken;
}

Result<void> FrameExport::thumbnails(const QTMovie& movie, const std::vector<QTTime>& times, int mostWidth,
    int mostHeight, const std::function<bool(std::size_t, const picture::Pixels&)>& take)
{
    RW_TRY(auto* const library, pictureLibrary());
    RW_TRY(const auto source, pictureSource(movie));
    std::vector<Seconds> seconds;
    for (const auto& time : times)
        seconds.push_back(secondsOf(time));
    return pictureResult(
        library->pictures(*source, playingTracks(movie), seconds, mostWidth, mostHeight, take), movie);
}

std::string FrameExport::numbered(const std::string& path, std::size_t index)
{
    const std::filesystem::path whole = path;
    return (whole.parent_path()
        / fmt::format("{}-{:06}{}", whole.stem().string(), index + 1, whole.extension().string()))
        .string();
}

Result<void> FrameExport::write(const std::string& path, const Bytes& image, bool overwrite)
{
    if (std::error_code error; !overwrite && std::filesystem::exists(path, error))
        return refusal(path, "the file exists; --overwrite replaces it");
    const auto bytes = image.span();
    if (const auto error = FileHelper::writeAtomically(
            path, std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size())))
        return systemFailure(error.value(), path, "cannot be written");
    return {};
}

Result<std::vector<QTTime>> FrameExport::timesEvery(const QTMovie& movie, const QTTime& step)
{
    constexpr std::size_t kMost = 100'000;
    if (step.value <= 0)
        return refusal(movie.fileName(), "pictures can only be taken at steps that are longer than nothing");
    std::vector<QTTime> times;
    for (QTTime time {0, movie.timeScale()}; time < movie.duration(); time = time + step) {
        if (times.size() == kMost)
            return refusal(movie.fileName(), "these would be more than 100000 pictures; take a longer step");
        times.push_back(time);
    }
    return times;
}

Result<Bytes> FrameExport::sheet(const QTMovie& movie, int columns, int rows,
    const std::function<std::string(const QTTime&)>& text, const std::function<bool(std::size_t)>& goOn)
{
    constexpr int kWidth = 240; // pixels of one picture
    const auto length = movie.duration();
    const auto count = std::int64_t {columns} * rows;
    std::vector<QTTime> times;
    std::vector<std::string> texts;
    for (std::int64_t i = 0; i < count; ++i) { // from the middle of each of as many parts
        times.push_back({(2 * i + 1) * length.value / (2 * count), length.scale});
        texts.push_back(text(times.back()));
    }
    std::vector<picture::Pixels> pictures;
    RW_CHECK(thumbnails(movie, times, kWidth, kWidth, [&](std::size_t index, const picture::Pixels& picture) {
        pictures.push_back(picture);
        return !goOn || goOn(index);
    }));
    if (pictures.size() < times.size())
        return failure(MovieError::Code::Cancelled, movie.fileName(), "it was cancelled");
    RW_TRY(auto* const library, pictureLibrary());
    std::vector<std::uint8_t> file;
    RW_CHECK(pictureResult(library->sheet(pictures, texts, columns, file), movie));
    return Bytes::copyOf(std::as_bytes(std::span {file}));
}

} // namespace reelwright
