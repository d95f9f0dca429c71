#include "movie/atoms/HeaderAtoms.h"

#include <algorithm>
#include <cmath>

namespace reelwright {
namespace {

    /// Reads the version and flags that start these atoms, refusing versions nobody has defined.
    Result<bool> readVersion(
        ByteReader& in, std::string_view where, std::uint8_t& version, std::uint32_t& flags)
    {
        version = in.u8();
        flags = in.u24();
        if (version > 1)
            return failure(MovieError::Code::Unsupported, std::string(where), "unknown version");
        return version == 1;
    }

    std::uint64_t readTime(ByteReader& in, bool wide)
    {
        return wide ? in.u64() : in.u32();
    }

    /// 0xFFFFFFFF means "unknown"; it must stay unknown when widened to 64 bits.
    std::uint64_t readDuration(ByteReader& in, bool wide)
    {
        const auto value = readTime(in, wide);
        return !wide && value == UINT32_MAX ? kUnknownDuration : value;
    }

    bool fitsCompact(std::uint64_t time)
    {
        return time <= UINT32_MAX;
    }

    /// A known duration of 0xFFFFFFFF would read as unknown in 32 bits.
    bool durationFitsCompact(std::uint64_t duration)
    {
        return duration < UINT32_MAX || duration == kUnknownDuration;
    }

    void writeTime(ByteWriter& out, bool wide, std::uint64_t value)
    {
        if (wide)
            out.u64(value);
        else
            out.u32(static_cast<std::uint32_t>(value)); // kUnknownDuration keeps its ones
    }

    /// Reads what a movie's, a track's and a media's header start with; answers whether its times are wide.
    template <class Header> Result<bool> readStart(ByteReader& in, std::string_view where, Header& header)
    {
        RW_TRY(const bool wide, readVersion(in, where, header.version, header.flags));
        header.creationTime = readTime(in, wide);
        header.modificationTime = readTime(in, wide);
        return wide;
    }

    /// Writes it, wide where the header was or has to be.
    template <class Header> bool writeStart(ByteWriter& out, const Header& header)
    {
        const bool wide = header.version == 1 || !fitsCompact(header.creationTime)
            || !fitsCompact(header.modificationTime) || !durationFitsCompact(header.duration);
        out.u8(wide ? 1 : 0).u24(header.flags);
        writeTime(out, wide, header.creationTime);
        writeTime(out, wide, header.modificationTime);
        return wide;
    }

    /// The bytes as found, or as many zeros where there were none.
    void writeReserved(ByteWriter& out, const Bytes& bytes, std::size_t size)
    {
        out.bytes(bytes.span()).zeros(size - std::min(size, bytes.size()));
    }

    Bytes take(ByteReader& in, const Bytes& payload, std::size_t size)
    {
        const auto at = in.position();
        in.skip(size);
        return payload.slice(at, size);
    }

} // namespace

std::uint32_t fixed16(double pixels)
{
    return static_cast<std::uint32_t>(std::lround(std::clamp(pixels, 0.0, 65535.0) * 65536.0));
}

Result<MovieHeader> MovieHeader::parse(const Bytes& payload)
{
    ByteReader in {payload.span(), "mvhd"};
    MovieHeader header;
    RW_TRY(const bool wide, readStart(in, "mvhd", header));
    header.timeScale = in.u32();
    header.duration = readDuration(in, wide);
    header.preferredRate = in.i32();
    header.preferredVolume = in.i16();
    header.reserved = take(in, payload, 10);
    header.matrix = Matrix::read(in);
    header.preview = take(in, payload, 24);
    header.nextTrackID = in.u32();
    header.rest = payload.slice(in.position());
    return in.finish(std::move(header));
}

Bytes MovieHeader::write() const
{
    ByteWriter out;
    const bool wide = writeStart(out, *this);
    out.u32(timeScale);
    writeTime(out, wide, duration);
    out.i32(preferredRate).i16(preferredVolume);
    writeReserved(out, reserved, 10);
    matrix.write(out);
    writeReserved(out, preview, 24);
    out.u32(nextTrackID).bytes(rest.span());
    return out.toBytes();
}

Result<TrackHeader> TrackHeader::parse(const Bytes& payload)
{
    ByteReader in {payload.span(), "tkhd"};
    TrackHeader header;
    RW_TRY(const bool wide, readStart(in, "tkhd", header));
    header.trackID = in.u32();
    header.reserved = in.u32();
    header.duration = readDuration(in, wide);
    header.reserved2 = take(in, payload, 8);
    header.layer = in.i16();
    header.alternateGroup = in.i16();
    header.volume = in.i16();
    header.reserved3 = in.u16();
    header.matrix = Matrix::read(in);
    header.width = in.u32();
    header.height = in.u32();
    header.rest = payload.slice(in.position());
    return in.finish(std::move(header));
}

Bytes TrackHeader::write() const
{
    ByteWriter out;
    const bool wide = writeStart(out, *this);
    out.u32(trackID).u32(reserved);
    writeTime(out, wide, duration);
    writeReserved(out, reserved2, 8);
    out.i16(layer).i16(alternateGroup).i16(volume).u16(reserved3);
    matrix.write(out);
    out.u32(width).u32(height).bytes(rest.span());
    return out.toBytes();
}

Result<MediaHeader> MediaHeader::parse(const Bytes& payload)
{
    ByteReader in {payload.span(), "mdhd"};
    MediaHeader header;
    RW_TRY(const bool wide, readStart(in, "mdhd", header));
    header.timeScale = in.u32();
    header.duration = readDuration(in, wide);
    header.language = in.u16();
    header.quality = in.u16();
    header.rest = payload.slice(in.position());
    return in.finish(std::move(header));
}

Bytes MediaHeader::write() const
{
    ByteWriter out;
    const bool wide = writeStart(out, *this);
    out.u32(timeScale);
    writeTime(out, wide, duration);
    out.u16(language).u16(quality).bytes(rest.span());
    return out.toBytes();
}

Result<EditList> EditList::parse(const Bytes& payload)
{
    ByteReader in {payload.span(), "elst"};
    EditList list;
    RW_TRY(const bool wide, readVersion(in, "elst", list.version, list.flags));
    list.edits.resize(in.count32(wide ? 20 : 12));
    for (auto& edit : list.edits) {
        edit.duration = readTime(in, wide);
        edit.mediaTime = wide ? in.i64() : in.i32();
        edit.rate = in.i32();
    }
    list.rest = payload.slice(in.position());
    return in.finish(std::move(list));
}

Bytes EditList::write() const
{
    bool wide = version == 1;
    for (const auto& edit : edits)
        wide
            = wide || !fitsCompact(edit.duration) || edit.mediaTime > INT32_MAX || edit.mediaTime < INT32_MIN;
    ByteWriter out;
    out.u8(wide ? 1 : 0).u24(flags).u32(static_cast<std::uint32_t>(edits.size()));
    for (const auto& edit : edits) {
        writeTime(out, wide, edit.duration);
        if (wide)
            out.i64(edit.mediaTime);
        else
            out.i32(static_cast<std::int32_t>(edit.mediaTime));
        out.i32(edit.rate);
    }
    out.bytes(rest.span());
    return out.toBytes();
}

std::uint64_t EditList::duration() const
{
    constexpr std::uint64_t kMost = kUnknownDuration - 1;
    std::uint64_t total = 0;
    for (const auto& edit : edits)
        total = edit.duration > kMost - total ? kMost : total + edit.duration;
    return total;
}

} // namespace reelwright
