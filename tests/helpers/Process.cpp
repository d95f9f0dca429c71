#include "tests/helpers/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace reelwright::test {
namespace {

    /// Both ends of a pipe, closed when they go.
    class Pipe
    {
    public:
        Pipe() { m_open = ::pipe2(m_ends.data(), O_CLOEXEC) == 0; }
        Pipe(const Pipe&) = delete;
        Pipe& operator=(const Pipe&) = delete;
        ~Pipe()
        {
            closeEnd(0);
            closeEnd(1);
        }

        [[nodiscard]] bool isOpen() const { return m_open; }
        [[nodiscard]] int readEnd() const { return m_ends[0]; }
        [[nodiscard]] int writeEnd() const { return m_ends[1]; }
        void closeEnd(std::size_t end)
        {
            if (m_ends[end] >= 0)
                ::close(m_ends[end]);
            m_ends[end] = -1;
        }

    private:
        std::array<int, 2> m_ends {-1, -1};
        bool m_open = false;
    };

    /// Reads both pipes as they fill, so that the program never waits for one of them.
    void collect(Pipe& first, std::string& firstText, Pipe& second, std::string& secondText)
    {
        std::array<char, 65536> buffer; // NOLINT: filled by the read
        std::array<Pipe*, 2> pipes {&first, &second};
        std::array<std::string*, 2> texts {&firstText, &secondText};
        while (first.readEnd() >= 0 || second.readEnd() >= 0) {
            std::array<pollfd, 2> ends {{{first.readEnd(), POLLIN, 0}, {second.readEnd(), POLLIN, 0}}};
            if (::poll(ends.data(), ends.size(), -1) < 0 && errno != EINTR)
                return;
            for (std::size_t i = 0; i < ends.size(); ++i) {
                if (ends[i].fd < 0 || ends[i].revents == 0)
                    continue;
                const auto count = ::read(ends[i].fd, buffer.data(), buffer.size());
                if (count > 0)
                    texts[i]->append(buffer.data(), static_cast<std::size_t>(count));
                else if (count == 0 || errno != EINTR)
                    pipes[i]->closeEnd(0);
            }
        }
    }

} // namespace

ProcessResult runProcess(const std::vector<std::string>& arguments)
{
    ProcessResult result;
    Pipe output;
    Pipe errors;
    if (arguments.empty() || !output.isOpen() || !errors.isOpen()) {
        result.errors = "no pipe can be made";
        return result;
    }
    auto copies = arguments; // the call wants them writable
    std::vector<char*> pointers;
    for (auto& argument : copies)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output.writeEnd(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors.writeEnd(), STDERR_FILENO);
    pid_t process = 0;
    const int error = ::posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    output.closeEnd(1);
    errors.closeEnd(1);
    if (error != 0) {
        result.errors = arguments[0] + ": " + std::system_category().message(error);
        return result;
    }
    collect(output, result.output, errors, result.errors);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) { }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

} // namespace reelwright::test
