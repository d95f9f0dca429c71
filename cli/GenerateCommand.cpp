#include "cli/GenerateCommand.h"

#include "cli/CommandOutline.h"
#include "report/Json.h"

#include <CLI/CLI.hpp>

namespace reelwright::cli {

void GenerateCommand::addOptions(CLI::App& app)
{
    m_program = app.get_parent();
    app.add_option("WHAT", m_what, "Completion for that shell, or the manual page")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish", "man"}))
        ->option_text("bash|zsh|fish|man");
}

// The parser is gone when a command runs.
void GenerateCommand::check()
{
    const auto commands = outlineOf(*m_program);
    m_text = m_what == "bash" ? bashCompletion(commands)
        : m_what == "zsh"     ? zshCompletion(commands)
        : m_what == "fish"    ? fishCompletion(commands)
                              : manualPage(*m_program, commands);
}

int GenerateCommand::run(const Invocation& invocation)
{
    ResultWriter writer {invocation.console, invocation.format, 1};
    if (writer.wantsText())
        writer.addText(0, m_text);
    else
        writer.addJson(0, {{"what", m_what}, {"text", m_text}});
    writer.finish();
    return exitStatus::kDone;
}

} // namespace reelwright::cli
