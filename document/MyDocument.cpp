#include "document/MyDocument.h"

#include "edits/SettingsEdits.h"
#include "edits/TimecodeEdits.h"
#include "edits/TrackEdits.h"
#include "movie/samples/TimecodeMedia.h"
#include "support/KWLog.h"
#include "support/MainThread.h"
#include "support/Preferences.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"
#include "timecode/RunningTimecode.h"
#include "times/KWTimecode.h"
#include "times/TypedTime.h"
#include "tracks/ApertureModes.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <system_error>
#include <utility>

namespace reelwright {
namespace {

    /// The part of a path behind the last slash.
    std::string fileNameOf(const std::string& path)
    {
        return path.substr(path.rfind('/') + 1); // npos + 1 is 0
    }

    /// The path without its file name's extension.
    std::string withoutExtension(const std::string& path)
    {
        const auto name = path.rfind('/') + 1;
        const auto dot = path.rfind('.');
        return dot == std::string::npos || dot <= name ? path : path.substr(0, dot);
    }

    std::string asSentence(std::string text)
    {
        if (!text.empty() && text.front() >= 'a' && text.front() <= 'z')
            text.front() = static_cast<char>(text.front() - ('a' - 'A'));
        if (!text.empty() && text.back() != '.')
            text += '.';
        return text;
    }

    std::string sentence(const MovieError& error)
    {
        return asSentence(error.message());
    }

    /// How often a movie's picture or sound steps on: one for the begin of each edit with media, and one for
    /// each sample that begins within it. Counted from the tables, whatever the number of samples.
    std::int64_t stepCount(const QTTrack& track)
    {
        const auto media = track.media();
        const auto table = media.sampleTable();
        const auto edits = track.editList();
        if (!edits || table.sampleCount() == 0)
            return 0;
        std::int64_t steps = 0;
        for (const auto& edit : edits->edits) {
            if (edit.isEmpty() || edit.mediaTime < 0 || edit.duration == 0)
                continue;
            ++steps;
            const auto units = static_cast<std::int64_t>(std::min<std::uint64_t>(edit.duration, INT64_MAX));
            const auto length
                = rescale(rescale(units, media.timeScale(), track.timeScale()), edit.rate, 1 << 16);
            if (length <= 1)
                continue;
            const auto begin = static_cast<std::uint64_t>(edit.mediaTime);
            const auto first = table.sampleAt(begin);
            const auto last = table.sampleAt(begin + static_cast<std::uint64_t>(length) - 1);
            if (first && last && last->sample > first->sample)
                steps += last->sample - first->sample;
        }
        return steps;
    }

} // namespace

/// One save. Made and ended on the main thread; the save thread has it to itself in between, except for what
/// is marked.
struct MyDocument::SaveJob
{
    SaveJob(MyDocument& owner, MovieWriter::Request what)
        : document(&owner)
        , environment(owner.m_environment)
        , request(std::move(what))
        , path(request.path)
        , file(request.movie.file())
        , state(owner.m_history.state())
        , otherChanges(owner.m_otherChanges)
    {
    }

    /// Does it on the main thread, unless the document is gone.
    void onMain(const std::function<void(MyDocument&)>& work)
    {
        environment.mainThread.run([&] {
            ++handOffs;
            if (document)
                work(*document);
            --handOffs;
        });
    }
    void onWindow(const std::function<void(DocumentWindow&)>& work)
    {
        onMain([&](MyDocument& owner) {
            if (owner.m_window)
                work(*owner.m_window);
        });
    }

    MyDocument* document; ///< main thread only; null when it is gone
    bool isWriting = true; ///< main thread only
    int handOffs = 0; ///< main thread only: calls under way
    std::atomic<bool> isCancelled = false; ///< any thread

    DocumentEnvironment environment;
    MovieWriter::Request request;
    const std::string path;
    const std::shared_ptr<const MovieFile> file; ///< over which the movie lay when the save began
    const UndoHistory::State state; ///< the movie's, then
    const std::uint64_t otherChanges;
    std::optional<DocumentFile> target; ///< main thread only: once it is claimed
    QTTime time; ///< where the movie view stood
};

MyDocument::MyDocument(DocumentEnvironment environment)
    : m_environment(std::move(environment))
{
}

MyDocument::~MyDocument()
{
    releaseSaveThread();
    if (m_job) {
        m_job->document = nullptr;
        m_job->isCancelled = true;
    }
}

// Opening

MyDocument::OpenedMovie MyDocument::openMovie(
    const std::string& path, const std::shared_ptr<Storage>& storage)
{
    KWLog::appendLog("Loading QuickTime movie {}", path);
    OpenedMovie opened {path, {storage->resolve(path), {}}, {}};
    if (QTMovie::canOpen(path, *storage))
        opened.movie = QTMovie::open(path, storage);
    if (opened.movie && *opened.movie) {
        opened.file.state = (*opened.movie)->file()->state;
        timecodeMedia::readAhead(**opened.movie);
    }
    return opened;
}

bool MyDocument::readFromURL(const std::string& path, MovieError* error)
{
    return readFromURL(openMovie(path, m_environment.storage), error);
}

bool MyDocument::readFromURL(OpenedMovie opened, MovieError* error)
{
    if (!opened.movie)
        return false;
    auto& movie = *opened.movie;
    if (!movie) {
        KWLog::appendLogAndPrint("Error loading movie: {}", movie.error().message());
        if (error)
            *error = std::move(movie).error();
        return false;
    }
    m_path = opened.path;
    if (!loadQTMovie(std::move(*movie)))
        return false;
    if (error) {
        constexpr int kUnimplemented = -4;
        *error = {};
        error->status = kUnimplemented;
    }
    setPath(opened.path, opened.file.path);
    return true;
}

bool MyDocument::loadMovieFromURL(const std::string& path)
{
    auto movie = QTMovie::open(path, m_environment.storage);
    if (!movie) {
        KWLog::appendLog("Error loading movie: {}", movie.error().message());
        return false;
    }
    return loadQTMovie(std::move(*movie));
}

bool MyDocument::loadQTMovie(QTMovie movie)
{
    const bool wasEdited = isEdited();
    m_history.reset();
    m_savedOtherChanges = m_otherChanges;
    m_opened = movie;
    installMovie(std::move(movie));
    tellChanges(wasEdited);
    return true;
}

void MyDocument::installMovie(QTMovie movie)
{
    m_movie = std::move(movie);
    m_oneFrameLength = 0;
    if (const auto& file = m_movie.file(); file && file->path == m_path)
        m_file.state = file->state;
    if (m_window)
        m_window->movieReplaced();
    loadTracks();
}

// The window

void MyDocument::windowControllerDidLoadNib(DocumentWindow& window)
{
    m_window = &window;
    auto& notifications = m_environment.notifications;
    m_observations.push_back(
        notifications.observe(KWTrackIncrementFrame, [this] { incrementTrackByOneFrame(); }));
    m_observations.push_back(
        notifications.observe(KWTrackDecrementFrame, [this] { decrementTrackByOneFrame(); }));
    if (!m_selectedRow)
        m_selectedRow = 0;
    m_window->movieReplaced();
    m_window->reloadTrackList();
    showInfoForSelection();
}

bool MyDocument::isWriting() const
{
    return m_job && m_job->isWriting;
}

bool MyDocument::windowShouldClose()
{
    if (!isWriting())
        return true;
    m_isClosing = true;
    return false;
}

void MyDocument::close()
{
    if (!windowShouldClose())
        return;
    if (isEdited())
        switch (reviewChanges()) {
        case Review::Cancel:
            return;
        case Review::Discard:
            break;
        case Review::Save:
            m_isClosing = true;
            if (!saveDocument())
                m_isClosing = false;
            return;
        }
    if (m_window)
        m_window->closeWindow();
}

void MyDocument::windowWillClose()
{
    m_observations.clear();
    if (m_window)
        m_window->movieReleased();
    m_window = nullptr;
}

void MyDocument::resetQTMovieView()
{
    if (!m_window)
        return;
    const auto time = m_window->currentTime();
    m_window->movieReplaced();
    m_window->setCurrentTime(time);
    m_window->reloadTrackList();
}

void MyDocument::cancelProgress()
{
    if (m_job)
        m_job->isCancelled = true;
}

QTTime MyDocument::currentTime() const
{
    return m_window ? m_window->currentTime() : m_movie.currentTime();
}

void MyDocument::setCurrentTime(const QTTime& time)
{
    m_movie.setCurrentTime(time);
    if (m_window)
        m_window->setCurrentTime(time);
}

// What it holds

std::string MyDocument::displayName() const
{
    return m_path.empty() ? "Untitled" : fileNameOf(m_path);
}

const DocumentFile* MyDocument::fileBeingWritten() const
{
    return isWriting() && m_job->target ? &*m_job->target : nullptr;
}

void MyDocument::setPath(const std::string& path, const std::string& resolvedPath)
{
    m_path = path;
    m_file.path = resolvedPath;
    if (m_window)
        m_window->titleChanged();
}

bool MyDocument::isEdited() const
{
    return !m_history.isAtSavedState() || m_otherChanges != m_savedOtherChanges;
}

// The track list

void MyDocument::loadTracks(SelectionNotice notice)
{
    const auto* selected = selectedTrack();
    const auto id = selected ? selected->trackID() : 0;
    const bool followsTrack = selected != nullptr;
    m_trackList.rebuild();
    if (followsTrack) {
        const auto isSame = [&](std::size_t row) {
            const auto* track = m_trackList.track(row);
            return track && track->trackID() == id;
        };
        auto row = *m_selectedRow;
        if (!isSame(row))
            for (std::size_t other = 1; other < m_trackList.rowCount(); ++other)
                if (isSame(other))
                    row = other;
        m_selectedRow = std::min(row, m_trackList.rowCount() - 1);
    }
    if (m_window)
        m_window->reloadTrackList();
    if (notice == SelectionNotice::Notify)
        showInfoForSelection();
}

void MyDocument::selectRow(std::optional<std::size_t> row)
{
    m_selectedRow = row && *row < m_trackList.rowCount() ? row : std::nullopt;
    showInfoForSelection();
}

void MyDocument::showInfoForSelection()
{
    if (!m_window)
        return;
    if (const auto* track = selectedTrack())
        loadMediaDataForTrack(*track);
    m_window->reloadSelection();
}

const KWMovTrack* MyDocument::selectedTrack() const
{
    return m_selectedRow ? m_trackList.track(*m_selectedRow) : nullptr;
}

void MyDocument::selectTrack(const KWMovTrack& record)
{
    const auto row = m_trackList.rowOf(record);
    if (!row)
        return;
    selectRow(*row);
    if (m_window)
        m_window->reloadTrackList();
}

PanelTabs MyDocument::panelTabs(const std::function<bool(Panel)>& isAvailable) const
{
    if (!m_selectedRow)
        return PanelTabs::forSelection(PanelTabs::Selection::Nothing, std::nullopt, isAvailable);
    return PanelTabs::forSelection(
        *m_selectedRow == 0 ? PanelTabs::Selection::Movie : PanelTabs::Selection::Track,
        m_trackList.typeCode(*m_selectedRow), isAvailable);
}

std::optional<QTTrack> MyDocument::qtTrackForTrack(const KWMovTrack& record) const
{
    std::optional<QTTrack> found;
    for (const auto& track : m_movie.tracks())
        if (track.trackID() == record.trackID())
            found = track;
    return found;
}

std::optional<QTTrack> MyDocument::editedTrack(const KWMovTrack& record)
{
    auto track = qtTrackForTrack(record);
    if (!track && m_window)
        m_window->alert("Unable to find track", "Reelwright could not locate the track.", {"OK"});
    return track;
}

void MyDocument::setColumnText(TrackColumn column, std::size_t row, const std::string& text)
{
    const auto* record = m_trackList.track(row);
    if (!record || (column != TrackColumn::In && column != TrackColumn::Duration))
        return;
    const auto track = editedTrack(*record);
    if (!track)
        return;
    auto range = record->timeRange();
    auto& field = column == TrackColumn::In ? range.time : range.duration;
    const auto typed = TypedTime::parse(text, TypedTime::Reading::Field);
    const auto time = typed ? typed->inMovieUnits(m_movie, field) : tl::unexpected<MovieError>(typed.error());
    if (!time) {
        if (m_window)
            m_window->alert("Invalid time", sentence(time.error()), {"OK"});
        return;
    }
    field = *time;
    const auto selector = TrackSelector::ofTrack(record->trackID());
    static_cast<void>(perform(column == TrackColumn::In ? edits::setTrackIn(selector, range.time)
                                                        : edits::setTrackDuration(selector, range.duration),
        ViewUpdate::Reset));
}

void MyDocument::setTrackEnabled(std::size_t row, bool enabled)
{
    const auto* record = m_trackList.track(row);
    if (!record)
        return;
    const auto track = editedTrack(*record);
    if (!track || track->isEnabled() == enabled)
        return;
    static_cast<void>(perform(
        edits::setTrackEnabled(TrackSelector::ofTrack(record->trackID()), enabled), ViewUpdate::Reset));
}

void MyDocument::incrementTrackOffset(int offset)
{
    const auto* record = selectedTrack();
    const auto track = record ? qtTrackForTrack(*record) : std::nullopt;
    if (!track)
        return;
    const QTTime step {100, m_movie.timeScale()};
    const auto start = record->inPoint();
    auto edit = edits::setTrackIn(
        TrackSelector::ofTrack(record->trackID()), offset < 0 ? start - step : start + step);
    edit.undoName = "Nudge Track";
    static_cast<void>(perform(edit, ViewUpdate::Reset));
}

void MyDocument::removeTrack()
{
    const auto* record = selectedTrack();
    if (!record || !m_window)
        return;
    const auto id = record->trackID(); // the record may be another one after the question
    if (m_window->alert("Are you sure you wish to remove this track?", "", {"Remove", "Cancel"}) != 0)
        return;
    const auto tracks = m_movie.tracks();
    const auto found = std::find_if(
        tracks.begin(), tracks.end(), [&](const QTTrack& track) { return track.trackID() == id; });
    if (found == tracks.end()) {
        m_window->alert("Unable to remove track", "Reelwright could not locate the track.", {"OK"});
        return;
    }
    static_cast<void>(perform(edits::removeTrack(TrackSelector::ofTrack(id)), ViewUpdate::Reset));
    showInfoForSelection();
}

MyDocument::TextBox MyDocument::textBox(const KWMovTrack& record)
{
    const auto bounds = record.trackBounds();
    const auto top = std::floor(bounds.height() * 0.85);
    const auto text = [](double pixels) { return fmt::format("{:.0f}", std::trunc(pixels)); };
    return {text(top), text(bounds.width()), text(bounds.height() - top)};
}

// Edits

Result<void> MyDocument::perform(const Edit& edit, ViewUpdate view, std::vector<std::string>* remarks)
{
    auto edited = m_movie;
    RW_CHECK(edit.apply(edited, remarks));
    takeEdit(edit.undoName, std::move(edited), view, edit);
    return {};
}

void MyDocument::perform(const std::string& name, const std::function<void(QTMovie&)>& edit, ViewUpdate view)
{
    auto edited = m_movie;
    edit(edited);
    takeEdit(name, std::move(edited), view);
}

void MyDocument::takeEdit(const std::string& name, QTMovie edited, ViewUpdate view, std::optional<Edit> edit)
{
    // The copy shares the header, so an edit had to make another one.
    if (&edited.header() == &m_movie.header())
        return;
    const bool wasEdited = isEdited();
    if (m_movie.timeScale() != edited.timeScale())
        m_oneFrameLength = 0;
    m_history.push(name, std::exchange(m_movie, std::move(edited)), std::move(edit));
    KWLog::appendLog("movie was edited");
    loadTracks(SelectionNotice::Quiet);
    if (view == ViewUpdate::Reset)
        resetQTMovieView();
    tellChanges(wasEdited);
}

void MyDocument::updateChangeCount()
{
    const bool wasEdited = isEdited();
    ++m_otherChanges;
    tellChanges(wasEdited);
}

void MyDocument::movieEdited()
{
    KWLog::appendLog("movie was edited");
    const auto rows = m_trackList.rowCount();
    loadTracks(SelectionNotice::Quiet);
    if (m_trackList.rowCount() != rows)
        updateChangeCount();
}

Result<void> MyDocument::undoStep(std::size_t index)
{
    const auto steps = m_history.unsavedSteps();
    const auto known
        = std::find_if(steps.begin(), steps.end(), [&](const auto& step) { return step.index == index; });
    if (known == steps.end())
        return failure(MovieError::Code::Refused, {}, "the change is not there any more");
    RW_TRY(auto movie, m_history.without(index));
    takeEdit("Undo " + known->name, std::move(movie), ViewUpdate::Reset, {});
    return {};
}

void MyDocument::revertToSaved()
{
    takeEdit("Revert to Saved", m_movie.asSaved(), ViewUpdate::Reset, {});
}

void MyDocument::revertToOpened()
{
    takeEdit("Revert to As Opened", UndoHistory::rebased(m_opened, m_movie), ViewUpdate::Reset, {});
}

void MyDocument::undo()
{
    if (!m_history.canUndo())
        return;
    const bool wasEdited = isEdited();
    showState(m_history.undo(m_movie), wasEdited);
}

void MyDocument::redo()
{
    if (!m_history.canRedo())
        return;
    const bool wasEdited = isEdited();
    showState(m_history.redo(m_movie), wasEdited);
}

void MyDocument::showState(QTMovie movie, bool wasEdited)
{
    const auto time = m_movie.currentTime();
    m_movie = std::move(movie);
    m_movie.setCurrentTime(time);
    m_oneFrameLength = 0; // it may count in another time scale
    loadTracks();
    resetQTMovieView();
    tellChanges(wasEdited);
}

void MyDocument::tellChanges(bool wasEdited)
{
    if (!m_window)
        return;
    m_window->undoChanged();
    if (isEdited() != wasEdited)
        m_window->editedChanged();
}

// Movie settings

MovieSettings MyDocument::loadMovieSettings()
{
    MovieSettings settings;
    settings.autoPlay = KWQuickTimeEditing::autoPlay(m_movie);
    settings.autoClose = KWQuickTimeEditing::autoClose(m_movie);
    settings.autoQuit = KWQuickTimeEditing::autoQuit(m_movie);
    settings.controllerHidden = KWQuickTimeEditing::movieControllerType(m_movie) == "none"_cc;
    const auto mode = KWQuickTimeEditing::apertureModeForMovie(m_movie);
    const auto* found = std::find(kApertureModes.begin(), kApertureModes.end(), mode);
    if (found != kApertureModes.end())
        settings.apertureIndex = static_cast<std::size_t>(found - kApertureModes.begin());
    settings.conformFrameRate = fmt::format("{:.2f}", KWQuickTime::fpsForMovie(m_movie));
    return settings;
}

void MyDocument::performSetting(const Edit& edit, ViewUpdate view)
{
    const auto before = m_history.state();
    static_cast<void>(perform(edit, view)); // the log has the reason; the panel shows what the movie says
    if (m_history.state() == before)
        updateChangeCount();
}

void MyDocument::movieSettingsAutoplayToggle(bool on)
{
    performSetting(edits::setAutoPlay(on));
}

void MyDocument::movieSettingsAutoCloseToggle(bool on)
{
    performSetting(edits::setAutoClose(on));
}

void MyDocument::movieSettingsAutoQuitToggle(bool on)
{
    performSetting(edits::setAutoQuit(on));
}

void MyDocument::movieSettingsControllerShowHide(bool hide)
{
    performSetting(
        edits::setController(hide ? edits::Controller::Hide : edits::Controller::Show), ViewUpdate::Reset);
}

void MyDocument::movieSettingsApertureChange(std::size_t index)
{
    if (index < kApertureModes.size())
        performSetting(edits::setApertureMode(kApertureModes[index]));
}

void MyDocument::movieSettingsRotateLeft()
{
    performSetting(edits::rotate(edits::Turn::Left), ViewUpdate::Reset);
}

void MyDocument::movieSettingsRotateRight()
{
    performSetting(edits::rotate(edits::Turn::Right), ViewUpdate::Reset);
}

void MyDocument::movieSettingsFlip()
{
    performSetting(edits::flip(), ViewUpdate::Reset);
}

void MyDocument::movieSettingsFlop()
{
    performSetting(edits::flop(), ViewUpdate::Reset);
}

// Timecode tracks

void MyDocument::addTimecodeTrack()
{
    if (KWTimecodeController::isTypeWithoutTimecode(m_path)) {
        if (m_window)
            m_window->alert("Unable to add timecode track",
                "Timecode tracks are not supported for this file format.", {"OK"});
        return;
    }
    std::optional<KWMovTrack> added;
    perform(
        "Add Timecode Track",
        [&](QTMovie& movie) {
            if (const auto inserted = KWTimecodeController::insertBlankTimecodeTrack(movie))
                added = *inserted;
        },
        ViewUpdate::Reset);
    if (!added)
        return;
    for (std::size_t row = 1; row < m_trackList.rowCount(); ++row)
        if (const auto* record = m_trackList.track(row); record->trackID() == added->trackID())
            return selectTrack(*record);
}

TimecodeSettings MyDocument::loadTimecodeDataForTrack(const KWMovTrack& record)
{
    return TimecodeSettings::ofTrack(record.track());
}

std::string MyDocument::timecodeAtPosition(const KWMovTrack& record) const
{
    const auto reading = timecodeMedia::atMovieTime(record.track(), currentTime());
    return reading && *reading ? (*reading)->text : std::string {};
}

std::string MyDocument::modifyTimecodeData(
    const TimecodeSettings& settings, TimecodeControl sender, bool isAtPosition)
{
    const auto* record = selectedTrack();
    if (!record || record->trackType() != KWMovTrack::kTimecode)
        return {};
    const bool asksForStart = sender != TimecodeControl::Other
        && settings.start != TimecodeSettings::ofTrack(record->track()).start;
    return modifyTimecodeDataForTrack(*record, settings, isAtPosition && asksForStart);
}

std::string MyDocument::modifyTimecodeDataForTrack(
    const KWMovTrack& record, const TimecodeSettings& settings, bool setAtCurrentPos)
{
    const auto track = editedTrack(record);
    if (!track)
        return {};
    const auto position = setAtCurrentPos ? std::optional(currentTime()) : std::nullopt;
    const auto change = settings.changeFrom(TimecodeSettings::ofTrack(*track), *track, position);
    if (!change) {
        if (m_window)
            m_window->alert("Invalid timecode format", change.error().message(), {"OK"});
        showInfoForSelection();
        return {};
    }
    if (change->isEmpty())
        return {};
    std::vector<std::string> remarks;
    const auto changed = perform(
        edits::changeTimecode(TrackSelector::ofTrack(record.trackID()), *change), ViewUpdate::None, &remarks);
    if (!changed && m_window)
        m_window->alert("Unable to change the timecode", sentence(changed.error()), {"OK"});
    showInfoForSelection();
    return remarks.empty() ? std::string {} : asSentence(remarks.back());
}

// The timecode field

std::string MyDocument::timecodeAt(const QTTime& time, const QTMovie& movie)
{
    return runningTimecode::textAt(time, movie);
}

bool MyDocument::isTimecodeAtHand(const QTTime& time, const QTMovie& movie)
{
    return runningTimecode::isAtHand(time, movie);
}

void MyDocument::updateTimecode()
{
    if (!m_window || m_window->timecodeFieldHasFocus())
        return;
    const auto time = m_window->currentTime();
    if (!(time < m_movie.duration()))
        return;
    m_window->setTimecodeFieldText(timecodeAt(time, m_movie));
}

void MyDocument::changeTimecode()
{
    const auto text = m_window ? m_window->timecodeFieldText() : std::string {};
    if (text.empty())
        return;
    const auto time = typedPosition(text);
    if (!time) {
        m_window->alert("Invalid timecode format", sentence(time.error()), {"OK"});
        return;
    }
    setCurrentTime(*time);
    m_window->focusNextControl();
}

Result<QTTime> MyDocument::typedPosition(const std::string& text) const
{
    RW_TRY(const auto typed, TypedTime::parse(text, TypedTime::Reading::Field));
    if (typed.form() != TypedTime::Form::Fields || typed.isRelative())
        return typed.exactly(m_movie, currentTime());
    const auto start = runningTimecode::textAt({0, m_movie.timeScale()}, m_movie);
    // A counter's number is no timecode that digits could be filled into.
    if (!start.empty() && !timecodeMedia::recordOf(start))
        return runningTimecode::timeOf(text, m_movie);
    return runningTimecode::timeOf(KWTimecode::timecodeFromUserString(trimmed(text),
                                       KWQuickTime::getTimingInfoForMovie(m_movie).dropFrame, start),
        m_movie);
}

// Saving

bool MyDocument::saveDocument()
{
    m_userSave = true;
    const auto& file = m_movie.file();
    const bool isImported = file && !file->headerAtom() && file->path == m_path;
    if (m_path.empty() || isImported)
        return chooseAndSave(SaveOperation::SaveAs, "Save");
    return saveToURL(m_path, SaveOperation::Save);
}

bool MyDocument::saveDocumentAs()
{
    m_userSave = true;
    return chooseAndSave(SaveOperation::SaveAs, "Save As");
}

bool MyDocument::saveDocumentTo()
{
    m_userSave = true;
    return chooseAndSave(SaveOperation::SaveTo, "Save a Copy");
}

bool MyDocument::chooseAndSave(SaveOperation operation, const std::string& title)
{
    const auto suggestion = m_path.empty() ? std::string("Untitled") : withoutExtension(m_path);
    const auto& file = m_movie.file();
    const bool keepsName = !m_path.empty() && file && file->headerAtom();
    const auto chosen = m_window
        ? m_window->chooseSavePath(title, keepsName ? m_path : prepareSavePath(suggestion))
        : std::nullopt;
    if (!chosen)
        return false;
    const auto path = prepareSavePath(*chosen);
    // The panel asked about the name that was typed, not about this one.
    if (path != *chosen && m_environment.storage->exists(path)
        && m_window->alert(fmt::format("Replace \"{}\"?", fileNameOf(path)),
               "There is a file of that name already.", {"Replace", "Cancel"})
            != 0)
        return false;
    return saveToURL(path, operation);
}

std::string MyDocument::prepareSavePath(const std::string& path)
{
    return withoutExtension(path) == path ? path + ".mov" : path;
}

bool MyDocument::saveToURL(const std::string& path, SaveOperation operation)
{
    m_isSaving = true;
    return writeSafelyToURL(path, operation);
}

bool MyDocument::writeSafelyToURL(const std::string& path, SaveOperation operation)
{
    if (isWriting()) {
        if (m_window)
            m_window->alert("Unable to save", "A save operation is already in progress.", {"OK"});
        m_isSaving = false;
        return false;
    }
    if (!m_userSave && !m_isClosing)
        m_isQuitting = true;
    m_isSaving = true;

    MovieWriter::Request request;
    request.movie = m_movie;
    request.path = path;
    request.operation = operation;
    request.needsFlattening = m_needsFlattening;
    if (path == m_path)
        request.expectedFile = m_file.state;
    request.resaveOnOtherVolumes = m_environment.preferences.boolean("nonHFSResave");
    request.flattenWithoutAsking = m_environment.preferences.integer("autoFlatten") == 1;

    releaseSaveThread();
    const auto job = m_job = std::make_shared<SaveJob>(*this, std::move(request));
    if (!m_isQuitting)
        try {
            m_saveThread = std::thread([job] { writeToURLOnThread(job); });
            return true;
        } catch (const std::system_error&) {
            // No thread to be had: better on this one than not at all.
        }
    writeToURLOnThread(job); // may close the window, and the document with it
    return true;
}

bool MyDocument::claim(const DocumentFile& target)
{
    const auto isTakenBy = [&](const MyDocument* other) {
        const auto* written = other->fileBeingWritten();
        return other != this
            && (other->m_file.isSameFile(target) || (written && written->isSameFile(target)));
    };
    const auto documents = m_environment.documents();
    if (m_job->path != m_path && std::any_of(documents.begin(), documents.end(), isTakenBy))
        return false;
    m_job->target = target;
    return true;
}

void MyDocument::releaseSaveThread()
{
    if (!m_saveThread.joinable())
        return;
    // Within a hand-off the thread waits for this very call.
    if (m_job->isWriting || m_job->handOffs > 0)
        m_saveThread.detach();
    else
        m_saveThread.join();
}

void MyDocument::writeToURLOnThread(const std::shared_ptr<SaveJob>& job)
{
    KWLog::appendLog("Saving on main thread: {}", job->environment.mainThread.isCurrent() ? 1 : 0);
    job->onMain([&](MyDocument& document) {
        if (auto* window = document.m_window) {
            window->updateProgressLabel("Saving...");
            window->showProgress();
        }
        job->time = document.currentTime();
        document.setCurrentTime({0, document.m_movie.timeScale()});
    });

    MovieWriter::Questions questions;
    questions.claim = [&](const DocumentFile& target) {
        bool isFree = false;
        job->onMain([&](MyDocument& document) { isFree = document.claim(target); });
        return isFree;
    };
    questions.flatten = [&] {
        bool isWanted = true;
        job->onWindow([&](DocumentWindow& window) {
            isWanted = window.alert("This movie needs flattening. Do you wish to flatten it?",
                           "If the movie is a reference movie, this will put the referenced data inside the "
                           "file and increase the file size.\n\nIn most cases, you should choose to flatten.",
                           {"Flatten", "Don't Flatten"})
                == 0;
        });
        return isWanted;
    };
    questions.pastInPlaceUpdate = [&] {
        job->onMain([&](MyDocument& document) {
            // Media that were added since the save began are not in what is written.
            if (document.m_history.state() == job->state)
                document.m_needsFlattening = false;
        });
    };
    double shown = -1;
    questions.progress = [&](double fraction) {
        // A movie of many small pieces reports each of them; the main thread need not see them all.
        constexpr double kStep = 0.005;
        if (fraction >= shown + kStep || fraction >= 1) {
            shown = fraction;
            job->onWindow([&](DocumentWindow& window) { window.setProgress(fraction); });
        }
        return !job->isCancelled;
    };
    const auto outcome = MovieWriter::write(
        std::move(job->request), questions, job->environment.storage, job->environment.files);
    job->onMain([&](MyDocument& document) { document.endSave(job, outcome); });
}

void MyDocument::endSave(const std::shared_ptr<SaveJob>& job, const MovieWriter::Outcome& outcome)
{
    using Kind = MovieWriter::Outcome::Kind;
    const bool wasEdited = isEdited();
    takeFile(*job, outcome);
    if (outcome.kind == Kind::Updated || outcome.kind == Kind::Flattened) {
        m_history.markSaved(job->state);
        m_savedOtherChanges = job->otherChanges;
    }
    if (outcome.kind == Kind::Flattened)
        takeFlattenedFile(*job, outcome);
    tellChanges(wasEdited);

    const bool isFailure = outcome.kind == Kind::Failed || outcome.kind == Kind::Abandoned;
    if (isFailure && m_window) {
        m_window->endProgress();
        m_window->alert(outcome.title, outcome.text, {"OK"});
    }
    auto& notifications = m_environment.notifications;
    const bool isQuitting = m_isQuitting;
    if (outcome.kind == Kind::Abandoned) {
        m_isSaving = job->isWriting = m_isClosing = false;
        if (isQuitting)
            notifications.post(KWDocumentAbandonedWriting);
        return;
    }
    setCurrentTime(job->time);
    if (m_window)
        m_window->endProgress();
    m_isSaving = job->isWriting = false;
    // The window takes nothing with it that was not saved.
    if (std::exchange(m_isClosing, false)) {
        const bool isWritten = outcome.kind == Kind::Updated || outcome.kind == Kind::Flattened
            || outcome.kind == Kind::Nothing;
        if (isWritten)
            close(); // and with it, maybe, this document
    }
    if (isQuitting)
        notifications.post(KWDocumentFinishedWriting);
}

void MyDocument::takeFile(const SaveJob& job, const MovieWriter::Outcome& outcome)
{
    const auto& written = outcome.movie;
    if (written.file() == job.file)
        return;
    // The movies that lay over the file lie over what it is now; media have not moved in it.
    m_history.fileUpdated(job.file, written);
    if (m_movie.file() == job.file) {
        const bool isSame
            = outcome.kind == MovieWriter::Outcome::Kind::Updated && m_history.state() == job.state;
        auto movie = isSame ? written : UndoHistory::rebased(m_movie, written);
        movie.setCurrentTime(m_movie.currentTime());
        movie.setApertureMode(m_movie.apertureMode());
        m_movie = std::move(movie);
    }
    if (written.file() && written.file()->path == m_path)
        m_file.state = written.file()->state;
}

void MyDocument::takeFlattenedFile(const SaveJob& job, const MovieWriter::Outcome& outcome)
{
    setPath(job.path, outcome.resolvedPath);
    const auto& written = outcome.written;
    if (!written) {
        KWLog::appendLog("Error loading movie: {}", written.error().message());
        m_file.state.reset();
        return;
    }
    m_file.state = written->file()->state;
    // What was edited meanwhile is not in the file: then the movie stays as it is, over the old one.
    if (m_history.state() == job.state)
        installMovie(*written);
}

// Quitting

bool MyDocument::documentCanQuit()
{
    m_isQuitting = true;
    if (isWriting() || isEdited())
        return false;
    return !m_isSaving;
}

MyDocument::Review MyDocument::reviewChanges()
{
    if (!m_window)
        return Review::Discard;
    switch (m_window->alert(fmt::format("Save the changes to \"{}\"?", displayName()),
        "Changes that are not saved are lost.", {"Save", "Don't Save", "Cancel"})) {
    case 0:
        return Review::Save;
    case 1:
        return Review::Discard;
    default:
        return Review::Cancel;
    }
}

// Helpers on the movie

std::int32_t MyDocument::trackFrameDuration(const QTTrack& track)
{
    return KWQuickTime::trackFrameDuration(track);
}

float MyDocument::frameRateForMedia(const QTMedia& media)
{
    return KWQuickTime::frameRateForMedia(media);
}

std::string MyDocument::qtTimeStringFromFormatString(const std::string& text, std::int32_t timeScale)
{
    if (m_oneFrameLength == 0)
        m_oneFrameLength = KWQuickTime::frameLengthForMovie(m_movie);
    return KWQuickTime::qtTimeStringFromFormatString(text, timeScale, m_oneFrameLength);
}

void MyDocument::loadMediaDataForTrack(const KWMovTrack& record) const
{
    std::int64_t count = -1;
    if (const auto track = qtTrackForTrack(record)) {
        KWLog::appendLog("sample count: {}", track->media().sampleCount());
        count = stepCount(*track);
    }
    KWLog::appendLog("count: {}", count);
}

void MyDocument::loadAudioDataForTrack(const KWMovTrack&) const { }

} // namespace reelwright
