#pragma once

#include "cli/Command.h"
#include "times/TypedTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright::cli {

/// What `reelwright-cli timecode` is asked besides what it always tells.
struct TimecodeQuery
{
    std::optional<TypedTime> at; ///< the timecode at this time
    std::optional<std::int64_t> frame; ///< or at this frame of the picture, from 0
};

/// `reelwright-cli timecode`: start, reel, flags, rate and last frame of each timecode track. The exit
/// status: 1 when a file or one of its timecode tracks could not be read, or, of all timecodes of a file, two
/// disagree; else 0.
class TimecodeCommand final : public Command
{
public:
    void addOptions(CLI::App& app) override;
    void check() override;
    int run(const Invocation& invocation) override;

private:
    TimecodeQuery m_query;
    std::optional<std::string> m_atText;
    bool m_all = false;
};

} // namespace reelwright::cli
