#include "report/FactsJson.h"

#include "attributes/KWImageDescriptionController.h"
#include "report/TimecodePlaces.h"
#include "tracks/ApertureModes.h"
#include "tracks/TextStyleJson.h"

#include <fmt/format.h>

#include <cmath>

namespace reelwright {
namespace {

    Json textOrNull(const std::string& text)
    {
        return text.empty() ? Json {} : Json(text);
    }

    Json codeOrNull(FourCC code)
    {
        return code == FourCC {} ? Json {} : Json(code.text());
    }

    /// Whole numbers as such: 720, not 720.0.
    Json number(double value)
    {
        constexpr double kLargest = 1e15;
        if (std::floor(value) == value && std::abs(value) < kLargest)
            return static_cast<std::int64_t>(value);
        return value;
    }

    Json timeJson(const TimeFact& fact)
    {
        return {{"value", fact.time.value}, {"scale", fact.time.scale}, {"timecode", fact.timecode}};
    }

    Json sizeJson(const std::optional<PixelSize>& size)
    {
        return size ? Json {{"width", number(size->width)}, {"height", number(size->height)}} : Json {};
    }

    Json matrixJson(const Matrix& matrix)
    {
        auto result = Json::array();
        for (std::size_t i = 0; i < matrix.values.size(); ++i) {
            const double one = i % 3 == 2 ? 1 << 30 : 1 << 16; // the third column is 2.30 fixed point
            result.push_back(number(matrix.values[i] / one));
        }
        return result;
    }

    Json colorJson(const ColorParameters& color)
    {
        constexpr std::array kNames {"NTSC", "PAL", "HD"}; // as ColorIndex
        const auto index = colorIndex(color.primaries, color.transfer, color.matrix);
        return {{"primaries", color.primaries}, {"transfer", color.transfer}, {"matrix", color.matrix},
            {"name", index == kColorCustom ? Json {} : Json(kNames.at(static_cast<std::size_t>(index)))},
            {"fullRange", color.fullRange ? Json(*color.fullRange) : Json {}}};
    }

    Json fieldsJson(const FieldLayout& layout)
    {
        if (layout.count == 1)
            return "progressive";
        return layout.count == 2 ? Json("interlaced") : Json(std::to_string(layout.count));
    }

    Json attributesJson(const AttributeFacts& facts)
    {
        const auto sizeOrNull = [](std::uint16_t pixels) { return pixels == 0 ? Json {} : Json(pixels); };
        constexpr double kDigits = 1e5; // tells all values of the fixed point apart
        return {{"encodedWidth", sizeOrNull(facts.video.width)},
            {"encodedHeight", sizeOrNull(facts.video.height)},
            {"pixelAspectRatio",
                facts.pixelAspectRatio ? Json(fmt::format(
                    "{}:{}", facts.pixelAspectRatio->horizontal, facts.pixelAspectRatio->vertical))
                                       : Json {}},
            {"gamma", facts.gamma ? number(std::round(*facts.gamma / 65536.0 * kDigits) / kDigits) : Json {}},
            {"color", facts.color ? colorJson(*facts.color) : Json {}},
            {"colorSpace", textOrNull(facts.colorSpace)},
            {"fields", facts.fieldLayout ? fieldsJson(*facts.fieldLayout) : Json {}},
            {"fieldDominance", facts.fieldLayout ? Json(facts.fieldLayout->detail) : Json {}},
            {"bitDepth", facts.video.depth}, {"sampleDescriptions", facts.descriptions}};
    }

    Json timecodeJson(const TimecodeFacts& facts)
    {
        const auto& definition = facts.description.definition;
        const bool counter = (definition.flags & TimecodeDefinition::kCounter) != 0;
        return {{"start", facts.start}, {"reel", facts.description.reel}, {"flags", definition.flags},
            {"timeScale", definition.timeScale}, {"frameDuration", definition.frameDuration},
            {"numberOfFrames", definition.numberOfFrames},
            {"counter", counter ? Json(facts.startFrame) : Json {}}};
    }

} // namespace

Json trackJson(const TrackFacts& facts)
{
    auto references = Json::object();
    for (const auto& [kind, ids] : facts.references)
        references[kind.text()] = ids;
    const bool isSound = facts.mediaType == QTMediaTypeSound;
    Json json {
        {"id", facts.id},
        {"type", facts.typeName},
        {"typeCode", facts.kind ? Json(facts.kind->typeCode) : Json {}},
        {"mediaType", codeOrNull(facts.mediaType)},
        {"place", textOrNull(facts.placeName)},
        {"name", facts.name},
        {"enabled", facts.enabled},
        {"in", timeJson(facts.in)},
        {"duration", timeJson(facts.duration)},
        {"mediaTimeScale", facts.mediaTimeScale},
        {"mediaDuration", facts.mediaDuration},
        {"sampleCount", facts.sampleCount},
        {"frameRate", number(facts.frameRate)},
        {"format", facts.format ? codeOrNull(*facts.format) : Json {}},
        {"width", facts.size ? number(facts.size->width) : Json {}},
        {"height", facts.size ? number(facts.size->height) : Json {}},
        {"matrix", matrixJson(facts.matrix)},
        {"channels", isSound ? Json(facts.channels) : Json {}},
        {"channelLabel", textOrNull(facts.channelLabel)},
        {"sampleRate", isSound ? number(facts.sampleRate) : Json {}},
        {"language", textOrNull(facts.language)},
        {"volume", isSound ? number(facts.volume) : Json {}},
        {"balance", facts.balance ? number(*facts.balance) : Json {}},
        {"layer", facts.layer},
        {"alternateGroup", facts.alternateGroup},
        {"references", std::move(references)},
    };
    if (facts.mediaType == QTMediaTypeTimeCode)
        json["timecode"] = facts.timecode ? timecodeJson(*facts.timecode) : Json {};
    if (facts.texts) {
        auto texts = Json::array();
        for (const auto& [text, start, end, style] : *facts.texts)
            texts.push_back({{"text", text}, {"start", timeJson(start)}, {"end", timeJson(end)},
                {"style", Json::parse(textStyle::json(style))}});
        json["texts"] = std::move(texts);
    }
    if (facts.attributes)
        json["attributes"] = attributesJson(*facts.attributes);
    if (facts.shownSize)
        json["shownSize"] = sizeJson(facts.shownSize);
    if (facts.apertures)
        json["apertures"] = {{"clean", sizeJson(facts.apertures->clean)},
            {"production", sizeJson(facts.apertures->production)},
            {"encoded", sizeJson(facts.apertures->encoded)}};
    return json;
}

Json ownJson(const MovieFacts& facts)
{
    return {
        {"timeScale", facts.duration.time.scale},
        {"duration", timeJson(facts.duration)},
        {"frameRate", number(facts.frameRate)},
        {"timing", {{"timebase", facts.timebase}, {"ntsc", facts.ntsc}, {"dropFrame", facts.dropFrame}}},
        {"naturalSize",
            {{"width", number(facts.naturalSize.width)}, {"height", number(facts.naturalSize.height)}}},
        {"settings",
            {{"autoPlay", facts.autoPlay}, {"autoClose", facts.autoClose}, {"autoQuit", facts.autoQuit},
                {"controller", facts.controller == "none"_cc ? "hide" : "show"},
                {"apertureMode", textOrNull(apertureModeName(facts.apertureMode))}}},
        {"startTimecode", textOrNull(facts.startTimecode)},
    };
}

Json movieJson(const MovieFacts& facts)
{
    auto json = ownJson(facts);
    auto chapters = Json::array();
    for (const auto& [name, start] : facts.chapters)
        chapters.push_back({{"name", name}, {"start", timeJson(start)}});
    json["chapters"] = std::move(chapters);
    auto tracks = Json::array();
    for (const auto& track : facts.tracks)
        tracks.push_back(trackJson(track));
    json["tracks"] = std::move(tracks);
    return json;
}

Json factsJson(const MovieFacts& facts)
{
    Json json {
        {"file", facts.file},
        {"size", facts.size},
        {"brand", codeOrNull(facts.brand)},
        {"canUpdate", !facts.hindrance},
        {"cannotUpdateBecause", facts.hindrance ? Json(*facts.hindrance) : Json {}},
        {"needsFlattening", facts.needsFlattening},
        {"fragmented", facts.fragmented},
    };
    json.update(movieJson(facts));
    json["timecodes"] = timecodesJson(facts.timecodes);
    json["metadata"] = metadataJson(facts.metadata);
    for (std::size_t i = 0; i < facts.tracks.size(); ++i)
        json["tracks"][i]["metadata"] = metadataJson(facts.tracks[i].metadata);
    json["warnings"] = facts.warnings;
    return json;
}

} // namespace reelwright
