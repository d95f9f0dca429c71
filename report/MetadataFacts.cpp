#include "report/MetadataFacts.h"

#include "attributes/KWMetadataController.h"
#include "report/LanguageName.h"
#include "support/FileHelper.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr std::uint32_t kLanguageBits = 0xFFFF;
    constexpr std::uint32_t kUnspecified = 0x7FFF;

    /// The language of an item: user data have a code of either kind, others a packed one in the lower half.
    std::string language(const QTMetaData::Item& item)
    {
        const auto code = item.locale & kLanguageBits;
        if (code == kUnspecified || item.keyFormat == FourCC {})
            return {};
        const bool isSaid = item.storage == QTMetaData::Storage::UserData
            ? item.dataType != QTMetaData::kBinary
            : code != 0;
        return isSaid ? languageName(static_cast<std::uint16_t>(code)) : std::string {};
    }

    /// Items of the user data that are facts of their own: what players are told, a track's name.
    bool isSetting(const QTMetaData::Item& item, const std::string& key)
    {
        constexpr std::string_view kSettings[] = {"play", "aclo", "aqui", "ctyp", "apmd", "name"};
        return item.storage == QTMetaData::Storage::UserData && item.dataType == QTMetaData::kBinary
            && std::find(std::begin(kSettings), std::end(kSettings), key) != std::end(kSettings);
    }

} // namespace

std::vector<MetadataFact> MetadataFact::of(const QTMetaData& metadata)
{
    std::vector<MetadataFact> facts;
    facts.reserve(metadata.items().size());
    for (const auto& item : metadata.items()) {
        auto key = item.shownKey();
        if (isSetting(item, key))
            continue;
        auto description = KWMetadataController::description(key);
        facts.push_back({std::move(key), std::move(description), item});
    }
    return facts;
}

const char* storageName(QTMetaData::Storage storage)
{
    switch (storage) {
    case QTMetaData::Storage::UserData:
        return "udta";
    case QTMetaData::Storage::NamedKeys:
        return "mdta";
    case QTMetaData::Storage::ShortKeys:
        break;
    }
    return "ilst";
}

Json metadataJson(const MetadataFact& fact)
{
    const auto text = fact.item.anyText();
    const auto spoken = language(fact.item);
    return {{"key", fact.key}, {"value", text ? Json(*text) : Json {}}, {"description", fact.description},
        {"storage", storageName(fact.item.storage)}, {"type", fact.item.dataType},
        {"language", spoken.empty() ? Json {} : Json(spoken)}, {"size", fact.item.value.size()}};
}

Json metadataJson(const std::vector<MetadataFact>& facts)
{
    auto json = Json::array();
    for (const auto& fact : facts)
        json.push_back(metadataJson(fact));
    return json;
}

std::string metadataText(const MetadataFact& fact)
{
    if (auto text = fact.item.anyText())
        return std::move(*text);
    return fmt::format("({})", FileHelper::formatFileSize(fact.item.value.size()));
}

} // namespace reelwright
