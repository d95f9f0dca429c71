#pragma once

#include "movie/atoms/Atom.h"
#include "movie/atoms/TextEncoding.h"

#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// The user data list (`udta`) below a `moov`, `trak` or `mdia` atom (QuickTime File Format, "User Data
/// Atoms"). Items of one type are told apart by a 1-based index. These functions take the parent of the list.
namespace userData {

    /// Payload of the item, or nothing.
    std::optional<Bytes> item(const Atom& parent, FourCC type, std::size_t index = 1);
    /// Replaces the item, or appends it (making the list) when there are fewer than `index`.
    void setItem(Atom& parent, FourCC type, Bytes payload, std::size_t index = 1);
    /// Removes the item, and the list when it becomes empty by that; a list that was read from a file and has
    /// only had items that were added since stays. Nothing happens when there is none.
    void removeItem(Atom& parent, FourCC type, std::size_t index = 1);

    /// Removes all items of that type, in the same way.
    void removeItems(Atom& parent, FourCC type);

    /// One text of an international text item (types that begin with the copyright sign).
    struct InternationalText
    {
        std::uint16_t language = 0;
        std::string text; ///< UTF-8
        ByteSpan bytes; ///< as they stand; borrowed from the payload

        /// Is the language a Macintosh code, and not a packed ISO 639-2 one?
        [[nodiscard]] bool isMacintosh() const { return language < 0x400; }
        /// Is it big-endian UTF-16, as a byte-order mark in front says?
        [[nodiscard]] bool isUtf16() const;
    };

    /// The texts of such an item; damaged ones end the list. Macintosh language codes (below 0x400) mean Mac
    /// Roman, packed ISO 639-2 codes mean UTF-8, or UTF-16 behind a byte-order mark; bytes that are no UTF-8
    /// fall back to Mac Roman.
    std::vector<InternationalText> texts(ByteSpan payload);

    /// The text of an item that ISO files of phones and cameras have (3GPP TS 26.244, "Asset information":
    /// `titl`, `dscp`, `cprt`, `perf`, `gnre`, `auth`): version and flags, a packed language, a text that a
    /// zero ends. Nothing for other types, and for other bytes under these.
    std::optional<InternationalText> assetText(FourCC type, ByteSpan payload);

} // namespace userData

} // namespace reelwright
