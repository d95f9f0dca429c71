#pragma once

#include "movie/QTMovie.h"

namespace reelwright {

/// The settings that a movie carries for its players, and the orientation of its picture. Each operation
/// makes the movie editable and not editable again. What fails is written to the log with the error's
/// number, and answered. Setting what is set already changes nothing.
class KWQuickTimeEditing
{
public:
    /// Starts playing, closes or quits by itself?
    static bool autoPlay(const QTMovie& movie);
    static bool autoClose(const QTMovie& movie);
    static bool autoQuit(const QTMovie& movie);
    /// Turned off, the setting's item is removed.
    static Result<void> setAutoPlay(bool on, QTMovie& movie);
    static Result<void> setAutoClose(bool on, QTMovie& movie);
    static Result<void> setAutoQuit(bool on, QTMovie& movie);

    /// Which controller a player shows; 'none' hides it, '????' stands for the player's own choice.
    static FourCC movieControllerType(const QTMovie& movie);
    static Result<void> setMovieControllerNone(QTMovie& movie);
    static Result<void> setMovieControllerDefault(QTMovie& movie);

    /// The stored aperture mode, which is put in force; '????' when none is stored.
    static FourCC apertureModeForMovie(QTMovie& movie);
    /// Stores the mode ('clas', 'clea', 'prod', 'enco') and puts it in force, with the aperture dimensions
    /// that players need for it.
    static Result<void> setApertureMode(FourCC mode, QTMovie& movie);

    /// These turn or mirror the picture of every video track about the origin, on top of what its matrix does
    /// already. The flip is a half turn, the flop a left-right mirror.
    static Result<void> rotateMovieLeft(QTMovie& movie);
    static Result<void> rotateMovieRight(QTMovie& movie);
    static Result<void> flipMovie(QTMovie& movie);
    static Result<void> flopMovie(QTMovie& movie);
};

} // namespace reelwright
