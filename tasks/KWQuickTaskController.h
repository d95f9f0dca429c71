#pragma once

#include "tracks/KWMovTrack.h"

#include <optional>

namespace reelwright {

/// The quick tasks: single changes of a whole movie, for a document and for a batch. Keeps no state.
class KWQuickTaskController
{
public:
    // Each adds a timecode track, see KWTimecodeController; nothing or false where its source is missing.

    /// From the creation time in the movie's header.
    static std::optional<KWMovTrack> timecodeTrackFromCreationTime(QTMovie& movie);
    /// From the time at which the movie's file was made; of a file system that does not know it, the time of
    /// the file's last change; of a movie without a file, the creation time in its header.
    static std::optional<KWMovTrack> timecodeTrackFromFileCreationTime(QTMovie& movie);
    /// From the timecode text that the movie's metadata have under "©TIM".
    static bool addTimecodeTrackFromUserDataField(QTMovie& movie);
};

} // namespace reelwright
