#include "report/Changes.h"

#include "report/FactsJson.h"
#include "report/Printable.h"
#include "tracks/TextStyleJson.h"

#include <fmt/format.h>

#include <map>
#include <utility>

namespace reelwright {
namespace {

    /// Tracks by their IDs, in order; damaged files give one ID twice.
    struct NamedTrack
    {
        std::string name;
        const TrackFacts* facts = nullptr;
    };
    std::vector<NamedTrack> namedTracks(const MovieFacts& facts)
    {
        std::vector<NamedTrack> tracks;
        std::map<std::uint32_t, int> counts;
        for (const auto& track : facts.tracks) {
            const int count = ++counts[track.id];
            tracks.push_back(
                {count == 1 ? std::to_string(track.id) : fmt::format("{}({})", track.id, count), &track});
        }
        return tracks;
    }

    /// A text that fits a line or two; the whole of it is in the JSON form.
    std::string shortened(const std::string& text)
    {
        constexpr std::size_t kMost = 300;
        if (text.size() <= kMost)
            return text;
        auto end = kMost;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
            --end;
        return fmt::format("{}... ({} bytes)", text.substr(0, end), text.size());
    }

    bool isTime(const Json& json)
    {
        return json.is_object() && json.contains("timecode") && json.contains("scale");
    }

    bool isTrack(const Json& json)
    {
        return json.is_object() && json.contains("typeCode") && json.contains("duration");
    }

    /// A track that came or went: "Text track tx1 \"Titles\", text, 00:00:03:00, disabled".
    std::string trackText(const Json& track)
    {
        auto text = fmt::format("{} track {}", valueText(track.at("type")), valueText(track.at("place")));
        if (const auto& name = track.at("name"); name.is_string() && name != "")
            text += fmt::format(" \"{}\"", valueText(name));
        if (const auto& format = track.at("format"); format.is_string())
            text += ", " + valueText(format);
        text += ", " + valueText(track.at("duration").at("timecode"));
        return track.at("enabled") == true ? text : text + ", disabled";
    }

    /// The texts of metadata by key; further items of a key as "KEY(2)".
    std::map<std::string, const MetadataFact*> named(const std::vector<MetadataFact>& facts)
    {
        std::map<std::string, const MetadataFact*> names;
        std::map<std::string, int> counts;
        for (const auto& fact : facts)
            if (const int count = ++counts[fact.key]; count == 1)
                names.emplace(fact.key, &fact);
            else
                names.emplace(fmt::format("{}({})", fact.key, count), &fact);
        return names;
    }

    /// Values are compared as bytes, which costs nothing where both are the same.
    void compareMetadata(const std::vector<MetadataFact>& before, const std::vector<MetadataFact>& after,
        const std::string& path, std::vector<Change>& changes)
    {
        const auto isSame = [](const MetadataFact& a, const MetadataFact& b) {
            return a.item.storage == b.item.storage && a.item.dataType == b.item.dataType
                && a.item.locale == b.item.locale && a.item.value == b.item.value;
        };
        const auto old = named(before);
        const auto now = named(after);
        for (const auto& [name, fact] : old)
            if (const auto other = now.find(name); other == now.end())
                changes.push_back({path + name, metadataText(*fact), Json {}});
            else if (!isSame(*fact, *other->second))
                changes.push_back({path + name, metadataText(*fact), metadataText(*other->second)});
        for (const auto& [name, fact] : now)
            if (!old.contains(name))
                changes.push_back({path + name, Json {}, metadataText(*fact)});
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

    /// Texts are compared by themselves.
    Json comparable(const TrackFacts& facts)
    {
        auto json = trackJson(facts);
        json.erase("texts");
        return json;
    }

    void compareTracks(const MovieFacts& before, const MovieFacts& after, std::vector<Change>& changes)
    {
        const auto old = namedTracks(before);
        const auto now = namedTracks(after);
        std::map<std::string_view, const TrackFacts*> known;
        for (const auto& [name, facts] : now)
            known.emplace(name, facts);
        for (const auto& [name, facts] : old) {
            const auto other = known.find(name);
            const auto path = "tracks/" + name;
            if (other == known.end()) {
                compare(comparable(*facts), Json {}, path, changes);
                continue;
            }
            compare(comparable(*facts), comparable(*other->second), path, changes);
            known.erase(other);
        }
        for (const auto& [name, facts] : now) // those that are left are new
            if (known.contains(name))
                compare(Json {}, comparable(*facts), "tracks/" + name, changes);
    }

    /// Chapters by their starts; of several at one time, in their order.
    std::map<std::pair<QTTime, int>, const ChapterFact*> byStart(const std::vector<ChapterFact>& chapters)
    {
        std::map<std::pair<QTTime, int>, const ChapterFact*> ordered;
        std::map<QTTime, int> counts;
        for (const auto& chapter : chapters)
            ordered.emplace(std::pair {chapter.start.time, counts[chapter.start.time]++}, &chapter);
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

    std::map<QTTime, const TextFact*> byStart(const TrackFacts* track)
    {
        std::map<QTTime, const TextFact*> ordered;
        if (track && track->texts)
            for (const auto& text : *track->texts)
                ordered.emplace(text.start.time, &text);
        return ordered;
    }

    /// As chapters. Where the words stay, end and look are told.
    void compareTexts(const TrackFacts* before, const TrackFacts& after, std::vector<Change>& changes)
    {
        const auto path = fmt::format("tracks/{}/texts/", after.id);
        const auto told = [](const TextFact& fact, bool withLook) {
            return Json(withLook ? fmt::format(
                            "{} (until {}, {})", fact.text, fact.end.timecode, textStyle::json(fact.style))
                                 : fact.text);
        };
        const auto former = byStart(before);
        const auto present = byStart(&after);
        for (const auto& [start, fact] : former)
            if (!present.contains(start))
                changes.push_back({path + fact->start.timecode, told(*fact, false), Json {}});
        for (const auto& [start, fact] : present)
            if (const auto was = former.find(start); was == former.end()) {
                changes.push_back({path + fact->start.timecode, Json {}, told(*fact, false)});
            } else if (!(*was->second == *fact)) {
                const bool withLook = was->second->text == fact->text;
                changes.push_back(
                    {path + fact->start.timecode, told(*was->second, withLook), told(*fact, withLook)});
            }
    }

} // namespace

std::vector<Change> changesBetween(const MovieFacts& before, const MovieFacts& after)
{
    std::vector<Change> changes;
    compare(ownJson(before), ownJson(after), {}, changes);
    compareTracks(before, after, changes);
    compareChapters(before, after, changes);
    compareMetadata(before.metadata, after.metadata, "metadata/", changes);
    std::map<std::uint32_t, const TrackFacts*> tracks;
    for (const auto& track : before.tracks)
        tracks.emplace(track.id, &track);
    for (const auto& track : after.tracks) {
        const auto old = tracks.find(track.id);
        if (old != tracks.end())
            compareMetadata(
                old->second->metadata, track.metadata, fmt::format("tracks/{}/metadata/", track.id), changes);
        compareTexts(old != tracks.end() ? old->second : nullptr, track, changes);
    }
    return changes;
}

std::string valueText(const Json& value)
{
    if (value.is_null())
        return "none";
    if (value.is_boolean())
        return value.get<bool>() ? "on" : "off";
    if (value.is_string())
        return value.get_ref<const std::string&>().empty() ? "\"\""
                                                           : printable(shortened(value.get<std::string>()));
    if (value.is_number_float())
        return fmt::format("{:.10g}", value.get<double>());
    if (isTrack(value))
        return trackText(value);
    if (isTime(value))
        return fmt::format("{} ({}/{})", value.at("timecode").get<std::string>(),
            value.at("value").get<std::int64_t>(), value.at("scale").get<std::int64_t>());
    if (value.is_array()) {
        std::string items;
        for (const auto& item : value)
            items += (items.empty() ? "" : " ") + valueText(item);
        return '[' + items + ']';
    }
    if (value.is_object()) {
        std::string members;
        for (const auto& [name, member] : value.items())
            if (!member.is_null()) {
                const auto text = valueText(member);
                members += (members.empty() ? "" : ", ") + name + ' '
                    + (member.is_object() ? '(' + text + ')' : text);
            }
        return members;
    }
    return printable(toText(value, JsonStyle::OneLine));
}

} // namespace reelwright
