#include "edits/MetadataEdits.h"

#include "attributes/MetadataList.h"
#include "attributes/MetadataPresets.h"
#include "attributes/MetadataTable.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace reelwright::edits {
namespace {

    const auto kMovie = KWPlaceholderMovie::placeholder();

    using Change = std::function<Result<void>(const QTMetaDataReference&, QTMovie&)>;

    /// Does it to the movie's metadata, or to those of the selected tracks.
    Result<void> changeMetadata(const MetadataOwner& owner, const Change& change, QTMovie& movie)
    {
        if (!owner)
            return change(QTMetaDataReference::ofMovie(movie), movie);
        return forSelected(movie, *owner,
            [&](const QTTrack& track) { return change(QTMetaDataReference::ofTrack(track), movie); });
    }

    std::string optionOf(const MetadataOwner& owner, const char* name, const std::string& value)
    {
        return owner ? fmt::format("--track {}:{}={}", owner->text(), name, value)
                     : fmt::format("--{} {}", name, value);
    }

    std::string ofOwner(const MetadataOwner& owner)
    {
        return owner ? " of track " + owner->text() : std::string {};
    }

    Edit metadataEdit(const MetadataOwner& owner, std::string option, std::string undoName,
        const std::string& label, Change change)
    {
        return {std::move(option), std::move(undoName), label + ofOwner(owner),
            record("changeMetadata:change:movie:", changeMetadata, owner, std::move(change), kMovie)};
    }

    Result<void> writeAll(
        const std::vector<KWMetadataValue>& values, const QTMetaDataReference& reference, QTMovie& movie)
    {
        RW_TRY(const auto refused, KWMetadataController::importMetaDataValues(values, reference, movie));
        if (refused.empty())
            return {};
        return failure(MovieError::Code::Refused, {}, fmt::format("{}", fmt::join(refused, "; ")));
    }

    /// A key as it is typed: descriptions of known keys count as these.
    std::string typedKey(std::string_view text)
    {
        const std::string key {text};
        const auto known = MetadataPresets::keyNamed(key);
        return known.empty() ? key : known;
    }

    Result<KWMetadataValue> keyAndValue(std::string_view option, std::string_view text)
    {
        const auto equals = text.find('=');
        if (equals == 0 || equals == std::string_view::npos)
            return wrongValue(option, text, "KEY=VALUE");
        return KWMetadataValue {typedKey(text.substr(0, equals)), std::string(text.substr(equals + 1))};
    }

    Result<Edit> metadata(std::string_view value)
    {
        RW_TRY(const auto pair, keyAndValue("--metadata", value));
        return setMetadata(std::nullopt, pair.key, pair.value);
    }

    Result<Edit> removal(std::string_view value)
    {
        if (value.empty())
            return wrongValue("--remove-metadata", value, "a key");
        return removeMetadata(std::nullopt, typedKey(value));
    }

    Result<Edit> title(std::string_view value)
    {
        return setTitle(std::string(value));
    }

    Result<Edit> copyright(std::string_view value)
    {
        return setCopyright(std::string(value));
    }

    Result<Edit> import(std::string_view value)
    {
        RW_TRY(const auto rows, MetadataList::read(std::string(value)));
        return importMetadata(MetadataList::selectedValues(rows), std::string(value));
    }

    Result<Edit> table(std::string_view value)
    {
        RW_TRY(const auto read, MetadataTable::read(std::string(value)));
        return makeEditInParts(fmt::format("--metadata-table {}", value), "Metadata Table",
            "Set metadata from table",
            [shared = std::make_shared<const MetadataTable>(read)](QTMovie& movie) -> Result<RefusedParts> {
                RW_TRY(auto applied, shared->apply(movie));
                return unlessAllRefused(std::move(applied.refused), applied.cells);
            });
    }

    constexpr EditKind kKinds[] = {
        {"--metadata", "KEY=VALUE",
            "Set a metadata text where it stands; a key that is not\nthere is added. See below",
            single<metadata>},
        {"--remove-metadata", "KEY", "Remove every item of a metadata key", single<removal>},
        {"--title", "TEXT", "Set the movie's title (display name)", single<title>},
        {"--copyright", "TEXT", "Set the movie's copyright", single<copyright>},
        {"--import-metadata", "FILE", "Set what a list (csv, txt, json) or another movie has",
            single<import>},
        {"--metadata-table", "FILE",
            "Set what the row of each file says in a table that\n\"metadata --format csv --table\" made",
            single<table>},
    };

    Result<Edit> metadataField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        RW_TRY(const auto pair, keyAndValue("--track SELECTOR:metadata", value));
        auto edit = setMetadata(tracks, pair.key, pair.value);
        edit.option = option;
        return edit;
    }

    Result<Edit> removalField(const std::string& option, const TrackSelector& tracks, std::string_view value)
    {
        if (value.empty())
            return wrongValue("--track SELECTOR:remove-metadata", value, "a key");
        auto edit = removeMetadata(tracks, typedKey(value));
        edit.option = option;
        return edit;
    }

    constexpr TrackField kFields[] = {
        {"metadata", "KEY=VALUE", "a metadata text of the track", metadataField},
        {"remove-metadata", "KEY", "removes a metadata key of the track", removalField},
    };

} // namespace

Edit setMetadata(const MetadataOwner& owner, const std::string& key, const std::string& value)
{
    return metadataEdit(owner, optionOf(owner, "metadata", fmt::format("{}={}", key, value)), "Metadata",
        "Set metadata " + MetadataPresets::name(key),
        [=](const QTMetaDataReference& reference, QTMovie& movie) {
            return writeAll({{key, value}}, reference, movie);
        });
}

Edit replaceMetadata(
    const MetadataOwner& owner, const std::string& key, const std::string& oldValue, const std::string& value)
{
    return metadataEdit(owner, optionOf(owner, "metadata", fmt::format("{}={}", key, value)), "Metadata",
        "Set metadata " + MetadataPresets::name(key),
        [=](const QTMetaDataReference& reference, QTMovie& movie) {
            return KWMetadataController::replaceMetaDataValue(oldValue, value, key, reference, movie);
        });
}

Edit removeMetadata(const MetadataOwner& owner, const std::string& key)
{
    return metadataEdit(owner, optionOf(owner, "remove-metadata", key), "Remove Metadata",
        "Remove metadata " + MetadataPresets::name(key),
        [=](const QTMetaDataReference& reference, QTMovie& movie) -> Result<void> {
            RW_CHECK(KWMetadataController::removeMetaDataKeys({key}, reference, movie));
            return {};
        });
}

Edit removeMetadataRow(const MetadataOwner& owner, const KWMetadataItem& row)
{
    return metadataEdit(owner, optionOf(owner, "remove-metadata", row.key), "Remove Metadata",
        "Remove metadata " + MetadataPresets::name(row.key),
        [=](const QTMetaDataReference& reference, QTMovie& movie) {
            return reference.isTrack() ? KWMetadataController::removeMetaDataItem(row, reference, movie)
                                       : KWMetadataController::removeMetaData(row, movie);
        });
}

Edit setTitle(const std::string& title)
{
    return {fmt::format("--title {}", title), "Title", "Set title",
        record("KWMetadataController setDisplayName:movie:", KWMetadataController::setDisplayName, title,
            kMovie)};
}

Edit setCopyright(const std::string& text)
{
    return {fmt::format("--copyright {}", text), "Copyright", "Set copyright",
        record("KWMetadataController setCopyright:movie:", KWMetadataController::setCopyright, text, kMovie)};
}

Edit importMetadata(const std::vector<KWMetadataValue>& values, const std::string& source)
{
    return makeEditInParts(fmt::format("--import-metadata {}", source), "Import Metadata", "Import metadata",
        [values](QTMovie& movie) -> Result<RefusedParts> {
            RW_TRY(auto refused,
                KWMetadataController::importMetaDataValues(
                    values, QTMetaDataReference::ofMovie(movie), movie));
            return unlessAllRefused(std::move(refused), values.size());
        });
}

std::span<const EditKind> metadataKinds()
{
    return kKinds;
}

std::span<const TrackField> metadataTrackFields()
{
    return kFields;
}

} // namespace reelwright::edits
