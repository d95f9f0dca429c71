#pragma once

#include <string>
#include <vector>

namespace reelwright {

/// The metadata keys that are offered, in groups, from the program's resource "metadata.plist".
struct MetadataPresets
{
    struct Key
    {
        std::string key; ///< "com.apple.quicktime.make"
        std::string name; ///< "Make"
    };
    struct Group
    {
        std::string name; ///< "Camera"
        std::vector<Key> keys;
    };

    /// Read at the first use, and kept. Empty when the resource is missing or damaged, as the log then says.
    static const std::vector<Group>& groups();
    /// "Camera: Make" of a key that is offered, else nothing.
    static std::string description(const std::string& key);
    /// The key of such a description, else nothing.
    static std::string keyNamed(const std::string& description);
    /// What the name of a description is without its group: "Make"; the key itself where it is not offered.
    static std::string name(const std::string& key);
    /// The group of a key, or nothing.
    static std::string groupName(const std::string& key);
};

} // namespace reelwright
