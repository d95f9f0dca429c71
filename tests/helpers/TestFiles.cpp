#include "tests/helpers/TestFiles.h"

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace reelwright::test {
namespace {

    std::string quoted(const std::string& argument)
    {
        std::string result = "'";
        for (const char c : argument)
            result += c == '\'' ? "'\\''" : std::string(1, c);
        return result + "'";
    }

} // namespace

TempFolder::TempFolder()
{
    auto pattern = (std::filesystem::temp_directory_path() / "reelwright-test-XXXXXX").string();
    if (const char* made = ::mkdtemp(pattern.data()))
        m_path = made;
    EXPECT_FALSE(m_path.empty()) << "no temporary folder can be made";
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    if (!m_path.empty())
        std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::byte> readFile(const std::string& path)
{
    std::ifstream in {path, std::ios::binary};
    EXPECT_TRUE(in) << path;
    const std::string text {std::istreambuf_iterator<char>(in), {}};
    const auto bytes = std::as_bytes(std::span {text});
    return {bytes.begin(), bytes.end()};
}

void writeFile(const std::string& path, ByteSpan bytes)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out {path, std::ios::binary};
    for (const auto byte : bytes)
        out.put(static_cast<char>(byte));
    EXPECT_TRUE(out.flush()) << path;
}

std::string corpusFolder()
{
    const char* chosen = std::getenv("REELWRIGHT_CORPUS"); // NOLINT: tests set no variables
    const std::filesystem::path folder
        = chosen ? chosen : std::string(REELWRIGHT_SOURCE_DIR) + "/../shared/corpus";
    return std::filesystem::is_directory(folder) ? folder.string() : std::string {};
}

std::vector<std::string> corpusFiles(const std::string& folder, const std::string& ending)
{
    std::vector<std::string> paths;
    for (const auto& entry : std::filesystem::directory_iterator(corpusFolder() + '/' + folder))
        if (entry.is_regular_file() && entry.path().string().ends_with(ending))
            paths.push_back(entry.path().string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool hasProgram(const std::string& name)
{
    return std::system(("command -v " + quoted(name) + " >/dev/null 2>&1").c_str()) == 0; // NOLINT
}

std::string run(const std::vector<std::string>& arguments)
{
    std::string command;
    for (const auto& argument : arguments)
        command += quoted(argument) + ' ';
    std::string output;
    auto* pipe = ::popen(command.c_str(), "r"); // NOLINT: the arguments are quoted
    if (!pipe) {
        ADD_FAILURE() << "cannot start " << command;
        return output;
    }
    std::array<char, 65536> buffer; // NOLINT: filled by the read
    while (const auto count = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), count);
    EXPECT_EQ(::pclose(pipe), 0) << command;
    return output;
}

} // namespace reelwright::test
