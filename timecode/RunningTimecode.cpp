#include "timecode/RunningTimecode.h"

#include "movie/samples/FrameTimes.h"
#include "movie/samples/TimecodeMedia.h"
#include "tracks/KWMovTrack.h"
#include "tracks/KWQuickTime.h"

#include <fmt/format.h>

namespace reelwright::runningTimecode {

std::string textAt(const QTTime& time, const QTMovie& movie)
{
    if (const auto record = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie))
        if (const auto reading = timecodeMedia::atMovieTime(record->track(), time))
            return *reading ? (*reading)->text : std::string {};
    return KWQuickTime::timecodeAtTime(atScale(time, movie.timeScale()), movie);
}

bool isAtHand(const QTTime& time, const QTMovie& movie)
{
    const auto record = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie);
    if (!record)
        return true;
    // A track that cannot be read at its time is asked for what its media say at the same number.
    const auto& track = record->track();
    return timecodeMedia::isAtHand(track, time)
        && timecodeMedia::isAtHand(track, atScale(time, movie.timeScale()).value);
}

Result<QTTime> timeOf(std::string_view timecode, const QTMovie& movie)
{
    const auto wanted = timecodeMedia::recordOf(timecode);
    auto time = KWQuickTime::qtTimeFromTimecode(timecode, movie);
    std::string label {timecode};
    std::optional<MovieError> problem; // of samples that may be the ones that show it
    if (const auto record = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie)) {
        const auto start = timecodeMedia::atMediaTime(record->track(), 0);
        if (start && wanted)
            label = timecodeMedia::text(*wanted, start->description.definition);
        const auto found = timecodeMedia::movieTimeOf(record->track(), timecode);
        if (found && *found)
            time = **found;
        else if (start && !found)
            problem = found.error();
        else if (start && !wanted)
            return failure(MovieError::Code::Refused, {},
                fmt::format("\"{}\" is no number that the counter shows", timecode));
    } else if (!wanted) {
        return failure(MovieError::Code::Refused, {},
            fmt::format("\"{}\" is no timecode such as 00:00:10:00", timecode));
    }
    if (problem)
        return tl::unexpected<MovieError>(std::move(*problem));
    const auto video = movie.tracksOfMediaType(QTMediaTypeVideo);
    if (video.empty())
        return time;
    // The picture's own frame that shows it: times of a coarse scale lie a little beside their frames.
    const FrameTimes frames {video.front()};
    const auto shows = [&](const QTTime& at) { return textAt(at, movie) == label; };
    const auto here = frames.at(time);
    if (!here)
        return time;
    if (shows(here->start))
        return here->start;
    if (const auto next = frames.next(time); next && shows(*next))
        return *next;
    if (const auto before = frames.previous(time); before && shows(*before))
        return *before;
    return shows(time) || here->isGap ? time : here->start;
}

bool isAtHand(std::string_view timecode, const QTMovie& movie)
{
    const auto record = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie);
    if (!record || timecodeMedia::areAllAtHand(record->track()))
        return true;
    const auto found = timecodeMedia::movieTimeOf(record->track(), timecode, timecodeMedia::Samples::AtHand);
    return found && *found && isAtHand(**found, movie);
}

void readAhead(const QTMovie& movie)
{
    if (const auto record = KWMovTrack::firstTrackOfType(KWMovTrack::kTimecode, movie))
        timecodeMedia::readAllAhead(record->track());
}

} // namespace reelwright::runningTimecode
