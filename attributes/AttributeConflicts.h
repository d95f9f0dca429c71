#pragma once

#include "attributes/KWImageDescriptionController.h"
#include "movie/samples/PictureFacts.h"

namespace reelwright::attributeConflicts {

/// Where what the file says of a video track contradicts itself, a sentence each: color codes against gamma,
/// pixel aspect ratio against aperture dimensions, a clean aperture beyond the picture.
std::vector<std::string> withinFile(const QTTrack& track);

/// Where it contradicts the picture.
std::vector<std::string> withPicture(const QTTrack& track, const PictureFacts& picture);

/// The attribute as the picture says it, with that value; nothing where it does not say.
std::optional<AttributeEntry> saidByPicture(std::string_view name, const PictureFacts& picture);
/// Do the two contradict each other? Codes that say nothing, or the same in other numbers, do not.
bool differ(const AttributeEntry& inFile, const AttributeEntry& inPicture);

/// Of these attributes of a file the ones that contradict the picture, with its values as they can be
/// written: of a pixel aspect ratio the nearest one whose numbers fit.
std::vector<AttributeEntry> toTake(const std::vector<AttributeEntry>& inFile, const PictureFacts& picture);
/// What a viewer sees of it where they do, as a sentence; empty where they do not.
std::string meaning(const AttributeEntry& inFile, const AttributeEntry& inPicture);

} // namespace reelwright::attributeConflicts
