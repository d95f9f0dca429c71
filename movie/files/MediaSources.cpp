#include "movie/files/MediaSources.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {

Result<std::shared_ptr<StorageFile>> MediaSources::open(const DataReference& reference)
{
    const std::lock_guard lock {m_mutex};
    for (const auto& path : reference.candidates)
        if (const auto known = m_files.find(path); known != m_files.end()) {
            const auto& [file, added] = known->second;
            if (added) {
                RW_TRY(const auto now, file->state());
                if (now.size != added->size || now.modifiedNanos != added->modifiedNanos)
                    return failure(MovieError::Code::Refused, path,
                        "the file was changed after its media were added to the movie; undo that and add "
                        "them again");
            }
            return file;
        }
    if (!m_own)
        return failure(MovieError::Code::Refused, {}, "the movie has no file that could hold its media");
    if (reference.isSelf)
        return m_own->file;
    for (const auto& path : reference.candidates) {
        if (auto file = m_own->storage->open(path, Storage::Access::Read)) {
            m_files.emplace(path, KnownFile {*file, std::nullopt});
            return *file;
        }
    }
    return failure(MovieError::Code::Io, m_own->path,
        reference.name.empty()
            ? fmt::format(
                "media lie in another file, which its {} reference does not name", reference.type.text())
            : fmt::format("the media file \"{}\" is missing; put it beside the movie", reference.name));
}

Result<void> MediaSources::addFile(const std::string& path, Storage& storage)
{
    RW_TRY(auto file, storage.open(path, Storage::Access::Read));
    RW_TRY(const auto state, file->state());
    const std::lock_guard lock {m_mutex};
    m_files.insert_or_assign(path, KnownFile {std::move(file), state});
    return {};
}

Result<Bytes> MediaSources::read(const DataReference& reference, std::uint64_t offset, std::uint64_t size)
{
    if (offset >= kMemoryBase) {
        auto bytes = memory(offset, size);
        if (bytes.size() < size)
            return failure(MovieError::Code::Corrupt, {}, "a sample in memory is not whole");
        return bytes;
    }
    RW_TRY(const auto file, open(reference));
    auto path = reference.name;
    if (reference.isSelf) {
        const std::lock_guard lock {m_mutex}; // a save may give the movie another file meanwhile
        path = m_own->path;
    }
    return readExactly(*file, offset, size, path);
}

MediaSources::Place MediaSources::placeOf(
    const DataReference& reference, std::uint64_t offset, std::uint64_t size)
{
    return {reference.isSelf ? std::vector<std::string> {} : reference.candidates, offset, size};
}

Result<Bytes> MediaSources::readKept(const DataReference& reference, std::uint64_t offset, std::uint64_t size)
{
    if (offset >= kMemoryBase)
        return read(reference, offset, size);
    const auto place = placeOf(reference, offset, size);
    {
        const std::lock_guard lock {m_mutex};
        if (const auto known = m_kept.find(place); known != m_kept.end())
            return known->second;
    }
    auto bytes = read(reference, offset, size); // others need not wait for it
    const std::lock_guard lock {m_mutex};
    if (m_kept.size() >= kMostKept)
        m_kept.clear();
    m_kept.insert_or_assign(place, bytes);
    return bytes;
}

bool MediaSources::isKept(const DataReference& reference, std::uint64_t offset, std::uint64_t size) const
{
    if (offset >= kMemoryBase)
        return true;
    const std::lock_guard lock {m_mutex};
    return m_kept.contains(placeOf(reference, offset, size));
}

std::uint64_t MediaSources::addMemory(Bytes media)
{
    const std::lock_guard lock {m_mutex};
    const auto offset = m_memoryEnd;
    m_memoryEnd += media.size();
    if (!media.empty()) // an empty block would stand where the next one begins
        m_memory.emplace(offset, std::move(media));
    return offset;
}

bool MediaSources::hasMemory() const
{
    const std::lock_guard lock {m_mutex};
    return !m_memory.empty();
}

Bytes MediaSources::memory(std::uint64_t offset, std::uint64_t size) const
{
    const std::lock_guard lock {m_mutex};
    auto block = m_memory.upper_bound(offset);
    if (block == m_memory.begin())
        return {};
    --block;
    return block->second.slice(
        static_cast<std::size_t>(offset - block->first), static_cast<std::size_t>(size));
}

std::shared_ptr<MediaSources> MediaSources::copyFor(std::shared_ptr<const MovieFile> own) const
{
    auto copy = std::make_shared<MediaSources>(std::move(own));
    const std::lock_guard lock {m_mutex};
    copy->m_files = m_files;
    copy->m_memory = m_memory;
    copy->m_memoryEnd = m_memoryEnd;
    copy->m_madeFree = m_madeFree;
    return copy;
}

void MediaSources::noteMadeFree(FileStretch atom)
{
    const std::lock_guard lock {m_mutex};
    m_madeFree.insert_or_assign(atom.offset, atom);
}

std::vector<FileStretch> MediaSources::madeFree() const
{
    const std::lock_guard lock {m_mutex};
    std::vector<FileStretch> atoms;
    for (const auto& [offset, atom] : m_madeFree)
        atoms.push_back(atom);
    return atoms;
}

void MediaSources::setOwn(std::shared_ptr<const MovieFile> own)
{
    const std::lock_guard lock {m_mutex};
    m_own = std::move(own);
}

} // namespace reelwright
