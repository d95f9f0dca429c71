#include "movie/atoms/AtomInfo.h"

#include "movie/atoms/ByteReader.h"

namespace reelwright {
namespace {

    constexpr FourCC kAnywhere {};

    constexpr AtomInfo kAtoms[] = {
        {"moov"_cc, kAnywhere, AtomLayout::Container, "the movie header"},
        {"trak"_cc, kAnywhere, AtomLayout::Container, ""},
        {"edts"_cc, kAnywhere, AtomLayout::Container, ""},
        {"mdia"_cc, kAnywhere, AtomLayout::Container, ""},
        {"minf"_cc, kAnywhere, AtomLayout::Container, ""},
        {"stbl"_cc, kAnywhere, AtomLayout::Container, ""},
        {"dinf"_cc, kAnywhere, AtomLayout::Container, ""},
        {"dref"_cc, "dinf"_cc, AtomLayout::CountedList, "entries are full atoms: flag 1 means this file"},
        {"stsd"_cc, "stbl"_cc, AtomLayout::CountedList,
            "entries have fixed fields before their own extensions"},
        {"gmhd"_cc, kAnywhere, AtomLayout::Container, ""},
        {"tmcd"_cc, "gmhd"_cc, AtomLayout::Container,
            "holds tcmi; elsewhere tmcd is a sample format or a reference"},
        {"udta"_cc, kAnywhere, AtomLayout::Container, "the list may end with 32 zero bits"},
        {"meta"_cc, kAnywhere, AtomLayout::ProbeContainer, "QuickTime: plain; ISO: version and flags first"},
        {"ilst"_cc, "meta"_cc, AtomLayout::Container,
            "items are containers whose type is a key or a key's number"},
        {"keys"_cc, "meta"_cc, AtomLayout::CountedList,
            "entries look like atoms: namespace as type, key as payload"},
        {"tref"_cc, kAnywhere, AtomLayout::Container, "the children's types are the kinds of reference"},
        {"tapt"_cc, kAnywhere, AtomLayout::Container, ""},
        {"mvex"_cc, kAnywhere, AtomLayout::Container, ""},
        {"moof"_cc, kAnywhere, AtomLayout::Container, ""},
        {"traf"_cc, kAnywhere, AtomLayout::Container, ""},
        {"mfra"_cc, kAnywhere, AtomLayout::Container, ""},
        {"rmra"_cc, kAnywhere, AtomLayout::Container, "a list of reference movies"},
        {"rmda"_cc, kAnywhere, AtomLayout::Container, ""},
        {"cmov"_cc, kAnywhere, AtomLayout::Container, "a movie header compressed with zlib"},
        {"matt"_cc, kAnywhere, AtomLayout::Container, "track matte"},
        {"imap"_cc, "trak"_cc, AtomLayout::Leaf,
            "track input map: holds atoms of another kind (container version 2)"},
        {"clip"_cc, kAnywhere, AtomLayout::Container, ""},
    };

    /// Do atoms start at `offset` of the payload? A fitting size and a type of printable characters say so.
    bool looksLikeAtom(ByteSpan payload, std::size_t offset)
    {
        if (payload.size() < offset + 8)
            return false;
        ByteReader in {payload.subspan(offset)};
        const auto size = in.u32();
        const auto type = in.u32();
        if (size < 8 || size > payload.size() - offset)
            return false;
        for (unsigned shift = 0; shift < 32; shift += 8) {
            const auto character = type >> shift & 0xFFU;
            if (character < 0x20 || (character > 0x7E && character != 0xA9))
                return false;
        }
        return true;
    }

} // namespace

std::span<const AtomInfo> atomTable()
{
    return kAtoms;
}

std::optional<std::size_t> childrenOffset(FourCC type, FourCC parent, ByteSpan payload)
{
    for (const auto& info : kAtoms) {
        if (info.type != type || (info.parent != kAnywhere && info.parent != parent))
            continue;
        switch (info.layout) {
        case AtomLayout::Leaf:
            return std::nullopt;
        case AtomLayout::Container:
            return 0;
        case AtomLayout::FullContainer:
            return payload.size() >= 4 ? std::optional<std::size_t>(4) : std::nullopt;
        case AtomLayout::CountedList:
            return payload.size() >= 8 ? std::optional<std::size_t>(8) : std::nullopt;
        case AtomLayout::ProbeContainer:
            if (looksLikeAtom(payload, 0))
                return 0;
            if (looksLikeAtom(payload, 4))
                return 4;
            return payload.size() == 4 ? std::optional<std::size_t>(4) : std::nullopt;
        }
    }
    // An item of an ilst holds data, mean, name and the like; its own type is a key.
    if (parent == "ilst"_cc && looksLikeAtom(payload, 0))
        return 0;
    return std::nullopt;
}

} // namespace reelwright
