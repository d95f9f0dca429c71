#pragma once

#include "support/KWLog.h"
#include "tests/helpers/Process.h"
#include "tests/helpers/TestFiles.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace reelwright::test {

/// This test program started anew with main.cpp's `role`.
ProcessResult runRole(const std::string& role, const std::string& argument = {});

inline void writeText(const std::filesystem::path& path, const std::string& contents)
{
    std::ofstream(path, std::ios::binary) << contents;
}

/// A folder of its own for each test, with the library and preferences folders in it.
class SupportTest : public testing::Test
{
protected:
    SupportTest()
    {
        setenv("REELWRIGHT_LIBRARY_DIR", (m_folder / "library").c_str(), 1);
        setenv("REELWRIGHT_PREFS_DIR", (m_folder / "preferences").c_str(), 1);
    }
    ~SupportTest() override
    {
        unsetenv("REELWRIGHT_LIBRARY_DIR");
        unsetenv("REELWRIGHT_PREFS_DIR");
    }

    [[nodiscard]] std::filesystem::path logsFolder() const { return m_folder / "library/Logs/Kestrelwick"; }
    [[nodiscard]] std::filesystem::path preferencesFolder() const { return m_folder / "preferences"; }
    void writeSharedPreferences(const std::string& contents) const
    {
        std::filesystem::create_directories(preferencesFolder());
        writeText(preferencesFolder() / "com.kestrelwick.global.plist", contents);
    }

    TempFolder m_temporary;
    const std::filesystem::path m_folder = m_temporary.path();
};

/// A text property list with these keys and values in it.
inline std::string plist(const std::string& entries)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)" + entries
        + "</dict></plist>";
}

/// A binary property list {KEY: value} of one value object of at most 200 bytes; every object stands at an
/// 8-bit offset.
inline std::string binaryPlist(const std::string& key, const std::string& valueObject)
{
    const auto byte = [](std::size_t number) { return static_cast<char>(number); };
    std::string bytes = "bplist00";
    bytes += std::string("\xD1\x01\x02", 3); // dictionary of one pair: objects 1 and 2
    const auto keyOffset = bytes.size();
    bytes += std::string("\x5F\x10", 2) + byte(key.size())
        + key; // ASCII string, the length as a one-byte number
    const auto valueOffset = bytes.size();
    bytes += valueObject;
    const auto tableOffset = bytes.size();
    bytes += std::string {byte(8), byte(keyOffset), byte(valueOffset)};
    const auto number64 = [&](std::size_t number) { return std::string(7, '\0') + byte(number); };
    return bytes + std::string(6, '\0') + "\x01\x01" + number64(3) + number64(0) + number64(tableOffset);
}

} // namespace reelwright::test
