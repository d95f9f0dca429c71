#include "movie/QTMetaData.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/UserData.h"

#include <algorithm>

namespace reelwright {
namespace {

    constexpr auto kUserDataKey = "udta"_cc;
    constexpr unsigned char kCopyrightSign = 0xA9;

    std::string reversed(std::string_view utf8)
    {
        std::string result;
        while (!utf8.empty()) {
            std::size_t last = utf8.size() - 1;
            while (last > 0 && (static_cast<unsigned char>(utf8[last]) & 0xC0U) == 0x80U)
                --last;
            result += utf8.substr(last);
            utf8.remove_suffix(utf8.size() - last);
        }
        return result;
    }

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
                item.key = reversed(item.key);
            return true;
        }
        const bool isLong = entry.type == "----"_cc;
        item.keyFormat = isLong ? "itlk"_cc : "itsk"_cc;
        item.key = isLong ? fullText(entry.find("mean"_cc)) + '.' + fullText(entry.find("name"_cc))
                          : characters(entry.type);
        return true;
    }

} // namespace

std::string QTMetaData::Item::shownKey() const
{
    return keyFormat == kUserDataKey ? reversed(key) : key;
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
    std::vector<const Atom*> metas;
    QTMetaData result;
    for (const auto& child : parent.children) {
        if (child->type == "meta"_cc)
            metas.push_back(&*child);
        if (child->type != "udta"_cc)
            continue;
        result.addUserData(*child);
        for (const auto& item : child->children)
            if (item->type == "meta"_cc)
                metas.push_back(&*item);
    }
    for (const auto storage : {Storage::NamedKeys, Storage::ShortKeys})
        for (const auto* meta : metas)
            if (storageOf(*meta) == storage)
                result.addMeta(*meta, storage);
    return result;
}

void QTMetaData::addUserData(const Atom& list)
{
    for (const auto& child : list.children) {
        if (child->type == "meta"_cc)
            continue;
        Item item;
        item.keyFormat = kUserDataKey;
        item.key = reversed(characters(child->type));
        item.value = payloadOf(*child);
        const auto texts = child->type.value >> 24U == kCopyrightSign
            ? userData::texts(item.value.span())
            : std::vector<userData::InternationalText> {};
        for (const auto& text : texts) {
            Item one = item;
            one.dataType = text.isMacintosh() ? kMacRoman : kUtf8;
            one.locale = text.language;
            one.value = Bytes::copyOf(text.bytes);
            m_items.push_back(std::move(one));
        }
        if (texts.empty())
            m_items.push_back(std::move(item));
    }
}

void QTMetaData::addMeta(const Atom& meta, Storage storage)
{
    const auto* list = meta.find("ilst"_cc);
    if (!list)
        return;
    for (const auto& entry : list->children) {
        Item item;
        item.storage = storage;
        if (!readKey(meta, *entry, item))
            continue;
        for (const auto& data : entry->children) {
            if (data->type != "data"_cc)
                continue;
            ByteReader in {data->head.span()};
            item.dataType = in.u32();
            item.locale = in.u32();
            if (!in.ok())
                continue;
            item.value = data->head.slice(in.position());
            m_items.push_back(item);
        }
    }
}

} // namespace reelwright
