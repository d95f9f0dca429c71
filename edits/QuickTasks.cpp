#include "edits/QuickTasks.h"

#include "attributes/KWImageDescriptionController.h"
#include "tasks/KWQuickTaskController.h"
#include "timecode/KWTimecodeController.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace reelwright {
namespace {

    using Tasks = KWQuickTaskController;
    using Timecodes = KWTimecodeController;

    /// The second name that the still image task has had since folders can be chosen for it.
    constexpr std::string_view kStillAlias = "set-timecode-from-thm-file";

    const auto kMovie = KWPlaceholderMovie::placeholder();

    tl::unexpected<MovieError> refusal(std::string sentence)
    {
        return failure(MovieError::Code::Refused, {}, std::move(sentence));
    }

    template <Result<std::size_t> (*task)(QTMovie&, const AudioTrackRange&), std::size_t count>
    RecordedCall exceptFirst(const char* name)
    {
        return record(name, task, kMovie, AudioTrackRange {0, count});
    }
    template <std::size_t count> RecordedCall removeAudio(const std::string&)
    {
        return exceptFirst<Tasks::removeAllAudioTracks, count>(
            "KWQuickTaskController removeAllAudioTracks:exceptRange:");
    }
    template <std::size_t count> RecordedCall disableAudio(const std::string&)
    {
        return exceptFirst<Tasks::disableAllAudioTracks, count>(
            "KWQuickTaskController disableAllAudioTracks:exceptRange:");
    }

    /// A call that adds a timecode track from a source.
    template <class Add> RecordedCall timecodeSource(std::string name, Add add)
    {
        return {std::move(name), [add](QTMovie& movie) -> Result<void> {
                    if (auto added = add(movie); !added)
                        return tl::unexpected<MovieError>(std::move(added).error());
                    return {};
                }};
    }

    std::string folderOf(const std::string& path)
    {
        const auto folder = std::filesystem::path(path).parent_path().string();
        return folder.empty() ? "." : folder;
    }

    RecordedCall timecodeFromStill(const std::string& path)
    {
        constexpr auto kFolderCall = "KWTimecodeController addTimecodeFromTHMFolder:movie:";
        if (path.empty())
            return timecodeSource(kFolderCall, [](QTMovie& movie) {
                return Timecodes::addTimecodeFromTHMFolder(folderOf(movie.fileName()), movie);
            });
        std::error_code error;
        if (std::filesystem::is_directory(path, error))
            return timecodeSource(kFolderCall,
                [path](QTMovie& movie) { return Timecodes::addTimecodeFromTHMFolder(path, movie); });
        return timecodeSource("KWTimecodeController addTimecodeFromTHMFile:movie:",
            [path](QTMovie& movie) { return Timecodes::addTimecodeFromTHMFile(path, movie); });
    }

    RecordedCall timecodeFromMovies(const std::string& path)
    {
        return timecodeSource("KWTimecodeController addTimecodeFromMovieInFolder:destMovie:",
            [path](QTMovie& movie) { return Timecodes::addTimecodeFromMovieInFolder(path, movie); });
    }

    RecordedCall timecodeFromNow(const std::string&)
    {
        const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
        return timecodeSource("KWTimecodeController addTimecodeTrackWithDate:movie:",
            [now](QTMovie& movie) { return Timecodes::addTimecodeTrackWithDate(now, movie); });
    }

    RecordedCall timecodeFromCreation(const std::string&)
    {
        return timecodeSource(
            "KWQuickTaskController timecodeTrackFromCreationTime:", Tasks::timecodeTrackFromCreationTime);
    }

    RecordedCall timecodeFromFile(const std::string&)
    {
        return timecodeSource("KWQuickTaskController timecodeTrackFromFileCreationTime:",
            Tasks::timecodeTrackFromFileCreationTime);
    }

    RecordedCall timecodeFromUserData(const std::string&)
    {
        return timecodeSource("KWQuickTaskController addTimecodeTrackFromUserDataField:",
            Tasks::addTimecodeTrackFromUserDataField);
    }

    RecordedCall removeEmpty(const std::string&)
    {
        return record("KWQuickTaskController removeEmptyTracks:", Tasks::removeEmptyTracks, kMovie);
    }

    RecordedCall removeTimecodes(const std::string&)
    {
        return record(
            "KWQuickTaskController removeAllTimecodeTracks:", Tasks::removeAllTimecodeTracks, kMovie);
    }

    RecordedCall enableAudio(const std::string&)
    {
        return record("KWQuickTaskController enableAllAudioTracks:", Tasks::enableAllAudioTracks, kMovie);
    }

    RecordedCall stripXMP(const std::string&)
    {
        return record("KWQuickTaskController stripAdobeXMPMetadata:", Tasks::stripAdobeXMPMetadata, kMovie);
    }

    RecordedCall copyReel(const std::string&)
    {
        return record("KWQuickTaskController copyARRIReelToFCPXReel:", Tasks::copyARRIReelToFCPXReel, kMovie);
    }

    RecordedCall flagLogC(const std::string&)
    {
        return record("KWQuickTaskController setARRIGammaToLogC:", Tasks::setARRIGammaToLogC, kMovie);
    }

    RecordedCall removeGamma(const std::string&)
    {
        return record("KWQuickTaskController removeGammaCorrection:", Tasks::removeGammaCorrection, kMovie);
    }

    RecordedCall removeApertures(const std::string&)
    {
        return record(
            "KWQuickTaskController removeApertureDimensions:", Tasks::removeApertureDimensions, kMovie);
    }

    template <int horizontal, int vertical> RecordedCall pixelAspect(const std::string&)
    {
        return record("KWImageDescriptionController setPixelAspectRatio:movie:",
            KWImageDescriptionController::setPixelAspectRatio, fmt::format("{}:{}", horizontal, vertical),
            kMovie);
    }

    constexpr QuickTask kTasks[] = {
        {1, TaskGroup::TracksAndMetadata, "Remove empty tracks", "Removes all tracks without media.", "",
            TaskPath::None, removeEmpty},
        {14, TaskGroup::TracksAndMetadata, "Strip Adobe XMP metadata",
            "Strips XMP metadata added by Adobe applications.", "", TaskPath::None, stripXMP},
        {20, TaskGroup::TracksAndMetadata, "Copy ARRI Reel to FCPX Reel",
            "Copies the value of the ARRI Reel field to Final Cut Pro X's Reel metadata field.", "",
            TaskPath::None, copyReel},
        {21, TaskGroup::TracksAndMetadata, "Flag ARRI media as Log-C",
            "Flags the file as a Log-C color space movie.", "", TaskPath::None, flagLogC},

        {7, TaskGroup::Timecode, "Import timecode from THM file",
            "Creates a new timecode track using the creation date stored in a separate THM file. These files "
            "are commonly created alongside movie clips in DSLR cameras and contain additional metadata.",
            "", TaskPath::Still, timecodeFromStill},
        {23, TaskGroup::Timecode, "Set timecode from QuickTime movie", "",
            "Browse to a folder containing movie files and the timecode in each file will be assigned to a "
            "file in the batch that has an identical filename.",
            TaskPath::MovieFolder, timecodeFromMovies},
        {10, TaskGroup::Timecode, "Set timecode from file creation time",
            "Creates a new timecode track using the time the movie was created as the start time. This time "
            "is obtained from the file creation date on disk.",
            "", TaskPath::None, timecodeFromFile},
        {5, TaskGroup::Timecode, "Set timecode from movie creation time",
            "Creates a new timecode track using the time the movie was created as the start time. This time "
            "is obtained from the metadata within the file.",
            "", TaskPath::None, timecodeFromCreation},
        {6, TaskGroup::Timecode, "Set timecode from current time",
            "Creates a new timecode track using the current time of day as the start time.", "",
            TaskPath::None, timecodeFromNow},
        {12, TaskGroup::Timecode, "Set timecode from user data field",
            "Creates a new timecode track using information in the timecode user data field, if present. "
            "Some "
            "applications write auxiliary timecode to this field.",
            "", TaskPath::None, timecodeFromUserData},
        {11, TaskGroup::Timecode, "Remove all timecode tracks",
            "Removes all timecode tracks within the movie.", "", TaskPath::None, removeTimecodes},

        {13, TaskGroup::PictureShapeAndColor, "Set 1:1 pixel aspect ratio",
            "Sets the pixel aspect ratio to 1:1.", "", TaskPath::None, pixelAspect<1, 1>},
        {8, TaskGroup::PictureShapeAndColor, "Set NTSC anamorphic pixel aspect ratio",
            "Sets the pixel aspect ratio to compensate for anamorphic NTSC material. Useful to make files "
            "appear "
            "correctly in applications that ignore the anamorphic flag.",
            "", TaskPath::None, pixelAspect<40, 33>},
        {9, TaskGroup::PictureShapeAndColor, "Set PAL anamorphic pixel aspect ratio",
            "Sets the pixel aspect ratio to compensate for anamorphic PAL material. Useful to make files "
            "appear "
            "correctly in applications that ignore the anamorphic flag.",
            "", TaskPath::None, pixelAspect<118, 81>},
        {19, TaskGroup::PictureShapeAndColor, "Set NTSC D1 anamorphic pixel aspect ratio",
            "Sets the pixel aspect ratio to 10:11 for NTSC D1 media.", "", TaskPath::None,
            pixelAspect<10, 11>},
        {2, TaskGroup::PictureShapeAndColor, "Remove gamma correction", "Removes all gamma metadata.", "",
            TaskPath::None, removeGamma},
        {18, TaskGroup::PictureShapeAndColor, "Strip aperture data",
            "Removes all aperture sizes from the movie.", "Removes aperture size information from the movie.",
            TaskPath::None, removeApertures},

        {17, TaskGroup::Sound, "Enable all audio tracks",
            "Enables all currently-disabled audio tracks in the movie.", "", TaskPath::None, enableAudio},
        {15, TaskGroup::Sound, "Disable audio tracks except track 1",
            "Disables all audio tracks except the first audio track.", "", TaskPath::None, disableAudio<1>},
        {16, TaskGroup::Sound, "Disable audio tracks except tracks 1-2",
            "Disables all audio tracks except the first and second audio tracks.", "", TaskPath::None,
            disableAudio<2>},
        {24, TaskGroup::Sound, "Disable audio tracks except tracks 1-4",
            "Disables all audio tracks except the first four.", "", TaskPath::None, disableAudio<4>},
        {25, TaskGroup::Sound, "Disable audio tracks except tracks 1-6",
            "Disables all audio tracks except the first six.", "", TaskPath::None, disableAudio<6>},
        {26, TaskGroup::Sound, "Disable audio tracks except tracks 1-8",
            "Disables all audio tracks except the first eight.", "", TaskPath::None, disableAudio<8>},
        {3, TaskGroup::Sound, "Remove audio tracks except track 1",
            "Removes all audio tracks except the first audio track.", "", TaskPath::None, removeAudio<1>},
        {4, TaskGroup::Sound, "Remove audio tracks except tracks 1-2",
            "Removes all audio tracks except the first and second audio tracks.", "", TaskPath::None,
            removeAudio<2>},
        {27, TaskGroup::Sound, "Remove audio tracks except tracks 1-4",
            "Removes all audio tracks except the first four.", "", TaskPath::None, removeAudio<4>},
        {28, TaskGroup::Sound, "Remove audio tracks except tracks 1-6",
            "Removes all audio tracks except the first six.", "", TaskPath::None, removeAudio<6>},
        {29, TaskGroup::Sound, "Remove audio tracks except tracks 1-8",
            "Removes all audio tracks except the first eight.", "", TaskPath::None, removeAudio<8>},
        {22, TaskGroup::Sound, "Remove all audio tracks", "Removes all audio tracks in the file.",
            "Removes all audio tracks in the movie.", TaskPath::None, removeAudio<0>},
    };

    Result<Edit> taskOption(std::string_view value)
    {
        const auto equals = value.find('=');
        const auto name = value.substr(0, equals);
        const auto* task = quickTaskNamed(name);
        if (!task)
            return edits::wrongValue(
                "--task", name, "the name or number of a task (\"reelwright-cli tasks\" lists them)");
        const std::string path {equals == std::string_view::npos ? "" : value.substr(equals + 1)};
        if (task->path == TaskPath::None && equals != std::string_view::npos)
            return refusal(fmt::format("--task {} takes no path", name));
        if (equals == std::string_view::npos ? task->path == TaskPath::MovieFolder : path.empty())
            return refusal(fmt::format("--task {0} needs a path: --task {0}=FOLDER", name));
        return edits::quickTask(*task, path);
    }

    constexpr EditKind kKinds[] = {
        {"--task", "NAME[=PATH]",
            "A quick task by name or number; some take a file or\nfolder (\"reelwright-cli tasks\" lists "
            "them)",
            edits::single<taskOption>},
    };

} // namespace

std::string QuickTask::optionName() const
{
    std::string result;
    for (const char character : std::string_view(name)) {
        const bool isUpper = character >= 'A' && character <= 'Z';
        const bool isWord
            = isUpper || (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
        result += !isWord ? '-' : isUpper ? static_cast<char>(character + ('a' - 'A')) : character;
    }
    return result;
}

std::string QuickTask::descriptionIn(TaskPlace place) const
{
    return place == TaskPlace::Batch && *batchDescription != '\0' ? batchDescription : description;
}

std::span<const QuickTask> quickTasks()
{
    return kTasks;
}

const QuickTask* quickTaskWithTag(int tag)
{
    const auto* found = std::find_if(
        std::begin(kTasks), std::end(kTasks), [&](const auto& task) { return task.tag == tag; });
    return found == std::end(kTasks) ? nullptr : found;
}

const QuickTask* quickTaskNamed(std::string_view name)
{
    int tag = 0;
    const auto* end = name.data() + name.size();
    if (const auto [stop, error] = std::from_chars(name.data(), end, tag);
        error == std::errc {} && stop == end)
        return quickTaskWithTag(tag);
    for (const auto& task : kTasks)
        if (name == task.optionName() || (task.path == TaskPath::Still && name == kStillAlias))
            return &task;
    return nullptr;
}

const char* groupTitle(TaskGroup group)
{
    switch (group) {
    case TaskGroup::TracksAndMetadata:
        return "Tracks and metadata";
    case TaskGroup::Timecode:
        return "Timecode";
    case TaskGroup::PictureShapeAndColor:
        return "Picture shape and color";
    case TaskGroup::Sound:
        break;
    }
    return "Sound";
}

Edit edits::quickTask(const QuickTask& task, const std::string& path)
{
    return {fmt::format("--task {}{}{}", task.optionName(), path.empty() ? "" : "=", path), task.name,
        fmt::format("Quick Task: {}", task.name), task.call(path)};
}

std::span<const EditKind> edits::quickTaskKinds()
{
    return kKinds;
}

} // namespace reelwright
