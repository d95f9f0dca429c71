#pragma once

#include "movie/files/Storage.h"

#include <array>
#include <string>
#include <utility>

namespace reelwright {

/// What the readers of sound files stand on: a file of chunks behind a head of kHeadSize bytes, looked at
/// piece by piece. Keeps references to the file and its path.
class ChunkFile
{
protected:
    static constexpr std::size_t kHeadSize = 12;
    static constexpr std::size_t kMaxChunks = 10'000; ///< real files have a dozen

    ChunkFile(StorageFile& file, const std::string& path)
        : m_file(file)
        , m_path(path)
    {
    }

    /// The head, or as much of it as there is; notes the file's size.
    Result<ByteSpan> head()
    {
        RW_TRY(const auto state, m_file.state());
        m_fileSize = state.size;
        return at(0, kHeadSize);
    }

    /// Up to `size` bytes, kBufferSize at most; until the next call.
    Result<ByteSpan> at(std::uint64_t offset, std::size_t size)
    {
        RW_ASSERT(size <= kBufferSize);
        RW_TRY(const auto count, m_file.readAt(offset, std::span {m_buffer}.first(size)));
        return ByteSpan {m_buffer}.first(count);
    }

    [[nodiscard]] tl::unexpected<MovieError> corrupt(std::string detail, std::uint64_t offset) const
    {
        return failure(MovieError::Code::Corrupt, m_path, std::move(detail), offset);
    }

    StorageFile& m_file;
    const std::string& m_path;
    std::uint64_t m_fileSize = 0;

private:
    static constexpr std::size_t kBufferSize = 64;

    std::array<std::byte, kBufferSize> m_buffer {};
};

} // namespace reelwright
