#include "edits/AttributeEdits.h"

#include "attributes/AttributeConflicts.h"
#include "attributes/NamedColorSpaces.h"
#include "picture/BitstreamFacts.h"
#include "support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace reelwright::edits {
namespace {

    using Controller = KWImageDescriptionController;

    /// What an option asks for.
    struct Setting
    {
        AttributeEntry attribute;
        std::optional<AttributeValue> value; ///< nothing: remove it
        std::string caution {};
    };

    /// The whole text as a number from 0 up; nothing for another text.
    std::optional<std::uint32_t> wholeNumber(std::string_view text)
    {
        std::uint32_t number = 0;
        const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
        if (read.ec != std::errc {} || read.ptr != text.data() + text.size())
            return std::nullopt;
        return number;
    }

    /// An attribute as an option has it: reads the value, which is not "none".
    struct Row
    {
        const char* option; ///< without the dashes
        std::string_view attribute;
        const char* wanted; ///< for the sentence about a wrong value
        bool isRemovable;
        std::optional<Setting> (*read)(std::string_view value, AttributeEntry attribute);
    };

    std::optional<Setting> pixelAspect(std::string_view value, AttributeEntry attribute)
    {
        const auto parts = split(value, ":");
        if (parts.size() != 2 || !wholeNumber(parts[0]) || !wholeNumber(parts[1]))
            return std::nullopt;
        const auto written = Controller::writtenPixelAspectRatio(value);
        if (!written || written->horizontal == 0 || written->vertical == 0)
            return std::nullopt;
        Setting setting {std::move(attribute), std::string(value)};
        if (written->horizontal != wholeNumber(parts[0]) || written->vertical != wholeNumber(parts[1]))
            setting.caution
                = fmt::format("the pixel aspect ratio {} is written as {}:{}: of each number the low 8 bits "
                              "are kept",
                    value, written->horizontal, written->vertical);
        return setting;
    }

    std::optional<Setting> gamma(std::string_view value, AttributeEntry attribute)
    {
        double number = 0;
        const auto read = std::from_chars(value.data(), value.data() + value.size(), number);
        constexpr double kSmallest = 1 / 65536.0;
        constexpr double kLargest = 32767;
        if (read.ec != std::errc {} || read.ptr != value.data() + value.size()
            || !(number >= kSmallest && number <= kLargest))
            return std::nullopt;
        return Setting {std::move(attribute), std::string(value)};
    }

    std::optional<Setting> color(std::string_view value, AttributeEntry attribute)
    {
        constexpr std::string_view kNames[] {"ntsc", "pal", "hd"}; // as ColorIndex
        for (int i = 0; i < kColorCustom; ++i)
            if (value == kNames[i])
                return Setting {std::move(attribute), i};
        const auto codes = split(value, "-");
        if (codes.size() != 3)
            return std::nullopt;
        int* const fields[] {&attribute.primaries, &attribute.transfer, &attribute.matrix};
        for (std::size_t i = 0; i < 3; ++i) {
            const auto code = wholeNumber(codes[i]);
            if (!code || *code > UINT16_MAX)
                return std::nullopt;
            *fields[i] = static_cast<int>(*code);
        }
        return Setting {std::move(attribute), static_cast<int>(kColorCustom)};
    }

    std::optional<Setting> colorSpace(std::string_view value, AttributeEntry attribute)
    {
        const auto index = namedColorSpaces::indexNamed(value);
        if (!index)
            return std::nullopt;
        return Setting {std::move(attribute), static_cast<int>(*index)};
    }

    std::optional<Setting> fields(std::string_view value, AttributeEntry attribute)
    {
        if (value != "progressive" && value != "interlaced")
            return std::nullopt;
        return Setting {std::move(attribute), value == "interlaced" ? 1 : 0};
    }

    std::optional<Setting> dominance(std::string_view value, AttributeEntry attribute)
    {
        const auto code = wholeNumber(value);
        for (std::size_t i = 0; code && i < attribute.popupvalues.size(); ++i)
            if (attribute.popupvalues[i].code == static_cast<int>(*code))
                return Setting {std::move(attribute), static_cast<int>(i)};
        return std::nullopt;
    }

    std::optional<Setting> number16(std::string_view value, AttributeEntry attribute)
    {
        const auto number = wholeNumber(value);
        if (!number || *number == 0 || *number > UINT16_MAX)
            return std::nullopt;
        return Setting {std::move(attribute), std::string(value)};
    }

    constexpr Row kRows[] = {
        {"pixel-aspect", kPixelAspectRatio,
            "two numbers such as 40:33 (of each the low 8 bits are kept, and neither may be 0)", true,
            pixelAspect},
        {"gamma", kGamma, "a number greater than 0, such as 2.2", true, gamma},
        {"color", kColor, "ntsc, pal, hd or three codes such as 9-16-9", true, color},
        {"color-space", kColorSpace,
            "generic-gray, generic-rgb, generic-cmyk, generic-rgb-linear, adobe-rgb-1998, srgb or "
            "generic-gray-2.2-gamma",
            true, colorSpace},
        {"fields", kFields, "progressive or interlaced", true, fields},
        {"field-dominance", kFieldDominance, "0, 1, 6, 9 or 14", true, dominance},
        {"encoded-width", kEncodedWidth, "a number of pixels from 1 to 65535", false, number16},
        {"encoded-height", kEncodedHeight, "a number of pixels from 1 to 65535", false, number16},
        {"bit-depth", kBitDepth, "a number of bits from 1 to 65535", false, number16},
    };

    Result<Setting> read(const Row& row, std::string_view option, std::string_view value)
    {
        auto attribute = Controller::attributeNamed(row.attribute);
        if (row.isRemovable && value == "none")
            return Setting {std::move(attribute), std::nullopt};
        if (auto setting = row.read(value, std::move(attribute)))
            return std::move(*setting);
        const auto wanted = fmt::format("{}{}", row.wanted, row.isRemovable ? ", or none" : "");
        return wrongValue(option, value, wanted);
    }

    /// The edit with what the user should know of it.
    Edit telling(Edit edit, const std::string& caution)
    {
        if (!caution.empty())
            edit.performAndTell
                = [perform = edit.call.perform, caution](QTMovie& movie) -> Result<std::string> {
                RW_CHECK(perform(movie));
                return caution;
            };
        return edit;
    }

    template <std::size_t row> Result<Edit> option(std::string_view value)
    {
        const auto name = fmt::format("--{}", kRows[row].option);
        RW_TRY(const auto setting, read(kRows[row], name, value));
        auto edit = setAttribute(setting.attribute, setting.value);
        edit.option = fmt::format("{} {}", name, value);
        return telling(std::move(edit), setting.caution);
    }

    template <std::size_t row>
    Result<Edit> field(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        RW_TRY(const auto setting,
            read(kRows[row], fmt::format("--track SELECTOR:{}", kRows[row].option), value));
        auto edit = setTrackAttribute(tracks, setting.attribute, setting.value);
        edit.option = option;
        return telling(std::move(edit), setting.caution);
    }

    const Row& rowOf(const AttributeEntry& attribute)
    {
        for (const auto& row : kRows)
            if (row.attribute == attribute.description)
                return row;
        RW_ASSERT(false);
        return kRows[0];
    }

    std::string lowerCase(std::string_view ascii)
    {
        std::string text {ascii};
        for (auto& letter : text)
            letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + 32 : letter);
        return text;
    }

    /// The value as an option has it.
    std::string optionValue(const AttributeEntry& attribute, const std::optional<AttributeValue>& value)
    {
        if (!value)
            return "none";
        if (const auto* text = std::get_if<std::string>(&*value))
            return *text;
        const auto index = std::get<int>(*value);
        const auto& name = attribute.description;
        if (name == kColor)
            return index < kColorCustom
                ? std::array {"ntsc", "pal", "hd"}.at(static_cast<std::size_t>(index))
                : fmt::format("{}-{}-{}", attribute.primaries, attribute.transfer, attribute.matrix);
        const auto& choice = attribute.popupvalues.at(static_cast<std::size_t>(index));
        if (name == kFieldDominance)
            return std::to_string(choice.code.value_or(0));
        auto text = lowerCase(choice.name);
        std::replace(text.begin(), text.end(), ' ', '-');
        return text;
    }

    /// "Set pixel aspect ratio to 40:33", "Remove gamma"
    std::string label(const AttributeEntry& attribute, const std::optional<AttributeValue>& value)
    {
        const auto name = lowerCase(attribute.description);
        return value ? fmt::format("Set {} to {}", name, optionValue(attribute, value))
                     : fmt::format("Remove {}", name);
    }

    Result<void> removeWhereItIs(const AttributeEntry& attribute, const KWMovTrack& track)
    {
        if (track.trackType() == KWMovTrack::kVideo
            && !Controller::hasAttribute(attribute.description, track))
            return {};
        return Controller::removeAttribute(attribute, track);
    }

    Result<void> removeFromMovie(const AttributeEntry& attribute, QTMovie& movie)
    {
        const auto track = KWMovTrack::firstTrackOfType(KWMovTrack::kVideo, movie);
        return track ? removeWhereItIs(attribute, *track) : Controller::removeAttribute(attribute, movie);
    }

    Result<void> changeTracks(const TrackSelector& tracks, const AttributeEntry& attribute,
        const std::optional<AttributeValue>& value, QTMovie& movie)
    {
        return forSelected(movie, tracks, [&](const QTTrack& track) {
            const auto record = KWMovTrack::trackWithQTTrack(track);
            return value ? Controller::imageDescriptionExtension(attribute, *value, record)
                         : removeWhereItIs(attribute, record);
        });
    }

    Result<void> takeFromPictureOf(const QTTrack& track)
    {
        const auto record = KWMovTrack::trackWithQTTrack(track);
        const auto attributes = Controller::imageDescriptionExtensionsForTrack(record);
        RW_TRY(const auto picture, BitstreamFacts::of(track));
        if (attributes)
            for (const auto& entry : attributeConflicts::toTake(*attributes, picture))
                RW_CHECK(Controller::imageDescriptionExtension(entry, entry.value, record));
        return {};
    }

    Result<void> takeFromPicture(const std::optional<TrackSelector>& tracks, QTMovie& movie)
    {
        if (tracks)
            return forSelected(movie, *tracks, takeFromPictureOf);
        const auto videos = movie.tracksOfMediaType(QTMediaTypeVideo);
        if (videos.empty())
            return failure(MovieError::Code::Refused, {}, "the movie has no video track");
        return takeFromPictureOf(videos.front());
    }

    Result<void> fromPicture(std::string_view, EditSteps& steps)
    {
        steps.add(takeAttributesOfPicture(std::nullopt));
        return {};
    }

    Result<Edit> fromPictureField(
        const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        if (value != "picture")
            return wrongValue("--track SELECTOR:attributes", value, "picture");
        auto edit = takeAttributesOfPicture(tracks);
        edit.option = option;
        return edit;
    }

    constexpr TrackField kFields[] = {
        {"pixel-aspect", "H:V|none", "of video: shape of a pixel, such as 40:33", field<0>},
        {"gamma", "N|none", "of video", field<1>},
        {"color", "ntsc|pal|hd|P-T-M|none", "of video: codes of primaries, transfer, matrix", field<2>},
        {"color-space", "NAME|none", "of video: as --color-space", field<3>},
        {"fields", "progressive|interlaced|none", "of video", field<4>},
        {"field-dominance", "0|1|6|9|14|none", "of video: order of the fields", field<5>},
        {"encoded-width", "N", "of video: pixels", field<6>},
        {"encoded-height", "N", "of video: pixels", field<7>},
        {"bit-depth", "N", "of video", field<8>},
        {"attributes", "picture", "of video: as --attributes-from-picture", fromPictureField},
    };

    constexpr EditKind kKinds[] = {
        {"--pixel-aspect", "H:V|none",
            "Shape of a pixel, such as 40:33; brings the apertures\nand the track's size up to date",
            single<option<0>>},
        {"--gamma", "N|none", "Gamma, such as 2.2", single<option<1>>},
        {"--color", "ntsc|pal|hd|P-T-M|none",
            "Color codes: primaries, transfer, matrix, as ISO/IEC\n23091-2 numbers them (9-16-9 for BT.2020, "
            "PQ)",
            single<option<2>>},
        {"--color-space", "NAME|none",
            "ICC profile of a named color space: generic-gray,\ngeneric-rgb, generic-cmyk, "
            "generic-rgb-linear,\n"
            "adobe-rgb-1998, srgb, generic-gray-2.2-gamma",
            single<option<3>>},
        {"--fields", "progressive|interlaced|none", "Whether a picture is of one piece or of two fields",
            single<option<4>>},
        {"--field-dominance", "0|1|6|9|14|none",
            "Order of the fields: 0 unknown, 1 top first, 6 bottom\nfirst (temporal), 9 first line early, 14 "
            "late (spatial)",
            single<option<5>>},
        {"--encoded-width", "N", "Width that the description states, in pixels", single<option<6>>},
        {"--encoded-height", "N", "Height that the description states, in pixels", single<option<7>>},
        {"--bit-depth", "N", "Depth that the description states", single<option<8>>},
        {"--attributes-from-picture", "",
            "Give the attributes of the first video track the values\nthat the picture's own stream states, "
            "where it contradicts\nthem (\"info --picture\" tells)",
            fromPicture},
    };
} // namespace

Edit setAttribute(const AttributeEntry& attribute, const std::optional<AttributeValue>& value)
{
    using Set = Result<void> (*)(const AttributeEntry&, const AttributeValue&, QTMovie&);
    auto call = value ? record("KWImageDescriptionController imageDescriptionExtension:setValue:forMovie:",
                    static_cast<Set>(Controller::imageDescriptionExtension), attribute, *value,
                    KWPlaceholderMovie::placeholder())
                      : record("KWImageDescriptionController removeAttribute:fromMovie:", removeFromMovie,
                          attribute, KWPlaceholderMovie::placeholder());
    return {fmt::format("--{} {}", rowOf(attribute).option, optionValue(attribute, value)),
        attribute.description, label(attribute, value), std::move(call)};
}

Edit setTrackAttribute(
    const TrackSelector& tracks, const AttributeEntry& attribute, const std::optional<AttributeValue>& value)
{
    return {fmt::format(
                "--track {}:{}={}", tracks.text(), rowOf(attribute).option, optionValue(attribute, value)),
        attribute.description, fmt::format("{} (track {})", label(attribute, value), tracks.text()),
        record("imageDescriptionExtension:setValue:forTracks:movie:", changeTracks, tracks, attribute, value,
            KWPlaceholderMovie::placeholder())};
}

Edit takeAttributesOfPicture(const std::optional<TrackSelector>& tracks)
{
    return {
        tracks ? fmt::format("--track {}:attributes=picture", tracks->text()) : "--attributes-from-picture",
        "Attributes of the Picture",
        "Take attributes from the picture" + (tracks ? fmt::format(" (track {})", tracks->text()) : ""),
        record("takeAttributesOfPicture:movie:", takeFromPicture, tracks, KWPlaceholderMovie::placeholder())};
}

Edit setTrackAttributes(const TrackSelector& tracks, const std::vector<AttributeEntry>& attributes)
{
    if (attributes.size() == 1)
        return setTrackAttribute(tracks, attributes.front(), attributes.front().value);
    std::vector<Edit> all;
    std::string option;
    for (const auto& attribute : attributes) {
        all.push_back(setTrackAttribute(tracks, attribute, attribute.value));
        option += (option.empty() ? "" : " ") + all.back().option;
    }
    return makeEdit(option, "Attributes",
        fmt::format("Set {} attributes (track {})", all.size(), tracks.text()),
        [all](QTMovie& movie) -> Result<void> {
            for (const auto& edit : all)
                RW_CHECK(edit.call.perform(movie));
            return {};
        });
}

std::span<const EditKind> attributeKinds()
{
    return kKinds;
}

std::span<const TrackField> attributeFields()
{
    return kFields;
}

} // namespace reelwright::edits
