#include "movie/QTMetaData.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <unordered_map>

namespace reelwright {
namespace {

    constexpr auto kUserDataKey = "udta"_cc;
    constexpr auto kNamedKey = "mdta"_cc;
    constexpr char kByteOrderMark[] = {'\xFE', '\xFF'};
    constexpr std::size_t kMaxUserDataText = UINT16_MAX;
    constexpr unsigned char kCopyrightSign = 0xA9;

    /// The four characters of a type in the order of the file; all bytes above 127 are Mac Roman.
    std::string characters(FourCC type)
    {
        return decodeMacRoman(ByteWriter {}.fourCC(type).span());
    }

    /// What stands in an atom, also in one whose type elsewhere holds atoms.
    Bytes payloadOf(const Atom& atom)
    {
        return atom.isContainer ? atom.toBytes().slice(8) : atom.head;
    }

    /// The text of an atom with version and flags (`mean`, `name`).
    std::string fullText(const Atom* atom)
    {
        return atom ? decodeText(atom->head.slice(4).span()) : std::string {};
    }

    /// The subtype of a `meta` atom's handler; zero without one.
    FourCC handlerOf(const Atom& meta)
    {
        const auto* handler = meta.find("hdlr"_cc);
        if (!handler)
            return {};
        ByteReader in {handler->head.span()};
        in.skip(8); // version, flags and component type
        return in.fourCC();
    }

    QTMetaData::Storage storageOf(const Atom& meta)
    {
        const bool isNamed
            = handlerOf(meta) == "mdta"_cc || (handlerOf(meta) == FourCC {} && meta.find("keys"_cc));
        return isNamed ? QTMetaData::Storage::NamedKeys : QTMetaData::Storage::ShortKeys;
    }

    /// Key and its format of an item of an `ilst`; nothing for the number of a key that is not there.
    bool readKey(const Atom& meta, const Atom& entry, QTMetaData::Item& item)
    {
        if (item.storage == QTMetaData::Storage::NamedKeys) {
            const auto* keys = meta.find("keys"_cc);
            const std::size_t number = entry.type.value; // from 1
            if (!keys || number == 0 || number > keys->children.size())
                return false;
            const auto& key = *keys->children[number - 1];
            item.keyFormat = key.type;
            item.key = decodeText(payloadOf(key).span());
            if (item.keyFormat == kUserDataKey)
                item.key = reversedText(item.key);
            return true;
        }
        const bool isLong = entry.type == "----"_cc;
        item.keyFormat = isLong ? "itlk"_cc : "itsk"_cc;
        item.key = isLong ? fullText(entry.find("mean"_cc)) + '.' + fullText(entry.find("name"_cc))
                          : characters(entry.type);
        return true;
    }

    /// Are the bytes of a value one atom after the other?
    bool holdsAtoms(ByteSpan bytes)
    {
        while (!bytes.empty()) {
            const auto header = AtomHeader::parse(bytes);
            if (!header || header->size > bytes.size() || header->sizeForm == SizeForm::ToEnd)
                return false;
            bytes = bytes.subspan(static_cast<std::size_t>(header->size));
            if (bytes.empty())
                return true;
        }
        return false;
    }

    /// The texts of an item of user data; none when it holds something else.
    std::vector<userData::InternationalText> textsOf(const Atom& entry)
    {
        if (entry.type.value >> 24U == kCopyrightSign)
            return userData::texts(entry.head.span());
        if (auto text = userData::assetText(entry.type, entry.head.span()))
            return {std::move(*text)};
        return {};
    }

    /// What becomes of the texts or values of one atom of a list, by their places in it.
    struct EntryChange
    {
        std::size_t entry = 0;
        std::vector<std::pair<std::size_t, std::optional<Bytes>>> values;
    };

    /// Removes those of a list's children that became empty.
    void removeEntries(Atom& list, const std::vector<std::size_t>& gone)
    {
        auto next = gone.begin();
        std::size_t place = 0;
        std::erase_if(list.children, [&](const auto&) {
            const bool goes = next != gone.end() && *next == place;
            next += goes ? 1 : 0;
            ++place;
            return goes;
        });
    }

    /// An item of user data with other texts. Nothing when none is left. What follows the texts stays.
    std::optional<Bytes> withTexts(const Atom& entry, const EntryChange& change)
    {
        const auto texts = textsOf(entry);
        if (texts.empty())
            return change.values.front().second;
        const auto markOf = [](const auto& value, const userData::InternationalText& text) {
            return std::string_view {
                kByteOrderMark, value && text.isUtf16() ? sizeof kByteOrderMark : std::size_t {0}};
        };
        ByteWriter out;
        if (entry.type.value >> 24U != kCopyrightSign) {
            const auto& value = change.values.front().second;
            if (!value)
                return std::nullopt;
            const auto start
                = static_cast<std::size_t>(texts.front().bytes.data() - entry.head.span().data());
            const auto behind = entry.head.span().subspan(start + texts.front().bytes.size());
            out.bytes(entry.head.span().first(start)).text(markOf(value, texts.front()));
            out.bytes(value->span()).bytes(behind);
            if (behind.empty())
                out.text({"\0\0", texts.front().isUtf16() ? std::size_t {2} : std::size_t {1}});
            return out.toBytes();
        }
        std::size_t kept = 0;
        auto next = change.values.begin();
        for (std::size_t index = 0; index < texts.size(); ++index) {
            const auto& text = texts[index];
            const bool isChanged = next != change.values.end() && next->first == index;
            const auto value = isChanged ? (next++)->second : std::nullopt;
            if (isChanged && !value)
                continue;
            const auto bytes = value ? value->span() : text.bytes;
            const auto mark = markOf(value, text);
            ++kept;
            out.u16(static_cast<std::uint16_t>(bytes.size() + mark.size())).u16(text.language);
            out.text(mark).bytes(bytes);
        }
        const auto* const end = texts.back().bytes.data() + texts.back().bytes.size();
        out.bytes(entry.head.span().subspan(static_cast<std::size_t>(end - entry.head.span().data())));
        return kept == 0 ? std::nullopt : std::optional(out.toBytes());
    }

    /// Answers whether the list goes too.
    bool changeUserData(Atom& list, const std::vector<EntryChange>& changes)
    {
        std::vector<std::size_t> gone;
        bool wasRead = false;
        for (const auto& change : changes) {
            auto& child = list.children[change.entry];
            if (auto payload = withTexts(*child, change)) {
                auto& entry = child.edit();
                entry.isContainer = false;
                entry.children.clear();
                entry.tail = {};
                entry.head = std::move(*payload);
            } else {
                wasRead = wasRead || child->sourceOffset != 0;
                gone.push_back(change.entry);
            }
        }
        removeEntries(list, gone);
        const bool wasEmpty = list.sourceOffset != 0 && !wasRead;
        return !gone.empty() && list.children.empty() && list.tail.size() <= 4 && !wasEmpty;
    }

    Bytes keysHead(const Atom& keys)
    {
        return ByteWriter {}
            .bytes(keys.head.span().first(4)) // version and flags
            .u32(static_cast<std::uint32_t>(keys.children.size()))
            .toBytes();
    }

    /// Takes keys that no item has any more off the end of the table: in its middle they stay, since the
    /// items are known by their numbers.
    void dropLastKeys(Atom& meta, const std::set<std::uint32_t>& removed)
    {
        const auto* keys = meta.find("keys"_cc);
        if (!keys || !removed.contains(static_cast<std::uint32_t>(keys->children.size())))
            return;
        std::set<std::uint32_t> used;
        for (const auto& entry : meta.find("ilst"_cc)->children)
            used.insert(entry->type.value);
        ByteReader in {keys->head.span()};
        in.skip(4); // version and flags
        if (in.u32() != keys->children.size())
            return; // damaged: it stays as it is
        auto& table = *meta.edit("keys"_cc);
        const auto goes = [&] {
            const auto number = static_cast<std::uint32_t>(table.children.size());
            return number > 0 && removed.contains(number) && !used.contains(number);
        };
        while (goes())
            table.children.pop_back();
        table.head = keysHead(table);
    }

    /// Answers whether the `meta` goes too: it has nothing but an empty list.
    bool changeMeta(Atom& meta, const std::vector<EntryChange>& changes)
    {
        auto& list = *meta.edit("ilst"_cc);
        std::vector<std::size_t> gone;
        std::set<std::uint32_t> removedKeys;
        for (const auto& change : changes) {
            auto& entry = list.children[change.entry].edit();
            std::vector<std::size_t> goneValues;
            for (const auto& [index, value] : change.values) {
                if (!value) {
                    goneValues.push_back(index);
                    continue;
                }
                auto& data = entry.children[index].edit();
                data.head = ByteWriter {}.bytes(data.head.span().first(8)).bytes(value->span()).toBytes();
            }
            removeEntries(entry, goneValues);
            if (!goneValues.empty() && !entry.find("data"_cc)) {
                gone.push_back(change.entry);
                removedKeys.insert(entry.type.value);
            }
        }
        removeEntries(list, gone);
        if (gone.empty())
            return false;
        if (storageOf(meta) == QTMetaData::Storage::NamedKeys)
            dropLastKeys(meta, removedKeys);
        const auto isEmptyFrame = [](const Cow<Atom>& child) {
            return child->type == "hdlr"_cc || child->type == "keys"_cc || child->type == "free"_cc
                || (child->type == "ilst"_cc && child->children.empty() && child->tail.empty());
        };
        return std::all_of(meta.children.begin(), meta.children.end(), isEmptyFrame);
    }

    bool hasNamedKeys(const Atom& atom)
    {
        return atom.type == "meta"_cc && atom.isContainer
            && storageOf(atom) == QTMetaData::Storage::NamedKeys;
    }

    /// The `meta` with named keys, in the parent or in its user data, or null.
    const Atom* findNamedKeys(const Atom& parent)
    {
        for (const auto& child : parent.children)
            if (hasNamedKeys(*child))
                return &*child;
        for (const auto& child : parent.children)
            if (child->type == "udta"_cc)
                for (const auto& item : child->children)
                    if (hasNamedKeys(*item))
                        return &*item;
        return nullptr;
    }

    /// The same for changing; it must be there.
    Atom& editNamedKeys(Atom& parent)
    {
        const auto* wanted = findNamedKeys(parent);
        for (auto& child : parent.children) {
            if (&*child == wanted)
                return child.edit();
            if (child->type != "udta"_cc)
                continue;
            for (std::size_t i = 0; i < child->children.size(); ++i)
                if (&*child->children[i] == wanted)
                    return child.edit().children[i].edit();
        }
        RW_ASSERT(false);
        return parent;
    }

    /// Plain also in ISO files, as phones write it: of those with version and flags many programs read no
    /// named keys.
    Atom newMeta()
    {
        auto meta = Atom::container("meta"_cc);
        // Version and flags, component type; subtype; maker, flags and mask; an empty name.
        meta.append(Atom {"hdlr"_cc, ByteWriter {}.zeros(8).fourCC(kNamedKey).zeros(13).toBytes()});
        return meta;
    }

} // namespace

std::string QTMetaData::Item::shownKey() const
{
    return keyFormat == kUserDataKey ? reversedText(key) : key;
}

std::optional<std::string> QTMetaData::Item::text() const
{
    const auto end = std::find(value.span().begin(), value.span().end(), std::byte {});
    const auto bytes = value.span().first(static_cast<std::size_t>(end - value.span().begin()));
    switch (dataType) {
    case kUtf8:
    case kOtherText:
        return decodeText(bytes);
    case kMacRoman:
        return decodeMacRoman(bytes);
    default:
        return std::nullopt;
    }
}

std::optional<std::string> QTMetaData::Item::anyText() const
{
    if (!isText())
        return std::nullopt;
    return dataType == kUtf16 ? decodeUtf16(value.span()) : text();
}

bool QTMetaData::Item::isText() const
{
    if (dataType == kOtherText)
        return !holdsAtoms(value.span());
    return dataType == kUtf8 || dataType == kUtf16 || dataType == kMacRoman;
}

Result<Bytes> QTMetaData::Item::encode(std::string_view utf8) const
{
    const auto refused = [this](std::string_view why) {
        return failure(MovieError::Code::Refused, {},
            fmt::format("the value of the metadata key \"{}\" cannot be written: {}", shownKey(), why));
    };
    if (utf8.find('\0') != std::string_view::npos)
        return refused("it has a zero character in it");
    std::string bytes {utf8};
    if (dataType == kUtf16) {
        bytes = encodeUtf16(utf8);
    } else if (dataType == kMacRoman) {
        auto roman = encodeMacRoman(utf8);
        if (!roman)
            return refused("the item holds Mac Roman text, which has not all of its characters; remove the "
                           "item, and set the key anew");
        if (storage != Storage::UserData && *roman != utf8)
            return refused("the item holds text of an old kind, in which readers agree on ASCII characters "
                           "only; remove the item, and set the key anew");
        bytes = std::move(*roman);
    }
    if (storage == Storage::UserData && bytes.size() + sizeof kByteOrderMark > kMaxUserDataText)
        return refused(fmt::format("it is too long for an item of user data, {} bytes", bytes.size()));
    return Bytes::copyOf(bytes);
}

QTMetaData QTMetaData::ofMovie(const QTMovie& movie)
{
    return of(movie.header());
}

QTMetaData QTMetaData::ofTrack(const QTTrack& track)
{
    return of(track.atom());
}

QTMetaData QTMetaData::of(const Atom& parent)
{
    struct Meta
    {
        List list;
        const Atom* atom;
    };
    std::vector<Meta> metas;
    QTMetaData result;
    for (std::size_t i = 0; i < parent.children.size(); ++i) {
        const auto& child = *parent.children[i];
        if (child.type == "meta"_cc)
            metas.push_back({{i, std::nullopt, true}, &child});
        if (child.type != "udta"_cc)
            continue;
        result.m_lists.push_back({i, std::nullopt, false});
        result.addUserData(child, result.m_lists.size() - 1);
        for (std::size_t k = 0; k < child.children.size(); ++k)
            if (child.children[k]->type == "meta"_cc)
                metas.push_back({{i, k, true}, &*child.children[k]});
    }
    for (const auto storage : {Storage::NamedKeys, Storage::ShortKeys})
        for (const auto& meta : metas)
            if (storageOf(*meta.atom) == storage) {
                result.m_lists.push_back(meta.list);
                result.addMeta(*meta.atom, storage, result.m_lists.size() - 1);
            }
    return result;
}

void QTMetaData::addItem(Item item, Place place)
{
    m_items.push_back(std::move(item));
    m_places.push_back(place);
}

void QTMetaData::addUserData(const Atom& list, std::size_t listNumber)
{
    for (std::size_t entry = 0; entry < list.children.size(); ++entry) {
        const auto& child = *list.children[entry];
        if (child.type == "meta"_cc)
            continue;
        Item item;
        item.keyFormat = kUserDataKey;
        item.key = reversedText(characters(child.type));
        item.value = payloadOf(child);
        const auto payload = item.value;
        const auto texts = textsOf(child);
        for (std::size_t index = 0; index < texts.size(); ++index) {
            const auto& text = texts[index];
            const auto offset = static_cast<std::size_t>(text.bytes.data() - payload.span().data());
            const std::size_t mark = text.isUtf16() ? sizeof kByteOrderMark : 0;
            item.dataType = text.isMacintosh() ? kMacRoman : text.isUtf16() ? kUtf16 : kUtf8;
            item.locale = text.language;
            item.value = payload.slice(offset + mark, text.bytes.size() - mark);
            addItem(item, {listNumber, entry, index});
        }
        if (texts.empty())
            addItem(std::move(item), {listNumber, entry, 0});
    }
}

void QTMetaData::addMeta(const Atom& meta, Storage storage, std::size_t listNumber)
{
    const auto* list = meta.find("ilst"_cc);
    if (!list)
        return;
    for (std::size_t entry = 0; entry < list->children.size(); ++entry) {
        const auto& atom = *list->children[entry];
        Item item;
        item.storage = storage;
        if (!readKey(meta, atom, item))
            continue;
        for (std::size_t index = 0; index < atom.children.size(); ++index) {
            const auto& data = *atom.children[index];
            if (data.type != "data"_cc)
                continue;
            ByteReader in {data.head.span()};
            item.dataType = in.u32();
            item.locale = in.u32();
            if (!in.ok())
                continue;
            item.value = data.head.slice(in.position());
            addItem(item, {listNumber, entry, index});
        }
    }
}

void QTMetaData::apply(Atom& parent, const std::vector<Change>& changes) const
{
    // From the back, so that a `meta` of the user data is done before items beside it go.
    std::set<std::uint64_t> gone;
    for (auto last = changes.size(); last > 0;) {
        const auto number = m_places[changes[last - 1].item].list;
        auto first = last;
        while (first > 0 && m_places[changes[first - 1].item].list == number)
            --first;
        const auto& list = m_lists[number];
        auto& outer = parent.children[list.child].edit();
        auto& atom = list.grandchild ? outer.children[*list.grandchild].edit() : outer;
        std::vector<EntryChange> entries;
        for (auto i = first; i < last; ++i) {
            const auto& place = m_places[changes[i].item];
            if (entries.empty() || entries.back().entry != place.entry)
                entries.push_back({place.entry, {}});
            entries.back().values.emplace_back(place.index, changes[i].value);
        }
        if (list.isMeta ? changeMeta(atom, entries) : changeUserData(atom, entries))
            gone.insert(atom.id);
        last = first;
    }
    if (gone.empty())
        return;
    const auto goes = [&](const Cow<Atom>& child) { return gone.contains(child->id); };
    for (auto& child : parent.children)
        if (child->type == "udta"_cc && std::any_of(child->children.begin(), child->children.end(), goes))
            std::erase_if(child.edit().children, goes);
    std::erase_if(parent.children, goes);
}

Result<void> QTMetaData::add(Atom& parent, const std::vector<NewItem>& added)
{
    if (added.empty())
        return {};
    const auto* present = findNamedKeys(parent);
    const auto* keys = present ? present->find("keys"_cc) : nullptr;
    if (keys) {
        ByteReader in {keys->head.span()};
        in.skip(4); // version and flags
        const auto count = in.u32();
        if (!in.ok() || count != keys->children.size())
            return failure(MovieError::Code::Corrupt, "meta/keys",
                "the table of metadata keys is damaged; a new key cannot be added to it", keys->sourceOffset);
    }
    if (const auto* list = present ? present->find("ilst"_cc) : nullptr; list && !list->isContainer)
        return failure(MovieError::Code::Unsupported, "meta/ilst",
            "the list of metadata has more items than can be read; none can be added", list->sourceOffset);
    auto& meta = present ? editNamedKeys(parent) : parent.append(newMeta());
    auto& table = meta.ensure("keys"_cc);
    if (table.head.empty())
        table.head = ByteWriter {}.zeros(8).toBytes();
    table.isContainer = true;
    // Behind the keys, whose numbers its items are.
    auto& list = meta.find("ilst"_cc) ? *meta.edit("ilst"_cc) : meta.append(Atom::container("ilst"_cc));
    std::unordered_map<std::string, std::uint32_t> numbers;
    std::uint32_t number = 0;
    for (const auto& key : table.children) {
        ++number;
        if (key->type == kNamedKey)
            numbers.emplace(decodeText(payloadOf(*key).span()), number);
    }
    for (const auto& item : added) {
        const auto [known, isNew] = numbers.emplace(item.key, number + 1);
        if (isNew) {
            ++number;
            table.append(Atom {kNamedKey, Bytes::copyOf(item.key)});
        }
        auto entry = Atom::container(FourCC {known->second});
        entry.append(Atom {"data"_cc, ByteWriter {}.u32(kUtf8).u32(0).text(item.text).toBytes()});
        list.append(std::move(entry));
    }
    table.head = keysHead(table);
    return {};
}

QTMetaData QTMetaDataReference::read() const
{
    if (!m_track)
        return QTMetaData::ofMovie(*m_movie);
    const QTTrack track {*m_movie, *m_track};
    return track.isValid() ? QTMetaData::ofTrack(track) : QTMetaData {};
}

Atom* QTMetaDataReference::edit(QTMovie& movie) const
{
    if (!movie.isEditable())
        return nullptr;
    return m_track ? QTTrack {movie, *m_track}.editAtom() : &movie.editHeader();
}

} // namespace reelwright
