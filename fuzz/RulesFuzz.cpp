// Reads any bytes as rules for a delivery check and as a file of options, and checks a movie with the rules.

#include "checks/RuleSet.h"
#include "edits/OptionsFile.h"
#include "fuzz/FuzzTarget.h"
#include "report/FactsJson.h"

namespace reelwright::fuzz {

void readRules(ByteSpan input)
{
    const std::string text {reinterpret_cast<const char*>(input.data()), input.size()};
    static_cast<void>(parseOptions(text, "options", [](const std::string&) { return true; }));
    const auto rules = RuleSet::parse(text, "rules");
    if (!rules) {
        require(!rules.error().detail.empty(), "rules that are refused are told why");
        return;
    }
    static const Json facts = [] {
        MovieFacts movie;
        for (const auto type : {QTMediaTypeVideo, QTMediaTypeSound, QTMediaTypeTimeCode}) {
            auto& track = movie.tracks.emplace_back();
            track.id = static_cast<std::uint32_t>(movie.tracks.size());
            track.mediaType = type;
            track.placeName = type == QTMediaTypeVideo ? "v1" : type == QTMediaTypeSound ? "a1" : "tc1";
        }
        return factsJson(movie);
    }();
    const auto result = check(facts, *rules);
    require(result.hasPassed() == (result.count(Severity::Error) == 0), "a file without errors passes");
    for (const auto& finding : result.findings)
        require(finding.rule < rules->rules.size() && !finding.text.empty(), "what was found is told");
    require(!toText(checkJson(result, *rules), JsonStyle::OneLine).empty(), "a result can be printed");
}

} // namespace reelwright::fuzz
