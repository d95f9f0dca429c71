#include "document/MyDocument.h"

#include "document/DocumentNames.h"
#include "edits/SettingsEdits.h"
#include "edits/TimecodeEdits.h"
#include "edits/TrackEdits.h"
#include "movie/ChapterList.h"
#include "movie/samples/TimecodeMedia.h"
#include "support/KWLog.h"
#include "support/Preferences.h"
#include "support/Text.h"
#include "timecode/KWTimecodeController.h"
#include "timecode/RunningTimecode.h"
#include "times/KWTimecode.h"
#include "times/TypedTime.h"
#include "tracks/ApertureModes.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"
#include "tracks/TextInsertion.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace reelwright {
namespace {

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

MyDocument::MyDocument(DocumentEnvironment environment)
    : m_environment(std::move(environment))
    , m_timeStyle(ShownTime::named(m_environment.preferences.text("timeStyle")))
{
}

MyDocument::~MyDocument() = default;

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
        chapterList::readAhead(**opened.movie);
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
            m_saving.saveAndClose();
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
    return m_path.empty() ? "Untitled" : documentNames::fileName(m_path);
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

void MyDocument::setTimeStyle(ShownTime::Style style)
{
    if (m_timeStyle == style)
        return;
    m_timeStyle = style;
    static_cast<void>(m_environment.preferences.set("timeStyle", std::string(ShownTime::name(style))));
    if (!m_window)
        return;
    m_window->reloadTrackList();
    m_window->reloadSelection();
}

ShownTime::Remark MyDocument::columnRemark(TrackColumn column, std::size_t row, const std::string& text) const
{
    const auto* record = m_trackList.track(row);
    if (!record || (column != TrackColumn::In && column != TrackColumn::Duration))
        return {};
    return column == TrackColumn::In ? timeRemark(text, ShownTime::Kind::Place, record->inPoint())
                                     : timeRemark(text, ShownTime::Kind::Length, record->duration());
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
    const auto time = readTime(
        text, column == TrackColumn::In ? ShownTime::Kind::Place : ShownTime::Kind::Length, field);
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
    const auto box = TextInsertion::usualBox(bounds.width(), bounds.height());
    return {fmt::format("{}", box.top), fmt::format("{}", box.width), fmt::format("{}", box.height)};
}

// Edits

Result<void> MyDocument::perform(
    const Edit& edit, ViewUpdate view, std::vector<std::string>* remarks, RefusedParts* refused)
{
    auto edited = m_movie;
    RW_CHECK(edit.apply(edited, remarks, refused));
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
    const bool isPlain = m_timeStyle == ShownTime::Style::Frames || m_timeStyle == ShownTime::Style::Seconds;
    m_window->setTimecodeFieldText(isPlain ? shownTime(time) : timecodeAt(time, m_movie));
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

bool MyDocument::isTypedPositionAtHand() const
{
    const auto text = m_window ? m_window->timecodeFieldText() : std::string {};
    const auto typed = TypedTime::parse(text, TypedTime::Reading::Field);
    const bool isLabel = typed && typed->form() == TypedTime::Form::Fields && !typed->isRelative();
    return runningTimecode::isAtHand(isLabel ? typedLabel(text) : std::string {}, m_movie);
}

void MyDocument::readLabels(const QTMovie& movie)
{
    runningTimecode::readAhead(movie);
}

std::string MyDocument::typedLabel(const std::string& text) const
{
    const auto start = runningTimecode::textAt({0, m_movie.timeScale()}, m_movie);
    // A counter's number is no timecode that digits could be filled into.
    if (!start.empty() && !timecodeMedia::recordOf(start))
        return text;
    return KWTimecode::timecodeFromUserString(
        trimmed(text), KWQuickTime::getTimingInfoForMovie(m_movie).dropFrame, start);
}

ShownTime::Remark MyDocument::positionRemark(const std::string& text) const
{
    const auto time = typedPosition(text);
    if (!time)
        return {true, sentence(time.error())};
    const bool isPlain = m_timeStyle == ShownTime::Style::Frames || m_timeStyle == ShownTime::Style::Seconds;
    const auto shown = isPlain ? ShownTime::typedText(*time, ShownTime::Kind::Place, m_timeStyle, m_movie)
                               : timecodeAt(*time, m_movie);
    return shown == text || shown.empty() ? ShownTime::Remark {} : ShownTime::Remark {false, text + " is " + shown};
}

Result<QTTime> MyDocument::typedPosition(const std::string& text) const
{
    const auto style = m_timeStyle == ShownTime::Style::Timecode ? ShownTime::Style::Defined : m_timeStyle;
    RW_TRY(const auto typed, ShownTime::parse(text, ShownTime::Kind::Place, style, m_movie));
    if (typed.form() != TypedTime::Form::Fields || typed.isRelative())
        return typed.exactly(m_movie, currentTime());
    return runningTimecode::timeOf(typedLabel(text), m_movie);
}

// Saving

std::string MyDocument::prepareSavePath(const std::string& path)
{
    return documentNames::withoutExtension(path) == path ? path + ".mov" : path;
}

SavePoint MyDocument::savePoint() const
{
    return {m_movie.file(), m_history.state(), m_otherChanges};
}

void MyDocument::pastInPlaceUpdate(const SavePoint& point)
{
    // Media that were added since the save began are not in what is written.
    if (m_history.state() == point.state)
        m_needsFlattening = false;
}

void MyDocument::takeSaved(
    const SavePoint& point, const std::string& path, const MovieWriter::Outcome& outcome)
{
    using Kind = MovieWriter::Outcome::Kind;
    const bool wasEdited = isEdited();
    takeFile(point, outcome);
    if (outcome.kind == Kind::Updated || outcome.kind == Kind::Flattened) {
        m_history.markSaved(point.state);
        m_savedOtherChanges = point.otherChanges;
    }
    if (outcome.kind == Kind::Flattened)
        takeFlattenedFile(point, path, outcome);
    tellChanges(wasEdited);
}

void MyDocument::revertToFile()
{
    auto opened = openMovie(m_path, m_environment.storage);
    if (!opened.movie || !*opened.movie) {
        if (m_window)
            m_window->alert("Unable to open the file",
                opened.movie ? opened.movie->error().message() : m_path + ": is no movie file", {"OK"});
        return;
    }
    m_file = opened.file;
    loadQTMovie(std::move(**opened.movie));
    resetQTMovieView();
}

void MyDocument::takeFile(const SavePoint& point, const MovieWriter::Outcome& outcome)
{
    const auto& written = outcome.movie;
    if (written.file() == point.file)
        return;
    // The movies that lay over the file lie over what it is now; media have not moved in it.
    m_history.fileUpdated(point.file, written);
    if (m_movie.file() == point.file) {
        const bool isSame
            = outcome.kind == MovieWriter::Outcome::Kind::Updated && m_history.state() == point.state;
        auto movie = isSame ? written : UndoHistory::rebased(m_movie, written);
        movie.setCurrentTime(m_movie.currentTime());
        movie.setApertureMode(m_movie.apertureMode());
        m_movie = std::move(movie);
    }
    if (written.file() && written.file()->path == m_path)
        m_file.state = written.file()->state;
}

void MyDocument::takeFlattenedFile(
    const SavePoint& point, const std::string& path, const MovieWriter::Outcome& outcome)
{
    setPath(path, outcome.resolvedPath);
    const auto& written = outcome.written;
    if (!written) {
        KWLog::appendLog("Error loading movie: {}", written.error().message());
        m_file.state.reset();
        return;
    }
    m_file.state = written->file()->state;
    // What was edited meanwhile is not in the file: then the movie stays as it is, over the old one.
    if (m_history.state() == point.state)
        installMovie(*written);
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
