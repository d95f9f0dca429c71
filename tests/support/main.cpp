#include "support/KWLog.h"
#include "tests/support/SupportTest.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <thread>

namespace reelwright::test {
namespace {

    /// What one process is to do with a log that it has not touched yet.
    int playRole(const std::string& role, const std::string& argument)
    {
        if (role == "silent") {
            const auto threads = [] {
                const std::filesystem::directory_iterator entries("/proc/self/task");
                return std::distance(begin(entries), end(entries));
            };
            const auto before = threads();
            KWLog::setApplication("Role", "1");
            KWLog::finishWriting();
            return threads() == before ? 0 : 1;
        }
        if (role == "one line") {
            KWLog::setApplication("Role", "1.2.3");
            KWLog::fastAppendLog("the line {}", argument);
            return 0; // the end of the process flushes a short queue
        }
        if (role == "print") {
            KWLog::appendLogAndPrint("  100% of {}\n", argument);
            return 0;
        }
        if (role == "many lines") {
            KWLog::setApplication("Role", "");
            for (int i = 0; i < 3000; ++i)
                KWLog::fastAppendLog("process {} says line {} end", argument, i);
            KWLog::finishWriting();
            return 0;
        }
        if (role == "long queue at exit") {
            for (int i = 0; i < 100'000; ++i)
                KWLog::fastAppendLog("line {}", i);
            return 0; // not waited for
        }
        if (role == "late") {
            struct Late
            {
                ~Late()
                {
                    KWLog::appendLog("too late");
                    std::thread([] { KWLog::appendLog("too late elsewhere"); }).join();
                    KWLog::finishWriting();
                    KWLog::willTerminate();
                }
            };
            // Made before the log, so destroyed after it has ended.
            static const Late late;
            KWLog::appendLog("in time");
            return 0;
        }
        if (role == "fork") {
            KWLog::appendLog("before the fork");
            const pid_t child = fork();
            if (child == 0) {
                KWLog::appendLog("from the child");
                KWLog::finishWriting();
                std::exit(0);
            }
            int status = 0;
            waitpid(child, &status, 0);
            KWLog::appendLog("after the fork");
            return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
        }
        return 2;
    }

} // namespace

ProcessResult runRole(const std::string& role, const std::string& argument)
{
    return runProcess({"/proc/self/exe", "--role", role, argument});
}

} // namespace reelwright::test

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "--role") == 0)
        return reelwright::test::playRole(argv[2], argv[3]);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
