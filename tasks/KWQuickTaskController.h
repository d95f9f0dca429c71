#pragma once

#include "tracks/KWMovTrack.h"

#include <cstddef>
#include <optional>

namespace reelwright {

/// The sound tracks that a task leaves as they are, by their places in the movie from 0. The place of the
/// first is added to the number: always the first ones up to the end of the range are kept.
struct AudioTrackRange
{
    std::size_t location = 0;
    std::size_t length = 0;

    [[nodiscard]] std::size_t kept() const { return location + length; }
};

/// The quick tasks: single changes of a whole movie, for a document and for a batch. Keeps no state. A task
/// that finds nothing to do changes nothing. What fails is logged and answered.
class KWQuickTaskController
{
public:
    /// Removes every track that plays for no time at all, whatever its kind. Answers how many.
    static Result<std::size_t> removeEmptyTracks(QTMovie& movie);

    /// Answers how many sound tracks were removed.
    static Result<std::size_t> removeAllAudioTracks(QTMovie& movie, const AudioTrackRange& exceptRange);
    /// Enables every sound track, then disables those outside the range. Answers how many were disabled.
    static Result<std::size_t> disableAllAudioTracks(QTMovie& movie, const AudioTrackRange& exceptRange);
    static Result<void> enableAllAudioTracks(QTMovie& movie);

    /// Answers how many.
    static Result<std::size_t> removeAllTimecodeTracks(QTMovie& movie);

    /// Of the first video track.
    static Result<void> removeGammaCorrection(QTMovie& movie);
    /// Of all tracks.
    static Result<void> removeApertureDimensions(QTMovie& movie);

    /// Removes the XMP packet that Adobe applications store.
    static Result<void> stripAdobeXMPMetadata(QTMovie& movie);
    /// Gives what ARRI cameras call the reel to the field in which Final Cut Pro X has it. The first item of
    /// that name counts, also when it is empty: then nothing is written.
    static Result<void> copyARRIReelToFCPXReel(QTMovie& movie);
    /// Says in the camera's own field that the picture is in Log-C.
    static Result<void> setARRIGammaToLogC(QTMovie& movie);

    // Each adds a timecode track, see KWTimecodeController; refused where its source is missing or is no
    // timecode.

    /// From the creation time in the movie's header.
    static Result<KWMovTrack> timecodeTrackFromCreationTime(QTMovie& movie);
    /// From the time at which the movie's file was made; of a file system that does not know it, the time of
    /// the file's last change; of a movie without a file, the creation time in its header.
    static Result<KWMovTrack> timecodeTrackFromFileCreationTime(QTMovie& movie);
    /// From the timecode text that the movie's metadata have under "©TIM".
    static Result<void> addTimecodeTrackFromUserDataField(QTMovie& movie);
};

} // namespace reelwright
