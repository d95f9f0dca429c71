#include "report/Changes.h"

#include "report/FactsJson.h"
#include "report/Printable.h"

#include <fmt/format.h>

#include <map>
#include <utility>

namespace reelwright {
namespace {

    /// The movie with its tracks as members named by their IDs, without its chapters.
    Json comparable(const MovieFacts& facts)
    {
        auto json = movieJson(facts);
        json.erase("chapters");
        auto tracks = Json::object();
        for (auto& track : json["tracks"]) {
            const auto id = toText(track["id"], JsonStyle::OneLine);
            auto name = id;
            for (int copy = 2; tracks.contains(name); ++copy) // damaged files give one ID twice
                name = fmt::format("{}({})", id, copy);
            tracks[name] = track;
        }
        json["tracks"] = std::move(tracks);
        return json;
    }

    bool isTime(const Json& json)
    {
        return json.is_object() && json.contains("timecode") && json.contains("scale");
    }

    void compare(const Json& before, const Json& after, const std::string& path, std::vector<Change>& changes)
    {
        if (before == after)
            return;
        if (!before.is_object() || !after.is_object() || isTime(before)) {
            changes.push_back({path, before, after});
            return;
        }
        const auto below = [&](const std::string& name) { return path.empty() ? name : path + '/' + name; };
        for (const auto& [name, value] : before.items())
            compare(value, after.contains(name) ? after.at(name) : Json {}, below(name), changes);
        for (const auto& [name, value] : after.items())
            if (!before.contains(name))
                compare(Json {}, value, below(name), changes);
    }

    /// Chapters by their starts; of several at one time, in their order.
    std::map<std::pair<QTTime, int>, const ChapterFact*> byStart(const std::vector<ChapterFact>& chapters)
    {
        std::map<std::pair<QTTime, int>, const ChapterFact*> ordered;
        for (const auto& chapter : chapters)
            for (int copy = 0; !ordered.try_emplace({chapter.start.time, copy}, &chapter).second;)
                ++copy;
        return ordered;
    }

    /// There may be thousands: each counts as one value, named by its start.
    void compareChapters(const MovieFacts& before, const MovieFacts& after, std::vector<Change>& changes)
    {
        const auto former = byStart(before.chapters);
        const auto present = byStart(after.chapters);
        auto was = former.begin();
        auto is = present.begin();
        while (was != former.end() || is != present.end()) {
            const bool isGone = is == present.end() || (was != former.end() && was->first < is->first);
            const bool isNew = was == former.end() || (is != present.end() && is->first < was->first);
            const auto& start = isGone ? was->second->start : is->second->start;
            const auto name = [](const auto& place) { return Json(place->second->name); };
            if (isGone || isNew || was->second->name != is->second->name)
                changes.push_back(
                    {"chapters/" + start.timecode, isNew ? Json {} : name(was), isGone ? Json {} : name(is)});
            if (!isNew)
                ++was;
            if (!isGone)
                ++is;
        }
    }

} // namespace

std::vector<Change> changesBetween(const MovieFacts& before, const MovieFacts& after)
{
    std::vector<Change> changes;
    compare(comparable(before), comparable(after), {}, changes);
    compareChapters(before, after, changes);
    return changes;
}

std::string valueText(const Json& value)
{
    if (value.is_null())
        return "none";
    if (value.is_boolean())
        return value.get<bool>() ? "on" : "off";
    if (value.is_string())
        return printable(value.get<std::string>());
    if (isTime(value))
        return fmt::format("{} ({}/{})", value.at("timecode").get<std::string>(),
            value.at("value").get<std::int64_t>(), value.at("scale").get<std::int64_t>());
    if (value.is_array()) {
        std::string items;
        for (const auto& item : value)
            items += (items.empty() ? "" : " ") + valueText(item);
        return '[' + items + ']';
    }
    return printable(toText(value, JsonStyle::OneLine));
}

} // namespace reelwright
