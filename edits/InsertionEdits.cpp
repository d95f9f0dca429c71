#include "edits/InsertionEdits.h"

#include "edits/TrackEdits.h"
#include "tracks/TrackInsertion.h"

#include <fmt/format.h>

#include <charconv>

namespace reelwright::edits {
namespace {

    std::string fileNameOf(const std::string& path)
    {
        return path.substr(path.rfind('/') + 1);
    }

    std::string sourceOption(int type, std::size_t place)
    {
        return place == kFirstOfKind
            ? std::string {}
            : fmt::format(" --source-track {}{}", type == KWMovTrack::kVideo ? "v" : "a", place);
    }

    Result<void> addMediaTo(
        const TrackSelector& selector, const std::string& path, std::size_t sourcePlace, QTMovie& movie)
    {
        RW_TRY(const auto tracks, selector.select(movie));
        for (const auto& track : tracks)
            RW_CHECK(TrackInsertion::addMediaFromFile(path, sourcePlace, track, movie));
        return {};
    }

    Result<void> removeAllMediaOf(const TrackSelector& selector, QTMovie& movie)
    {
        return forSelected(movie, selector,
            [&](const QTTrack& track) { return TrackInsertion::removeAllMedia(track, movie); });
    }

    Result<KWMovTrack> insertEmpty(int type, std::optional<QTSize> size, QTMovie& movie)
    {
        const auto natural = movie.naturalSize();
        if (type == KWMovTrack::kVideo && !size && (natural.width <= 0 || natural.height <= 0))
            return failure(MovieError::Code::Refused, {},
                "the movie has no picture whose size the new track could have; give it as "
                "video=WIDTHxHEIGHT");
        return TrackInsertion::insertEmptyTrack(type, size, movie);
    }

    std::optional<QTSize> parsedSize(std::string_view text)
    {
        const auto cross = text.find('x');
        const auto number = [](std::string_view part) {
            constexpr int kMostPixels = 32767; // of a track header's 16.16 field
            int value = 0;
            const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
            return error == std::errc {} && end == part.data() + part.size() && value <= kMostPixels ? value
                                                                                                     : 0;
        };
        if (cross == std::string_view::npos)
            return std::nullopt;
        const auto width = number(text.substr(0, cross));
        const auto height = number(text.substr(cross + 1));
        if (width <= 0 || height <= 0)
            return std::nullopt;
        return QTSize {double {1} * width, double {1} * height};
    }

    Result<Edit> emptyTrack(std::string_view value)
    {
        constexpr auto kForms = "text, sprite, video or video=WIDTHxHEIGHT";
        if (value == "text")
            return addEmptyTrack(KWMovTrack::kText);
        if (value == "sprite")
            return addEmptyTrack(KWMovTrack::kSprite);
        if (value == "video")
            return addEmptyTrack(KWMovTrack::kVideo);
        constexpr std::string_view kSized = "video=";
        if (value.starts_with(kSized))
            if (const auto size = parsedSize(value.substr(kSized.size())))
                return addEmptyTrack(KWMovTrack::kVideo, size);
        return wrongValue("--add-track", value, kForms);
    }

    /// An option that takes media from a file, and the --source-track that may follow it.
    class FromFile final : public CompoundEdit
    {
    public:
        void setInsertion(int type, std::string_view path)
        {
            m_type = type;
            m_path = path;
        }
        void setAddition(TrackSelector track, std::string_view path)
        {
            m_track = std::move(track);
            m_path = path;
        }
        Result<void> setSourceTrack(std::string_view value)
        {
            const auto kind
                = kindWithLetters(value.substr(0, std::min(value.find_first_of("0123456789"), value.size())));
            std::size_t place = 0;
            if (kind) {
                const auto digits = value.substr(std::string_view(kind->letters).size());
                const auto [end, error]
                    = std::from_chars(digits.data(), digits.data() + digits.size(), place);
                if (error != std::errc {} || end != digits.data() + digits.size())
                    place = 0;
            }
            if (place == 0)
                return wrongValue("--source-track", value, "a kind and its place, such as a2");
            if (!m_track && kind->typeCode != m_type)
                return wrongValue("--source-track", value,
                    m_type == KWMovTrack::kVideo ? "a video track such as v2" : "a sound track such as a2");
            m_place = place;
            return {};
        }
        Result<Edit> finish() override
        {
            return m_track ? addMedia(*m_track, m_path, m_place) : insertTrack(m_type, m_path, m_place);
        }

    private:
        int m_type = KWMovTrack::kVideo;
        std::optional<TrackSelector> m_track;
        std::string m_path;
        std::size_t m_place = kFirstOfKind;
    };

    template <int type> Result<void> insertion(std::string_view value, EditSteps& steps)
    {
        if (value.empty())
            return wrongValue(
                type == KWMovTrack::kVideo ? "--insert-video" : "--insert-audio", value, "a movie file");
        steps.begin<FromFile>().setInsertion(type, value);
        return {};
    }

    Result<void> addition(std::string_view value, EditSteps& steps)
    {
        const auto equals = value.find('=');
        const auto track = TrackSelector::parse(value.substr(0, std::min(equals, value.size())));
        if (!track || equals == std::string_view::npos || equals + 1 == value.size())
            return wrongValue("--add-media", value, "SELECTOR=FILE, such as a1=music.wav");
        steps.begin<FromFile>().setAddition(*track, value.substr(equals + 1));
        return {};
    }

    Result<void> sourceTrack(std::string_view value, EditSteps& steps)
    {
        auto* before = steps.last<FromFile>();
        if (!before)
            return failure(MovieError::Code::Refused, {},
                "--source-track stands behind the --insert-video, --insert-audio or --add-media whose file "
                "it "
                "is about");
        return before->setSourceTrack(value);
    }

    Result<Edit> emptying(std::string_view value)
    {
        const auto tracks = TrackSelector::parse(value);
        if (!tracks)
            return wrongValue("--empty-track", value, "a selector such as 3, a2 or a*");
        return removeAllMedia(*tracks);
    }

    Result<Edit> extraction(std::string_view value)
    {
        const auto equals = value.find('=');
        const auto track = TrackSelector::parse(value.substr(0, std::min(equals, value.size())));
        if (!track || equals == std::string_view::npos || equals + 1 == value.size())
            return wrongValue("--extract", value, "SELECTOR=FILE, such as a1=sound.mov");
        return extractTrack(*track, std::string(value.substr(equals + 1)));
    }

    constexpr EditKind kKinds[] = {
        {"--add-track", "text|sprite|video[=WxH]", "Add an empty track", single<emptyTrack>},
        {"--insert-video", "FILE", "Add a track that plays the first video track of FILE,\nwithout encoding",
            insertion<KWMovTrack::kVideo>},
        {"--insert-audio", "FILE",
            "The same of its first sound track (movies, WAV, AIFF);\n--track a2:in=TIMECODE moves it",
            insertion<KWMovTrack::kAudio>},
        {"--add-media", "SELECTOR=FILE", "Put media of that kind from FILE behind the track's own", addition},
        {"--source-track", "PLACE", "Take that track (a2) of the file named before instead", sourceTrack},
        {"--empty-track", "SELECTOR", "Take all media from the tracks, which keep their places",
            single<emptying>},
        {"--extract", "SELECTOR=FILE",
            "Write the track, as it is at this place among the\noptions, into a movie file of its own, "
            "without encoding",
            single<extraction>},
    };

} // namespace

Edit addEmptyTrack(int type, std::optional<QTSize> size)
{
    const auto* kind = type == KWMovTrack::kVideo ? "video" : type == KWMovTrack::kSprite ? "sprite" : "text";
    const auto* name = type == KWMovTrack::kVideo ? "Add Video Track"
        : type == KWMovTrack::kSprite             ? "Add Sprite Track"
                                                  : "Add Text Track";
    auto option = fmt::format("--add-track {}", kind);
    if (size)
        option += fmt::format("={}x{}", size->width, size->height);
    return {std::move(option), name, fmt::format("Add {} track", kind),
        record(
            "insertTrack:withDimensions:movie:", insertEmpty, type, size, KWPlaceholderMovie::placeholder())};
}

Edit insertTrack(int type, const std::string& path, std::size_t sourcePlace, const QTTime& start)
{
    const bool isVideo = type == KWMovTrack::kVideo;
    return {
        fmt::format("--insert-{} {}{}", isVideo ? "video" : "audio", path, sourceOption(type, sourcePlace)),
        isVideo ? "Insert Video" : "Insert Audio",
        fmt::format("Insert {} from {}", isVideo ? "video" : "audio", fileNameOf(path)),
        record("insertTrack:fromFile:place:start:movie:", TrackInsertion::insertTrackFromFile, type, path,
            sourcePlace, start, KWPlaceholderMovie::placeholder())};
}

Edit addMedia(const TrackSelector& track, const std::string& path, std::size_t sourcePlace)
{
    return {fmt::format("--add-media {}={}", track.text(), path), "Add Media",
        fmt::format("Add media of {} to track {}", fileNameOf(path), track.text()),
        record("addMediaToTracks:fromFile:place:movie:", addMediaTo, track, path, sourcePlace,
            KWPlaceholderMovie::placeholder())};
}

Edit removeAllMedia(const TrackSelector& tracks)
{
    return {fmt::format("--empty-track {}", tracks.text()), "Delete Media",
        fmt::format("Delete media of track {}", tracks.text()),
        record(
            "removeAllMediaForTracks:movie:", removeAllMediaOf, tracks, KWPlaceholderMovie::placeholder())};
}

Edit extractTrack(const TrackSelector& track, const std::string& path)
{
    auto edit = makeEdit(fmt::format("--extract {}={}", track.text(), path), "Extract Track",
        fmt::format("Extract track {} to {}", track.text(), fileNameOf(path)),
        [](QTMovie&) -> Result<void> { return {}; });
    edit.extract = [track, path](const QTMovie& movie) -> Result<Extraction> {
        RW_TRY(const auto tracks, track.select(movie));
        if (tracks.size() != 1)
            return failure(MovieError::Code::Refused, {},
                fmt::format("{} names {} tracks; a file is made of one", track.text(), tracks.size()));
        RW_TRY(auto single, TrackInsertion::extracted(tracks.front()));
        return Extraction {std::move(single), path};
    };
    return edit;
}

std::span<const EditKind> insertionKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
