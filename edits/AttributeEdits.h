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

/// The options of these edits, and the fields of `--track` of the same names.
std::span<const EditKind> attributeKinds();
std::span<const TrackField> attributeFields();

} // namespace reelwright::edits
