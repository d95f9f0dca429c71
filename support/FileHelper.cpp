#include "support/FileHelper.h"

#include "support/FileDescriptor.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>

namespace reelwright {
namespace {

    std::error_code lastError()
    {
        return {errno, std::generic_category()};
    }

    bool somethingStandsAt(const std::string& path)
    {
        struct stat info
        {
        };
        return ::lstat(path.c_str(), &info) == 0;
    }

    std::string folderOf(const std::string& path)
    {
        const auto slash = path.rfind('/');
        if (slash == std::string::npos)
            return ".";
        return path.substr(0, std::max<std::size_t>(slash, 1));
    }

    /// Makes a changed folder entry last through a power cut. Failure is of no interest: not every volume
    /// can.
    void flushFolderOf(const std::string& path)
    {
        const FileDescriptor folder(::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder)
            ::fsync(folder.get());
    }

    std::error_code renameKeepingTarget(const std::string& from, const std::string& to)
    {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
            if (errno != EINVAL && errno != ENOSYS)
                return lastError();
            // A volume that cannot refuse by itself.
            if (somethingStandsAt(to))
                return std::make_error_code(std::errc::file_exists);
            if (::rename(from.c_str(), to.c_str()) != 0)
                return lastError();
        }
        flushFolderOf(to);
        return {};
    }

    std::error_code unlinkFile(const std::string& path)
    {
        if (::unlink(path.c_str()) != 0)
            return lastError();
        flushFolderOf(path);
        return {};
    }

    bool maySucceedLater(const std::error_code& error)
    {
        return error == std::errc::device_or_resource_busy || error == std::errc::text_file_busy
            || error == std::errc::resource_unavailable_try_again || error == std::errc::interrupted;
    }

    /// Tries on a thread of its own, since a call to an unresponsive volume cannot be called off.
    std::error_code withTimeLimit(
        std::chrono::milliseconds timeout, const std::function<std::error_code()>& operation)
    {
        struct Attempt
        {
            std::mutex mutex;
            std::condition_variable changed;
            bool finished = false;
            bool abandoned = false;
            std::error_code result = std::make_error_code(std::errc::timed_out);
        };
        const auto attempt = std::make_shared<Attempt>();
        const auto tryOn = [attempt, operation] {
            constexpr auto kPause = std::chrono::milliseconds(20);
            std::unique_lock lock(attempt->mutex);
            while (!attempt->abandoned) {
                lock.unlock();
                const auto result = operation();
                lock.lock();
                attempt->result = result;
                if (!maySucceedLater(result)) {
                    attempt->finished = true;
                    attempt->changed.notify_all();
                    return;
                }
                attempt->changed.wait_for(lock, kPause, [&] { return attempt->abandoned; });
            }
        };
        try {
            std::thread(tryOn).detach();
        } catch (const std::system_error&) {
            return operation(); // no thread to be had: better without a limit than not at all
        }
        // Far beyond any wait a user bears; the limits keep the clock arithmetic from overflowing.
        constexpr std::chrono::milliseconds kNone {0};
        constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24);
        std::unique_lock lock(attempt->mutex);
        attempt->changed.wait_for(
            lock, std::clamp(timeout, kNone, kLongest), [&] { return attempt->finished; });
        attempt->abandoned = true;
        attempt->changed.notify_all();
        return attempt->result;
    }

    std::error_code writeAll(int descriptor, std::string_view bytes)
    {
        while (!bytes.empty()) {
            const auto written = ::write(descriptor, bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR)
                return lastError();
            bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
        }
        return {};
    }

    /// The start of `text` of at most `room` bytes that does not end within a UTF-8 sequence.
    std::string_view shortened(std::string_view text, std::size_t room)
    {
        if (text.size() <= room)
            return text;
        while (room > 0 && (static_cast<unsigned char>(text[room]) & 0xC0U) == 0x80U)
            --room;
        return text.substr(0, room);
    }

} // namespace

std::string FileHelper::uniqueFilename(const std::string& path)
{
    constexpr std::size_t kLongestExtension = 32;
    const auto slash = path.rfind('/');
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    const auto folder = std::string_view(path).substr(0, nameStart);
    auto stem = std::string_view(path).substr(nameStart);
    std::string_view extension;
    const auto dot = stem.rfind('.');
    if (dot != std::string_view::npos && dot > 0 && stem.size() - dot <= kLongestExtension) {
        extension = stem.substr(dot);
        stem = stem.substr(0, dot);
    }
    constexpr std::size_t kUsualLimit = 255;
    const long limit = ::pathconf(folderOf(path).c_str(), _PC_NAME_MAX);
    const std::size_t longestName = limit > 0 ? static_cast<std::size_t>(limit) : kUsualLimit;
    for (std::uint64_t number = 0;; ++number) {
        const auto suffix = number == 0 ? std::string {} : fmt::format("-{}", number);
        const std::size_t fixed = suffix.size() + extension.size();
        const auto name = shortened(stem, longestName > fixed ? longestName - fixed : 1);
        auto candidate = fmt::format("{}{}{}{}", folder, name, suffix, extension);
        if (!somethingStandsAt(candidate))
            return candidate;
    }
}

bool FileHelper::fileExistsAtPath(const std::string& path)
{
    struct stat info
    {
    };
    return ::stat(path.c_str(), &info) == 0;
}

std::error_code FileHelper::moveFile(
    const std::string& from, const std::string& to, std::chrono::milliseconds timeout)
{
    return withTimeLimit(timeout, [from, to] { return renameKeepingTarget(from, to); });
}

std::error_code FileHelper::moveFile(const std::string& from, const std::string& to)
{
    return renameKeepingTarget(from, to);
}

std::error_code FileHelper::removeFile(const std::string& path, std::chrono::milliseconds timeout)
{
    return withTimeLimit(timeout, [path] { return unlinkFile(path); });
}

std::error_code FileHelper::writeAtomically(const std::string& path, const std::string& contents)
{
    std::error_code unresolved;
    auto target = std::filesystem::weakly_canonical(path, unresolved).string();
    if (unresolved)
        target = path;
    const auto folder = folderOf(target);
    auto temporary = fmt::format("{}/.new-XXXXXX", folder);
    FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file)
        return lastError();
    struct stat existing
    {
    };
    if (::stat(target.c_str(), &existing) == 0)
        ::fchmod(file.get(), existing.st_mode & 07777U);
    auto error = writeAll(file.get(), contents);
    if (!error && ::fsync(file.get()) != 0)
        error = lastError();
    file.close();
    if (!error && ::rename(temporary.c_str(), target.c_str()) != 0)
        error = lastError();
    if (error)
        ::unlink(temporary.c_str());
    else
        flushFolderOf(target);
    return error;
}

bool FileHelper::isMovieName(const std::string& path)
{
    auto extension = std::filesystem::path(path).extension().string();
    for (auto& character : extension)
        character = character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    return extension == ".mov" || extension == ".qt" || extension == ".mp4" || extension == ".m4v";
}

std::string FileHelper::formatFileSize(std::uint64_t bytes)
{
    if (bytes < 1000)
        return fmt::format("{} {}", bytes, bytes == 1 ? "byte" : "bytes");
    auto size = static_cast<double>(bytes);
    const char* unit = "";
    for (const char* next : {"KB", "MB", "GB", "TB", "PB", "EB"}) {
        size /= 1000;
        unit = next;
        // 999,950 bytes are 1.0 MB, not 1000.0 KB.
        if (size < 999.95)
            break;
    }
    return fmt::format("{:.1f} {}", size, unit);
}

} // namespace reelwright
