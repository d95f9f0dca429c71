#pragma once

#include "movie/Result.h"
#include "report/Json.h"

#include <string>
#include <string_view>
#include <vector>

namespace reelwright {

/// Names one or more values in the facts about a movie (`factsJson`): "naturalSize.width",
/// "tracks[v1].attributes.pixelAspectRatio", "tracks[a*].channels", "metadata[com.apple.proapps.reel]",
/// "chapters.count".
class FieldPath
{
public:
    /// Errors: a sentence about a path that cannot be read, or that names nothing which facts have.
    static Result<FieldPath> parse(std::string_view text);

    struct Found
    {
        std::string name; ///< the path with the place that was meant: "tracks[a2].channels"
        Json value; ///< null for what the file does not say
    };
    /// Empty where a list has nothing of that name: a track, a key.
    [[nodiscard]] std::vector<Found> find(const Json& facts) const;
    [[nodiscard]] const std::string& text() const { return m_text; }

private:
    struct Step
    {
        std::string name;
        bool isKey = false; ///< in brackets: one or more of a list
    };
    [[nodiscard]] Result<void> checkKnown() const;

    std::string m_text;
    std::vector<Step> m_steps;
};

} // namespace reelwright
