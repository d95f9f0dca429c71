#include "batch/BatchPanels.h"

#include "edits/AttributeEdits.h"
#include "edits/SettingsEdits.h"
#include "edits/TimecodeEdit.h"
#include "support/FileHelper.h"
#include "support/Text.h"
#include "times/KWTimecode.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace reelwright {
namespace {

    namespace fs = std::filesystem;

    constexpr int kStillTask = 7;
    constexpr int kMovieTask = 23;

    /// The still of a movie: its name with this extension, in whichever case the camera wrote it.
    bool hasStillBeside(const std::string& file)
    {
        constexpr const char* kExtensions[] = {".THM", ".thm", ".Thm"};
        return std::any_of(std::begin(kExtensions), std::end(kExtensions), [&](const char* extension) {
            return FileHelper::fileExistsAtPath(fs::path(file).replace_extension(extension).string());
        });
    }

    /// The change that the timecode options make together.
    Result<Edit> timecodeEdit(
        const BatchPanels::Timecode& wanted, std::string_view option, std::string_view start)
    {
        EditSteps steps;
        auto& edit = steps.compound<TimecodeEdit>();
        RW_CHECK(option == "--counter" ? edit.setCounter(start) : edit.setTimecode(start));
        RW_CHECK(edit.setReel(wanted.reel));
        if (!wanted.isCounter) {
            if (wanted.dropFrame)
                edit.addFlag(TimecodeDefinition::kDropFrame);
            if (wanted.negativeTimes)
                edit.addFlag(TimecodeDefinition::kNegativeTimesOK);
            if (wanted.limit24Hours)
                edit.addFlag(TimecodeDefinition::k24HourMax);
        }
        RW_TRY(auto plan, steps.finish());
        return std::move(plan.edits.front());
    }

    /// A value as it is shown.
    std::string attributeText(const AttributeEntry& attribute, const AttributeValue& value)
    {
        if (const auto* text = std::get_if<std::string>(&value))
            return *text;
        const auto index = static_cast<std::size_t>(std::get<int>(value));
        if (attribute.description == kColor && std::get<int>(value) == kColorCustom)
            return fmt::format("{}-{}-{}", attribute.primaries, attribute.transfer, attribute.matrix);
        return index < attribute.popupvalues.size() ? attribute.popupvalues[index].name
                                                    : std::to_string(index);
    }

} // namespace

void BatchPanels::alert(const char* title, const std::string& text)
{
    if (m_batch.window())
        m_batch.window()->alert(title, text, {"OK"});
}

void BatchPanels::queue(const Edit& edit)
{
    m_batch.queueEntry(QueueEntry::of(edit));
}

void BatchPanels::queue(
    const Edit& edit, std::string desc, std::vector<std::string> arguments, std::string value)
{
    auto entry = QueueEntry::of(edit);
    entry.desc = std::move(desc);
    entry.arguments = std::move(arguments);
    entry.value = std::move(value);
    m_batch.queueEntry(std::move(entry));
}

void BatchPanels::movieSettingsAutoplayToggle(bool on)
{
    queue(edits::setAutoPlay(on));
}

void BatchPanels::movieSettingsAutoCloseToggle(bool on)
{
    queue(edits::setAutoClose(on));
}

void BatchPanels::movieSettingsAutoQuitToggle(bool on)
{
    queue(edits::setAutoQuit(on));
}

void BatchPanels::movieSettingsControllerShowHide(bool hide)
{
    queue(edits::setController(hide ? edits::Controller::Hide : edits::Controller::Show));
}

void BatchPanels::movieSettingsApertureChange(std::size_t index)
{
    constexpr FourCC kModes[] = {"clas"_cc, "clea"_cc, "prod"_cc, "enco"_cc};
    queue(edits::setApertureMode(kModes[std::min(index, std::size(kModes) - 1)]));
}

void BatchPanels::rotateLeft()
{
    queue(edits::rotate(edits::Turn::Left));
}

void BatchPanels::rotateRight()
{
    queue(edits::rotate(edits::Turn::Right));
}

void BatchPanels::flip()
{
    queue(edits::flip());
}

void BatchPanels::flop()
{
    queue(edits::flop());
}

bool BatchPanels::setTimecode(const Timecode& timecode)
{
    if (timecode.isCounter)
        return setCounter(timecode);
    const auto text = KWTimecode::timecodeFromUserString(timecode.start, false, "00:00:00:00");
    const bool canBeRead = timecodeEdit(timecode, "--timecode", timecode.start).has_value();
    const auto edit = timecodeEdit(timecode, "--timecode", text);
    if (split(text, ":;").size() != 4 || !canBeRead || !edit) {
        alert("Invalid timecode format", "Timecode must take the format 00:00:00:00.");
        return false;
    }
    std::vector<std::string> arguments {"--timecode", text, "--reel", timecode.reel};
    std::string value = text;
    for (const auto& [isSet, option, name] : {std::tuple {timecode.dropFrame, "--drop-frame", "drop frame"},
             {timecode.negativeTimes, "--negative", "negative times"},
             {timecode.limit24Hours, "--limit-24h", "24-hour maximum"}})
        if (isSet) {
            arguments.emplace_back(option);
            value += fmt::format(", {}", name);
        }
    if (!timecode.reel.empty())
        value += ", reel " + timecode.reel;
    queue(*edit, fmt::format("Set timecode to {} and reel to {}", text, timecode.reel), std::move(arguments),
        std::move(value));
    return true;
}

bool BatchPanels::setCounter(const Timecode& timecode)
{
    const auto start = std::to_string(integerValue(timecode.start));
    const auto edit = timecodeEdit(timecode, "--counter", start);
    if (!edit) {
        alert("Invalid counter", edit.error().detail);
        return false;
    }
    queue(*edit, fmt::format("Set counter to {} and reel to {}", start, timecode.reel),
        {"--counter", start, "--reel", timecode.reel}, start);
    return true;
}

bool BatchPanels::conformFrameRate(const std::string& text)
{
    std::string number {trimmed(text)};
    std::replace(number.begin(), number.end(), ',', '.');
    double fps = 0;
    std::from_chars(number.data(), number.data() + number.size(), fps);
    constexpr double kMostFrames = 100000;
    if (!(fps > 0 && fps < kMostFrames)) {
        alert("Invalid frame rate",
            "Type how many frames a second the movies are to have, such as 25 or 29.97.");
        return false;
    }
    m_batch.queueEntry(QueueEntry::conform(fmt::format("Conform movie to {} fps", text), fps));
    alert("Conform queued",
        "Continue making changes or click the Submit Batch button to begin processing the batch.");
    return true;
}

void BatchPanels::queueAttribute(
    const AttributeEntry& attribute, const AttributeValue& value, const char* label)
{
    auto entry = QueueEntry::of(edits::setAttribute(attribute, value));
    entry.value = attributeText(attribute, value);
    entry.desc = fmt::format(fmt::runtime(label), attribute.description, entry.value);
    m_batch.queueEntry(std::move(entry));
}

bool BatchPanels::setAttribute(const AttributeEntry& attribute, const AttributeValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value); text && *text == "(various)")
        return false;
    queueAttribute(attribute, value, "Set attribute {} to {}");
    return true;
}

void BatchPanels::addAttribute(const AttributeEntry& attribute, const AttributeValue& value)
{
    queueAttribute(attribute, value, "Add attribute {}={}");
}

bool BatchPanels::removeAttribute(const AttributeEntry& attribute)
{
    if (m_batch.window()->alert(
            "Are you sure you wish to remove this attribute?", "This cannot be undone.", {"Remove", "Cancel"})
        != 0)
        return false;
    auto entry = QueueEntry::of(edits::setAttribute(attribute, std::nullopt));
    entry.value.clear();
    entry.desc = fmt::format("Remove attribute {}", attribute.description);
    m_batch.queueEntry(std::move(entry));
    return true;
}

void BatchPanels::queueMetadata(const std::string& key, const std::string& value, std::string desc)
{
    constexpr Result<void> (*kSet)(const std::string&, const std::string&, QTMovie&)
        = KWMetadataController::setMetaDataValue;
    QueueEntry entry;
    entry.desc = std::move(desc);
    entry.invocation = record("KWMetadataController setMetaDataValue:forKey:movie:", kSet, value, key,
        KWPlaceholderMovie::placeholder());
    entry.value = value;
    entry.arguments = {"--metadata", fmt::format("{}={}", key, value)};
    m_batch.queueEntry(std::move(entry));
}

bool BatchPanels::addMetadata(const std::string& key, const std::string& value)
{
    if (key.empty()) {
        alert("You must enter a key name", "This field cannot be left blank.");
        return false;
    }
    queueMetadata(key, value, fmt::format("Add metadata {}={}", key, value));
    return true;
}

void BatchPanels::setMetadata(const std::string& key, const std::string& value)
{
    queueMetadata(key, value, fmt::format("Set metadata field {} to {}", key, value));
}

bool BatchPanels::removeMetadata(const KWMetadataItem& item)
{
    if (m_batch.window()->alert("Are you sure you wish to remove this metadata value?",
            "The value will be removed from all clips in the batch.", {"Remove", "Cancel"})
        != 0)
        return false;
    QueueEntry entry;
    entry.desc = fmt::format("Remove metadata {}", item.key);
    entry.invocation
        = record("KWMetadataController removeMetaData:fromMovie:", KWMetadataController::removeMetaData, item,
            KWPlaceholderMovie::placeholder());
    entry.arguments = {"--remove-metadata", item.key};
    m_batch.queueEntry(std::move(entry));
    return true;
}

std::optional<std::string> BatchPanels::changeQuickTask(int tag)
{
    const auto* task = quickTaskWithTag(tag);
    return task ? std::optional(task->descriptionIn(TaskPlace::Batch)) : std::nullopt;
}

void BatchPanels::performQuickTask(int tag)
{
    auto* window = m_batch.window();
    if (tag == kMovieTask) {
        if (const auto folder = window->chooseFolder("Choose a folder of movies with the same names"))
            quickTaskMovieTimecodeBrowseDidEnd(*folder);
        return;
    }
    if (tag == kStillTask && !m_batch.fileArray().empty()) {
        const auto& first = m_batch.fileArray().front();
        if (!hasStillBeside(first)) {
            if (const auto folder
                = window->chooseFolder("Choose a folder of THM files with the movies' names"))
                quickTaskTHMBrowseDidEnd(*folder);
            return;
        }
        queueTask(tag, fs::path(first).parent_path().string());
    } else if (tag != kStillTask) {
        queueTask(tag, {});
    }
    tellTaskQueued();
}

void BatchPanels::quickTaskTHMBrowseDidEnd(const std::string& folder)
{
    queueTask(kStillTask, folder, "Quick Task: Set timecode from THM file");
    tellTaskQueued();
}

void BatchPanels::quickTaskMovieTimecodeBrowseDidEnd(const std::string& folder)
{
    queueTask(kMovieTask, folder);
    tellTaskQueued();
}

void BatchPanels::queueTask(int tag, const std::string& folder, const char* desc)
{
    const auto* task = quickTaskWithTag(tag);
    if (!task)
        return;
    auto entry = QueueEntry::of(edits::quickTask(*task, folder));
    if (desc)
        entry.desc = desc;
    entry.value = folder;
    m_batch.queueEntry(std::move(entry));
}

void BatchPanels::tellTaskQueued()
{
    m_batch.markUnsavedChanges();
    alert("Quick Task queued", "You can now process the files or continue making changes.");
}

} // namespace reelwright
