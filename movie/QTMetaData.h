#pragma once

#include "movie/QTTrack.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace reelwright {

/// The metadata of a movie or of one of its tracks as one list, whatever atoms they stand in: first the items
/// of the user data (`udta`), then those under named keys (`meta` with `keys` and `ilst`), then those under
/// the short keys of ISO files (`meta` with `ilst` alone, in the user data or beside it). A `meta` atom may
/// be plain, as QuickTime has it, or have a version. A copy of what was there when it was read; damaged items
/// are left out, and what is no metadata is not looked at.
///
/// An item of the user data whose type begins with the copyright sign holds texts in several languages: each
/// is an item here. Every other one is an item of binary data.
class QTMetaData
{
public:
    enum class Storage { UserData, NamedKeys, ShortKeys };

    /// The data types that are texts; every other one is not.
    static constexpr std::uint32_t kBinary = 0;
    static constexpr std::uint32_t kUtf8 = 1;
    static constexpr std::uint32_t kUtf16 = 2; ///< big-endian
    static constexpr std::uint32_t kMacRoman = 3;
    static constexpr std::uint32_t kOtherText = 28; ///< UTF-8 as well

    struct Item
    {
        Storage storage = Storage::UserData;
        FourCC keyFormat; ///< 'udta', 'itsk' (a short key), 'itlk' (a long one), else the key's namespace
                          ///< ('mdta')
        /// As the container hands it out, UTF-8: a user data key is its four characters in reverse order
        /// ("MIT©" for `©TIM`), bytes above 127 being Mac Roman. A long key is "MEAN.NAME".
        std::string key;
        std::uint32_t dataType = kBinary;
        std::uint32_t locale = 0; ///< of a user data text its language code, else country and language
        Bytes value;

        /// The key as it is shown: user data keys in reading order.
        [[nodiscard]] std::string shownKey() const;
        /// The text of the types 1, 28 (UTF-8, or Mac Roman where the bytes are none) and 3 (Mac Roman), up
        /// to its first zero byte. Nothing for other types, UTF-16 among them.
        [[nodiscard]] std::optional<std::string> text() const;
    };

    static QTMetaData ofMovie(const QTMovie& movie);
    /// The track must be valid.
    static QTMetaData ofTrack(const QTTrack& track);
    /// Of the `moov` or `trak` atom itself.
    static QTMetaData of(const Atom& parent);

    [[nodiscard]] const std::vector<Item>& items() const& { return m_items; }
    /// By value, so that a loop over the items of a temporary list is a loop over something.
    [[nodiscard]] std::vector<Item> items() && { return std::move(m_items); }

private:
    void addUserData(const Atom& list);
    void addMeta(const Atom& meta, Storage storage);

    std::vector<Item> m_items;
};

} // namespace reelwright
