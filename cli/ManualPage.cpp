#include "cli/CommandOutline.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

namespace reelwright::cli {
namespace {

    /// Text as roff takes it: backslashes and hyphens as they are meant, no line that looks like a request.
    std::string roff(std::string_view text)
    {
        std::string result;
        bool atLineStart = true;
        for (const char c : text) {
            if (atLineStart && (c == '.' || c == '\''))
                result += "\\&";
            atLineStart = c == '\n';
            if (c == '\\')
                result += "\\e";
            else if (c == '-')
                result += "\\-";
            else
                result += c;
        }
        return result;
    }

    /// A first line that stands for itself, and what explains it.
    std::string paragraphs(const std::string& text)
    {
        const auto end = text.find('\n');
        return end == std::string::npos ? roff(text)
                                        : roff(text.substr(0, end)) + "\n.PP\n" + roff(text.substr(end + 1));
    }

    /// Lines whose ends and blanks mean something.
    std::string asTyped(std::string_view text)
    {
        while (text.starts_with('\n'))
            text.remove_prefix(1);
        return text.empty() ? "" : fmt::format(".PP\n.nf\n{}\n.fi\n", roff(text));
    }

    std::string optionText(const OptionOutline& option)
    {
        std::vector<std::string> names;
        for (const auto& name : option.names)
            names.push_back("\\fB" + roff(name) + "\\fR");
        return fmt::format(".TP\n{}{}{}\n{}\n", fmt::join(names, ", "), option.value.empty() ? "" : " ",
            option.value.empty() ? "" : "\\fI" + roff(option.value) + "\\fR", roff(option.help));
    }

} // namespace

std::string manualPage(const CLI::App& program, const std::vector<CommandOutline>& commands)
{
    auto page = fmt::format(".TH REELWRIGHT\\-CLI 1 \"\" \"Reelwright {}\" \"User Commands\"\n.SH NAME\n"
                            "reelwright\\-cli \\- report on and edit QuickTime movie files\n.SH SYNOPSIS\n",
        REELWRIGHT_VERSION);
    for (const auto& command : commands)
        page += fmt::format(".B reelwright\\-cli {}\n{}\n.br\n", roff(command.name), roff(command.usage));
    page += fmt::format(".SH DESCRIPTION\n{}\n", roff(program.get_description()));
    for (const auto& command : commands) {
        auto title = command.name;
        std::transform(title.begin(), title.end(), title.begin(), [](char c) { return std::toupper(c); });
        page += fmt::format(".SH {}\n{}\n", roff(title), paragraphs(command.description));
        std::string group;
        for (const auto& option : command.options) {
            if (option.group.empty())
                continue;
            if (option.group != group)
                page += fmt::format(".SS {}\n", roff(option.group));
            group = option.group;
            page += optionText(option);
        }
        page += asTyped(command.footer);
    }
    page += ".SH EXAMPLES AND EXIT STATUS\n" + asTyped(program.get_footer());
    return page + ".SH SEE ALSO\n.BR reelwright (1)\n";
}

} // namespace reelwright::cli
