#pragma once

#include <QMenu>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QThreadPool>

namespace reelwright {

class Preferences;

/// The movie files that were opened last, and the menu that shows them. Kept in the preferences; neither
/// writing them nor looking whether the files are still there makes the interface wait.
class RecentFiles : public QObject
{
    Q_OBJECT

public:
    static constexpr qsizetype kMost = 10;

    explicit RecentFiles(Preferences& preferences, QObject* parent = nullptr);
    /// Waits until they are written.
    ~RecentFiles() override;

    /// Absolute paths, the last one opened first.
    [[nodiscard]] const QStringList& files() const { return m_files; }
    void add(const QString& path);
    void clear();

    /// "Open Recent". Each time it is shown the files are looked for, and those that are gone turn grey.
    [[nodiscard]] QMenu* menu() { return &m_menu; }

signals:
    void chosen(const QString& path);
    void changed();
    /// It is known whether that file is there.
    void lookedFor(const QString& path, bool isThere);

private:
    void save();
    void fillMenu();
    void lookForFiles();

    Preferences& m_preferences;
    QStringList m_files;
    QSet<QString> m_missing;
    QSet<QString> m_lookedFor; ///< under way: a volume that hangs is asked once
    QMenu m_menu;
    QThreadPool m_writer; ///< one thread: writes come in order
};

} // namespace reelwright
