#include "cli/Console.h"

#include "report/Printable.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace reelwright::cli {
namespace {

    constexpr auto kBarInterval = std::chrono::milliseconds(100);

    std::size_t terminalWidth()
    {
        struct winsize size = {};
        const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
        return known ? size.ws_col : 80;
    }

    void removeLastCharacter(std::string& text)
    {
        const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; };
        while (!text.empty() && isContinuation(text.back()))
            text.pop_back();
        if (!text.empty())
            text.pop_back();
    }

    /// "[#####     ]  50% label", cut to the width of the terminal.
    std::string barText(std::string_view label, double fraction)
    {
        constexpr std::size_t kCells = 24;
        const auto done = std::clamp(fraction, 0.0, 1.0);
        const auto filled = static_cast<std::size_t>(done * kCells);
        auto text = fmt::format(
            "[{}{}] {:3.0f}% ", std::string(filled, '#'), std::string(kCells - filled, ' '), done * 100);
        auto shown = printable(label);
        const auto room = terminalWidth() - std::min(terminalWidth(), text.size() + 1);
        while (displayWidth(shown) > room)
            removeLastCharacter(shown);
        return text + shown;
    }

    void writeTo(std::FILE* stream, std::string_view text)
    {
        std::fwrite(text.data(), 1, text.size(), stream);
    }

} // namespace

Console::Console()
    : m_hasBar(::isatty(STDERR_FILENO) != 0)
{
}

void Console::message(std::string_view file, std::string_view text)
{
    const std::lock_guard lock {m_mutex};
    clearBar();
    writeTo(stderr,
        fmt::format("reelwright-cli: {}{}{}\n", printable(file), file.empty() ? "" : ": ", printable(text)));
}

void Console::write(std::string_view text)
{
    const std::lock_guard lock {m_mutex};
    clearBar();
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
        m_failed = true;
    // What is done shows at once, also to a program that reads the results as they come.
    if (std::fflush(stdout) != 0)
        m_failed = true;
}

void Console::note(std::string_view line)
{
    const std::lock_guard lock {m_mutex};
    clearBar();
    writeTo(stderr, std::string(line) + '\n');
}

void Console::progress(std::string_view label, double fraction)
{
    if (!m_hasBar)
        return;
    const std::lock_guard lock {m_mutex};
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextBar)
        return;
    m_nextBar = now + kBarInterval;
    const auto text = barText(label, fraction);
    const auto width = displayWidth(text);
    const auto rest = m_barWidth > width ? m_barWidth - width : 0;
    writeTo(stderr, '\r' + text + std::string(rest, ' '));
    m_barWidth = width;
}

void Console::endProgress()
{
    const std::lock_guard lock {m_mutex};
    clearBar();
}

bool Console::finish()
{
    const std::lock_guard lock {m_mutex};
    clearBar();
    return std::fflush(stdout) == 0 && !m_failed;
}

void Console::clearBar()
{
    if (m_barWidth != 0)
        writeTo(stderr, '\r' + std::string(m_barWidth, ' ') + '\r');
    m_barWidth = 0;
}

} // namespace reelwright::cli
