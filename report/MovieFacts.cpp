#include "report/MovieFacts.h"

#include "attributes/AttributeConflicts.h"
#include "attributes/NamedColorSpaces.h"
#include "movie/ChapterList.h"
#include "movie/atoms/ByteReader.h"
#include "movie/files/DataReference.h"
#include "movie/saving/MovieSaver.h"
#include "report/LanguageName.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"
#include "tracks/TextInsertion.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr double kFixedOne = 65536.0;
    constexpr std::size_t kMaxWarnings = 100;

    /// The code of a setting; zero for the one that stands for "none set".
    FourCC settingCode(FourCC code)
    {
        return code == "????"_cc ? FourCC {} : code;
    }

    /// Shown at so many frames a second, the movie's.
    TimeFact timeFact(const QTTime& time, double fps)
    {
        return {time, KWQuickTime::formattedQTTime(time, fps)};
    }

    std::optional<PixelSize> apertureSize(const Atom& tapt, FourCC type)
    {
        const auto* atom = tapt.find(type);
        if (!atom)
            return std::nullopt;
        ByteReader in {atom->head.span()};
        in.skip(4); // version and flags
        const double width = in.u32() / kFixedOne;
        const double height = in.u32() / kFixedOne;
        return in.ok() ? std::optional(PixelSize {width, height}) : std::nullopt;
    }

    std::optional<ApertureFacts> apertureFacts(const QTTrack& track)
    {
        const auto* tapt = track.atom().find("tapt"_cc);
        if (!tapt)
            return std::nullopt;
        return ApertureFacts {
            apertureSize(*tapt, "clef"_cc), apertureSize(*tapt, "prof"_cc), apertureSize(*tapt, "enof"_cc)};
    }

    std::optional<TimecodeFacts> timecodeFacts(const QTTrack& track)
    {
        if (track.mediaType() != QTMediaTypeTimeCode)
            return std::nullopt;
        const auto reading = timecodeMedia::atMediaTime(track, 0);
        if (!reading)
            return std::nullopt;
        return TimecodeFacts {reading->text, reading->frame, reading->description};
    }

    std::optional<PixelSize> pixelSize(
        const QTTrack& track, const std::optional<SampleDescription>& description)
    {
        if (track.mediaType() == QTMediaTypeVideo && description)
            if (const auto video = description->video())
                return PixelSize {static_cast<double>(video->width), static_cast<double>(video->height)};
        const auto header = track.header();
        if (header.width == 0 && header.height == 0)
            return std::nullopt;
        return PixelSize {header.width / kFixedOne, header.height / kFixedOne};
    }

    std::optional<AttributeFacts> attributeFacts(
        const QTTrack& track, const std::optional<SampleDescription>& description)
    {
        if (track.mediaType() != QTMediaTypeVideo || !description)
            return std::nullopt;
        AttributeFacts facts;
        if (auto video = description->video())
            facts.video = std::move(*video);
        facts.pixelAspectRatio = description->pixelAspectRatio();
        facts.gamma = description->gamma();
        facts.color = description->color();
        if (const auto profile = description->colorProfile()) {
            const auto index = namedColorSpaces::indexOf(*profile);
            facts.colorSpace = index ? namedColorSpaces::kNames[*index] : "other";
        }
        facts.fieldLayout = description->fieldLayout();
        facts.descriptions = track.media().sampleDescriptionCount();
        return facts;
    }

    double sampleRate(const QTTrack& track, const std::optional<SampleDescription>& description)
    {
        if (track.mediaType() != QTMediaTypeSound || !description)
            return 0;
        const auto sound = description->sound();
        return sound ? sound->sampleRate : 0;
    }

    TrackFacts trackFacts(const PlacedTrack& placed, double fps)
    {
        const auto& track = placed.track;
        const auto media = track.media();
        const auto description = media.sampleDescription(1);
        const auto range = track.range();
        TrackFacts facts;
        facts.id = track.trackID();
        facts.kind = placed.kind;
        facts.typeName = KWMovTrack::typeName(placed.record.trackType());
        facts.placeName = placed.placeName();
        facts.mediaType = track.mediaType();
        facts.name = track.name();
        facts.enabled = track.isEnabled();
        facts.in = timeFact(range.time, fps);
        facts.duration = timeFact(range.duration, fps);
        facts.mediaTimeScale = media.timeScale();
        facts.mediaDuration = media.duration().value;
        facts.sampleCount = media.sampleCount();
        facts.frameRate = KWQuickTime::fpsFromQTTrack(track);
        facts.sampleRate = sampleRate(track, description);
        if (description)
            facts.format = description->format();
        facts.size = pixelSize(track, description);
        facts.matrix = track.matrix();
        facts.channels = placed.record.channels();
        const auto label = placed.record.audioChannelDescription().mChannelLabel;
        if (const auto name = KWQuickTime::friendlyAudioChannelLabel(label); name != "Unknown")
            facts.channelLabel = name;
        const auto header = track.header();
        facts.volume = header.volume / 256.0;
        if (const auto balance = media.balance())
            facts.balance = *balance / 256.0;
        facts.layer = header.layer;
        facts.alternateGroup = header.alternateGroup;
        facts.language = languageName(media.header().language);
        facts.references = track.references();
        facts.timecode = timecodeFacts(track);
        if (track.mediaType() == QTMediaTypeTimeCode && !facts.timecode)
            facts.timecodeProblem = timecodeMedia::atMediaTime(track, 0).error().message();
        facts.apertures = apertureFacts(track);
        facts.attributes = attributeFacts(track, description);
        if (facts.attributes)
            facts.shownSize = PixelSize {track.size().width, track.size().height};
        facts.metadata = MetadataFact::of(QTMetaData::ofTrack(track));
        return facts;
    }

    std::optional<std::vector<TextFact>> textFacts(const QTTrack& track, double rate)
    {
        if (!textMedia::isTextTrack(track))
            return std::nullopt;
        auto texts = TextInsertion::texts(track);
        if (!texts)
            return std::nullopt;
        std::vector<TextFact> facts;
        facts.reserve(texts->size());
        for (auto& text : *texts)
            facts.push_back({std::move(text.text), timeFact(text.start, rate), timeFact(text.end, rate),
                std::move(text.style)});
        return facts;
    }

    std::vector<ChapterFact> chapterFacts(const QTMovie& movie, std::vector<std::string>& warnings)
    {
        std::vector<ChapterFact> facts;
        const auto chapters = chapterList::read(movie);
        if (!chapters) {
            warnings.push_back(
                "the chapters cannot be read: " + reasonFor(chapters.error(), movie.fileName()));
            return facts;
        }
        const auto rate = KWQuickTime::fpsForMovie(movie);
        for (const auto& [name, start] : *chapters)
            facts.push_back({name, {start, KWQuickTime::formattedQTTime(start, rate)}});
        return facts;
    }

    bool hasMediaElsewhere(const QTMovie& movie)
    {
        const auto tracks = movie.tracks();
        return std::any_of(tracks.begin(), tracks.end(), [](const QTTrack& track) {
            const auto references = track.media().dataReferences();
            return std::any_of(references.begin(), references.end(),
                [](const DataReference& reference) { return !reference.isSelf; });
        });
    }

} // namespace

MovieFacts MovieFacts::of(const QTMovie& movie)
{
    MovieFacts facts;
    facts.file = movie.fileName();
    if (const auto& file = movie.file()) {
        facts.size = file->state.size;
        facts.brand = file->majorBrand;
        facts.isMovieFile = file->headerAtom() != nullptr;
    }
    if (const auto possible = MovieSaver::canUpdateMovieFile(movie); !possible)
        facts.hindrance = reasonFor(possible.error(), facts.file);
    facts.needsFlattening = hasMediaElsewhere(movie);
    facts.fragmented = movie.isFragmented();
    const auto duration = movie.duration();
    facts.frameRate = KWQuickTime::fpsForMovie(movie);
    facts.duration = timeFact(duration, facts.frameRate);
    facts.durationInFrames = KWQuickTime::frameCountForQTTime(duration, movie);
    KWQuickTime::getTimingInfoForMovie(movie, &facts.timebase, &facts.ntsc, &facts.dropFrame);
    facts.naturalSize = movie.naturalSize();
    facts.autoPlay = KWQuickTimeEditing::autoPlay(movie);
    facts.autoClose = KWQuickTimeEditing::autoClose(movie);
    facts.autoQuit = KWQuickTimeEditing::autoQuit(movie);
    facts.controller = settingCode(KWQuickTimeEditing::movieControllerType(movie));
    auto copy = movie; // reading the aperture mode applies it to the movie
    facts.apertureMode = settingCode(KWQuickTimeEditing::apertureModeForMovie(copy));
    facts.startTimecode = KWQuickTime::timecodeAtTime({0, movie.timeScale()}, movie);
    facts.metadata = MetadataFact::of(QTMetaData::ofMovie(movie));
    const auto chapterTracks = chapterList::tracks(movie);
    for (const auto& placed : placedTracks(movie)) {
        facts.tracks.push_back(trackFacts(placed, facts.frameRate));
        if (std::find(chapterTracks.begin(), chapterTracks.end(), placed.track) == chapterTracks.end())
            facts.tracks.back().texts = textFacts(placed.track, facts.frameRate);
    }
    // The number of the first frame must not pass for what a track says that cannot be read.
    if (const auto tracks = movie.tracksOfMediaType(QTMediaTypeTimeCode);
        !tracks.empty() && !timecodeMedia::atMediaTime(tracks.front(), 0))
        facts.startTimecode.clear();
    facts.timecodes = TimecodeSurvey::of(movie, TimecodeSurvey::Scope::Header);
    facts.warnings = warningTexts(movie);
    facts.warnings.insert(
        facts.warnings.end(), facts.timecodes.warnings.begin(), facts.timecodes.warnings.end());
    for (const auto& track : movie.tracks())
        for (const auto& conflict : attributeConflicts::withinFile(track))
            facts.warnings.push_back(fmt::format("track {}: {}", track.trackID(), conflict));
    facts.chapters = chapterFacts(movie, facts.warnings);
    return facts;
}

std::string reasonFor(const MovieError& error, const std::string& file)
{
    auto plain = error;
    if (plain.where == file)
        plain.where.clear();
    else if (plain.where.starts_with(file + ": "))
        plain.where.erase(0, file.size() + 2);
    return plain.message();
}

std::vector<std::string> warningTexts(const QTMovie& movie)
{
    std::vector<std::string> texts;
    for (const auto& warning : movie.warnings()) {
        if (texts.size() == kMaxWarnings) {
            texts.push_back(fmt::format("and {} more warnings", movie.warnings().size() - kMaxWarnings));
            break;
        }
        const MovieError asError {MovieError::Code::Corrupt, warning.offset, warning.where, warning.detail};
        texts.push_back(reasonFor(asError, movie.fileName()));
    }
    return texts;
}

} // namespace reelwright
