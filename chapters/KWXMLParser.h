#pragma once

#include <pugixml.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// XPath queries on an XML document. Keeps no state. A query that cannot be answered is logged and selects
/// nothing. Documents come from a file alone: no entity that a document declares is followed, to another file
/// or at all.
class KWXMLParser
{
public:
    using Nodes = std::vector<pugi::xpath_node>;

    /// Larger files are not read. Units: bytes.
    static constexpr std::uintmax_t kMaxSize = 512U << 20U;

    /// False for a file that cannot be read or does not parse; the document is then empty.
    static bool load(const std::string& path, pugi::xml_document& document);

    /// The selected nodes in the order of the document.
    static Nodes nodesForQuery(const std::string& query, const pugi::xml_node& element);
    /// The string value of the first selected node.
    static std::optional<std::string> stringValueForQuery(
        const std::string& query, const pugi::xml_node& element);
    /// The first selected node; a null one when none is selected.
    static pugi::xpath_node nodeForQuery(const std::string& query, const pugi::xml_node& element);

    /// A query as it is asked: "&", carriage returns and what lies behind ASCII as references, control
    /// characters left out. UTF-8.
    static std::string escapeQueryString(std::string_view query);
    /// The same query without steps that are unions in parentheses, which XPath 1.0 does not have:
    /// "a/(b | c)/d" is "a/*[self::b or self::c]/d".
    static std::string withoutUnionSteps(std::string_view query);
};

} // namespace reelwright
