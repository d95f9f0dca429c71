#include "app/window/KWTableView.h"

#include <QContextMenuEvent>
#include <QDebug>
#include <QKeyEvent>
#include <QMenu>
#include <QMetaObject>

namespace reelwright {

void KWTableView::addWatchKeys(const QList<int>& keycodes, const QByteArray& selector)
{
    for (const int keycode : keycodes)
        m_watchKeys.append({keycode, selector});
}

void KWTableView::keyPressEvent(QKeyEvent* event)
{
    if (state() == EditingState)
        return QTableView::keyPressEvent(event);
    if (m_keyDown && !m_keyDown(*event))
        QTableView::keyPressEvent(event);
    const auto keys = m_watchKeys; // what is called may change them
    for (const auto& key : keys) {
        if (key.keycode != event->key())
            continue;
        auto* delegate = m_watchDelegate.data();
        if (delegate && delegate->metaObject()->indexOfMethod(key.selector + "()") >= 0) {
            QMetaObject::invokeMethod(delegate, key.selector.constData());
            return;
        }
        qWarning().noquote() << "Selector" << key.selector << "doesn't exist";
    }
    if (!m_keyDown)
        QTableView::keyPressEvent(event);
}

void KWTableView::keyReleaseEvent(QKeyEvent* event)
{
    if (state() == EditingState || !m_keyUp || !m_keyUp(*event))
        QTableView::keyReleaseEvent(event);
}

void KWTableView::contextMenuEvent(QContextMenuEvent* event)
{
    const bool isMouse = event->reason() == QContextMenuEvent::Mouse;
    if (isMouse) {
        const auto index = indexAt(event->pos());
        if (!index.isValid())
            return;
        selectionModel()->setCurrentIndex(
            index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
    if (m_menu && currentIndex().isValid())
        m_menu->popup(
            isMouse ? event->globalPos() : viewport()->mapToGlobal(visualRect(currentIndex()).bottomLeft()));
}

} // namespace reelwright
