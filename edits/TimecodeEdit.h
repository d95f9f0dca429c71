#pragma once

#include "edits/EditSteps.h"
#include "movie/QTMovie.h"
#include "tracks/KWMovTrack.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// The one change of the first timecode track that the timecode options of a command line ask for together:
/// a start, a reel and flags. A movie without such a track gets one.
class TimecodeEdit final : public CompoundEdit, public std::enable_shared_from_this<TimecodeEdit>
{
public:
    /// Each reads the value of one option. The error is a sentence about a wrong value (wrong usage).
    Result<void> setTimecode(std::string_view value);
    Result<void> setCounter(std::string_view value);
    Result<void> setSource(std::string_view value);
    Result<void> setReel(std::string_view value);
    void addFlag(std::uint32_t flag) { m_flags |= flag; }

    Result<Edit> finish() override;

    /// Without a start the one that the track has stays, and its flags too; the reel stays unless there is a
    /// new one. Errors: Refused, with the reason, when the movie can have no timecode track or none that
    /// starts so; the movie is then half changed and not to be saved.
    Result<void> apply(QTMovie& movie) const;

private:
    [[nodiscard]] Result<void> check() const;

    /// What the track is to say at its beginning.
    struct Start
    {
        std::string text; ///< of a timecode: four fields
        std::uint8_t counter = 0;
        std::uint32_t flags = 0;
        std::optional<std::string> reel;
        bool isExact = true; ///< or may drop frame leave it out?
    };

    Result<void> takeStart(std::string_view option, std::function<Result<Start>(const QTMovie&)> start);

    std::string m_startOption; ///< "--timecode", or nothing
    std::function<Result<Start>(const QTMovie&)> m_start;
    std::optional<std::string> m_reel;
    std::uint32_t m_flags = 0; ///< as TimecodeDefinition has them
};

} // namespace reelwright
