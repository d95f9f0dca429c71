#pragma once

#include "movie/files/Storage.h"

namespace reelwright {

/// A file under an update, with an eye on its end: what another program appends meanwhile is neither written
/// over nor cut off. Such a write or cut fails with Changed.
class WatchedFile : public StorageFile
{
public:
    /// `size`: of the file as it is known.
    WatchedFile(std::shared_ptr<StorageFile> file, std::uint64_t size, std::string path);

    Result<FileState> state() override { return m_file->state(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
    {
        return m_file->readAt(offset, out);
    }
    Result<void> writeAt(std::uint64_t offset, ByteSpan bytes) override;
    Result<void> truncate(std::uint64_t size) override;
    Result<void> flush() override { return m_file->flush(); }
    Result<void> lock() override { return m_file->lock(); }
    Result<void> copyFrom(
        StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset, std::uint64_t length) override;

private:
    Result<void> checkEnd();
    Result<void> remember(Result<void> done, std::uint64_t size);

    std::shared_ptr<StorageFile> m_file;
    std::uint64_t m_size;
    std::string m_path;
};

} // namespace reelwright
