#include "checks/RuleSet.h"

#include "checks/JsonPlaces.h"
#include "edits/EditCatalogue.h"
#include "support/KWLocalPaths.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <fstream>

namespace reelwright {
namespace {

    enum class Takes { Scalar, Number, TwoNumbers, List, Text, Nothing };

    struct ComparisonKind
    {
        const char* name;
        Comparison comparison;
        Takes takes;
        const char* demand; ///< "{}" is the value
    };
    constexpr ComparisonKind kComparisons[] = {
        {"equals", Comparison::Equals, Takes::Scalar, "must be {}"},
        {"differs", Comparison::Differs, Takes::Scalar, "must not be {}"},
        {"atLeast", Comparison::AtLeast, Takes::Number, "must be at least {}"},
        {"atMost", Comparison::AtMost, Takes::Number, "must be at most {}"},
        {"above", Comparison::Above, Takes::Number, "must be more than {}"},
        {"below", Comparison::Below, Takes::Number, "must be less than {}"},
        {"between", Comparison::Between, Takes::TwoNumbers, "must lie between {}"},
        {"oneOf", Comparison::OneOf, Takes::List, "must be one of {}"},
        {"noneOf", Comparison::NoneOf, Takes::List, "must be none of {}"},
        {"like", Comparison::Like, Takes::Text, "must be like {}"},
        {"unlike", Comparison::Unlike, Takes::Text, "must not be like {}"},
        {"present", Comparison::Present, Takes::Nothing, "must be there"},
        {"absent", Comparison::Absent, Takes::Nothing, "must not be there"},
    };

    const ComparisonKind& kindOf(Comparison comparison)
    {
        return *std::ranges::find(kComparisons, comparison, &ComparisonKind::comparison);
    }

    std::string scalarText(const Json& value)
    {
        return value.is_string() ? value.get<std::string>() : toText(value, JsonStyle::OneLine);
    }

    std::string demandOf(const CheckRule& rule)
    {
        const auto& kind = kindOf(rule.comparison);
        std::string value;
        if (rule.value.is_array()) {
            std::vector<std::string> texts;
            for (const auto& each : rule.value)
                texts.push_back(scalarText(each));
            value = fmt::format("{}", fmt::join(texts, kind.takes == Takes::TwoNumbers ? " and " : ", "));
        } else
            value = scalarText(rule.value);
        return fmt::format(fmt::runtime(kind.demand), value);
    }

    /// Reads a set, and tells each fault with its place.
    class Reader
    {
    public:
        Reader(std::string_view text, const std::string& path)
            : m_text(text)
            , m_path(path)
        {
        }

        Result<RuleSet> read()
        {
            if (m_text.size() > RuleSet::kMostBytes)
                return failure(MovieError::Code::Unsupported, m_path,
                    fmt::format("a file of rules has at most {} bytes", RuleSet::kMostBytes));
            if (jsonDepth(m_text) > JsonPlaces::kDeepest)
                return failure(MovieError::Code::Corrupt, m_path, "lists and objects are nested too deeply");
            Json json;
            try {
                json = Json::parse(m_text, nullptr, true, true);
            } catch (const Json::parse_error& error) {
                const auto offset = error.byte == 0 ? 0 : std::min(error.byte - 1, m_text.size());
                return failure(MovieError::Code::Corrupt, m_path,
                    fmt::format("{}: the text is no JSON here", JsonPlaces::at(m_text, offset)));
            } catch (const Json::exception& error) { // a number that is too large
                return failure(MovieError::Code::Corrupt, m_path, error.what());
            }
            m_places.emplace(m_text);
            return readSet(json);
        }

    private:
        [[nodiscard]] tl::unexpected<MovieError> wrong(
            const std::string& pointer, const std::string& why) const
        {
            return failure(
                MovieError::Code::Refused, m_path, fmt::format("{}: {}", m_places->of(pointer), why));
        }

        Result<void> checkMembers(
            const Json& object, const std::string& pointer, std::initializer_list<const char*> known) const
        {
            for (const auto& [name, value] : object.items())
                if (std::ranges::find(known, name) == known.end())
                    return wrong(pointer + '/' + name,
                        fmt::format("\"{}\" is not known here; there are: {}", name, fmt::join(known, ", ")));
            return {};
        }

        Result<std::string> textMember(
            const Json& object, const std::string& pointer, const char* name, bool isNeeded) const
        {
            if (!object.contains(name)) {
                if (isNeeded)
                    return wrong(pointer, fmt::format("\"{}\" is missing", name));
                return std::string {};
            }
            if (!object[name].is_string())
                return wrong(pointer + '/' + name, fmt::format("\"{}\" must be a text", name));
            return object[name].get<std::string>();
        }

        Result<RuleSet> readSet(const Json& json)
        {
            if (!json.is_object())
                return wrong({}, "a file of rules is an object with \"name\" and \"rules\"");
            RW_CHECK(checkMembers(json, {}, {"name", "description", "rules"}));
            RuleSet set;
            RW_TRY(set.name, textMember(json, {}, "name", true));
            RW_TRY(set.description, textMember(json, {}, "description", false));
            if (!json.contains("rules") || !json["rules"].is_array() || json["rules"].empty())
                return wrong("/rules", "\"rules\" must be a list with at least one rule");
            for (std::size_t i = 0; i < json["rules"].size(); ++i) {
                RW_TRY(auto rule, readRule(json["rules"][i], fmt::format("/rules/{}", i)));
                set.rules.push_back(std::move(rule));
            }
            return set;
        }

        Result<CheckRule> readRule(const Json& json, const std::string& pointer)
        {
            if (!json.is_object())
                return wrong(pointer, "a rule is an object with \"field\" and \"comparison\"");
            RW_CHECK(checkMembers(json, pointer,
                {"field", "comparison", "value", "tolerance", "optional", "severity", "message", "edit"}));
            CheckRule rule;
            RW_TRY(const auto field, textMember(json, pointer, "field", true));
            auto path = FieldPath::parse(field);
            if (!path)
                return wrong(pointer + "/field", path.error().detail);
            rule.field = std::move(*path);
            RW_TRY(const auto comparison, textMember(json, pointer, "comparison", true));
            const auto* kind = std::ranges::find(kComparisons, comparison, &ComparisonKind::name);
            if (kind == std::end(kComparisons)) {
                std::vector<std::string> names;
                for (const auto& each : kComparisons)
                    names.emplace_back(each.name);
                return wrong(pointer + "/comparison",
                    fmt::format(
                        "\"{}\" is no comparison; there are: {}", comparison, fmt::join(names, ", ")));
            }
            rule.comparison = kind->comparison;
            RW_CHECK(readValue(json, pointer, *kind, rule));
            RW_CHECK(readManner(json, pointer, rule));
            RW_CHECK(readEdits(json, pointer, rule));
            return rule;
        }

        Result<void> readValue(
            const Json& json, const std::string& pointer, const ComparisonKind& kind, CheckRule& rule) const
        {
            const auto at = pointer + "/value";
            const bool isThere = json.contains("value");
            if (kind.takes == Takes::Nothing)
                return isThere ? Result<void> {wrong(at, fmt::format("\"{}\" takes no value", kind.name))}
                               : Result<void> {};
            if (!isThere)
                return wrong(pointer, fmt::format("\"{}\" needs a \"value\"", kind.name));
            rule.value = json["value"];
            const auto isScalar = [](const Json& value) {
                return value.is_string() || value.is_boolean() || value.is_number();
            };
            const auto needs = [&](bool isSo, const char* what) {
                return isSo ? Result<void> {}
                            : Result<void> {wrong(at, fmt::format("\"{}\" takes {}", kind.name, what))};
            };
            const auto& value = rule.value;
            switch (kind.takes) {
            case Takes::Scalar:
                return needs(isScalar(value), "a text, a number, true or false");
            case Takes::Number:
                return needs(value.is_number(), "a number");
            case Takes::TwoNumbers:
                return needs(value.is_array() && value.size() == 2 && value[0].is_number()
                        && value[1].is_number() && value[0].get<double>() <= value[1].get<double>(),
                    "a list of two numbers, the smaller one first");
            case Takes::List:
                return needs(value.is_array() && !value.empty() && std::ranges::all_of(value, isScalar),
                    "a list of texts and numbers, with at least one");
            case Takes::Text:
                return needs(value.is_string(), "a text in which * stands for any characters and ? for one");
            case Takes::Nothing:
                break;
            }
            return {};
        }

        Result<void> readManner(const Json& json, const std::string& pointer, CheckRule& rule) const
        {
            if (json.contains("tolerance")) {
                const auto& tolerance = json["tolerance"];
                if (!tolerance.is_number() || !(tolerance.get<double>() >= 0))
                    return wrong(pointer + "/tolerance", "\"tolerance\" must be a number from 0 on");
                rule.tolerance = tolerance.get<double>();
            }
            if (json.contains("optional")) {
                if (!json["optional"].is_boolean())
                    return wrong(pointer + "/optional", "\"optional\" must be true or false");
                rule.isOptional = json["optional"].get<bool>();
            }
            RW_TRY(const auto severity, textMember(json, pointer, "severity", false));
            if (severity == "warning")
                rule.severity = Severity::Warning;
            else if (!severity.empty() && severity != "error")
                return wrong(pointer + "/severity",
                    fmt::format("\"severity\" is \"error\" or \"warning\", not \"{}\"", severity));
            RW_TRY(rule.message, textMember(json, pointer, "message", false));
            return {};
        }

        Result<void> readEdits(const Json& json, const std::string& pointer, CheckRule& rule) const
        {
            if (!json.contains("edit"))
                return {};
            const auto& edit = json["edit"];
            const auto list = edit.is_array() ? edit : Json::array({edit});
            for (const auto& each : list) {
                if (!each.is_string())
                    return wrong(pointer + "/edit",
                        "\"edit\" must be an option with its value, as in \"--conform 25\", or a list of "
                        "such");
                rule.edits.push_back(each.get<std::string>());
            }
            if (const auto plan = planOf(rule.edits); !plan)
                return wrong(pointer + "/edit", plan.error().detail);
            return {};
        }

        const std::string_view m_text;
        const std::string& m_path;
        std::optional<JsonPlaces> m_places;
    };

    std::string rulesFolder()
    {
        return KWLocalPaths::resourceDirectory() + "/rules";
    }

    /// * is any characters, ? is one.
    bool isLike(std::string_view text, std::string_view pattern)
    {
        std::size_t at = 0;
        std::size_t in = 0;
        std::size_t star = std::string_view::npos; // the last one
        std::size_t from = 0; // where what it stands for ends
        while (at < text.size()) {
            if (in < pattern.size() && pattern[in] == '*') {
                star = in++;
                from = at;
            } else if (in < pattern.size() && (pattern[in] == '?' || pattern[in] == text[at])) {
                ++in;
                ++at;
            } else if (star != std::string_view::npos) {
                in = star + 1;
                at = ++from;
            } else
                return false;
        }
        return pattern.find_first_not_of('*', in) == std::string_view::npos;
    }

    bool isEqual(const Json& a, const Json& b, double tolerance)
    {
        if (a.is_number() && b.is_number())
            return std::abs(a.get<double>() - b.get<double>()) <= tolerance;
        return a == b;
    }

    bool isFulfilled(const CheckRule& rule, const Json& value)
    {
        const auto isAmong = [&] {
            return std::ranges::any_of(
                rule.value, [&](const Json& each) { return isEqual(value, each, rule.tolerance); });
        };
        const auto isNumber = [&](auto compare) {
            return value.is_number() && compare(value.get<double>(), rule.value.get<double>());
        };
        const auto isLikeIt
            = [&] { return value.is_string() && isLike(scalarText(value), scalarText(rule.value)); };
        switch (rule.comparison) {
        case Comparison::Equals:
            return isEqual(value, rule.value, rule.tolerance);
        case Comparison::Differs:
            return !isEqual(value, rule.value, rule.tolerance);
        case Comparison::AtLeast:
            return isNumber(std::greater_equal {});
        case Comparison::AtMost:
            return isNumber(std::less_equal {});
        case Comparison::Above:
            return isNumber(std::greater {});
        case Comparison::Below:
            return isNumber(std::less {});
        case Comparison::Between:
            return value.is_number() && value.get<double>() >= rule.value[0].get<double>()
                && value.get<double>() <= rule.value[1].get<double>();
        case Comparison::OneOf:
            return isAmong();
        case Comparison::NoneOf:
            return !isAmong();
        case Comparison::Like:
            return isLikeIt();
        case Comparison::Unlike:
            return !isLikeIt();
        case Comparison::Present:
            return !value.is_null();
        case Comparison::Absent:
            return value.is_null();
        }
        return false;
    }

} // namespace

Result<RuleSet> RuleSet::parse(std::string_view text, const std::string& path)
{
    return Reader {text, path}.read();
}

Result<RuleSet> RuleSet::load(const std::string& path)
{
    std::ifstream file {path, std::ios::binary};
    if (!file)
        return systemFailure(errno, path, "the rules cannot be opened");
    std::string text(kMostBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad() || (file.gcount() == 0 && !file.eof()))
        return systemFailure(EIO, path, "the rules cannot be read");
    text.resize(static_cast<std::size_t>(file.gcount()));
    return parse(text, path);
}

Result<RuleSet> RuleSet::find(const std::string& pathOrName)
{
    std::error_code error;
    if (pathOrName.find('/') != std::string::npos || std::filesystem::exists(pathOrName, error))
        return load(pathOrName);
    const auto names = installed();
    if (std::ranges::find(names, pathOrName) == names.end())
        return failure(MovieError::Code::Refused, pathOrName,
            fmt::format(
                "there is no such file, and no rules of that name; there are: {}", fmt::join(names, ", ")));
    return load(rulesFolder() + '/' + pathOrName + ".json");
}

std::vector<std::string> RuleSet::installed()
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(rulesFolder(), error))
        if (entry.path().extension() == ".json")
            names.push_back(entry.path().stem().string());
    std::ranges::sort(names);
    return names;
}

std::size_t CheckResult::count(Severity severity) const
{
    return static_cast<std::size_t>(std::ranges::count(findings, severity, &Finding::severity));
}

std::vector<std::string> CheckResult::edits() const
{
    std::vector<std::string> all;
    for (const auto& finding : findings)
        for (const auto& edit : finding.edits)
            if (std::ranges::find(all, edit) == all.end())
                all.push_back(edit);
    return all;
}

std::string CheckResult::summary() const
{
    const auto counted = [](std::size_t count, const char* what) {
        return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
    };
    const auto warnings = count(Severity::Warning);
    if (hasPassed())
        return warnings == 0 ? "passed" : "passed with " + counted(warnings, "warning");
    auto text = "failed: " + counted(count(Severity::Error), "error");
    return warnings == 0 ? text : text + ", " + counted(warnings, "warning");
}

CheckResult check(const Json& facts, const RuleSet& rules)
{
    CheckResult result;
    for (std::size_t i = 0; i < rules.rules.size(); ++i) {
        const auto& rule = rules.rules[i];
        auto found = rule.field.find(facts);
        if (found.empty())
            found.push_back({rule.field.text(), nullptr});
        for (auto& [name, value] : found) {
            if ((value.is_null() && rule.isOptional) || isFulfilled(rule, value))
                continue;
            Finding finding {i, rule.severity, name, value, {}, rule.edits};
            const auto is
                = value.is_null() ? name + " is not there" : fmt::format("{} is {}", name, scalarText(value));
            finding.text = rule.message.empty() ? fmt::format("{}, {}", is, demandOf(rule))
                                                : fmt::format("{} ({})", rule.message, is);
            result.findings.push_back(std::move(finding));
        }
    }
    return result;
}

const char* severityName(Severity severity)
{
    return severity == Severity::Error ? "error" : "warning";
}

Json checkJson(const CheckResult& result, const RuleSet& rules)
{
    auto findings = Json::array();
    for (const auto& finding : result.findings)
        findings.push_back({{"rule", finding.rule + 1}, {"severity", severityName(finding.severity)},
            {"field", finding.field}, {"value", finding.value}, {"message", finding.text},
            {"edit", finding.edits}});
    return {{"rules", rules.name}, {"status", result.hasPassed() ? "passed" : "failed"},
        {"errors", result.count(Severity::Error)}, {"warnings", result.count(Severity::Warning)},
        {"findings", std::move(findings)}};
}

} // namespace reelwright
