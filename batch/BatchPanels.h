#pragma once

#include "attributes/KWImageDescriptionController.h"
#include "attributes/KWMetadataController.h"
#include "batch/KWBatchDocument.h"
#include "edits/QuickTasks.h"

namespace reelwright {

/// What the panes of a batch do: they queue changes instead of making them. Borrows the batch.
class BatchPanels
{
public:
    explicit BatchPanels(KWBatchDocument& batch)
        : m_batch(batch)
    {
    }

    /// Any change of the catalogue, under its own label.
    void queue(const Edit& edit);
    /// The same under another one, and with the options that make it on the command line.
    void queue(const Edit& edit, std::string desc, std::vector<std::string> arguments, std::string value);

    // Movie settings

    void movieSettingsAutoplayToggle(bool on);
    void movieSettingsAutoCloseToggle(bool on);
    void movieSettingsAutoQuitToggle(bool on);
    /// `hide`: the check box is on.
    void movieSettingsControllerShowHide(bool hide);
    /// 0 classic, 1 clean, 2 production, any other encoded pixels.
    void movieSettingsApertureChange(std::size_t index);
    void rotateLeft();
    void rotateRight();
    void flip();
    void flop();

    // Timecode

    struct Timecode
    {
        bool isCounter = false;
        std::string start;
        std::string reel;
        bool dropFrame = false;
        bool negativeTimes = false;
        bool limit24Hours = false;
    };
    /// False after an alert about a start that cannot be read.
    bool setTimecode(const Timecode& timecode);

    // Conform

    /// The rate as typed. False after an alert about one that is no rate.
    bool conformFrameRate(const std::string& text);

    // Attributes of the first video track

    /// False where nothing is queued: for "(various)", the text of rows that say several things.
    bool setAttribute(const AttributeEntry& attribute, const AttributeValue& value);
    void addAttribute(const AttributeEntry& attribute, const AttributeValue& value);
    /// Asks first; false when the user does not want to.
    bool removeAttribute(const AttributeEntry& attribute);

    // Metadata of the movie

    /// False after an alert about a key that is empty.
    bool addMetadata(const std::string& key, const std::string& value);
    void setMetadata(const std::string& key, const std::string& value);
    /// Asks first; false when the user does not want to.
    bool removeMetadata(const KWMetadataItem& item);

    // Quick tasks

    /// The text beside the menu; nothing where it stays as it is.
    [[nodiscard]] static std::optional<std::string> changeQuickTask(int tag);
    void performQuickTask(int tag);
    /// A folder was chosen for the task that asks for stills, or for movies.
    void quickTaskTHMBrowseDidEnd(const std::string& folder);
    void quickTaskMovieTimecodeBrowseDidEnd(const std::string& folder);

private:
    bool setCounter(const Timecode& timecode);
    void queueAttribute(const AttributeEntry& attribute, const AttributeValue& value, const char* label);
    void queueMetadata(const std::string& key, const std::string& value, std::string desc);
    void alert(const char* title, const std::string& text);
    void queueTask(int tag, const std::string& folder, const char* desc = nullptr);
    void tellTaskQueued();

    KWBatchDocument& m_batch;
};

} // namespace reelwright
