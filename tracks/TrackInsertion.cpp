#include "tracks/TrackInsertion.h"

#include "movie/TrackBuilder.h"
#include "movie/atoms/ByteReader.h"
#include "movie/files/DataReference.h"
#include "movie/files/MediaSources.h"
#include "support/KWLog.h"
#include "tracks/TextInsertion.h"

#include <fmt/format.h>

#include <cmath>
#include <numeric>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    constexpr auto kNoDestination = "Unable to locate destination track";
    constexpr auto kNotLocated = "Reelwright could not locate the track.";

    template <class T> Result<T> logged(Result<T> done, const char* what)
    {
        if (!done)
            KWLog::appendLog("{} {}", what, done.error().status);
        return done;
    }

    FourCC mediaTypeOf(int type)
    {
        switch (type) {
        case KWMovTrack::kVideo:
            return QTMediaTypeVideo;
        case KWMovTrack::kAudio:
            return QTMediaTypeSound;
        case KWMovTrack::kTimecode:
            return QTMediaTypeTimeCode;
        case KWMovTrack::kSprite:
            return QTMediaTypeSprite;
        default:
            return QTMediaTypeText;
        }
    }

    /// A kind of media in words.
    const char* kindInWords(int type)
    {
        return type == KWMovTrack::kVideo ? "video" : type == KWMovTrack::kAudio ? "audio" : "timecode";
    }

    NewTrack::Family familyOf(const QTMovie& movie)
    {
        return movie.file() && !movie.file()->isQuickTime() ? NewTrack::Family::Iso
                                                            : NewTrack::Family::QuickTime;
    }

    NewTrack emptyTrack(FourCC mediaType, std::int32_t timeScale, const QTMovie& movie)
    {
        NewTrack track;
        track.mediaType = mediaType;
        track.mediaTimeScale = static_cast<std::uint32_t>(std::max(timeScale, 1));
        track.family = familyOf(movie);
        track.language = NewTrack::unspecifiedLanguage(track.family);
        track.time = movie.movieHeader().modificationTime;
        return track;
    }

    /// What stands for the samples that an empty media may get: readers refuse a track without any
    /// description.
    Atom emptyDescription(FourCC mediaType, const QTSize& size)
    {
        const auto pixels
            = [](double value) { return static_cast<std::uint16_t>(std::clamp(value, 0.0, 65535.0)); };
        ByteWriter out;
        out.zeros(6).u16(1); // reserved, data reference 1
        if (mediaType == QTMediaTypeVideo) {
            out.u16(0).u16(0).fourCC({}).u32(0).u32(512); // versions, vendor, temporal and spatial quality
            out.u16(pixels(size.width)).u16(pixels(size.height)).u32(72U << 16U).u32(72U << 16U);
            out.u32(0).u16(1).zeros(32).u16(24).u16(
                0xFFFF); // data size, frames, name, depth, no colour table
            return Atom {"raw "_cc, out.toBytes()};
        }
        if (mediaType == QTMediaTypeSound) {
            constexpr std::uint16_t kRate = 44100;
            out.zeros(8).u16(2).u16(16).u16(0).u16(0).u16(kRate).u16(0);
            return Atom {"sowt"_cc, out.toBytes()};
        }
        return Atom {"sprt"_cc, out.toBytes()};
    }

    std::string fileUrl(const std::string& path)
    {
        std::string url = "file://";
        for (const char character : path) {
            const bool isPlain = (character >= 'a' && character <= 'z')
                || (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9')
                || std::string_view("/-_.~").find(character) != std::string_view::npos;
            if (isPlain)
                url += character;
            else
                url += fmt::format("%{:02X}", static_cast<unsigned char>(character));
        }
        return url;
    }

    /// The data references of a track of another movie, leading from anywhere to the files that they mean.
    Result<std::vector<Atom>> absoluteReferences(const QTTrack& track, QTMovie& destination)
    {
        const auto& source = track.movie();
        if (!source.file())
            return refusal("the movie that the media come from has no file yet; save it first");
        auto& storage = *source.file()->storage;
        auto references = track.media().dataReferences();
        if (references.empty()) { // the media are in the movie's own file, whatever the descriptions say
            references.emplace_back();
            references.back().isSelf = true;
        }
        std::vector<Atom> entries;
        for (const auto& reference : references) {
            std::string path;
            if (reference.isSelf)
                path = storage.resolve(source.fileName());
            for (const auto& candidate : reference.candidates)
                if (path.empty() && storage.exists(candidate))
                    path = storage.resolve(candidate);
            if (path.empty())
                return refusal(
                    fmt::format("the media file \"{}\" of the movie is missing; put it beside that movie",
                        reference.name));
            RW_CHECK(destination.sources().addFile(path, storage));
            entries.emplace_back("url "_cc, ByteWriter {}.u32(0).text(fileUrl(path)).u8(0).toBytes());
        }
        return entries;
    }

    Bytes listHead(std::size_t count)
    {
        return ByteWriter {}.u32(0).u32(static_cast<std::uint32_t>(count)).toBytes();
    }

    /// The `dref` of a track's media for changing; made where there is none.
    Atom* editReferences(Atom& trak)
    {
        auto* minf = trak.edit({"mdia"_cc, "minf"_cc});
        if (!minf)
            return nullptr;
        if (!minf->find("dinf"_cc))
            minf->insertBefore("stbl"_cc, Atom::container("dinf"_cc));
        auto& dref = minf->edit("dinf"_cc)->ensure("dref"_cc);
        dref.isContainer = true;
        return &dref;
    }

    /// Index 0 and a missing list of references occur; both mean the first one.
    void setReferenceIndex(Atom& description, std::uint16_t index)
    {
        constexpr std::size_t kOffset = 6; // behind the reserved bytes
        if (description.head.size() < kOffset + 2)
            return;
        ByteWriter out;
        out.bytes(description.head.slice(0, kOffset).span())
            .u16(index)
            .bytes(description.head.slice(kOffset + 2).span());
        description.head = out.toBytes();
    }

    std::uint16_t referenceIndexOf(const Atom& description)
    {
        return std::max<std::uint16_t>(SampleDescription {description}.dataReferenceIndex(), 1);
    }

    /// An edit list in another movie's time scale; each edit ends where the whole of them so far ends, so
    /// that roundings do not add up.
    EditList rescaled(EditList list, std::int32_t from, std::int32_t to)
    {
        std::int64_t end = 0;
        std::int64_t newEnd = 0;
        for (auto& edit : list.edits) {
            end += static_cast<std::int64_t>(std::min<std::uint64_t>(edit.duration, INT64_MAX / 4));
            const auto scaled = rescale(end, to, from);
            edit.duration = static_cast<std::uint64_t>(scaled - newEnd);
            newEnd = scaled;
        }
        return list;
    }

    /// A source track and the movie that it borrows.
    struct OpenedSource
    {
        std::unique_ptr<QTMovie> movie;
        std::optional<QTTrack> track;
    };

    Result<OpenedSource> openSource(
        int type, const std::string& path, std::size_t place, const QTMovie& destination)
    {
        const auto storage = destination.file() ? destination.file()->storage : Storage::posix();
        if (!QTMovie::canOpen(path, *storage)) {
            if (!storage->exists(path))
                return failure(MovieError::Code::Io, path, "there is no such file");
            return failure(MovieError::Code::Refused, "Error loading movie",
                fmt::format("Could not initialize file {}. Please check that the format of this file is "
                            "supported by Reelwright.",
                    path));
        }
        OpenedSource source;
        RW_TRY(auto opened, QTMovie::open(path, storage));
        source.movie = std::make_unique<QTMovie>(std::move(opened));
        const auto tracks = source.movie->tracksOfMediaType(mediaTypeOf(type));
        if (tracks.empty())
            return failure(MovieError::Code::Refused, fmt::format("No {} tracks found", kindInWords(type)),
                fmt::format("Media could not be added because this movie does not have {} media.",
                    kindInWords(type)));
        if (place == 0 || place > tracks.size())
            return refusal(fmt::format("{} has {} {} tracks, so there is no number {}", path, tracks.size(),
                kindInWords(type), place));
        source.track = tracks[place - 1];
        return source;
    }

    Result<KWMovTrack> added(const QTTrack& track)
    {
        auto record = KWMovTrack::trackWithQuickTimeTrack(track);
        if (!record)
            return refusal("the new track cannot be found in the movie");
        return std::move(*record);
    }

    /// In front of every picture: text is set over it.
    std::int16_t layerInFront(const QTMovie& movie)
    {
        std::int16_t front = 0;
        for (const auto& track : movie.tracks())
            if (track.mediaType() == QTMediaTypeVideo)
                front = std::min(front, track.header().layer);
        return front > INT16_MIN ? static_cast<std::int16_t>(front - 1) : front;
    }

    Result<KWMovTrack> insertEmpty(FourCC mediaType, const QTSize& size, QTMovie& movie)
    {
        auto track = emptyTrack(mediaType, movie.timeScale(), movie);
        track.width = size.width;
        track.height = size.height;
        track.duration = 1;
        if (mediaType == QTMediaTypeVideo)
            track.volume = 256;
        const EditableScope scope {movie};
        auto trak = makeTrack(track);
        const auto textFormat
            = track.family == NewTrack::Family::Iso ? textMedia::kTimedText : textMedia::kQuickTimeText;
        addSampleDescription(trak,
            mediaType == QTMediaTypeText
                ? TextInsertion::plainStyle(TextInsertion::usualBox(size.width, size.height))
                      .description(textFormat)
                : emptyDescription(mediaType, size));
        RW_TRY(const auto view, movie.addTrack(std::move(trak)));
        EditList list;
        list.edits.push_back({1, 0, 1 << 16});
        RW_CHECK(view.setEditList(list));
        if (mediaType == QTMediaTypeText)
            RW_CHECK(view.setLayer(layerInFront(movie)));
        return added(view);
    }

    Result<KWMovTrack> insertCopy(const QTTrack& track, QTMovie& movie, const QTTime& start)
    {
        if (!track.media().isValid() || track.media().sampleCount() == 0)
            return refusal("the track has no media that could be added");
        RW_TRY(const auto list, track.editList());
        RW_TRY(auto references, absoluteReferences(track, movie));
        // A new atom with the other's children: the track is one of this movie, with an identity of its own.
        Atom trak = Atom::container("trak"_cc);
        for (const auto& child : track.atom().children)
            if (child->type != "tref"_cc && child->type != "edts"_cc)
                trak.children.push_back(child);
        auto* dref = editReferences(trak);
        if (!dref)
            return refusal("the track has no media that could be added");
        dref->children.clear();
        for (auto& entry : references)
            dref->append(std::move(entry));
        dref->head = listHead(dref->children.size());
        const EditableScope scope {movie};
        RW_TRY(const auto view, movie.addTrack(std::move(trak)));
        // It was added to be played, whatever it was an alternative to where it comes from.
        RW_CHECK(view.setEnabled(true));
        RW_CHECK(view.setAlternateGroup(0));
        auto edits = rescaled(list, track.movie().timeScale(), movie.timeScale());
        const auto gap = atScale(start, movie.timeScale()).value;
        if (gap > 0 && !edits.edits.empty() && edits.edits.front().isEmpty())
            edits.edits.front().duration += static_cast<std::uint64_t>(gap);
        else if (gap > 0)
            edits.edits.insert(edits.edits.begin(), {static_cast<std::uint64_t>(gap), -1, 1 << 16});
        RW_CHECK(view.setEditList(edits));
        return added(view);
    }

    /// Both tables in one time scale, and that scale. Sound keeps its rate, which its decoder counts in.
    Result<std::int32_t> commonScale(SampleTableBuilder& present, std::int32_t presentScale,
        SampleTableBuilder& more, std::int32_t moreScale)
    {
        if (presentScale <= 0 || moreScale <= 0)
            return refusal("one of the media has no time scale");
        if (presentScale == moreScale)
            return presentScale;
        const auto common = std::lcm<std::int64_t>(presentScale, moreScale);
        if (common > INT32_MAX)
            return refusal(fmt::format(
                "no time scale counts both media exactly (they have {} and {})", presentScale, moreScale));
        RW_CHECK(present.multiplyTimes(static_cast<std::uint32_t>(common / presentScale)));
        RW_CHECK(more.multiplyTimes(static_cast<std::uint32_t>(common / moreScale)));
        return static_cast<std::int32_t>(common);
    }

    Result<void> appendMedia(const QTTrack& source, const QTTrack& track, QTMovie& movie)
    {
        const auto presentMedia = track.media();
        const auto moreMedia = source.media();
        const auto* presentTables = track.atom().find({"mdia"_cc, "minf"_cc, "stbl"_cc});
        const auto* moreTables = source.atom().find({"mdia"_cc, "minf"_cc, "stbl"_cc});
        if (!presentTables || !moreTables || moreMedia.sampleCount() == 0)
            return refusal("one of the tracks has no media");
        if (track.mediaType() == QTMediaTypeSound && presentMedia.timeScale() != moreMedia.timeScale())
            return refusal(fmt::format("the sound has {} samples a second and the track {}; one track cannot "
                                       "play both. Add the sound as a track of its own",
                moreMedia.timeScale(), presentMedia.timeScale()));
        auto tables = SampleTableBuilder::continuing(*presentTables);
        auto more = SampleTableBuilder::continuing(*moreTables);
        const auto presentScale = presentMedia.timeScale();
        RW_TRY(const auto scale, commonScale(tables, presentScale, more, moreMedia.timeScale()));
        const auto factor = scale / presentScale;
        const auto moreFactor = scale / moreMedia.timeScale();
        const auto start = static_cast<std::int64_t>(tables.duration());
        RW_TRY(auto list, track.editList());
        RW_TRY(auto moreList, source.editList());
        RW_TRY(auto references, absoluteReferences(source, movie));

        const EditableScope scope {movie};
        auto* trak = track.editAtom();
        auto* dref = trak ? editReferences(*trak) : nullptr;
        if (!dref)
            return failure(MovieError::Code::Refused, kNoDestination, kNotLocated);
        const auto referencesBefore = dref->children.size();
        for (auto& entry : references)
            dref->append(std::move(entry));
        dref->head = listHead(dref->children.size());
        const auto descriptionsBefore = presentMedia.sampleDescriptionCount();
        if (dref->children.size() > UINT16_MAX)
            return refusal("the track has more files of media than a track can have");
        for (std::size_t i = 1; i <= moreMedia.sampleDescriptionCount(); ++i) {
            auto entry = moreMedia.sampleDescription(i)->entry();
            setReferenceIndex(entry, static_cast<std::uint16_t>(referencesBefore + referenceIndexOf(entry)));
            addSampleDescription(*trak, std::move(entry));
        }
        RW_CHECK(tables.append(more, static_cast<std::uint32_t>(descriptionsBefore)));
        tables.write(*editSampleTables(*trak));
        auto header = presentMedia.header();
        header.timeScale = static_cast<std::uint32_t>(scale);
        header.duration = tables.duration();
        trak->edit("mdia"_cc)->setLeaf("mdhd"_cc, header.write());

        for (auto& edit : list.edits)
            if (!edit.isEmpty())
                edit.mediaTime *= factor;
        moreList = rescaled(std::move(moreList), source.timeScale(), movie.timeScale());
        for (auto& edit : moreList.edits) {
            if (!edit.isEmpty())
                edit.mediaTime = edit.mediaTime * moreFactor + start;
            list.edits.push_back(edit);
        }
        return track.setEditList(list);
    }

    /// A track without samples takes the source's media whole.
    Result<void> fillEmpty(const QTTrack& source, const QTTrack& track, QTMovie& movie)
    {
        RW_TRY(const auto list, source.editList());
        RW_TRY(auto references, absoluteReferences(source, movie));
        const EditableScope scope {movie};
        auto* trak = track.editAtom();
        const auto* media = source.atom().find("mdia"_cc);
        if (!trak || !media)
            return failure(MovieError::Code::Refused, kNoDestination, kNotLocated);
        trak->remove("mdia"_cc);
        trak->append(*media);
        auto* dref = editReferences(*trak);
        if (!dref)
            return refusal("the source track has no media that could be added");
        dref->children.clear();
        for (auto& entry : references)
            dref->append(std::move(entry));
        dref->head = listHead(dref->children.size());
        return track.setEditList(rescaled(list, source.timeScale(), movie.timeScale()));
    }

} // namespace

Result<KWMovTrack> TrackInsertion::insertEmptyTrack(int type, std::optional<QTSize> size, QTMovie& movie)
{
    const auto mediaType = mediaTypeOf(type);
    auto natural = size.value_or(movie.naturalSize());
    natural = {std::trunc(natural.width), std::trunc(natural.height)}; // whole pixels
    const auto* message = type == KWMovTrack::kVideo ? "addVideoTrack error"
        : type == KWMovTrack::kSprite                ? "addSpriteTrack error"
                                                     : "addTextTrack error";
    return logged(insertEmpty(mediaType, natural, movie), message);
}

Result<KWMovTrack> TrackInsertion::insertTrack(const QTTrack& track, QTMovie& movie, const QTTime& start)
{
    const bool isSound = track.mediaType() == QTMediaTypeSound;
    if (isSound) {
        KWLog::appendLog("timescale: {}", track.media().timeScale());
        if (const auto description = track.media().sampleDescription(1))
            if (const auto sound = description->sound())
                KWLog::appendLog("sample rate: {:.0f}", sound->sampleRate);
    }
    KWLog::appendLog("sourcerange: {}, {}", QTStringFromTime(track.range().time),
        QTStringFromTime(track.range().duration));
    return logged(
        insertCopy(track, movie, start), isSound ? "Error creating new audio track:" : "addVideoTrack error");
}

Result<KWMovTrack> TrackInsertion::insertTrackFromFile(
    int type, const std::string& path, std::size_t sourcePlace, const QTTime& start, QTMovie& movie)
{
    RW_TRY(const auto source, openSource(type, path, sourcePlace, movie));
    return insertTrack(*source.track, movie, start);
}

Result<std::vector<SourceTrack>> TrackInsertion::sourceTracks(int type, const std::string& path)
{
    RW_TRY(const auto source, openSource(type, path, 1, QTMovie {}));
    std::vector<SourceTrack> tracks;
    for (const auto& track : source.movie->tracksOfMediaType(mediaTypeOf(type))) {
        const auto media = track.media();
        const auto description = media.sampleDescription(1);
        SourceTrack entry {track.trackID(), track.name(), description ? description->format() : FourCC {},
            media.header().language, media.duration(), 0, track.size()};
        if (type == KWMovTrack::kAudio && description)
            if (const auto sound = description->sound())
                entry.channels = sound->channels;
        tracks.push_back(std::move(entry));
    }
    return tracks;
}

Result<QTMovie> TrackInsertion::extracted(const QTTrack& track)
{
    if (!track.isValid())
        return refusal("the movie has no such track");
    if (track.media().sampleCount() == 0)
        return refusal(fmt::format("track {} has no media that could be extracted", track.trackID()));
    auto single = track.movie();
    const auto id = track.atom().id;
    const EditableScope scope {single};
    auto& children = single.editHeader().children;
    std::erase_if(children, [&](const auto& child) { return child->type == "trak"_cc && child->id != id; });
    const auto left = single.tracks().front();
    left.editAtom()->remove("tref"_cc); // the tracks that it refers to are left behind
    RW_CHECK(left.setEnabled(true));
    single.updateDuration();
    return single;
}

Result<void> TrackInsertion::addMedia(const QTTrack& source, const QTTrack& track, QTMovie& movie)
{
    KWLog::appendLog("sourcerange: {}, {}", QTStringFromTime(source.range().time),
        QTStringFromTime(source.range().duration));
    if (track.media().sampleCount() == 0)
        return fillEmpty(source, track, movie);
    return appendMedia(source, track, movie);
}

Result<void> TrackInsertion::addMediaFromFile(
    const std::string& path, std::size_t sourcePlace, const QTTrack& track, QTMovie& movie)
{
    if (!track.isValid())
        return failure(MovieError::Code::Refused, kNoDestination, kNotLocated);
    const auto type = KWMovTrack::trackWithQTTrack(track).trackType();
    if (type != KWMovTrack::kVideo && type != KWMovTrack::kAudio && type != KWMovTrack::kTimecode)
        return failure(MovieError::Code::Refused, "Unsupported track type",
            "Media can be added to video, sound and timecode tracks.");
    RW_TRY(const auto source, openSource(*type, path, sourcePlace, movie));
    return addMedia(*source.track, track, movie);
}

Result<void> TrackInsertion::removeAllMedia(const QTTrack& track, QTMovie& movie)
{
    KWLog::appendLog("Removing all media for track...");
    const bool isSound = track.mediaType() == QTMediaTypeSound;
    auto length = movie.duration().value;
    const auto mediaType = isSound ? QTMediaTypeSound : QTMediaTypeVideo;
    auto settings = emptyTrack(mediaType, track.timeScale(), movie);
    settings.language = track.media().header().language;
    auto fresh = makeTrack(settings);
    const auto description = track.media().sampleDescription(1);
    const auto header = track.header();
    addSampleDescription(fresh,
        description && track.mediaType() == mediaType
            ? description->entry()
            : emptyDescription(mediaType, {header.width / 65536.0, header.height / 65536.0}));
    const auto change = [&]() -> Result<void> {
        const EditableScope scope {movie};
        auto* trak = track.editAtom();
        if (!trak)
            return refusal("the movie has no such track");
        trak->remove("mdia"_cc);
        trak->append(*fresh.find("mdia"_cc));
        if (auto* entries = trak->edit({"mdia"_cc, "minf"_cc, "stbl"_cc, "stsd"_cc}))
            setReferenceIndex(entries->children.front().edit(), 1);
        EditList list;
        list.edits.push_back({static_cast<std::uint64_t>(std::max<std::int64_t>(length, 0)), -1, 1 << 16});
        return track.setEditList(list);
    };
    return logged(change(), "Unable to insert blank media into track: -");
}

} // namespace reelwright
