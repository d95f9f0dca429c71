#include "movie/saving/WatchedFile.h"

#include <algorithm>

namespace reelwright {

WatchedFile::WatchedFile(std::shared_ptr<StorageFile> file, std::uint64_t size, std::string path)
    : m_file(std::move(file))
    , m_size(size)
    , m_path(std::move(path))
{
}

Result<void> WatchedFile::writeAt(std::uint64_t offset, ByteSpan bytes)
{
    const auto end = offset + bytes.size();
    if (end <= m_size)
        return m_file->writeAt(offset, bytes);
    RW_CHECK(checkEnd());
    return remember(m_file->writeAt(offset, bytes), std::max(m_size, end));
}

Result<void> WatchedFile::truncate(std::uint64_t size)
{
    RW_CHECK(checkEnd());
    return remember(m_file->truncate(size), size);
}

Result<void> WatchedFile::copyFrom(
    StorageFile& source, std::uint64_t sourceOffset, std::uint64_t offset, std::uint64_t length)
{
    RW_CHECK(checkEnd());
    return remember(
        m_file->copyFrom(source, sourceOffset, offset, length), std::max(m_size, offset + length));
}

Result<void> WatchedFile::checkEnd()
{
    RW_TRY(const auto now, m_file->state());
    if (now.size != m_size)
        return failure(MovieError::Code::Changed, m_path,
            "another program wrote to the end of the file while it was saved; what it wrote is left alone");
    return {};
}

Result<void> WatchedFile::remember(Result<void> done, std::uint64_t size)
{
    m_size = size;
    if (!done) // part of it may have been done
        if (const auto now = m_file->state())
            m_size = now->size;
    return done;
}

} // namespace reelwright
