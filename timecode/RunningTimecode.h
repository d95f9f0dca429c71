#pragma once

#include "movie/QTMovie.h"

#include <string>
#include <string_view>

namespace reelwright {

/// The timecode that runs beside the picture, and the way back from a label to the frame that shows it. Both
/// go through the edit list of the first timecode track, so that a time that was gone to shows what was
/// typed.
namespace runningTimecode {

    /// What the first timecode track shows at a time of the movie, whatever its media's time scale; empty
    /// where it shows nothing. Without such a track, or where it cannot be read, the frame's number.
    std::string textAt(const QTTime& time, const QTMovie& movie);
    /// Would that answer without looking at a disk?
    bool isAtHand(const QTTime& time, const QTMovie& movie);
    /// When the frame that shows this label begins. A label that no frame shows (a timecode quicker than the
    /// picture, a movie that is not so long) gives the nearest time: that of the frame on show then. The
    /// error is a sentence about a text that is no timecode.
    /// Errors besides: of a sample that cannot be read, where no other shows the label.
    Result<QTTime> timeOf(std::string_view timecode, const QTMovie& movie);
    /// Would that answer without looking at a disk? An empty label means any.
    bool isAtHand(std::string_view timecode, const QTMovie& movie);
    /// Reads what it looks for.
    void readAhead(const QTMovie& movie);

} // namespace runningTimecode

} // namespace reelwright
