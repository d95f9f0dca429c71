#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

namespace reelwright::cli {

/// What the program says: results on standard output; messages, and on a terminal a progress bar, on standard
/// error. Safe to use from several threads.
class Console
{
public:
    Console();

    /// One line about a file (or, with an empty name, about the whole run). The texts need not be printable.
    void message(std::string_view file, std::string_view text);
    /// Text for standard output, written as it is.
    void write(std::string_view text);
    /// A line on standard error for a program that reads it, as it is.
    void note(std::string_view line);
    /// Shows the bar where standard error is a terminal; at most ten times a second.
    void progress(std::string_view label, double fraction);
    /// Takes the bar away.
    void endProgress();
    /// Flushes standard output. False when something that was written did not arrive there.
    bool finish();

private:
    void clearBar();

    std::mutex m_mutex;
    bool m_hasBar = false; ///< may a bar be shown?
    std::size_t m_barWidth = 0; ///< columns that the bar takes at present
    std::chrono::steady_clock::time_point m_nextBar;
    bool m_failed = false;
};

} // namespace reelwright::cli
