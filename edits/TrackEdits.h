#pragma once

#include "edits/EditCatalogue.h"
#include "tracks/TrackSelector.h"

namespace reelwright::edits {

/// A field of a track that `--track SELECTOR:FIELD=VALUE` sets.
struct TrackField
{
    const char* name; ///< "enabled"
    const char* value; ///< "on|off"
    const char* help; ///< what it sets, for the help's list of fields
    /// Makes the edit of the selected tracks; `option` is the whole option as typed. The error is a sentence
    /// about a wrong value.
    Result<Edit> (*parse)(const std::string& option, const TrackSelector& tracks, std::string_view value);
};

/// The fields of all subjects, in the order of the help.
std::vector<TrackField> trackFields();

Edit setTrackEnabled(const TrackSelector& tracks, bool enabled);
/// Where the tracks play in the movie; the time is one of the movie.
Edit setTrackIn(const TrackSelector& tracks, const QTTime& time);
Edit setTrackDuration(const TrackSelector& tracks, const QTTime& time);

/// The track's own name; an empty one takes it away.
Edit setTrackName(const TrackSelector& tracks, const std::string& name);
/// The code of the three letters of a language (ISO 639-2), as MediaHeader has it; nothing for other texts.
std::optional<std::uint16_t> languageCode(std::string_view letters);
/// As MediaHeader has it.
Edit setTrackLanguage(const TrackSelector& tracks, std::uint16_t language);
/// 8.8 fixed point each: 256 is full volume, -256 left and 256 right.
Edit setTrackVolume(const TrackSelector& tracks, std::int16_t volume);
Edit setTrackBalance(const TrackSelector& tracks, std::int16_t balance);
Edit setTrackLayer(const TrackSelector& tracks, std::int16_t layer);
Edit setTrackGroup(const TrackSelector& tracks, std::int16_t group);

/// Removes the tracks, and other tracks' references to them.
Edit removeTrack(const TrackSelector& tracks);

/// The options `--track` and `--remove-track`.
std::span<const EditKind> trackKinds();

/// Does it to each selected track, the movie being editable. The first error ends it.
Result<void> forSelected(
    QTMovie& movie, const TrackSelector& tracks, const std::function<Result<void>(const QTTrack&)>& change);

} // namespace reelwright::edits
