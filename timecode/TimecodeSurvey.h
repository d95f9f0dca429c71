#pragma once

#include "movie/QTMovie.h"
#include "movie/samples/TimecodeMedia.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// A place where a timecode of a track does not go on from the one before.
struct TimecodeBreak
{
    QTTime time; ///< of the media
    std::string expected;
    std::string found;
};

/// One place of a file that says when it was recorded.
struct TimecodePlace
{
    enum class Kind { Track, Metadata, Xmp, Clock };

    Kind kind = Kind::Track;
    std::string source; ///< "Timecode track 5, 25 fps", "User data ©TIM"
    std::string start; ///< as it stands there; empty where the place gives a reel only, or cannot be read
    std::string reel;
    std::optional<std::uint32_t> trackID;
    bool isInUse = false; ///< the timecode that the program shows and edits
    /// From the one in use to this one: in frames, or for a clock without frames in seconds.
    std::optional<std::int64_t> difference;
    /// Does it contradict the one in use? Clocks never do: a camera's may be set to anything.
    bool disagrees = false;
    std::vector<TimecodeBreak> breaks;
    std::vector<std::string> remarks; ///< sentences without full stop: what is odd about a track

    /// "in use", "same", "+12 fr", "−1 s", or empty where there is nothing to compare.
    [[nodiscard]] std::string differenceText() const;
};

/// Every place of a movie that carries timecode, side by side: the timecode tracks, the user data and keyed
/// metadata of movie and tracks, XMP, and the clocks of creation and file.
struct TimecodeSurvey
{
    std::vector<TimecodePlace> places; ///< the one in use first
    /// What an assistant should look at: disagreements, and what is odd about the tracks.
    std::vector<std::string> warnings;

    /// What else may be asked: dates of files beside the header cost a look at the disk.
    enum class Scope { Header, WithFiles };
    static TimecodeSurvey of(const QTMovie& movie, Scope scope);
    [[nodiscard]] bool disagrees() const;
};

} // namespace reelwright
