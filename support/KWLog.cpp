#include "support/KWLog.h"

#include "support/FileDescriptor.h"
#include "support/FolderLock.h"
#include "support/KWLocalPaths.h"
#include "support/Preferences.h"
#include "support/Text.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace reelwright {
namespace {

    constexpr int kGenerations = 5;
    constexpr std::size_t kFullAfterBytes = 499'999;
    constexpr std::size_t kShortBytes = 100;
    constexpr std::uint64_t kFewMessages = 20;
    /// Far more than all generations hold together: what is dropped beyond it could not have stayed on disk.
    constexpr std::size_t kMaxQueueBytes = 64U << 20U;
    constexpr std::size_t kBatchBytes = 64U << 10U;
    constexpr std::string_view kProductName = "Reelwright";
    constexpr std::string_view kLogsFolder = "/Logs/Kestrelwick";

    /// Bytes of the UTF-8 sequence at the start of `text`, 0 when there is none.
    std::size_t sequenceLength(std::string_view text)
    {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
        const unsigned lead = byte(0);
        if (lead < 0x80)
            return 1;
        const std::size_t length = lead >= 0xC2 && lead < 0xE0 ? 2
            : lead >= 0xE0 && lead < 0xF0                      ? 3
            : lead >= 0xF0 && lead < 0xF5                      ? 4
                                                               : 0;
        if (length == 0 || text.size() < length)
            return 0;
        for (std::size_t i = 1; i < length; ++i) {
            if ((byte(i) & 0xC0U) != 0x80U)
                return 0;
        }
        // Overlong forms, surrogates and numbers past the last character.
        const unsigned second = byte(1);
        if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)
            || (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F))
            return 0;
        return length;
    }

    /// File names may be any bytes; the log is UTF-8.
    void appendAsUtf8(std::string& out, std::string_view text)
    {
        if (std::none_of(text.begin(), text.end(), [](char c) { return static_cast<signed char>(c) < 0; })) {
            out.append(text);
            return;
        }
        while (!text.empty()) {
            const auto length = sequenceLength(text);
            out.append(length ? text.substr(0, length) : std::string_view("\xEF\xBF\xBD"));
            text.remove_prefix(std::max<std::size_t>(length, 1));
        }
    }

    std::string dateDescription(std::time_t time)
    {
        std::tm parts {};
        gmtime_r(&time, &parts);
        return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} +0000", 1900 + parts.tm_year,
            1 + parts.tm_mon, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    }

    bool preferenceDisablesLogging()
    {
        struct Judge
        {
            bool operator()(bool flag) const { return flag; }
            bool operator()(std::int64_t number) const { return number == 1; }
            bool operator()(double number) const { return number == 1.0; }
            bool operator()(const std::string& text) const { return text == "1"; }
        };
        const auto value = Preferences(Preferences::sharedFilePath()).value("disable-logging");
        return value && std::visit(Judge {}, *value);
    }

    std::string executablePath()
    {
        std::error_code ignored;
        return std::filesystem::read_symlink("/proc/self/exe", ignored).string();
    }

    std::string systemVersion()
    {
        constexpr std::string_view kAssignment = "PRETTY_NAME=";
        std::ifstream file("/etc/os-release");
        for (std::string line; std::getline(file, line);) {
            if (!line.starts_with(kAssignment))
                continue;
            std::string_view value = std::string_view(line).substr(kAssignment.size());
            if (value.size() >= 2 && (value.front() == '"' || value.front() == '\''))
                value = value.substr(1, value.size() - 2);
            return std::string(value);
        }
        return "Linux";
    }

    std::string systemLine()
    {
        constexpr double kGigabyte = 1024.0 * 1024.0 * 1024.0;
        const double memory
            = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
        return fmt::format("System: OS X {}, {} CPU(s), {:0.2f} GB RAM", systemVersion(),
            sysconf(_SC_NPROCESSORS_ONLN), memory / kGigabyte);
    }

    bool isMainThread()
    {
        thread_local const bool isMain = gettid() == getpid();
        return isMain;
    }

    /// What can go wrong; each is said once until a log could be started again.
    enum class Trouble { NoFolder, NotMoved, NotCreated, NotLogged, NotOpened, NotWritten };

    /// Set in a forked child, where the writer thread does not exist and nobody may wait for it.
    std::atomic<bool> g_forked = false;

} // namespace

/// The queue, and the files that its one writer thread fills.
/// Locks: m_queueMutex guards the queue and is held only for moments, except once at the end of the writer;
/// m_fileMutex guards the files and is held while they are written. Whoever needs both takes m_queueMutex
/// first.
class KWLog::Implementation
{
public:
    bool decide()
    {
        const std::lock_guard lock(m_decisionMutex);
        auto state = s_state.load(std::memory_order_acquire);
        if (state == State::Unstarted) {
            const auto decided = preferenceDisablesLogging() ? State::Disabled : State::Enabled;
            // Only from Unstarted: another thread may be ending the log.
            if (s_state.compare_exchange_strong(state, decided)) {
                state = decided;
                if (decided == State::Disabled)
                    say("Logging is disabled\n");
            }
        }
        return state == State::Enabled;
    }

    void push(std::string_view text, Waiting waiting)
    {
        text = trimmed(text);
        if (text.empty())
            return;
        const RecordHeader header {::time(nullptr), text.size()};
        std::size_t bytesWaiting = 0;
        bool wakesWriter = false;
        {
            const std::lock_guard lock(m_queueMutex);
            if (s_state.load(std::memory_order_relaxed) != State::Enabled || !startWriter())
                return;
            if (m_queue.size() > kMaxQueueBytes) {
                ++m_dropped;
                return;
            }
            m_queue.reserve(m_queue.size() + sizeof header + text.size()); // now or never: no half records
            m_queue.append(reinterpret_cast<const char*>(&header), sizeof header).append(text);
            m_bytesInQueue += text.size();
            ++m_accepted;
            bytesWaiting = m_bytesInQueue;
            wakesWriter = std::exchange(m_writerSleeps, false);
        }
        if (wakesWriter)
            m_work.notify_one();
        if (waiting == Waiting::ForShortMessages && text.size() < kShortBytes && bytesWaiting < kShortBytes
            && !isMainThread())
            finishWriting();
    }

    void finishWriting()
    {
        if (g_forked)
            return;
        std::unique_lock lock(m_queueMutex);
        const auto goal = m_accepted;
        m_progress.wait(lock, [&] { return m_handled >= goal || !m_writerRuns; });
    }

    void createNewLog(const std::string& appName)
    {
        if (g_forked)
            return;
        finishWriting();
        {
            const std::lock_guard lock(m_queueMutex);
            m_stops = false;
        }
        const std::lock_guard lock(m_fileMutex);
        m_file.close();
        m_isStarted = true;
        if (preferenceDisablesLogging()) {
            say("Logging is disabled\n");
            s_state = State::Disabled;
            return;
        }
        s_state = State::Enabled;
        takeName(appName);
        startFile();
    }

    void willTerminate()
    {
        if (g_forked)
            return;
        s_state = State::Terminated;
        {
            std::unique_lock lock(m_queueMutex);
            m_stops = true;
            m_writerSleeps = false;
            m_work.notify_one();
            if (m_writerRuns && m_accepted - m_handled < kFewMessages)
                m_progress.wait(lock, [&] { return !m_writerRuns; });
            if (!m_writerRuns)
                closeFile();
        }
        const std::lock_guard lock(m_nameMutex);
        m_appName.clear();
    }

    void takeName(const std::string& appName)
    {
        const std::lock_guard lock(m_nameMutex);
        if (m_appName.empty())
            m_appName = appName;
        std::replace(m_appName.begin(), m_appName.end(), '/', '-');
    }

    void setVersion(const std::string& version)
    {
        const std::lock_guard lock(m_nameMutex);
        m_version = version;
    }

    void setConsole(std::FILE* console) { m_console = console; }

    void say(std::string_view text)
    {
        if (std::FILE* const console = m_console) {
            std::fwrite(text.data(), 1, text.size(), console);
            std::fflush(console);
        }
    }

    std::string generationPath(int generation)
    {
        const std::lock_guard lock(m_nameMutex);
        const auto name = m_appName.empty() ? kProductName : std::string_view(m_appName);
        return fmt::format("{}/{}.{}.log", logsFolder(), name, generation);
    }

private:
    struct RecordHeader
    {
        std::time_t time;
        std::size_t length;
    };

    static std::string logsFolder() { return KWLocalPaths::libraryDirectory(true).append(kLogsFolder); }

    /// With m_queueMutex held.
    bool startWriter()
    {
        if (m_writerRuns)
            return true;
        // Signals are for the program's other threads.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        try {
            m_writerRuns = true;
            // Detached: it may outlive willTerminate, and this object is never destroyed.
            std::thread([this] { write(); }).detach();
        } catch (const std::system_error&) {
            m_writerRuns = false;
            complain(Trouble::NotOpened, "Unable to open log for output\n");
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return m_writerRuns;
    }

    /// The writer thread.
    void write()
    {
        std::string batch;
        std::unique_lock lock(m_queueMutex);
        for (;;) {
            while (m_queue.empty() && !m_stops) {
                m_writerSleeps = true;
                m_work.wait(lock);
            }
            m_writerSleeps = false;
            if (m_queue.empty())
                break;
            batch.swap(m_queue);
            const auto accepted = m_accepted;
            const auto bytes = m_bytesInQueue;
            const auto dropped = std::exchange(m_dropped, 0);
            lock.unlock();
            try {
                writeBatch(batch, dropped);
            } catch (const std::exception& exception) {
                complain(
                    Trouble::NotWritten, fmt::format("Exception writing to log: {}\n", exception.what()));
            }
            batch.clear();
            if (batch.capacity() > kBatchBytes)
                batch = {};
            lock.lock();
            m_handled = accepted;
            m_bytesInQueue -= bytes;
            m_progress.notify_all();
        }
        closeFile();
        m_writerRuns = false;
        m_progress.notify_all();
    }

    void writeBatch(std::string_view batch, std::uint64_t dropped)
    {
        const std::lock_guard lock(m_fileMutex);
        if (!std::exchange(m_isStarted, true))
            startFile();
        leaveRemovedFile();
        while (!batch.empty()) {
            RecordHeader header {};
            std::memcpy(&header, batch.data(), sizeof header);
            addLine(header.time, batch.substr(sizeof header, header.length));
            batch.remove_prefix(sizeof header + header.length);
        }
        if (dropped > 0)
            addLine(::time(nullptr),
                fmt::format("{} messages dropped: the log could not be written in time", dropped));
        flushLines();
    }

    void addLine(std::time_t time, std::string_view message)
    {
        if (s_state == State::Disabled || !openFile(message))
            return;
        formatLine(time, message);
        if (m_bytesWritten + m_lines.size() > kFullAfterBytes || m_lines.size() > kBatchBytes)
            flushLines();
        if (m_bytesWritten > kFullAfterBytes)
            startOver();
    }

    /// The file is full.
    void startOver()
    {
        m_file.close();
        auto enabled = State::Enabled;
        if (preferenceDisablesLogging() && s_state.compare_exchange_strong(enabled, State::Disabled)) {
            say("Logging is disabled\n");
            return;
        }
        startFile();
        constexpr std::string_view kMessage = "Log truncated at 500KB";
        if (openFile(kMessage))
            formatLine(::time(nullptr), kMessage);
    }

    void formatLine(std::time_t time, std::string_view message)
    {
        if (time != m_dateTime || m_date.empty()) {
            m_dateTime = time;
            m_date = dateDescription(time);
        }
        m_lines.append(m_date).append(" - ");
        appendAsUtf8(m_lines, message);
        m_lines.push_back('\n');
    }

    /// Hands the collected lines to the system. The file is in append mode, so lines of several processes do
    /// not mix.
    void flushLines()
    {
        std::string_view rest = m_lines;
        while (!rest.empty()) {
            const auto written = ::write(m_file.get(), rest.data(), rest.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0) {
                complain(Trouble::NotWritten,
                    fmt::format("Exception writing to log: {}\n", std::generic_category().message(errno)));
                break;
            }
            m_bytesWritten += static_cast<std::size_t>(written);
            rest.remove_prefix(static_cast<std::size_t>(written));
        }
        m_lines.clear();
    }

    /// Makes sure that there is a file to write to; `message` is what would be lost.
    bool openFile(std::string_view message)
    {
        if (m_file)
            return true;
        m_file = FileDescriptor(::open(generationPath(1).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
        if (!m_file) {
            complain(
                Trouble::NotLogged, fmt::format("Unable to log the following information: {}\n", message));
            complain(Trouble::NotOpened, "Unable to open log for output\n");
        }
        return static_cast<bool>(m_file);
    }

    /// Other processes that start logs move ours on, and past the last generation they delete it; users
    /// delete logs too.
    void leaveRemovedFile()
    {
        struct stat info
        {
        };
        if (!m_file || ::fstat(m_file.get(), &info) != 0 || info.st_nlink > 0)
            return;
        m_file = FileDescriptor(::open(generationPath(1).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
        if (!m_file)
            startFile();
    }

    /// Rotates the generations, makes an empty first one and writes its header. On failure no file is open.
    void startFile()
    {
        m_file.close();
        m_bytesWritten = 0;
        const auto folder = logsFolder();
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (!std::filesystem::is_directory(folder, error)) {
            complain(Trouble::NoFolder, fmt::format("Unable to create folder {}.\n", folder));
            return;
        }
        {
            const FolderLock otherProcesses(folder);
            if (!rotate())
                return;
            const auto path = generationPath(1);
            ::unlink(path.c_str());
            m_file = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
            if (!m_file) {
                complain(Trouble::NotCreated,
                    fmt::format(
                        "Unable to create log file {} - {}\n", path, std::generic_category().message(errno)));
                return;
            }
        }
        m_troubles = 0;
        writeHeader();
    }

    bool rotate()
    {
        struct stat info
        {
        };
        if (::lstat(generationPath(1).c_str(), &info) != 0)
            return true;
        ::unlink(generationPath(kGenerations).c_str());
        for (int generation = kGenerations - 1; generation >= 1; --generation) {
            const auto from = generationPath(generation);
            const auto to = generationPath(generation + 1);
            if (::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) {
                complain(Trouble::NotMoved, fmt::format("Unable to move file {} to {}.\n", from, to));
                return false;
            }
        }
        return true;
    }

    void writeHeader()
    {
        std::string version;
        {
            const std::lock_guard lock(m_nameMutex);
            version = m_version;
        }
        const auto now = ::time(nullptr);
        formatLine(now, "Log started: " + dateDescription(now));
        if (!version.empty())
            formatLine(now, "Version: " + version);
        formatLine(now, "Path: " + executablePath());
        formatLine(now, systemLine());
        // The header ends in a line that is always the same, so that a script can cut a log into its runs
        // whatever the lines above say; it says nothing about this process.
        formatLine(now, "Running in 32-bit mode");
        flushLines();
    }

    void closeFile()
    {
        const std::lock_guard lock(m_fileMutex);
        m_file.close();
        m_isStarted = false;
    }

    void complain(Trouble trouble, std::string_view text)
    {
        const auto bit = 1U << static_cast<unsigned>(trouble);
        if ((m_troubles.fetch_or(bit) & bit) == 0)
            say(text);
    }

    std::mutex m_decisionMutex;
    std::atomic<std::FILE*> m_console = stdout;
    std::atomic<unsigned> m_troubles = 0; ///< one bit a Trouble: it has been said

    std::mutex m_nameMutex;
    std::string m_appName;
    std::string m_version;

    std::mutex m_queueMutex;
    std::condition_variable m_work; ///< for the writer: there is something in the queue, or it is to stop
    std::condition_variable m_progress; ///< for those who wait: the writer has written, or is gone
    std::string m_queue; ///< a RecordHeader and its text, one after the other
    std::size_t m_bytesInQueue = 0; ///< of texts, with what the writer has in hand
    std::uint64_t m_accepted = 0; ///< messages so far
    std::uint64_t m_handled = 0; ///< of those, not in the queue any more
    std::uint64_t m_dropped = 0;
    bool m_writerRuns = false;
    bool m_writerSleeps = false;
    bool m_stops = false;

    std::mutex m_fileMutex;
    FileDescriptor m_file;
    std::size_t m_bytesWritten = 0;
    bool m_isStarted = false; ///< a start was tried, with or without success
    std::string m_lines; ///< formatted, not yet written
    std::time_t m_dateTime = 0;
    std::string m_date; ///< the description of m_dateTime
};

KWLog::KWLog()
    : m_implementation(*new Implementation)
{
    std::atexit([] { willTerminate(); });
    pthread_atfork(nullptr, nullptr, [] {
        g_forked = true;
        s_state = State::Terminated;
    });
}

KWLog& KWLog::sharedController()
{
    // Never destroyed, so that static objects can log from their destructors.
    static KWLog* const instance = new KWLog;
    return *instance;
}

void KWLog::setApplication(const std::string& name, const std::string& version)
{
    sharedController().m_implementation.takeName(name);
    sharedController().m_implementation.setVersion(version);
}

void KWLog::setConsole(std::FILE* console)
{
    sharedController().m_implementation.setConsole(console);
}

void KWLog::createNewLog(const std::string& appName)
{
    sharedController().m_implementation.createNewLog(appName);
}

std::vector<std::string> KWLog::availableLogs()
{
    std::vector<std::string> paths;
    for (int generation = 1; generation <= kGenerations; ++generation) {
        auto path = sharedController().m_implementation.generationPath(generation);
        struct stat info
        {
        };
        if (::stat(path.c_str(), &info) == 0)
            paths.push_back(std::move(path));
    }
    return paths;
}

void KWLog::finishWriting()
{
    sharedController().m_implementation.finishWriting();
}

void KWLog::willTerminate()
{
    sharedController().m_implementation.willTerminate();
}

void KWLog::appendTextToLog(std::string_view text)
{
    if (isWanted())
        m_implementation.push(text, Waiting::Never);
}

bool KWLog::decide() noexcept
{
    try {
        return sharedController().m_implementation.decide();
    } catch (...) {
        return false;
    }
}

void KWLog::append(Waiting waiting, fmt::string_view format, fmt::format_args args) noexcept
{
    try {
        fmt::memory_buffer text;
        fmt::vformat_to(fmt::appender(text), format, args);
        sharedController().m_implementation.push({text.data(), text.size()}, waiting);
    } catch (...) {
        // Out of memory, or an argument that cannot be formatted: logging is never a reason to fail.
    }
}

void KWLog::appendAndPrint(fmt::string_view format, fmt::format_args args) noexcept
{
    try {
        const auto text = std::string(trimmed(fmt::vformat(format, args)));
        sharedController().m_implementation.push(text, Waiting::ForShortMessages);
        if (!text.empty())
            sharedController().m_implementation.say(text + "\n");
    } catch (...) {
        // As above.
    }
}

} // namespace reelwright
