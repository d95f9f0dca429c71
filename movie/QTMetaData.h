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
///
/// `apply` changes items where they stand, and `add` adds some: what they do not name stays byte for byte.
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
        Bytes value; ///< a slice of the movie's header; of UTF-16 without its byte-order mark

        /// The key as it is shown: user data keys in reading order.
        [[nodiscard]] std::string shownKey() const;
        /// The text of the types 1, 28 (UTF-8, or Mac Roman where the bytes are none) and 3 (Mac Roman), up
        /// to its first zero byte. Nothing for other types, UTF-16 among them.
        [[nodiscard]] std::optional<std::string> text() const;
        /// The text of every item that is one: UTF-16 too, and not what only seems to be.
        [[nodiscard]] std::optional<std::string> anyText() const;
        /// Can a text be written into it? Not into other types than 1, 2, 3 and 28, nor into an item of type
        /// 28 that holds atoms.
        [[nodiscard]] bool isText() const;
        /// The text as bytes of the item's type. Errors: Refused for what its type or its storage cannot
        /// hold: characters that are not in Mac Roman; in an item of type 3 under a key any that are not
        /// ASCII, since readers disagree on them; a zero character; 65,536 bytes or more in user data.
        [[nodiscard]] Result<Bytes> encode(std::string_view utf8) const;
    };

    static QTMetaData ofMovie(const QTMovie& movie);
    /// The track must be valid.
    static QTMetaData ofTrack(const QTTrack& track);
    /// Of the `moov` or `trak` atom itself.
    static QTMetaData of(const Atom& parent);

    [[nodiscard]] const std::vector<Item>& items() const& { return m_items; }
    /// By value, so that a loop over the items of a temporary list is a loop over something.
    [[nodiscard]] std::vector<Item> items() && { return std::move(m_items); }

    /// What becomes of an item.
    struct Change
    {
        std::size_t item = 0; ///< index of `items`
        std::optional<Bytes> value; ///< nothing: it goes
    };
    /// Makes the changes, in ascending order of their items, in the atom that this list was read from and
    /// that is unchanged since. An atom whose last item goes, goes too, unless the file had it empty.
    /// Cost: one pass over the lists that hold changed items.
    void apply(Atom& parent, const std::vector<Change>& changes) const;

    /// What a new item is to be: a UTF-8 text under a named key, without country or language.
    struct NewItem
    {
        std::string key;
        std::string text;
    };
    /// Adds items behind the others under named keys of the 'mdta' namespace; makes the atoms for them where
    /// there are none. Errors: Corrupt when the keys that are there cannot be counted;
    /// nothing is then changed. Cost: one pass over the keys.
    static Result<void> add(Atom& parent, const std::vector<NewItem>& added);

private:
    /// Where an item stands: in which list, in which atom of it, and which of the atom's texts or values.
    struct Place
    {
        std::size_t list = 0;
        std::size_t entry = 0;
        std::size_t index = 0;
    };
    /// Where a list stands: child of the parent, and child of that one for a `meta` in user data.
    struct List
    {
        std::size_t child = 0;
        std::optional<std::size_t> grandchild;
        bool isMeta = false;
    };

    void addUserData(const Atom& list, std::size_t listNumber);
    void addMeta(const Atom& meta, Storage storage, std::size_t listNumber);
    void addItem(Item item, Place place);

    std::vector<Item> m_items;
    std::vector<Place> m_places; ///< of each item
    std::vector<List> m_lists;
};

/// The metadata container of a movie or of one of its tracks, as operations take it. A view: borrows the
/// movie, and finds a track by identity, as a QTTrack does; of a copy of that movie it means the same.
class QTMetaDataReference
{
public:
    /// QTCopyMovieMetaData
    static QTMetaDataReference ofMovie(const QTMovie& movie) { return {movie, std::nullopt}; }
    /// QTCopyTrackMetaData
    static QTMetaDataReference ofTrack(const QTTrack& track) { return {track.movie(), track.atom().id}; }

    [[nodiscard]] bool isTrack() const { return m_track.has_value(); }
    /// The items; none when the track is gone.
    [[nodiscard]] QTMetaData read() const;
    /// The `moov` or `trak` atom in that movie, for changing; null when it is not editable or the track gone.
    [[nodiscard]] Atom* edit(QTMovie& movie) const;

private:
    QTMetaDataReference(const QTMovie& movie, std::optional<std::uint64_t> track)
        : m_movie(&movie)
        , m_track(track)
    {
    }

    const QTMovie* m_movie;
    std::optional<std::uint64_t> m_track; ///< identity of the `trak` atom
};

} // namespace reelwright
