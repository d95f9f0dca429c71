#include "tests/cli/CliTest.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace reelwright::test {
namespace {

    namespace fs = std::filesystem;

    std::string quoted(const std::string& argument)
    {
        std::string result = "'";
        for (const char character : argument)
            result += character == '\'' ? std::string("'\\''") : std::string(1, character);
        return result + '\'';
    }

} // namespace

std::string CliTest::sample(const std::string& clip, const std::string& name) const
{
    return copyOf(REELWRIGHT_SOURCE_DIR "/samples/" + clip, name.empty() ? clip : name);
}

std::string CliTest::copyOf(const std::string& source, const std::string& name) const
{
    const auto target = path(name);
    fs::create_directories(fs::path(target).parent_path());
    fs::copy_file(source, target);
    fs::permissions(target, fs::perms::owner_write, fs::perm_options::add);
    return target;
}

ProcessResult CliTest::cli(const std::vector<std::string>& arguments) const
{
    std::string line = "exec reelwright-cli";
    for (const auto& argument : arguments)
        line += ' ' + quoted(argument);
    return shell(line);
}

ProcessResult CliTest::edit(const std::vector<std::string>& options, const std::string& file) const
{
    return cli(joined({{"edit"}, options, {file}}));
}

ProcessResult CliTest::shell(const std::string& line) const
{
    // Logs of failures go to the test's folder too, out of the way of the movies.
    return runProcess({"env", "PATH=" REELWRIGHT_BIN_DIR ":" + std::string(std::getenv("PATH")),
        "REELWRIGHT_LIBRARY_DIR=" + path(".library"), "sh", "-c",
        "cd " + quoted(path("")) + " || exit\n" + line});
}

Json CliTest::json(const std::vector<std::string>& arguments, int exitCode) const
{
    const auto result = cli(arguments);
    EXPECT_EQ(result.exitCode, exitCode) << result.errors;
    auto parsed = Json::parse(result.output, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << result.output;
    return parsed;
}

std::vector<std::string> CliTest::names(const std::string& below) const
{
    std::vector<std::string> result;
    for (const auto& entry : fs::directory_iterator(path(below)))
        if (entry.path().filename() != ".library")
            result.push_back(entry.path().filename());
    std::sort(result.begin(), result.end());
    return result;
}

void CliTest::expectGolden(const std::string& name, const std::string& text)
{
    const auto file = REELWRIGHT_SOURCE_DIR "/tests/cli/golden/" + name;
    if (std::getenv("REELWRIGHT_UPDATE_GOLDEN"))
        std::ofstream(file) << text;
    EXPECT_EQ(text, readText(file)) << "set REELWRIGHT_UPDATE_GOLDEN=1 to accept it as " << name;
}

std::string exifValue(const std::string& path, const std::string& tag)
{
    auto text = run({"exiftool", "-s3", "-n", "-" + tag, path});
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

} // namespace reelwright::test
