#pragma once

#include "document/DocumentEnvironment.h"
#include "document/DocumentFile.h"
#include "document/DocumentWindow.h"
#include "document/ExportController.h"
#include "document/NotificationCenter.h"
#include "document/PanelTabs.h"
#include "document/SaveController.h"
#include "document/TimecodeSettings.h"
#include "document/TrackList.h"
#include "document/UndoHistory.h"
#include "edits/Edit.h"
#include "movie/QTMovie.h"
#include "movie/QTTrack.h"
#include "tracks/KWMovTrack.h"
#include "tracks/ShownTime.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace reelwright {

/// What a save remembers of its document, which goes on meanwhile.
struct SavePoint
{
    std::shared_ptr<const MovieFile> file; ///< over which the movie lies
    UndoHistory::State state = 0; ///< the movie's
    std::uint64_t otherChanges = 0;
};

/// What the movie settings panel shows.
struct MovieSettings
{
    bool autoPlay = false;
    bool autoClose = false;
    bool autoQuit = false;
    bool controllerHidden = false;
    std::size_t apertureIndex = 0; ///< classic, clean, production, encoded pixels
    std::string conformFrameRate; ///< "25.00"
};

/// One open movie: the movie, its track list, what can be undone, and its saving. Everything happens on the
/// main thread, except that a save writes a copy of the movie on a thread of its own. A document that is
/// saving must not be destroyed; it closes its window itself when the save ends.
class MyDocument
{
public:
    /// With an empty movie.
    explicit MyDocument(DocumentEnvironment environment);
    MyDocument(const MyDocument&) = delete;
    MyDocument& operator=(const MyDocument&) = delete;
    ~MyDocument();

    // Opening

    /// A movie file opened ahead.
    struct OpenedMovie
    {
        std::string path;
        DocumentFile file;
        std::optional<Result<QTMovie>> movie; ///< nothing: the file is no movie at all
    };
    /// The part of opening that waits for the disk: may run on any thread.
    static OpenedMovie openMovie(const std::string& path, const std::shared_ptr<Storage>& storage);
    /// Opens a file. `error`, when given, receives why not; after success it holds a status of -4, so go by
    /// the result. A file that is no movie at all leaves it alone.
    bool readFromURL(const std::string& path, MovieError* error = nullptr);
    bool readFromURL(OpenedMovie opened, MovieError* error = nullptr);
    /// Opens the document's file again after it was replaced on disk. Forgets what could be undone.
    bool loadMovieFromURL(const std::string& path);
    /// Installs a movie.
    bool loadQTMovie(QTMovie movie);

    // The window

    /// The window's interface is there and stays until windowWillClose.
    void windowControllerDidLoadNib(DocumentWindow& window);
    /// May the window close at once? While a save is written: not yet, it is closed when the save ends.
    bool windowShouldClose() { return m_saving.windowShouldClose(); }
    /// What the window's close button does: windowShouldClose, then the question about unsaved changes, then
    /// DocumentWindow::closeWindow.
    void close();
    void windowWillClose();
    /// Shows the movie again at the same time, and the track list.
    void resetQTMovieView();
    /// The Cancel button of the progress sheet.
    void cancelProgress() { m_saving.cancelProgress(); }

    // What it holds

    /// Where the track table's arrow keys are told.
    [[nodiscard]] NotificationCenter& notifications() const { return m_environment.notifications; }
    [[nodiscard]] const QTMovie& movie() const { return m_movie; }
    /// Path of the document's file; empty for a document that has none.
    [[nodiscard]] const std::string& path() const { return m_path; }
    [[nodiscard]] const DocumentFile& file() const { return m_file; }
    /// The one that a save is being written to, also under another name; null while there is none.
    [[nodiscard]] const DocumentFile* fileBeingWritten() const { return m_saving.fileBeingWritten(); }
    /// The file's name, or "Untitled".
    [[nodiscard]] std::string displayName() const;
    /// Are there changes that were not saved?
    [[nodiscard]] bool isEdited() const;
    [[nodiscard]] bool isSaving() const { return m_saving.isSaving(); }
    /// Is a save being written, on whatever thread?
    [[nodiscard]] bool isWriting() const { return m_saving.isWriting(); }
    /// The movie got media that live in another file.
    [[nodiscard]] bool needsFlattening() const { return m_needsFlattening; }
    void setNeedsFlattening() { m_needsFlattening = true; }

    // Times

    /// How times are shown: the user's choice, remembered.
    [[nodiscard]] ShownTime::Style timeStyle() const { return m_timeStyle; }
    void setTimeStyle(ShownTime::Style style);
    [[nodiscard]] std::string shownTime(const QTTime& time, ShownTime::Kind kind = ShownTime::Kind::Place) const
    {
        return ShownTime::text(time, kind, m_timeStyle, m_movie);
    }
    /// What a text means where times are shown so. Errors: those of ShownTime.
    [[nodiscard]] Result<QTTime> readTime(const std::string& text, ShownTime::Kind kind = ShownTime::Kind::Place,
        const std::optional<QTTime>& present = {}) const
    {
        return ShownTime::read(text, kind, m_timeStyle, m_movie, present);
    }
    [[nodiscard]] ShownTime::Remark timeRemark(const std::string& text,
        ShownTime::Kind kind = ShownTime::Kind::Place, const std::optional<QTTime>& present = {}) const
    {
        return ShownTime::remark(text, kind, m_timeStyle, m_movie, present);
    }

    // The track list

    [[nodiscard]] const TrackList& trackList() const { return m_trackList; }
    /// Rebuilds the rows. The selection stays on its track, and the panels are told when it is `Notify`.
    enum class SelectionNotice { Notify, Quiet };
    void loadTracks(SelectionNotice notice = SelectionNotice::Notify);
    [[nodiscard]] std::optional<std::size_t> selectedRow() const { return m_selectedRow; }
    /// The user selected a row, or none.
    void selectRow(std::optional<std::size_t> row);
    /// The selected row's record; null for none and for the movie row.
    [[nodiscard]] const KWMovTrack* selectedTrack() const;
    /// Selects the row of that very record; nothing happens for one that is not in the list.
    void selectTrack(const KWMovTrack& record);
    /// The panels for the selection; see PanelTabs::forSelection.
    [[nodiscard]] PanelTabs panelTabs(const std::function<bool(Panel)>& isAvailable = {}) const;

    /// The remark on a text that is being typed there; see ShownTime.
    [[nodiscard]] ShownTime::Remark columnRemark(
        TrackColumn column, std::size_t row, const std::string& text) const;
    /// The user typed into "in" or "duration".
    void setColumnText(TrackColumn column, std::size_t row, const std::string& text);
    /// The user clicked the check box of "enabled".
    void setTrackEnabled(std::size_t row, bool enabled);
    /// Moves the selected track by 100 units of the movie's time scale; only the sign matters.
    void incrementTrackOffset(int offset);
    void incrementTrackByOneFrame() { incrementTrackOffset(100); }
    void decrementTrackByOneFrame() { incrementTrackOffset(-100); }
    /// Removes the selected track after asking.
    void removeTrack();

    /// The box fields of the text panel, as the text track's bounds suggest them.
    struct TextBox
    {
        std::string top;
        std::string width;
        std::string height;
    };
    [[nodiscard]] static TextBox textBox(const KWMovTrack& record);

    // Edits

    /// Does the movie view have to show the movie again after an edit?
    enum class ViewUpdate { None, Reset };
    /// Makes the edit one step of the undo history: every edit of every panel goes through here. All or
    /// nothing; the error is for the panel to show where it has an alert for it. An edit that changed nothing
    /// is no step. Afterwards the track list is rebuilt. `remarks` receives what the user should know of it,
    /// `refused` the parts that were left out.
    Result<void> perform(const Edit& edit, ViewUpdate view = ViewUpdate::None,
        std::vector<std::string>* remarks = nullptr, RefusedParts* refused = nullptr);
    /// The same for a change that has no catalogue entry of its own; nothing is rolled back.
    void perform(const std::string& name, const std::function<void(QTMovie&)>& edit,
        ViewUpdate view = ViewUpdate::None);
    /// Marks the document changed by something that cannot be undone.
    void updateChangeCount();
    /// The movie was edited by someone else than `perform`.
    void movieEdited();

    [[nodiscard]] const UndoHistory& history() const { return m_history; }
    void undo();
    void redo();
    /// Takes one of the unsaved steps (UndoHistory::unsavedSteps) back and keeps those that came after it, as
    /// a step of its own. Errors: those of UndoHistory::without.
    Result<void> undoStep(std::size_t index);
    /// The movie as its file has it, or as it was when it was opened; a step that can be undone.
    void revertToSaved();
    void revertToOpened();

    // Movie settings

    [[nodiscard]] MovieSettings loadMovieSettings();
    void movieSettingsAutoplayToggle(bool on);
    void movieSettingsAutoCloseToggle(bool on);
    void movieSettingsAutoQuitToggle(bool on);
    /// `hide`: the check box is on.
    void movieSettingsControllerShowHide(bool hide);
    /// 0 classic, 1 clean, 2 production, 3 encoded pixels.
    void movieSettingsApertureChange(std::size_t index);
    void movieSettingsRotateLeft();
    void movieSettingsRotateRight();
    void movieSettingsFlip();
    void movieSettingsFlop();

    // Timecode tracks

    /// Adds one from 01:00:00:00 and selects it. Tells the user when the file's format has none.
    void addTimecodeTrack();
    /// What the timecode panel shows of that track.
    [[nodiscard]] static TimecodeSettings loadTimecodeDataForTrack(const KWMovTrack& record);
    /// What that track says where the movie view stands; empty where it shows nothing.
    [[nodiscard]] std::string timecodeAtPosition(const KWMovTrack& record) const;
    /// The controls of the timecode panel.
    enum class TimecodeControl { StartText, StartType, Other };
    /// One of them was changed: gives the selected timecode track what they hold. `isAtPosition`: the start
    /// type says that the typed start is that of the frame on show. Only what differs from the track is
    /// changed. Answers what the user should know (a start that has no label, one before midnight), or the
    /// empty text.
    std::string modifyTimecodeData(
        const TimecodeSettings& settings, TimecodeControl sender, bool isAtPosition);
    std::string modifyTimecodeDataForTrack(
        const KWMovTrack& record, const TimecodeSettings& settings, bool setAtCurrentPos);

    // The timecode field

    /// What the first timecode track shows at a time of the movie, through its edit list and whatever its
    /// media's time scale; empty where it shows nothing. Without such a track the frame's number.
    static std::string timecodeAt(const QTTime& time, const QTMovie& movie);
    /// Would that answer without looking at a disk? Where not, asking it for a copy of the movie elsewhere
    /// brings the answer to hand.
    static bool isTimecodeAtHand(const QTTime& time, const QTMovie& movie);
    /// Shows the timecode at the current time; called by a timer while the window is open.
    void updateTimecode();
    /// What a text typed into it comes to, or why it cannot be read.
    [[nodiscard]] ShownTime::Remark positionRemark(const std::string& text) const;
    /// The field's action: goes to what was typed.
    void changeTimecode();
    /// Would that find its place without looking at a disk? If not, `readLabels` comes first, on another
    /// thread.
    [[nodiscard]] bool isTypedPositionAtHand() const;
    static void readLabels(const QTMovie& movie);

    // Saving

    /// Save: into the document's file; Save As when it has none, or one that only its media come from (sound
    /// and DV files). These return once the save has begun; false when the user chose no file, or a save is
    /// being written already.
    bool saveDocument() { return m_saving.saveDocument(); }
    bool saveDocumentAs() { return m_saving.saveDocumentAs(); }
    bool saveDocumentTo() { return m_saving.saveDocumentTo(); }
    /// Writes the movie as it stands, flattened, to a file that the user chooses; the document stays at its
    /// own, with its changes.
    bool saveCopy() { return m_saving.saveCopy(); }
    /// Begins a save: on a thread, or while the application quits on this one. False when one is being
    /// written already.
    bool writeSafelyToURL(const std::string& path, SaveOperation operation)
    {
        return m_saving.writeSafelyToURL(path, operation);
    }
    /// Adds "mov" to a name without an extension.
    static std::string prepareSavePath(const std::string& path);
    /// Opens the document's file again as it is now; edits that were not saved are given up.
    void revertToFile();

    /// Exports and stills.
    [[nodiscard]] ExportController& exporter() { return m_exporter; }

    // What its save controller needs

    [[nodiscard]] const DocumentEnvironment& environment() const { return m_environment; }
    /// Null while there is none.
    [[nodiscard]] DocumentWindow* window() const { return m_window; }
    [[nodiscard]] QTTime currentTime() const;
    void setCurrentTime(const QTTime& time);
    [[nodiscard]] SavePoint savePoint() const;
    /// The whole movie of that point is going to be written, media of other files included.
    void pastInPlaceUpdate(const SavePoint& point);
    /// A save that began at that point has ended so.
    void takeSaved(const SavePoint& point, const std::string& path, const MovieWriter::Outcome& outcome);

    // Quitting

    /// The application wants to quit: may it, as far as this document goes? From now on saves belong to the
    /// quitting, until quitCancelled.
    bool documentCanQuit() { return m_saving.documentCanQuit(); }
    void quitCancelled() { m_saving.quitCancelled(); }
    /// The question about unsaved changes, before closing or quitting.
    enum class Review { Save, Discard, Cancel };
    [[nodiscard]] Review reviewChanges();

    // Helpers on the movie

    /// The track with that record's ID; the last one when several have it.
    [[nodiscard]] std::optional<QTTrack> qtTrackForTrack(const KWMovTrack& record) const;
    /// Duration of the track media's first sample, in the media's time scale; 0 when there is none.
    [[nodiscard]] static std::int32_t trackFrameDuration(const QTTrack& track);
    /// Frames a second; 30.0 where it cannot be computed.
    [[nodiscard]] static float frameRateForMedia(const QTMedia& media);
    /// A time text for QTTimeFromString from what a user typed: hours, minutes, seconds and frames.
    [[nodiscard]] std::string qtTimeStringFromFormatString(const std::string& text, std::int32_t timeScale);
    /// The length of one video frame in movie time units; computed at its first use, 0 while unknown.
    [[nodiscard]] std::int64_t oneFrameLength() const { return m_oneFrameLength; }
    void setOneFrameLength(std::int64_t length) { m_oneFrameLength = length; }
    /// Logs how many samples the track has, and how many steps.
    void loadMediaDataForTrack(const KWMovTrack& record) const;
    /// Does nothing; a place for work on sound tracks.
    void loadAudioDataForTrack(const KWMovTrack& record) const;

private:
    void installMovie(QTMovie movie);
    /// The time that a text in the timecode field means.
    [[nodiscard]] Result<QTTime> typedPosition(const std::string& text) const;
    [[nodiscard]] std::string typedLabel(const std::string& text) const;
    void setPath(const std::string& path, const std::string& resolvedPath);
    void showInfoForSelection();

    /// The track of an edited row, or nothing after telling the user that it cannot be found.
    [[nodiscard]] std::optional<QTTrack> editedTrack(const KWMovTrack& record);
    /// One edit of the movie settings: marks the document changed even when nothing came of it.
    void performSetting(const Edit& edit, ViewUpdate view = ViewUpdate::None);
    /// Makes the edited copy the movie, as one step of the undo history.
    void takeEdit(const std::string& name, QTMovie edited, ViewUpdate view, std::optional<Edit> edit = {});
    void showState(QTMovie movie, bool wasEdited);
    void tellChanges(bool wasEdited);

    void takeFile(const SavePoint& point, const MovieWriter::Outcome& outcome);
    void takeFlattenedFile(
        const SavePoint& point, const std::string& path, const MovieWriter::Outcome& outcome);

    DocumentEnvironment m_environment;
    std::string m_path;
    QTMovie m_movie;
    QTMovie m_opened; ///< as it was opened, or written anew
    TrackList m_trackList {m_movie};
    ShownTime::Style m_timeStyle = ShownTime::Style::Defined;
    std::optional<std::size_t> m_selectedRow;
    UndoHistory m_history;
    std::uint64_t m_otherChanges = 0; ///< changes that are no steps, counted,
    std::uint64_t m_savedOtherChanges = 0; ///< and how many of them were saved
    std::int64_t m_oneFrameLength = 0;
    DocumentWindow* m_window = nullptr;
    std::vector<NotificationCenter::Observation> m_observations;

    DocumentFile m_file;
    bool m_needsFlattening = false;
    ExportController m_exporter {*this};
    SaveController m_saving {*this}; ///< the last member: its end waits for a save that uses the others
};

} // namespace reelwright
