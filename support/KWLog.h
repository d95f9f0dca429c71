#pragma once

#include <fmt/format.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// The program's log: one text file with four older generations beside it, written by one background thread.
///
/// The first message starts a new log and the thread; until then no file is touched. Any thread may log at
/// any time, also while the process ends: after `willTerminate` messages are dropped. Nothing here throws or
/// fails its caller; what goes wrong is said on the console stream, once until a log could be started again.
/// Several processes may share the files.
class KWLog
{
public:
    /// Logs one line. Off the main thread a short message is waited for while the queue is nearly empty, so
    /// that it is on disk when the call returns.
    template <class... Args> static void appendLog(fmt::format_string<Args...> format, Args&&... args)
    {
        if (isWanted())
            append(Waiting::ForShortMessages, format, fmt::make_format_args(args...));
    }
    /// The same without ever waiting, for lines in loops. Costs the formatting and a copy into the queue.
    template <class... Args> static void fastAppendLog(fmt::format_string<Args...> format, Args&&... args)
    {
        if (isWanted())
            append(Waiting::Never, format, fmt::make_format_args(args...));
    }
    /// appendLog, and the line also printed on the console stream.
    template <class... Args> static void appendLogAndPrint(fmt::format_string<Args...> format, Args&&... args)
    {
        if (isWanted())
            appendAndPrint(format, fmt::make_format_args(args...));
    }

    /// What the files are called and what the header says; an empty version leaves the header's line out.
    /// Touches no file. The name is taken only while the log has none.
    static void setApplication(const std::string& name, const std::string& version);
    /// Where troubles and printed lines go: standard output unless set. Null: nowhere. The stream has to
    /// outlive its use.
    static void setConsole(std::FILE* console);

    /// Rotates the generations and starts a new file at once. The name is taken when the log has none yet;
    /// without any name the product's is used.
    static void createNewLog(const std::string& appName = {});
    /// Paths of the log files that exist, the current one first.
    static std::vector<std::string> availableLogs();
    /// Waits until everything that was logged before the call is in the file.
    static void finishWriting();
    /// Ends logging; called at normal process exit too. Waits for the queue only when it is short; call
    /// finishWriting before where every line counts.
    static void willTerminate();
    static KWLog& sharedController();

    /// One message; white space round it is dropped, and so is a message that is nothing else.
    void appendTextToLog(std::string_view text);

    KWLog(const KWLog&) = delete;
    KWLog& operator=(const KWLog&) = delete;
    ~KWLog() = delete;

private:
    enum class Waiting { Never, ForShortMessages };
    enum class State : std::uint8_t {
        Unstarted, ///< no message yet
        Enabled,
        Disabled, ///< by the user's preference
        Terminated, ///< by willTerminate, or in a forked child
    };
    class Implementation;

    KWLog();

    /// Asked before a message is formatted: with the log off a call costs this and nothing else.
    static bool isWanted()
    {
        const auto state = s_state.load(std::memory_order_acquire);
        return state == State::Enabled || (state == State::Unstarted && decide());
    }
    static bool decide() noexcept;
    static void append(Waiting waiting, fmt::string_view format, fmt::format_args args) noexcept;
    static void appendAndPrint(fmt::string_view format, fmt::format_args args) noexcept;

    static inline constinit std::atomic<State> s_state = State::Unstarted;

    Implementation& m_implementation;
};

} // namespace reelwright
