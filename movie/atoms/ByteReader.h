#pragma once

#include "movie/Result.h"
#include "movie/atoms/Bytes.h"
#include "movie/atoms/FourCC.h"

#include <string>
#include <string_view>
#include <type_traits>

namespace reelwright {

/// Reads big-endian fields from a span. The first read past the end is latched; later reads give zero, and
/// `finish` answers the error. Borrows the span and the name.
class ByteReader
{
public:
    explicit ByteReader(ByteSpan bytes, std::string_view where = {})
        : m_bytes(bytes)
        , m_where(where)
    {
    }

    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u24() { return static_cast<std::uint32_t>(number(3)); }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
    std::uint64_t u64() { return number(8); }
    std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    std::int64_t i64() { return static_cast<std::int64_t>(u64()); }
    FourCC fourCC() { return FourCC {u32()}; }
    ByteSpan bytes(std::size_t count);
    void skip(std::size_t count) { bytes(count); }
    /// A 32-bit count of elements of `elementSize` bytes each; latches an error when the bytes left cannot
    /// hold them.
    std::uint32_t count32(std::size_t elementSize);

    [[nodiscard]] std::size_t position() const { return m_position; }
    [[nodiscard]] std::size_t left() const { return m_bytes.size() - m_position; }
    [[nodiscard]] bool ok() const { return !m_failed; }
    /// What has not been read yet.
    [[nodiscard]] ByteSpan rest() const { return m_bytes.subspan(m_position); }

    /// `value`, or the first error.
    template <class T> Result<std::decay_t<T>> finish(T&& value) const
    {
        if (m_failed)
            return failure(m_code, std::string(m_where), m_detail, m_failedAt);
        return std::forward<T>(value);
    }

private:
    std::uint64_t number(std::size_t width);
    void fail(MovieError::Code code, std::string detail);

    ByteSpan m_bytes;
    std::string_view m_where;
    std::size_t m_position = 0;
    bool m_failed = false;
    MovieError::Code m_code = MovieError::Code::Truncated;
    std::size_t m_failedAt = 0;
    std::string m_detail;
};

/// The big-endian number of `width` (1 to 8) bytes at the start of `bytes`, which must hold them.
inline std::uint64_t readBigEndian(const std::byte* bytes, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value = value << 8U | std::to_integer<std::uint64_t>(bytes[i]);
    return value;
}

/// The same for four and eight bytes, of which compilers make one load: tables have millions of them.
inline std::uint32_t readBigEndian32(const std::byte* bytes)
{
    const auto byte = [&](std::size_t i) { return std::to_integer<std::uint32_t>(bytes[i]); };
    return byte(0) << 24U | byte(1) << 16U | byte(2) << 8U | byte(3);
}
inline std::uint64_t readBigEndian64(const std::byte* bytes)
{
    return static_cast<std::uint64_t>(readBigEndian32(bytes)) << 32U | readBigEndian32(bytes + 4);
}

} // namespace reelwright
