#include "movie/files/Fragments.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/HeaderAtoms.h"
#include "movie/samples/SampleTableBuilder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>

namespace reelwright {
namespace {

    // Flags of tfhd (8.8.7).
    constexpr std::uint32_t kBaseDataOffset = 0x000001;
    constexpr std::uint32_t kDescriptionIndex = 0x000002;
    constexpr std::uint32_t kDefaultDuration = 0x000008;
    constexpr std::uint32_t kDefaultSize = 0x000010;
    constexpr std::uint32_t kDefaultFlags = 0x000020;
    constexpr std::uint32_t kDurationIsEmpty = 0x010000;
    constexpr std::uint32_t kDefaultBaseIsMoof = 0x020000;
    // Flags of trun (8.8.8).
    constexpr std::uint32_t kDataOffset = 0x000001;
    constexpr std::uint32_t kFirstSampleFlags = 0x000004;
    constexpr std::uint32_t kSampleDuration = 0x000100;
    constexpr std::uint32_t kSampleSize = 0x000200;
    constexpr std::uint32_t kSampleFlags = 0x000400;
    constexpr std::uint32_t kSampleCompositionOffset = 0x000800;
    // Sample flags (8.8.3.1).
    constexpr std::uint32_t kIsNonSync = 0x00010000;

    /// Beyond this times are damage; sums below it cannot overflow.
    constexpr std::uint64_t kMaxTime = 1ULL << 61U;

    /// Sample properties that hold where a fragment says nothing else (`trex`).
    struct Defaults
    {
        std::uint32_t description = 1;
        std::uint32_t duration = 0;
        std::uint32_t size = 0;
        std::uint32_t flags = 0;
    };

    /// A `trun`: samples that lie together.
    struct Run
    {
        std::uint32_t flags = 0;
        std::uint32_t count = 0;
        std::optional<std::int32_t> dataOffset;
        std::optional<std::uint32_t> firstSampleFlags;
        Bytes rows; ///< `count` rows of the fields that the flags name

        [[nodiscard]] std::size_t rowSize() const
        {
            std::size_t size = 0;
            for (const auto field : {kSampleDuration, kSampleSize, kSampleFlags, kSampleCompositionOffset})
                size += (flags & field) != 0 ? 4 : 0;
            return size;
        }
    };

    /// A `traf`: what a fragment adds to one track.
    struct TrackFragment
    {
        std::uint32_t trackID = 0;
        std::uint32_t flags = 0;
        std::uint64_t baseDataOffset = 0;
        std::optional<std::uint32_t> description;
        std::optional<std::uint32_t> duration;
        std::optional<std::uint32_t> size;
        std::optional<std::uint32_t> sampleFlags;
        std::optional<std::uint64_t> decodeTime;
        std::optional<Bytes> dependencies; ///< the bytes of `sdtp`
        std::vector<Run> runs;
    };

    Result<Run> parseRun(const Bytes& payload)
    {
        ByteReader in {payload.span(), "trun"};
        Run run;
        run.flags = in.u32() & 0xFFFFFFU;
        run.count = in.u32();
        if ((run.flags & kDataOffset) != 0)
            run.dataOffset = in.i32();
        if ((run.flags & kFirstSampleFlags) != 0)
            run.firstSampleFlags = in.u32();
        if (const auto size = run.rowSize(); size != 0) {
            if (run.count > in.left() / size)
                return failure(MovieError::Code::Corrupt, "moof/traf/trun",
                    fmt::format("{} samples claimed, room for {}", run.count, in.left() / size));
            run.rows = payload.slice(in.position(), run.count * size);
        }
        return in.finish(std::move(run));
    }

    Result<TrackFragment> parseTrackFragment(const Atom& traf)
    {
        const auto* header = traf.find("tfhd"_cc);
        if (!header)
            return failure(
                MovieError::Code::Corrupt, "moof/traf", "no track fragment header", traf.sourceOffset);
        ByteReader in {header->head.span(), "moof/traf/tfhd"};
        TrackFragment fragment;
        fragment.flags = in.u32() & 0xFFFFFFU;
        fragment.trackID = in.u32();
        const auto has = [&](std::uint32_t flag) { return (fragment.flags & flag) != 0; };
        if (has(kBaseDataOffset))
            fragment.baseDataOffset = in.u64();
        if (has(kDescriptionIndex))
            fragment.description = in.u32();
        if (has(kDefaultDuration))
            fragment.duration = in.u32();
        if (has(kDefaultSize))
            fragment.size = in.u32();
        if (has(kDefaultFlags))
            fragment.sampleFlags = in.u32();
        for (const auto& child : traf.children) {
            if (child->type == "trun"_cc) {
                RW_TRY(auto run, parseRun(child->head));
                fragment.runs.push_back(std::move(run));
            } else if (child->type == "tfdt"_cc) {
                ByteReader time {child->head.span(), "moof/traf/tfdt"};
                const bool wide = time.u8() == 1;
                time.skip(3);
                RW_TRY(fragment.decodeTime, time.finish(wide ? time.u64() : time.u32()));
                if (*fragment.decodeTime > kMaxTime)
                    return failure(MovieError::Code::Corrupt, "moof/traf/tfdt", "the time is out of range",
                        child->sourceOffset);
            } else if (child->type == "sdtp"_cc) {
                fragment.dependencies = child->head.slice(4);
            }
        }
        return in.finish(std::move(fragment));
    }

    Result<std::vector<TrackFragment>> parseFragment(const Atom& moof)
    {
        std::vector<TrackFragment> fragments;
        for (const auto& child : moof.children)
            if (child->type == "traf"_cc) {
                RW_TRY(auto fragment, parseTrackFragment(*child));
                fragments.push_back(std::move(fragment));
            }
        return fragments;
    }

    /// A track of the movie while its samples are gathered.
    struct Track
    {
        std::size_t childIndex = 0; ///< in moov
        Defaults defaults;
        SampleTableBuilder table;
        bool hasFragments = false;
        std::uint64_t nextTime = 0; ///< decode time of the next sample, as fragments count it
        /// Fragment time less table time: the start of the first fragment of a track that has no samples
        /// before it, and what could not be expressed.
        std::int64_t origin = 0;
    };

    class Gatherer
    {
    public:
        Gatherer(Atom& moov, const MovieFile& file, std::vector<MovieWarning>& warnings)
            : m_moov(moov)
            , m_file(file)
            , m_warnings(warnings)
            , m_impliedLeft(file.layout.fileSize)
        {
        }

        Result<void> run()
        {
            RW_CHECK(findTracks());
            for (const auto& atom : m_file.layout.atoms) {
                if (atom.type != "moof"_cc)
                    continue;
                auto moof = read(atom);
                if (!moof && moof.error().code == MovieError::Code::Io)
                    return tl::unexpected<MovieError>(std::move(moof).error());
                auto fragments = moof ? parseFragment(*moof)
                                      : Result<std::vector<TrackFragment>>(tl::unexpect, moof.error());
                if (!fragments) {
                    // What was gathered from it so far is nothing: a fragment counts whole or not at all.
                    warn(atom.offset, "this fragment is left out: " + std::move(fragments).error().detail);
                    continue;
                }
                RW_CHECK(addFragment(atom, *fragments));
            }
            return finish();
        }

    private:
        void warn(std::uint64_t offset, std::string detail)
        {
            m_warnings.push_back({offset, "moof", std::move(detail)});
        }

        Result<Atom> read(const TopLevelAtom& place)
        {
            if (place.size > MovieFile::kMaxHeaderSize)
                return failure(MovieError::Code::Unsupported, "moof", "it is too large", place.offset);
            RW_TRY(const auto bytes, readExactly(*m_file.file, place.offset, place.size, m_file.path));
            return Atom::parse(bytes, place.offset, &m_warnings);
        }

        Result<void> findTracks()
        {
            std::map<std::uint32_t, Defaults> defaults;
            if (const auto* extends = m_moov.find("mvex"_cc))
                for (const auto& child : extends->children) {
                    if (child->type != "trex"_cc)
                        continue;
                    ByteReader in {child->head.span()};
                    in.skip(4);
                    const auto id = in.u32();
                    const Defaults value {in.u32(), in.u32(), in.u32(), in.u32()};
                    if (in.ok())
                        defaults.emplace(id, value);
                }
            for (std::size_t i = 0; i < m_moov.children.size(); ++i) {
                const auto& trak = *m_moov.children[i];
                const auto* header = trak.type == "trak"_cc ? trak.find("tkhd"_cc) : nullptr;
                const auto* tables = trak.find({"mdia"_cc, "minf"_cc, "stbl"_cc});
                if (!header || !tables)
                    continue;
                const auto parsed = TrackHeader::parse(header->head);
                if (!parsed || m_tracks.contains(parsed->trackID))
                    continue;
                auto& track = m_tracks[parsed->trackID];
                track.childIndex = i;
                track.defaults = defaults[parsed->trackID];
                track.table = SampleTableBuilder::continuing(*tables);
                track.nextTime = track.table.duration();
                // A table of samples alike takes no room, but may have to be listed one by one in the end.
                if (track.table.sampleCount() > m_file.layout.fileSize)
                    return failure(MovieError::Code::Corrupt, "moov/trak/mdia/minf/stbl",
                        "the header claims more samples than the file can hold", tables->sourceOffset);
            }
            return {};
        }

        Result<void> addFragment(const TopLevelAtom& moof, const std::vector<TrackFragment>& fragments)
        {
            m_moof = &moof;
            m_outside = 0;
            std::uint64_t previousEnd = moof.offset;
            for (const auto& fragment : fragments) {
                const auto track = m_tracks.find(fragment.trackID);
                std::uint64_t base = previousEnd;
                if ((fragment.flags & kBaseDataOffset) != 0)
                    base = fragment.baseDataOffset;
                else if ((fragment.flags & kDefaultBaseIsMoof) != 0)
                    base = moof.offset;
                if (track == m_tracks.end())
                    warn(moof.offset,
                        fmt::format(
                            "samples of track {}, which there is not, are left out", fragment.trackID));
                RW_TRY(previousEnd,
                    addTrackFragment(track == m_tracks.end() ? nullptr : &track->second, fragment, base));
            }
            if (m_outside != 0)
                warn(moof.offset, fmt::format("{} samples lie outside the file and are left out", m_outside));
            return {};
        }

        /// Answers where the data end. Without a track only that is done.
        Result<std::uint64_t> addTrackFragment(
            Track* track, const TrackFragment& fragment, std::uint64_t base)
        {
            const auto& fallback = track ? track->defaults : Defaults {};
            const Defaults values {fragment.description.value_or(fallback.description),
                fragment.duration.value_or(fallback.duration), fragment.size.value_or(fallback.size),
                fragment.sampleFlags.value_or(fallback.flags)};
            if (track && fragment.decodeTime)
                track->nextTime = *fragment.decodeTime;
            if (track && (fragment.flags & kDurationIsEmpty) != 0)
                track->nextTime += values.duration;
            if (track && fragment.dependencies)
                track->table.keepDependencies();
            std::uint64_t end = base;
            std::size_t sampleIndex = 0;
            for (const auto& run : fragment.runs) {
                if (run.dataOffset)
                    end = base + static_cast<std::uint64_t>(static_cast<std::int64_t>(*run.dataOffset));
                if (track)
                    track->table.beginChunk(end, std::max(values.description, 1U));
                RW_TRY(end, addRun(track, fragment, run, values, end, sampleIndex));
                sampleIndex += run.count;
            }
            return end;
        }

        Result<std::uint64_t> addRun(Track* track, const TrackFragment& fragment, const Run& run,
            const Defaults& values, std::uint64_t offset, std::size_t sampleIndex)
        {
            ByteReader rows {run.rows.span()};
            // Without fields of their own all samples but the first are alike and are taken at once.
            const bool alike = run.rows.empty() && !fragment.dependencies;
            for (std::uint32_t i = 0; i < run.count;) {
                const auto field = [&](std::uint32_t flag, std::uint32_t otherwise) {
                    return (run.flags & flag) != 0 ? rows.u32() : otherwise;
                };
                SampleTableBuilder::Sample sample;
                sample.duration = field(kSampleDuration, values.duration);
                sample.size = field(kSampleSize, values.size);
                auto flags = field(
                    kSampleFlags, i == 0 && run.firstSampleFlags ? *run.firstSampleFlags : values.flags);
                sample.compositionOffset = static_cast<std::int32_t>(field(kSampleCompositionOffset, 0));
                sample.isSync = (flags & kIsNonSync) == 0;
                sample.dependency = static_cast<std::uint8_t>(flags >> 20U & 0xFFU);
                if (fragment.dependencies && sampleIndex + i < fragment.dependencies->size())
                    sample.dependency
                        = std::to_integer<std::uint8_t>(fragment.dependencies->span()[sampleIndex + i]);
                const bool many = alike && !(i == 0 && run.firstSampleFlags);
                const auto count = many ? run.count - i : 1;
                if (track)
                    RW_CHECK(addSamples(*track, sample, count, offset, run.rows.empty()));
                const auto bytes = static_cast<std::uint64_t>(count) * sample.size;
                offset = bytes > UINT64_MAX - offset ? UINT64_MAX : offset + bytes;
                i += count;
            }
            return offset;
        }

        /// Adds samples alike that lie at `offset`, leaving out those that the file does not hold.
        Result<void> addSamples(Track& track, const SampleTableBuilder::Sample& sample, std::uint32_t count,
            std::uint64_t offset, bool implied)
        {
            const auto fileSize = m_file.layout.fileSize;
            const auto room = offset < fileSize ? fileSize - offset : 0;
            auto there = count;
            if (sample.size != 0)
                there = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, room / sample.size));
            if (implied) {
                // No byte of the fragment stands for each of these samples; a byte of the file has to.
                const auto cost = static_cast<std::uint64_t>(there) * std::max(sample.size, 1U);
                if (cost > m_impliedLeft)
                    return failure(MovieError::Code::Corrupt, "moof/traf/trun",
                        "the fragments claim more samples than the file can hold", m_moof->offset);
                m_impliedLeft -= cost;
            }
            m_outside += count - there;
            if (there != 0) {
                alignTime(track);
                track.hasFragments = true;
                RW_CHECK(track.table.add(sample, there));
            }
            track.nextTime += static_cast<std::uint64_t>(count) * sample.duration;
            if (track.nextTime > kMaxTime)
                return failure(MovieError::Code::Corrupt, "moof/traf/trun", "the times are out of range",
                    m_moof->offset);
            return {};
        }

        /// Makes the table end where the next sample starts.
        void alignTime(Track& track)
        {
            const auto start = static_cast<std::int64_t>(track.nextTime);
            if (track.table.sampleCount() == 0) {
                track.origin = start;
                return;
            }
            const auto gap = start - track.origin - static_cast<std::int64_t>(track.table.duration());
            if (gap == 0 || track.table.changeLastDuration(gap))
                return;
            warn(m_moof->offset, fmt::format("a jump of {} time units in the track is not kept", gap));
            track.origin += gap;
        }

        Result<void> finish()
        {
            const auto header = movieHeader();
            const std::int64_t scale = header ? header->timeScale : 0;
            std::optional<std::int64_t> common;
            for (const auto& [id, track] : m_tracks)
                if (track.hasFragments) {
                    const auto blank = blankBefore(track, scale);
                    common = common ? std::min(*common, blank) : blank;
                }
            for (const auto& [id, track] : m_tracks)
                if (track.hasFragments)
                    finishTrack(track, scale, common.value_or(0));
            m_moov.remove("mvex"_cc);
            if (!header)
                return {};
            auto changed = *header;
            changed.duration = 0;
            for (const auto& child : m_moov.children)
                if (const auto* tkhd = child->type == "trak"_cc ? child->find("tkhd"_cc) : nullptr)
                    if (const auto track = TrackHeader::parse(tkhd->head);
                        track && track->duration != kUnknownDuration)
                        changed.duration = std::max(changed.duration, track->duration);
            m_moov.edit("mvhd"_cc)->head = changed.write();
            return {};
        }

        [[nodiscard]] std::optional<MovieHeader> movieHeader() const
        {
            const auto* atom = m_moov.find("mvhd"_cc);
            if (!atom)
                return std::nullopt;
            auto header = MovieHeader::parse(atom->head);
            return header ? std::optional(std::move(*header)) : std::nullopt;
        }

        [[nodiscard]] const Atom& trackAtom(const Track& track) const
        {
            return *m_moov.children[track.childIndex];
        }

        [[nodiscard]] std::optional<MediaHeader> mediaHeader(const Track& track) const
        {
            const auto* atom = trackAtom(track).find({"mdia"_cc, "mdhd"_cc});
            if (!atom)
                return std::nullopt;
            auto header = MediaHeader::parse(atom->head);
            return header ? std::optional(std::move(*header)) : std::nullopt;
        }

        /// The track's edit list; one edit to the media's end where there is none.
        [[nodiscard]] EditList editList(const Track& track) const
        {
            if (const auto* atom = trackAtom(track).find({"edts"_cc, "elst"_cc}))
                if (auto list = EditList::parse(atom->head); list && !list->edits.empty())
                    return std::move(*list);
            EditList list;
            list.edits.push_back({});
            return list;
        }

        static std::size_t firstMediaEdit(const EditList& list)
        {
            std::size_t index = 0;
            while (index < list.edits.size() && list.edits[index].isEmpty())
                ++index;
            return index;
        }

        /// Time between the start of the first edit's media and the first sample, in the movie's time scale.
        [[nodiscard]] std::int64_t blankBefore(const Track& track, std::int64_t scale) const
        {
            const auto media = mediaHeader(track);
            const auto list = editList(track);
            const auto first = firstMediaEdit(list);
            if (!media || first == list.edits.size() || track.origin <= list.edits[first].mediaTime)
                return 0;
            return rescale(track.origin - list.edits[first].mediaTime, scale, media->timeScale);
        }

        void finishTrack(const Track& track, std::int64_t scale, std::int64_t commonBlank)
        {
            auto media = mediaHeader(track);
            const auto end
                = static_cast<std::int64_t>(std::min<std::uint64_t>(track.table.compositionEnd(), kMaxTime));
            auto list = editList(track);
            const bool hadList = trackAtom(track).find({"edts"_cc, "elst"_cc}) != nullptr;
            const auto blank = blankBefore(track, scale);
            auto& trak = m_moov.children[track.childIndex].edit();
            track.table.write(*trak.edit({"mdia"_cc, "minf"_cc, "stbl"_cc}));
            if (!media)
                return;
            media->duration = track.table.duration();
            trak.edit({"mdia"_cc, "mdhd"_cc})->head = media->write();

            const auto first = firstMediaEdit(list);
            for (auto& edit : list.edits)
                if (!edit.isEmpty())
                    edit.mediaTime = std::max<std::int64_t>(edit.mediaTime - track.origin, 0);
            if (first < list.edits.size()) {
                auto& edit = list.edits[first];
                const auto cut = static_cast<std::uint64_t>(blank);
                edit.duration -= std::min(edit.duration, cut);
                // Of an edit list written before the length was known, zero means "to the end".
                auto& last = list.edits.back();
                if (last.duration == 0 && !last.isEmpty())
                    last.duration = static_cast<std::uint64_t>(
                        rescale(std::max<std::int64_t>(end - last.mediaTime, 0), scale, media->timeScale));
                if (blank > commonBlank)
                    list.edits.insert(list.edits.begin() + static_cast<std::ptrdiff_t>(first),
                        {static_cast<std::uint64_t>(blank - commonBlank), -1, 1 << 16});
            }
            std::uint64_t duration = list.duration();
            if (hadList) {
                trak.edit({"edts"_cc, "elst"_cc})->head = list.write();
            } else if (blank > commonBlank) {
                Atom edits = Atom::container("edts"_cc);
                edits.setLeaf("elst"_cc, list.write());
                trak.remove("edts"_cc);
                trak.insertBefore("mdia"_cc, std::move(edits));
            } else {
                duration = static_cast<std::uint64_t>(
                    rescale(static_cast<std::int64_t>(std::min<std::uint64_t>(media->duration, kMaxTime)),
                        scale, media->timeScale));
            }
            if (auto header = TrackHeader::parse(trak.find("tkhd"_cc)->head)) {
                header->duration = duration;
                trak.edit("tkhd"_cc)->head = header->write();
            }
        }

        Atom& m_moov;
        const MovieFile& m_file;
        std::vector<MovieWarning>& m_warnings;
        std::map<std::uint32_t, Track> m_tracks; ///< by track ID
        const TopLevelAtom* m_moof = nullptr;
        std::uint64_t m_outside = 0; ///< samples of this fragment
        std::uint64_t m_impliedLeft; ///< bytes that samples without fields of their own may still take
    };

    // What flattening would lose

    using Uuid = std::array<std::uint8_t, 16>;
    /// Fragment times that ordinary tables replace (`tfxd`, `tfrf` of Smooth Streaming).
    constexpr Uuid kReplaceable[] = {
        {0x6D, 0x1D, 0x9B, 0x05, 0x42, 0xD5, 0x44, 0xE6, 0x80, 0xE2, 0x14, 0x1D, 0xAF, 0xF7, 0x57, 0xB2},
        {0xD4, 0x80, 0x7E, 0xF2, 0xCA, 0x39, 0x46, 0x95, 0x8E, 0x54, 0x26, 0xCB, 0x9E, 0x46, 0xA7, 0x9F},
    };

    bool isReplaceable(const Atom& uuid)
    {
        const auto bytes = uuid.head.slice(0, 16);
        return std::any_of(std::begin(kReplaceable), std::end(kReplaceable),
            [&](const Uuid& id) { return bytes == Bytes::copyOf(std::as_bytes(std::span {id})); });
    }

    std::string_view describe(FourCC type)
    {
        switch (type.value) {
        case "senc"_cc.value:
        case "saiz"_cc.value:
        case "saio"_cc.value:
        case "pssh"_cc.value:
        case "uuid"_cc.value:
            return "data for each sample, such as encryption keys need";
        case "sbgp"_cc.value:
        case "sgpd"_cc.value:
            return "sample groups";
        default:
            return "data that ordinary sample tables have no place for";
        }
    }

    std::optional<std::string> sentence(const Atom& atom)
    {
        return fmt::format(
            "the atom {} at byte {} holds {}", atom.type.text(), atom.sourceOffset, describe(atom.type));
    }

} // namespace

bool isFragmented(const FileLayout& layout)
{
    return std::any_of(layout.atoms.begin(), layout.atoms.end(),
        [](const TopLevelAtom& atom) { return atom.type == "moof"_cc; });
}

Result<void> gatherFragments(Atom& moov, const MovieFile& file, std::vector<MovieWarning>& warnings)
{
    if (!isFragmented(file.layout))
        return {};
    return Gatherer {moov, file, warnings}.run();
}

std::optional<std::string> hindranceToFlattening(const Atom& moov, const MovieFile& file)
{
    for (const auto& trak : moov.children)
        if (const auto* tables = trak->find({"mdia"_cc, "minf"_cc, "stbl"_cc}))
            if (const auto* offsets = tables->find("saio"_cc))
                return sentence(*offsets); // file offsets that moving the media would leave behind
    for (const auto& place : file.layout.atoms) {
        if (place.type != "moof"_cc || place.size > MovieFile::kMaxHeaderSize)
            continue;
        const auto bytes = readExactly(*file.file, place.offset, place.size, file.path);
        if (!bytes)
            return bytes.error().message();
        const auto moof = Atom::parse(*bytes, place.offset);
        if (!moof)
            continue; // gathered as little as it will be copied
        for (const auto& child : moof->children) {
            switch (child->type.value) {
            case "mfhd"_cc.value:
            case "free"_cc.value:
            case "skip"_cc.value:
                continue;
            case "traf"_cc.value:
                break;
            default:
                return sentence(*child);
            }
            for (const auto& part : child->children) {
                switch (part->type.value) {
                case "tfhd"_cc.value:
                case "tfdt"_cc.value:
                case "trun"_cc.value:
                case "sdtp"_cc.value:
                case "free"_cc.value:
                case "skip"_cc.value:
                    continue;
                default:
                    if (part->type == "uuid"_cc && isReplaceable(*part))
                        continue;
                    return sentence(*part);
                }
            }
        }
    }
    return std::nullopt;
}

} // namespace reelwright
