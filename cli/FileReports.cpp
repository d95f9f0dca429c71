#include "cli/FileReports.h"

#include "cli/PerFile.h"
#include "report/MovieFacts.h"

namespace reelwright::cli {

int reportEach(
    const Invocation& invocation, const std::function<Result<FileReport>(const std::string& file)>& report)
{
    const auto& files = invocation.files;
    auto& console = invocation.console;
    ResultWriter writer {console, invocation.format, files.size()};
    int status = 0;
    bool isFirst = true;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto& file = files[i];
        console.progress(file, static_cast<double>(i) / static_cast<double>(files.size()));
        FileReport result;
        const auto done = guarded([&]() -> Result<void> {
            RW_TRY(result, report(file));
            return {};
        });
        if (!done) {
            result.problems = {reasonFor(done.error(), file)};
            result.json = {{"file", file}, {"error", result.problems.front()}};
        }
        for (const auto& problem : result.problems) {
            console.message(file, problem);
            status = 1;
        }
        if (!writer.wantsText()) {
            writer.addJson(i, result.json);
            continue;
        }
        if (!isFirst && !result.text.empty())
            result.text.insert(0, 1, '\n');
        isFirst = isFirst && result.text.empty();
        writer.addText(i, std::move(result.text));
    }
    console.endProgress();
    writer.finish();
    return status;
}

} // namespace reelwright::cli
