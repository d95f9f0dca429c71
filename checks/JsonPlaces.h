#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace reelwright {

/// Where the values of a JSON text stand in it, so that what is wrong with one of them can be told with its
/// place.
class JsonPlaces
{
public:
    static constexpr int kDeepest = 64; ///< lists and objects within each other

    /// Of a text that a parser took, with or without comments. What lies deeper than kDeepest has the place
    /// of what holds it.
    explicit JsonPlaces(std::string_view text);

    /// Of the value at that pointer ("/rules/2/field", counted from 0), or of the nearest one that holds it:
    /// "3:5", line and column from 1.
    [[nodiscard]] std::string of(std::string pointer) const;
    /// The place of an offset in a text.
    static std::string at(std::string_view text, std::size_t offset);

private:
    void skipSpace();
    void readValue(const std::string& pointer, int depth);
    std::string readText();

    std::string_view m_text;
    std::size_t m_at = 0;
    std::map<std::string, std::size_t> m_offsets;
};

/// The deepest nesting of lists and objects in a text, whatever else is wrong with it.
int jsonDepth(std::string_view text);

} // namespace reelwright
