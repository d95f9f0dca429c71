#include "movie/files/Storage.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <random>
#include <string_view>
#include <vector>

namespace reelwright {
namespace {

    constexpr std::size_t kLongestSiblingStem = 200;

    /// Nothing where a part of the path is missing.
    std::optional<std::string> realPath(const std::string& path)
    {
        char* resolved = ::realpath(path.c_str(), nullptr);
        if (!resolved)
            return std::nullopt;
        std::string result = resolved;
        std::free(resolved); // NOLINT: realpath allocates with malloc
        return result;
    }

    /// Nothing for what is no symbolic link.
    std::optional<std::string> linkTarget(const std::string& path)
    {
        std::array<char, PATH_MAX> target {};
        const auto size = ::readlink(path.c_str(), target.data(), target.size());
        if (size < 0)
            return std::nullopt;
        return std::string(target.data(), static_cast<std::size_t>(size));
    }

    std::string folderOf(const std::string& path)
    {
        const auto slash = path.rfind('/');
        if (slash == std::string::npos)
            return ".";
        return slash == 0 ? "/" : path.substr(0, slash);
    }

    std::string nameOf(const std::string& path)
    {
        const auto slash = path.rfind('/');
        return slash == std::string::npos ? path : path.substr(slash + 1);
    }

    FileState stateOf(const struct stat& info)
    {
        return {static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino),
            static_cast<std::uint64_t>(info.st_size),
            static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec};
    }

    class PosixFile : public StorageFile
    {
    public:
        PosixFile(int descriptor, std::string path, Storage::Sync sync)
            : m_descriptor(descriptor)
            , m_path(std::move(path))
            , m_sync(sync)
        {
        }
        PosixFile(const PosixFile&) = delete;
        PosixFile& operator=(const PosixFile&) = delete;
        ~PosixFile() override { ::close(m_descriptor); }

        Result<FileState> state() override
        {
            struct stat info = {};
            if (::fstat(m_descriptor, &info) != 0)
                return systemFailure(errno, m_path, "cannot be examined");
            return stateOf(info);
        }

        Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
        {
            std::size_t done = 0;
            while (done < out.size()) {
                const auto count = ::pread(
                    m_descriptor, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
                if (count < 0 && errno == EINTR)
                    continue;
                if (count < 0)
                    return systemFailure(errno, m_path, "cannot be read");
                if (count == 0)
                    break;
                done += static_cast<std::size_t>(count);
            }
            return done;
        }

        Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override
        {
            while (!bytes.empty()) {
                const auto count
                    = ::pwrite(m_descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
                if (count < 0 && errno == EINTR)
                    continue;
                if (count < 0)
                    return systemFailure(errno, m_path, "cannot be written");
                bytes = bytes.subspan(static_cast<std::size_t>(count));
                offset += static_cast<std::uint64_t>(count);
            }
            return {};
        }

        Result<std::uint64_t> nextData(std::uint64_t offset) override
        {
            const auto place = ::lseek(m_descriptor, static_cast<off_t>(offset), SEEK_DATA);
            if (place >= 0)
                return static_cast<std::uint64_t>(place);
            if (errno != ENXIO) // a file system without holes
                return offset;
            RW_TRY(const auto now, state());
            return std::max(now.size, offset);
        }

        Result<void> truncate(std::uint64_t size) override
        {
            if (::ftruncate(m_descriptor, static_cast<off_t>(size)) != 0)
                return systemFailure(errno, m_path, "cannot be cut");
            return {};
        }

        Result<void> flush() override
        {
            if (m_sync == Storage::Sync::On && ::fdatasync(m_descriptor) != 0)
                return systemFailure(errno, m_path, "cannot be flushed");
            return {};
        }

        Result<void> lock() override
        {
            if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
                if (errno == EWOULDBLOCK)
                    return failure(MovieError::Code::Refused, m_path,
                        "another program holds a lock on the file; wait until it is done and try again");
                return systemFailure(errno, m_path, "cannot be locked");
            }
            return {};
        }

        Result<void> copyFrom(StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset,
            std::uint64_t length) override
        {
            if (auto* other = dynamic_cast<PosixFile*>(&source)) {
                RW_TRY(const auto before, state());
                auto end = before.size; // behind it this file has no bytes yet
                while (length > 0) {
                    RW_TRY(const auto data, other->nextData(sourceOffset));
                    if (data > sourceOffset && offset >= end) {
                        const auto hole = std::min(data - sourceOffset, length);
                        RW_TRY(const auto there, other->state());
                        if (there.size < sourceOffset + hole)
                            break; // the source ends before
                        sourceOffset += hole;
                        offset += hole;
                        length -= hole;
                        RW_CHECK(truncate(offset));
                        end = offset;
                        continue;
                    }
                    auto in = static_cast<off_t>(sourceOffset);
                    auto out = static_cast<off_t>(offset);
                    auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, kCopyStep));
                    // Blocks can be shared between files where both stretches begin at one's start.
                    const auto within = static_cast<std::size_t>(sourceOffset % kBlock);
                    if (within != 0 && sourceOffset % kBlock == offset % kBlock)
                        wanted = std::min(wanted, static_cast<std::size_t>(kBlock) - within);
                    else if (const auto stop = ::lseek(other->m_descriptor, in, SEEK_HOLE); stop > in)
                        wanted = std::min(wanted, static_cast<std::size_t>(stop - in));
                    const auto count
                        = ::copy_file_range(other->m_descriptor, &in, m_descriptor, &out, wanted, 0);
                    if (count < 0 && errno == EINTR)
                        continue;
                    if (count
                        <= 0) // not on this pair of file systems, or at the end: the plain road tells which
                        break;
                    sourceOffset += static_cast<std::uint64_t>(count);
                    offset += static_cast<std::uint64_t>(count);
                    length -= static_cast<std::uint64_t>(count);
                    end = std::max(end, offset);
                }
            }
            std::vector<std::byte> buffer(
                static_cast<std::size_t>(std::min<std::uint64_t>(length, kBufferSize)));
            while (length > 0) {
                const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(length, buffer.size()));
                const auto part = std::span {buffer}.first(wanted);
                RW_TRY(const auto count, source.readAt(sourceOffset, part));
                if (count < wanted)
                    return failure(MovieError::Code::Truncated, m_path,
                        fmt::format("the media to copy end {} bytes early", length - count),
                        sourceOffset + count);
                RW_CHECK(writeAt(offset, part));
                sourceOffset += count;
                offset += count;
                length -= count;
            }
            return {};
        }

    private:
        static constexpr std::uint64_t kCopyStep = 1U << 30U;
        static constexpr std::uint64_t kBlock = 4096;
        static constexpr std::uint64_t kBufferSize = 1U << 20U;

        int m_descriptor;
        std::string m_path;
        Storage::Sync m_sync;
    };

    /// File system magic numbers as statfs(2) gives them.
    struct VolumeName
    {
        const char* name;
        std::uint32_t magic;
        bool inPlace;
    };

    constexpr std::uint32_t kVfat = 0x00004D44;
    constexpr VolumeName kVolumes[] = {
        {"ext4", 0x0000EF53, true}, // ext2 and ext3 have the same number
        {"xfs", 0x58465342, true},
        {"btrfs", 0x9123683E, true},
        {"f2fs", 0xF2F52010, true},
        {"zfs", 0x2FC12FC1, true},
        {"bcachefs", 0xCA451A4E, true},
        {"overlay", 0x794C7630, true},
        {"tmpfs", 0x01021994, true},
        {"ramfs", 0x858458F6, true},
        {"hfs", 0x00004244, true},
        {"hfs+", 0x0000482B, true},
        {"apfs", 0x42535041, true},
        {"vfat", kVfat, false},
        {"exfat", 0x2011BAB0, false},
        {"ntfs", 0x5346544E, false},
        {"ntfs3", 0x7366746E, false},
        {"nfs", 0x00006969, false},
        {"cifs", 0xFF534D42, false},
        {"smb2", 0xFE534D42, false},
        {"9p", 0x01021997, false},
        {"ceph", 0x00C36400, false},
        {"fuse", 0x65735546, false},
        {"iso9660", 0x00009660, false},
        {"udf", 0x15013346, false},
    };

    class PosixStorage : public Storage
    {
    public:
        explicit PosixStorage(Sync sync)
            : m_sync(sync)
        {
        }

        Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override
        {
            // Never block on a FIFO or a device, and never take one for a movie.
            const int flags = (access == Access::Read ? O_RDONLY : O_RDWR) | O_CLOEXEC | O_NONBLOCK;
            const int descriptor = ::open(path.c_str(), flags);
            if (descriptor < 0)
                return systemFailure(errno, path,
                    access == Access::Read ? "cannot be opened" : "cannot be opened for writing");
            auto file = std::make_shared<PosixFile>(descriptor, path, m_sync);
            struct stat info = {};
            if (::fstat(descriptor, &info) != 0)
                return systemFailure(errno, path, "cannot be examined");
            if (!S_ISREG(info.st_mode))
                return failure(MovieError::Code::Refused, path,
                    S_ISDIR(info.st_mode) ? "is a folder, not a movie file" : "is not a regular file");
            return std::shared_ptr<StorageFile>(std::move(file));
        }

        Result<std::shared_ptr<StorageFile>> createSibling(
            const std::string& path, std::string& siblingPath) override
        {
            // The name is cut so that the hidden one never exceeds what a folder entry holds.
            const auto stem = folderOf(path) + "/." + nameOf(path).substr(0, kLongestSiblingStem);
            std::random_device random;
            std::string name;
            int descriptor = -1;
            for (int attempt = 0; attempt < 100 && descriptor < 0; ++attempt) {
                name = fmt::format("{}.{:08x}", stem, random());
                descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
                if (descriptor < 0 && errno != EEXIST)
                    break;
            }
            if (descriptor < 0)
                return systemFailure(errno, folderOf(path), "no file can be made in this folder");
            siblingPath = name;
            return std::shared_ptr<StorageFile>(std::make_shared<PosixFile>(descriptor, name, m_sync));
        }

        bool exists(const std::string& path) override
        {
            struct stat info = {};
            return ::lstat(path.c_str(), &info) == 0;
        }

        Result<void> copyAttributes(
            const std::string& from, const std::string& to, Likeness likeness) override
        {
            const bool mustBeAlike = likeness == Likeness::Replacement;
            struct stat info = {};
            if (::stat(from.c_str(), &info) != 0)
                return systemFailure(errno, from, "cannot be examined");
            // A copy is its writer's own where the group or owner cannot be had.
            if (::chown(to.c_str(), info.st_uid, info.st_gid) != 0 && mustBeAlike)
                return systemFailure(errno, to, "cannot be given the owner and group of the original");
            std::string names;
            if (const auto size = ::listxattr(from.c_str(), nullptr, 0); size > 0) {
                names.resize(static_cast<std::size_t>(size));
                names.resize(static_cast<std::size_t>(
                    std::max<ssize_t>(0, ::listxattr(from.c_str(), names.data(), names.size()))));
            }
            for (std::size_t at = 0; at < names.size();
                 at += std::string_view(names.c_str() + at).size() + 1) {
                const std::string name = names.c_str() + at;
                const auto value = name == kAccessList ? std::nullopt : extendedAttribute(from, name);
                if (value && ::setxattr(to.c_str(), name.c_str(), value->data(), value->size(), 0) != 0
                    && name.starts_with("user.") && (mustBeAlike || errno != ENOTSUP))
                    return systemFailure(
                        errno, to, fmt::format("cannot be given the extended attribute {}", name));
            }
            return {};
        }

        Result<void> copyPermissions(
            const std::string& from, const std::string& to, Likeness likeness) override
        {
            if (from.empty())
                return ::chmod(to.c_str(), 0666U & ~creationMask()) == 0
                    ? Result<void> {}
                    : systemFailure(errno, to, "cannot be given its permissions");
            struct stat info = {};
            struct stat mine = {};
            if (::stat(from.c_str(), &info) != 0 || ::stat(to.c_str(), &mine) != 0)
                return systemFailure(errno, from, "cannot be examined");
            // Running as its owner or group is nothing that a copy with another one inherits.
            const bool isOwned = mine.st_uid == info.st_uid && mine.st_gid == info.st_gid;
            auto mode = info.st_mode & (isOwned ? 07777U : 0777U);
            const auto list = extendedAttribute(from, kAccessList);
            if (list && ::setxattr(to.c_str(), kAccessList, list->data(), list->size(), 0) != 0) {
                if (likeness == Likeness::Replacement)
                    return systemFailure(errno, to, "cannot be given the original's access list");
                mode &= ~070U; // with a list these bits say what the list allows at most
            }
            if (::chmod(to.c_str(), mode) != 0)
                return systemFailure(errno, to, "cannot be given the original's permissions");
            return {};
        }

        Result<void> checkLength(const std::string& path, std::uint64_t size) override
        {
            struct rlimit limit = {};
            if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY
                && size > limit.rlim_cur)
                return failure(MovieError::Code::Refused, path,
                    fmt::format("the file takes {} bytes, and this program may write files of {} bytes at "
                                "most (ulimit -f)",
                        size, limit.rlim_cur));
            struct statfs volume = {};
            constexpr std::uint64_t kLongestOnVfat = UINT32_MAX;
            if (::statfs(folderOf(path).c_str(), &volume) == 0
                && static_cast<std::uint32_t>(volume.f_type) == kVfat && size > kLongestOnVfat)
                return failure(MovieError::Code::Refused, path,
                    fmt::format("the file takes {} bytes, and volumes of this kind hold files of less than "
                                "four gigabytes",
                        size));
            return {};
        }

        Result<void> checkPlace(const std::string& path, std::uint64_t size) override
        {
            RW_CHECK(checkLength(path, size));
            struct stat folder = {};
            if (::stat(folderOf(path).c_str(), &folder) == 0 && !S_ISDIR(folder.st_mode))
                return systemFailure(ENOTDIR, folderOf(path), "no file can be made there");
            if (::stat(folderOf(path).c_str(), &folder) != 0
                || ::faccessat(AT_FDCWD, folderOf(path).c_str(), W_OK | X_OK, AT_EACCESS) != 0)
                return systemFailure(errno, folderOf(path), "no file can be made in this folder");
            struct stat info = {};
            if (::stat(path.c_str(), &info) != 0)
                return errno == ENOENT ? Result<void> {} : systemFailure(errno, path, "cannot be examined");
            if (!S_ISREG(info.st_mode))
                return failure(MovieError::Code::Refused, path, "is not a regular file");
            if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
                return systemFailure(errno, path, "is protected and is not replaced");
            struct statx more = {};
            if (::statx(AT_FDCWD, path.c_str(), 0, STATX_TYPE, &more) == 0
                && (more.stx_attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0)
                return systemFailure(EPERM, path, "is protected and is not replaced");
            if (::geteuid() == 0)
                return {};
            if (info.st_uid != ::geteuid())
                return failure(MovieError::Code::Refused, path,
                    "the file belongs to another user; written anew as a whole it would be yours. Save the "
                    "movie under another name, or ask the owner to");
            if (info.st_gid != ::getegid() && !isInGroup(info.st_gid))
                return failure(MovieError::Code::Refused, path,
                    "the file belongs to a group that you are no member of; written anew as a whole it would "
                    "lose that group. Save the movie under another name");
            return {};
        }

        Result<void> rename(const std::string& from, const std::string& to,
            const std::optional<FileState>& replaced, const Disposal& dispose) override
        {
            if (!replaced)
                return renameToFreeName(from, to);
            // The two names are exchanged, so that what stood there is in hand, and can be given back, should
            // it not be the file that was to be replaced.
            const auto exchange = [&] {
                return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_EXCHANGE) == 0;
            };
            if (exchange()) {
                if (const auto found = stateAt(from); !found || *found != *replaced) {
                    if (!exchange())
                        return systemFailure(errno, to,
                            fmt::format("another program changed the file; its own is {} now", from));
                    return changedMeanwhile(to, found, *replaced);
                }
                if (dispose) {
                    auto disposed = dispose(from, to);
                    if (!disposed && !exchange())
                        return systemFailure(errno, to,
                            fmt::format("was saved, but its former state could not be put away ({}) and is "
                                        "left as {}",
                                disposed.error().detail, from));
                    return disposed;
                }
                if (::unlink(from.c_str()) != 0)
                    return systemFailure(
                        errno, to, fmt::format("was saved; its former state is left as {}", from));
                return {};
            }
            if (errno == ENOENT) // the file is not there any more: nothing is replaced
                return renameToFreeName(from, to);
            if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
                return systemFailure(errno, to, "cannot be replaced");
            if (const auto found = stateAt(to); !found || *found != *replaced)
                return changedMeanwhile(to, found, *replaced);
            if (dispose) { // without an exchange the name is without a file for a moment
                RW_CHECK(dispose(to, to));
                return renameToFreeName(from, to);
            }
            if (::rename(from.c_str(), to.c_str()) != 0)
                return systemFailure(errno, to, "cannot be replaced");
            return {};
        }

        Result<void> remove(const std::string& path) override
        {
            if (::unlink(path.c_str()) != 0)
                return systemFailure(errno, path, "cannot be removed");
            return {};
        }

        Result<void> flushFolder(const std::string& path) override
        {
            if (m_sync == Sync::Off)
                return {};
            const int descriptor = ::open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            if (descriptor < 0)
                return systemFailure(errno, folderOf(path), "cannot be opened");
            const int failed = ::fsync(descriptor) != 0 ? errno : 0;
            ::close(descriptor);
            // Some file systems have no flush for folders; the rename is then as lasting as they make it.
            if (failed != 0 && failed != EINVAL && failed != ENOTSUP)
                return systemFailure(failed, folderOf(path), "cannot be flushed");
            return {};
        }

        std::string resolve(const std::string& path) override
        {
            constexpr int kMostLinks = 40; // as many as the system follows
            auto name = path;
            for (int links = 0; links < kMostLinks; ++links) {
                if (auto resolved = realPath(name))
                    return *resolved;
                auto folder = realPath(folderOf(name));
                if (!folder)
                    break;
                if (!folder->ends_with('/'))
                    *folder += '/';
                name = *folder + nameOf(name);
                const auto target = linkTarget(name);
                if (!target)
                    return name;
                name = target->starts_with('/') ? *target : *folder + *target;
            }
            return path;
        }

        std::string volumeType(const std::string& path) override
        {
            struct statfs info = {};
            if (::statfs(path.c_str(), &info) != 0 && ::statfs(folderOf(path).c_str(), &info) != 0)
                return "unknown";
            const auto magic = static_cast<std::uint32_t>(info.f_type);
            for (const auto& volume : kVolumes)
                if (volume.magic == magic)
                    return volume.name;
            return fmt::format("0x{:x}", magic);
        }

    private:
        static constexpr auto kAccessList = "system.posix_acl_access";

        static std::optional<std::string> extendedAttribute(const std::string& path, const std::string& name)
        {
            const auto size = ::getxattr(path.c_str(), name.c_str(), nullptr, 0);
            if (size < 0)
                return std::nullopt;
            std::string value(static_cast<std::size_t>(size), '\0');
            const auto got = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
            if (got < 0)
                return std::nullopt;
            value.resize(static_cast<std::size_t>(got));
            return value;
        }

        /// What the user wants new files not to allow. Asking umask(2) would change it for other threads.
        static mode_t creationMask()
        {
            constexpr mode_t kUsual = 022;
            std::ifstream status("/proc/self/status");
            for (std::string word; status >> word;)
                if (word == "Umask:") {
                    unsigned mask = kUsual;
                    status >> std::oct >> mask;
                    return mask;
                }
            return kUsual;
        }

        static std::optional<FileState> stateAt(const std::string& path)
        {
            struct stat info = {};
            return ::lstat(path.c_str(), &info) == 0 ? std::optional(stateOf(info)) : std::nullopt;
        }

        static bool isInGroup(gid_t group)
        {
            std::vector<gid_t> groups(static_cast<std::size_t>(std::max(0, ::getgroups(0, nullptr))));
            const int count = ::getgroups(static_cast<int>(groups.size()), groups.data());
            return count > 0 && std::find(groups.begin(), groups.end(), group) != groups.end();
        }

        static Result<void> renameToFreeName(const std::string& from, const std::string& to)
        {
            if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
                return {};
            if (errno == EINVAL || errno == ENOSYS) { // a volume that has no such rename: two names, then one
                if (::link(from.c_str(), to.c_str()) == 0) {
                    static_cast<void>(::unlink(from.c_str()));
                    return {};
                }
                // Not even that (vfat through older systems): what is left is to look.
                if (errno != EEXIST && !stateAt(to) && ::rename(from.c_str(), to.c_str()) == 0)
                    return {};
            }
            if (errno == EEXIST)
                return failure(MovieError::Code::Refused, to,
                    "a file of that name has appeared meanwhile, and is left alone");
            return systemFailure(errno, to, "cannot be written");
        }

        static tl::unexpected<MovieError> changedMeanwhile(
            const std::string& path, const std::optional<FileState>& found, const FileState& replaced)
        {
            return failure(MovieError::Code::Changed, path,
                found && found->isSameFile(replaced)
                    ? "another program wrote to the file while it was saved; the file is as that program "
                      "left "
                      "it"
                    : "another program put a file there while the movie was saved; that one is left alone");
        }

        Sync m_sync;
    };

} // namespace

std::string Storage::siblingOf(const std::string& name)
{
    constexpr std::size_t kEnding = 9; // ".1234abcd"
    const auto dot = name.size() - std::min(name.size(), kEnding);
    const bool isOne = dot > 1 && dot <= kLongestSiblingStem && name.front() == '.' && name[dot] == '.'
        && name.find_first_not_of("0123456789abcdef", dot + 1) == std::string::npos;
    return isOne ? name.substr(1, dot - 1) : std::string {};
}

std::shared_ptr<Storage> Storage::posix(Sync sync)
{
    return std::make_shared<PosixStorage>(sync);
}

bool volumeAllowsInPlaceUpdate(const std::string& volumeType)
{
    return std::any_of(std::begin(kVolumes), std::end(kVolumes),
        [&](const VolumeName& volume) { return volume.inPlace && volume.name == volumeType; });
}

Result<Bytes> readExactly(
    StorageFile& file, std::uint64_t offset, std::uint64_t length, const std::string& path)
{
    RW_TRY(const auto state, file.state());
    if (offset > state.size || length > state.size - offset)
        return failure(MovieError::Code::Truncated, path,
            fmt::format("{} bytes are to be read where the file has {} left", length,
                offset > state.size ? 0 : state.size - offset),
            offset);
    Result<std::size_t> count = 0U;
    auto bytes = Bytes::make(static_cast<std::size_t>(length),
        [&](std::span<std::byte> out) { count = file.readAt(offset, out); });
    if (!count)
        return tl::unexpected<MovieError>(std::move(count).error());
    if (*count < length)
        return failure(
            MovieError::Code::Truncated, path, "the file became shorter while it was read", offset + *count);
    return bytes;
}

} // namespace reelwright
