#include "support/Trash.h"

#include "support/FileDescriptor.h"
#include "support/FileHelper.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>

namespace reelwright {
namespace {

    namespace fs = std::filesystem;

    std::error_code lastError()
    {
        return {errno, std::generic_category()};
    }

    std::optional<dev_t> deviceOf(const fs::path& path)
    {
        struct stat info = {};
        if (::lstat(path.c_str(), &info) != 0)
            return std::nullopt;
        return info.st_dev;
    }

    /// A trash can, and the folder that the names in its notes are relative to; empty for whole paths.
    struct Can
    {
        fs::path folder;
        fs::path top;
    };

    fs::path userData()
    {
        if (const auto* data = std::getenv("XDG_DATA_HOME"); data && *data == '/')
            return data;
        const auto* home = std::getenv("HOME");
        return fs::path(home && *home == '/' ? home : "/") / ".local/share";
    }

    /// The folder at which the file's volume begins.
    fs::path topOf(fs::path folder)
    {
        const auto device = deviceOf(folder);
        while (folder.has_relative_path() && deviceOf(folder.parent_path()) == device)
            folder = folder.parent_path();
        return folder;
    }

    bool makePrivate(const fs::path& folder)
    {
        return ::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST;
    }

    /// One's own folder on a volume that is shared: never a link, never another one's.
    bool isOwnFolder(const fs::path& folder)
    {
        struct stat info = {};
        return ::lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::getuid();
    }

    std::optional<Can> canFor(const fs::path& path)
    {
        const auto folder = path.parent_path();
        const auto device = deviceOf(folder);
        const auto data = userData();
        std::error_code error;
        fs::create_directories(data, error);
        if (deviceOf(data) == device)
            return Can {data / "Trash", {}};
        const auto top = topOf(folder);
        const auto user = std::to_string(::getuid());
        struct stat shared = {};
        if (const auto common = top / ".Trash"; ::lstat(common.c_str(), &shared) == 0
            && S_ISDIR(shared.st_mode) && (shared.st_mode & S_ISVTX) != 0 && makePrivate(common / user)
            && isOwnFolder(common / user))
            return Can {common / user, top};
        if (const auto own = top / (".Trash-" + user); makePrivate(own) && isOwnFolder(own))
            return Can {own, top};
        return std::nullopt;
    }

    /// As in an address: every byte but letters, digits and a few signs as %XX.
    std::string escaped(const std::string& path)
    {
        std::string text;
        for (const char character : path) {
            const bool isPlain = (character >= 'a' && character <= 'z')
                || (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9')
                || std::string_view("/-_.~").find(character) != std::string_view::npos;
            text += isPlain ? std::string(1, character)
                            : fmt::format("%{:02X}", static_cast<unsigned char>(character));
        }
        return text;
    }

    std::string noteOf(const std::string& original)
    {
        const auto now = std::time(nullptr);
        struct tm local = {};
        ::localtime_r(&now, &local);
        char date[32] = {};
        std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
        return fmt::format("[Trash Info]\nPath={}\nDeletionDate={}\n", escaped(original), date);
    }

    /// Writes the note under the first name that is free, which is the file's name in the can from then on.
    std::error_code reserve(const Can& can, const std::string& original, Trash::Item& item)
    {
        std::error_code error;
        fs::create_directories(can.folder, error);
        if (!makePrivate(can.folder / "files") || !makePrivate(can.folder / "info"))
            return lastError();
        const auto note
            = noteOf(can.top.empty() ? original : fs::path(original).lexically_relative(can.top).string());
        // A name as long as a file system takes has to leave room for the note's ending.
        constexpr std::size_t kMostStem = 180;
        const fs::path name = fs::path(original).filename();
        const auto stem = name.stem().string().substr(0, kMostStem);
        constexpr int kMostTries = 100000;
        for (int i = 1; i < kMostTries; ++i) {
            const auto candidate = i == 1 ? stem + name.extension().string()
                                          : fmt::format("{}.{}{}", stem, i, name.extension().string());
            item.file = (can.folder / "files" / candidate).string();
            item.info = (can.folder / "info" / (candidate + ".trashinfo")).string();
            const FileDescriptor info {
                ::open(item.info.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)};
            if (info.get() < 0) {
                if (errno == EEXIST)
                    continue;
                return lastError();
            }
            if (::write(info.get(), note.data(), note.size()) != static_cast<ssize_t>(note.size())
                || FileHelper::fileExistsAtPath(item.file)) {
                error = lastError();
                ::unlink(item.info.c_str());
                if (FileHelper::fileExistsAtPath(item.file))
                    continue;
                return error;
            }
            return {};
        }
        return std::make_error_code(std::errc::file_exists);
    }

} // namespace

std::error_code Trash::put(
    const std::string& path, const std::string& original, std::chrono::milliseconds timeout, Item* item)
{
    std::error_code error;
    const auto whole = fs::absolute(path, error);
    const auto from = fs::absolute(original, error);
    const auto can = canFor(whole);
    if (!can)
        return std::make_error_code(std::errc::no_such_file_or_directory);
    Item made;
    if (auto failed = reserve(*can, from.lexically_normal().string(), made))
        return failed;
    if (auto failed = FileHelper::moveFile(whole.string(), made.file, timeout)) {
        ::unlink(made.info.c_str());
        return failed;
    }
    if (item)
        *item = made;
    return {};
}

} // namespace reelwright
