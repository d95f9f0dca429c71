#include "support/BinaryPropertyList.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace reelwright {
namespace {

    constexpr int kMaxDepth = 64;
    constexpr int kMaxObjects = 100'000;
    constexpr std::size_t kMagicSize = 8;
    constexpr std::size_t kTrailerSize = 32;

    /// What the high half of an object's first byte says.
    enum class Kind : std::uint8_t {
        Simple = 0x0,
        Integer = 0x1,
        Real = 0x2,
        Date = 0x3,
        Data = 0x4,
        Ascii = 0x5,
        Utf16 = 0x6,
        Array = 0xA,
        Dictionary = 0xD,
    };

    class Checker
    {
    public:
        explicit Checker(std::string_view bytes)
            : m_bytes(bytes)
        {
        }

        bool run()
        {
            if (m_bytes.size() < kMagicSize + kTrailerSize)
                return false;
            const auto trailer = m_bytes.size() - kTrailerSize;
            m_offsetSize = number(trailer + 6, 1).value_or(0);
            m_referenceSize = number(trailer + 7, 1).value_or(0);
            m_count = number(trailer + 8, 8).value_or(0);
            const auto top = number(trailer + 16, 8).value_or(0);
            m_table = number(trailer + 24, 8).value_or(0);
            return m_offsetSize >= 1 && m_offsetSize <= 8 && m_referenceSize >= 1 && m_referenceSize <= 8
                && m_table >= kMagicSize && m_table <= trailer
                && m_count <= (trailer - m_table) / m_offsetSize && check(top, 1);
        }

    private:
        /// Big-endian; nothing where the file ends before.
        [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t offset, std::uint64_t size) const
        {
            if (size > 8 || offset > m_bytes.size() || size > m_bytes.size() - offset)
                return std::nullopt;
            std::uint64_t value = 0;
            for (std::uint64_t i = 0; i < size; ++i)
                value
                    = value << 8U | static_cast<std::uint8_t>(m_bytes[static_cast<std::size_t>(offset + i)]);
            return value;
        }

        struct Object
        {
            Kind kind = Kind::Simple;
            std::uint64_t offset = 0; ///< of what follows the first byte and the length
            std::uint64_t length = 0;
        };

        [[nodiscard]] std::optional<Object> object(std::uint64_t index) const
        {
            if (index >= m_count)
                return std::nullopt;
            const auto at = number(m_table + index * m_offsetSize, m_offsetSize);
            const auto marker = at && *at >= kMagicSize && *at < m_table ? number(*at, 1) : std::nullopt;
            if (!marker)
                return std::nullopt;
            Object result {static_cast<Kind>(*marker >> 4U), *at + 1, *marker & 15U};
            const bool hasLength = result.kind == Kind::Data || result.kind == Kind::Ascii
                || result.kind == Kind::Utf16 || result.kind == Kind::Array
                || result.kind == Kind::Dictionary;
            if (!hasLength || result.length != 15)
                return result;
            // The length is an integer object of its own.
            const auto form = number(result.offset, 1);
            if (!form || *form >> 4U != static_cast<std::uint64_t>(Kind::Integer) || (*form & 15U) > 3)
                return std::nullopt;
            const auto size = std::uint64_t {1} << (*form & 15U);
            const auto length = number(result.offset + 1, size);
            if (!length)
                return std::nullopt;
            result.offset += 1 + size;
            result.length = *length;
            return result;
        }

        /// Do so many items of that size lie before the table?
        [[nodiscard]] bool holds(const Object& object, std::uint64_t count, std::uint64_t itemSize) const
        {
            return object.offset <= m_table && count <= (m_table - object.offset) / itemSize;
        }

        bool check(std::uint64_t index, int depth)
        {
            const auto found = object(index);
            if (!found || depth > kMaxDepth || ++m_seen > kMaxObjects)
                return false;
            switch (found->kind) {
            case Kind::Simple:
                return found->length == 8 || found->length == 9;
            case Kind::Integer:
                return found->length <= 4 && holds(*found, 1, std::uint64_t {1} << found->length);
            case Kind::Real:
                return (found->length == 2 || found->length == 3)
                    && holds(*found, 1, std::uint64_t {1} << found->length);
            case Kind::Date:
                return found->length == 3 && holds(*found, 1, 8);
            case Kind::Data:
                return holds(*found, found->length, 1);
            case Kind::Ascii:
                return holds(*found, found->length, 1) && isAscii(*found);
            case Kind::Utf16:
                return holds(*found, found->length, 2) && isUtf16(*found);
            case Kind::Array:
                return holds(*found, found->length, m_referenceSize)
                    && checkItems(*found, found->length, depth);
            case Kind::Dictionary:
                return holds(*found, found->length, 2 * m_referenceSize) && keysAreTexts(*found)
                    && checkItems(*found, 2 * found->length, depth);
            }
            return false;
        }

        [[nodiscard]] bool isAscii(const Object& text) const
        {
            const auto characters = m_bytes.substr(
                static_cast<std::size_t>(text.offset), static_cast<std::size_t>(text.length));
            return std::ranges::all_of(
                characters, [](char c) { return c != '\0' && static_cast<std::uint8_t>(c) < 0x80; });
        }

        /// Without zero characters, and surrogates in pairs only.
        [[nodiscard]] bool isUtf16(const Object& text) const
        {
            bool isPairOpen = false;
            for (std::uint64_t i = 0; i < text.length; ++i) {
                const auto unit = number(text.offset + 2 * i, 2).value_or(0);
                const bool isSecond = unit >= 0xDC00 && unit < 0xE000;
                if (unit == 0 || isSecond != isPairOpen)
                    return false;
                isPairOpen = unit >= 0xD800 && unit < 0xDC00;
            }
            return !isPairOpen;
        }

        [[nodiscard]] std::optional<std::uint64_t> reference(const Object& list, std::uint64_t item) const
        {
            return number(list.offset + item * m_referenceSize, m_referenceSize);
        }

        /// The references to a dictionary's keys stand before those to its values.
        [[nodiscard]] bool keysAreTexts(const Object& dictionary) const
        {
            for (std::uint64_t i = 0; i < dictionary.length; ++i) {
                const auto key = object(reference(dictionary, i).value_or(UINT64_MAX));
                if (!key || (key->kind != Kind::Ascii && key->kind != Kind::Utf16))
                    return false;
            }
            return true;
        }

        bool checkItems(const Object& list, std::uint64_t count, int depth)
        {
            for (std::uint64_t i = 0; i < count; ++i)
                if (!check(reference(list, i).value_or(UINT64_MAX), depth + 1))
                    return false;
            return true;
        }

        std::string_view m_bytes;
        std::uint64_t m_offsetSize = 0;
        std::uint64_t m_referenceSize = 0;
        std::uint64_t m_count = 0;
        std::uint64_t m_table = 0;
        int m_seen = 0;
    };

} // namespace

bool isSoundBinaryPropertyList(std::string_view bytes)
{
    return Checker {bytes}.run();
}

} // namespace reelwright
