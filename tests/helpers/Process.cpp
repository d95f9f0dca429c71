#include "tests/helpers/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace reelwright::test {
namespace {

    /// A file without a name that takes what a program says. It never fills, so nobody has to read meanwhile.
    class Said
    {
    public:
        [[nodiscard]] int descriptor() const { return ::fileno(m_file.get()); }
        [[nodiscard]] std::string text() const
        {
            std::string all;
            char piece[65536];
            std::rewind(m_file.get());
            while (const auto count = std::fread(piece, 1, sizeof piece, m_file.get()))
                all.append(piece, count);
            return all;
        }

    private:
        struct Close
        {
            void operator()(std::FILE* file) const { std::fclose(file); }
        };

        std::unique_ptr<std::FILE, Close> m_file {std::tmpfile()};
    };

} // namespace

ProcessResult runProcess(const std::vector<std::string>& arguments)
{
    const Said output;
    const Said errors;
    auto copies = arguments; // the call wants them writable
    std::vector<char*> pointers;
    for (auto& argument : copies)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output.descriptor(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors.descriptor(), STDERR_FILENO);
    pid_t process = 0;
    const int error = ::posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        return {-1, {}, arguments[0] + ": " + std::system_category().message(error)};
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) { }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output.text(), errors.text()};
}

} // namespace reelwright::test
