#pragma once

#include "movie/files/Storage.h"

#include <algorithm>
#include <memory>

namespace reelwright {

/// Bytes that can be read at any place: a file, or what a save would make of one.
class RandomReader
{
public:
    RandomReader() = default;
    RandomReader(const RandomReader&) = delete;
    RandomReader& operator=(const RandomReader&) = delete;
    virtual ~RandomReader() = default;

    [[nodiscard]] virtual std::uint64_t size() const = 0;
    /// Fills `out` from `offset`; answers the bytes read, fewer than asked for only at the end.
    [[nodiscard]] virtual Result<std::size_t> readAt(
        std::uint64_t offset, std::span<std::byte> out) const = 0;
};

/// An open file, as long as it was when this was made.
class FileReader final : public RandomReader
{
public:
    FileReader(std::shared_ptr<StorageFile> file, std::uint64_t size)
        : m_file(std::move(file))
        , m_size(size)
    {
    }
    [[nodiscard]] std::uint64_t size() const override { return m_size; }
    [[nodiscard]] Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) const override
    {
        const auto left = offset < m_size ? m_size - offset : 0;
        return m_file->readAt(std::min(offset, m_size),
            out.first(static_cast<std::size_t>(std::min<std::uint64_t>(left, out.size()))));
    }

private:
    std::shared_ptr<StorageFile> m_file;
    std::uint64_t m_size;
};

/// Bytes in memory.
class BytesReader final : public RandomReader
{
public:
    explicit BytesReader(Bytes bytes)
        : m_bytes(std::move(bytes))
    {
    }
    [[nodiscard]] std::uint64_t size() const override { return m_bytes.size(); }
    [[nodiscard]] Result<std::size_t> readAt(std::uint64_t offset, std::span<std::byte> out) const override
    {
        const auto part = m_bytes.slice(
            static_cast<std::size_t>(std::min<std::uint64_t>(offset, m_bytes.size())), out.size());
        std::copy(part.span().begin(), part.span().end(), out.begin());
        return part.size();
    }

private:
    Bytes m_bytes;
};

} // namespace reelwright
