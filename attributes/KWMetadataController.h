#pragma once

#include "movie/QTMetaData.h"

#include <string>
#include <vector>

namespace reelwright {

/// A row of metadata as it is shown.
struct KWMetadataItem
{
    std::string key; ///< as shown and as written: user data keys in reading order
    std::string value;
    std::string description; ///< the name of a known key with its group, else the key
    std::string attribute {}; ///< of a row that stands for an attribute of the movie: the attribute's name
    bool selected = true; ///< in a list that is to be imported: take it?

    // Where a row that was read stands; of a movie's title and copyright only `item` says it, and it has no
    // key format where nothing stands.
    std::string storedKey {}; ///< the key as the container has it: what a removal compares
    std::size_t occurrence = 1; ///< which of the items with that stored key it is
    QTMetaData::Item item {};
};

constexpr auto kCopyrightAttribute = "QTMovieCopyrightAttribute";

/// The rows of a movie that stand for something else than a key of that name.
constexpr auto kCopyrightRow = "Copyright";
constexpr auto kTitleRow = "Title";

/// A value for a key.
struct KWMetadataValue
{
    std::string key;
    std::string value;
};

/// Reading and writing of metadata. Class operations; keeps no state. Writing answers why it failed, and logs
/// that; the movie may then be changed in part.
class KWMetadataController
{
public:
    /// The name of a known key with its group; the key itself for others, and where the setting
    /// "rawMetadataKeys" asks for keys.
    static std::string description(const std::string& key);
    /// The texts of the container, in its order. Left out: what is no text of an 8-bit encoding, and the keys
    /// of display name and copyright, which are rows of the movie.
    static std::vector<KWMetadataItem> metaDataArrayFromMetaDataReference(
        const std::optional<QTMetaDataReference>& metaDataReference);
    /// Everything that the container has, texts in UTF-16 with their value, and what is no text without one.
    /// Logs nothing.
    static std::vector<KWMetadataItem> allItems(const QTMetaData& metadata);

    /// The rows of a movie's list: Copyright, Title, then its items without the keys of these two.
    static std::vector<KWMetadataItem> movieRows(const QTMovie& movie);

    /// Writes the value into every item of the key, each in the place, the storage and the type that it has;
    /// where there is none, adds one as UTF-8 under a key of the 'mdta' namespace. Items that are no texts
    /// stay as they are. A "¬" at the end of the key is taken for the "©" that it is on another keyboard.
    static Result<void> setMetaDataValue(const std::string& value, const std::string& key,
        const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);
    /// The same in the movie's own metadata.
    static Result<void> setMetaDataValue(const std::string& value, const std::string& key, QTMovie& movie);
    /// The same for many keys in one pass. Several values of one key go to its items in turn; those that are
    /// left over are added.
    static Result<void> setMetaDataValues(const std::vector<KWMetadataValue>& values,
        const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);
    /// The same for a list that a user has: keys "Copyright" and "Title" mean those of a movie, and what
    /// cannot be written is left out. Answers a sentence for each of these.
    static Result<std::vector<std::string>> importMetaDataValues(const std::vector<KWMetadataValue>& values,
        const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);
    /// Writes the value into those items of the key that read `oldValue`: the row of a list and what says the
    /// same, and not its translations.
    static Result<void> replaceMetaDataValue(const std::string& oldValue, const std::string& value,
        const std::string& key, const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);

    /// Removes the first item with that key, which is compared as the container stores it: user data keys in
    /// reverse ("MIT©").
    static Result<void> removeMetaDataKey(
        const std::string& key, const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);
    /// Removes the item that such a row shows.
    static Result<void> removeMetaDataItem(const KWMetadataItem& item,
        const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);
    /// Removes every item of the keys, which are compared as they are shown and as they are stored; "Title"
    /// and "Copyright" of a movie mean whatever says them, unless they are keys of it. Answers how many items
    /// there were.
    static Result<std::size_t> removeMetaDataKeys(const std::vector<std::string>& keys,
        const std::optional<QTMetaDataReference>& metaDataReference, QTMovie& movie);
    /// Sets the attribute that a row stands for to the empty text; removes the key of any other row.
    static Result<void> removeMetaData(const KWMetadataItem& item, QTMovie& movie);

    /// QTMovieDisplayNameAttribute: the display name, else the name in user data or under a short key, else
    /// the name of the file.
    static std::string displayName(const QTMovie& movie);
    /// Is it more than the name of the file?
    static bool hasDisplayName(const QTMovie& movie);
    /// Writes it where one of them is, else adds the display name.
    static Result<void> setDisplayName(const std::string& name, QTMovie& movie);
    /// QTMovieCopyrightAttribute; nothing where the movie has none.
    static std::optional<std::string> copyright(const QTMovie& movie);
    static Result<void> setCopyright(const std::string& text, QTMovie& movie);

    /// Is the row "Title" or "Copyright" what stands under the key that is made for it?
    static bool hasOwnKey(std::string_view row, const QTMovie& movie);

    static std::string reverseString(const std::string& text);
    static std::string stringFromFourCharCode(FourCC code);
    static FourCC fourCharCodeFromString(const std::string& text);
};

} // namespace reelwright
