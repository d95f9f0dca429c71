#include "attributes/KWMetadataController.h"

#include "attributes/MetadataPresets.h"
#include "movie/atoms/TextEncoding.h"
#include "support/KWLog.h"
#include "support/Preferences.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <unordered_set>

namespace reelwright {
namespace {

    using Reference = std::optional<QTMetaDataReference>;

    constexpr auto kDisplayNameKey = "com.apple.quicktime.displayname";
    constexpr auto kCopyrightKey = "com.apple.quicktime.copyright";
    constexpr auto kNotSign = "\u00AC";
    constexpr auto kCopyrightSign = "\u00A9";

    /// Lines about single items that one reading logs: a movie may have tens of thousands.
    constexpr std::size_t kMaxLoggedItems = 1000;
    constexpr std::size_t kMaxLoggedValue = 1000;

    /// The keys of an attribute, the first of which is made where none is there.
    using AttributeKeys = std::vector<std::string>;
    const AttributeKeys& displayNameKeys()
    {
        static const AttributeKeys kKeys {kDisplayNameKey, "\u00A9nam"};
        return kKeys;
    }
    const AttributeKeys& copyrightKeys()
    {
        static const AttributeKeys kKeys {kCopyrightKey, "\u00A9cpy", "cprt"};
        return kKeys;
    }

    tl::unexpected<MovieError> refusal(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    /// Counts the items of each stored key while a container is read.
    class Occurrences
    {
    public:
        std::size_t next(const std::string& storedKey) { return ++m_counts[storedKey]; }

    private:
        std::unordered_map<std::string, std::size_t> m_counts;
    };

    KWMetadataItem rowOf(const QTMetaData::Item& item, std::string value, Occurrences& occurrences)
    {
        KWMetadataItem row;
        row.key = item.shownKey();
        row.value = std::move(value);
        row.description = KWMetadataController::description(row.key);
        row.storedKey = item.key;
        row.occurrence = occurrences.next(item.key);
        row.item = item;
        return row;
    }

    void logItem(const QTMetaData::Item& item, const std::string& value)
    {
        KWLog::fastAppendLog("meta key: {}", item.shownKey());
        KWLog::fastAppendLog("meta val size: {}", item.value.size());
        KWLog::fastAppendLog("type: {}", item.dataType);
        KWLog::fastAppendLog("val: {}", std::string_view(value).substr(0, kMaxLoggedValue));
    }

    std::string normalized(const std::string& key)
    {
        if (!key.ends_with(kNotSign))
            return key;
        return key.substr(0, key.size() - std::string_view(kNotSign).size()) + kCopyrightSign;
    }

    /// Does the work on the container with the movie editable; logs a failure with the operation's name.
    Result<void> withContainer(const char* operation, const Reference& reference, QTMovie& movie,
        const std::function<Result<void>(const QTMetaData&, Atom&)>& work)
    {
        const EditableScope editable {movie};
        auto* container = reference->edit(movie);
        auto done = container ? work(QTMetaData::of(*container), *container)
                              : Result<void> {refusal("the track is not there any more")};
        if (!done)
            KWLog::appendLog("{}: {} ({})", operation, done.error().message(), done.error().status);
        return done;
    }

    Result<void> checkKey(const std::string& key)
    {
        if (key.empty())
            return refusal("a metadata key cannot be empty");
        if (key.find('\0') != std::string::npos || !isValidUtf8(std::as_bytes(std::span {key})))
            return refusal("a metadata key is UTF-8 text without zero characters");
        return {};
    }

    Result<void> checkValue(const KWMetadataValue& value)
    {
        RW_CHECK(checkKey(value.key));
        if (value.value.find('\0') != std::string::npos)
            return refusal("the value of the metadata key \"" + value.key + "\" has a zero character in it");
        if (!isValidUtf8(std::as_bytes(std::span {value.value})))
            return refusal("the value of the metadata key \"" + value.key + "\" is no UTF-8");
        return {};
    }

    /// Writes texts into the items of their keys, and adds those that are not there. Where `refused` is
    /// given, it receives a sentence for each value that cannot be written, and the others are; keys under
    /// which only something else than text stands are then refused too.
    Result<void> write(const char* operation, std::vector<KWMetadataValue> values, const Reference& reference,
        QTMovie& movie, std::vector<std::string>* refused = nullptr)
    {
        if (!reference) {
            KWLog::appendLog("Unable to set metadata - no metadata ref specified");
            return refusal("there is no metadata to set the value in");
        }
        struct Wanted
        {
            std::vector<std::size_t> values;
            std::size_t found = 0; ///< texts of the key
            std::size_t added = 0;
            bool isOther = false; ///< is there something else than text?
        };
        std::unordered_map<std::string, Wanted> wanted;
        std::size_t logged = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            auto& value = values[i];
            value.key = normalized(value.key);
            if (logged++ < kMaxLoggedItems)
                KWLog::fastAppendLog("set key: {}", value.key);
            if (auto checked = checkValue(value); checked)
                wanted[value.key].values.push_back(i);
            else if (refused)
                refused->push_back(checked.error().message());
            else
                return checked;
        }
        return withContainer(
            operation, reference, movie, [&](const QTMetaData& metadata, Atom& container) -> Result<void> {
                std::vector<QTMetaData::Change> changes;
                const auto& items = metadata.items();
                for (std::size_t i = 0; i < items.size(); ++i) {
                    const auto place = wanted.find(items[i].shownKey());
                    if (place == wanted.end())
                        continue;
                    auto& key = place->second;
                    if (!items[i].isText()) {
                        key.isOther = true;
                        continue;
                    }
                    const auto turn = key.values.size() > 1 ? key.found : 0;
                    ++key.found;
                    if (turn >= key.values.size())
                        continue;
                    auto bytes = items[i].encode(values[key.values[turn]].value);
                    if (!bytes && refused)
                        refused->push_back(bytes.error().message());
                    else if (!bytes)
                        return tl::unexpected(std::move(bytes).error());
                    else if (!(*bytes == items[i].value))
                        changes.push_back({i, std::move(*bytes)});
                }
                std::vector<QTMetaData::NewItem> added;
                for (const auto& value : values) {
                    const auto place = wanted.find(value.key);
                    if (place == wanted.end() || place->second.added++ < place->second.found)
                        continue;
                    if (place->second.isOther && place->second.found == 0 && refused)
                        refused->push_back("what stands under the metadata key \"" + value.key
                            + "\" is no text, and is not written over");
                    else
                        added.push_back({value.key, value.value});
                }
                metadata.apply(container, changes);
                return QTMetaData::add(container, added);
            });
    }

    /// Removes what `goes` says yes to; answers how many items that were.
    Result<std::size_t> remove(const char* operation, const Reference& reference, QTMovie& movie,
        const std::function<bool(const QTMetaData::Item&)>& goes)
    {
        std::size_t count = 0;
        if (!reference)
            return count;
        RW_CHECK(withContainer(
            operation, reference, movie, [&](const QTMetaData& metadata, Atom& container) -> Result<void> {
                std::vector<QTMetaData::Change> changes;
                for (std::size_t i = 0; i < metadata.items().size(); ++i)
                    if (goes(metadata.items()[i]))
                        changes.push_back({i, std::nullopt});
                count = changes.size();
                metadata.apply(container, changes);
                return {};
            }));
        return count;
    }

    /// The text under the first of the keys that has one.
    std::optional<QTMetaData::Item> attributeItem(
        const std::vector<QTMetaData::Item>& items, const AttributeKeys& keys)
    {
        for (const auto& key : keys)
            for (const auto& item : items)
                if (item.isText() && item.shownKey() == key)
                    return item;
        return std::nullopt;
    }

    std::optional<std::string> attributeText(const QTMovie& movie, const AttributeKeys& keys)
    {
        const auto item = attributeItem(QTMetaData::ofMovie(movie).items(), keys);
        return item ? item->anyText() : std::nullopt;
    }

    Result<void> setAttribute(
        const char* operation, const AttributeKeys& keys, const std::string& text, QTMovie& movie)
    {
        const auto reference = QTMetaDataReference::ofMovie(movie);
        std::vector<KWMetadataValue> values;
        for (const auto& item : reference.read().items()) {
            const auto key = item.shownKey();
            if (item.isText() && std::find(keys.begin(), keys.end(), key) != keys.end())
                values.push_back({key, text});
        }
        if (values.empty() && text.empty())
            return {};
        if (values.empty())
            values.push_back({keys.front(), text});
        return write(operation, std::move(values), reference, movie);
    }

} // namespace

std::string KWMetadataController::description(const std::string& key)
{
    static constexpr auto kRawKeys = "rawMetadataKeys";
    auto text
        = Preferences::standard().integer(kRawKeys) == 1 ? std::string {} : MetadataPresets::description(key);
    return text.empty() ? key : text;
}

std::vector<KWMetadataItem> KWMetadataController::metaDataArrayFromMetaDataReference(
    const std::optional<QTMetaDataReference>& metaDataReference)
{
    std::vector<KWMetadataItem> rows;
    if (!metaDataReference)
        return rows;
    Occurrences occurrences;
    std::size_t count = 0;
    for (const auto& item : metaDataReference->read().items()) {
        const bool isLogged = ++count <= kMaxLoggedItems;
        if (count == kMaxLoggedItems + 1)
            KWLog::fastAppendLog("further metadata are read without a word");
        const auto text = item.text();
        if (!text && item.dataType != QTMetaData::kUtf16 && isLogged)
            KWLog::fastAppendLog("Non-string value of type {} for key {}", item.dataType, item.shownKey());
        if (text && isLogged)
            logItem(item, *text);
        auto row = rowOf(item, text.value_or(std::string {}), occurrences);
        if (text && row.key != kDisplayNameKey && row.key != kCopyrightKey)
            rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<KWMetadataItem> KWMetadataController::allItems(const QTMetaData& metadata)
{
    std::vector<KWMetadataItem> rows;
    rows.reserve(metadata.items().size());
    Occurrences occurrences;
    for (const auto& item : metadata.items())
        rows.push_back(rowOf(item, item.anyText().value_or(std::string {}), occurrences));
    return rows;
}

std::vector<KWMetadataItem> KWMetadataController::movieRows(const QTMovie& movie)
{
    const auto metadata = QTMetaData::ofMovie(movie);
    KWMetadataItem copyrightRow;
    copyrightRow.description = kCopyrightRow;
    copyrightRow.value = copyright(movie).value_or(std::string {});
    copyrightRow.attribute = kCopyrightAttribute;
    KWMetadataItem titleRow;
    titleRow.description = kTitleRow;
    titleRow.value = displayName(movie);
    titleRow.key = kDisplayNameKey;
    copyrightRow.item = attributeItem(metadata.items(), copyrightKeys()).value_or(QTMetaData::Item {});
    titleRow.item = attributeItem(metadata.items(), displayNameKeys()).value_or(QTMetaData::Item {});
    std::vector<KWMetadataItem> rows {std::move(copyrightRow), std::move(titleRow)};
    for (auto& row : allItems(metadata))
        if (row.key != kDisplayNameKey && row.key != kCopyrightKey)
            rows.push_back(std::move(row));
    return rows;
}

Result<void> KWMetadataController::setMetaDataValue(const std::string& value, const std::string& key,
    const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie)
{
    return write(
        "setMetaDataValue:forKey:metaDataReference:movie:", {{key, value}}, metaDataReference, movie);
}

Result<void> KWMetadataController::setMetaDataValue(
    const std::string& value, const std::string& key, QTMovie& movie)
{
    return setMetaDataValue(value, key, QTMetaDataReference::ofMovie(movie), movie);
}

Result<void> KWMetadataController::setMetaDataValues(const std::vector<KWMetadataValue>& values,
    const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie)
{
    return write("setMetaDataValues:metaDataReference:movie:", values, metaDataReference, movie);
}

Result<std::vector<std::string>> KWMetadataController::importMetaDataValues(
    const std::vector<KWMetadataValue>& values, const std::optional<QTMetaDataReference>& metaDataReference,
    QTMovie& movie)
{
    std::vector<std::string> refused;
    std::vector<KWMetadataValue> plain;
    const bool isOfMovie = metaDataReference && !metaDataReference->isTrack();
    for (const auto& value : values) {
        const bool isCopyright = isOfMovie && value.key == kCopyrightRow;
        if (!isCopyright && !(isOfMovie && value.key == kTitleRow)) {
            plain.push_back(value);
            continue;
        }
        if (auto done = isCopyright ? setCopyright(value.value, movie) : setDisplayName(value.value, movie);
            !done)
            refused.push_back(done.error().message());
    }
    if (!plain.empty())
        RW_CHECK(write("importMetaDataValues:metaDataReference:movie:", std::move(plain), metaDataReference,
            movie, &refused));
    return refused;
}

Result<void> KWMetadataController::replaceMetaDataValue(const std::string& oldValue, const std::string& value,
    const std::string& key, const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie)
{
    if (!metaDataReference)
        return refusal("there is no metadata to set the value in");
    RW_CHECK(checkValue({key, value}));
    return withContainer("replaceMetaDataValue:withValue:forKey:metaDataReference:movie:", metaDataReference,
        movie, [&](const QTMetaData& metadata, Atom& container) -> Result<void> {
            std::vector<QTMetaData::Change> changes;
            const auto& items = metadata.items();
            for (std::size_t i = 0; i < items.size(); ++i) {
                if (items[i].shownKey() != key || items[i].anyText() != oldValue)
                    continue;
                RW_TRY(auto bytes, items[i].encode(value));
                changes.push_back({i, std::move(bytes)});
            }
            if (changes.empty())
                return refusal("there is no text of that value under the metadata key \"" + key + "\"");
            metadata.apply(container, changes);
            return {};
        });
}

Result<void> KWMetadataController::removeMetaDataKey(
    const std::string& key, const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie)
{
    KWMetadataItem first;
    first.storedKey = key;
    return removeMetaDataItem(first, metaDataReference, movie);
}

Result<void> KWMetadataController::removeMetaDataItem(
    const KWMetadataItem& item, const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie)
{
    std::size_t met = 0;
    const auto goes = [&](const QTMetaData::Item& other) {
        return other.key == item.storedKey && ++met == item.occurrence;
    };
    RW_CHECK(remove("removeMetaDataKey:metaDataReference:movie:", metaDataReference, movie, goes));
    return {};
}

Result<std::size_t> KWMetadataController::removeMetaDataKeys(const std::vector<std::string>& keys,
    const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie)
{
    std::unordered_set<std::string> wanted {keys.begin(), keys.end()};
    if (metaDataReference && !metaDataReference->isTrack()) {
        std::unordered_set<std::string> present;
        for (const auto& item : metaDataReference->read().items())
            present.insert(item.shownKey());
        for (const auto& [row, rowKeys] :
            {std::pair(kTitleRow, displayNameKeys()), std::pair(kCopyrightRow, copyrightKeys())})
            if (wanted.contains(row) && !present.contains(row))
                wanted.insert(rowKeys.begin(), rowKeys.end());
    }
    return remove("removeMetaDataKeys:metaDataReference:movie:", metaDataReference, movie,
        [&](const QTMetaData::Item& item) {
            return wanted.contains(item.key) || wanted.contains(item.shownKey());
        });
}

Result<void> KWMetadataController::removeMetaData(const KWMetadataItem& item, QTMovie& movie)
{
    if (item.attribute == kCopyrightAttribute)
        return setCopyright({}, movie);
    const auto reference = QTMetaDataReference::ofMovie(movie);
    return item.storedKey.empty() ? removeMetaDataKey(item.key, reference, movie)
                                  : removeMetaDataItem(item, reference, movie);
}

std::string KWMetadataController::displayName(const QTMovie& movie)
{
    if (auto name = attributeText(movie, displayNameKeys()))
        return *name;
    const auto path = movie.fileName();
    return path.substr(path.rfind('/') + 1);
}

bool KWMetadataController::hasOwnKey(std::string_view row, const QTMovie& movie)
{
    return attributeText(movie, {row == kTitleRow ? kDisplayNameKey : kCopyrightKey}).has_value();
}

bool KWMetadataController::hasDisplayName(const QTMovie& movie)
{
    return attributeText(movie, displayNameKeys()).has_value();
}

Result<void> KWMetadataController::setDisplayName(const std::string& name, QTMovie& movie)
{
    return setAttribute("setDisplayName:movie:", displayNameKeys(), name, movie);
}

std::optional<std::string> KWMetadataController::copyright(const QTMovie& movie)
{
    return attributeText(movie, copyrightKeys());
}

Result<void> KWMetadataController::setCopyright(const std::string& text, QTMovie& movie)
{
    return setAttribute("setCopyright:movie:", copyrightKeys(), text, movie);
}

std::string KWMetadataController::reverseString(const std::string& text)
{
    return reversedText(text);
}

std::string KWMetadataController::stringFromFourCharCode(FourCC code)
{
    return decodeText(ByteWriter {}.fourCC(code).span());
}

FourCC KWMetadataController::fourCharCodeFromString(const std::string& text)
{
    FourCC code;
    for (std::size_t i = 0; i < 4; ++i)
        code.value = code.value << 8U | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
    return code;
}

} // namespace reelwright
