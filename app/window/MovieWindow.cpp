#include "app/window/MovieWindow.h"

#include "app/panes/InformationPane.h"
#include "app/panes/MovieSettingsPane.h"
#include "app/panes/TimecodePane.h"
#include "app/player/FullScreen.h"
#include "app/player/MovieView.h"
#include "app/player/TransportBar.h"
#include "app/shell/Background.h"
#include "app/shell/FileChooser.h"
#include "app/window/FactsLoader.h"
#include "app/window/PanelTabWidget.h"
#include "app/window/ProgressSheet.h"
#include "app/window/TimecodeField.h"
#include "app/window/TrackPanel.h"
#include "app/window/TrackTable.h"
#include "app/window/TrackTableModel.h"
#include "app/window/WindowActions.h"
#include "app/window/WindowMemory.h"
#include "document/MyDocument.h"
#include "report/InfoReport.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"

#include <QAction>
#include <QCloseEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace reelwright {
namespace {

    constexpr int kSpacing = 8;
    constexpr QSize kMinimumSize {800, 496}; // fits a small screen at one and a half times the size
    constexpr int kTimecodeMilliseconds = 33;

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

    QMessageBox::ButtonRole roleOf(std::size_t button, std::size_t count)
    {
        if (button == 0)
            return QMessageBox::AcceptRole;
        return button + 1 == count ? QMessageBox::RejectRole : QMessageBox::DestructiveRole;
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
    m_panels->addPane(Panel::MovieSettings, new MovieSettingsPane(*m_document, *m_actions));
    m_panels->addPane(Panel::Timecode, new TimecodePane(*m_document, *m_facts));
    layOut();
    m_progress = new ProgressSheet(m_view->parentWidget());
    m_actions->fill(*menuBar(), actions);
    connectActions();
    connectViews();
    setAcceptDrops(true);

    titleChanged();
    editedChanged();
    undoChanged();
    m_document->windowControllerDidLoadNib(*this);
    m_tracks->table().setFocus();
    WindowMemory::restore(*this, *m_columns, *m_rows);
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
    m_rows->setSizes({440, 224});
    m_columns->setSizes({800, 360});

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(kSpacing, kSpacing, kSpacing, kSpacing);
    layout->addWidget(m_columns);
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
    onSave(m_actions->saveCopy, &MyDocument::saveDocumentTo);
    on(m_actions->close, [this] { close(); });

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
    on(m_actions->removeTrack, [&document] { document.removeTrack(); });
    on(m_actions->enableTrack, [&document](bool isOn) {
        if (const auto row = document.selectedRow())
            document.setTrackEnabled(*row, isOn);
    });
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

void MovieWindow::connectViews()
{
    auto& table = m_tracks->table();
    table.setMenu(m_actions->trackMenu);
    connect(&table, &TrackTable::nudged, this, [this](int direction) {
        m_document->notifications().post(direction < 0 ? KWTrackDecrementFrame : KWTrackIncrementFrame);
    });
    connect(&table, &TrackTable::removalAsked, this, [this] { m_document->removeTrack(); });

    connect(m_view, &MovieView::playStateChanged, this,
        [this](bool isPlaying) { m_actions->play->setText(isPlaying ? tr("&Pause") : tr("&Play")); });
    connect(m_view, &MovieView::fullScreenChanged, m_actions->fullScreen, &QAction::setChecked);

    connect(m_timecode, &QLineEdit::returnPressed, this, [this] { m_document->changeTimecode(); });
    connect(m_timecode, &TimecodeField::abandoned, this, [this] {
        if (m_timecode->hasFocus())
            m_view->setFocus();
        m_timecodeTime.reset();
    });
    m_timecodeTimer.setInterval(kTimecodeMilliseconds);
    connect(&m_timecodeTimer, &QTimer::timeout, this, &MovieWindow::followTime);

    connect(m_progress, &ProgressSheet::cancelled, this, [this] { m_document->cancelProgress(); });
    connect(m_facts, &FactsLoader::loaded, this,
        [this] { m_tracks->model().setToolTips(toolTips(*m_facts->facts())); });
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
    for (auto* action : {m_actions->removeTrack, m_actions->enableTrack, m_actions->goToInPoint,
             m_actions->nudgeEarlier, m_actions->nudgeLater})
        action->setEnabled(track != nullptr);
    m_actions->enableTrack->setChecked(track && track->enabled());
}

// What the document asks of its window

std::size_t MovieWindow::alert(
    const std::string& title, const std::string& text, const std::vector<std::string>& buttons)
{
    QMessageBox box(this);
    box.setWindowModality(Qt::WindowModal);
    box.setIcon(buttons.size() > 1 ? QMessageBox::Question : QMessageBox::Warning);
    box.setWindowTitle(fromUtf8(m_document->displayName()));
    box.setTextFormat(Qt::RichText);
    box.setText(QStringLiteral("<b>%1</b>").arg(fromUtf8(title).toHtmlEscaped()));
    box.setInformativeText(fromUtf8(text).toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>")));
    std::vector<QAbstractButton*> made;
    for (std::size_t i = 0; i < buttons.size(); ++i)
        made.push_back(box.addButton(fromUtf8(buttons[i]), roleOf(i, buttons.size())));
    box.setDefaultButton(qobject_cast<QPushButton*>(made.front()));
    box.setEscapeButton(made.back());
    box.exec();
    const auto chosen = std::find(made.begin(), made.end(), box.clickedButton());
    return chosen == made.end() ? made.size() - 1 : static_cast<std::size_t>(chosen - made.begin());
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
    WindowMemory::save(*this, *m_columns, *m_rows);
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
