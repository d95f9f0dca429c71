#pragma once

#include "movie/atoms/Atom.h"
#include "movie/samples/SampleTable.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// One channel of a channel layout. The label numbers are the platform's audio channel labels.
struct AudioChannelDescription
{
    std::uint32_t mChannelLabel = 0;
    std::uint32_t mChannelFlags = 0;
    std::array<float, 3> mCoordinates {};
    bool operator==(const AudioChannelDescription&) const = default;
};

/// What a sound description says (versions 0, 1 and 2; QuickTime File Format, "Sound Sample Descriptions").
struct SoundDescription
{
    std::uint16_t version = 0;
    std::uint32_t channels = 0;
    std::uint32_t bitsPerChannel = 0;
    double sampleRate = 0; ///< Hz
    SoundPacking packing;
    std::uint32_t channelLayoutTag = 0; ///< 0 when there is no `chan` atom, or it lists its channels
    std::vector<AudioChannelDescription> channelList; ///< of the `chan` atom, may be empty
};

/// Does that format of a sample description say that the media are encrypted?
bool isEncryptedFormat(FourCC format);

/// What a video description says (QuickTime File Format, "Video Sample Description").
struct VideoDescription
{
    FourCC vendor;
    std::uint16_t width = 0; ///< encoded pixels
    std::uint16_t height = 0; ///< encoded pixels
    std::uint16_t depth = 0;
    std::string compressorName;
};

/// Shape of a pixel (`pasp`): horizontal : vertical spacing.
struct PixelAspectRatio
{
    std::uint32_t horizontal = 0;
    std::uint32_t vertical = 0;
    bool operator==(const PixelAspectRatio&) const = default;
};

/// Clean aperture (`clap`): size and offset of its centre from the picture's, as fractions of pixels.
struct CleanAperture
{
    std::uint32_t widthN = 0;
    std::uint32_t widthD = 0;
    std::uint32_t heightN = 0;
    std::uint32_t heightD = 0;
    std::int32_t horizontalOffsetN = 0;
    std::uint32_t horizontalOffsetD = 0;
    std::int32_t verticalOffsetN = 0;
    std::uint32_t verticalOffsetD = 0;

    [[nodiscard]] bool isDefined() const { return widthD != 0 && heightD != 0; }
    [[nodiscard]] double width() const { return static_cast<double>(widthN) / widthD; }
    [[nodiscard]] double height() const { return static_cast<double>(heightN) / heightD; }
};

/// Color parameters (`colr` of type 'nclc', or 'nclx' with its range); the codes are those of
/// ISO/IEC 23091-2.
struct ColorParameters
{
    std::uint16_t primaries = 0;
    std::uint16_t transfer = 0;
    std::uint16_t matrix = 0;
    std::optional<bool> fullRange {}; ///< said by 'nclx' only
    bool operator==(const ColorParameters&) const = default;
};

/// Field layout (`fiel`): 1 progressive, 2 interlaced, and the order of the fields.
struct FieldLayout
{
    std::uint8_t count = 0;
    std::uint8_t detail = 0;
    bool operator==(const FieldLayout&) const = default;
};

/// The timecode definition of a timecode description.
struct TimecodeDefinition
{
    static constexpr std::uint32_t kDropFrame = 1;
    static constexpr std::uint32_t k24HourMax = 2;
    static constexpr std::uint32_t kNegativeTimesOK = 4;
    static constexpr std::uint32_t kCounter = 8;

    std::uint32_t flags = 0;
    std::uint32_t timeScale = 0;
    std::uint32_t frameDuration = 0;
    std::uint8_t numberOfFrames = 0; ///< frames a second, or ticks of the counter
    bool operator==(const TimecodeDefinition&) const = default;
};

/// A timecode description: the definition and the reel name of its source reference.
struct TimecodeDescription
{
    TimecodeDefinition definition;
    std::string reel; ///< UTF-8 as stored, empty when there is none
};

/// One entry of an `stsd` atom. A view: borrows the entry.
class SampleDescription
{
public:
    explicit SampleDescription(const Atom& entry)
        : m_entry(&entry)
    {
    }

    [[nodiscard]] const Atom& entry() const { return *m_entry; }
    [[nodiscard]] FourCC format() const { return m_entry->type; }
    /// 1-based index into the data references; 0 in a damaged entry.
    [[nodiscard]] std::uint16_t dataReferenceIndex() const;

    /// Errors: Truncated when the entry is too short for its kind.
    [[nodiscard]] Result<VideoDescription> video() const;
    [[nodiscard]] Result<SoundDescription> sound() const;
    [[nodiscard]] Result<TimecodeDescription> timecode() const;

    /// The payload of the first extension atom of that type of a description of that media type, or nothing.
    [[nodiscard]] std::optional<Bytes> extension(FourCC mediaType, FourCC type) const;
    /// All extension atoms, in order.
    [[nodiscard]] std::vector<Atom> extensions(FourCC mediaType) const;

    /// Extensions of a video description; nothing where there is none or it is too short.
    [[nodiscard]] std::optional<PixelAspectRatio> pixelAspectRatio() const;
    [[nodiscard]] std::optional<CleanAperture> cleanAperture() const;
    [[nodiscard]] std::optional<std::uint32_t> gamma() const; ///< `gama`, 16.16 fixed point
    [[nodiscard]] std::optional<ColorParameters> color() const;
    [[nodiscard]] std::optional<Bytes> colorProfile() const; ///< `colr` of type 'prof' (or 'rICC')
    [[nodiscard]] std::optional<FieldLayout> fieldLayout() const;

    /// Where the extension atoms begin in the entry's payload; behind its end in one that is too short.
    [[nodiscard]] std::size_t extensionsOffset(FourCC mediaType) const;

private:
    const Atom* m_entry;
};

} // namespace reelwright
