#include "support/PropertyList.h"

#include "support/BinaryPropertyList.h"
#include "support/PropertyListParser.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>

namespace reelwright {
namespace {

    std::size_t occurrences(std::string_view text, std::string_view word)
    {
        std::size_t count = 0;
        for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + word.size()))
            ++count;
        return count;
    }

    PropertyListValue valueOf(plist_t node)
    {
        PropertyListValue value;
        switch (plist_get_node_type(node)) {
        case PLIST_STRING: {
            std::uint64_t length = 0;
            if (const char* text = plist_get_string_ptr(node, &length))
                value.text.assign(text, static_cast<std::size_t>(length));
            break;
        }
        case PLIST_ARRAY:
            for (std::uint32_t i = 0; i < plist_array_get_size(node); ++i)
                value.array.push_back(valueOf(plist_array_get_item(node, i)));
            break;
        case PLIST_DICT: {
            plist_dict_iter position = nullptr;
            plist_dict_new_iter(node, &position);
            for (;;) {
                char* key = nullptr;
                plist_t item = nullptr;
                plist_dict_next_item(node, position, &key, &item);
                if (!key)
                    break;
                value.dictionary.insert_or_assign(key, valueOf(item));
                std::free(key);
            }
            std::free(position);
            break;
        }
        default:
            break;
        }
        return value;
    }

} // namespace

plist_t parsePropertyList(const std::string& bytes)
{
    constexpr std::size_t kMaxContainers = 4096;
    if (occurrences(bytes, "<array") + occurrences(bytes, "<dict") > kMaxContainers)
        return nullptr;
    const auto size = static_cast<std::uint32_t>(bytes.size());
    const bool isBinary = plist_is_binary(bytes.data(), size) != 0;
    // Of a text with a zero in it the library keeps the whole length but only the characters before it.
    if (isBinary ? !isSoundBinaryPropertyList(bytes) : bytes.find('\0') != std::string::npos)
        return nullptr;
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), size, &root);
    return root;
}

std::string PropertyListValue::textOf(const std::string& key) const
{
    const auto place = dictionary.find(key);
    return place == dictionary.end() ? std::string {} : place->second.text;
}

const std::vector<PropertyListValue>& PropertyListValue::arrayOf(const std::string& key) const
{
    static const std::vector<PropertyListValue> kNone;
    const auto place = dictionary.find(key);
    return place == dictionary.end() ? kNone : place->second.array;
}

std::optional<PropertyListValue> readPropertyList(const std::string& path)
{
    constexpr std::size_t kMaxSize = 1'000'000;
    std::ifstream file {path, std::ios::binary};
    const std::string bytes {std::istreambuf_iterator<char>(file), {}};
    if (!file || bytes.size() > kMaxSize)
        return std::nullopt;
    plist_t root = parsePropertyList(bytes);
    if (!root)
        return std::nullopt;
    auto value = valueOf(root);
    plist_free(root);
    return value;
}

} // namespace reelwright
