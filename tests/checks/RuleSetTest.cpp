#include "checks/RuleSet.h"

#include <gmock/gmock.h>

namespace reelwright {
namespace {

    using ::testing::ElementsAre;
    using ::testing::HasSubstr;

    const Json kFacts = Json::parse(R"({
        "frameRate": 23.976, "brand": "qt  ", "startTimecode": null, "chapters": [],
        "naturalSize": {"width": 1920, "height": 1080},
        "tracks": [
          {"id": 1, "place": "v1", "format": "avc1", "attributes": {"pixelAspectRatio": "1:1"}},
          {"id": 2, "place": "a1", "channels": 2}, {"id": 7, "place": "a2", "channels": 1}],
        "metadata": [{"key": "com.apple.proapps.reel", "value": "A003"}]})");

    std::string set(const std::string& rule)
    {
        return R"({"name": "T", "rules": [)" + rule + "]}";
    }

    std::vector<std::string> texts(const std::string& rule)
    {
        const auto rules = RuleSet::parse(set(rule), "t.json");
        if (!rules)
            return {rules.error().message()};
        std::vector<std::string> all;
        for (const auto& finding : check(kFacts, *rules).findings)
            all.push_back(finding.text);
        return all;
    }

    struct RuleFact
    {
        const char* rule;
        std::vector<std::string> findings;
    };

    TEST(RuleSet, SaysOfEachValueWhatItIsAndWhatItMustBe)
    {
        const RuleFact facts[] = {
            {R"({"field": "frameRate", "comparison": "equals", "value": 25})",
                {"frameRate is 23.976, must be 25"}},
            {R"({"field": "frameRate", "comparison": "equals", "value": 23.98, "tolerance": 0.005})", {}},
            {R"({"field": "naturalSize.width", "comparison": "between", "value": [1280, 1920]})", {}},
            {R"({"field": "naturalSize.width", "comparison": "above", "value": 1920})",
                {"naturalSize.width is 1920, must be more than 1920"}},
            {R"({"field": "tracks[a*].channels", "comparison": "atLeast", "value": 2})",
                {"tracks[a2].channels is 1, must be at least 2"}},
            {R"({"field": "tracks[7].channels", "comparison": "equals", "value": 1})", {}},
            {R"({"field": "tracks[a*].count", "comparison": "oneOf", "value": [4, 8], "message": "Four or eight"})",
                {"Four or eight (tracks[a*].count is 2)"}},
            {R"({"field": "tracks[tc*].count", "comparison": "equals", "value": 1})",
                {"tracks[tc*].count is 0, must be 1"}},
            {R"({"field": "chapters.count", "comparison": "atMost", "value": 0})", {}},
            {R"({"field": "tracks[a3].channels", "comparison": "equals", "value": 2})",
                {"tracks[a3].channels is not there, must be 2"}},
            {R"({"field": "tracks[a3].channels", "comparison": "equals", "value": 2, "optional": true})", {}},
            {R"({"field": "startTimecode", "comparison": "like", "value": "10:*"})",
                {"startTimecode is not there, must be like 10:*"}},
            {R"({"field": "metadata[com.apple.proapps.reel]", "comparison": "like", "value": "A?0*"})", {}},
            {R"({"field": "metadata[com.apple.proapps.reel]", "comparison": "unlike", "value": "*3"})",
                {"metadata[com.apple.proapps.reel] is A003, must not be like *3"}},
            {R"({"field": "metadata[none]", "comparison": "absent"})", {}},
            {R"({"field": "brand", "comparison": "atLeast", "value": 1})",
                {"brand is qt  , must be at least 1"}},
        };
        for (const auto& [rule, findings] : facts)
            EXPECT_EQ(texts(rule), findings) << rule;
    }

    TEST(RuleSet, RefusesWhatItCannotReadAndSaysWhere)
    {
        const std::pair<std::string, const char*> facts[] = {
            {"{\n  \"name\": \"T\",\n  \"rules\": [}\n", "t.json: 3:13: the text is no JSON"},
            {"[]", "1:1: a file of rules is an object"},
            {R"({"rules": [{}]})", "\"name\" is missing"},
            {R"({"name": "T", "rules": []})", "at least one rule"},
            {"{\"name\": \"T\", // why\n \"rules\": [\n  {\"field\": \"framerate\", \"comparison\": "
             "\"present\"}]}",
                "3:13: \"framerate\" is no field there; there are: file, size"},
            {set(R"({"field": "tracks[v1].colour", "comparison": "present"})"),
                "\"colour\" is no field there"},
            {set(R"({"field": "tracks[v1", "comparison": "present"})"), "lacks a \"]\""},
            {set(R"({"field": "frameRate.x", "comparison": "present"})"), "no fields of its own"},
            {set(R"({"field": "frameRate", "comparison": "is"})"), "is no comparison; there are: equals"},
            {set(R"({"field": "frameRate", "comparison": "atLeast", "value": "25"})"), "takes a number"},
            {set(R"({"field": "frameRate", "comparison": "between", "value": [2, 1]})"), "smaller one first"},
            {set(R"({"field": "frameRate", "comparison": "present", "value": 1})"), "takes no value"},
            {set(R"({"field": "frameRate", "comparison": "present", "severity": "fatal"})"), "not \"fatal\""},
            {set(R"({"field": "frameRate", "comparison": "present", "edit": "--rotate up"})"),
                "left or right"},
            {set(R"({"field": "frameRate", "comparison": "present", "edit": "--mend"})"),
                "no edit option \"--mend\""},
            {set(R"({"field": "frameRate", "comparison": "present", "when": 1})"), "\"when\" is not known"},
            {std::string(200, '['), "nested too deeply"},
        };
        for (const auto& [text, why] : facts) {
            const auto rules = RuleSet::parse(text, "t.json");
            ASSERT_FALSE(rules) << text;
            EXPECT_THAT(rules.error().message(), HasSubstr(why));
        }
    }

    TEST(RuleSet, AWarningPassesAndEditsAreOfferedOnce)
    {
        const auto rules = RuleSet::parse(
            set(R"({"field": "frameRate", "comparison": "equals", "value": 25, "severity": "warning",
                    "edit": "--conform 25"},
                   {"field": "frameRate", "comparison": "above", "value": 24, "severity": "warning",
                    "edit": ["--conform 25", "--flip"]})"),
            "t.json");
        ASSERT_TRUE(rules) << rules.error().message();
        const auto result = check(kFacts, *rules);
        EXPECT_TRUE(result.hasPassed());
        EXPECT_EQ(result.summary(), "passed with 2 warnings");
        EXPECT_THAT(result.edits(), ElementsAre("--conform 25", "--flip"));
    }

    TEST(RuleSet, TheSetsThatComeWithTheProgramCanBeRead)
    {
        const auto names = RuleSet::installed();
        EXPECT_THAT(names, ElementsAre("broadcast-hd-25", "editing-intermediate", "web-upload"));
        for (const auto& name : names) {
            const auto rules = RuleSet::find(name);
            EXPECT_TRUE(rules) << rules.error().message();
        }
    }

} // namespace
} // namespace reelwright
