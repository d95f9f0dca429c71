#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace reelwright {

using ByteSpan = std::span<const std::byte>;

/// A slice of a shared, immutable buffer. Copies share the buffer; slices keep it alive.
class Bytes
{
public:
    Bytes() = default;

    /// A buffer of its own with these bytes.
    static Bytes copyOf(ByteSpan bytes)
    {
        return make(bytes.size(), [&](std::span<std::byte> out) {
            if (!bytes.empty())
                std::memcpy(out.data(), bytes.data(), bytes.size());
        });
    }
    static Bytes copyOf(std::string_view text) { return copyOf(std::as_bytes(std::span {text})); }
    /// A buffer of its own that was somebody else's: nothing is copied.
    static Bytes adopt(std::vector<std::byte> bytes)
    {
        auto owner = std::make_shared<const std::vector<std::byte>>(std::move(bytes));
        Bytes result;
        result.m_view = *owner;
        result.m_owner = std::shared_ptr<const std::byte[]>(owner, owner->data());
        return result;
    }
    /// A buffer of `size` bytes that `fill(std::span<std::byte>)` writes before anybody sees it.
    template <class Fill> static Bytes make(std::size_t size, Fill&& fill)
    {
        Bytes result;
        if (size == 0)
            return result;
        auto owner = std::make_shared_for_overwrite<std::byte[]>(size);
        fill(std::span {owner.get(), size});
        result.m_view = {owner.get(), size};
        result.m_owner = std::move(owner);
        return result;
    }

    [[nodiscard]] ByteSpan span() const { return m_view; }
    [[nodiscard]] std::size_t size() const { return m_view.size(); }
    [[nodiscard]] bool empty() const { return m_view.empty(); }
    /// The part from `offset` (cut to what is there) of at most `length` bytes.
    [[nodiscard]] Bytes slice(std::size_t offset, std::size_t length = SIZE_MAX) const
    {
        Bytes result = *this;
        offset = offset < m_view.size() ? offset : m_view.size();
        const auto left = m_view.size() - offset;
        result.m_view = m_view.subspan(offset, length < left ? length : left);
        return result;
    }
    [[nodiscard]] std::vector<std::byte> toVector() const { return {m_view.begin(), m_view.end()}; }

    friend bool operator==(const Bytes& a, const Bytes& b)
    {
        return a.size() == b.size()
            && (a.empty() || a.m_view.data() == b.m_view.data()
                || std::memcmp(a.m_view.data(), b.m_view.data(), a.size()) == 0);
    }

private:
    std::shared_ptr<const std::byte[]> m_owner;
    ByteSpan m_view;
};

} // namespace reelwright
