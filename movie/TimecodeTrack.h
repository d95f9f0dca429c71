#pragma once

#include "movie/samples/TimecodeMedia.h"

#include <optional>
#include <string>

namespace reelwright::timecodeMedia {

/// A timecode description (an entry of `stsd`) with data reference 1: 34 bytes, then the reel's name, where
/// there is one, as a `name` item in the form of international text, language 0. Without a reel the 38 bytes
/// that have always been written. A reel is at most 255 bytes of UTF-8; longer ones are cut at a character.
Atom makeDescription(const TimecodeDefinition& definition, const std::optional<std::string>& reel);

/// A copy of a description with these flags and, where one is given, this reel; time scale, frame duration,
/// number of frames, the reserved bytes and every other extension stay as they are.
Atom changeDescription(const Atom& description, std::uint32_t flags, const std::optional<std::string>& reel);

/// What a timecode track is made from.
struct NewTimecode
{
    Atom description;
    std::uint32_t startFrame = 0; ///< as stored: a frame number, or a counter's value
    std::int32_t mediaTimeScale = 0;
    std::uint64_t duration = 0; ///< of the one sample, in the media's time scale
};

/// Adds a timecode track that lasts for the movie, with one sample kept in memory until the movie
/// is saved. Errors: Refused when the movie is not editable or the duration does not fit a sample.
Result<QTTrack> addTrack(QTMovie& movie, const NewTimecode& timecode);

/// Gives a timecode track a new media of that one sample; the track keeps its ID, references and user data,
/// and shows the media from the start of the movie to its end.
Result<void> replaceMedia(QTMovie& movie, const QTTrack& track, const NewTimecode& timecode);

/// Gives a timecode track other frame numbers, one for each of its samples; times, descriptions, edit list
/// and everything else stay. Errors: Refused when the movie is not editable or the count is another one.
Result<void> setStoredNumbers(
    QTMovie& movie, const QTTrack& track, const std::vector<std::uint32_t>& numbers);

/// Puts another description (1-based) in the place of one; nothing else changes. Errors: Refused when the
/// movie is not editable, Corrupt when there is none.
Result<void> setDescription(const QTTrack& track, std::size_t index, Atom description);

/// What a timecode track needs beside its media for other programs to find it: a base media header with
/// timecode information (`gmhd`/`tmcd`/`tcmi`) in a QuickTime file. Answers whether something was missing and
/// was added. Errors: as above.
Result<bool> completeMediaHeader(QTMovie& movie, const QTTrack& track);

} // namespace reelwright::timecodeMedia
