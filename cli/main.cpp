#include "cli/AtomsCommand.h"
#include "cli/CommandLine.h"
#include "cli/EditCommand.h"
#include "cli/ReadCommands.h"
#include "support/KWLog.h"

#include <iterator>

namespace {

using namespace reelwright;
using namespace reelwright::cli;

int runCommand(const Request& request, const std::vector<std::string>& files, Console& console)
{
    switch (request.command) {
    case Command::Info:
        return runInfo(files, console, request.format);
    case Command::Tracks:
        return runTracks(files, console, request.format);
    case Command::Timecode:
        return runTimecode(files, request.timecode, console, request.format);
    case Command::Atoms:
        return runAtoms(files, request.atomLimits, console, request.format);
    case Command::Edit:
        break;
    }
    return EditCommand(request.edit, console, request.format).run(files);
}

int run(Request& request)
{
    Console console;
    auto files = std::move(request.files);
    if (request.fileList) {
        auto listed = readFileList(*request.fileList, request.separator);
        if (!listed) {
            console.message({}, listed.error().message());
            return exitStatus::kFailed;
        }
        files.insert(
            files.end(), std::make_move_iterator(listed->begin()), std::make_move_iterator(listed->end()));
    }
    if (request.edit.outputFile && files.size() != 1) {
        console.message(
            {}, "-o names the output of one file; give exactly one, or use --output-dir or --suffix");
        return exitStatus::kWrongUsage;
    }
    const int status = runCommand(request, files, console);
    if (!console.finish()) {
        console.message({}, "the results could not be written to standard output");
        return status == exitStatus::kDone ? exitStatus::kFailed : status;
    }
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    KWLog::setApplication("reelwright-cli", REELWRIGHT_VERSION);
    KWLog::setConsole(stderr); // results alone belong on standard output
    auto parsed = parseCommandLine(argc, argv);
    if (const auto* answered = std::get_if<Answered>(&parsed))
        return answered->exitStatus;
    return run(std::get<Request>(parsed));
}
