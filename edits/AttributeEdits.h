#pragma once

#include "attributes/KWImageDescriptionController.h"
#include "edits/TrackEdits.h"

namespace reelwright::edits {

/// Sets an attribute of the movie's first video track, or removes it where there is no value; a removal of
/// what is not there changes nothing.
Edit setAttribute(const AttributeEntry& attribute, const std::optional<AttributeValue>& value);
/// The same of the selected tracks, which have to be video.
Edit setTrackAttribute(
    const TrackSelector& tracks, const AttributeEntry& attribute, const std::optional<AttributeValue>& value);

/// Sets several attributes, each to its own value.
Edit setTrackAttributes(const TrackSelector& tracks, const std::vector<AttributeEntry>& attributes);

/// Gives the attributes of the first video track, or of the selected ones, the values that the picture's own
/// stream states where it contradicts them. Reads the disk. Errors: those of BitstreamFacts::of.
Edit takeAttributesOfPicture(const std::optional<TrackSelector>& tracks);

/// The options of these edits, and the fields of `--track` of the same names.
std::span<const EditKind> attributeKinds();
std::span<const TrackField> attributeFields();

} // namespace reelwright::edits
