#include "attributes/AttributeConflicts.h"

#include "movie/Apertures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace reelwright::attributeConflicts {
namespace {

    /// Gammas that a transfer function may be simplified to; none of the curves without one.
    struct GammaRange
    {
        int transfer;
        double least;
        double most;
    };
    constexpr GammaRange kGammas[] = {{1, 1.8, 2.45}, {4, 2.2, 2.2}, {5, 2.8, 2.8}, {6, 1.8, 2.45},
        {7, 1.8, 2.45}, {8, 1, 1}, {13, 2.2, 2.4}, {14, 1.8, 2.45}, {15, 1.8, 2.45}, {16, 0, 0}, {18, 0, 0}};
    constexpr double kTolerance = 0.011;

    std::string textOf(const ColorParameters& color)
    {
        return fmt::format("{}-{}-{}", color.primaries, color.transfer, color.matrix);
    }

    std::optional<std::string> gammaConflict(const SampleDescription& description)
    {
        const auto color = description.color();
        const auto gamma = description.gamma();
        if (!color || !gamma || *gamma == 0)
            return std::nullopt;
        const double value = *gamma / 65536.0;
        for (const auto& range : kGammas) {
            if (range.transfer != color->transfer)
                continue;
            if (range.most == 0)
                return fmt::format("the gamma {:.2f} contradicts the color {}, whose transfer curve has none",
                    value, textOf(*color));
            if (value < range.least - kTolerance || value > range.most + kTolerance)
                return fmt::format(
                    "the gamma {:.2f} contradicts the transfer curve of the color {}", value, textOf(*color));
        }
        return std::nullopt;
    }

    std::optional<std::string> apertureConflict(const QTTrack& track)
    {
        const auto stored = apertures::stored(track);
        const auto computed = apertures::fromDescription(track);
        if (!stored || !computed)
            return std::nullopt;
        const auto differs = [](const QTSize& one, const QTSize& other) {
            return std::abs(one.width - other.width) > 1 || std::abs(one.height - other.height) > 1;
        };
        if (!differs(stored->production, computed->production))
            return std::nullopt;
        return fmt::format(
            "the aperture dimensions say {:g} x {:g}, the pixel aspect ratio gives {:g} x {:g}",
            std::round(stored->production.width), std::round(stored->production.height),
            std::round(computed->production.width), std::round(computed->production.height));
    }

    std::optional<std::string> cleanConflict(const SampleDescription& description)
    {
        const auto clean = description.cleanAperture();
        const auto video = description.video();
        if (!clean || !clean->isDefined() || !video || video->width == 0)
            return std::nullopt;
        const auto offset = [](std::int32_t n, std::uint32_t d) {
            return d == 0 ? 0.0 : std::abs(static_cast<double>(n) / d);
        };
        const bool beyond = clean->width() / 2 + offset(clean->horizontalOffsetN, clean->horizontalOffsetD)
                > video->width / 2.0 + 0.5
            || clean->height() / 2 + offset(clean->verticalOffsetN, clean->verticalOffsetD)
                > video->height / 2.0 + 0.5;
        if (!beyond)
            return std::nullopt;
        return fmt::format("the clean aperture ({:g} x {:g}) reaches beyond the picture ({} x {})",
            clean->width(), clean->height(), video->width, video->height);
    }

    AttributeEntry valued(std::string_view name, AttributeValue value)
    {
        auto entry = KWImageDescriptionController::attributeNamed(name);
        entry.value = std::move(value);
        return entry;
    }

    std::string shown(const AttributeEntry& entry)
    {
        if (entry.description == kColor)
            return fmt::format("{}-{}-{}", entry.primaries, entry.transfer, entry.matrix);
        if (const auto* text = std::get_if<std::string>(&entry.value))
            return *text;
        const auto index = static_cast<std::size_t>(std::get<int>(entry.value));
        return index < entry.popupvalues.size() ? entry.popupvalues[index].name : std::string {};
    }

    /// Is it said to be the top field? Of the spatial orders (9, 14) two published texts of the format say
    /// opposite things, so that they contradict nothing.
    std::optional<bool> beginsWithTop(const AttributeEntry& dominance)
    {
        const auto index = std::get<int>(dominance.value);
        if (index == 1 || index == 2)
            return index == 1;
        return std::nullopt;
    }

    /// Codes that stand for the same curve or matrix, as one of them; nothing for "unspecified".
    std::optional<int> transferMeant(int code)
    {
        if (code == 2)
            return std::nullopt;
        return code == 6 || code == 14 || code == 15 ? 1 : code;
    }
    std::optional<int> matrixMeant(int code)
    {
        if (code == 2)
            return std::nullopt;
        return code == 5 ? 6 : code;
    }

    bool contradict(const std::optional<int>& one, const std::optional<int>& other)
    {
        return one && other && *one != *other;
    }

    /// The ratio, or where its numbers take more than 8 bits, which is what is written, the nearest one.
    std::string nearestRatio(const PixelAspectRatio& ratio)
    {
        constexpr std::uint32_t kMost = 255;
        const auto common = std::max(std::gcd(ratio.horizontal, ratio.vertical), 1U);
        PixelAspectRatio best {ratio.horizontal / common, ratio.vertical / common};
        if (best.horizontal > kMost || best.vertical > kMost) {
            const double wanted = static_cast<double>(ratio.horizontal) / std::max(ratio.vertical, 1U);
            double least = HUGE_VAL;
            for (std::uint32_t vertical = 1; vertical <= kMost; ++vertical) {
                const double horizontal = std::clamp(std::round(wanted * vertical), 1.0, double {kMost});
                if (const auto off = std::abs(horizontal / vertical - wanted); off < least) {
                    least = off;
                    best = {static_cast<std::uint32_t>(horizontal), vertical};
                }
            }
        }
        return fmt::format("{}:{}", best.horizontal, best.vertical);
    }

    /// The two numbers of a pixel aspect ratio.
    std::pair<double, double> ratioOf(const AttributeEntry& entry)
    {
        const auto text = std::get<std::string>(entry.value);
        const auto colon = text.find(':');
        return {std::strtod(text.c_str(), nullptr), std::strtod(text.c_str() + colon + 1, nullptr)};
    }

    std::optional<AttributeEntry> inFile(std::string_view name, const SampleDescription& description)
    {
        const auto video = description.video();
        if (name == kEncodedWidth && video)
            return valued(name, std::to_string(video->width));
        if (name == kEncodedHeight && video)
            return valued(name, std::to_string(video->height));
        if (const auto ratio = description.pixelAspectRatio(); name == kPixelAspectRatio && ratio)
            return valued(name, fmt::format("{}:{}", ratio->horizontal, ratio->vertical));
        if (const auto color = description.color(); name == kColor && color) {
            auto entry = valued(name, colorIndex(color->primaries, color->transfer, color->matrix));
            entry.primaries = color->primaries;
            entry.transfer = color->transfer;
            entry.matrix = color->matrix;
            return entry;
        }
        const auto layout = description.fieldLayout();
        if (name == kFields && layout)
            return valued(name, layout->count == 2 ? 1 : 0);
        if (name == kFieldDominance && layout) {
            constexpr std::uint8_t kDetails[] {0, 1, 6, 9, 14};
            for (int i = 0; i < 5; ++i)
                if (layout->detail == kDetails[i])
                    return valued(name, i);
        }
        return std::nullopt;
    }

} // namespace

std::vector<std::string> withinFile(const QTTrack& track)
{
    std::vector<std::string> sentences;
    const auto description = track.media().sampleDescription(1);
    if (track.mediaType() != QTMediaTypeVideo || !description)
        return sentences;
    for (auto& conflict : {gammaConflict(*description), apertureConflict(track), cleanConflict(*description)})
        if (conflict)
            sentences.push_back(*conflict);
    return sentences;
}

std::vector<std::string> withPicture(const QTTrack& track, const PictureFacts& picture)
{
    std::vector<std::string> sentences;
    const auto description = track.media().sampleDescription(1);
    if (track.mediaType() != QTMediaTypeVideo || !description)
        return sentences;
    for (const auto name :
        {kEncodedWidth, kEncodedHeight, kPixelAspectRatio, kColor, kFields, kFieldDominance}) {
        const auto file = inFile(name, *description);
        const auto said = saidByPicture(name, picture);
        if (file && said && differ(*file, *said))
            sentences.push_back(fmt::format(
                "{}: the file says {}, the {} says {}", name, shown(*file), picture.source, shown(*said)));
    }
    return sentences;
}

std::optional<AttributeEntry> saidByPicture(std::string_view name, const PictureFacts& picture)
{
    if (name == kEncodedWidth && picture.width > 0)
        return valued(name, std::to_string(picture.width));
    if (name == kEncodedHeight && picture.height > 0)
        return valued(name, std::to_string(picture.height));
    if (name == kPixelAspectRatio && picture.pixelAspectRatio)
        return valued(name,
            fmt::format("{}:{}", picture.pixelAspectRatio->horizontal, picture.pixelAspectRatio->vertical));
    if (name == kColor && picture.color) {
        const auto& color = *picture.color;
        auto entry = valued(name, colorIndex(color.primaries, color.transfer, color.matrix));
        entry.primaries = color.primaries;
        entry.transfer = color.transfer;
        entry.matrix = color.matrix;
        return entry;
    }
    if (name == kFields && picture.interlaced)
        return valued(name, *picture.interlaced ? 1 : 0);
    if (name == kFieldDominance && picture.interlaced.value_or(false) && picture.topFieldFirst)
        return valued(name, *picture.topFieldFirst ? 1 : 2);
    return std::nullopt;
}

bool differ(const AttributeEntry& inFile, const AttributeEntry& inPicture)
{
    if (inFile.description == kFieldDominance) {
        const auto file = beginsWithTop(inFile);
        const auto picture = beginsWithTop(inPicture);
        return file && picture && *file != *picture;
    }
    if (inFile.description == kColor) {
        const auto known
            = [](int primaries) { return primaries == 2 ? std::nullopt : std::optional(primaries); };
        return contradict(known(inFile.primaries), known(inPicture.primaries))
            || contradict(transferMeant(inFile.transfer), transferMeant(inPicture.transfer))
            || contradict(matrixMeant(inFile.matrix), matrixMeant(inPicture.matrix));
    }
    if (inFile.description == kPixelAspectRatio) {
        const auto [fileH, fileV] = ratioOf(inFile);
        const auto [pictureH, pictureV] = ratioOf(inPicture);
        // Numbers that do not fit are written as the nearest that do.
        constexpr double kRounding = 1e-4;
        return std::abs(fileH * pictureV - pictureH * fileV) > kRounding * pictureH * fileV;
    }
    return inFile.value != inPicture.value;
}

std::vector<AttributeEntry> toTake(const std::vector<AttributeEntry>& inFile, const PictureFacts& picture)
{
    std::vector<AttributeEntry> taken;
    for (const auto& entry : inFile) {
        auto said = saidByPicture(entry.description, picture);
        if (!said || !differ(entry, *said))
            continue;
        if (entry.description == kPixelAspectRatio)
            said->value = nearestRatio(*picture.pixelAspectRatio);
        taken.push_back(std::move(*said));
    }
    return taken;
}

std::string meaning(const AttributeEntry& inFile, const AttributeEntry& inPicture)
{
    if (!differ(inFile, inPicture))
        return {};
    const std::string believer = "A player that believes the file ";
    const auto& name = inFile.description;
    if (name == kPixelAspectRatio) {
        const auto [fileH, fileV] = ratioOf(inFile);
        const auto [pictureH, pictureV] = ratioOf(inPicture);
        const double wider = fileV > 0 && pictureH > 0 ? fileH / fileV * pictureV / pictureH : 1;
        return fmt::format("{}shows everything {:.1f} % {} than it was made.", believer,
            std::abs(wider - 1) * 100, wider > 1 ? "wider" : "narrower");
    }
    if (name == kFields)
        return believer
            + (std::get<int>(inFile.value) == 1 ? "takes apart whole pictures, which become softer."
                                                : "shows combs at the edges of whatever moves.");
    if (name == kFieldDominance)
        return believer + "shows movement that goes back and forth.";
    if (name == kColor) {
        const bool isMatrix = contradict(matrixMeant(inFile.matrix), matrixMeant(inPicture.matrix));
        const bool isCurve = contradict(transferMeant(inFile.transfer), transferMeant(inPicture.transfer));
        return believer + "shows "
            + (isCurve         ? "another brightness and contrast."
                    : isMatrix ? "greens and reds slightly off."
                               : "colors more or less saturated than they are.");
    }
    return believer + "may cut the picture, or show edges that are not meant to be seen.";
}

} // namespace reelwright::attributeConflicts
