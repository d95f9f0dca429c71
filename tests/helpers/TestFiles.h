#pragma once

#include "movie/atoms/Bytes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace reelwright::test {

/// A fresh folder that is removed with everything in it.
class TempFolder
{
public:
    TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder();

    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] std::string file(const std::string& name) const { return m_path + '/' + name; }

private:
    std::string m_path;
};

std::vector<std::byte> readFile(const std::string& path);
void writeFile(const std::string& path, ByteSpan bytes);

/// The folder of real files, or the empty string where there is none.
std::string corpusFolder();
/// Paths of the files of a corpus folder whose names end so, sorted. An empty ending means all.
std::vector<std::string> corpusFiles(const std::string& folder, const std::string& ending = {});

/// A text file's content; empty where there is none.
std::string readText(const std::string& path);

/// A little-endian number of `width` bytes.
std::string littleEndian(std::uint64_t value, unsigned width);
/// What stands before the samples of a WAV file of 16-bit sound at 8000 Hz; `tag` 1 means integers.
std::string waveFormat(std::uint32_t channels = 1, std::uint32_t bits = 16, std::uint32_t tag = 1);
/// A WAV file of that many bytes of silence, which take next to no space: they lie in a hole of the file.
void writeSilence(const std::string& path, std::uint32_t size);

bool hasProgram(const std::string& name);

/// What a program said on standard output. It is a test failure when it fails.
std::string run(const std::vector<std::string>& arguments);
/// Has ffmpeg make a file of the input formats, filters and options given.
void ffmpeg(const std::vector<std::string>& arguments, const std::string& path);

/// One list of all these.
std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> lists);

} // namespace reelwright::test

#define REELWRIGHT_NEEDS_CORPUS()                                                                            \
    if (::reelwright::test::corpusFolder().empty())                                                          \
    GTEST_SKIP() << "the folder of real files is not there"
#define REELWRIGHT_NEEDS_PROGRAM(name)                                                                       \
    if (!::reelwright::test::hasProgram(name))                                                               \
    GTEST_SKIP() << "the program " << (name) << " is not installed"
