#pragma once

#include "movie/Bytes.h"

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

bool hasProgram(const std::string& name);

/// What a program said on standard output. It is a test failure when it fails.
std::string run(const std::vector<std::string>& arguments);

} // namespace reelwright::test

#define REELWRIGHT_NEEDS_CORPUS()                                                                            \
    if (::reelwright::test::corpusFolder().empty())                                                          \
    GTEST_SKIP() << "the folder of real files is not there"
#define REELWRIGHT_NEEDS_PROGRAM(name)                                                                       \
    if (!::reelwright::test::hasProgram(name))                                                               \
    GTEST_SKIP() << "the program " << (name) << " is not installed"
