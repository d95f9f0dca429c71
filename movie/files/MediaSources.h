#pragma once

#include "movie/files/DataReference.h"
#include "movie/files/MovieFile.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace reelwright {

/// The files that hold a movie's media, and new media that wait in memory for the next save. Shared by a
/// movie and its copies; safe to use from several threads.
class MediaSources
{
public:
    /// Offsets from here on mean media in memory: no file reaches them.
    static constexpr std::uint64_t kMemoryBase = 1ULL << 62U;

    explicit MediaSources(std::shared_ptr<const MovieFile> own)
        : m_own(std::move(own))
    {
    }

    /// The file of a reference. Errors: Io when none of its paths can be opened, naming what is missing.
    Result<std::shared_ptr<StorageFile>> open(const DataReference& reference);
    /// Keeps the file of a reference that an edit adds, as it is now: it can be read until the save whatever
    /// becomes of its name. A file that is changed meanwhile is refused.
    Result<void> addFile(const std::string& path, Storage& storage);
    /// `size` bytes of media of that reference.
    Result<Bytes> read(const DataReference& reference, std::uint64_t offset, std::uint64_t size);
    /// The same, for a few bytes that are asked for again and again: from the second time on they come from
    /// memory, and a failure stays one. Media never change in their place, so what was read stays true.
    Result<Bytes> readKept(const DataReference& reference, std::uint64_t offset, std::uint64_t size);
    /// Would `readKept` answer without looking at a disk?
    [[nodiscard]] bool isKept(const DataReference& reference, std::uint64_t offset, std::uint64_t size) const;
    /// How many reads are kept; then it starts anew.
    static constexpr std::size_t kMostKept = 65'536;

    /// Keeps new media and answers the offset (kMemoryBase or more) at which chunk tables refer to them.
    std::uint64_t addMemory(Bytes media);
    /// Were media ever kept in memory?
    [[nodiscard]] bool hasMemory() const;
    /// Bytes of media in memory at that offset, at most `size`; fewer at a block's end.
    [[nodiscard]] Bytes memory(std::uint64_t offset, std::uint64_t size) const;

    /// The same sources with another own file; what is done to one is not done to the other.
    [[nodiscard]] std::shared_ptr<MediaSources> copyFor(std::shared_ptr<const MovieFile> own) const;

    /// A media atom of the own file that a save made free, because an edit had taken its media away. Undoing
    /// can bring the edit back, so its bytes stay as they are while the movie or a copy of it is there.
    void noteMadeFree(FileStretch atom);
    [[nodiscard]] std::vector<FileStretch> madeFree() const;

    /// The own file after a save gave the movie another one.
    void setOwn(std::shared_ptr<const MovieFile> own);

private:
    /// What tells one read from another.
    using Place = std::tuple<std::vector<std::string>, std::uint64_t, std::uint64_t>;
    static Place placeOf(const DataReference& reference, std::uint64_t offset, std::uint64_t size);

    mutable std::mutex m_mutex;
    std::shared_ptr<const MovieFile> m_own;
    struct KnownFile
    {
        std::shared_ptr<StorageFile> file;
        std::optional<FileState> added; ///< of files that edits added: as it was then
    };
    std::map<std::string, KnownFile> m_files;
    std::map<std::uint64_t, Bytes> m_memory; ///< by offset
    std::uint64_t m_memoryEnd = kMemoryBase;
    std::map<Place, Result<Bytes>> m_kept;
    std::map<std::uint64_t, FileStretch> m_madeFree; ///< by offset
};

} // namespace reelwright
