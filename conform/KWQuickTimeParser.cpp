#include "conform/KWQuickTimeParser.h"

#include "movie/atoms/FourCC.h"
#include "support/KWLog.h"

#include <algorithm>
#include <array>

namespace reelwright {
namespace {

    /// Atoms whose contents are never taken for atoms.
    constexpr FourCC kLeaves[] = {"cmvd"_cc, "co64"_cc, "ctts"_cc, "dcom"_cc, "elst"_cc, "esds"_cc, "fiel"_cc,
        "hdlr"_cc, "iods"_cc, "mdat"_cc, "mdhd"_cc, "mvhd"_cc, "pict"_cc, "pnot"_cc, "rdrf"_cc, "rmcd"_cc,
        "rmcs"_cc, "rmdr"_cc, "rmqu"_cc, "rmvc"_cc, "smhd"_cc, "stco"_cc, "stsc"_cc, "stsd"_cc, "stss"_cc,
        "stsz"_cc, "stts"_cc, "tkhd"_cc, "uuid"_cc, "vmhd"_cc, "wide"_cc, "wfex"_cc, "udta"_cc, "meta"_cc};
    /// Atoms that are stepped over, neither recorded nor entered, wherever they are met.
    constexpr FourCC kSkipped[] = {"ftyp"_cc, "udta"_cc, "free"_cc, "skip"_cc, "junk"_cc};

    template <std::size_t count> bool isOneOf(const FourCC (&list)[count], FourCC type)
    {
        return std::find(std::begin(list), std::end(list), type) != std::end(list);
    }

    bool isValidType(FourCC type)
    {
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
            const auto c = type.value >> shift & 0xFFU;
            if (!((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')))
                return false;
        }
        return true;
    }

    std::uint64_t bigEndian(ByteSpan data, std::size_t width)
    {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < width; ++i)
            value = value << 8U | (i < data.size() ? std::to_integer<std::uint64_t>(data[i]) : 0U);
        return value;
    }

} // namespace

std::optional<KWQuickTimeParser::AtomOffsets> KWQuickTimeParser::offsetsForFile(
    const std::string& path, const std::vector<std::string>& desiredAtoms)
{
    const auto file = Storage::posix()->open(path, Storage::Access::Read);
    const auto state = file ? (*file)->state() : Result<FileState> {};
    if (!file || !state)
        return std::nullopt;
    auto found = walk(FileReader {*file, state->size}, desiredAtoms, Notes::Log);
    if (!found)
        return std::nullopt;
    return std::move(found->offsets);
}

std::optional<KWQuickTimeParser::Walk> KWQuickTimeParser::walk(
    const RandomReader& bytes, const std::vector<std::string>& desiredAtoms, Notes notes)
{
    const auto fileSize = bytes.size();
    if (fileSize == 0)
        return std::nullopt;
    Walk result;
    std::uint64_t cursor = 0; // what is read next: behind a wide media header it is ahead of the position
    std::uint64_t position = 0;
    std::uint64_t rememberedEnd = 0;
    std::optional<FourCC> rememberedType;
    int iterations = 0;
    const auto goTo = [&](std::uint64_t place) { cursor = position = place; };
    const auto jump = [&] {
        goTo(rememberedEnd);
        rememberedType.reset();
        ++iterations;
    };
    for (;;) {
        if (iterations >= kMostIterations) {
            result.ranAway = true;
            break;
        }
        std::array<std::byte, 8> header {};
        if (const auto got = bytes.readAt(cursor, header); !got || *got < header.size())
            break;
        cursor += header.size();
        if (position > fileSize) {
            KWLog::appendLog("Error: file position is greater than file size - aborting...");
            break;
        }
        std::uint64_t size = unsignedInt32FromData(header);
        const FourCC type {unsignedInt32FromData(ByteSpan {header}.subspan(4))};
        if (type == "mdat"_cc && size == 1) {
            std::array<std::byte, 8> wide {};
            const auto got = bytes.readAt(cursor, wide).value_or(0);
            size = bigEndian(ByteSpan {wide}.first(got), wide.size());
            cursor += got;
        }
        if (notes == Notes::Log)
            KWLog::fastAppendLog("Atom: {} {} {}", position, type.text(), size);
        result.lastType = type.text();
        if (isOneOf(kSkipped, type)) {
            goTo(position + size);
            rememberedType.reset();
            ++iterations;
            continue;
        }
        const bool isEmpty = size == 0 && type != "mdat"_cc;
        if (isEmpty || !isValidType(type) || (rememberedType && isOneOf(kLeaves, *rememberedType))) {
            jump();
            continue;
        }
        const auto name = type.text();
        if (std::find(desiredAtoms.begin(), desiredAtoms.end(), name) != desiredAtoms.end())
            result.offsets[name].push_back(position);
        ++iterations;
        if (size < 9) {
            rememberedType.reset();
        } else {
            rememberedEnd = position + size;
            rememberedType = type;
        }
        position += header.size();
    }
    if (!result.ranAway)
        ++iterations;
    if (iterations >= kMostIterations)
        KWLog::appendLog("Error: Infinite loop when iterating through file");
    result.end = position;
    return result;
}

std::uint16_t KWQuickTimeParser::unsignedInt16FromData(ByteSpan data)
{
    return static_cast<std::uint16_t>(bigEndian(data, 2));
}

std::uint32_t KWQuickTimeParser::unsignedInt32FromData(ByteSpan data)
{
    return static_cast<std::uint32_t>(bigEndian(data, 4));
}

std::optional<std::uint64_t> KWQuickTimeParser::closestAtomToOffset(std::uint64_t offset, Offsets inArray,
    const Offsets* sourceArray, std::int64_t increment, std::uint64_t maxDistance, bool reverse)
{
    std::sort(inArray.begin(), inArray.end());
    const auto taken = std::find_if(inArray.begin(), inArray.end(), [&](std::uint64_t candidate) {
        return (reverse ? candidate < offset : candidate > offset)
            && (maxDistance == 0 || candidate <= maxDistance);
    });
    if (taken == inArray.end())
        return std::nullopt;
    if (sourceArray == nullptr)
        return *taken;
    auto sources = *sourceArray;
    std::sort(sources.begin(), sources.end());
    std::int64_t match = -1;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const auto index = static_cast<std::int64_t>(i);
        if (sources[i] == offset)
            match = index;
        else if (sources[i] > offset && sources[i] < *taken && index >= match + increment)
            return std::nullopt;
    }
    return *taken;
}

std::optional<std::uint64_t> KWQuickTimeParser::closestParentToOffset(
    std::uint64_t offset, const Offsets& inArray)
{
    const auto parent = std::find_if(
        inArray.rbegin(), inArray.rend(), [&](std::uint64_t element) { return element < offset; });
    return parent == inArray.rend() ? std::nullopt : std::optional {*parent};
}

std::optional<std::uint64_t> KWQuickTimeParser::closestTrackSiblingToOffset(
    std::uint64_t offset, Offsets inArray, Offsets trackArray)
{
    std::sort(trackArray.begin(), trackArray.end());
    const auto parent = closestParentToOffset(offset, trackArray);
    return parent ? closestAtomToOffset(*parent, std::move(inArray), &trackArray) : std::nullopt;
}

} // namespace reelwright
