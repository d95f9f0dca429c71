#pragma once

#include "movie/QTTrack.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// Hours, minutes, seconds and frames of a timecode; all positive, with the sign apart.
struct TimecodeRecord
{
    bool negative = false;
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    std::int64_t seconds = 0;
    std::int64_t frames = 0;
    bool operator==(const TimecodeRecord&) const = default;
};

/// The timecode media handler: exact SMPTE 12M counting between frame numbers and timecodes. Drop frame
/// leaves out two labels (four at 60 frames a second) each minute but each tenth; other rates have none and
/// count on.
namespace timecodeMedia {

    /// The record of a frame number. A counter's record is the number itself, in `frames`.
    TimecodeRecord record(std::int64_t frame, const TimecodeDefinition& definition);
    /// The frame number of a record; labels that drop frame leaves out count as the next one there is.
    std::int64_t frameNumber(const TimecodeRecord& record, const TimecodeDefinition& definition);
    /// HH:MM:SS:FF, with ";" before the frames in drop frame and "-" in front of a negative time; a counter's
    /// value in decimal.
    std::string text(const TimecodeRecord& record, const TimecodeDefinition& definition);
    std::string label(std::int64_t frame, const TimecodeDefinition& definition);
    /// The record of a text of four numbers with ":" or ";" between them and perhaps a "-" before; nothing
    /// for any other.
    std::optional<TimecodeRecord> recordOf(std::string_view text);
    /// Is there such a label at that rate and with those flags, or only a nearest one?
    bool hasLabel(const TimecodeRecord& wanted, const TimecodeDefinition& definition);
    /// How many frames a day of labels has.
    std::int64_t framesPerDay(const TimecodeDefinition& definition);

    /// What a timecode track says at one time.
    struct Reading
    {
        TimecodeDescription description;
        std::int64_t frame = 0;
        std::string text;
    };
    /// The timecode at a time of the media (in its time scale), counted on from the sample that holds it.
    /// Errors: Refused when the track is no timecode track; Corrupt and Io when its sample cannot be read.
    Result<Reading> atMediaTime(const QTTrack& track, std::int64_t mediaTime);
    /// Would `atMediaTime` answer without looking at a disk? What was read once stays at hand, for the movie
    /// and its copies.
    bool isAtHand(const QTTrack& track, std::int64_t mediaTime);
    /// Would `atMovieTime`?
    bool isAtHand(const QTTrack& track, const QTTime& movieTime);
    /// Reads what `atMediaTime` needs for the start of each timecode track, so that it waits for no disk when
    /// it is asked.
    void readAhead(const QTMovie& movie);
    /// The same for all samples of a track, of which no more than `kMostSamples` are asked for: would
    /// `movieTimeOf` answer without looking at a disk, and the reading that it needs.
    bool areAllAtHand(const QTTrack& track);
    void readAllAhead(const QTTrack& track);
    /// The timecode at a time of the movie (of any scale), exactly, through the track's edit list; nothing
    /// where the track shows none of its media.
    /// Errors: as above, and those of QTTrack::editList.
    Result<std::optional<Reading>> atMovieTime(const QTTrack& track, const QTTime& time);
    /// Which samples are looked at: all, or those for which no disk is asked.
    enum class Samples : std::uint8_t { All, AtHand };
    /// The first time of the movie at which the track shows that label (or counter's number), through its
    /// samples and its edit list; nothing where it never does. Samples that cannot be read are passed over.
    /// Errors: as above where no other sample shows it, and Refused for a track of more than `kMostSamples`.
    Result<std::optional<QTTime>> movieTimeOf(
        const QTTrack& track, std::string_view label, Samples which = Samples::All);

    /// A sample as it is stored.
    struct StoredSample
    {
        std::uint32_t stored = 0;
        std::int64_t frame = 0; ///< what it means: with its sign where negative times are allowed
        std::uint64_t start = 0; ///< in the media's time scale
        std::uint32_t duration = 0;
        std::size_t descriptionIndex = 1;
        TimecodeDescription description;
    };
    constexpr std::uint32_t kMostSamples = 100'000;
    /// All of them. Errors: as `atMediaTime`, and Refused for a track of more than `kMostSamples`.
    Result<std::vector<StoredSample>> storedSamples(const QTTrack& track);

} // namespace timecodeMedia

} // namespace reelwright
