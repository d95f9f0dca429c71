#include "batch/BatchOutput.h"

#include <fmt/format.h>

#include <filesystem>
#include <unordered_map>
#include <unordered_set>

namespace reelwright {
namespace {

    namespace fs = std::filesystem;

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    /// One spelling for a name in a folder; no disk is asked.
    std::string spelled(const std::string& path)
    {
        return fs::path(path).lexically_normal().string();
    }

} // namespace

std::string batchOutput(const std::string& file, const BatchSettings& settings)
{
    const fs::path path = file;
    switch (settings.mode) {
    case BatchMode::OutputFolder:
        return (fs::path(settings.directory) / path.filename()).string();
    case BatchMode::AppendText:
        return (path.parent_path() / path.stem()).string() + settings.extension + path.extension().string();
    case BatchMode::InPlace:
        break;
    }
    return file;
}

Result<void> checkBatchOutputs(const std::vector<std::string>& files, const BatchSettings& settings)
{
    if (settings.mode == BatchMode::InPlace)
        return {};
    if (settings.mode == BatchMode::AppendText
        && (settings.extension.empty() || settings.extension.find('/') != std::string::npos))
        return refusal("The text to append must not be empty and must not contain \"/\".");
    std::unordered_set<std::string> inputs;
    for (const auto& file : files)
        inputs.insert(spelled(file));
    std::unordered_map<std::string, const std::string*> outputs;
    for (const auto& file : files) {
        const auto output = spelled(batchOutput(file, settings));
        if (output != spelled(file) && inputs.contains(output))
            return refusal(
                fmt::format("The result of {} would replace {}, which is in the batch too.", file, output));
        if (const auto [other, isNew] = outputs.emplace(output, &file); !isNew)
            return refusal(
                fmt::format("{} and {} would both be written to {}.", *other->second, file, output));
    }
    return {};
}

} // namespace reelwright
