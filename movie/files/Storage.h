#pragma once

#include "movie/Result.h"
#include "movie/atoms/Bytes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace reelwright {

/// What tells one state of a file from another.
struct FileState
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0; ///< bytes
    std::int64_t modifiedNanos = 0; ///< since 1970
    bool operator==(const FileState&) const = default;
    /// The same file, whatever it holds.
    [[nodiscard]] bool isSameFile(const FileState& other) const
    {
        return device == other.device && inode == other.inode;
    }
    /// The same file, as long as it was. A new date alone is no change of a file: copies, backups and
    /// indexers set dates.
    [[nodiscard]] bool isAlike(const FileState& other) const
    {
        return isSameFile(other) && size == other.size;
    }
};

/// One open file. Offsets and sizes are bytes. All errors are Io errors with the file's path.
class StorageFile
{
public:
    virtual ~StorageFile() = default;

    virtual Result<FileState> state() = 0;
    /// Fills `out` from `offset`; answers the bytes read, fewer than asked for only at the end of the file.
    virtual Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) = 0;
    /// The first place from `offset` on where the file may hold anything but zeros; its size where there is
    /// none. Cheap: asks for holes, and looks at no byte.
    virtual Result<std::uint64_t> nextData(std::uint64_t offset) { return offset; }
    virtual Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) = 0;
    virtual Result<void> truncate(std::uint64_t size) = 0;
    /// Returns when everything written so far is on the medium.
    virtual Result<void> flush() = 0;
    /// Takes the exclusive advisory lock until the file is closed; Refused when somebody else has it.
    virtual Result<void> lock() = 0;
    /// Copies `length` bytes of `source` to `offset` of this file, by the kernel where it can; what is a hole
    /// of the source becomes one where this file had no bytes yet.
    /// Truncated when the source ends before.
    virtual Result<void> copyFrom(
        StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset, std::uint64_t length)
        = 0;
};

/// The file system as the engine uses it: every access of an open or a save goes through here, so that a test
/// can stop it, fail it and lose what was not flushed.
class Storage
{
public:
    enum class Access { Read, ReadWrite };

    virtual ~Storage() = default;

    virtual Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) = 0;
    /// A new hidden file in the folder of `path`, which nobody else may read; `siblingPath` receives its
    /// path.
    virtual Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath)
        = 0;
    /// The name of the file beside which a file of that name was made hidden, if it is such a name; else
    /// empty. Very long names are not recognised.
    static std::string siblingOf(const std::string& name);
    virtual bool exists(const std::string& path) = 0;
    /// What a new file has of another one: all, because it takes its place, or as much as may be.
    enum class Likeness { Replacement, Copy };
    /// Gives the file at `to` the owner, group and extended attributes of the one at `from`. A replacement
    /// that cannot have them is an error.
    virtual Result<void> copyAttributes(const std::string& from, const std::string& to, Likeness likeness)
        = 0;
    /// Gives it the permissions and the access list, or without `from` those of a new file: the last thing,
    /// because others may read it from then on.
    virtual Result<void> copyPermissions(const std::string& from, const std::string& to, Likeness likeness)
        = 0;
    /// Could a file of `size` bytes be put at `path`, in the place of one that is there and with its owner
    /// and group? Looks only. The error says what stands against it.
    virtual Result<void> checkPlace(const std::string& path, std::uint64_t size) = 0;
    /// May the file be made so long? Refused where the volume, or a limit of this process, does not allow it.
    virtual Result<void> checkLength(const std::string& path, std::uint64_t size) = 0;
    /// Takes away a replaced file that has the name `path` now and had the name `original`.
    using Disposal = std::function<Result<void>(const std::string& path, const std::string& original)>;
    /// Gives the file at `from` the name `to`, where `replaced` stands now, or no file when it is not given.
    /// Refused when another one stands there: it is left alone. Changed when `replaced` was written to.
    /// `dispose`, if given, takes away what was replaced; its error leaves everything as it was.
    virtual Result<void> rename(const std::string& from, const std::string& to,
        const std::optional<FileState>& replaced, const Disposal& dispose)
        = 0;
    virtual Result<void> remove(const std::string& path) = 0;
    /// Flushes the folder that holds `path`, so that a rename in it lasts.
    virtual Result<void> flushFolder(const std::string& path) = 0;
    /// The path with symbolic links resolved, so that a rename replaces the file and not the link. Of a file
    /// that is not there: those of its folder.
    virtual std::string resolve(const std::string& path) = 0;
    /// Lower-case name of the file system that `path` (or its folder) lies on: "ext4", "vfat"; a hexadecimal
    /// number when it is not known.
    virtual std::string volumeType(const std::string& path) = 0;

    /// The real file system. With `Sync::Off` flushes do nothing (scratch work).
    enum class Sync { On, Off };
    static std::shared_ptr<Storage> posix(Sync sync = Sync::On);
};

/// Are files updated in place on a volume of this type? The journalled file systems of the platform; FAT,
/// exFAT, NTFS, network and user-space file systems are not among them.
bool volumeAllowsInPlaceUpdate(const std::string& volumeType);

/// Told the done fraction (0 to 1) of a long operation; answers whether to go on.
using Progress = std::function<bool(double fraction)>;

/// All of `length` bytes at `offset`. Truncated when the file ends before.
Result<Bytes> readExactly(
    StorageFile& file, std::uint64_t offset, std::uint64_t length, const std::string& path);

} // namespace reelwright
