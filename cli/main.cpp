#include "cli/CommandLine.h"
#include "support/KWLog.h"

#include <csignal>
#include <iterator>

namespace {

using namespace reelwright;
using namespace reelwright::cli;

int run(Request& request)
{
    Console console;
    auto files = std::move(request.files);
    if (request.fileList) {
        auto listed = readFileList(*request.fileList, request.separator);
        if (!listed) {
            console.message({}, listed.error().message());
            if (request.format != OutputFormat::Text) {
                ResultWriter writer {console, request.format, 1};
                writer.addJson(0, {{"file", *request.fileList}, {"error", listed.error().message()}});
                writer.finish();
                static_cast<void>(console.finish());
            }
            return exitStatus::kFailed;
        }
        files.insert(
            files.end(), std::make_move_iterator(listed->begin()), std::make_move_iterator(listed->end()));
    }
    const int status = request.command->run({std::move(files), request.format, console});
    if (!console.finish()) {
        console.message({}, "the results could not be written to standard output");
        return status == exitStatus::kDone ? exitStatus::kFailed : status;
    }
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    // A file that may not become longer is a failed write, not the end of the program.
    ::signal(SIGXFSZ, SIG_IGN); // NOLINT: ignoring needs no handler
    KWLog::setApplication("reelwright-cli", REELWRIGHT_VERSION);
    KWLog::setConsole(stderr); // results alone belong on standard output
    auto parsed = parseCommandLine(argc, argv);
    if (const auto* answered = std::get_if<Answered>(&parsed))
        return answered->exitStatus;
    return run(std::get<Request>(parsed));
}
