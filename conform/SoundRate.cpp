#include "conform/SoundRate.h"

#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

#include <bit>
#include <cmath>

namespace reelwright::soundRate {
namespace {

    constexpr std::size_t kVersionAt = 8; // of an entry's payload
    constexpr std::size_t kRateAt = 24; ///< 16.16, in versions 0 and 1
    constexpr std::size_t kWideRateAt = 32; ///< 64-bit floating point, in version 2
    constexpr std::size_t kFieldsEnd = 28;

    std::uint16_t versionOf(const Atom& entry)
    {
        ByteReader in {entry.head.span()};
        in.skip(kVersionAt);
        return in.u16();
    }

    Bytes replaced(const Bytes& bytes, std::size_t at, ByteSpan field)
    {
        auto copy = bytes.toVector();
        std::copy(field.begin(), field.end(), copy.begin() + static_cast<std::ptrdiff_t>(at));
        return Bytes::adopt(std::move(copy));
    }

    /// What a version 2 description says of uncompressed samples.
    struct Samples
    {
        std::uint32_t bits = 0;
        bool isFloat = false;
        bool isSigned = true;
        bool isBigEndian = true;
    };

    std::optional<Samples> uncompressed(FourCC format, std::uint32_t bits, const Atom& entry)
    {
        // A flag in an extension of the wave atom says that samples are little-endian.
        const auto little = [&] {
            const auto wave = SampleDescription {entry}.extension(QTMediaTypeSound, "wave"_cc);
            if (!wave)
                return false;
            auto atom = Atom::container("wave"_cc);
            atom.head = *wave;
            const auto parsed = Atom::parse(atom.toBytes(), 0);
            const auto* flag = parsed ? parsed->find("enda"_cc) : nullptr;
            ByteReader in {flag ? flag->head.span() : ByteSpan {}};
            return in.u16() == 1;
        };
        switch (format.value) {
        case "twos"_cc.value:
            return Samples {bits, false, true, true};
        case "sowt"_cc.value:
            return Samples {bits, false, true, false};
        case "raw "_cc.value:
            return bits == 8 ? std::optional {Samples {8, false, false, false}} : std::nullopt;
        case "in24"_cc.value:
            return Samples {24, false, true, !little()};
        case "in32"_cc.value:
            return Samples {32, false, true, !little()};
        case "fl32"_cc.value:
            return Samples {32, true, false, !little()};
        case "fl64"_cc.value:
            return Samples {64, true, false, !little()};
        default:
            return std::nullopt;
        }
    }

    Result<Atom> inVersion2(const Atom& entry, double rate)
    {
        const SampleDescription description {entry};
        RW_TRY(const auto sound, description.sound());
        const auto samples = uncompressed(entry.type, sound.bitsPerChannel, entry);
        if (!samples)
            return failure(MovieError::Code::Refused, "stsd",
                fmt::format("{:.0f} sound samples a second do not fit the description of \"{}\" sound", rate,
                    entry.type.text()));
        constexpr std::uint32_t kStructureSize = 72;
        constexpr std::uint32_t kFloat = 1;
        constexpr std::uint32_t kBigEndian = 2;
        constexpr std::uint32_t kSigned = 4;
        constexpr std::uint32_t kPacked = 8;
        ByteWriter out;
        out.bytes(entry.head.span().first(kVersionAt)).u16(2).u16(0).u32(0);
        out.u16(3).u16(16).u16(0xFFFE).u16(0).u32(0x10000).u32(kStructureSize);
        out.u64(std::bit_cast<std::uint64_t>(rate)).u32(sound.channels).u32(0x7F000000).u32(samples->bits);
        out.u32((samples->isFloat ? kFloat : 0U) | (samples->isBigEndian ? kBigEndian : 0U)
            | (samples->isSigned ? kSigned : 0U) | kPacked);
        out.u32(sound.channels * (samples->bits / 8)).u32(1);
        for (const auto& extension : description.extensions(QTMediaTypeSound))
            if (extension.type != "wave"_cc) // what it says, the flags say
                out.bytes(extension.toBytes().span());
        return Atom {"lpcm"_cc, out.toBytes()};
    }

} // namespace

std::optional<double> of(const SampleDescription& description)
{
    const auto sound = description.sound();
    return sound && sound->sampleRate > 0 ? std::optional {sound->sampleRate} : std::nullopt;
}

bool fits(double rate)
{
    return rate < 65536;
}

Result<Atom> withRate(const Atom& entry, double rate, bool isQuickTimeFile)
{
    auto changed = entry;
    if (versionOf(entry) == 2) {
        if (entry.head.size() < kWideRateAt + 8)
            return failure(MovieError::Code::Corrupt, "stsd", "the sound description is cut short");
        changed.head
            = replaced(entry.head, kWideRateAt, ByteWriter {}.u64(std::bit_cast<std::uint64_t>(rate)).take());
        return changed;
    }
    if (!fits(rate)) {
        if (!isQuickTimeFile)
            return failure(MovieError::Code::Refused, "stsd",
                fmt::format(
                    "{:.0f} sound samples a second do not fit the sound description of an mp4 file", rate));
        return inVersion2(entry, rate);
    }
    if (entry.head.size() < kFieldsEnd)
        return failure(MovieError::Code::Corrupt, "stsd", "the sound description is cut short");
    changed.head = replaced(entry.head, kRateAt,
        ByteWriter {}.u32(static_cast<std::uint32_t>(std::llround(rate * 65536.0))).take());
    return changed;
}

} // namespace reelwright::soundRate
