#pragma once

#include "movie/files/Storage.h"

#include <map>
#include <random>
#include <vector>

namespace reelwright::test {

/// What a medium holds: which files there are and what is in them.
struct DiskState
{
    struct File
    {
        std::uint64_t inode = 0;
        std::int64_t modified = 0;
        std::string attributes; ///< stands for permissions, owner and extended attributes
        std::vector<std::byte> content;
    };

    std::map<std::string, std::shared_ptr<const File>> files; ///< by path
    std::string story; ///< how it came about, for messages

    /// The file's bytes, or null when there is no such file.
    [[nodiscard]] const std::vector<std::byte>* find(const std::string& path) const;
};

struct SimulatedVolume;

/// A file system in memory that can be stopped, made to fail, and asked what a crash would leave.
///
/// Every call that changes something is one step, counted from 1. What a crash can leave is judged as by a
/// journalled POSIX file system on a medium with 512-byte sectors:
/// - Bytes written and not flushed: each sector is as it was flushed last, or as any write since left it.
///   Sectors reach the medium in any order; one sector is never torn.
/// - A file's size: any it has had since its last flush, or part of the way to it; sectors of a growth that
///   did not arrive read as zeros. What a truncation cut off does not come back when the file grows again.
/// - Folder entries and attributes arrive in order, so the first few of those not flushed are there; they
///   wait for no file's data, nor those for them. Flushing a folder keeps its changes and all before them.
/// - After a failed flush nobody knows what arrived, and a later flush that succeeds promises nothing about
///   it.
///
/// Paths are taken as they are; a folder is whatever stands before the last slash. Not for use from several
/// threads.
class SimulatedStorage : public Storage
{
public:
    enum class Call { Write, Truncate, Flush, Copy, Create, Attributes, Rename, Remove, FlushFolder };
    struct Step
    {
        Call call;
        std::string path;
        std::uint64_t offset = 0; ///< bytes; of a write, copy
        std::uint64_t size = 0; ///< bytes; of a write, copy, truncation
    };
    static constexpr std::uint64_t kSectorSize = 512;

    SimulatedStorage();
    /// A volume that holds this, all of it lasting.
    static std::shared_ptr<SimulatedStorage> fromState(const DiskState& state);

    /// A new file of a new inode in the place of what is there; lasting, and no step.
    void put(const std::string& path, ByteSpan content, const std::string& attributes = {});
    void setVolumeType(const std::string& type);
    /// Bytes that all files together may take. A write past it is cut at the last sector that fits.
    void setCapacity(std::uint64_t bytes);
    /// The file cannot be opened for writing; in the folder no entry can be changed.
    void setReadOnly(const std::string& path);

    /// The power goes when the step after this one begins: it and every later call fails.
    void stopAfter(std::size_t step);
    /// That step fails once. The sectors in the first half of a write that fails are written.
    void failStep(std::size_t step, int errorNumber);
    [[nodiscard]] const std::vector<Step>& steps() const;

    /// What programs see.
    [[nodiscard]] DiskState now() const;
    /// What the power going at this moment can leave: every possibility when they are few, else the extreme
    /// ones (nothing arrived, everything, one change alone, all but one) and `samples` random mixtures. No
    /// two are alike.
    [[nodiscard]] std::vector<DiskState> crashStates(std::mt19937& random, int samples) const;

    Result<std::shared_ptr<StorageFile>> open(const std::string& path, Access access) override;
    Result<std::shared_ptr<StorageFile>> createSibling(
        const std::string& path, std::string& siblingPath) override;
    bool exists(const std::string& path) override;
    Result<void> copyAttributes(const std::string& from, const std::string& to, Likeness likeness) override;
    Result<void> copyPermissions(const std::string& from, const std::string& to, Likeness likeness) override;
    Result<void> checkPlace(const std::string& path, std::uint64_t size) override;
    Result<void> checkLength(const std::string& path, std::uint64_t size) override;
    Result<void> rename(const std::string& from, const std::string& to,
        const std::optional<FileState>& replaced, const Disposal& dispose) override;
    Result<void> remove(const std::string& path) override;
    Result<void> flushFolder(const std::string& path) override;
    std::string resolve(const std::string& path) override;
    std::string volumeType(const std::string& path) override;

private:
    std::shared_ptr<SimulatedVolume> m_volume;
};

/// An open file of these bytes.
std::shared_ptr<StorageFile> memoryFile(ByteSpan bytes);

/// "step 3: write of 40 bytes at 100 of /m/a.mov".
std::string describe(const SimulatedStorage::Step& step, std::size_t number);

} // namespace reelwright::test
