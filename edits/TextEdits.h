#pragma once

#include "edits/EditCatalogue.h"
#include "tracks/TextLists.h"
#include "tracks/TrackSelector.h"

namespace reelwright::edits {

/// A text of the selected tracks, from its start to its end.
Edit addText(const TrackSelector& tracks, const TextCue& text);
/// Rows are places in the track's list at that time, from 0. The text takes that place with whatever it has
/// now, its times included.
Edit changeText(const TrackSelector& track, std::size_t row, const TextCue& text);
Edit removeTexts(const TrackSelector& track, const std::vector<std::size_t>& rows);
/// The entries of a list, in that style; those that are left out are told as refused parts.
Edit importTexts(const TrackSelector& track, const TextLists::Parsed& list, const TextStyle& style);

/// The options of these edits.
std::span<const EditKind> textKinds();

} // namespace reelwright::edits
