#pragma once

#include "tracks/KWMovTrack.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace reelwright {

/// Names of the attributes.
inline constexpr std::string_view kEncodedWidth = "Encoded width";
inline constexpr std::string_view kEncodedHeight = "Encoded height";
inline constexpr std::string_view kPixelAspectRatio = "Pixel aspect ratio";
inline constexpr std::string_view kGamma = "Gamma";
inline constexpr std::string_view kColor = "Color";
inline constexpr std::string_view kColorSpace = "Color Space";
inline constexpr std::string_view kFields = "Fields";
inline constexpr std::string_view kFieldDominance = "Field Dominance";
inline constexpr std::string_view kBitDepth = "Bit depth"; ///< written only, never listed

/// A text, or the index of a choice.
using AttributeValue = std::variant<std::string, int>;

/// One choice of an attribute, with the code that it stands for in the file where it is not its index.
struct AttributeChoice
{
    std::string name;
    std::optional<int> code {};
    bool operator==(const AttributeChoice&) const = default;
};

/// One attribute of a video track.
struct AttributeEntry
{
    std::string description; ///< its name; also says how it is written
    AttributeValue value {};
    std::vector<AttributeChoice> popupvalues {}; ///< of a value that is an index
    std::vector<std::string> combovalues {}; ///< suggestions for a text
    int primaries = 0; ///< these three of "Color"
    int transfer = 0;
    int matrix = 0;
    bool operator==(const AttributeEntry&) const = default;
};

/// How a "Color" is named.
enum ColorIndex : int { kColorNtsc = 0, kColorPal = 1, kColorHd = 2, kColorCustom = 3 };
/// The name of three codes; kColorCustom for those without one.
ColorIndex colorIndex(int primaries, int transfer, int matrix);

/// Reads and writes what the first sample description of a video track says about showing its pixels. No
/// media are touched. Each writing makes the movie editable and not editable again; of what fails the log has
/// a line with the error's number.
class KWImageDescriptionController
{
public:
    /// The attributes that the track has, in the order of the names. Nothing for a track that is not video or
    /// has no media.
    static std::optional<std::vector<AttributeEntry>> imageDescriptionExtensionsForTrack(
        const KWMovTrack& track);

    /// Gives the attribute that value. A pixel aspect ratio "h:v" keeps the low 8 bits of each number; it
    /// brings the movie's apertures up to date and its aperture mode to clean, unless that is production.
    static Result<void> imageDescriptionExtension(
        const AttributeEntry& attribute, const AttributeValue& setValue, const KWMovTrack& forTrack);
    /// The same on the movie's first video track.
    static Result<void> imageDescriptionExtension(
        const AttributeEntry& attribute, const AttributeValue& setValue, QTMovie& forMovie);

    /// Removes it; "Fields" and "Field Dominance" are one thing in the file. What is not there, and the
    /// encoded size, cannot be removed.
    static Result<void> removeAttribute(const AttributeEntry& attribute, const KWMovTrack& fromTrack);
    static Result<void> removeAttribute(const AttributeEntry& attribute, QTMovie& fromMovie);

    /// "h:v" for the first video track; without one nothing happens.
    static Result<void> setPixelAspectRatio(const std::string& ratio, QTMovie& movie);

    /// Does the video track have it? Bit depth and encoded size it always has.
    static bool hasAttribute(std::string_view name, const KWMovTrack& track);
    /// An entry without a value, with the choices that its kind has: what the writing needs to know.
    static AttributeEntry attributeNamed(std::string_view name);
    /// The low 8 bits of the two numbers of a ratio as they are written; nothing for a text of another form.
    static std::optional<PixelAspectRatio> writtenPixelAspectRatio(std::string_view ratio);
};

} // namespace reelwright
