#pragma once

#include "movie/samples/TextMedia.h"

#include <span>

namespace reelwright::textMedia {

/// A text of a media: it is shown from its start to the next one's.
struct TimedText
{
    std::string text;
    std::uint64_t start = 0; ///< in the media's time scale
};

/// What a text track's media is made from.
struct NewTexts
{
    Atom description; ///< its type is the format of the samples
    std::int32_t mediaTimeScale = 0;
    std::span<const TimedText>
        texts; ///< in the order of their starts; what lies before the first is the first's
    std::uint64_t end = 0; ///< of the last text, in the media's time scale
};

/// A media of samples that are given as they are stored.
struct NewSamples
{
    struct Sample
    {
        Bytes bytes;
        std::uint64_t duration = 0; ///< in the media's time scale
        std::uint32_t description = 1; ///< 1-based
    };
    std::vector<Atom> descriptions; ///< with data reference 1
    std::int32_t mediaTimeScale = 0;
    std::vector<Sample> samples;
};

/// Adds a text track of that size with these texts, which wait in memory until the movie is saved, and shows
/// its whole media. `flags` as in TrackHeader.
/// Errors: Refused when the movie is not editable or a text lasts longer than a sample can.
Result<QTTrack> addTrack(QTMovie& movie, const NewTexts& texts, std::uint32_t flags, QTSize size = {});

/// Gives a text track a new media of these texts; the track keeps its ID, language, references and user data.
/// Its edit list is the caller's to set. Errors: as above.
Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewTexts& texts);
Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewSamples& media);

} // namespace reelwright::textMedia
