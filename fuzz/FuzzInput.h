#pragma once

#include "movie/atoms/Bytes.h"

#include <type_traits>

namespace reelwright::fuzz {

/// Takes numbers from the front of an input; past its end they are 0. Borrows the input.
class FuzzInput
{
public:
    explicit FuzzInput(ByteSpan bytes)
        : m_bytes(bytes)
    {
    }

    template <class Number> Number number()
    {
        std::make_unsigned_t<Number> value = 0;
        for (std::size_t i = 0; i < sizeof(Number); ++i) {
            const auto byte = m_bytes.empty() ? 0U : std::to_integer<unsigned>(m_bytes.front());
            m_bytes = m_bytes.subspan(m_bytes.empty() ? 0 : 1);
            if constexpr (sizeof(Number) == 1)
                value = static_cast<std::make_unsigned_t<Number>>(byte);
            else
                value = static_cast<std::make_unsigned_t<Number>>(value << 8U | byte);
        }
        return static_cast<Number>(value);
    }
    /// All that is left.
    [[nodiscard]] ByteSpan rest() const { return m_bytes; }
    [[nodiscard]] std::string_view text() const
    {
        return {reinterpret_cast<const char*>(m_bytes.data()), m_bytes.size()};
    }

private:
    ByteSpan m_bytes;
};

} // namespace reelwright::fuzz
