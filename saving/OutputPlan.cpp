#include "saving/OutputPlan.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <set>
#include <system_error>

namespace reelwright {
namespace {

    /// Tells whether two names mean one file.
    struct FileIdentity
    {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        auto operator<=>(const FileIdentity&) const = default;

        static std::optional<FileIdentity> of(const std::string& path)
        {
            struct stat info = {};
            if (::stat(path.c_str(), &info) != 0)
                return std::nullopt;
            return FileIdentity {
                static_cast<std::uint64_t>(info.st_dev), static_cast<std::uint64_t>(info.st_ino)};
        }
    };

    std::string fileName(const std::string& path)
    {
        const auto slash = path.rfind('/');
        return slash == std::string::npos ? path : path.substr(slash + 1);
    }

    /// Sound and DV files are saved as movies, whose names end so.
    std::string asMovieName(const std::string& path)
    {
        const std::filesystem::path whole = path;
        auto extension = whole.extension().string();
        for (auto& character : extension)
            character = character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
        for (const auto* other : {".wav", ".aif", ".aiff", ".aifc", ".dv"})
            if (extension == other)
                return std::filesystem::path(whole).replace_extension(".mov").string();
        return path;
    }

    std::string outputFor(const std::string& file, const OutputRule& rule)
    {
        if (rule.outputFile)
            return *rule.outputFile;
        if (rule.suffix)
            return asMovieName(pathWithSuffix(file, *rule.suffix));
        if (!rule.outputFolder)
            return {};
        const auto& folder = *rule.outputFolder;
        return asMovieName(folder + (folder.ends_with('/') ? "" : "/") + fileName(file));
    }

    /// The name with its folder resolved, so that two names of a file that does not exist yet are alike.
    std::string canonical(const std::string& path)
    {
        std::error_code error;
        const auto result = std::filesystem::weakly_canonical(std::filesystem::absolute(path), error);
        return error ? path : result.string();
    }

    std::string refusalOf(const std::string& file, const std::string& output, const OutputRule& rule,
        const std::map<FileIdentity, std::string>& inputs)
    {
        if (const auto existing = FileIdentity::of(output)) {
            const auto input = inputs.find(*existing);
            if (existing == FileIdentity::of(file))
                return "the output is the file itself; leave the output option out to save in place";
            if (input != inputs.end())
                return fmt::format("the output {} is another input file", output);
            if (std::error_code error; std::filesystem::is_directory(output, error))
                return fmt::format("the output {} is a folder; --output-dir writes into it", output);
            if (!rule.overwrite)
                return fmt::format("the output {} exists; --overwrite replaces it", output);
        }
        return {};
    }

} // namespace

std::vector<PlannedOutput> planOutputs(const std::vector<std::string>& files, const OutputRule& rule,
    const std::function<void(const std::string& alias, const std::string& kept)>& alias)
{
    std::map<FileIdentity, std::string> inputs;
    std::vector<PlannedOutput> plan;
    for (const auto& file : files) {
        if (const auto identity = FileIdentity::of(file)) {
            const auto [known, isNew] = inputs.emplace(*identity, file);
            if (!isNew && rule.isInPlace()) {
                alias(file, known->second);
                continue;
            }
        }
        plan.push_back({file, outputFor(file, rule), {}});
    }
    std::map<std::string, std::string> outputs;
    for (auto& each : plan) {
        if (each.output.empty())
            continue;
        each.refusal = refusalOf(each.file, each.output, rule, inputs);
        const auto [other, isNew] = outputs.emplace(canonical(each.output), each.file);
        if (!isNew && each.refusal.empty())
            each.refusal = fmt::format("the output {} is the output of {} too", each.output, other->second);
    }
    return plan;
}

std::string pathWithSuffix(const std::string& path, const std::string& suffix)
{
    const auto name = fileName(path);
    const auto dot = name.rfind('.');
    const auto extension = dot == std::string::npos || dot == 0 ? std::string {} : name.substr(dot);
    return path.substr(0, path.size() - extension.size()) + suffix + extension;
}

} // namespace reelwright
