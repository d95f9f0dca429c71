#include "tests/helpers/TestFiles.h"

#include "tests/helpers/Process.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace reelwright::test {

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
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
    const auto text = readText(path);
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

std::string readText(const std::string& path)
{
    std::ifstream in {path, std::ios::binary};
    return {std::istreambuf_iterator<char>(in), {}};
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

std::string littleEndian(std::uint64_t value, unsigned width)
{
    std::string bytes;
    for (unsigned i = 0; i < width; ++i)
        bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

std::string waveFormat(std::uint32_t channels, std::uint32_t bits, std::uint32_t tag)
{
    const auto frame = channels * bits / 8;
    return "fmt " + littleEndian(16, 4) + littleEndian(tag, 2) + littleEndian(channels, 2)
        + littleEndian(8000, 4) + littleEndian(8000 * frame, 4) + littleEndian(frame, 2)
        + littleEndian(bits, 2);
}

void writeSilence(const std::string& path, std::uint32_t size)
{
    const auto head
        = "RIFF" + littleEndian(size + 36, 4) + "WAVE" + waveFormat() + "data" + littleEndian(size, 4);
    writeFile(path, std::as_bytes(std::span {head}));
    std::filesystem::resize_file(path, head.size() + size);
}

bool hasProgram(const std::string& name)
{
    return runProcess({"sh", "-c", "command -v \"$0\"", name}).exitCode == 0;
}

std::string run(const std::vector<std::string>& arguments)
{
    auto result = runProcess(arguments);
    EXPECT_EQ(result.exitCode, 0) << arguments.front() << ": " << result.errors;
    return std::move(result.output);
}

void ffmpeg(const std::vector<std::string>& arguments, const std::string& path)
{
    run(joined({{"ffmpeg", "-nostdin", "-v", "error", "-y"}, arguments, {path}}));
}

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> lists)
{
    std::vector<std::string> all;
    for (const auto& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

} // namespace reelwright::test
