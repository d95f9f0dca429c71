#include "cli/Interrupt.h"

#include <atomic>
#include <csignal>

namespace reelwright::cli::interrupt {
namespace {

    std::atomic<int> s_received = 0;
    static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may not wait for a lock");

    extern "C" void noteSignal(int number)
    {
        s_received = number;
    }

} // namespace

void listen()
{
    struct sigaction action = {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    ::sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction old = {};
        // A signal that the caller has us ignore (nohup) stays ignored.
        if (::sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
}

int received()
{
    return s_received;
}

} // namespace reelwright::cli::interrupt
