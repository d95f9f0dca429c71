#include "edits/EditCatalogue.h"
#include "tests/cli/CliTest.h"

#include <gmock/gmock.h>

namespace reelwright::test {
namespace {

    using ::testing::AllOf;
    using ::testing::HasSubstr;

    using Usage = CliTest;

    TEST_F(Usage, HelpIsAResultAndTellsWhatANewcomerNeeds)
    {
        const auto help = cli({"--help"});
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_EQ(help.errors, "");
        EXPECT_THAT(help.output,
            AllOf(HasSubstr("info"), HasSubstr("tracks"), HasSubstr("atoms"), HasSubstr("edit"),
                HasSubstr("Exit status")));
        for (const auto* command : {"info", "tracks", "timecode", "atoms", "edit", "verify"}) {
            const auto own = cli({command, "--help"});
            EXPECT_EQ(own.exitCode, 0);
            EXPECT_THAT(own.output,
                AllOf(HasSubstr("Usage: reelwright-cli " + std::string(command)), HasSubstr("Examples:"),
                    HasSubstr("Exit status"), HasSubstr("--json-lines"), HasSubstr("--files-from")));
        }
    }

    TEST_F(Usage, VersionIsAResult)
    {
        const auto version = cli({"--version"});
        EXPECT_EQ(version.exitCode, 0);
        EXPECT_THAT(version.output, ::testing::MatchesRegex("reelwright-cli [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    }

    TEST_F(Usage, ShellsAndTheManualKnowEveryOption)
    {
        for (const std::string what : {"bash", "zsh", "fish", "man"}) {
            const auto text = cli({"generate", what});
            EXPECT_EQ(text.exitCode, 0) << text.errors;
            for (const auto& kind : editKinds()) {
                std::string name = kind.option;
                if (what == "fish")
                    name = " -l " + name.substr(2);
                for (std::size_t at = 0; what == "man" && (at = name.find('-', at)) != std::string::npos;
                     at += 2)
                    name.insert(at, 1, '\\');
                EXPECT_THAT(text.output, HasSubstr(name)) << what;
            }
        }
        const auto completed = shell(R"(bash -c 'source <(reelwright-cli generate bash)
                COMP_WORDS=(reelwright-cli edit --rotate "") COMP_CWORD=3
                _reelwright_cli; echo "${COMPREPLY[*]}"')");
        EXPECT_EQ(completed.output, "left right\n") << completed.errors;
    }

    struct WrongUsage
    {
        std::vector<std::string> arguments;
        const char* message;
    };

    TEST_F(Usage, WrongUsageEndsWithTwoSaysWhyAndTouchesNothing)
    {
        const auto clip = sample("two-audio.mov");
        const auto before = readFile(clip);
        const std::string file = "two-audio.mov";
        const WrongUsage facts[] = {
            {{}, "no command is given"},
            {{"inform", file}, "\"inform\" is no command"},
            {{"info"}, "no file is named"},
            {{"info", "--verbose", file}, "--verbose"},
            {{"info", "--json", "--json-lines", file}, "exclude each other"},
            {{"info", "--autoplay", "on", file}, "--autoplay"},
            {{"atoms", "--depth", "0", file}, "--depth"},
            {{"timecode", "--at", "soon", file}, "--at"},
            {{"timecode", "--at", "1/0", file}, "--at"},
            {{"timecode", "--at", "/3", file}, "--at"},
            {{"timecode", "--at", "-1", file}, "--at"},
            {{"timecode", "--at", "1/2/3", file}, "--at"},
            {{"timecode", "--at", "99999999999999999999/1", file}, "--at"},
            {{"timecode", "--at", "1", "--frame", "1", file}, "exclude"},
            {{"edit", file}, "nothing to do"},
            {{"edit", "--flip"}, "no file is named"},
            {{"edit", file, "--rotate"}, "--rotate"},
            {{"edit", "--rotate", "up", file}, "left or right"},
            {{"edit", "--autoplay", "yes", file}, "on or off"},
            {{"edit", "--controller", "none", file}, "show or hide"},
            {{"edit", "--aperture", "wide", file}, "classic, clean, production or encoded"},
            {{"edit", "--flip=no", file}, "flip"},
            {{"edit", "--track", "a2", file}, "SELECTOR:enabled=on|off"},
            {{"edit", "--track", "b2:enabled=on", file}, "selector"},
            {{"edit", "--track", "a2:enabled=1", file}, "on or off"},
            {{"edit", "--track", "a2:colour=1", file}, "SELECTOR:in=TIMECODE"},
            {{"edit", "--track", "a2:in=soon", file}, "a time such as"},
            {{"edit", "--track", "a2:in=", file}, "a time such as"},
            {{"edit", "--timecode", "soon", file}, "not \"soon\""},
            {{"edit", "--timecode", "", file}, "timecode such as"},
            {{"edit", "--timecode", "10:60:00:00", file}, "timecode such as"},
            {{"edit", "--timecode", "1:2:3:4:5:6", file}, "timecode such as"},
            {{"edit", "--timecode=-1:00:00:00", file}, "timecode such as"},
            {{"edit", "--timecode", "1", "--timecode", "2", file}, "once only"},
            {{"edit", "--timecode", "1", "--counter", "2", file}, "exclude each other"},
            {{"edit", "--timecode-from", "moon", file}, "creation, file, now"},
            {{"edit", "--timecode-from", "thm:", file}, "creation, file, now"},
            {{"edit", "--timecode-from", "now", "--timecode", "1", file}, "exclude each other"},
            {{"edit", "--counter", "2147483648", file}, "from 0 to 2147483647"},
            {{"edit", "--counter", "2", "--drop-frame", file}, "--reel only"},
            {{"edit", "--track", "v1:in=6:31:6:21", file}, "two digits a field"},
            {{"edit", "--timecode", "1:0:0:0", file}, "two digits a field"},
            {{"edit", "--timecode-offset", "01:00:00:00", file}, "with its sign"},
            {{"edit", "--timecode", "1", "--timecode-offset", "+1.", file}, "exclude each other"},
            {{"edit", "--timecode-track", "tc2", file}, "says nothing"},
            {{"edit", "--timecode-track", "tc*", "--reel", "A", file}, "one timecode track"},
            {{"edit", "--reel", std::string(256, 'A'), file}, "255 bytes"},
            {{"edit", "--reel", "\xE4", file}, "UTF-8"},
            {{"edit", "--flip", "--jobs", "0", file}, "--jobs"},
            {{"edit", "--flip", "--suffix", "", file}, "--suffix"},
            {{"edit", "--flip", "--suffix", "/x", file}, "--suffix"},
            {{"edit", "--flip", "--suffix", "-x", "-o", "y.mov", file}, "only one of"},
            {{"edit", "--flip", "-o", "y.mov", file, file}, "one file"},
        };
        for (const auto& fact : facts) {
            const auto result = cli(fact.arguments);
            EXPECT_EQ(result.exitCode, 2) << ::testing::PrintToString(fact.arguments);
            EXPECT_EQ(result.output, "") << ::testing::PrintToString(fact.arguments);
            EXPECT_THAT(result.errors, HasSubstr(fact.message));
        }
        EXPECT_EQ(readFile(clip), before);
        EXPECT_THAT(names(), ::testing::ElementsAre("two-audio.mov"));
    }

} // namespace
} // namespace reelwright::test
