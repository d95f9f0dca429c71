#pragma once

#include "movie/Storage.h"

#include <algorithm>
#include <vector>

namespace reelwright::test {

/// Bytes that can be read as a file. Changing them fails.
class MemoryFile : public StorageFile
{
public:
    explicit MemoryFile(std::vector<std::byte> bytes)
        : m_bytes(std::move(bytes))
    {
    }

    Result<FileState> state() override { return FileState {1, 1, m_bytes.size(), 0}; }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) override
    {
        const auto start = std::min<std::uint64_t>(offset, m_bytes.size());
        const auto count = std::min<std::uint64_t>(out.size(), m_bytes.size() - start);
        std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(start), count, out.begin());
        return static_cast<std::size_t>(count);
    }
    Result<void> writeAt(std::uint64_t, ByteSpan) override { return readOnly(); }
    Result<void> truncate(std::uint64_t) override { return readOnly(); }
    Result<void> flush() override { return readOnly(); }
    Result<void> lock() override { return readOnly(); }
    Result<void> copyFrom(StorageFile&, std::uint64_t, std::uint64_t, std::uint64_t) override
    {
        return readOnly();
    }

private:
    static Result<void> readOnly() { return failure(MovieError::Code::Io, {}, "the file is read-only"); }

    std::vector<std::byte> m_bytes;
};

} // namespace reelwright::test
