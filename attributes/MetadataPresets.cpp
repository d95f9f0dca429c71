#include "attributes/MetadataPresets.h"

#include "support/KWLocalPaths.h"
#include "support/KWLog.h"
#include "support/PropertyList.h"

#include <unordered_map>

namespace reelwright {
namespace {

    struct Presets
    {
        std::vector<MetadataPresets::Group> groups;
        struct Place
        {
            std::size_t group = 0;
            std::size_t key = 0;
        };
        std::unordered_map<std::string, Place> places; ///< by key
        std::unordered_map<std::string, std::string> keys; ///< by description
    };

    Presets load()
    {
        Presets presets;
        const auto path = KWLocalPaths::resourceDirectory() + "/metadata.plist";
        const auto list = readPropertyList(path);
        if (!list)
            KWLog::appendLog("Unable to read metadata presets: {}", path);
        for (const auto& entry : list ? list->array : std::vector<PropertyListValue> {}) {
            MetadataPresets::Group group {entry.textOf("name"), {}};
            for (const auto& key : entry.arrayOf("keys")) {
                group.keys.push_back({key.textOf("key"), key.textOf("name")});
                presets.keys.emplace(group.name + ": " + key.textOf("name"), key.textOf("key"));
                presets.places.insert_or_assign(
                    group.keys.back().key, Presets::Place {presets.groups.size(), group.keys.size() - 1});
            }
            presets.groups.push_back(std::move(group));
        }
        return presets;
    }

    const Presets& presets()
    {
        static const Presets kPresets = load();
        return kPresets;
    }

    const Presets::Place* placeOf(const std::string& key)
    {
        const auto place = presets().places.find(key);
        return place == presets().places.end() ? nullptr : &place->second;
    }

} // namespace

const std::vector<MetadataPresets::Group>& MetadataPresets::groups()
{
    return presets().groups;
}

std::string MetadataPresets::description(const std::string& key)
{
    return placeOf(key) ? groupName(key) + ": " + name(key) : std::string {};
}

std::string MetadataPresets::keyNamed(const std::string& description)
{
    const auto place = presets().keys.find(description);
    return place == presets().keys.end() ? std::string {} : place->second;
}

std::string MetadataPresets::name(const std::string& key)
{
    const auto* place = placeOf(key);
    return place ? presets().groups[place->group].keys[place->key].name : key;
}

std::string MetadataPresets::groupName(const std::string& key)
{
    const auto* place = placeOf(key);
    return place ? presets().groups[place->group].name : std::string {};
}

} // namespace reelwright
