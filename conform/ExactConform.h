#pragma once

#include "conform/ExactRate.h"
#include "movie/QTMovie.h"

#include <string>
#include <vector>

namespace reelwright {

/// Conforms an open movie to an exact rate: time scales are chosen in which a frame is a whole number of
/// units, so that nothing of the picture is rounded, however long it is. Goes by the engine's knowledge of
/// the header instead of a walk over the file, and is an edit like others: it can be undone, and is saved
/// with the next save.
///
///     25 to 24000/1001   | 40 | 40 | 40 |   in 1000ths   ->   | 1001 | 1001 | 1001 |   in 24000ths
///
/// Sample rates of sound are whole numbers. What this leaves of drift between picture and sound is stated,
/// and refused above one frame over the movie's length unless it is accepted.
class ExactConform
{
public:
    struct Request
    {
        ExactRate rate;
        bool acceptDrift = false;
    };
    struct Sound
    {
        std::uint32_t trackID = 0;
        double oldRate = 0; ///< samples a second
        double newRate = 0;
        double driftFrames = 0; ///< at the movie's end
    };
    struct Report
    {
        ExactRate from; ///< the rate that the picture had
        std::vector<Sound> sounds;
        std::vector<std::string> warnings;
    };

    /// All or nothing. A movie that has the rate stays as it is. The timecode tracks are rebuilt for the new
    /// rate. Errors: Refused, with the reason, without a picture, for times that have no whole number in any
    /// scale of 32 bits, for drift, and for a sample rate that has no description.
    static Result<Report> apply(QTMovie& movie, const Request& request);

    /// The rate that the picture's samples have, perhaps only rounded in their time scale; nothing without a
    /// picture.
    static std::optional<ExactRate> pictureRate(const QTMovie& movie);
};

} // namespace reelwright
