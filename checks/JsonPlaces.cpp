#include "checks/JsonPlaces.h"

#include <fmt/format.h>

#include <algorithm>

namespace reelwright {

JsonPlaces::JsonPlaces(std::string_view text)
    : m_text(text)
{
    if (m_text.starts_with("\xEF\xBB\xBF"))
        m_at = 3;
    readValue({}, 0);
}

std::string JsonPlaces::of(std::string pointer) const
{
    auto known = m_offsets.find(pointer);
    while (known == m_offsets.end() && !pointer.empty()) {
        pointer.resize(pointer.rfind('/'));
        known = m_offsets.find(pointer);
    }
    return at(m_text, known == m_offsets.end() ? 0 : known->second);
}

std::string JsonPlaces::at(std::string_view text, std::size_t offset)
{
    const auto before = text.substr(0, offset);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const auto lineBegin = before.rfind('\n') + 1; // 0 where there is none
    return fmt::format("{}:{}", lines + 1, before.size() - lineBegin + 1);
}

void JsonPlaces::skipSpace()
{
    while (m_at < m_text.size()) {
        const auto rest = m_text.substr(m_at);
        if (rest.starts_with("//"))
            m_at += std::min(rest.find('\n'), rest.size());
        else if (rest.starts_with("/*"))
            m_at += std::min(rest.find("*/", 2), rest.size() - 2) + 2;
        else if (std::string_view {" \t\r\n"}.find(rest.front()) != std::string_view::npos)
            ++m_at;
        else
            return;
    }
}

/// A text between quotation marks, as it stands there.
std::string JsonPlaces::readText()
{
    std::string text;
    for (++m_at; m_at < m_text.size() && m_text[m_at] != '"'; ++m_at) {
        if (m_text[m_at] == '\\' && m_at + 1 < m_text.size())
            text += m_text[m_at++];
        text += m_text[m_at];
    }
    ++m_at;
    return text;
}

void JsonPlaces::readValue(const std::string& pointer, int depth)
{
    skipSpace();
    if (m_at >= m_text.size() || depth > kDeepest)
        return;
    m_offsets.emplace(pointer, m_at);
    const char first = m_text[m_at];
    if (first == '"') {
        readText();
        return;
    }
    if (first != '{' && first != '[') {
        m_at = std::min(m_text.find_first_of(",]} \t\r\n/", m_at), m_text.size());
        return;
    }
    const char end = first == '{' ? '}' : ']';
    ++m_at;
    for (std::size_t index = 0;; ++index) {
        skipSpace();
        if (m_at >= m_text.size())
            return;
        if (m_text[m_at] == end) {
            ++m_at;
            return;
        }
        auto member = std::to_string(index);
        if (first == '{') {
            member = readText();
            skipSpace();
            ++m_at; // the colon
        }
        const auto before = m_at;
        readValue(pointer + '/' + member, depth + 1);
        skipSpace();
        if (m_at < m_text.size() && m_text[m_at] == ',')
            ++m_at;
        else if (m_at == before)
            return; // too deep, or no text that a parser took
    }
}

int jsonDepth(std::string_view text)
{
    int depth = 0;
    int deepest = 0;
    bool isInText = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        if (isInText) {
            if (character == '\\')
                ++i;
            else if (character == '"')
                isInText = false;
            continue;
        }
        if (character == '"')
            isInText = true;
        else if (character == '{' || character == '[')
            deepest = std::max(deepest, ++depth);
        else if (character == '}' || character == ']')
            --depth;
    }
    return deepest;
}

} // namespace reelwright
