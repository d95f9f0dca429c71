#pragma once

#include "movie/atoms/Bytes.h"
#include "movie/atoms/FourCC.h"

#include <array>
#include <string_view>
#include <vector>

namespace reelwright {

/// Appends big-endian fields to a growing buffer.
class ByteWriter
{
public:
    ByteWriter& u8(std::uint8_t value) { return number(value, 1); }
    ByteWriter& u16(std::uint16_t value) { return number(value, 2); }
    ByteWriter& u24(std::uint32_t value) { return number(value, 3); }
    ByteWriter& u32(std::uint32_t value) { return number(value, 4); }
    ByteWriter& u64(std::uint64_t value) { return number(value, 8); }
    ByteWriter& i16(std::int16_t value) { return u16(static_cast<std::uint16_t>(value)); }
    ByteWriter& i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }
    ByteWriter& i64(std::int64_t value) { return u64(static_cast<std::uint64_t>(value)); }
    ByteWriter& fourCC(FourCC code) { return u32(code.value); }
    ByteWriter& bytes(ByteSpan data)
    {
        m_bytes.insert(m_bytes.end(), data.begin(), data.end());
        return *this;
    }
    ByteWriter& text(std::string_view data) { return bytes(std::as_bytes(std::span {data})); }
    ByteWriter& zeros(std::size_t count)
    {
        m_bytes.resize(m_bytes.size() + count);
        return *this;
    }

    void reserve(std::size_t size) { m_bytes.reserve(size); }
    [[nodiscard]] std::size_t size() const { return m_bytes.size(); }
    [[nodiscard]] ByteSpan span() const { return m_bytes; }
    [[nodiscard]] std::vector<std::byte> take() { return std::move(m_bytes); }
    [[nodiscard]] Bytes toBytes() const { return Bytes::copyOf(span()); }

private:
    ByteWriter& number(std::uint64_t value, unsigned width)
    {
        std::array<std::byte, 8> field {};
        for (unsigned i = 0; i < width; ++i)
            field[i] = static_cast<std::byte>(value >> (8 * (width - 1 - i)) & 0xFFU);
        return bytes(std::span {field}.first(width));
    }

    std::vector<std::byte> m_bytes;
};

} // namespace reelwright
