#pragma once

#include "movie/samples/TimecodeMedia.h"

#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// The timecode that a movie's frames have: what its first timecode track says, else frames counted from zero
/// at the picture's rate. Borrows the movie.
class TimecodeLabels
{
public:
    explicit TimecodeLabels(const QTMovie& movie);

    [[nodiscard]] bool dropsFrames() const;
    [[nodiscard]] std::string at(const QTTime& time) const;
    /// That of the frame after the one at a time.
    [[nodiscard]] std::string behind(const QTTime& time) const;

    /// What a label from before the movie's first one means.
    enum class Early { Nothing, FromStart };
    /// When a label is shown, counted on from the first one. Nothing for a text that is no label.
    [[nodiscard]] std::optional<QTTime> timeOf(std::string_view label, Early early = Early::Nothing) const;

private:
    [[nodiscard]] std::int64_t frameAt(const QTTime& time) const;

    const QTMovie& m_movie;
    TimecodeDefinition m_definition;
    std::int64_t m_first = 0;
    QTTime m_start; ///< where the first one is shown
};

} // namespace reelwright
