#pragma once

#include "cli/Command.h"
#include "movie/QTMovie.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright::cli {

/// A time of a movie as a user types it: hours:minutes:seconds:frames, or value/scale in seconds.
class TypedTime
{
public:
    /// Nothing when the text is no time.
    static std::optional<TypedTime> parse(std::string_view text);

    [[nodiscard]] const std::string& text() const { return m_text; }
    [[nodiscard]] const QTTime& time() const { return m_time; }
    /// Those beyond the time; they last as long as frames of the movie do.
    [[nodiscard]] std::int64_t frames() const { return m_frames; }

private:
    std::string m_text;
    QTTime m_time;
    std::int64_t m_frames = 0;
};

/// What `reelwright-cli timecode` is asked besides what it always tells.
struct TimecodeQuery
{
    std::optional<TypedTime> at; ///< the timecode at this time
    std::optional<std::int64_t> frame; ///< or at this frame of the picture, from 0
};

/// `reelwright-cli timecode`: start, reel, flags, rate and last frame of each timecode track. The exit
/// status: 1 when a file or one of its timecode tracks could not be read, else 0.
class TimecodeCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    TimecodeQuery m_query;
    std::optional<std::string> m_atText;
};

} // namespace reelwright::cli
