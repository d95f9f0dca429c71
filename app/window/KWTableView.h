#pragma once

#include <QByteArray>
#include <QList>
#include <QPointer>
#include <QTableView>

#include <functional>

namespace reelwright {

/// A table that watches keys: each can call a slot of another object. Its context menu is about the row under
/// the mouse. While a cell is edited, keys are the editor's.
class KWTableView : public QTableView
{
    Q_OBJECT

public:
    using QTableView::QTableView;

    struct WatchKey
    {
        int keycode = 0; ///< Qt::Key
        QByteArray selector; ///< name of a slot or signal without arguments
        bool operator==(const WatchKey&) const = default;
    };
    [[nodiscard]] const QList<WatchKey>& watchKeys() const { return m_watchKeys; }
    void setWatchKeys(const QList<WatchKey>& keys) { m_watchKeys = keys; }
    void addWatchKeys(const QList<int>& keycodes, const QByteArray& selector);
    /// Whose slots the watched keys call; not owned.
    [[nodiscard]] QObject* watchDelegate() const { return m_watchDelegate; }
    void setWatchDelegate(QObject* delegate) { m_watchDelegate = delegate; }

    /// Sees keys before anything else does; false: the usual handling follows. A key that it has handled can
    /// still be a watched one.
    using KeyHandler = std::function<bool(QKeyEvent& event)>;
    void setKeyDownHandler(KeyHandler handler) { m_keyDown = std::move(handler); }
    void setKeyUpHandler(KeyHandler handler) { m_keyUp = std::move(handler); }

    /// The context menu; not owned.
    void setMenu(QMenu* menu) { m_menu = menu; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    QList<WatchKey> m_watchKeys;
    QPointer<QObject> m_watchDelegate;
    KeyHandler m_keyDown;
    KeyHandler m_keyUp;
    QMenu* m_menu = nullptr;
};

} // namespace reelwright
