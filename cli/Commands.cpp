#include "cli/AtomsCommand.h"
#include "cli/ChaptersCommand.h"
#include "cli/CheckCommand.h"
#include "cli/Command.h"
#include "cli/EditCommand.h"
#include "cli/ExportCommands.h"
#include "cli/GenerateCommand.h"
#include "cli/HelpTexts.h"
#include "cli/MetadataCommand.h"
#include "cli/ReadCommands.h"
#include "cli/TasksCommand.h"
#include "cli/TextsCommand.h"
#include "cli/TimecodeCommand.h"
#include "cli/VerifyCommand.h"
#include "cli/WatchCommand.h"

namespace reelwright::cli {
namespace {

    template <class T> std::unique_ptr<Command> make()
    {
        return std::make_unique<T>();
    }

    const CommandKind kCommands[] = {
        {"info", "Print a report on each movie and its tracks", help::kInfoFooter, FilesUse::Needed,
            make<InfoCommand>},
        {"tracks", "Print each movie's tracks as a table", help::kTracksFooter, FilesUse::Needed,
            make<TracksCommand>},
        {"timecode", "Print what each movie's timecode tracks say", help::kTimecodeFooter, FilesUse::Needed,
            make<TimecodeCommand>},
        {"chapters", "Print each movie's chapters, also as a list for other programs", help::kChaptersFooter,
            FilesUse::Needed, make<ChaptersCommand>},
        {"texts", "Print the texts of each movie's text tracks, also as a list for other programs",
            help::kTextsFooter, FilesUse::Needed, make<TextsCommand>},
        {"markers", "Print the markers of final-cut XML projects", help::kMarkersFooter, FilesUse::Needed,
            make<MarkersCommand>},
        {"metadata", "Print each movie's metadata, or write them as a list", help::kMetadataFooter,
            FilesUse::Needed, make<MetadataCommand>},
        {"atoms", "Print each file's atoms with their places", help::kAtomsFooter, FilesUse::Needed,
            make<AtomsCommand>},
        {"edit", help::kEdit, help::kEditFooter, FilesUse::Needed, make<EditCommand>},
        {"watch", "Edit each movie that comes into a folder, once", help::kWatchFooter, FilesUse::Needed,
            make<WatchCommand>},
        {"check", "Say of each movie whether it is what a set of rules demands", help::kCheckFooter,
            FilesUse::Optional, make<CheckCommand>},
        {"export", "Write movies in other formats", help::kExportFooter, FilesUse::Optional,
            make<ExportCommand>},
        {"frame", "Write single pictures, a series of them, or a sheet", help::kFrameFooter, FilesUse::Needed,
            make<FrameCommand>},
        {"verify", "Read every sample of every track and say what cannot be read", help::kVerifyFooter,
            FilesUse::Needed, make<VerifyCommand>},
        {"tasks", "List the quick tasks that \"edit --task\" knows", help::kTasksFooter, FilesUse::None,
            make<TasksCommand>},
        {"generate", "Print the completion of a shell, or the manual page", help::kGenerateFooter,
            FilesUse::None, make<GenerateCommand>},
    };

} // namespace

std::span<const CommandKind> commandKinds()
{
    return kCommands;
}

} // namespace reelwright::cli
