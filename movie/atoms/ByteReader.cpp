#include "movie/atoms/ByteReader.h"

#include <fmt/format.h>

namespace reelwright {

ByteSpan ByteReader::bytes(std::size_t count)
{
    if (m_failed)
        return {};
    if (count > left()) {
        fail(MovieError::Code::Truncated, fmt::format("{} more bytes expected, {} left", count, left()));
        return {};
    }
    const auto result = m_bytes.subspan(m_position, count);
    m_position += count;
    return result;
}

std::uint64_t ByteReader::number(std::size_t width)
{
    const auto field = bytes(width);
    return field.empty() ? 0 : readBigEndian(field.data(), width);
}

std::uint32_t ByteReader::count32(std::size_t elementSize)
{
    const auto count = u32();
    if (!m_failed && count > left() / elementSize) {
        fail(MovieError::Code::Corrupt,
            fmt::format(
                "{} entries of {} bytes claimed, room for {}", count, elementSize, left() / elementSize));
        return 0;
    }
    return count;
}

void ByteReader::fail(MovieError::Code code, std::string detail)
{
    m_failed = true;
    m_code = code;
    m_failedAt = m_position;
    m_detail = std::move(detail);
}

} // namespace reelwright
