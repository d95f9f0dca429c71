#include "checks/FieldPath.h"

#include "report/FactsJson.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace reelwright {
namespace {

    tl::unexpected<MovieError> wrong(std::string why)
    {
        return failure(MovieError::Code::Refused, {}, std::move(why));
    }

    /// Facts in which every member that there can be is there, to tell a name that was mistyped.
    const Json& everything()
    {
        static const Json kFacts = [] {
            TrackFacts track;
            track.mediaType = QTMediaTypeTimeCode;
            track.timecode.emplace();
            track.attributes.emplace().color.emplace();
            track.shownSize.emplace();
            track.apertures.emplace();
            track.apertures->clean = track.apertures->production = track.apertures->encoded = PixelSize {};
            MovieFacts facts;
            facts.chapters.emplace_back();
            facts.tracks.push_back(std::move(track));
            return factsJson(facts);
        }();
        return kFacts;
    }

    std::vector<std::string> namesOf(const Json& object)
    {
        std::vector<std::string> names;
        for (const auto& [name, value] : object.items())
            names.push_back(name);
        if (object.is_array())
            names = {"count"};
        return names;
    }

    std::string textOf(const Json& object, const char* member)
    {
        const auto found = object.is_object() ? object.find(member) : object.end();
        if (found == object.end() || found->is_null())
            return {};
        return found->is_string() ? found->get<std::string>() : found->dump();
    }

    /// What an element of a list is called: a track's place, a metadata item's key, or its number from 1.
    std::string nameOf(const Json& element, std::size_t index)
    {
        for (const auto* member : {"place", "key"})
            if (auto text = textOf(element, member); !text.empty())
                return text;
        return std::to_string(index + 1);
    }

    /// "*" is every element, "v*" those whose place is of that kind, a number of a track its ID.
    bool isMeant(const Json& element, std::size_t index, const std::string& key)
    {
        const auto name = nameOf(element, index);
        if (key == "*" || key == name)
            return true;
        const bool isTrack = element.is_object() && element.contains("place");
        if (isTrack && textOf(element, "id") == key)
            return true;
        return isTrack && key.ends_with('*') && name.starts_with(key.substr(0, key.size() - 1))
            && name.find_first_of("0123456789") == key.size() - 1;
    }

} // namespace

Result<FieldPath> FieldPath::parse(std::string_view text)
{
    FieldPath path;
    path.m_text = text;
    bool needsName = true;
    while (!text.empty() || needsName) {
        if (!needsName && text.front() == '[') {
            const auto end = text.find(']');
            if (end == std::string_view::npos)
                return wrong(fmt::format("\"{}\" lacks a \"]\"", path.m_text));
            if (end == 1)
                return wrong(fmt::format("\"{}\" has nothing between its brackets", path.m_text));
            path.m_steps.push_back({std::string(text.substr(1, end - 1)), true});
            text.remove_prefix(end + 1);
            continue;
        }
        if (!needsName && text.front() != '.')
            return wrong(fmt::format("\"{}\" lacks a \".\" behind its \"]\"", path.m_text));
        if (!needsName)
            text.remove_prefix(1);
        needsName = false;
        const auto end = std::min(text.find_first_of(".["), text.size());
        if (end == 0)
            return wrong(
                path.m_text.empty() ? "it is empty" : fmt::format("\"{}\" lacks a name", path.m_text));
        path.m_steps.push_back({std::string(text.substr(0, end)), false});
        text.remove_prefix(end);
    }
    RW_CHECK(path.checkKnown());
    return path;
}

Result<void> FieldPath::checkKnown() const
{
    const auto* at = &everything();
    for (const auto& [name, isKey] : m_steps) {
        if (isKey) {
            if (!at->is_array() && !at->is_null())
                return wrong(fmt::format("in \"{}\", [{}] stands behind what is no list", m_text, name));
            if (at->is_null() || at->empty())
                return {}; // what a file has there is its own affair
            at = &at->front();
            continue;
        }
        if (at->is_array() && name == "count")
            return {};
        if (at->is_null())
            return {};
        const bool isOpen = at->is_object() && at->empty(); // references: as many kinds as there are
        if (isOpen)
            return {};
        if (name == "count" && at->is_object() && m_steps.size() > 1)
            return {}; // of the elements that brackets name
        if (!at->is_object() || !at->contains(name))
            return wrong(at->is_object() || at->is_array()
                    ? fmt::format(
                        "\"{}\" is no field there; there are: {}", name, fmt::join(namesOf(*at), ", "))
                    : fmt::format("\"{}\" has no fields of its own, so no \"{}\"", m_text, name));
        at = &(*at)[name];
    }
    return {};
}

std::vector<FieldPath::Found> FieldPath::find(const Json& facts) const
{
    std::vector<Found> found {{{}, facts}};
    bool wasKey = false;
    for (const auto& [name, isKey] : m_steps) {
        if (name == "count" && !isKey && wasKey)
            return {{m_text, found.size()}};
        std::vector<Found> next;
        for (auto& [path, value] : found) {
            if (isKey) {
                for (std::size_t i = 0; value.is_array() && i < value.size(); ++i)
                    if (isMeant(value[i], i, name)) {
                        const bool isItem = value[i].is_object() && value[i].contains("key");
                        next.push_back({fmt::format("{}[{}]", path, nameOf(value[i], i)),
                            isItem ? value[i]["value"] : value[i]});
                    }
                continue;
            }
            auto whole = path.empty() ? name : path + '.' + name;
            if (name == "count" && value.is_array())
                next.push_back({std::move(whole), value.size()});
            else if (value.is_object() && value.contains(name))
                next.push_back({std::move(whole), value[name]});
            else
                next.push_back({std::move(whole), nullptr});
        }
        found = std::move(next);
        wasKey = isKey;
    }
    return found;
}

} // namespace reelwright
