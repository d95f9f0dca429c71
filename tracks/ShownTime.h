#pragma once

#include "movie/QTMovie.h"
#include "times/TypedTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

/// How times of a movie are shown, and what is meant by one that is typed without saying more: one choice for
/// table, field and panes.
class ShownTime
{
public:
    enum class Style {
        Defined, ///< hours, minutes, seconds, frames from the movie's start
        Timecode, ///< places as the timecode track labels them; lengths as above
        Frames, ///< whole frames of the picture
        Seconds, ///< with three decimals
    };
    enum class Kind { Place, Length };

    /// "defined", "timecode", "frames", "seconds": as it is remembered.
    static std::string_view name(Style style);
    /// `Defined` for a name that is not known.
    static Style named(std::string_view name);

    /// "10:00:05:12", "1 250 f", "50.480 s".
    static std::string text(const QTTime& time, Kind kind, Style style, const QTMovie& movie);
    /// The same as it may be typed: without groups.
    static std::string typedText(const QTTime& time, Kind kind, Style style, const QTMovie& movie);
    /// What a text means where times are shown so: plain numbers are frames or seconds, plain fields are
    /// labels where places are shown as labels, and everything that TypedTime reads is read.
    /// Errors: those of TypedTime.
    static Result<TypedTime> parse(std::string_view text, Kind kind, Style style, const QTMovie& movie);
    /// When it is, in units of the movie; `present` is what a relative one moves.
    static Result<QTTime> read(std::string_view text, Kind kind, Style style, const QTMovie& movie,
        const std::optional<QTTime>& present = {});
    /// What a text that can be read comes to where that is not what it says ("25:00:00:00 is ..."); why it
    /// cannot be read; empty where it is plain.
    struct Remark
    {
        bool isError = false;
        std::string text {};
    };
    static Remark remark(std::string_view text, Kind kind, Style style, const QTMovie& movie,
        const std::optional<QTTime>& present = {});

    /// "1 250 000" for 1250000: a thin space between groups of three digits.
    static std::string grouped(std::int64_t number);
};

} // namespace reelwright
