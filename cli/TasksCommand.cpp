#include "cli/TasksCommand.h"

#include "edits/QuickTasks.h"
#include "report/Json.h"

#include <fmt/format.h>

namespace reelwright::cli {
namespace {

    constexpr std::size_t kWidth = 110;
    constexpr std::size_t kIndent = 6;

    /// The words in lines of a width that terminals have.
    std::string wrapped(std::string_view words)
    {
        const std::string indent(kIndent, ' ');
        std::string text;
        for (std::string line; !words.empty();) {
            const auto word = words.substr(0, words.find(' '));
            words.remove_prefix(std::min(words.size(), word.size() + 1));
            if (!line.empty() && kIndent + line.size() + 1 + word.size() > kWidth) {
                text += indent + line + '\n';
                line.clear();
            }
            line += (line.empty() ? "" : " ") + std::string(word);
            if (words.empty())
                text += indent + line + '\n';
        }
        return text;
    }

    /// What follows the name on the command line.
    const char* pathForm(TaskPath path)
    {
        switch (path) {
        case TaskPath::Still:
            return "[=STILL|=FOLDER]";
        case TaskPath::MovieFolder:
            return "=FOLDER";
        case TaskPath::None:
            break;
        }
        return "";
    }

    Json taskJson(const QuickTask& task)
    {
        const bool isForOneMovie = *task.description != '\0';
        return {{"number", task.tag}, {"name", task.optionName()}, {"title", task.name},
            {"group", groupTitle(task.group)}, {"description", task.descriptionIn(TaskPlace::Batch)},
            {"path", task.path != TaskPath::None}, {"batchOnly", !isForOneMovie}};
    }

} // namespace

int TasksCommand::run(const Invocation& invocation)
{
    if (invocation.format == OutputFormat::Text) {
        std::string text;
        std::optional<TaskGroup> group;
        for (const auto& task : quickTasks()) {
            if (group != task.group)
                text += fmt::format("{}{}:\n", group ? "\n" : "", groupTitle(task.group));
            group = task.group;
            text += fmt::format("  {:>2}  {}{}\n", task.tag, task.optionName(), pathForm(task.path));
            text += wrapped(task.descriptionIn(TaskPlace::Batch));
        }
        invocation.console.write(text);
        return exitStatus::kDone;
    }
    auto all = Json::array();
    for (const auto& task : quickTasks()) {
        if (invocation.format == OutputFormat::JsonLines)
            invocation.console.write(toText(taskJson(task), JsonStyle::OneLine) + '\n');
        all.push_back(taskJson(task));
    }
    if (invocation.format == OutputFormat::JsonDocument)
        invocation.console.write(toText(all, JsonStyle::Indented) + '\n');
    return exitStatus::kDone;
}

} // namespace reelwright::cli
