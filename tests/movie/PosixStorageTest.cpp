#include "movie/files/Storage.h"
#include "tests/helpers/TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace reelwright::test {
namespace {

    TEST(PosixStorage, APathIsResolvedAlsoWhereItsFileIsNotThere)
    {
        const TempFolder folder;
        const auto real = std::filesystem::canonical(folder.path()).string() + "/";
        writeFile(folder.file("file.mov"), std::vector<std::byte>(1));
        std::filesystem::create_directory(folder.file("inner"));
        const std::pair<const char*, std::string> links[] = {
            {"link.mov", "file.mov"},
            {"dangling.mov", "none.mov"},
            {"absolute.mov", real + "none.mov"},
            {"chain.mov", "inner/dangling.mov"},
            {"inner/dangling.mov", "../none.mov"},
            {"away.mov", "nowhere/none.mov"},
            {"circle.mov", "circle.mov"},
        };
        for (const auto& [link, target] : links)
            std::filesystem::create_symlink(target, folder.file(link));
        const std::pair<std::string, std::string> rows[] = {
            {folder.file("file.mov"), real + "file.mov"},
            {folder.file("inner/../file.mov"), real + "file.mov"},
            {folder.file("link.mov"), real + "file.mov"},
            {folder.file("none.mov"), real + "none.mov"},
            {folder.file("inner/../none.mov"), real + "none.mov"},
            {folder.file("dangling.mov"), real + "none.mov"},
            {folder.file("absolute.mov"), real + "none.mov"},
            {folder.file("chain.mov"), real + "none.mov"},
            {folder.file("away.mov"), folder.file("away.mov")}, // as it is
            {folder.file("circle.mov"), folder.file("circle.mov")},
            {"/no such movie.mov", "/no such movie.mov"},
        };
        for (const auto& [path, resolved] : rows)
            EXPECT_EQ(Storage::posix()->resolve(path), resolved) << path;
    }

} // namespace
} // namespace reelwright::test
