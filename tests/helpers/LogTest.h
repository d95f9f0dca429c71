#pragma once

#include "support/KWLog.h"
#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace reelwright::test {

/// Where the tests of this program let the log be written.
inline const TempFolder& logFolder()
{
    static const auto* folder = [] {
        const auto* made = new TempFolder; // NOLINT: the log writes until the very end
        ::setenv("REELWRIGHT_LIBRARY_DIR", made->path().c_str(), 1); // NOLINT: before any thread
        KWLog::setConsole(nullptr);
        return made;
    }();
    return *folder;
}

/// Tests that look at what was logged.
class LogTest : public testing::Test
{
protected:
    LogTest()
    {
        logFolder();
        KWLog::appendLog("A test begins.");
        m_loggedBefore = allMessages().size();
    }

public:
    /// What was logged since the test began, without the dates.
    [[nodiscard]] std::vector<std::string> messages() const
    {
        auto all = allMessages();
        if (all.size() >= m_loggedBefore) // else a new log was begun meanwhile
            all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(m_loggedBefore));
        return all;
    }

private:
    static std::vector<std::string> allMessages()
    {
        KWLog::finishWriting();
        std::vector<std::string> messages;
        const auto logs = KWLog::availableLogs();
        std::ifstream log {logs.empty() ? "" : logs.front()};
        for (std::string line; std::getline(log, line);)
            if (const auto date = line.find(" - "); date != std::string::npos)
                messages.push_back(line.substr(date + 3));
        return messages;
    }

    std::size_t m_loggedBefore = 0;
};

} // namespace reelwright::test
