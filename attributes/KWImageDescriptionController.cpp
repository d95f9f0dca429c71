#include "attributes/KWImageDescriptionController.h"

#include "attributes/NamedColorSpaces.h"
#include "movie/Apertures.h"
#include "movie/samples/SampleDescriptionEdit.h"
#include "support/KWLog.h"
#include "support/Text.h"
#include "tracks/KWQuickTimeEditing.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

namespace reelwright {
namespace {

    constexpr FourCC kClean = "clea"_cc;
    constexpr FourCC kProduction = "prod"_cc;
    constexpr double kFixedOne = 65536.0;

    tl::unexpected<MovieError> refused(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    /// The same; of an error the log says what did not work.
    Result<void> reported(Result<void> done, std::string_view what)
    {
        if (!done && !what.empty())
            KWLog::appendLog("Error {}: {}", what, done.error().status);
        return done;
    }

    /// What the log says of an attribute that could not be written.
    std::string_view writingOf(std::string_view attribute)
    {
        constexpr std::pair<std::string_view, std::string_view> kTexts[] {
            {kEncodedWidth, "setting encoded width"},
            {kEncodedHeight, "setting encoded height"},
            {kPixelAspectRatio, "setting pixel aspect ratio"},
            {kGamma, "setting gamma"},
            {kFieldDominance, "setting field dominance"},
        };
        for (const auto& [name, text] : kTexts)
            if (name == attribute)
                return text;
        return {};
    }

    std::string textOf(const AttributeValue& value)
    {
        const auto* text = std::get_if<std::string>(&value);
        return text ? *text : std::to_string(std::get<int>(value));
    }

    int integerOf(const AttributeValue& value)
    {
        const auto* text = std::get_if<std::string>(&value);
        return text ? integerValue(*text) : std::get<int>(value);
    }

    /// The number that a text begins with, in single precision; 0 where it begins with none.
    float floatOf(const AttributeValue& value)
    {
        const auto text = textOf(value);
        const auto number = trimmed(text);
        if (number.find_first_of("0123456789.") == std::string_view::npos
            || number.find_first_not_of("+-.0123456789") == 0)
            return 0;
        const bool isPlus = number.starts_with('+');
        float result = 0;
        const auto read = std::from_chars(number.data() + isPlus, number.data() + number.size(), result);
        if (read.ec == std::errc::result_out_of_range)
            return number.find("e-") == std::string_view::npos ? HUGE_VALF : 0;
        return result;
    }

    bool isVideoWithMedia(const KWMovTrack& track)
    {
        return track.trackType() == KWMovTrack::kVideo && track.track().isValid()
            && track.track().media().isValid();
    }

    std::vector<AttributeChoice> choices(std::span<const std::string_view> names)
    {
        std::vector<AttributeChoice> all;
        for (const auto& name : names)
            all.push_back({std::string(name)});
        return all;
    }

    constexpr std::string_view kColorNames[] {"NTSC", "PAL", "HD", "Custom..."};

    struct NamedColor
    {
        int primaries;
        int transfer;
        int matrix;
    };
    constexpr NamedColor kNamedColors[] {{6, 1, 6}, {5, 1, 6}, {1, 1, 1}}; // as ColorIndex

    std::vector<AttributeChoice> fieldChoices()
    {
        return {{"Progressive", 1}, {"Interlaced", 2}};
    }

    std::vector<AttributeChoice> dominanceChoices()
    {
        return {{"Unknown", 0}, {"Top First (Temporal)", 1}, {"Bottom First (Temporal)", 6},
            {"First Line Early (Spatial)", 9}, {"First Line Late (Spatial)", 14}};
    }

    int indexOfCode(const std::vector<AttributeChoice>& all, int code)
    {
        for (std::size_t i = 0; i < all.size(); ++i)
            if (all[i].code == code)
                return static_cast<int>(i);
        return 0;
    }

    /// The code of the choice with that index.
    std::optional<int> codeOf(const AttributeEntry& attribute, const AttributeValue& value)
    {
        const auto index = integerOf(value);
        if (index < 0 || static_cast<std::size_t>(index) >= attribute.popupvalues.size())
            return std::nullopt;
        return attribute.popupvalues[static_cast<std::size_t>(index)].code;
    }

    AttributeEntry valued(std::string_view name, AttributeValue value)
    {
        auto entry = KWImageDescriptionController::attributeNamed(name);
        entry.value = std::move(value);
        return entry;
    }

    AttributeEntry colorEntry(const ColorParameters& color)
    {
        auto entry = valued(kColor, colorIndex(color.primaries, color.transfer, color.matrix));
        entry.primaries = color.primaries;
        entry.transfer = color.transfer;
        entry.matrix = color.matrix;
        return entry;
    }

    // What follows writes into a copy of the description.

    Result<void> writeSize(
        const AttributeEntry& attribute, const AttributeValue& value, SampleDescriptionEdit& copy)
    {
        const auto pixels = integerOf(value);
        if (pixels <= 0)
            return refused("the encoded size has to be a number of pixels greater than 0");
        const auto& name = attribute.description;
        return reported(name == kEncodedWidth ? copy.setEncodedWidth(pixels) : copy.setEncodedHeight(pixels),
            writingOf(name));
    }

    Result<void> writeGamma(const AttributeValue& value, SampleDescriptionEdit& copy)
    {
        KWLog::appendLog("gamma obj: {}", textOf(value));
        const float gamma = floatOf(value);
        KWLog::appendLog("gamma float: {:f}", gamma);
        constexpr double kLargest = INT32_MAX;
        const double fixed = std::min(std::trunc(gamma * kFixedOne), kLargest);
        if (!(fixed > 0))
            return refused("a gamma has to be a number greater than 0");
        copy.setGamma(static_cast<std::uint32_t>(fixed));
        return {};
    }

    Result<void> writeColor(const AttributeEntry& attribute, const AttributeValue& value,
        const QTMovie& movie, SampleDescriptionEdit& copy)
    {
        const auto index = integerOf(value);
        NamedColor codes {attribute.primaries, attribute.transfer, attribute.matrix};
        if (index >= kColorNtsc && index <= kColorHd)
            codes = kNamedColors[index];
        ColorParameters color {static_cast<std::uint16_t>(codes.primaries),
            static_cast<std::uint16_t>(codes.transfer), static_cast<std::uint16_t>(codes.matrix)};
        const bool isIso = movie.file() && !movie.file()->isQuickTime();
        copy.setColor(color, isIso ? ColorForm::Nclx : ColorForm::Nclc);
        return {};
    }

    Result<void> writeColorSpace(const AttributeValue& value, SampleDescriptionEdit& copy)
    {
        const auto index = integerOf(value);
        const auto profile
            = index < 0 ? std::nullopt : namedColorSpaces::profile(static_cast<std::size_t>(index));
        if (!profile)
            return refused("there is no color space with that number");
        copy.setColorProfile(*profile);
        return {};
    }

    Result<void> writeFields(const AttributeEntry& attribute, const AttributeValue& value,
        const SampleDescription& description, SampleDescriptionEdit& copy)
    {
        const auto code = codeOf(attribute, value);
        if (code.value_or(0) == 0)
            return refused("fields are progressive or interlaced");
        auto layout = description.fieldLayout().value_or(FieldLayout {});
        layout.count = static_cast<std::uint8_t>(*code);
        copy.setFieldLayout(layout);
        return {};
    }

    Result<void> writeDominance(const AttributeEntry& attribute, const AttributeValue& value,
        const SampleDescription& description, SampleDescriptionEdit& copy)
    {
        const auto code = codeOf(attribute, value);
        if (!code)
            return refused("there is no field dominance with that number");
        // Where nothing is said yet, an order of fields says that there are two.
        const auto count = static_cast<std::uint8_t>(*code == 0 ? 1 : 2);
        auto layout = description.fieldLayout().value_or(FieldLayout {count, 0});
        layout.detail = static_cast<std::uint8_t>(*code);
        copy.setFieldLayout(layout);
        return {};
    }

    Result<void> write(const AttributeEntry& attribute, const AttributeValue& value, const QTMovie& movie,
        const SampleDescription& description, SampleDescriptionEdit& copy)
    {
        const auto& name = attribute.description;
        if (name == kEncodedWidth || name == kEncodedHeight)
            return writeSize(attribute, value, copy);
        if (name == kBitDepth) {
            if (integerOf(value) <= 0)
                return refused("the depth has to be a number of bits greater than 0");
            return copy.setDepth(integerOf(value));
        }
        if (name == kPixelAspectRatio) {
            const auto ratio = KWImageDescriptionController::writtenPixelAspectRatio(textOf(value));
            if (!ratio)
                return refused(fmt::format("\"{}\" is no pixel aspect ratio such as 40:33", textOf(value)));
            if (ratio->horizontal == 0 || ratio->vertical == 0)
                return refused(fmt::format(
                    "the pixel aspect ratio {} cannot be written: of each number the low 8 bits are kept, "
                    "and neither may be 0",
                    textOf(value)));
            copy.setPixelAspectRatio(*ratio);
            return {};
        }
        if (name == kGamma)
            return writeGamma(value, copy);
        if (name == kColor)
            return writeColor(attribute, value, movie, copy);
        if (name == kColorSpace)
            return writeColorSpace(value, copy);
        if (name == kFields)
            return writeFields(attribute, value, description, copy);
        if (name == kFieldDominance)
            return writeDominance(attribute, value, description, copy);
        return refused(fmt::format("\"{}\" is no attribute that can be set", name));
    }

    /// Brings the apertures up to date after a new pixel aspect ratio. In a QuickTime file they are made
    /// where there are none.
    Result<void> renewApertures(const QTTrack& track, QTMovie& movie)
    {
        const EditableScope scope {movie};
        if (KWQuickTimeEditing::apertureModeForMovie(movie) == kProduction) {
            RW_CHECK(movie.generateApertureModeDimensions());
        } else {
            RW_CHECK(KWQuickTimeEditing::setApertureMode(kClean, movie));
        }
        return apertures::follow(track);
    }

    /// Removes the extension of that attribute from the copy. Attributes without one have nothing to lose.
    Result<void> removeFrom(SampleDescriptionEdit& copy, std::string_view name)
    {
        const auto there = [&](std::size_t removed) -> Result<void> {
            if (removed == 0)
                return refused(fmt::format("the track has no attribute \"{}\"", name));
            return {};
        };
        if (name == kEncodedWidth || name == kEncodedHeight)
            return refused("the encoded size is part of every sample description and cannot be removed");
        if (name == kPixelAspectRatio)
            return there(copy.removeExtension("pasp"_cc));
        if (name == kGamma)
            return there(copy.removeExtension("gama"_cc));
        if (name == kColor) {
            auto done = there(copy.removeColor());
            if (!done) {
                KWLog::appendLog("Can't remove Color attribute - resetting to 0 instead");
                copy.setColor({}, ColorForm::Nclc);
            }
            return done;
        }
        if (name == kColorSpace)
            return there(copy.removeColorProfile());
        if (name == kFields || name == kFieldDominance)
            return there(copy.removeExtension("fiel"_cc));
        return {};
    }

    Result<KWMovTrack> firstVideoTrack(const QTMovie& movie)
    {
        auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, movie);
        if (!track)
            return refused("the movie has no video track");
        return std::move(*track);
    }

    /// The first description of a video track, for changing it.
    Result<SampleDescription> descriptionOf(const KWMovTrack& track)
    {
        if (!isVideoWithMedia(track))
            return refused(fmt::format("track {} is no video track with media", track.trackID()));
        const auto description = track.track().media().sampleDescription(1);
        if (!description)
            return failure(MovieError::Code::Corrupt, fmt::format("track {}", track.trackID()),
                "the track has no sample description");
        return *description;
    }

} // namespace

ColorIndex colorIndex(int primaries, int transfer, int matrix)
{
    for (int i = 0; i < kColorCustom; ++i)
        if (primaries == kNamedColors[i].primaries && transfer == kNamedColors[i].transfer
            && matrix == kNamedColors[i].matrix)
            return static_cast<ColorIndex>(i);
    return kColorCustom;
}

AttributeEntry KWImageDescriptionController::attributeNamed(std::string_view name)
{
    AttributeEntry entry {std::string(name)};
    if (name == kGamma)
        entry.combovalues = {"1.8", "2.2"};
    else if (name == kColor)
        entry.popupvalues = choices(kColorNames);
    else if (name == kColorSpace)
        entry.popupvalues = choices(namedColorSpaces::kNames);
    else if (name == kFields)
        entry.popupvalues = fieldChoices();
    else if (name == kFieldDominance)
        entry.popupvalues = dominanceChoices();
    return entry;
}

std::optional<std::vector<AttributeEntry>> KWImageDescriptionController::imageDescriptionExtensionsForTrack(
    const KWMovTrack& track)
{
    if (!isVideoWithMedia(track))
        return std::nullopt;
    const auto media = track.track().media();
    KWLog::appendLog("ImageDescription count: {}", media.sampleDescriptionCount());
    std::vector<AttributeEntry> entries;
    const auto description = media.sampleDescription(1);
    if (!description)
        return entries;

    const auto video = description->video();
    const int width = video ? video->width : -1;
    const int height = video ? video->height : -1;
    KWLog::appendLog("encoded width: {}", width);
    KWLog::appendLog("encoded height: {}", height);
    if (width > 0)
        entries.push_back(valued(kEncodedWidth, std::to_string(width)));
    if (height > 0)
        entries.push_back(valued(kEncodedHeight, std::to_string(height)));

    const auto ratio = description->pixelAspectRatio().value_or(PixelAspectRatio {});
    KWLog::appendLog("par: {}:{}", ratio.horizontal, ratio.vertical);
    if (ratio.horizontal != 0 && ratio.vertical != 0)
        entries.push_back(valued(kPixelAspectRatio, fmt::format("{}:{}", ratio.horizontal, ratio.vertical)));

    const double gamma = description->gamma().value_or(0) / kFixedOne;
    KWLog::appendLog("gamma: {:f}", gamma);
    if (gamma > 0)
        entries.push_back(valued(kGamma, fmt::format("{:.2f}", gamma)));

    const auto color = description->color();
    const auto codes = color.value_or(ColorParameters {});
    KWLog::appendLog("color: {} {} {}", codes.primaries, codes.transfer, codes.matrix);
    if (color)
        entries.push_back(colorEntry(*color));

    if (const auto profile = description->colorProfile()) {
        KWLog::appendLog("color space found");
        if (const auto index = namedColorSpaces::indexOf(*profile))
            entries.push_back(valued(kColorSpace, static_cast<int>(*index)));
    }

    if (const auto layout = description->fieldLayout()) {
        entries.push_back(valued(kFields, layout->count == 2 ? 1 : 0));
        auto dominance = attributeNamed(kFieldDominance);
        dominance.value = indexOfCode(dominance.popupvalues, layout->detail);
        entries.push_back(std::move(dominance));
    }
    return entries;
}

Result<void> KWImageDescriptionController::imageDescriptionExtension(
    const AttributeEntry& attribute, const AttributeValue& setValue, const KWMovTrack& forTrack)
{
    RW_TRY(const auto description, descriptionOf(forTrack));
    const auto& track = forTrack.track();
    auto& movie = track.editMovie();
    const EditableScope scope {movie};
    RW_TRY(auto copy, SampleDescriptionEdit::of(description, QTMediaTypeVideo));
    RW_CHECK(write(attribute, setValue, movie, description, copy));
    const auto store = [&]() -> Result<void> {
        auto entry = copy.entry();
        if (!entry.writesSameAs(description.entry())) {
            RW_CHECK(track.media().setSampleDescription(1, std::move(entry)));
        }
        return attribute.description == kPixelAspectRatio ? renewApertures(track, movie) : Result<void> {};
    };
    return reported(store(), writingOf(attribute.description));
}

Result<void> KWImageDescriptionController::imageDescriptionExtension(
    const AttributeEntry& attribute, const AttributeValue& setValue, QTMovie& forMovie)
{
    RW_TRY(const auto track, firstVideoTrack(forMovie));
    return imageDescriptionExtension(attribute, setValue, track);
}

Result<void> KWImageDescriptionController::removeAttribute(
    const AttributeEntry& attribute, const KWMovTrack& fromTrack)
{
    RW_TRY(const auto description, descriptionOf(fromTrack));
    const auto& track = fromTrack.track();
    auto& movie = track.editMovie();
    const EditableScope scope {movie};
    RW_TRY(auto copy, SampleDescriptionEdit::of(description, QTMediaTypeVideo));
    RW_CHECK(reported(removeFrom(copy, attribute.description), "removing attribute"));
    auto entry = copy.entry();
    if (entry.writesSameAs(description.entry()))
        return {};
    const bool isAspect = attribute.description == kPixelAspectRatio;
    const bool follows = isAspect && apertures::hasSizeOfAperture(track);
    RW_CHECK(track.media().setSampleDescription(1, std::move(entry)));
    // Dimensions that were made from the ratio would contradict what is there now.
    if (isAspect && apertures::stored(track)) {
        RW_CHECK(apertures::generate(track));
    }
    if (follows) {
        KWQuickTimeEditing::apertureModeForMovie(movie);
        RW_CHECK(apertures::follow(track));
    }
    return {};
}

Result<void> KWImageDescriptionController::removeAttribute(
    const AttributeEntry& attribute, QTMovie& fromMovie)
{
    RW_TRY(const auto track, firstVideoTrack(fromMovie));
    return removeAttribute(attribute, track);
}

Result<void> KWImageDescriptionController::setPixelAspectRatio(const std::string& ratio, QTMovie& movie)
{
    const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, movie);
    if (!track)
        return {};
    return imageDescriptionExtension(attributeNamed(kPixelAspectRatio), ratio, *track);
}

bool KWImageDescriptionController::hasAttribute(std::string_view name, const KWMovTrack& track)
{
    const auto description = descriptionOf(track);
    if (!description)
        return false;
    if (name == kPixelAspectRatio)
        return description->extension(QTMediaTypeVideo, "pasp"_cc).has_value();
    if (name == kGamma)
        return description->extension(QTMediaTypeVideo, "gama"_cc).has_value();
    if (name == kColor)
        return description->color().has_value();
    if (name == kColorSpace)
        return description->colorProfile().has_value();
    if (name == kFields || name == kFieldDominance)
        return description->extension(QTMediaTypeVideo, "fiel"_cc).has_value();
    return true;
}

std::optional<PixelAspectRatio> KWImageDescriptionController::writtenPixelAspectRatio(std::string_view ratio)
{
    const auto parts = split(ratio, ":");
    if (parts.size() != 2)
        return std::nullopt;
    const auto low = [](std::string_view text) { return static_cast<std::uint8_t>(integerValue(text)); };
    return PixelAspectRatio {low(parts[0]), low(parts[1])};
}

} // namespace reelwright
