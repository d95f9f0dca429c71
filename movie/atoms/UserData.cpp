#include "movie/atoms/UserData.h"

#include "movie/atoms/ByteReader.h"

#include <algorithm>
#include <array>

namespace reelwright {
namespace {

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

    void removeItems(Atom& parent, FourCC type)
    {
        const auto* present = parent.find("udta"_cc);
        const auto isOne = [&](const Cow<Atom>& child) { return child->type == type; };
        if (!present || std::ranges::none_of(present->children, isOne))
            return;
        const bool wasEmpty = present->sourceOffset != 0
            && std::ranges::none_of(present->children,
                [&](const Cow<Atom>& child) { return isOne(child) && child->sourceOffset != 0; });
        auto& list = *parent.edit("udta"_cc);
        std::erase_if(list.children, isOne);
        if (list.children.empty() && list.tail.size() <= 4 && !wasEmpty)
            parent.remove("udta"_cc);
    }

    bool InternationalText::isUtf16() const
    {
        return !isMacintosh() && bytes.size() >= 2 && bytes[0] == std::byte {0xFE}
        && bytes[1] == std::byte {0xFF};
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
            text.text = text.isUtf16() ? decodeUtf16(bytes.subspan(2)) : decodeText(bytes);
            result.push_back(std::move(text));
        }
        return result;
    }

    std::optional<InternationalText> assetText(FourCC type, ByteSpan payload)
    {
        constexpr std::array kTypes {"titl"_cc, "dscp"_cc, "cprt"_cc, "perf"_cc, "gnre"_cc, "auth"_cc};
        if (std::find(kTypes.begin(), kTypes.end(), type) == kTypes.end())
            return std::nullopt;
        ByteReader in {payload};
        const auto versionAndFlags = in.u32();
        InternationalText text {in.u16(), {}, payload.subspan(std::min<std::size_t>(payload.size(), 6))};
        if (!in.ok() || versionAndFlags != 0 || text.isMacintosh())
            return std::nullopt;
        const std::size_t unit = text.isUtf16() ? 2 : 1;
        for (std::size_t i = 0; i + unit <= text.bytes.size(); i += unit)
            if (text.bytes[i] == std::byte {} && text.bytes[i + unit - 1] == std::byte {}) {
                text.bytes = text.bytes.first(i);
                break;
            }
        text.text = unit == 2 ? decodeUtf16(text.bytes.subspan(2)) : decodeText(text.bytes);
        return text;
    }

} // namespace userData

} // namespace reelwright
