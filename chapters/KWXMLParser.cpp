#include "chapters/KWXMLParser.h"

#include "movie/atoms/TextEncoding.h"
#include "support/KWLog.h"
#include "support/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <span>

namespace reelwright {
namespace {

    bool isName(std::string_view text)
    {
        return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-'
                || c == '_' || c == '.';
        });
    }

    /// "*[self::b or self::c]" for "b | c"; nothing when it is no union of names.
    std::optional<std::string> asPredicate(std::string_view names)
    {
        std::string tests;
        for (const auto part : split(names, "|")) {
            const auto name = trimmed(part);
            if (!isName(name))
                return std::nullopt;
            tests += fmt::format("{}self::{}", tests.empty() ? "" : " or ", name);
        }
        return fmt::format("*[{}]", tests);
    }

} // namespace

bool KWXMLParser::load(const std::string& path, pugi::xml_document& document)
{
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error || size > kMaxSize)
        return false;
    const auto parsed = document.load_file(path.c_str());
    if (!parsed) {
        KWLog::appendLog("XML parsing error: {}", parsed.description());
        document.reset();
    }
    return static_cast<bool>(parsed);
}

KWXMLParser::Nodes KWXMLParser::nodesForQuery(const std::string& query, const pugi::xml_node& element)
{
    const auto asked = withoutUnionSteps(escapeQueryString(query));
    try {
        auto selected = element.select_nodes(asked.c_str());
        selected.sort();
        return {selected.begin(), selected.end()};
    } catch (const pugi::xpath_exception& error) {
        KWLog::appendLog("XML parsing error: {}", error.what());
    } catch (const std::bad_alloc&) {
        KWLog::appendLog("XML parsing error: {}", "out of memory");
    }
    return {};
}

pugi::xpath_node KWXMLParser::nodeForQuery(const std::string& query, const pugi::xml_node& element)
{
    const auto nodes = nodesForQuery(query, element);
    return nodes.empty() ? pugi::xpath_node {} : nodes.front();
}

std::optional<std::string> KWXMLParser::stringValueForQuery(
    const std::string& query, const pugi::xml_node& element)
{
    const auto node = nodeForQuery(query, element);
    if (!node)
        return std::nullopt;
    return pugi::xpath_query("string()").evaluate_string(node);
}

std::string KWXMLParser::escapeQueryString(std::string_view query)
{
    constexpr unsigned kFirstEscaped = 160;
    const auto units = encodeUtf16(query, ByteOrder::BigEndian);
    std::string escaped;
    for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
        const auto code = static_cast<unsigned>(static_cast<unsigned char>(units[i])) << 8U
            | static_cast<unsigned char>(units[i + 1]);
        if (code >= kFirstEscaped || code == '\r')
            escaped += fmt::format("&#{};", code);
        else if (code == '&')
            escaped += "&amp;";
        else if (code < 0x20 || code >= 0x7F)
            KWLog::appendLog("Stripped character {}",
                decodeUtf16(std::as_bytes(std::span {units}.subspan(i, 2)), ByteOrder::BigEndian));
        else
            escaped += static_cast<char>(code);
    }
    return escaped;
}

std::string KWXMLParser::withoutUnionSteps(std::string_view query)
{
    std::string rewritten;
    while (true) {
        const auto open = query.find("/(");
        const auto close = open == std::string_view::npos ? open : query.find(')', open);
        if (close == std::string_view::npos)
            return rewritten + std::string(query);
        const auto step = asPredicate(query.substr(open + 2, close - open - 2));
        rewritten += query.substr(0, open + 1);
        rewritten += step ? *step : std::string(query.substr(open + 1, close - open));
        query.remove_prefix(close + 1);
    }
}

} // namespace reelwright
