#include "support/KWLog.h"

#include "tests/support/SupportTest.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <map>
#include <sstream>
#include <thread>

namespace reelwright::test {

/// Counts how often it is formatted.
struct Counted
{
    int& count;
};

} // namespace reelwright::test

template <> struct fmt::formatter<reelwright::test::Counted> : fmt::formatter<int>
{
    template <class Context> auto format(const reelwright::test::Counted& counted, Context& context) const
    {
        return formatter<int>::format(++counted.count, context);
    }
};

namespace reelwright::test {
namespace {

    using testing::ElementsAre;
    using testing::EndsWith;
    using testing::HasSubstr;
    using testing::IsEmpty;
    using testing::MatchesRegex;
    using testing::Not;

    class KWLogTest : public SupportTest
    {
    protected:
        KWLogTest()
        {
            KWLog::setConsole(m_console);
            KWLog::setApplication("Test", "");
        }
        ~KWLogTest() override
        {
            KWLog::finishWriting();
            KWLog::willTerminate();
            KWLog::setConsole(nullptr);
            std::fclose(m_console);
            std::free(m_consoleText);
        }

        [[nodiscard]] std::filesystem::path generation(int number, const std::string& name = "Test") const
        {
            return logsFolder() / (name + "." + std::to_string(number) + ".log");
        }

        /// The messages of a log without their dates and without the header; a line without a date fails the
        /// test.
        static std::vector<std::string> messages(const std::filesystem::path& path)
        {
            constexpr std::size_t kDateLength = 25;
            std::vector<std::string> result;
            bool isHeader = true;
            std::istringstream lines(readText(path));
            for (std::string line; std::getline(lines, line);) {
                EXPECT_EQ(line.substr(std::min<std::size_t>(line.size(), 19), 9), " +0000 - ") << line;
                const auto message = line.substr(std::min(line.size(), kDateLength + 3));
                if (!isHeader)
                    result.push_back(message);
                if (message == "Running in 32-bit mode")
                    isHeader = false;
            }
            return result;
        }

        std::string console()
        {
            std::fflush(m_console);
            return {m_consoleText, m_consoleLength};
        }

    private:
        char* m_consoleText = nullptr;
        std::size_t m_consoleLength = 0;
        std::FILE* m_console = open_memstream(&m_consoleText, &m_consoleLength);
    };

    TEST_F(KWLogTest, HeaderLinesStandInTheirOrder)
    {
        KWLog::setApplication("", "4.5 (678)");
        KWLog::createNewLog();
        const std::string date = "[0-9-]+ [0-9:]+ \\+0000";
        EXPECT_THAT(readText(generation(1)),
            MatchesRegex(date + " - Log started: " + date + "\n" + date + " - Version: 4\\.5 \\(678\\)\n"
                + date + " - Path: /.*test_support\n" + date
                + " - System: OS X .+, [0-9]+ CPU\\(s\\), [0-9]+\\.[0-9]{2} GB RAM\n" + date
                + " - Running in 32-bit mode\n"));
        KWLog::setApplication("", "");
        KWLog::createNewLog();
        EXPECT_THAT(readText(generation(1)), Not(HasSubstr("Version:"))) << "only when there is a version";
    }

    TEST_F(KWLogTest, StartingALogShiftsFourGenerationsAndDeletesTheFifth)
    {
        std::filesystem::create_directories(logsFolder());
        for (int i = 1; i <= 5; ++i)
            writeText(generation(i), "was " + std::to_string(i));
        KWLog::createNewLog();
        EXPECT_THAT(readText(generation(1)), HasSubstr("Log started"));
        for (int i = 2; i <= 5; ++i)
            EXPECT_EQ(readText(generation(i)), "was " + std::to_string(i - 1));
        EXPECT_FALSE(std::filesystem::exists(generation(6)));
    }

    TEST_F(KWLogTest, WithoutAFirstGenerationNothingIsShifted)
    {
        std::filesystem::create_directories(logsFolder());
        writeText(generation(2), "old");
        KWLog::createNewLog();
        EXPECT_EQ(readText(generation(2)), "old");
        EXPECT_THAT(KWLog::availableLogs(), ElementsAre(generation(1).string(), generation(2).string()));
    }

    TEST_F(KWLogTest, AvailableLogsAreThoseThatExistNewestFirst)
    {
        EXPECT_THAT(KWLog::availableLogs(), IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(logsFolder())) << "asking makes nothing";
        std::filesystem::create_directories(logsFolder());
        for (const int i : {5, 3, 1})
            writeText(generation(i), "");
        writeText(generation(1, "Other"), "");
        EXPECT_THAT(KWLog::availableLogs(),
            ElementsAre(generation(1).string(), generation(3).string(), generation(5).string()));
    }

    TEST_F(KWLogTest, NameIsTakenOnceAndDefaultsToTheProduct)
    {
        KWLog::createNewLog("Second");
        EXPECT_TRUE(std::filesystem::exists(generation(1))) << "a name that is there stays";
        KWLog::willTerminate();
        KWLog::createNewLog("a/b");
        EXPECT_TRUE(std::filesystem::exists(generation(1, "a-b"))) << "a name is not a path";
        KWLog::willTerminate();
        KWLog::createNewLog();
        EXPECT_TRUE(std::filesystem::exists(generation(1, "Reelwright")));
    }

    TEST_F(KWLogTest, MessagesAreTrimmedAndBlankOnesDropped)
    {
        KWLog::createNewLog();
        KWLog::appendLog("\n\t one {} \r\n", "inside  kept");
        KWLog::appendLog(" \t\r\n\v\f");
        KWLog::appendLog("{}", "\xC2\xA0\xE3\x80\x80");
        KWLog::sharedController().appendTextToLog("");
        KWLog::sharedController().appendTextToLog(" {braces} 100% ");
        KWLog::fastAppendLog("{}", "name \xFF\xC3( \xED\xA0\x80 \xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC");
        KWLog::finishWriting();
        EXPECT_THAT(messages(generation(1)),
            ElementsAre("one inside  kept", "{braces} 100%",
                "name \uFFFD\uFFFD( \uFFFD\uFFFD\uFFFD \u00E9\u20AC\U0001F3AC"));
    }

    TEST_F(KWLogTest, FullLogIsRotatedAndTheNewOneSaysSo)
    {
        KWLog::createNewLog();
        const auto headerSize = std::filesystem::file_size(generation(1));
        // 28 bytes of date and separator, 971 of text, one line end: 1000 a line.
        const std::string text(971, 'x');
        const auto fitting = (500'000 - headerSize) / 1000;
        for (std::size_t i = 0; i < fitting; ++i)
            KWLog::fastAppendLog("{}", text);
        KWLog::finishWriting();
        EXPECT_FALSE(std::filesystem::exists(generation(2))) << "not full yet";
        KWLog::fastAppendLog("{}", text);
        KWLog::fastAppendLog("first of the new file");
        KWLog::finishWriting();
        EXPECT_EQ(std::filesystem::file_size(generation(2)), headerSize + 1000 * (fitting + 1));
        EXPECT_GE(std::filesystem::file_size(generation(2)), 500'000U);
        EXPECT_THAT(readText(generation(1)), HasSubstr("Log started: "));
        EXPECT_THAT(messages(generation(1)), ElementsAre("Log truncated at 500KB", "first of the new file"));
    }

    TEST_F(KWLogTest, LogIsFullAtExactlyFiveHundredThousandBytes)
    {
        for (const int missing : {1, 0}) {
            KWLog::createNewLog();
            std::filesystem::remove(generation(2));
            const auto size
                = 500'000 - std::filesystem::file_size(generation(1)) - 29 - static_cast<unsigned>(missing);
            KWLog::fastAppendLog("{}", std::string(size, 'x'));
            KWLog::finishWriting();
            EXPECT_EQ(std::filesystem::exists(generation(2)), missing == 0) << missing << " bytes short";
        }
    }

    TEST_F(KWLogTest, SharedPreferenceSwitchesLoggingOff)
    {
        struct SwitchFact
        {
            std::string file;
            bool isOff;
            const char* why;
        };
        const SwitchFact facts[] = {
            {plist("<key>disable-logging</key><string>1</string>"), true, "the text 1"},
            {plist("<key>disable-logging</key><true/>"), true, "YES"},
            {plist("<key>disable-logging</key><integer>1</integer>"), true, "a number equal to YES"},
            {plist("<key>disable-logging</key><real>1.0</real>"), true, "a number equal to YES"},
            {binaryPlist("disable-logging", "\x09"), true, "binary form: true"},
            {binaryPlist("disable-logging", "\x10\x01"), true, "binary form: integer 1"},
            {binaryPlist("disable-logging", "\x51\x31"), true, "binary form: text 1"},
            {binaryPlist("disable-logging", "\x08"), false, "binary form: false"},
            {plist("<key>disable-logging</key><string>YES</string>"), false, "only the text 1 counts"},
            {plist("<key>disable-logging</key><integer>2</integer>"), false, "2 is not equal to YES"},
            {plist("<key>disable-logging</key><false/>"), false, "NO"},
            {plist("<key>disable-logging</key><dict/>"), false, "no such kind"},
            {plist("<key>other</key><true/>"), false, "another key"},
            {"<plist><dict><key>disable-logging", false, "damaged"},
            {"", false, "empty"},
        };
        for (const auto& fact : facts) {
            writeSharedPreferences(fact.file);
            std::filesystem::remove_all(m_folder / "library");
            const auto before = console().size();
            KWLog::createNewLog();
            KWLog::appendLog("message");
            KWLog::appendLogAndPrint("printed");
            KWLog::finishWriting();
            EXPECT_EQ(std::filesystem::exists(m_folder / "library"), !fact.isOff) << fact.why;
            EXPECT_EQ(console().substr(before), fact.isOff ? "Logging is disabled\n" : "printed\n")
                << fact.why;
        }
    }

    TEST_F(KWLogTest, DisabledLogDoesNotFormat)
    {
        int formatted = 0;
        KWLog::createNewLog();
        KWLog::fastAppendLog("{}", Counted {formatted});
        EXPECT_EQ(formatted, 1);
        writeSharedPreferences(plist("<key>disable-logging</key><true/>"));
        KWLog::createNewLog();
        KWLog::fastAppendLog("{}", Counted {formatted});
        KWLog::appendLog("{}", Counted {formatted});
        KWLog::appendLogAndPrint("{}", Counted {formatted});
        EXPECT_EQ(formatted, 1);
    }

    TEST_F(KWLogTest, MessageThatCannotBeFormattedIsDropped)
    {
        KWLog::createNewLog();
        KWLog::fastAppendLog("{:{}}", "text", -1);
        KWLog::appendLogAndPrint("{:{}}", "text", -1);
        KWLog::appendLog("next");
        KWLog::finishWriting();
        EXPECT_THAT(messages(generation(1)), ElementsAre("next"));
        EXPECT_EQ(console(), "");
    }

    TEST_F(KWLogTest, PreferenceIsReadAgainWhenALogIsFull)
    {
        KWLog::createNewLog();
        writeSharedPreferences(plist("<key>disable-logging</key><true/>"));
        KWLog::fastAppendLog("{}", std::string(500'000, 'x'));
        KWLog::finishWriting();
        KWLog::appendLog("not wanted any more");
        KWLog::finishWriting();
        EXPECT_EQ(console(), "Logging is disabled\n");
        EXPECT_FALSE(std::filesystem::exists(generation(2)));
        EXPECT_THAT(readText(generation(1)), Not(HasSubstr("not wanted")));
    }

    TEST_F(KWLogTest, PrintedLinesGoToTheConsoleAsTheyStand)
    {
        KWLog::createNewLog();
        KWLog::appendLogAndPrint("\n 100% of {} %s {{}} \n", "clip.mov");
        KWLog::appendLogAndPrint(" \n");
        KWLog::finishWriting();
        EXPECT_EQ(console(), "100% of clip.mov %s {}\n");
        EXPECT_THAT(messages(generation(1)), ElementsAre("100% of clip.mov %s {}"));
    }

    TEST_F(KWLogTest, ShortMessagesOfOtherThreadsAreOnDiskWhenTheCallReturns)
    {
        KWLog::createNewLog();
        std::thread([&] {
            for (int i = 0; i < 50; ++i) {
                KWLog::appendLog("short {}", i);
                EXPECT_THAT(readText(generation(1)), EndsWith("short " + std::to_string(i) + "\n"));
            }
        }).join();
    }

    TEST_F(KWLogTest, LinesOfManyThreadsAllArriveInTheOrderOfTheirThread)
    {
        constexpr int kThreads = 8;
        constexpr int kLines = 3000;
        KWLog::createNewLog();
        std::vector<std::thread> threads;
        threads.reserve(kThreads);
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < kLines; ++i) {
                    if (i % 100 == 0)
                        KWLog::appendLog("thread {} line {}", thread, i);
                    else
                        KWLog::fastAppendLog("thread {} line {}", thread, i);
                    if (i % 1000 == 999)
                        KWLog::finishWriting();
                }
            });
        }
        for (auto& thread : threads)
            thread.join();
        KWLog::finishWriting();
        std::array<int, kThreads> next {};
        int others = 0;
        EXPECT_TRUE(std::filesystem::exists(generation(2))) << "the test is about rotation too";
        for (int i = 5; i >= 1; --i) {
            for (const auto& message : messages(generation(i))) {
                int thread = 0;
                int line = 0;
                if (std::sscanf(message.c_str(), "thread %d line %d", &thread, &line) == 2)
                    EXPECT_EQ(line, next.at(static_cast<std::size_t>(thread))++) << message;
                else
                    ++others;
            }
        }
        EXPECT_THAT(next, testing::Each(kLines));
        EXPECT_EQ(others, 2) << "24,000 lines of 45 bytes fill two files";
    }

    TEST_F(KWLogTest, StartingLogsWhileOthersWriteLosesNothing)
    {
        KWLog::createNewLog();
        std::thread writer([] {
            for (int i = 0; i < 4000; ++i)
                KWLog::fastAppendLog("line {}", i);
        });
        KWLog::createNewLog();
        KWLog::createNewLog();
        KWLog::createNewLog();
        writer.join();
        KWLog::finishWriting();
        int next = 0;
        for (int i = 5; i >= 1; --i) {
            for (const auto& message : messages(generation(i)))
                EXPECT_EQ(message, "line " + std::to_string(next++));
        }
        EXPECT_EQ(next, 4000);
    }

    TEST_F(KWLogTest, TroubleIsSaidOnceAndNeverFailsTheCaller)
    {
        struct TroubleFact
        {
            std::filesystem::path obstacle; ///< where the log wants to be
            const char* target; ///< it is a link to this, or a folder when empty
            std::string texts;
        };
        const auto folder = logsFolder().string();
        const std::string lost
            = "Unable to log the following information: first\nUnable to open log for output\n";
        const std::string notMoved
            = "Unable to move file " + generation(4).string() + " to " + generation(5).string() + ".\n";
        const TroubleFact facts[] = {
            {logsFolder(), "/dev/null", "Unable to create folder " + folder + ".\n" + lost},
            {generation(1), "", notMoved + lost},
            {generation(1), "/dev/full", notMoved + "Exception writing to log: No space left on device\n"},
        };
        for (const auto& fact : facts) {
            std::filesystem::remove_all(m_folder / "library");
            std::filesystem::create_directories(fact.obstacle.parent_path());
            if (fact.target[0])
                std::filesystem::create_symlink(fact.target, fact.obstacle);
            else
                std::filesystem::create_directory(fact.obstacle);
            if (fact.obstacle != logsFolder()) {
                writeText(generation(4), "");
                std::filesystem::create_directory(generation(5)); // neither removed nor replaced by a file
            }
            const auto before = console().size();
            KWLog::createNewLog();
            KWLog::appendLog("first");
            KWLog::finishWriting();
            KWLog::appendLog("second");
            KWLog::finishWriting();
            KWLog::createNewLog();
            EXPECT_EQ(console().substr(before), fact.texts);
            std::filesystem::remove_all(m_folder / "library");
            KWLog::createNewLog();
            KWLog::appendLog("works again");
            KWLog::finishWriting();
            EXPECT_THAT(messages(generation(1)), ElementsAre("works again"));
        }
    }

    TEST_F(KWLogTest, FileThatCannotBeMadeIsNamedWithTheReason)
    {
        KWLog::willTerminate();
        const std::string name(300, 'n');
        KWLog::createNewLog(name);
        EXPECT_EQ(console(),
            "Unable to create log file " + generation(1, name).string() + " - File name too long\n");
    }

    TEST_F(KWLogTest, QueueThatCannotBeWrittenStaysBounded)
    {
        // A pipe that nobody reads yet stands where the log cannot be moved away from.
        std::filesystem::create_directories(generation(5));
        writeText(generation(4), "");
        ASSERT_EQ(mkfifo(generation(1).c_str(), 0600), 0);
        std::FILE* const pipe = fdopen(open(generation(1).c_str(), O_RDWR | O_CLOEXEC), "r");
        ASSERT_TRUE(pipe);
        KWLog::createNewLog();
        const std::string text(1'000'000, 'x');
        constexpr int kMessages = 100;
        for (int i = 0; i < kMessages; ++i)
            KWLog::fastAppendLog("{}", text);
        int written = 0;
        int dropped = 0;
        char* line = nullptr;
        std::size_t capacity = 0;
        while (dropped == 0 && getline(&line, &capacity, pipe) > 0) {
            written += std::string_view(line).size() > text.size() ? 1 : 0;
            (void)std::sscanf(line, "%*s %*s +0000 - %d messages dropped", &dropped);
        }
        std::free(line);
        EXPECT_GE(written, 64);
        EXPECT_GT(dropped, 0);
        EXPECT_EQ(written + dropped, kMessages);
        KWLog::finishWriting();
        std::fclose(pipe);
    }

    TEST_F(KWLogTest, RemovedLogIsStartedAgain)
    {
        KWLog::createNewLog();
        KWLog::appendLog("one");
        KWLog::finishWriting();
        std::filesystem::remove_all(m_folder / "library");
        KWLog::appendLog("two");
        KWLog::finishWriting();
        EXPECT_THAT(messages(generation(1)), ElementsAre("two"));
        EXPECT_EQ(console(), "");
    }

    TEST_F(KWLogTest, AfterTerminationMessagesAreDroppedUntilALogIsStarted)
    {
        KWLog::createNewLog();
        KWLog::fastAppendLog("pending at termination");
        KWLog::willTerminate();
        KWLog::appendLog("dropped");
        KWLog::willTerminate();
        KWLog::finishWriting();
        EXPECT_THAT(messages(generation(1)), ElementsAre("pending at termination"));
        KWLog::createNewLog("Test");
        KWLog::appendLog("again");
        KWLog::finishWriting();
        EXPECT_THAT(messages(generation(1)), ElementsAre("again"));
    }

    TEST_F(KWLogTest, ProcessThatLogsNothingTouchesNothing)
    {
        const auto role = runRole("silent");
        EXPECT_EQ(role.exitCode, 0) << "1: it started a thread";
        EXPECT_FALSE(std::filesystem::exists(m_folder / "library"));
        EXPECT_EQ(role.output, "");
    }

    TEST_F(KWLogTest, FirstMessageOfAProcessStartsItsLog)
    {
        for (const auto* argument : {"A", "B"}) {
            const auto role = runRole("one line", argument);
            EXPECT_EQ(role.exitCode, 0);
            EXPECT_EQ(role.output, "");
        }
        EXPECT_THAT(messages(generation(1, "Role")), ElementsAre("the line B"));
        EXPECT_THAT(messages(generation(2, "Role")), ElementsAre("the line A"));
        EXPECT_THAT(readText(generation(1, "Role")), HasSubstr(" - Version: 1.2.3\n"));
    }

    TEST_F(KWLogTest, ConsoleIsStandardOutputUnlessChosen)
    {
        EXPECT_EQ(runRole("print", "it").output, "100% of it\n");
        writeSharedPreferences(plist("<key>disable-logging</key><true/>"));
        EXPECT_EQ(runRole("print", "it").output, "Logging is disabled\n");
    }

    TEST_F(KWLogTest, StaticObjectsMayLogWhileTheProcessEnds)
    {
        EXPECT_EQ(runRole("late").exitCode, 0);
        EXPECT_THAT(messages(generation(1, "Reelwright")), ElementsAre("in time"));
    }

    TEST_F(KWLogTest, ForkedChildNeitherLogsNorHangs)
    {
        EXPECT_EQ(runRole("fork").exitCode, 0);
        EXPECT_THAT(messages(generation(1, "Reelwright")), ElementsAre("before the fork", "after the fork"));
    }

    TEST_F(KWLogTest, ProcessEndsCleanlyWithALongQueue)
    {
        EXPECT_EQ(runRole("long queue at exit").exitCode, 0);
    }

    TEST_F(KWLogTest, ProcessesThatShareTheFilesWriteWholeLines)
    {
        std::vector<std::thread> processes;
        for (int i = 0; i < 4; ++i) {
            processes.emplace_back([i] {
                const auto role = runRole("many lines", std::to_string(i));
                EXPECT_EQ(role.exitCode, 0);
                EXPECT_EQ(role.output, "");
            });
        }
        for (auto& process : processes)
            process.join();
        std::map<std::string, int> lines;
        for (int i = 1; i <= 5; ++i) {
            for (const auto& message : messages(generation(i, "Role"))) {
                EXPECT_TRUE(message.starts_with("process ") && message.ends_with(" end")) << message;
                ++lines[message];
            }
        }
        // Four processes start at most four files and fill none.
        EXPECT_EQ(lines.size(), 12'000U);
    }

} // namespace
} // namespace reelwright::test
