#include "cli/CommandOutline.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace reelwright::cli {
namespace {

    constexpr const char* kProgramName = "reelwright-cli";

    std::string firstLine(const std::string& text)
    {
        return text.substr(0, text.find('\n'));
    }

    std::string onOneLine(std::string text)
    {
        for (auto& c : text)
            if (c == '\n')
                c = ' ';
        return text;
    }

    /// A word of a shell, whatever is in it.
    std::string quoted(const std::string& text)
    {
        std::string result = "'";
        for (const char c : text)
            result += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return result + '\'';
    }

    std::string escaped(const std::string& text, std::string_view special)
    {
        std::string result;
        for (const char c : text) {
            if (special.find(c) != std::string_view::npos)
                result += '\\';
            result += c;
        }
        return result;
    }

    /// Words as one text with a line each, so that words with blanks stay whole.
    std::string lines(const std::vector<std::string>& words)
    {
        return quoted(fmt::format("{}", fmt::join(words, "\n")));
    }

    std::vector<std::string> namesOf(const std::vector<CommandOutline>& commands)
    {
        std::vector<std::string> names;
        for (const auto& command : commands)
            names.push_back(command.name);
        return names;
    }

    std::vector<std::string> optionsOf(const CommandOutline& command)
    {
        std::vector<std::string> names;
        for (const auto& option : command.options)
            names.insert(names.end(), option.names.begin(), option.names.end());
        return names;
    }

    /// "[help]:value:action", what zsh wants to know of one option.
    std::string zshTail(const OptionOutline& option)
    {
        auto tail = fmt::format("[{}]", escaped(onOneLine(option.help), "[]:\\"));
        if (option.value.empty())
            return tail;
        std::string action = option.isFolder ? "_files -/" : "_files";
        if (!option.choices.empty()) {
            action = "(";
            for (const auto& choice : option.choices)
                action += escaped(choice, " ():\\") + ' ';
            action.back() = ')';
        }
        return tail + fmt::format(":{}:{}", escaped(option.value, ":\\"), action);
    }

} // namespace

std::string bashCompletion(const std::vector<CommandOutline>& commands)
{
    std::string script = fmt::format(
        R"sh(# Completion of {0} for bash: source it, or put it into a folder of bash-completion as "{0}".
_reelwright_cli()
{{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} command='' word words='' IFS=$'\n'
    COMPREPLY=()
    for word in "${{COMP_WORDS[@]:1:COMP_CWORD-1}}"; do
        case $word in
        {1})
            command=$word
            break
            ;;
        esac
    done
    case $command:$previous in
)sh",
        kProgramName, fmt::join(namesOf(commands), " | "));
    for (const auto& command : commands)
        for (const auto& option : command.options) {
            if (option.value.empty() || (option.choices.empty() && !option.isFolder))
                continue;
            std::vector<std::string> patterns;
            for (const auto& name : option.names)
                patterns.push_back(command.name + ':' + name);
            script += fmt::format("    {})\n", fmt::join(patterns, " | "));
            if (option.isFolder)
                script += "        compopt -o filenames 2>/dev/null\n        mapfile -t COMPREPLY < "
                          "<(compgen -d -- "
                          "\"$current\")\n        return\n        ;;\n";
            else
                script += fmt::format("        words={}\n        ;;\n", lines(option.choices));
        }
    script += "    esac\n    if [[ -z $words ]]; then\n        case $command:$current in\n";
    auto names = namesOf(commands);
    names.insert(names.end(), {"--help", "--version"});
    script += fmt::format("        :*) words={} ;;\n", lines(names));
    for (const auto& command : commands)
        script += fmt::format("        {}:-*) words={} ;;\n", command.name, lines(optionsOf(command)));
    script += R"sh(        esac
    fi
    for word in $words; do
        [[ $word == "$current"* ]] && COMPREPLY+=("$(printf '%q' "$word")")
    done
}
complete -o bashdefault -o default -F _reelwright_cli )sh";
    return script + kProgramName + '\n';
}

std::string zshCompletion(const std::vector<CommandOutline>& commands)
{
    std::string script = fmt::format(
        "#compdef {0}\n# Completion of {0} for zsh: put it into a folder of $fpath as \"_{0}\".\n\n"
        "local -a commands\nlocal curcontext=$curcontext state line\ncommands=(\n",
        kProgramName);
    for (const auto& command : commands)
        script += fmt::format("    {}\n",
            quoted(fmt::format("{}:{}", command.name, escaped(firstLine(command.description), ":\\"))));
    script
        += ")\n\n_arguments -C '(- *)'{--help,-h}'[Print the help]' '(- *)--version[Print the version]' \\\n"
           "    '1:command:->command' '*::argument:->argument'\n\ncase $state in\ncommand)\n"
           "    _describe -t commands command commands\n    ;;\nargument)\n    case $words[1] in\n";
    for (const auto& command : commands) {
        script += fmt::format("    {})\n        _arguments", command.name);
        for (const auto& option : command.options)
            for (const auto& name : option.names)
                script += " \\\n            " + quoted('*' + name + zshTail(option));
        if (command.takesFiles)
            script += " \\\n            '*:movie:_files'";
        script += "\n        ;;\n";
    }
    return script + "    esac\n    ;;\nesac\n";
}

std::string fishCompletion(const std::vector<CommandOutline>& commands)
{
    std::string script = fmt::format(
        "# Completion of {0} for fish: put it into ~/.config/fish/completions as \"{0}.fish\".\n",
        kProgramName);
    for (const auto& command : commands)
        script += fmt::format("complete -c {} -n __fish_use_subcommand -f -a {} -d {}\n", kProgramName,
            command.name, quoted(firstLine(command.description)));
    for (const auto& command : commands)
        for (const auto& option : command.options) {
            script += fmt::format(
                "complete -c {} -n '__fish_seen_subcommand_from {}'", kProgramName, command.name);
            for (const auto& name : option.names)
                script += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
            if (!option.choices.empty()) {
                std::vector<std::string> words;
                for (const auto& choice : option.choices)
                    words.push_back(escaped(choice, " ()'\\"));
                script += fmt::format(" -x -a {}", quoted(fmt::format("{}", fmt::join(words, " "))));
            } else if (option.isFolder) {
                script += " -x -a '(__fish_complete_directories)'";
            } else if (!option.value.empty()) {
                script += " -r";
            }
            script += fmt::format(" -d {}\n", quoted(onOneLine(option.help)));
        }
    return script;
}

} // namespace reelwright::cli
