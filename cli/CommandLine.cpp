#include "cli/CommandLine.h"

#include "cli/HelpFormatter.h"
#include "cli/HelpTexts.h"
#include "edits/EditCatalogue.h"
#include "report/Printable.h"

#include <fmt/format.h>

#include <cstdio>
#include <map>

namespace reelwright::cli {
namespace {

    constexpr int kMaxJobs = 64;
    /// The parser takes arguments in brackets for lists of its own and would split them; file names may look
    /// so. They pass through it behind this character.
    constexpr char kShield = '\x01';

    std::vector<std::string> shielded(int argc, const char* const* argv)
    {
        std::vector<std::string> arguments;
        for (int i = argc - 1; i > 0; --i) { // the parser wants them last first
            std::string argument = argv[i];
            if (argument.starts_with('[') || argument.starts_with(kShield))
                argument.insert(argument.begin(), kShield);
            arguments.push_back(std::move(argument));
        }
        return arguments;
    }

    std::string unshielded(const std::string& argument)
    {
        return argument.starts_with(kShield) ? argument.substr(1) : argument;
    }

    /// Wrong usage that the parser itself cannot see.
    CLI::ValidationError usageError(const std::string& message)
    {
        return CLI::ValidationError {message, CLI::ExitCodes::ValidationError};
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

        void addTo(CLI::App& command)
        {
            command.add_option("FILE", files, "Movie files (./-x.mov for a name that begins with -)")
                ->option_text("...");
            listOption = command.add_option(
                "--files-from", list, "Also the files named in LIST, one a line\n(- reads standard input)");
            listOption->option_text("LIST");
            command.add_flag("-0,--null", nul, "Names in LIST end with a NUL byte instead");
            command.add_flag("--json", json, "Results as JSON");
            command.add_flag("--json-lines", jsonLines, "Results as JSON, one object a line");
        }

        void moveTo(Request& request) const
        {
            if (json && jsonLines)
                throw usageError("--json and --json-lines exclude each other");
            request.format = jsonLines ? OutputFormat::JsonLines
                : json                 ? OutputFormat::JsonDocument
                                       : OutputFormat::Text;
            request.separator = nul ? NameSeparator::Nul : NameSeparator::LineEnd;
            for (const auto& file : files)
                request.files.push_back(unshielded(file));
            if (listOption->count() != 0)
                request.fileList = unshielded(list);
            if (request.files.empty() && !request.fileList)
                throw usageError("no file is named");
        }
    };

    CLI::App& addCommand(
        CLI::App& app, CommonOptions& common, const char* name, const char* description, const char* footer)
    {
        auto& command = *app.add_subcommand(name, description);
        command.footer(footer);
        common.addTo(command);
        return command;
    }

    /// Options with an optional text value, kept apart from whether they were given.
    struct EditOutputs
    {
        std::string suffix;
        std::string folder;
        std::string file;
        CLI::Option* suffixOption = nullptr;
        CLI::Option* folderOption = nullptr;
        CLI::Option* fileOption = nullptr;

        void addTo(CLI::App& command)
        {
            suffixOption = command.add_option("--suffix", suffix,
                "Write a copy beside each file, with TEXT behind its\nname: clipTEXT.mov");
            folderOption = command.add_option("--output-dir", folder,
                "Write a copy of the same name into DIR, which is made\nwhen it is missing");
            fileOption = command.add_option("-o,--output", file, "Write a copy of the only file to OUT");
            suffixOption->option_text("TEXT");
            folderOption->option_text("DIR");
            fileOption->option_text("OUT");
            for (auto* option : {suffixOption, folderOption, fileOption})
                option->group("Where the result goes");
        }

        void moveTo(EditOptions& edit) const
        {
            if (suffixOption->count() + folderOption->count() + fileOption->count() > 1)
                throw usageError("only one of --suffix, --output-dir and -o can be given");
            if (suffixOption->count() != 0)
                edit.suffix = unshielded(suffix);
            if (folderOption->count() != 0)
                edit.outputFolder = unshielded(folder);
            if (fileOption->count() != 0)
                edit.outputFile = unshielded(file);
            if (edit.suffix && (edit.suffix->empty() || edit.suffix->find('/') != std::string::npos))
                throw usageError("--suffix takes a text that is not empty and has no \"/\"");
            for (const auto& path : {edit.outputFolder, edit.outputFile})
                if (path && path->empty())
                    throw usageError("an output path is empty");
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

            m_commands[&addCommand(
                m_app, m_common[0], "info", "Print a report on each movie and its tracks", help::kInfoFooter)]
                = Command::Info;
            m_commands[&addCommand(
                m_app, m_common[1], "tracks", "Print each movie's tracks as a table", help::kTracksFooter)]
                = Command::Tracks;
            m_timecode = &addCommand(m_app, m_common[2], "timecode",
                "Print what each movie's timecode tracks say", help::kTimecodeFooter);
            m_commands[m_timecode] = Command::Timecode;
            addTimecodeOptions();
            auto& atoms = addCommand(
                m_app, m_common[3], "atoms", "Print each file's atoms with their places", help::kAtomsFooter);
            m_commands[&atoms] = Command::Atoms;
            atoms.add_option("--depth", m_depth, "Show N levels; 1 is the outermost only")
                ->option_text("N")
                ->check(CLI::Range(1, 1000));
            atoms.add_flag("--all", m_allAtoms, "Show all atoms of the outermost level");
            m_edit = &addCommand(m_app, m_common[4], "edit", help::kEdit, help::kEditFooter);
            m_commands[m_edit] = Command::Edit;
            addEditOptions();
        }

        std::variant<Request, Answered> parse(int argc, const char* const* argv)
        {
            try {
                m_app.parse(shielded(argc, argv));
                return request();
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
        void addTimecodeOptions()
        {
            m_at = m_timecode->add_option("--at", m_atText,
                "Also the timecode at this time of the movie:\nhours:minutes:seconds:frames, or VALUE/SCALE "
                "seconds");
            m_at->option_text("TIME");
            m_frame = m_timecode->add_option(
                "--frame", m_frameNumber, "Also the timecode at frame N of the picture, from 0");
            m_frame->option_text("N")->check(CLI::Range(std::int64_t {0}, std::int64_t {1} << 40U));
        }

        void finishTimecode()
        {
            if (m_at->count() != 0 && m_frame->count() != 0)
                throw usageError("--at and --frame exclude each other");
            if (m_frame->count() != 0)
                m_request.timecode.frame = m_frameNumber;
            if (m_at->count() == 0)
                return;
            m_request.timecode.at = TypedTime::parse(m_atText);
            if (!m_request.timecode.at)
                throw usageError(fmt::format(
                    "--at takes a time such as 00:00:10:00, 10. or 3003/3000, not \"{}\"", m_atText));
        }

        void addEditOptions()
        {
            for (const auto& group : editGroups())
                for (const auto& kind : group.kinds) {
                    auto* added = *kind.value == '\0'
                        ? m_edit->add_flag(kind.option, kind.help)->disable_flag_override()
                        : m_edit->add_option(kind.option, CLI::callback_t {}, kind.help)
                              ->option_text(kind.value)
                              ->take_all();
                    added->group(fmt::format("Edits, applied in the order given: {}", group.title));
                    m_editOptions[added] = &kind;
                }
            m_outputs.addTo(*m_edit);
            auto& edit = m_request.edit;
            const auto flag = [&](const char* name, bool& value, const char* text, const char* group) {
                m_edit->add_flag(name, value, text)->group(group);
            };
            constexpr auto kWhere = "Where the result goes";
            constexpr auto kHow = "How it is saved";
            flag("--overwrite", edit.overwrite, "A copy may replace a file that exists", kWhere);
            flag("-n,--dry-run", edit.dryRun, "Print what would change; write nothing", kHow);
            flag("--force-resave", edit.forceResave,
                "Write the whole movie anew, header first, even where\nits header could be updated in place",
                kHow);
            flag("--verify", edit.verify,
                "Compare checksums of every track's media before and\nafter the save (reads all media twice)",
                kHow);
            flag("--preserve-times", edit.preserveTimes, "Keep the file's access and modification times",
                kHow);
            flag("--no-sync", m_noSync,
                "Do not wait for the disk; for scratch work: a crash\nmay lose the file", kHow);
            m_edit
                ->add_option(
                    "--jobs", edit.jobs, fmt::format("Work on N files at a time (1 to {})", kMaxJobs))
                ->option_text("N")
                ->check(CLI::Range(1, kMaxJobs))
                ->group(kHow);
        }

        static std::string noCommand(int argc, const char* const* argv)
        {
            const auto given
                = argc > 1 ? fmt::format("\"{}\" is no command", argv[1]) : "no command is given";
            return given + "; there are info, tracks, timecode, atoms and edit";
        }

        Request request()
        {
            const auto* command = m_app.get_subcommands().front();
            m_request.command = m_commands.at(command);
            m_common[static_cast<std::size_t>(m_request.command)].moveTo(m_request);
            if (m_request.command == Command::Atoms) {
                m_request.atomLimits.depth = m_depth;
                if (m_allAtoms)
                    m_request.atomLimits.alike = SIZE_MAX;
            }
            if (m_request.command == Command::Timecode)
                finishTimecode();
            if (m_request.command == Command::Edit)
                finishEdit();
            return m_request;
        }

        void finishEdit()
        {
            auto& edit = m_request.edit;
            m_outputs.moveTo(edit);
            edit.sync = !m_noSync;
            EditSteps steps;
            std::map<const CLI::Option*, std::size_t> used;
            for (const auto* option : m_edit->parse_order()) {
                const auto known = m_editOptions.find(option);
                if (known == m_editOptions.end())
                    continue;
                const auto value = unshielded(option->results().at(used[option]++));
                if (const auto parsed = known->second->parse(value, steps); !parsed)
                    throw usageError(parsed.error().detail);
            }
            auto finished = steps.finish();
            if (!finished)
                throw usageError(finished.error().detail);
            edit.plan = std::move(*finished);
            if (edit.plan.isEmpty() && edit.isInPlace() && !edit.forceResave)
                throw usageError("no edit is given, so there is nothing to do");
        }

        CLI::App m_app {help::kProgram, "reelwright-cli"};
        std::array<CommonOptions, 5> m_common; ///< in the order of Command
        std::map<const CLI::App*, Command> m_commands;
        CLI::App* m_timecode = nullptr;
        CLI::Option* m_at = nullptr;
        CLI::Option* m_frame = nullptr;
        std::string m_atText;
        std::int64_t m_frameNumber = 0;
        CLI::App* m_edit = nullptr;
        std::map<const CLI::Option*, const EditKind*> m_editOptions;
        EditOutputs m_outputs;
        Request m_request;
        int m_depth = INT32_MAX;
        bool m_allAtoms = false;
        bool m_noSync = false;
    };

} // namespace

std::variant<Request, Answered> parseCommandLine(int argc, const char* const* argv)
{
    return Parser {}.parse(argc, argv);
}

} // namespace reelwright::cli
