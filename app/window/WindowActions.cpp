#include "app/window/WindowActions.h"

#include "tracks/ShownTime.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QMenu>
#include <QMenuBar>
#include <QMetaMethod>

namespace reelwright {
namespace {

    bool hasSlot(const QWidget* widget, const char* slot)
    {
        return widget && widget->metaObject()->indexOfMethod(QByteArray(slot) + "()") >= 0;
    }

} // namespace

WindowActions::WindowActions(QWidget& window)
    : QObject(&window)
    , m_window(window)
{
    save = make(tr("&Save"), QKeySequence::Save);
    saveAs = make(tr("Save &As..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    saveCopy = make(tr("Save a Cop&y..."), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S));
    exportMovie = make(tr("&Export..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E),
        tr("Write the movie as it is shown in another format."));
    exportFrame = make(tr("Export &Frame..."), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_E),
        tr("Write the picture on show as an image."));
    exportStills = make(tr("Export S&tills..."), {}, tr("Write a series of pictures, or a sheet of small ones."));
    verify = make(tr("&Check Media"), {}, tr("Read every sample of every track, and say what cannot be read."));
    revertToSaved = make(tr("&Revert to Saved"), {}, tr("Take back all changes since the last save."));
    revertToOpened = make(tr("Revert to As &Opened"), {}, tr("The movie as it was when it was opened."));
    review = make(tr("Re&view Changes..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_V),
        tr("What a save would change, before and after."));
    showAtoms = make(tr("&Atom Inspector..."), {},
        tr("The atoms of the file with their fields and bytes, and what a save would change in them."));
    check = make(tr("C&heck..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K),
        tr("Whether the movie is what a set of rules demands."));
    close = make(tr("&Close"), QKeySequence(Qt::CTRL | Qt::Key_W));

    undo = make(tr("&Undo"), QKeySequence::Undo);
    redo = make(tr("&Redo"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z));
    cut = makeRouted(tr("Cu&t"), QKeySequence::Cut, "cut");
    copy = makeRouted(tr("&Copy"), QKeySequence::Copy, "copy");
    paste = makeRouted(tr("&Paste"), QKeySequence::Paste, "paste");
    selectAll = makeRouted(tr("Select &All"), QKeySequence::SelectAll, "selectAll");

    play = make(tr("&Play"), QKeySequence(Qt::CTRL | Qt::Key_K));
    stepBackward = make(tr("Step &Back"), QKeySequence(Qt::CTRL | Qt::Key_Left));
    stepForward = make(tr("Step &Forward"), QKeySequence(Qt::CTRL | Qt::Key_Right));
    goToStart = make(tr("Go to &Start"), QKeySequence(Qt::CTRL | Qt::Key_Home));
    goToEnd = make(tr("Go to &End"), QKeySequence(Qt::CTRL | Qt::Key_End));
    goToTimecode = make(tr("Go to &Timecode"), QKeySequence(Qt::CTRL | Qt::Key_G));
    copyFrom = make(tr("Copy Attributes and &Metadata From..."), {},
        tr("Take attributes, metadata, timecode, settings or chapters from another movie."));
    rotateLeft = make(tr("Rotate &Left"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R),
        tr("Turn the picture a quarter to the left."));
    rotateRight = make(tr("Rotate &Right"), QKeySequence(Qt::CTRL | Qt::Key_R),
        tr("Turn the picture a quarter to the right."));
    flip = make(tr("Turn 180\u00B0 (Fl&ip)"), {}, tr("Turn the picture upside down, a half turn."));
    flop = make(tr("Mirror (Fl&op)"), {}, tr("Mirror the picture from left to right."));

    addTrack = new QMenu(tr("&Add"), &window);
    addTimecodeTrack = make(tr("&Timecode Track"));
    addVideo = make(tr("&Video from File..."), {}, tr("A track that plays the picture of another movie."));
    addAudio = make(tr("&Audio from File..."), {}, tr("A track that plays the sound of another file."));
    addVideoTrack = make(tr("&Empty Video Track"));
    addTextTrack = make(tr("Te&xt Track"));
    addSpriteTrack = make(tr("&Sprite Track"));
    addTrack->addActions({addVideo, addAudio, addTimecodeTrack});
    addTrack->addSeparator();
    addTrack->addActions({addVideoTrack, addTextTrack, addSpriteTrack});
    addMedia = make(tr("Add &Media..."), {}, tr("Put media of another movie behind the track's own."));
    deleteMedia
        = make(tr("&Delete Media..."), {}, tr("Take all media from the track, which keeps its place."));
    extractTrack = make(tr("E&xtract..."), {}, tr("Write the track to a file of its own, without encoding."));
    removeTrack = make(tr("&Remove Track..."), QKeySequence::Delete, tr("Remove the selected track."));
    enableTrack = make(tr("&Enabled"), QKeySequence(Qt::CTRL | Qt::Key_E));
    enableTrack->setCheckable(true);
    goToInPoint = make(tr("Go to &In Point"), QKeySequence(Qt::CTRL | Qt::Key_I));
    nudgeEarlier = make(tr("Nudge Ea&rlier"), QKeySequence(Qt::Key_Left));
    nudgeLater = make(tr("Nudge &Later"), QKeySequence(Qt::Key_Right));
    // The table takes these keys itself; elsewhere they mean something else.
    for (auto* action : {removeTrack, nudgeEarlier, nudgeLater})
        action->setShortcutContext(Qt::WidgetShortcut);

    fullScreen = make(tr("&Full Screen"), QKeySequence(Qt::Key_F11));
    fullScreen->setCheckable(true);
    sidePane = make(tr("&Side Pane"), QKeySequence(Qt::Key_F9));
    sidePane->setCheckable(true);
    sidePane->setChecked(true);

    times = new QMenu(tr("&Times"), &window);
    auto* styles = new QActionGroup(this);
    struct TimesRow
    {
        const char* text;
        ShownTime::Style style;
    };
    for (const auto& row : {TimesRow {QT_TR_NOOP("As &Defined"), ShownTime::Style::Defined},
             {QT_TR_NOOP("&Timecode"), ShownTime::Style::Timecode}, {QT_TR_NOOP("&Frames"), ShownTime::Style::Frames},
             {QT_TR_NOOP("&Seconds"), ShownTime::Style::Seconds}}) {
        auto* action = make(tr(row.text));
        action->setCheckable(true);
        action->setData(static_cast<int>(row.style));
        styles->addAction(action);
        times->addAction(action);
    }
    nextArea = make(tr("Next &Area"), QKeySequence(Qt::Key_F6));
    commandFinder = make(tr("&Find a Command..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P));
    keys = make(tr("&Keys"));
    manual = make(tr("&Manual"), QKeySequence(Qt::Key_F1), tr("What can be done here, and how."));

    trackMenu = new QMenu(&window);
    trackMenu->addActions({enableTrack, goToInPoint, nudgeEarlier, nudgeLater});
    trackMenu->addSeparator();
    trackMenu->addActions({copy, removeTrack});

    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { follow(now); });
    updateRouted();
}

QAction* WindowActions::make(const QString& text, const QKeySequence& shortcut, const QString& toolTip)
{
    auto* action = new QAction(text, this);
    action->setShortcut(shortcut);
    if (!toolTip.isEmpty())
        action->setToolTip(toolTip);
    // Also while the menu bar is hidden.
    m_window.addAction(action);
    return action;
}

QAction* WindowActions::makeRouted(const QString& text, const QKeySequence& shortcut, const char* slot)
{
    auto* action = make(text, shortcut);
    action->setData(QByteArray(slot));
    connect(action, &QAction::triggered, this, [this, slot] {
        if (hasSlot(m_focused, slot))
            QMetaObject::invokeMethod(m_focused, slot);
    });
    return action;
}

void WindowActions::follow(QWidget* focused)
{
    // A menu bar that is used by the keyboard takes the focus for a while.
    if (!focused || focused->window() != &m_window || qobject_cast<QMenuBar*>(focused))
        return;
    m_focused = focused;
    updateRouted();
}

void WindowActions::updateRouted()
{
    const bool isReadOnly = m_focused && m_focused->property("readOnly").toBool();
    for (auto* action : {cut, copy, paste, selectAll}) {
        const bool changes = action == cut || action == paste;
        action->setEnabled(hasSlot(m_focused, action->data().toByteArray()) && !(changes && isReadOnly));
    }
}

void WindowActions::fill(QMenuBar& bar, const ApplicationActions& application)
{
    const auto add = [](QMenu& menu, std::initializer_list<QAction*> actions) {
        for (auto* action : actions)
            if (action)
                menu.addAction(action);
    };

    auto& file = *bar.addMenu(tr("&File"));
    add(file, {application.newBatch, application.open});
    if (application.openRecent)
        file.addMenu(application.openRecent);
    file.addSeparator();
    add(file, {save, saveAs, saveCopy});
    file.addSeparator();
    add(file, {exportMovie, exportFrame, exportStills});
    file.addSeparator();
    add(file, {review, check, revertToSaved, revertToOpened, verify});
    file.addSeparator();
    add(file, {close});
    file.addSeparator();
    add(file, {application.quit});

    auto& edit = *bar.addMenu(tr("&Edit"));
    add(edit, {undo, redo});
    edit.addSeparator();
    add(edit, {cut, copy, paste, selectAll});
    if (application.preferences) {
        edit.addSeparator();
        edit.addAction(application.preferences);
    }

    auto& movie = *bar.addMenu(tr("&Movie"));
    add(movie, {play, stepBackward, stepForward});
    movie.addSeparator();
    add(movie, {goToStart, goToEnd, goToTimecode});
    movie.addSeparator();
    add(movie, {rotateLeft, rotateRight, flip, flop});
    movie.addSeparator();
    add(movie, {copyFrom});

    auto& track = *bar.addMenu(tr("&Track"));
    track.addMenu(addTrack);
    track.addSeparator();
    add(track, {enableTrack, goToInPoint, nudgeEarlier, nudgeLater});
    track.addSeparator();
    add(track, {addMedia, deleteMedia, extractTrack});
    track.addSeparator();
    add(track, {removeTrack});

    auto& view = *bar.addMenu(tr("&View"));
    add(view, {fullScreen, sidePane});
    view.addMenu(times);
    add(view, {nextArea});
    view.addSeparator();
    add(view, {showAtoms});

    if (application.windows)
        bar.addMenu(application.windows);

    auto& help = *bar.addMenu(tr("&Help"));
    add(help, {manual, commandFinder, keys, application.diagnostics, application.about});
}

} // namespace reelwright
