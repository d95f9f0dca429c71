#pragma once

#include "tests/helpers/SimulatedStorage.h"

#include <limits>
#include <optional>
#include <set>

namespace reelwright::test {

/// A change of a file's bytes or size that no flush has made lasting yet.
struct DataChange
{
    enum class Kind { Write, Truncate };

    Kind kind = Kind::Write;
    std::uint64_t offset = 0; ///< of a write
    std::vector<std::byte> bytes; ///< of a write
    std::uint64_t size = 0; ///< of a truncation
    bool flushFailed = false; ///< a flush of it failed: later flushes say "done" without doing it
};

/// A file of the simulated volume, as programs see it and as the medium holds it.
struct SimulatedInode
{
    std::uint64_t number = 0;
    std::int64_t modified = 0;
    std::string attributes;
    std::vector<std::byte> content;
    std::shared_ptr<const std::vector<std::byte>> durable; ///< never null
    std::vector<DataChange> pending; ///< oldest first; applied to `durable` they give `content`
    bool locked = false;
};

using SimulatedEntries = std::map<std::string, std::shared_ptr<SimulatedInode>>;

/// A change of folder entries or attributes. The journal keeps their order: a crash keeps the first of them.
struct JournalChange
{
    std::set<std::string> folders;
    std::vector<std::pair<std::string, std::shared_ptr<SimulatedInode>>> entries; ///< null removes the entry
    std::shared_ptr<SimulatedInode> attributesOf; ///< or null
    std::string attributes;
};

/// What SimulatedStorage and its open files share.
struct SimulatedVolume
{
    static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

    SimulatedEntries entries; ///< as programs see them
    SimulatedEntries durableEntries;
    std::map<std::uint64_t, std::string> durableAttributes; ///< by inode number
    std::vector<JournalChange> journal; ///< pending, oldest first

    std::uint64_t nextInode = 100;
    std::int64_t clock = 1'000;
    std::string type = "ext4";
    std::uint64_t capacity = std::numeric_limits<std::uint64_t>::max();
    std::set<std::string> readOnly; ///< files and folders

    std::vector<SimulatedStorage::Step> steps;
    std::size_t stopAfter = kNever;
    bool stopped = false;
    std::size_t failAt = kNever; ///< 1-based
    int failWith = 0;

    /// Counts the step; the errno with which it has to fail, or 0.
    int begin(SimulatedStorage::Step step);
    [[nodiscard]] std::uint64_t used() const;
    void apply(const JournalChange& change, SimulatedEntries& to) const;
};

} // namespace reelwright::test
