#include "app/window/MovieWindow.h"

#include "app/panes/AttributesPane.h"
#include "app/panes/ChaptersPane.h"
#include "app/panes/ConformPane.h"
#include "app/panes/InformationPane.h"
#include "app/panes/MediaPane.h"
#include "app/panes/MetadataPane.h"
#include "app/panes/MovieSettingsPane.h"
#include "app/panes/QuickTasksPane.h"
#include "app/panes/TextPane.h"
#include "app/panes/TimecodePane.h"
#include "app/player/FullScreen.h"
#include "app/player/MovieView.h"
#include "app/player/TransportBar.h"
#include "app/shell/AlertBox.h"
#include "app/shell/Background.h"
#include "app/shell/FileChooser.h"
#include "app/window/AtomInspector.h"
#include "app/window/BannerBar.h"
#include "app/window/CheckDialog.h"
#include "app/window/FactsLoader.h"
#include "app/window/InsertionCommands.h"
#include "app/window/MovieExporter.h"
#include "app/window/PanelTabWidget.h"
#include "app/window/ProgressSheet.h"
#include "app/window/ReviewDialog.h"
#include "app/window/TimecodeField.h"
#include "app/window/TrackPanel.h"
#include "app/window/TrackTable.h"
#include "app/window/TrackTableModel.h"
#include "app/window/WindowActions.h"
#include "app/window/WindowMemory.h"
#include "document/MyDocument.h"
#include "edits/EditCatalogue.h"
#include "edits/EditSteps.h"
#include "edits/TrackEdits.h"
#include "movie/saving/MovieSaver.h"
#include "report/FactsJson.h"
#include "report/InfoReport.h"
#include "saving/MediaCheck.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace reelwright {
namespace {

    constexpr int kSpacing = 8;
    constexpr QSize kMinimumSize {800, 496}; // fits a small screen at one and a half times the size
    constexpr int kTimecodeMilliseconds = 33;
    constexpr int kMessageMilliseconds = 8000;

    /// Several edits as one step.
    Edit allOf(std::string name, std::vector<Edit> edits)
    {
        EditPlan plan;
        plan.edits = std::move(edits);
        auto label = name;
        return makeEdit(
            {}, std::move(name), std::move(label), [plan](QTMovie& movie) { return plan.apply(movie); });
    }

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QStringList localFiles(const QMimeData& data)
    {
        QStringList paths;
        for (const auto& url : data.urls())
            if (url.isLocalFile())
                paths << url.toLocalFile();
        return paths;
    }

    /// What each row of the track table says when the mouse rests on it.
    QStringList toolTips(const MovieFacts& facts)
    {
        const auto joined = [](const std::vector<ReportRow>& rows) {
            QStringList lines;
            for (const auto& row : rows)
                lines << QStringLiteral("%1: %2").arg(fromUtf8(row.name), fromUtf8(row.value));
            return lines.join(QLatin1Char('\n'));
        };
        QStringList texts {joined(movieRows(facts))};
        for (const auto& track : facts.tracks)
            texts << joined(trackRows(track));
        return texts;
    }

} // namespace

MovieWindow::MovieWindow(std::unique_ptr<MyDocument> document, const ApplicationActions& actions)
    : m_document(std::move(document))
    , m_facts(new FactsLoader(this))
    , m_view(new MovieView(this))
    , m_timecode(new TimecodeField(this))
    , m_transport(new TransportBar(*m_view, this))
    , m_fullScreen(new FullScreen(*m_view))
    , m_actions(new WindowActions(*this))
{
    m_tracks = new TrackPanel(*m_document, *m_actions, this);
    m_panels = new PanelTabWidget(*m_document, this);
    m_panels->addPane(Panel::Information, new InformationPane(*m_document, *m_facts));
    auto* tasks = new QuickTasksPane(*m_document, *this, [this](Panel panel) { m_panels->showPanel(panel); });
    connect(tasks, &QuickTasksPane::batchAsked, this, &MovieWindow::batchAsked);
    m_panels->addPane(Panel::QuickTasks, tasks);
    m_panels->addPane(Panel::MovieSettings, new MovieSettingsPane(*m_document, *m_actions));
    m_panels->addPane(Panel::Conform, new ConformPane(*m_document));
    m_panels->addPane(Panel::Chapters, new ChaptersPane(*m_document, *m_view, m_transport->scrubber()));
    auto* metadata = new MetadataPane(*m_document, *this);
    m_panels->addPane(Panel::Metadata, metadata);
    connect(m_actions->copyFrom, &QAction::triggered, metadata, &MetadataPane::copyFromMovie);
    m_panels->addPane(Panel::Timecode, new TimecodePane(*m_document, *m_facts));
    m_panels->addPane(Panel::Media, new MediaPane(*m_document, *this, *m_actions));
    m_panels->addPane(Panel::TextInsertion, new TextPane(*m_document, *m_view));
    auto* attributes = new AttributesPane(*m_document, *this);
    m_panels->addPane(Panel::EncodingAttributes, attributes);
    connect(attributes, &AttributesPane::copyFromAsked, metadata, &MetadataPane::copyFromMovie);
    layOut();
    m_actions->fill(*menuBar(), actions);
    connectActions();
    connectViews();
    setAcceptDrops(true);

    titleChanged();
    editedChanged();
    undoChanged();
    m_document->windowControllerDidLoadNib(*this);
    m_tracks->table().setFocus();
    WindowMemory::restore(*this, *m_columns, *m_rows, *m_tracks->table().horizontalHeader());
}

MovieWindow::~MovieWindow()
{
    if (!m_isClosed)
        m_document->windowWillClose();
    // What shows the document goes before it, with the editor that may be open in it.
    m_isClosed = true;
    hide();
    delete takeCentralWidget();
}

void MovieWindow::layOut()
{
    auto* movie = new QWidget;
    auto* movieLayout = new QVBoxLayout(movie);
    movieLayout->setContentsMargins({});
    movieLayout->setSpacing(kSpacing);
    movieLayout->addWidget(m_view, 1);
    movieLayout->addWidget(m_transport);

    m_rows = new QSplitter(Qt::Vertical);
    m_rows->addWidget(movie);
    m_rows->addWidget(m_tracks);
    m_rows->setStretchFactor(0, 3);
    m_rows->setStretchFactor(1, 2);
    m_columns = new QSplitter(Qt::Horizontal);
    m_columns->addWidget(m_rows);
    m_columns->addWidget(m_panels);
    m_columns->setStretchFactor(0, 1);
    m_columns->setStretchFactor(1, 0);
    for (auto* splitter : {m_rows, m_columns}) {
        splitter->setChildrenCollapsible(false);
        splitter->setHandleWidth(kSpacing);
    }
    m_rows->setSizes({488, 232});
    m_columns->setSizes({768, 488});

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(kSpacing, kSpacing, kSpacing, 0);
    layout->setSpacing(kSpacing);
    m_banners = new BannerBar;
    layout->addWidget(m_banners);
    layout->addWidget(m_columns, 1);
    m_progress = new ProgressSheet(central);
    m_exporter = new MovieExporter(*m_document, *this);
    layout->addWidget(m_progress);
    layout->addWidget(&m_exporter->strip());
    m_pending = new QLabel;
    m_pending->setAccessibleName(tr("What a save would do"));
    m_pending->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_review = new QPushButton(tr("&Review\u2026"));
    m_review->setAutoDefault(false);
    m_review->setToolTip(m_actions->review->toolTip());
    connect(m_review, &QPushButton::clicked, m_actions->review, &QAction::trigger);
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addWidget(m_pending, 1);
    statusBar()->addPermanentWidget(m_review);
    setCentralWidget(central);
    setMinimumSize(kMinimumSize);
}

void MovieWindow::connectActions()
{
    auto& document = *m_document;
    const auto on = [this](QAction* action, auto work) { connect(action, &QAction::triggered, this, work); };

    const auto onSave = [&](QAction* action, bool (MyDocument::*save)()) {
        on(action, [this, save] {
            finishEditing();
            (m_document.get()->*save)();
        });
    };
    onSave(m_actions->save, &MyDocument::saveDocument);
    onSave(m_actions->saveAs, &MyDocument::saveDocumentAs);
    onSave(m_actions->saveCopy, &MyDocument::saveCopy);
    connectExports();
    on(m_actions->close, [this] { close(); });

    on(m_actions->review, [this] {
        finishEditing();
        auto* review = new ReviewDialog(*m_document, *m_facts, this);
        review->setAttribute(Qt::WA_DeleteOnClose);
        review->setWindowModality(Qt::WindowModal);
        review->open();
    });
    on(m_actions->check, [this] { checkMovie(); });
    on(m_actions->revertToSaved, [&document] { document.revertToSaved(); });
    on(m_actions->revertToOpened, [&document] { document.revertToOpened(); });
    on(m_actions->nextArea, [this] { goToNextArea(); });
    on(m_actions->showAtoms, [this] {
        auto* atoms = new AtomInspector(*m_document, this);
        atoms->setAttribute(Qt::WA_DeleteOnClose);
        atoms->show();
    });
    on(m_actions->commandFinder, [this] { findCommand(); });
    on(m_actions->keys, [this] { showKeys(); });
    on(m_actions->manual, [this] { emit helpAsked(m_panels->isAncestorOf(focusWidget()) ? m_panels->helpPage() : QString()); });
    connect(m_panels, &PanelTabWidget::helpAsked, this, &MovieWindow::helpAsked);

    on(m_actions->undo, [&document] { document.undo(); });
    on(m_actions->redo, [&document] { document.redo(); });

    on(m_actions->play, [this] { m_view->togglePlaying(); });
    on(m_actions->stepBackward, [this] { m_view->stepBackward(); });
    on(m_actions->stepForward, [this] { m_view->stepForward(); });
    on(m_actions->goToStart, [this] { m_view->gotoBeginning(); });
    on(m_actions->goToEnd, [this] { m_view->gotoEnd(); });
    on(m_actions->goToTimecode, [this] {
        m_timecode->setFocus(Qt::ShortcutFocusReason);
        m_timecode->selectAll();
    });
    on(m_actions->rotateLeft, [&document] { document.movieSettingsRotateLeft(); });
    on(m_actions->rotateRight, [&document] { document.movieSettingsRotateRight(); });
    on(m_actions->flip, [&document] { document.movieSettingsFlip(); });
    on(m_actions->flop, [&document] { document.movieSettingsFlop(); });

    on(m_actions->addTimecodeTrack, [&document] { document.addTimecodeTrack(); });
    connectTrackActions();
    on(m_actions->goToInPoint, [this] {
        if (const auto* track = m_document->selectedTrack())
            setCurrentTime(track->inPoint());
    });
    on(m_actions->nudgeEarlier, [&document] { document.decrementTrackByOneFrame(); });
    on(m_actions->nudgeLater, [&document] { document.incrementTrackByOneFrame(); });

    on(m_actions->fullScreen, [this] { m_fullScreen->toggle(); });
    m_view->addAction(m_actions->fullScreen); // the view is a window of its own then
    on(m_actions->sidePane, [this](bool isOn) { m_panels->setVisible(isOn); });
}

void MovieWindow::connectExports()
{
    const auto on = [this](QAction* action, auto work) { connect(action, &QAction::triggered, this, work); };
    on(m_actions->exportMovie, [this] {
        finishEditing();
        const auto& pending = m_facts->pendingSave();
        m_exporter->exportMovie(pending ? static_cast<int>(pending->changes.size()) : 0);
    });
    on(m_actions->exportFrame, [this] { m_exporter->exportStills(currentTime(), true); });
    on(m_actions->exportStills, [this] { m_exporter->exportStills(currentTime(), false); });
    on(m_actions->verify, [this] { checkMedia(); });
    connect(m_exporter, &MovieExporter::helpAsked, this, &MovieWindow::helpAsked);
    for (auto* action : m_actions->times->actions()) {
        const auto style = static_cast<ShownTime::Style>(action->data().toInt());
        action->setChecked(m_document->timeStyle() == style);
        on(action, [this, style] {
            finishEditing();
            m_document->setTimeStyle(style);
            m_timecodeTime.reset();
        });
    }
}

bool MovieWindow::mayStopExport()
{
    return m_exporter->mayStop();
}

void MovieWindow::checkMedia()
{
    m_actions->verify->setEnabled(false);
    statusBar()->showMessage(tr("Reading all media\u2026"));
    runInBackground(
        this, [movie = m_document->movie()] { return reelwright::checkMedia(movie, [] { return true; }); },
        [this](const Result<std::vector<TrackCheck>>& checked) {
            m_actions->verify->setEnabled(true);
            statusBar()->clearMessage();
            if (!checked) {
                alert("Unable to check the media", checked.error().message(), {"OK"});
                return;
            }
            quint64 bytes = 0;
            std::string text;
            for (const auto& track : *checked) {
                bytes += track.bytes;
                for (const auto& part : track.unreadable)
                    text += fmt::format("Track {}, samples {} to {}: {}.\n", track.trackID, part.first, part.last(),
                        part.reason);
            }
            if (text.empty())
                statusBar()->showMessage(
                    tr("All media can be read: %1.")
                        .arg(QLocale().formattedDataSize(static_cast<qint64>(bytes), 1, QLocale::DataSizeSIFormat)),
                    kMessageMilliseconds);
            else
                alert("Some media cannot be read", text, {"OK"});
        });
}

void MovieWindow::connectViews()
{
    auto& table = m_tracks->table();
    table.setMenu(m_actions->trackMenu);
    connect(&table, &TrackTable::nudged, this, [this](int direction) {
        m_document->notifications().post(direction < 0 ? KWTrackDecrementFrame : KWTrackIncrementFrame);
    });
    connect(&table, &TrackTable::removalAsked, m_actions->removeTrack, &QAction::trigger);

    connect(m_view, &MovieView::playStateChanged, this,
        [this](bool isPlaying) { m_actions->play->setText(isPlaying ? tr("&Pause") : tr("&Play")); });
    connect(m_view, &MovieView::fullScreenChanged, m_actions->fullScreen, &QAction::setChecked);

    connect(m_timecode, &QLineEdit::returnPressed, this, &MovieWindow::goToTypedTimecode);
    connect(m_timecode, &TimecodeField::abandoned, this, [this] {
        if (m_timecode->hasFocus())
            m_view->setFocus();
        m_timecodeTime.reset();
    });
    m_timecodeTimer.setInterval(kTimecodeMilliseconds);
    connect(&m_timecodeTimer, &QTimer::timeout, this, &MovieWindow::followTime);

    connect(m_progress, &ProgressSheet::cancelled, this, [this] { m_document->cancelProgress(); });
    connect(m_facts, &FactsLoader::loaded, this, [this] {
        m_tracks->model().setToolTips(toolTips(*m_facts->facts()));
        m_tracks->model().setFacts(*m_facts->facts());
        showPendingSave();
    });
}

void MovieWindow::connectTrackActions()
{
    auto& document = *m_document;
    const auto on = [this](QAction* action, auto work) { connect(action, &QAction::triggered, this, work); };
    on(m_actions->removeTrack, [this, &document] {
        const auto tracks = m_tracks->selectedTracks();
        if (tracks.size() <= 1)
            return document.removeTrack();
        const auto title = tr("Are you sure you wish to remove these %1 tracks?").arg(tracks.size());
        if (alert(title.toStdString(), "", {"Remove", "Cancel"}) != 0)
            return;
        std::vector<Edit> edits;
        for (const auto id : tracks)
            edits.push_back(edits::removeTrack(TrackSelector::ofTrack(id)));
        performTold(allOf("Remove Tracks", std::move(edits)), "Unable to remove track");
    });
    on(m_actions->enableTrack, [this](bool isOn) {
        std::vector<Edit> edits;
        for (const auto id : m_tracks->selectedTracks())
            edits.push_back(edits::setTrackEnabled(TrackSelector::ofTrack(id), isOn));
        performTold(allOf(isOn ? "Enable Tracks" : "Disable Tracks", std::move(edits)),
            "Unable to change the tracks");
    });
    new InsertionCommands(*this, *m_actions, *m_view);
}

/// The movie as it is on show, unsaved changes included.
void MovieWindow::checkMovie()
{
    finishEditing();
    const auto movie = m_document->movie();
    auto* dialog = new CheckDialog(
        {movie.fileName()},
        [movie](const std::string&) -> Result<Json> { return factsJson(MovieFacts::of(movie)); },
        tr("&Apply What Mends It"), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    connect(dialog, &CheckDialog::mendAsked, this, [this](const std::vector<std::string>& edits) {
        const auto plan = planOf(edits);
        if (!plan) {
            alert("The edits do not go together", plan.error().detail, {"OK"});
            return;
        }
        if (!plan->edits.empty())
            performTold(allOf("Mend What the Check Found", plan->edits), "Unable to mend the movie");
        if (plan->conform)
            alert("The frame rate is not changed yet",
                "A conform works on the saved file. Save the movie, then conform it on the Conform pane.",
                {"OK"});
    });
    dialog->open();
}

void MovieWindow::performTold(const Edit& edit, const std::string& title)
{
    if (const auto done = m_document->perform(edit, MyDocument::ViewUpdate::Reset); !done)
        alert(title, done.error().detail, {"OK"});
}

void MovieWindow::showPendingSave()
{
    const auto& pending = m_facts->pendingSave();
    if (!pending)
        return;
    const auto count = static_cast<int>(pending->changes.size());
    m_pending->setText(count == 0 && !m_document->isEdited()
            ? tr("No changes")
            : QStringLiteral("<b>%1</b> \u00B7 %2")
                  .arg(changesInWords(count), saveInWords(*m_facts).toHtmlEscaped()));
    m_review->setEnabled(m_document->isEdited());
    m_actions->review->setEnabled(m_document->isEdited());
    m_actions->revertToSaved->setEnabled(m_document->isEdited());

    std::vector<BannerBar::Banner> banners;
    const BannerBar::Button saveAs {tr("Save As\u2026"), [this] { m_actions->saveAs->trigger(); }};
    const BannerBar::Button showInFolder {tr("Show in Folder"), [this] {
                                              QDesktopServices::openUrl(QUrl::fromLocalFile(
                                                  QFileInfo(fromUtf8(m_document->path())).absolutePath()));
                                          }};
    if (pending->isChangedByOthers)
        banners.push_back(
            {QStringLiteral("changed"), BannerBar::Kind::Warning, tr("Another program changed this file."),
                count == 0 ? tr("What is shown is the movie as it was opened.")
                           : tr("Your %1 are kept here.").arg(changesInWords(count)),
                {{tr("Reload"), [this] { m_document->loadMovieFromURL(m_document->path()); }}, saveAs}});
    if (pending->isWriteProtected)
        banners.push_back(
            {QStringLiteral("protected"), BannerBar::Kind::Information, tr("The file is write-protected."),
                tr("Changes can be made and saved under another name."), {showInFolder, saveAs}});
    if (!pending->missingMedia.empty())
        banners.push_back({QStringLiteral("missing"), BannerBar::Kind::Warning, tr("Some media are missing."),
            fromUtf8(pending->missingMedia), {showInFolder}});
    if (pending->isEncrypted)
        banners.push_back(
            {QStringLiteral("encrypted"), BannerBar::Kind::Information, tr("The media are encrypted."),
                tr("The header can be read and changed; pictures and sound cannot be played."), {}});
    if (pending->hasFile && !pending->inPlace && !pending->isChangedByOthers)
        banners.push_back({QStringLiteral("anew"), BannerBar::Kind::Information,
            tr("A save writes the whole file anew:"), fromUtf8(pending->whyAnew), {}});
    m_banners->show(banners);
}

void MovieWindow::goToNextArea()
{
    const std::vector<QWidget*> areas {m_banners, m_view, &m_tracks->table(), m_panels, statusBar()};
    std::size_t present = areas.size() - 1;
    for (std::size_t i = 0; i < areas.size(); ++i)
        if (focusWidget() && (areas[i] == focusWidget() || areas[i]->isAncestorOf(focusWidget())))
            present = i;
    for (std::size_t step = 1; step <= areas.size(); ++step) {
        auto* area = areas[(present + step) % areas.size()];
        if (!area->isVisible())
            continue;
        auto* target = area->focusPolicy() != Qt::NoFocus ? area : nullptr;
        for (auto* child : area->findChildren<QWidget*>())
            if (!target && child->isVisibleTo(area) && child->isEnabled()
                && (child->focusPolicy() & Qt::TabFocus) != 0)
                target = child;
        if (target) {
            target->setFocus(Qt::ShortcutFocusReason);
            return;
        }
    }
}

void MovieWindow::findCommand()
{
    QStringList names;
    QList<QAction*> actions;
    for (auto* action : m_actions->findChildren<QAction*>()) {
        const auto name = action->text().remove(QLatin1Char('&'));
        if (name.isEmpty() || !action->isEnabled() || action == m_actions->commandFinder)
            continue;
        names << name;
        actions << action;
    }
    QInputDialog dialog {this};
    dialog.setWindowTitle(tr("Find a Command"));
    dialog.setLabelText(tr("Command:"));
    dialog.setComboBoxItems(names);
    dialog.setComboBoxEditable(true);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const auto typed = dialog.textValue();
    for (qsizetype i = 0; i < names.size(); ++i)
        if (names[i].compare(typed, Qt::CaseInsensitive) == 0)
            return actions[i]->trigger();
    for (qsizetype i = 0; i < names.size(); ++i)
        if (names[i].contains(typed, Qt::CaseInsensitive))
            return actions[i]->trigger();
}

void MovieWindow::showKeys()
{
    QString rows;
    const auto add = [&](const QString& keys, const QString& text) {
        rows += QStringLiteral("<tr><td><b>%1</b>&nbsp;&nbsp;</td><td>%2</td></tr>")
                    .arg(keys, text.toHtmlEscaped());
    };
    add(tr("Space, K"), tr("Play and pause"));
    add(tr("J, L"), tr("Play backward and forward, faster each time"));
    add(tr("Left, Right in the picture"), tr("A frame back or forward"));
    add(tr("Left, Right in the table"), tr("Move the selected track by 100 units of the movie's time"));
    add(tr("Alt+Left, Alt+Right"), tr("Move the selected track by one frame"));
    for (auto* action : m_actions->findChildren<QAction*>())
        if (!action->shortcut().isEmpty() && action->shortcutContext() != Qt::WidgetShortcut)
            add(action->shortcut().toString(QKeySequence::NativeText),
                action->text().remove(QLatin1Char('&')));
    QDialog dialog {this};
    dialog.setWindowTitle(tr("Keys"));
    auto* text = new QTextBrowser;
    text->setHtml(QStringLiteral("<table>%1</table>").arg(rows));
    text->setAccessibleName(tr("Keys"));
    auto* layout = new QVBoxLayout(&dialog);
    layout->addWidget(text);
    constexpr QSize kUsualSize {480, 480};
    dialog.resize(kUsualSize);
    dialog.exec();
}

void MovieWindow::finishEditing()
{
    auto* editor = qobject_cast<QLineEdit*>(focusWidget());
    if (!editor || editor == m_timecode)
        return;
    editor->clearFocus(); // takes what was typed
    if (!focusWidget())
        m_tracks->table().setFocus();
}

void MovieWindow::followTime()
{
    const auto time = m_view->currentTime();
    if (m_timecodeTime && sameFields(*m_timecodeTime, time))
        return; // nothing to read anew, thirty times a second
    if (!MyDocument::isTimecodeAtHand(time, m_document->movie())) {
        readTimecode(time);
        return;
    }
    if (!timecodeFieldHasFocus())
        m_timecodeTime = time;
    m_document->updateTimecode();
}

void MovieWindow::goToTypedTimecode()
{
    if (m_document->isTypedPositionAtHand())
        return m_document->changeTimecode();
    runInBackground(
        this,
        [movie = m_document->movie()] {
            MyDocument::readLabels(movie);
            return true;
        },
        [this, text = m_timecode->text()](bool) {
            if (timecodeFieldHasFocus() && m_timecode->text() == text) // nobody thought better of it
                m_document->changeTimecode();
        });
}

void MovieWindow::readTimecode(const QTTime& time)
{
    if (std::exchange(m_isReadingTimecode, true))
        return; // of times that come faster than they can be read, the one on show then is the next
    runInBackground(
        this,
        [movie = m_document->movie(), time] {
            // A list of edits that cannot be read leads to the second way; both are at hand then.
            return MyDocument::timecodeAt(time, movie)
                + KWQuickTime::timecodeAtTime(atScale(time, movie.timeScale()), movie);
        },
        [this](const std::string&) { m_isReadingTimecode = false; }); // the timer comes by again
}

void MovieWindow::updateActions()
{
    const auto* track = m_document->selectedTrack();
    for (auto* action :
        {m_actions->removeTrack, m_actions->enableTrack, m_actions->goToInPoint, m_actions->nudgeEarlier,
            m_actions->nudgeLater, m_actions->addMedia, m_actions->deleteMedia, m_actions->extractTrack})
        action->setEnabled(track != nullptr);
    m_actions->enableTrack->setChecked(track && track->enabled());
    const bool hasPicture = !m_document->movie().tracksOfMediaType(QTMediaTypeVideo).empty();
    for (auto* action : {m_actions->rotateLeft, m_actions->rotateRight, m_actions->flip, m_actions->flop,
             m_actions->exportFrame, m_actions->exportStills})
        action->setEnabled(hasPicture);
    const bool hasTime = m_document->movie().duration().value > 0;
    for (auto* action : {m_actions->play, m_actions->stepBackward, m_actions->stepForward, m_actions->goToStart,
             m_actions->goToEnd, m_actions->goToTimecode, m_actions->exportMovie})
        action->setEnabled(hasTime);
}

// What the document asks of its window

std::size_t MovieWindow::alert(
    const std::string& title, const std::string& text, const std::vector<std::string>& buttons)
{
    return showAlert(*this, fromUtf8(m_document->displayName()), title, text, buttons);
}

std::optional<std::string> MovieWindow::chooseSavePath(
    const std::string& title, const std::string& suggestedPath)
{
    const auto suggested = fromUtf8(suggestedPath);
    const bool hasFolder = suggested.contains(QLatin1Char('/'));
    QFileDialog dialog(this, fromUtf8(title));
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    makeRoomInFileChooser(dialog);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setNameFilters({tr("QuickTime movies (*.mov *.qt *.mp4 *.m4v)"), tr("All files (*)")});
    if (hasFolder)
        dialog.setDirectory(suggested.section(QLatin1Char('/'), 0, -2) + QLatin1Char('/'));
    dialog.selectFile(suggested.section(QLatin1Char('/'), -1));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().front().toStdString();
}

void MovieWindow::updateProgressLabel(const std::string& label)
{
    m_progress->setLabel(fromUtf8(label));
}

void MovieWindow::showProgress()
{
    m_progress->begin();
}

void MovieWindow::setProgress(double fraction)
{
    m_progress->setFraction(fraction);
}

void MovieWindow::endProgress()
{
    m_progress->end();
}

void MovieWindow::setProgressTarget(const std::string& path)
{
    const auto& pending = m_facts->pendingSave();
    m_progress->setTarget(fromUtf8(path), pending ? pending->bytes : 0);
}

void MovieWindow::saved(const Saved& what)
{
    const auto size = QLocale().formattedDataSize(static_cast<qint64>(what.bytes), 1, QLocale::DataSizeSIFormat);
    const auto time = what.seconds < 1 ? tr("%1 s").arg(QLocale().toString(what.seconds, 'f', 2))
                                       : ProgressSheet::inWords(what.seconds);
    const auto name = QFileInfo(fromUtf8(what.path)).fileName();
    statusBar()->showMessage(what.inPlace ? tr("Saved in place: %1 written in %2.").arg(size, time)
            : what.isCopy                 ? tr("\u201C%1\u201D is written: %2 in %3.").arg(name, size, time)
                                          : tr("\u201C%1\u201D is saved: %2 written in %3.").arg(name, size, time),
        kMessageMilliseconds);
}

void MovieWindow::showExport(const std::optional<Exporting>& state)
{
    m_exporter->show(state);
}

void MovieWindow::requestAttention()
{
    QApplication::alert(this);
}

void MovieWindow::reloadTrackList()
{
    m_tracks->reload();
    updateActions();
}

void MovieWindow::reloadSelection()
{
    m_panels->reloadSelection();
    updateActions();
}

void MovieWindow::movieReplaced()
{
    m_timecodeTime.reset();
    m_view->setMovie(m_document->movie());
    showController(KWQuickTimeEditing::movieControllerType(m_document->movie()) != "none"_cc);
    m_facts->load(m_document->movie());
}

void MovieWindow::showController(bool shown)
{
    if (shown != m_transport->isHidden() && m_timecode->parentWidget() != this)
        return;
    // The field stays when its bar goes.
    if (shown)
        m_transport->addWidget(m_timecode);
    else
        m_view->parentWidget()->layout()->addWidget(m_timecode);
    m_timecode->show();
    m_transport->setVisible(shown);
    m_fullScreen->setBarWanted(shown);
}

void MovieWindow::movieReleased()
{
    m_timecodeTimer.stop();
    m_view->clear();
}

QTTime MovieWindow::currentTime() const
{
    return m_view->currentTime();
}

void MovieWindow::setCurrentTime(const QTTime& time)
{
    m_view->setCurrentTime(time);
}

void MovieWindow::titleChanged()
{
    setWindowTitle(fromUtf8(m_document->displayName()) + QStringLiteral("[*]"));
    setWindowFilePath(fromUtf8(m_document->path()));
    emit pathChanged();
}

void MovieWindow::editedChanged()
{
    setWindowModified(m_document->isEdited());
}

void MovieWindow::undoChanged()
{
    const auto& history = m_document->history();
    m_actions->undo->setEnabled(history.canUndo());
    m_actions->undo->setText(
        history.canUndo() ? tr("&Undo %1").arg(fromUtf8(history.undoName())) : tr("&Undo"));
    m_actions->redo->setEnabled(history.canRedo());
    m_actions->redo->setText(
        history.canRedo() ? tr("&Redo %1").arg(fromUtf8(history.redoName())) : tr("&Redo"));
    // It comes after every edit.
    m_timecodeTime.reset();
    m_panels->reloadPanes();
    m_facts->load(m_document->movie());
}

void MovieWindow::closeWindow()
{
    if (m_isClosed)
        return;
    m_isClosed = true;
    m_fullScreen->leave();
    WindowMemory::save(*this, *m_columns, *m_rows, *m_tracks->table().horizontalHeader());
    for (auto* question : findChildren<QDialog*>())
        question->reject();
    m_document->windowWillClose();
    close(); // within closeEvent nothing happens here: it goes on there
    emit closed();
}

bool MovieWindow::timecodeFieldHasFocus() const
{
    return focusWidget() == m_timecode;
}

std::string MovieWindow::timecodeFieldText() const
{
    return m_timecode->text().toStdString();
}

void MovieWindow::setTimecodeFieldText(const std::string& text)
{
    m_timecode->setText(fromUtf8(text));
    m_fullScreen->setTimecode(fromUtf8(text));
}

void MovieWindow::focusNextControl()
{
    focusNextChild();
}

// The window

void MovieWindow::closeEvent(QCloseEvent* event)
{
    if (!m_isClosed) {
        finishEditing();
        if (m_exporter->mayStop())
            m_document->close();
    }
    event->setAccepted(m_isClosed);
}

void MovieWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (!m_isClosed)
        m_timecodeTimer.start();
}

void MovieWindow::hideEvent(QHideEvent* event)
{
    m_timecodeTimer.stop();
    QMainWindow::hideEvent(event);
}

void MovieWindow::keyPressEvent(QKeyEvent* event)
{
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    const auto* track = m_document->selectedTrack();
    if (event->modifiers() == Qt::AltModifier && track
        && (event->key() == Qt::Key_Left || event->key() == Qt::Key_Right)) {
        const auto frame
            = QTTime {KWQuickTime::frameLengthForMovie(m_document->movie()), m_document->movie().timeScale()};
        const auto start = event->key() == Qt::Key_Left ? track->inPoint() - frame : track->inPoint() + frame;
        auto edit = edits::setTrackIn(TrackSelector::ofTrack(track->trackID()), start);
        edit.undoName = "Nudge Track";
        performTold(edit, "Unable to move the track");
        return;
    }
    if (isPlain && event->key() == Qt::Key_Escape && (m_progress->cancel() || m_exporter->strip().cancel()))
        return;
    // The transport's keys work wherever no text is typed.
    const bool isTransport = event->key() == Qt::Key_Space || event->key() == Qt::Key_J
        || event->key() == Qt::Key_K || event->key() == Qt::Key_L;
    if (isPlain && isTransport && focusWidget() != m_view && !qobject_cast<QLineEdit*>(focusWidget())) {
        QApplication::sendEvent(m_view, event);
        return;
    }
    QMainWindow::keyPressEvent(event);
}

void MovieWindow::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    // Other programs were in front: what they did to the file is looked at.
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && !m_isClosed)
        m_facts->load(m_document->movie());
}

void MovieWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (!localFiles(*event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void MovieWindow::dropEvent(QDropEvent* event)
{
    const auto paths = localFiles(*event->mimeData());
    if (paths.isEmpty())
        return;
    event->acceptProposedAction();
    emit filesDropped(paths);
}

} // namespace reelwright
