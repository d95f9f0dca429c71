#include "app/window/InsertionCommands.h"

#include "app/player/MovieView.h"
#include "app/shell/Background.h"
#include "app/shell/FileChooser.h"
#include "app/window/MovieWindow.h"
#include "app/window/SourceTrackDialog.h"
#include "app/window/TrackSizeDialog.h"
#include "app/window/WindowActions.h"
#include "document/MyDocument.h"
#include "edits/InsertionEdits.h"
#include "saving/SaveRoad.h"
#include "tracks/KWQuickTime.h"

#include <QAction>
#include <QFileDialog>
#include <QFileInfo>
#include <QStatusBar>

namespace reelwright {
namespace {

    constexpr int kMessageMilliseconds = 8000;
    constexpr auto kCannotLoad = "Error loading movie";

} // namespace

InsertionCommands::InsertionCommands(MovieWindow& window, const WindowActions& actions, MovieView& view)
    : QObject(&window)
    , m_window(window)
    , m_view(view)
{
    const auto on = [this](QAction* action, auto work) { connect(action, &QAction::triggered, this, work); };
    on(actions.addVideoTrack, [this] { addVideoTrack(); });
    on(actions.addTextTrack, [this] { addEmptyTrack(KWMovTrack::kText); });
    on(actions.addSpriteTrack, [this] { addEmptyTrack(KWMovTrack::kSprite); });
    on(actions.addVideo, [this] { addFromFile(KWMovTrack::kVideo); });
    on(actions.addAudio, [this] { addFromFile(KWMovTrack::kAudio); });
    on(actions.addMedia, [this] { addMediaToTrack(); });
    on(actions.deleteMedia, [this] { removeAllTrackMedia(); });
    on(actions.extractTrack, [this] { extractTrack(); });
}

void InsertionCommands::addVideoTrack()
{
    std::optional<QTSize> size;
    const auto natural = m_window.document().movie().naturalSize();
    if (natural.width <= 0 || natural.height <= 0) {
        TrackSizeDialog dialog {&m_window};
        if (dialog.exec() != QDialog::Accepted)
            return;
        size = dialog.size();
    }
    perform(edits::addEmptyTrack(KWMovTrack::kVideo, size));
}

void InsertionCommands::addEmptyTrack(int type)
{
    auto& document = m_window.document();
    const auto before = document.trackList().rowCount();
    perform(edits::addEmptyTrack(type));
    // A text track is made to write into it.
    if (const auto rows = document.trackList().rowCount(); type == KWMovTrack::kText && rows > before)
        if (const auto* added = document.trackList().track(rows - 1))
            document.selectTrack(*added);
}

void InsertionCommands::addFromFile(int type)
{
    const auto source
        = chooseSource(type == KWMovTrack::kVideo ? tr("Add Video") : tr("Add Audio"), type, AsksStart::Yes);
    if (source)
        perform(edits::insertTrack(type, source->path, source->place, source->start));
}

void InsertionCommands::addMediaToTrack()
{
    const auto* record = m_window.document().selectedTrack();
    if (!record)
        return;
    const auto selector = TrackSelector::ofTrack(record->trackID());
    const auto type = record->trackType();
    const bool isKnown
        = type == KWMovTrack::kVideo || type == KWMovTrack::kAudio || type == KWMovTrack::kTimecode;
    if (const auto source
        = chooseSource(tr("Add Media"), isKnown ? *type : KWMovTrack::kMovie, AsksStart::No))
        perform(edits::addMedia(selector, source->path, source->place));
}

void InsertionCommands::removeAllTrackMedia()
{
    const auto* record = m_window.document().selectedTrack();
    if (!record)
        return;
    const auto selector = TrackSelector::ofTrack(record->trackID());
    if (m_window.alert("Are you sure you wish to delete all media from this track?", "This cannot be undone.",
            {"Delete", "Cancel"})
        == 0)
        perform(edits::removeAllMedia(selector));
}

void InsertionCommands::extractTrack()
{
    const auto& document = m_window.document();
    const auto* record = document.selectedTrack();
    if (!record)
        return;
    auto single = TrackInsertion::extracted(record->track());
    if (!single)
        return tell(single.error(), "Unable to extract the track");
    const auto base = QFileInfo(QString::fromStdString(document.displayName())).completeBaseName();
    const auto path = m_window.chooseSavePath(tr("Extract Track").toStdString(),
        tr("%1 Track %2.mov").arg(base).arg(record->trackID()).toStdString());
    if (!path)
        return;
    SaveRequest request;
    request.movie = std::move(*single);
    request.output = *path;
    request.mode = SaveMode::Flattened;
    request.overwrite = true; // the chooser has asked
    request.unused = UnusedBytes::LeaveOut;
    if (QFileInfo(QString::fromStdString(*path)) == QFileInfo(QString::fromStdString(document.path()))) {
        m_window.alert("Unable to extract the track",
            "The track would replace the movie that it is taken from. Choose another name.", {"OK"});
        return;
    }
    runInBackground(
        this, [request]() mutable { return saving::save(std::move(request)); },
        [this](const SaveOutcome& done) {
            if (done.error)
                m_window.alert("Unable to extract the track", done.error->message(), {"OK"});
            else
                m_window.statusBar()->showMessage(tr("The track was extracted."), kMessageMilliseconds);
        });
}

std::optional<InsertionCommands::Source> InsertionCommands::chooseSource(
    const QString& title, int type, AsksStart asksStart)
{
    const auto path = chooseFile(title, type);
    if (path.isEmpty())
        return std::nullopt;
    Source source {path.toStdString(), 1, {0, 1}};
    if (type == KWMovTrack::kMovie) // no kind that has media to add: the edit says so
        return source;
    const auto tracks = TrackInsertion::sourceTracks(type, source.path);
    if (!tracks) {
        tell(tracks.error(), kCannotLoad);
        return std::nullopt;
    }
    const auto position = m_view.currentTime();
    const bool hasPosition = asksStart == AsksStart::Yes && position.value > 0;
    if (tracks->size() == 1 && !hasPosition)
        return source;
    SourceTrackDialog dialog {*tracks,
        hasPosition
            ? QString::fromStdString(KWQuickTime::formattedQTTime(position, m_window.document().movie()))
            : QString(),
        &m_window};
    dialog.setWindowTitle(title);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    source.place = dialog.place();
    if (dialog.isAtPosition())
        source.start = position;
    return source;
}

QString InsertionCommands::chooseFile(const QString& title, int type)
{
    const bool withSound = type == KWMovTrack::kAudio;
    QFileDialog chooser(&m_window, title);
    chooser.setFileMode(QFileDialog::ExistingFile);
    chooser.setNameFilters({withSound ? tr("Movies and sound (*.mov *.qt *.mp4 *.m4v *.aif *.aiff *.wav)")
                                      : tr("Movies (*.mov *.qt *.mp4 *.m4v)"),
        tr("All files (*)")});
    makeRoomInFileChooser(chooser);
    return chooser.exec() == QDialog::Accepted && !chooser.selectedFiles().isEmpty()
        ? chooser.selectedFiles().constFirst()
        : QString();
}

void InsertionCommands::perform(const Edit& edit)
{
    const auto done = m_window.document().perform(edit, MyDocument::ViewUpdate::Reset);
    if (!done)
        tell(done.error(), kCannotLoad);
}

void InsertionCommands::tell(const MovieError& error, const char* title)
{
    // Refusals have a title of their own where others have a place.
    const bool hasTitle = error.code == MovieError::Code::Refused && !error.where.empty()
        && error.where.find('/') == std::string::npos;
    m_window.alert(hasTitle ? error.where : title,
        hasTitle || error.where.empty() ? error.detail : error.message(), {"OK"});
}

} // namespace reelwright
