#include "movie/atoms/UserData.h"

#include "movie/atoms/ByteReader.h"

#include <array>

namespace reelwright {
namespace {

    /// Unicode of the Mac Roman bytes 0x80 to 0xFF (Apple's ROMAN.TXT mapping).
    constexpr std::array<char16_t, 128> kMacRoman
        = {0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
            0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
            0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
            0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
            0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
            0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
            0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
            0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
            0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
            0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
            0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

    void appendUtf8(std::string& out, unsigned code)
    {
        if (code < 0x80) {
            out += static_cast<char>(code);
        } else if (code < 0x800) {
            out += static_cast<char>(0xC0U | code >> 6U);
            out += static_cast<char>(0x80U | (code & 0x3FU));
        } else {
            out += static_cast<char>(0xE0U | code >> 12U);
            out += static_cast<char>(0x80U | (code >> 6U & 0x3FU));
            out += static_cast<char>(0x80U | (code & 0x3FU));
        }
    }

    /// Iterator to the index-th (1-based) child of that type.
    template <class Children> auto findItem(Children& children, FourCC type, std::size_t index)
    {
        auto place = children.begin();
        for (; place != children.end(); ++place)
            if ((*place)->type == type && --index == 0)
                break;
        return place;
    }

} // namespace

namespace userData {

    std::optional<Bytes> item(const Atom& parent, FourCC type, std::size_t index)
    {
        const auto* list = parent.find("udta"_cc);
        if (!list)
            return std::nullopt;
        const auto place = findItem(list->children, type, index);
        if (place == list->children.end())
            return std::nullopt;
        return (*place)->isContainer ? (*place)->toBytes().slice(8) : (*place)->head;
    }

    void setItem(Atom& parent, FourCC type, Bytes payload, std::size_t index)
    {
        auto& list = parent.ensure("udta"_cc);
        const auto place = findItem(list.children, type, index);
        if (place == list.children.end())
            list.append(Atom {type, std::move(payload)});
        else if (!((*place)->head == payload) || (*place)->isContainer)
            place->edit() = Atom {type, std::move(payload)};
    }

    void removeItem(Atom& parent, FourCC type, std::size_t index)
    {
        const auto* present = parent.find("udta"_cc);
        if (!present)
            return;
        const auto place = findItem(present->children, type, index);
        if (place == present->children.end())
            return;
        // An empty list that a file had gets back what it was; one that an item made goes with the item.
        const bool wasEmpty = present->sourceOffset != 0 && (*place)->sourceOffset == 0;
        auto& list = *parent.edit("udta"_cc);
        list.children.erase(findItem(list.children, type, index));
        if (list.children.empty() && list.tail.size() <= 4 && !wasEmpty)
            parent.remove("udta"_cc);
    }

    std::vector<InternationalText> texts(ByteSpan payload)
    {
        std::vector<InternationalText> result;
        ByteReader in {payload};
        while (in.left() >= 4) {
            const auto length = in.u16();
            const auto language = in.u16();
            const auto bytes = in.bytes(length);
            if (!in.ok())
                break;
            InternationalText text {language, {}, bytes};
            text.text = text.isMacintosh() && !isValidUtf8(bytes) ? decodeMacRoman(bytes) : decodeText(bytes);
            result.push_back(std::move(text));
        }
        return result;
    }

} // namespace userData

bool isValidUtf8(ByteSpan bytes)
{
    std::size_t i = 0;
    while (i < bytes.size()) {
        const auto lead = std::to_integer<unsigned>(bytes[i]);
        const std::size_t length = lead < 0x80 ? 1
            : lead >= 0xC2 && lead < 0xE0      ? 2
            : lead >= 0xE0 && lead < 0xF0      ? 3
            : lead >= 0xF0 && lead < 0xF5      ? 4
                                               : 0;
        if (length == 0 || length > bytes.size() - i)
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((std::to_integer<unsigned>(bytes[i + k]) & 0xC0U) != 0x80U)
                return false;
        if (length >= 3) { // over-long forms, surrogates, beyond the last plane
            const auto second = std::to_integer<unsigned>(bytes[i + 1]);
            if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)
                || (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F))
                return false;
        }
        i += length;
    }
    return true;
}

std::string decodeMacRoman(ByteSpan bytes)
{
    std::string text;
    for (const auto byte : bytes) {
        const auto value = std::to_integer<unsigned>(byte);
        appendUtf8(text, value < 0x80 ? value : kMacRoman[value - 0x80]);
    }
    return text;
}

std::string decodeText(ByteSpan bytes)
{
    if (!isValidUtf8(bytes))
        return decodeMacRoman(bytes);
    std::string text;
    for (const auto byte : bytes)
        text += static_cast<char>(byte);
    return text;
}

} // namespace reelwright
