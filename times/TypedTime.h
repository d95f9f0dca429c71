#pragma once

#include "movie/FrameRate.h"
#include "movie/QTMovie.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace reelwright {

/// A time as a user types it: the one place that reads such texts, for command line, track table, fields and
/// panes.
///
/// | form | example |
/// |---|---|
/// | timecode from the movie's first frame | 00:00:10:00, 10:11:12;13 |
/// | digits that fill it from the right, "." or "," for a pair of zeros | 1000, 10., 1.. |
/// | clock with three decimals | 00:00:10.500 |
/// | seconds, frames | 10.5s, 250f |
/// | value/scale | 3003/3000 |
/// | the label of the timecode track | tc:01:00:00:00 |
///
/// A "+" or "-" before any but the label moves the present time by as much.
class TypedTime
{
public:
    enum class Form {
        Fields, ///< hours, minutes, seconds of the clock, and frames of the movie
        Exact, ///< seconds or value/scale
        Frames,
        Label,
    };
    enum class Sign { None, Plus, Minus };
    /// On the command line fields between ":" have two digits each; in the fields of the window the digits
    /// are put together, whatever stands between them.
    enum class Reading { CommandLine, Field };

    /// The error is a sentence that names the accepted forms.
    static Result<TypedTime> parse(std::string_view text, Reading reading = Reading::CommandLine);
    /// "a time such as ..."
    static std::string_view acceptedForms();

    [[nodiscard]] const std::string& text() const { return m_text; }
    [[nodiscard]] Form form() const { return m_form; }
    [[nodiscard]] bool isRelative() const { return m_sign != Sign::None; }
    [[nodiscard]] Sign sign() const { return m_sign; }
    /// Without its sign: what is to be counted in seconds, and the frames beyond.
    [[nodiscard]] const QTTime& time() const { return m_time; }
    [[nodiscard]] std::int64_t frames() const { return m_frames; }
    /// The text of a timecode from zero: what `Fields` and `Label` have, without sign.
    [[nodiscard]] const std::string& timecode() const { return m_timecode; }

    /// The time in units of the movie, as the track table counts: a frame has the length that the movie's
    /// scale has for it, cut off. Below zero it is zero. `present` is what a relative one moves.
    /// Errors: Refused when there is no such label, no such time, or a relative one has nothing to move.
    [[nodiscard]] Result<QTTime> inMovieUnits(
        const QTMovie& movie, const std::optional<QTTime>& present = {}) const;
    /// When exactly it is: frames are as long as those of the picture are on average, rounded up so that the
    /// time never falls before its frame. Errors: as above.
    [[nodiscard]] Result<QTTime> exactly(
        const QTMovie& movie, const std::optional<QTTime>& present = {}) const;
    /// What fields beyond their measure come to ("00:00:90:00 is 00:01:30:00"); empty where none is.
    [[nodiscard]] std::string normalisation(const QTMovie& movie) const;

private:
    [[nodiscard]] Result<QTTime> placed(
        const QTTime& moved, const QTMovie& movie, const std::optional<QTTime>& present) const;

    std::string m_text;
    Form m_form = Form::Fields;
    Sign m_sign = Sign::None;
    QTTime m_time {0, 1};
    std::int64_t m_frames = 0;
    std::string m_timecode;
};

} // namespace reelwright
