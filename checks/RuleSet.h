#pragma once

#include "checks/FieldPath.h"
#include "edits/EditSteps.h"

#include <string>
#include <vector>

namespace reelwright {

enum class Comparison {
    Equals,
    Differs,
    AtLeast,
    AtMost,
    Above,
    Below,
    Between,
    OneOf,
    NoneOf,
    Like,
    Unlike,
    Present,
    Absent,
};

enum class Severity {
    Error, ///< the file fails
    Warning, ///< the file passes, and somebody should look
};

/// One demand on a fact of a movie.
struct CheckRule
{
    FieldPath field;
    Comparison comparison = Comparison::Present;
    Json value; ///< what the comparison takes
    double tolerance = 0; ///< numbers that differ by no more are equal
    bool isOptional = false; ///< a file that does not say passes
    Severity severity = Severity::Error;
    std::string message; ///< for people, or empty
    /// What mends it, as options of the command line with their values: "--conform 25". Only ever offered.
    std::vector<std::string> edits;
};

/// What a delivery has to be: rules from a JSON file. Its language is explained in docs/RULES.md.
struct RuleSet
{
    std::string name;
    std::string description;
    std::vector<CheckRule> rules;

    static constexpr std::size_t kMostBytes = 1U << 20U; ///< of a file of rules

    /// Errors: a sentence with the place, "rules.json:3:5: ...".
    static Result<RuleSet> parse(std::string_view text, const std::string& path);
    static Result<RuleSet> load(const std::string& path);
    /// Of a path, or of a name without "/" of the rule sets that come with the program.
    static Result<RuleSet> find(const std::string& pathOrName);
    /// The names of those.
    static std::vector<std::string> installed();
};

/// What one rule found wrong with a movie.
struct Finding
{
    std::size_t rule = 0; ///< its index in the set
    Severity severity = Severity::Error;
    std::string field; ///< with the place that was meant: "tracks[a2].channels"
    Json value; ///< null where the file does not say
    std::string text; ///< a sentence for people
    std::vector<std::string> edits; ///< that mend it
};

struct CheckResult
{
    std::vector<Finding> findings; ///< in the order of the rules

    [[nodiscard]] std::size_t count(Severity severity) const;
    [[nodiscard]] bool hasPassed() const { return count(Severity::Error) == 0; }
    /// The edits that mend what was found, each once, in the order of the rules.
    [[nodiscard]] std::vector<std::string> edits() const;
    /// "passed", "passed with 1 warning", "failed: 2 errors, 1 warning"
    [[nodiscard]] std::string summary() const;
};

/// `facts` are those of `factsJson`.
CheckResult check(const Json& facts, const RuleSet& rules);

/// Members: rules (the set's name), status (passed, failed), errors, warnings, findings.
Json checkJson(const CheckResult& result, const RuleSet& rules);

const char* severityName(Severity severity);

} // namespace reelwright
