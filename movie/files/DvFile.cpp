#include "movie/files/DvFile.h"

#include "movie/TrackBuilder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace reelwright {
namespace {

    constexpr std::size_t kBlockSize = 80;
    constexpr std::size_t kBlocksLookedAt = 8; ///< header, subcode 2, auxiliary 3, sound, picture
    /// The kinds of those blocks: upper three bits of their first byte.
    constexpr std::array<unsigned, kBlocksLookedAt> kSections = {0, 1, 1, 2, 2, 2, 3, 4};
    /// Their numbers within their kind: the third byte. The sequence in the second one is the first.
    constexpr std::array<unsigned, kBlocksLookedAt> kNumbers = {0, 0, 1, 0, 1, 2, 0, 0};
    constexpr std::size_t kSourcePack = 5 * kBlockSize + 48;
    constexpr std::size_t kControlPack = kSourcePack + 5;

    using Profile = DvStream::Profile;

    constexpr Profile kProfiles[] = {
        {false, 0x00, 120000, 720, 480, 30000, 1001, "dvc "_cc.value, "DV/DVCPRO - NTSC"},
        {true, 0x00, 144000, 720, 576, 2500, 100, "dvcp"_cc.value, "DV - PAL"},
        {false, 0x04, 240000, 720, 480, 30000, 1001, "dv5n"_cc.value, "DVCPRO50 - NTSC"},
        {true, 0x04, 288000, 720, 576, 2500, 100, "dv5p"_cc.value, "DVCPRO50 - PAL"},
        {false, 0x14, 480000, 1280, 1080, 30000, 1001, "dvh6"_cc.value, "DVCPRO HD 1080i60"},
        {true, 0x14, 576000, 1440, 1080, 2500, 100, "dvh5"_cc.value, "DVCPRO HD 1080i50"},
        {false, 0x18, 240000, 960, 720, 60000, 1001, "dvhp"_cc.value, "DVCPRO HD 720p60"},
        {true, 0x18, 288000, 960, 720, 5000, 100, "dvhq"_cc.value, "DVCPRO HD 720p50"},
    };
    /// DVCPRO at 50 Hz samples colour in another way than DV; only the track application tells them apart.
    constexpr Profile kProPal = {true, 0x00, 144000, 720, 576, 2500, 100, "dvpp"_cc.value, "DVCPRO - PAL"};

    struct Ratio
    {
        std::uint32_t horizontal = 1;
        std::uint32_t vertical = 1;
    };

    /// Pixel shapes; standard definition counts 704 pixels across the picture.
    Ratio pixelAspect(const Profile& profile, bool isWide)
    {
        if (profile.height == 480)
            return isWide ? Ratio {40, 33} : Ratio {10, 11};
        if (profile.height == 576)
            return isWide ? Ratio {118, 81} : Ratio {59, 54};
        return profile.width == 1280 ? Ratio {3, 2} : Ratio {4, 3};
    }

    Atom description(const Profile& profile, bool isWide)
    {
        ByteWriter out;
        out.zeros(6).u16(1); // the first data reference
        out.u16(0).u16(0).u32(0).u32(0).u32(1023); // vendor, qualities
        out.u16(profile.width).u16(profile.height).u32(72 << 16).u32(72 << 16).u32(0).u16(1);
        const std::string_view name = profile.name;
        out.u8(static_cast<std::uint8_t>(name.size())).text(name).zeros(31 - name.size());
        out.u16(24).u16(0xFFFF); // depth, no colour table
        out.u32(10).fourCC("fiel"_cc);
        if (profile.height == 720)
            out.u8(1).u8(0);
        else
            out.u8(2).u8(profile.height == 1080 ? 9 : 14); // interlaced lines; DV shows the lower field first
        const auto aspect = pixelAspect(profile, isWide);
        out.u32(16).fourCC("pasp"_cc).u32(aspect.horizontal).u32(aspect.vertical);
        return Atom {FourCC {profile.format}, out.toBytes()};
    }

    bool isFrameStart(ByteSpan bytes)
    {
        const auto value = [&](std::size_t i) { return std::to_integer<unsigned>(bytes[i]); };
        for (std::size_t block = 0; block < kBlocksLookedAt; ++block) {
            const auto at = block * kBlockSize;
            if (value(at) >> 5U != kSections[block] || value(at + 1) >> 4U != 0
                || value(at + 2) != kNumbers[block])
                return false;
        }
        return true;
    }

} // namespace

Result<std::optional<DvStream>> DvStream::read(StorageFile& file, const std::string& path)
{
    std::array<std::byte, kBlocksLookedAt * kBlockSize> bytes {};
    RW_TRY(const auto count, file.readAt(0, bytes));
    if (count < bytes.size() || !isFrameStart(bytes))
        return std::nullopt;
    const auto value = [&](std::size_t i) { return std::to_integer<unsigned>(bytes[i]); };
    const bool is50Hz = (value(3) & 0x80U) != 0;
    const auto application = value(4) & 7U;
    const bool hasSource = value(kSourcePack) == 0x60;
    const auto signalType = hasSource ? value(kSourcePack + 3) & 0x1FU : 0;
    const auto profile = std::find_if(std::begin(kProfiles), std::end(kProfiles),
        [&](const Profile& known) { return known.is50Hz == is50Hz && known.signalType == signalType; });
    if (profile == std::end(kProfiles))
        return failure(MovieError::Code::Unsupported, path,
            fmt::format("a DV stream of signal type {:#04x} is not known", signalType), kSourcePack + 3);
    DvStream stream;
    stream.profile = is50Hz && signalType == 0 && application == 1 ? kProPal : *profile;
    const auto display = value(kControlPack + 2) & 7U;
    stream.isWide = value(kControlPack) == 0x61 && (display == 2 || (application == 0 && display == 7));
    RW_TRY(const auto state, file.state());
    stream.frameCount = state.size / stream.profile.frameSize;
    return stream;
}

Result<Atom> DvStream::makeMovie(std::uint64_t time) const
{
    SampleTableBuilder tables;
    const SampleTableBuilder::Sample frame {profile.frameDuration, profile.frameSize, 0, true, 0};
    const std::uint64_t perChunk = std::max(profile.timeScale / profile.frameDuration / 2, 1U);
    for (std::uint64_t done = 0; done < frameCount; done += perChunk) {
        tables.beginChunk(done * profile.frameSize, 1);
        RW_CHECK(tables.add(frame, static_cast<std::uint32_t>(std::min(perChunk, frameCount - done))));
    }
    NewTrack track;
    track.trackID = 1;
    track.mediaType = "vide"_cc;
    track.mediaTimeScale = profile.timeScale;
    track.mediaDuration = track.duration = tables.duration();
    track.width = profile.width;
    track.height = profile.height;
    track.time = time;
    auto trak = makeTrack(track);
    addSampleDescription(trak, description(profile, isWide));
    tables.write(*editSampleTables(trak));
    return reelwright::makeMovie(profile.timeScale, std::move(trak), time);
}

} // namespace reelwright
