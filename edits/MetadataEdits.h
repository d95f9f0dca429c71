#pragma once

#include "attributes/KWMetadataController.h"
#include "edits/TrackEdits.h"

namespace reelwright::edits {

/// Whose metadata: the movie's, or those of tracks.
using MetadataOwner = std::optional<TrackSelector>;

/// Writes the value into every item of the key, else adds it; of a movie "Title" and "Copyright" mean these.
/// The edit fails where what stands under the key is no text.
Edit setMetadata(const MetadataOwner& owner, const std::string& key, const std::string& value);
/// Writes the value into the items of the key that read `oldValue`: what the row of a list shows.
Edit replaceMetadata(const MetadataOwner& owner, const std::string& key, const std::string& oldValue,
    const std::string& value);
/// Removes every item of the key, as it is shown.
Edit removeMetadata(const MetadataOwner& owner, const std::string& key);
/// Removes what a row of a list shows, and nothing else.
Edit removeMetadataRow(const MetadataOwner& owner, const KWMetadataItem& row);
Edit setTitle(const std::string& title);
Edit setCopyright(const std::string& text);
/// Writes these values; those that cannot be written are told as refused parts.
Edit importMetadata(const std::vector<KWMetadataValue>& values, const std::string& source);

std::span<const EditKind> metadataKinds();
std::span<const TrackField> metadataTrackFields();

} // namespace reelwright::edits
