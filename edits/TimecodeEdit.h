#pragma once

#include "edits/EditSteps.h"
#include "movie/QTMovie.h"
#include "timecode/TimecodeChange.h"
#include "tracks/TrackSelector.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// The one change of a timecode track that the timecode options of a command line ask for together: which
/// track, a start or an offset, a reel and flags. A movie without such a track gets one where a start is
/// given.
class TimecodeEdit final : public CompoundEdit, public std::enable_shared_from_this<TimecodeEdit>
{
public:
    /// Each reads the value of one option. The error is a sentence about a wrong value (wrong usage).
    Result<void> setTimecode(std::string_view value);
    Result<void> setCounter(std::string_view value);
    Result<void> setSource(std::string_view value);
    Result<void> setOffset(std::string_view value);
    Result<void> setReel(std::string_view value);
    Result<void> setTrack(std::string_view value);
    void addFlag(std::uint32_t flag);
    void relink() { m_relinks = true; }

    Result<Edit> finish() override;

    /// What is not asked for stays, byte for byte. Answers what the user should know, or the empty text.
    /// Errors: Refused, with the reason and what to do, when the movie can have no timecode track or none
    /// that starts so; the movie is then half changed and not to be saved.
    Result<std::string> apply(QTMovie& movie) const;

    /// Is it the change of a track that was named, or has it asked for anything? Then the next track's
    /// options are another change.
    [[nodiscard]] bool isBegun() const;

private:
    [[nodiscard]] Result<void> check() const;
    [[nodiscard]] Result<QTTrack> track(QTMovie& movie) const;

    using Start = std::function<Result<TimecodeChange>(const QTMovie&)>;
    Result<void> takeStart(std::string_view option, Start start);

    std::string m_startOption; ///< "--timecode", or nothing
    Start m_start; ///< the start and what comes with it
    TimecodeChange m_change; ///< the other options
    std::optional<TrackSelector> m_track; ///< else the first timecode track
    bool m_relinks = false;
};

} // namespace reelwright
