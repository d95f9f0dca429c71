#include "app/player/PlayerFeed.h"

#include "app/player/SilentMovie.h"
#include "movie/atoms/ByteReader.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace reelwright {
namespace {

    /// A start is put this much (seconds) before a frame's, so that no rounding of the player's loses it.
    /// Less than any frame lasts.
    constexpr double kBefore = 1e-5;
    constexpr double kMostReordering = 5;
    /// Pieces of one lane; a player takes time over each.
    constexpr std::size_t kMostPieces = 10'000;
    /// Speeds of one track that get a source of their own; others play at the media's speed.
    constexpr std::size_t kMostSpeeds = 16;
    constexpr double kUnitsForScaling = 1e6;

    /// The movie with this track only, without its edits and without what a player could turn the picture by.
    QTMovie onlyTrack(const QTTrack& track)
    {
        QTMovie copy = track.movie();
        const auto id = track.atom().id;
        const EditableScope scope {copy};
        auto& header = copy.editHeader();
        std::erase_if(header.children,
            [&](const Cow<Atom>& child) { return child->id != id && child->type != "mvhd"_cc; });
        for (auto& child : header.children) {
            if (child->id == id)
                for (const auto type : {"edts"_cc, "tref"_cc, "udta"_cc, "meta"_cc, "tapt"_cc})
                    child.edit().remove(type);
            if (child->type != "mvhd"_cc)
                continue;
            if (auto fields = MovieHeader::parse(child->head)) {
                fields->matrix = Matrix {};
                child.edit().head = fields->write();
            }
        }
        // A track without a header has no matrix either.
        static_cast<void>(QTTrack {copy, id}.setMatrix(Matrix {}));
        return copy;
    }

    Atom* sampleTableOf(QTMovie& movie)
    {
        auto* trak = movie.editHeader().edit("trak"_cc);
        return trak ? trak->edit({"mdia"_cc, "minf"_cc, "stbl"_cc}) : nullptr;
    }

    /// Takes the sync mark from samples that are decoded before, but displayed after one of these media
    /// times. Players that look for such a time find them by their decode time, and begin too late.
    void hideLateSyncSamples(Atom& stbl, const SampleTimes& samples, const std::vector<std::int64_t>& starts)
    {
        std::set<std::uint32_t> late;
        for (const auto start : starts) {
            const auto first = samples.decodedFrom(start - samples.highestOffset() + 1);
            for (std::uint64_t sample = first.value_or(samples.count()) + std::uint64_t {0};
                 first && sample <= samples.count() && late.size() < kMostPieces * 64; ++sample) {
                const auto number = static_cast<std::uint32_t>(sample);
                if (samples.decodeTime(number) > start)
                    break;
                if (samples.displayTime(number) > start)
                    late.insert(number);
            }
        }
        std::vector<std::uint32_t> kept;
        bool anyHidden = false;
        const auto keep = [&](std::uint32_t sample) {
            // Without a sync sample nothing could be played at all.
            if (kept.empty() || !late.contains(sample))
                kept.push_back(sample);
            else
                anyHidden = true;
        };
        if (const auto* stss = stbl.find("stss"_cc)) {
            ByteReader in {stss->head.span()};
            in.skip(4);
            for (auto count = in.count32(4); count > 0; --count)
                keep(in.u32());
        } else if (!late.empty()) {
            for (std::uint64_t sample = 1; sample <= samples.count(); ++sample)
                keep(static_cast<std::uint32_t>(sample));
        }
        if (!anyHidden)
            return;
        ByteWriter out;
        out.reserve(8 + kept.size() * 4);
        out.u32(0).u32(static_cast<std::uint32_t>(kept.size()));
        for (const auto sample : kept)
            out.u32(sample);
        stbl.setLeaf("stss"_cc, out.toBytes());
    }

    /// The second number of each row of a table of pairs, multiplied.
    Bytes multiplied(const Bytes& table, std::int64_t factor)
    {
        ByteReader in {table.span()};
        ByteWriter out;
        out.reserve(table.size());
        out.u32(in.u32());
        const auto rows = in.count32(8);
        out.u32(rows);
        for (auto left = rows; left > 0; --left) {
            out.u32(in.u32());
            out.u32(static_cast<std::uint32_t>(in.i32() * factor));
        }
        return out.toBytes();
    }

    /// Makes the only track play at another speed, and answers the speed that came of it: time scales are
    /// whole numbers.
    double setSpeed(QTMovie& movie, const SampleTimes& samples, double speed)
    {
        const EditableScope scope {movie};
        auto* mdia = movie.editHeader().edit("trak"_cc)->edit("mdia"_cc);
        auto* mdhd = mdia ? mdia->edit("mdhd"_cc) : nullptr;
        auto header = mdhd ? MediaHeader::parse(mdhd->head) : Result<MediaHeader> {};
        auto* stbl = sampleTableOf(movie);
        if (!mdhd || !header || header->timeScale == 0 || !stbl)
            return 1;
        const auto wanted = header->timeScale * speed;
        // More units a second where few would make the speed coarse, as far as the tables hold them.
        std::int64_t largest = std::max(std::abs(static_cast<std::int64_t>(samples.lowestOffset())),
            std::abs(static_cast<std::int64_t>(samples.highestOffset())));
        const auto table = SampleTable::parse(*stbl);
        for (std::size_t i = 0; i < table.timeRunCount(); ++i)
            largest = std::max<std::int64_t>(largest, table.timeRun(i).duration);
        std::int64_t factor = 1;
        if (wanted != std::floor(wanted) && wanted < kUnitsForScaling)
            factor = std::clamp<std::int64_t>(std::llround(kUnitsForScaling / wanted), 1,
                std::max<std::int64_t>(INT32_MAX / std::max<std::int64_t>(largest, 1), 1));
        const auto scale = std::round(wanted * static_cast<double>(factor));
        if (scale < 1 || scale > INT32_MAX)
            return 1;
        if (factor > 1)
            for (const auto type : {"stts"_cc, "ctts"_cc})
                if (const auto* atom = stbl->find(type))
                    stbl->setLeaf(type, multiplied(atom->head, factor));
        const auto before = header->timeScale;
        header->timeScale = static_cast<std::uint32_t>(scale);
        header->duration = 0; // players believe the tables
        movie.editHeader().edit("trak"_cc)->edit("mdia"_cc)->setLeaf("mdhd"_cc, header->write());
        return scale / static_cast<double>(factor) / before;
    }

    /// Appends pieces of a source until they last as long as a gap does.
    void fill(PlayerFeed::Lane& lane, const PlayerFeed::Piece& with, double length)
    {
        while (length > kBefore && lane.size() < kMostPieces) {
            lane.push_back({with.source, with.start, std::min(with.length, length)});
            length -= with.length;
        }
    }

} // namespace

Result<std::size_t> PlayerFeed::addSource(const QTMovie& movie)
{
    RW_TRY(auto stream, MovieStream::openForPlaying(movie));
    sources.push_back(std::make_shared<const MovieStream>(std::move(stream)));
    return sources.size() - 1;
}

Result<void> PlayerFeed::addPicture(const QTTrack& track, const FrameTimes& frames)
{
    using Segment = FrameTimes::Segment;
    const auto& samples = frames.samples();
    const auto& segments = frames.segments();
    const auto firstPicture = std::find_if(
        segments.begin(), segments.end(), [](const Segment& segment) { return !segment.isGap; });
    if (firstPicture == segments.end())
        return {};

    // An offset that all samples have only moves them; without it there is no reordering left.
    const auto shift = samples.lowestOffset() == samples.highestOffset() ? samples.lowestOffset() : 0;
    const bool reorders = samples.lowestOffset() != samples.highestOffset();
    const auto scale = static_cast<double>(frames.mediaScale());
    if (reorders)
        reordering = std::clamp((samples.highestOffset() - 0.5) / scale, 0.0, kMostReordering);

    // A piece starts with the whole frame that its edit starts in, where that is not its first one.
    const auto startOf = [&](const Segment& segment) {
        return samples.displayedAt(segment.mediaTime).value_or(segment.mediaTime);
    };
    std::vector<std::int64_t> starts;
    for (const auto& segment : segments)
        if (!segment.isGap)
            starts.push_back(startOf(segment));

    QTMovie normal = onlyTrack(track);
    {
        const EditableScope scope {normal};
        if (auto* stbl = sampleTableOf(normal)) {
            if (shift != 0)
                stbl->remove("ctts"_cc);
            if (reorders)
                hideLateSyncSamples(*stbl, samples, starts);
        }
    }

    struct Speed
    {
        std::size_t source = 0;
        double speed = 1;
    };
    std::map<std::int64_t, Speed> speeds; // by 16.16
    const auto sourceAt = [&](double speed) -> Result<Speed> {
        const auto key = std::llround(speed * 65536);
        if (const auto known = speeds.find(key); known != speeds.end())
            return known->second;
        auto movie = normal;
        Speed result;
        if (key != 1 << 16 && speeds.size() < kMostSpeeds)
            result.speed = setSpeed(movie, samples, speed);
        RW_TRY(result.source, addSource(movie));
        speeds.emplace(key, result);
        return result;
    };
    const auto pieceOf = [&](const Segment& segment) -> Result<Piece> {
        const auto length = static_cast<double>(segment.end - segment.start) / frames.timeScale();
        const auto start = startOf(segment);
        auto speed = segment.rate / 65536.0;
        if (segment.rate <= 0) { // one frame lasts for all of it
            const auto following = samples.displayedAfter(start).value_or(samples.end());
            speed = std::max(static_cast<double>(following - start), 1.0) / scale / length;
        }
        RW_TRY(const auto source, sourceAt(speed));
        return Piece {source.source,
            std::max(0.0, static_cast<double>(start - shift) / scale / source.speed - kBefore), length};
    };

    RW_TRY(auto filling, pieceOf(*firstPicture));
    // No longer than there is media, or the gap would not be filled.
    filling.length = std::clamp(
        static_cast<double>(samples.end() - startOf(*firstPicture)) / scale, kBefore * 2, filling.length);
    for (const auto& segment : segments) {
        if (picture.size() >= kMostPieces)
            break;
        if (segment.isGap) {
            fill(picture, filling, static_cast<double>(segment.end - segment.start) / frames.timeScale());
        } else {
            RW_TRY(const auto piece, pieceOf(segment));
            picture.push_back(piece);
        }
    }
    return {};
}

Result<void> PlayerFeed::addSound(const QTTrack& track)
{
    const auto media = track.media();
    const auto movieScale = track.timeScale();
    const auto mediaScale = media.timeScale();
    RW_TRY(const auto list, track.editList());
    if (movieScale <= 0 || mediaScale <= 0)
        return {};
    RW_TRY(const auto source, addSource(onlyTrack(track)));

    Lane lane;
    std::optional<Piece> silence;
    for (const auto& edit : list.edits) {
        const auto length = static_cast<double>(edit.duration) / movieScale;
        if (lane.size() >= kMostPieces)
            break;
        if (edit.duration == 0)
            continue;
        if (!edit.isEmpty()) {
            lane.push_back({source, std::max(0.0, static_cast<double>(edit.mediaTime) / mediaScale), length});
            continue;
        }
        if (!silence) {
            const auto description = media.sampleDescription(1);
            const auto sound = description ? description->sound() : Result<SoundDescription> {};
            RW_TRY(const auto silent,
                addSource(silentMovie(sound ? sound->sampleRate : 0, sound ? sound->channels : 0)));
            silence = Piece {silent, 0, kSilentMovieSeconds};
        }
        fill(lane, *silence, length);
    }
    if (!lane.empty())
        sounds.push_back(std::move(lane));
    return {};
}

} // namespace reelwright
