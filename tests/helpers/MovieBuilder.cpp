#include "tests/helpers/MovieBuilder.h"

#include "movie/atoms/ByteWriter.h"

#include <algorithm>
#include <initializer_list>
#include <numeric>

namespace reelwright::test {
namespace {

    constexpr std::uint32_t kMovieScale = 600;
    constexpr std::uint16_t kWidth = 32;
    constexpr std::uint16_t kHeight = 24;

    using Block = std::vector<std::byte>;

    Block joined(std::initializer_list<Block> parts)
    {
        Block all;
        for (const auto& part : parts)
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }

    Block container(FourCC type, std::initializer_list<Block> children)
    {
        return atomBytes(type, joined(children));
    }

    Block leaf(FourCC type, const ByteWriter& payload)
    {
        return atomBytes(type, payload.span());
    }

    Block unknownAtom(std::string_view text)
    {
        return leaf(MovieBuilder::kUnknown, ByteWriter {}.text(text));
    }

    void writeUnitMatrix(ByteWriter& out)
    {
        for (const std::uint32_t value : {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U})
            out.u32(value);
    }

    /// The byte at `position` of a track's media.
    std::byte mediaByte(std::uint32_t trackID, std::uint64_t position)
    {
        auto mixed = (position + 1) * 0x9E3779B97F4A7C15ULL + trackID * 0xD1B54A32D192ED03ULL;
        mixed ^= mixed >> 29U;
        mixed *= 0xBF58476D1CE4E5B9ULL;
        return static_cast<std::byte>(mixed >> 56U);
    }

    std::uint64_t mediaPosition(const BuiltTrack& track, std::uint32_t sample)
    {
        std::uint64_t position = 0;
        for (std::uint32_t i = 1; i < sample; ++i)
            position += track.sampleSize(i);
        return position;
    }

    Block mediaBytes(std::uint32_t trackID, std::uint64_t from, std::uint64_t to)
    {
        Block bytes;
        for (auto position = from; position < to; ++position)
            bytes.push_back(mediaByte(trackID, position));
        return bytes;
    }

    std::uint32_t chunkCount(const BuiltTrack& track)
    {
        return (track.samples + track.samplesPerChunk - 1) / track.samplesPerChunk;
    }

    /// The media of one chunk (0-based).
    Block chunkBytes(const BuiltTrack& track, std::uint32_t trackID, std::uint32_t chunk)
    {
        const auto first = chunk * track.samplesPerChunk + 1;
        const auto end = std::min(first + track.samplesPerChunk, track.samples + 1);
        return mediaBytes(trackID, mediaPosition(track, first), mediaPosition(track, end));
    }

    std::uint32_t movieDuration(const BuiltTrack& track)
    {
        std::uint64_t duration
            = std::uint64_t {track.samples} * track.sampleDuration() * kMovieScale / track.timeScale();
        if (!track.edits.empty())
            duration = std::accumulate(track.edits.begin(), track.edits.end(), std::uint64_t {},
                [](std::uint64_t sum, const EditList::Edit& edit) { return sum + edit.duration; });
        return static_cast<std::uint32_t>(duration);
    }

    Block sampleDescription(const BuiltTrack& track)
    {
        ByteWriter out;
        out.zeros(6).u16(1); // reserved, data reference
        if (track.isVideo()) {
            out.zeros(8).u32(0).u32(0x200); // version, revision, vendor, qualities
            out.u16(kWidth).u16(kHeight).u32(72 << 16).u32(72 << 16);
            out.u32(0).u16(1).zeros(32).u16(24).i16(-1); // size, frames, name, depth, colour table
        } else {
            out.zeros(8).u16(1).u16(16).u32(0).u32(48000U << 16U); // channels, bits, packet size, rate
        }
        return leaf(track.isVideo() ? "raw "_cc : "sowt"_cc, out);
    }

    Block sampleTable(const BuiltTrack& track, const std::vector<std::uint64_t>& chunkOffsets, bool wide)
    {
        ByteWriter stsd;
        stsd.u32(0).u32(1).bytes(sampleDescription(track));
        ByteWriter stts;
        stts.u32(0).u32(1).u32(track.samples).u32(track.sampleDuration());
        const auto lastChunk = track.samples % track.samplesPerChunk;
        const bool twoRuns = lastChunk != 0 && chunkCount(track) > 1;
        ByteWriter stsc;
        stsc.u32(0).u32(twoRuns ? 2 : 1);
        stsc.u32(1).u32(std::min(track.samples, track.samplesPerChunk)).u32(1);
        if (twoRuns)
            stsc.u32(chunkCount(track)).u32(lastChunk).u32(1);
        ByteWriter stsz;
        stsz.u32(0).u32(track.isVideo() ? 0 : track.sampleSize(1)).u32(track.samples);
        for (std::uint32_t i = 1; track.isVideo() && i <= track.samples; ++i)
            stsz.u32(track.sampleSize(i));
        ByteWriter offsets;
        offsets.u32(0).u32(static_cast<std::uint32_t>(chunkOffsets.size()));
        for (const auto offset : chunkOffsets)
            wide ? offsets.u64(offset) : offsets.u32(static_cast<std::uint32_t>(offset));
        return container("stbl"_cc,
            {leaf("stsd"_cc, stsd), leaf("stts"_cc, stts), leaf("stsc"_cc, stsc), leaf("stsz"_cc, stsz),
                leaf(wide ? "co64"_cc : "stco"_cc, offsets)});
    }

    Block handler(FourCC component, FourCC type, std::string_view name)
    {
        ByteWriter out;
        out.u32(0).fourCC(component).fourCC(type).zeros(12);
        out.u8(static_cast<std::uint8_t>(name.size())).text(name);
        return leaf("hdlr"_cc, out);
    }

    Block mediaInformation(const BuiltTrack& track, const std::vector<std::uint64_t>& offsets, bool wide)
    {
        ByteWriter head;
        head.u32(track.isVideo() ? 1 : 0);
        track.isVideo() ? head.u16(0x40).u16(0x8000).u16(0x8000).u16(0x8000) : head.u32(0);
        ByteWriter dref;
        dref.u32(0).u32(1).bytes(leaf("alis"_cc, ByteWriter {}.u32(1))); // flag 1: this file
        return container("minf"_cc,
            {leaf(track.isVideo() ? "vmhd"_cc : "smhd"_cc, head), handler("dhlr"_cc, "alis"_cc, "Data"),
                container("dinf"_cc, {leaf("dref"_cc, dref)}), sampleTable(track, offsets, wide)});
    }

    Block editList(const BuiltTrack& track)
    {
        if (track.edits.empty())
            return {};
        ByteWriter out;
        out.u32(0).u32(static_cast<std::uint32_t>(track.edits.size()));
        for (const auto& edit : track.edits)
            out.u32(static_cast<std::uint32_t>(edit.duration))
                .i32(static_cast<std::int32_t>(edit.mediaTime))
                .i32(edit.rate);
        return container("edts"_cc, {leaf("elst"_cc, out)});
    }

} // namespace

std::vector<std::byte> atomBytes(FourCC type, ByteSpan payload)
{
    ByteWriter out;
    out.u32(static_cast<std::uint32_t>(payload.size() + 8)).fourCC(type).bytes(payload);
    return out.take();
}

std::uint32_t BuiltTrack::sampleSize(std::uint32_t sample) const
{
    return isVideo() ? 40 + sample * 53 % 97 : 2;
}

std::vector<std::byte> MovieBuilder::sample(std::uint32_t trackID, std::uint32_t number) const
{
    const auto& track = tracks.at(trackID - 1);
    const auto from = mediaPosition(track, number);
    return mediaBytes(trackID, from, from + track.sampleSize(number));
}

std::vector<std::byte> MovieBuilder::media(const BuiltTrack& track, std::uint32_t trackID)
{
    return mediaBytes(trackID, 0, mediaPosition(track, track.samples + 1));
}

std::vector<std::byte> MovieBuilder::buildTrack(const BuiltTrack& track, std::uint32_t trackID,
    const std::vector<std::uint64_t>& chunkOffsets, bool wideOffsets, bool unknownAtoms)
{
    ByteWriter tkhd;
    tkhd.u32(0xF).u32(0).u32(0).u32(trackID).u32(0).u32(movieDuration(track)).zeros(8);
    tkhd.u16(0).u16(0).u16(track.isVideo() ? 0 : 0x100).u16(0); // layer, group, volume
    writeUnitMatrix(tkhd);
    tkhd.u32(track.isVideo() ? kWidth << 16U : 0).u32(track.isVideo() ? kHeight << 16U : 0);
    ByteWriter mdhd;
    mdhd.u32(0).u32(0).u32(0).u32(track.timeScale()).u32(track.samples * track.sampleDuration()).u32(0);
    return container("trak"_cc,
        {leaf("tkhd"_cc, tkhd), editList(track), unknownAtoms ? unknownAtom("in a track") : Block {},
            container("mdia"_cc,
                {leaf("mdhd"_cc, mdhd), handler("mhlr"_cc, track.mediaType, "Media"),
                    mediaInformation(track, chunkOffsets, wideOffsets)})});
}

std::vector<std::byte> MovieBuilder::header(const std::vector<std::vector<std::uint64_t>>& chunkOffsets) const
{
    std::uint32_t duration = 0;
    Block trackAtoms;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        duration = std::max(duration, movieDuration(tracks[i]));
        const auto atom = buildTrack(
            tracks[i], static_cast<std::uint32_t>(i + 1), chunkOffsets[i], hasWideOffsets, hasUnknownAtoms);
        trackAtoms.insert(trackAtoms.end(), atom.begin(), atom.end());
    }
    ByteWriter mvhd;
    mvhd.u32(0).u32(0).u32(0).u32(kMovieScale).u32(duration).u32(0x10000).u16(0x100).zeros(10);
    writeUnitMatrix(mvhd);
    mvhd.zeros(24).u32(static_cast<std::uint32_t>(tracks.size() + 1));

    ByteWriter userData;
    if (commentSize > 0) {
        ByteWriter comment;
        comment.u16(static_cast<std::uint16_t>(commentSize)).u16(0);
        for (std::uint32_t i = 0; i < commentSize; ++i)
            comment.u8(static_cast<std::uint8_t>('a' + i % 26));
        userData.bytes(leaf("\xA9"
                            "cmt"_cc,
            comment));
    }
    if (hasUnknownAtoms)
        userData.bytes(unknownAtom("in user data"));
    if (isUserDataTerminated)
        userData.u32(0);
    return container("moov"_cc,
        {leaf("mvhd"_cc, mvhd), hasUnknownAtoms ? unknownAtom("in the header") : Block {}, trackAtoms,
            userData.size() > 0 ? leaf("udta"_cc, userData) : Block {}});
}

std::vector<std::byte> MovieBuilder::build() const
{
    // Chunks of all tracks in turns, in one media atom or, round the header, two.
    struct Chunk
    {
        std::size_t track;
        Block bytes;
    };
    std::vector<Chunk> chunks;
    std::uint32_t rounds = 0;
    for (const auto& track : tracks)
        rounds = std::max(rounds, chunkCount(track));
    for (std::uint32_t round = 0; round < rounds; ++round)
        for (std::size_t i = 0; i < tracks.size(); ++i)
            if (round < chunkCount(tracks[i]))
                chunks.push_back({i, chunkBytes(tracks[i], static_cast<std::uint32_t>(i + 1), round)});
    const auto inFirst = headerPlace == HeaderPlace::First ? 0
        : headerPlace == HeaderPlace::Last                 ? chunks.size()
                                                           : chunks.size() / 2;

    std::vector<std::vector<std::uint64_t>> offsets(tracks.size());
    for (std::size_t i = 0; i < tracks.size(); ++i)
        offsets[i].resize(chunkCount(tracks[i]));
    const auto headerSize = header(offsets).size(); // it is as long whatever the offsets are
    for (auto& list : offsets)
        list.clear();

    ByteWriter file;
    const auto writeFree = [&](std::uint32_t size, char fill) {
        if (size >= 8)
            file.u32(size).fourCC("free"_cc).text(std::string(size - 8, fill));
    };
    const auto writeMedia = [&](std::size_t from, std::size_t to) {
        if (from == to)
            return;
        std::uint64_t size = 0;
        for (auto i = from; i < to; ++i)
            size += chunks[i].bytes.size();
        if (hasWideMediaSize)
            file.u32(1).fourCC("mdat"_cc).u64(size + 16);
        else
            file.u32(static_cast<std::uint32_t>(size + 8)).fourCC("mdat"_cc);
        for (auto i = from; i < to; ++i) {
            offsets[chunks[i].track].push_back(file.size());
            file.bytes(chunks[i].bytes);
        }
    };
    if (!brand.empty())
        file.u32(20).fourCC("ftyp"_cc).text(brand).u32(0x200).text(brand);
    if (frontSize >= 8)
        file.bytes(unknownAtom(std::string(frontSize - 8, 'f')));
    if (hasUnknownAtoms)
        file.bytes(unknownAtom("before all media"));
    writeMedia(0, inFirst);
    writeFree(freeBefore, 'b');
    const auto headerOffset = file.size();
    file.zeros(headerSize);
    writeFree(freeAfter, 'a');
    writeMedia(inFirst, chunks.size());
    if (hasUnknownAtoms && headerPlace != HeaderPlace::Last)
        file.bytes(unknownAtom("behind all media"));

    const auto atom = header(offsets);
    auto bytes = file.take();
    std::copy(atom.begin(), atom.end(), bytes.begin() + static_cast<std::ptrdiff_t>(headerOffset));
    return bytes;
}

} // namespace reelwright::test
