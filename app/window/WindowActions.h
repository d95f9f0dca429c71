#pragma once

#include "app/shell/ApplicationActions.h"

#include <QKeySequence>
#include <QObject>
#include <QPointer>

#include <initializer_list>

class QAction;
class QMenu;
class QMenuBar;
class QWidget;

namespace reelwright {

/// What can be done in a document's window: each thing once, for the menu bar, the context menu, the panes
/// and the keyboard. The window says what happens.
class WindowActions final : public QObject
{
    Q_OBJECT

public:
    explicit WindowActions(QWidget& window);

    /// Makes the menus, together with what belongs to the program.
    void fill(QMenuBar& bar, const ApplicationActions& application);

    // File
    QAction* save;
    QAction* saveAs;
    QAction* saveCopy;
    QAction* exportMovie;
    QAction* exportFrame;
    QAction* exportStills;
    QAction* verify;
    QAction* revertToSaved;
    QAction* revertToOpened;
    QAction* review;
    QAction* showAtoms;
    QAction* check;
    QAction* close;
    // Edit; the last four go to what has the keyboard focus
    QAction* undo;
    QAction* redo;
    QAction* cut;
    QAction* copy;
    QAction* paste;
    QAction* selectAll;
    // Movie
    QAction* play;
    QAction* stepBackward;
    QAction* stepForward;
    QAction* goToStart;
    QAction* goToEnd;
    QAction* goToTimecode;
    QAction* copyFrom;
    QAction* rotateLeft;
    QAction* rotateRight;
    QAction* flip;
    QAction* flop;
    // Track
    QMenu* addTrack; ///< what can be added
    QAction* addTimecodeTrack;
    QAction* addVideoTrack;
    QAction* addTextTrack;
    QAction* addSpriteTrack;
    QAction* addVideo;
    QAction* addAudio;
    QAction* addMedia;
    QAction* deleteMedia;
    QAction* extractTrack;
    QAction* removeTrack;
    QAction* enableTrack;
    QAction* goToInPoint;
    QAction* nudgeEarlier;
    QAction* nudgeLater;
    QMenu* trackMenu; ///< the context menu of the track table
    // View
    QAction* fullScreen;
    QAction* sidePane;
    QMenu* times; ///< how times are shown; each action's data is the style
    QAction* nextArea;
    QAction* manual;
    QAction* keys;
    QAction* commandFinder;

private:
    QAction* make(const QString& text, const QKeySequence& shortcut = {}, const QString& toolTip = {});
    QAction* makeRouted(const QString& text, const QKeySequence& shortcut, const char* slot);
    /// What the four edit actions are about.
    void follow(QWidget* focused);
    void updateRouted();

    QWidget& m_window;
    QPointer<QWidget> m_focused;
};

} // namespace reelwright
