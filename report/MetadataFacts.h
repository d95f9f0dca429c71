#pragma once

#include "movie/QTMetaData.h"
#include "report/Json.h"

namespace reelwright {

/// An item of metadata as reports tell it. Shares the bytes of its value with the movie.
struct MetadataFact
{
    std::string key; ///< as it is shown
    std::string description; ///< the name of a known key with its group, else the key
    QTMetaData::Item item;

    /// Everything that a movie or a track has.
    static std::vector<MetadataFact> of(const QTMetaData& metadata);
};

/// "udta", "mdta", "ilst"
const char* storageName(QTMetaData::Storage storage);
/// {key, value, description, storage, type, language, size}: value is null for what is no text, and language
/// where it is not said.
Json metadataJson(const MetadataFact& fact);
Json metadataJson(const std::vector<MetadataFact>& facts);
/// What a text of the item is, or that it is none and how large.
std::string metadataText(const MetadataFact& fact);

} // namespace reelwright
