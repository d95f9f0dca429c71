#pragma once

#include "report/Json.h"
#include "tests/helpers/Process.h"
#include "tests/helpers/TestFiles.h"

#include <string>
#include <vector>

namespace reelwright::test {

/// Runs the command-line tool as a user does, on copies of the sample clips in a folder of its own.
class CliTest : public ::testing::Test
{
protected:
    [[nodiscard]] std::string path(const std::string& name) const { return m_folder.file(name); }
    /// Copies a sample clip into the folder (under `name`, if given) and answers its path.
    std::string sample(const std::string& clip, const std::string& name = {}) const;
    /// A copy of any file.
    std::string copyOf(const std::string& source, const std::string& name) const;

    /// Runs the tool in the folder.
    [[nodiscard]] ProcessResult cli(const std::vector<std::string>& arguments) const;
    /// The same through the shell, for redirections: "reelwright-cli ..." as a user types it.
    [[nodiscard]] ProcessResult shell(const std::string& line) const;
    /// Edits a file of the folder with these options.
    [[nodiscard]] ProcessResult edit(const std::vector<std::string>& options, const std::string& file) const;
    /// The JSON that the tool gives. It is a test failure when it does not end with `exitCode`.
    [[nodiscard]] Json json(const std::vector<std::string>& arguments, int exitCode = 0) const;
    /// Names in the folder, hidden ones too, sorted.
    [[nodiscard]] std::vector<std::string> names(const std::string& below = {}) const;

    /// Compares with a file of tests/cli/golden, or rewrites that when REELWRIGHT_UPDATE_GOLDEN is set.
    static void expectGolden(const std::string& name, const std::string& text);

private:
    TempFolder m_folder;
};

/// One member of what exiftool says, "" where it says nothing.
std::string exifValue(const std::string& path, const std::string& tag);

} // namespace reelwright::test
