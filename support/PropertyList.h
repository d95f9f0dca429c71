#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// A value of a property list that is made of texts, arrays and dictionaries: what the program's own
/// resources are. Values of other kinds are empty texts.
struct PropertyListValue
{
    std::string text;
    std::vector<PropertyListValue> array;
    std::map<std::string, PropertyListValue> dictionary;

    /// The text under a key of a dictionary; empty where there is none.
    [[nodiscard]] std::string textOf(const std::string& key) const;
    /// The array under a key of a dictionary; empty where there is none.
    [[nodiscard]] const std::vector<PropertyListValue>& arrayOf(const std::string& key) const;
};

/// Reads a property list file, text or binary. Nothing when it is missing or no property list.
std::optional<PropertyListValue> readPropertyList(const std::string& path);

} // namespace reelwright
