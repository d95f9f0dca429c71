#include "cli/CommandLine.h"

#include "cli/HelpFormatter.h"
#include "cli/HelpTexts.h"
#include "edits/OptionsFile.h"
#include "report/Printable.h"

#include <fmt/format.h>

#include <cstdio>
#include <map>

namespace reelwright::cli {
namespace {

    /// The parser takes arguments in brackets for lists of its own and would split them; file names may look
    /// so. They pass through it behind this character.
    constexpr char kShield = '\x01';

    std::vector<std::string> shielded(std::vector<std::string> typed)
    {
        std::vector<std::string> arguments;
        for (; !typed.empty(); typed.pop_back()) { // the parser wants them last first
            auto argument = std::move(typed.back());
            if (argument.starts_with('[') || argument.starts_with(kShield))
                argument.insert(argument.begin(), kShield);
            arguments.push_back(std::move(argument));
        }
        return arguments;
    }

    /// The options that every command has.
    struct CommonOptions
    {
        bool json = false;
        bool jsonLines = false;
        bool nul = false;
        std::string list;
        std::vector<std::string> files;
        CLI::Option* listOption = nullptr;
        FilesUse filesUse = FilesUse::Needed;

        void addTo(CLI::App& command, FilesUse use)
        {
            filesUse = use;
            command.add_flag("--json", json, "Results as JSON");
            command.add_flag("--json-lines", jsonLines, "Results as JSON, one object a line");
            if (use == FilesUse::None)
                return;
            command.add_option("FILE", files, "Movie files (./-x.mov for a name that begins with -)")
                ->option_text("...");
            listOption = command.add_option(
                "--files-from", list, "Also the files named in LIST, one a line\n(- reads standard input)");
            listOption->option_text("LIST");
            command.add_flag("-0,--null", nul, "Names in LIST end with a NUL byte instead");
        }

        void moveTo(Request& request) const
        {
            if (json && jsonLines)
                throwUsageError("--json and --json-lines exclude each other");
            request.format = jsonLines ? OutputFormat::JsonLines
                : json                 ? OutputFormat::JsonDocument
                                       : OutputFormat::Text;
            request.separator = nul ? NameSeparator::Nul : NameSeparator::LineEnd;
            for (const auto& file : files)
                request.files.push_back(asTyped(file));
            if (listOption && listOption->count() != 0)
                request.fileList = asTyped(list);
            if (filesUse == FilesUse::Needed && request.files.empty() && !request.fileList)
                throwUsageError("no file is named");
        }
    };

    /// The whole command line.
    class Parser
    {
    public:
        Parser()
        {
            m_app.set_version_flag(
                "--version", "reelwright-cli " REELWRIGHT_VERSION, "Print the version and exit");
            m_app.set_help_flag("--help,-h", "Print this help and exit");
            m_app.footer(help::kProgramFooter);
            m_app.require_subcommand(1);
            m_app.formatter(std::make_shared<HelpFormatter>());
            for (const auto& kind : commandKinds()) {
                auto& app = *m_app.add_subcommand(kind.name, kind.description);
                app.footer(kind.footer);
                auto& known = m_commands[&app];
                known.common.addTo(app, kind.files);
                known.command = kind.make();
                known.command->addOptions(app);
            }
        }

        std::variant<Request, Answered> parse(int argc, const char* const* argv)
        {
            auto typed = withOptionsOfFiles({argv + std::min(argc, 1), argv + argc});
            if (!typed) {
                fmt::print(stderr, "reelwright-cli {}: {}\n", argv[1], printable(typed.error().message()));
                return Answered {exitStatus::kWrongUsage};
            }
            try {
                m_app.parse(shielded(std::move(*typed)));
                auto& known = m_commands.at(m_app.get_subcommands().front());
                Request request;
                known.common.moveTo(request);
                known.command->check();
                request.command = std::move(known.command);
                return request;
            } catch (const CLI::Success& success) { // help or version
                m_app.exit(success);
                return Answered {exitStatus::kDone};
            } catch (const CLI::ParseError& error) {
                const auto parsed = m_app.get_subcommands();
                const auto command = parsed.empty() ? std::string {} : ' ' + parsed.front()->get_name();
                const auto text = parsed.empty() ? noCommand(argc, argv) : std::string(error.what());
                fmt::print(stderr,
                    "reelwright-cli{0}: {1}\n\"reelwright-cli{0} --help\" explains the usage.\n", command,
                    printable(text));
                return Answered {exitStatus::kWrongUsage};
            }
        }

    private:
        struct Known
        {
            CommonOptions common;
            std::unique_ptr<Command> command;
        };

        /// Of commands that know the option.
        Result<std::vector<std::string>> withOptionsOfFiles(std::vector<std::string> typed)
        {
            const CLI::App* app = nullptr;
            for (const auto& [known, command] : m_commands)
                if (!typed.empty() && known->get_name() == typed.front())
                    app = known;
            if (!app || !app->get_option_no_throw("--options-from"))
                return typed;
            return withOptionFiles(
                typed, [app](const std::string& name) { return app->get_option_no_throw(name) != nullptr; });
        }

        static std::string noCommand(int argc, const char* const* argv)
        {
            std::vector<std::string> names;
            for (const auto& kind : commandKinds())
                names.emplace_back(kind.name);
            const auto last = std::move(names.back());
            names.pop_back();
            return fmt::format("{}; there are {} and {}",
                argc > 1 ? fmt::format("\"{}\" is no command", argv[1]) : "no command is given",
                fmt::join(names, ", "), last);
        }

        CLI::App m_app {help::kProgram, "reelwright-cli"};
        std::map<const CLI::App*, Known> m_commands;
    };

} // namespace

void throwUsageError(const std::string& message)
{
    throw CLI::ValidationError {message, CLI::ExitCodes::ValidationError};
}

std::string asTyped(const std::string& value)
{
    return value.starts_with(kShield) ? value.substr(1) : value;
}

std::variant<Request, Answered> parseCommandLine(int argc, const char* const* argv)
{
    return Parser {}.parse(argc, argv);
}

} // namespace reelwright::cli
