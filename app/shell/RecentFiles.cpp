#include "app/shell/RecentFiles.h"

#include "app/shell/Background.h"
#include "support/KWLog.h"
#include "support/Preferences.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace reelwright {
namespace {

    constexpr auto kKey = "recentFiles"; ///< a JSON array of paths

    /// Names that several files share get their folder added.
    QString labelOf(const QString& path, const QStringList& all)
    {
        const QFileInfo file {path};
        const auto isSame
            = [&](const QString& other) { return QFileInfo {other}.fileName() == file.fileName(); };
        auto label = file.fileName();
        if (std::count_if(all.begin(), all.end(), isSame) > 1)
            label += QStringLiteral(" \u2014 ") + QDir::toNativeSeparators(file.path());
        return label.replace(QLatin1Char('&'), QLatin1String("&&"));
    }

} // namespace

RecentFiles::RecentFiles(Preferences& preferences, QObject* parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_menu(tr("Open &Recent"))
{
    m_writer.setMaxThreadCount(1);
    m_menu.setToolTipsVisible(true);
    const auto kept = QJsonDocument::fromJson(QByteArray::fromStdString(preferences.text(kKey))).array();
    for (const auto& value : kept)
        if (const auto path = value.toString(); path.startsWith(QLatin1Char('/')) && m_files.size() < kMost)
            m_files.append(path);
    fillMenu();
    connect(&m_menu, &QMenu::aboutToShow, this, &RecentFiles::lookForFiles);
}

RecentFiles::~RecentFiles()
{
    m_writer.waitForDone();
}

void RecentFiles::add(const QString& path)
{
    m_files.removeAll(path);
    m_files.prepend(path);
    m_files.resize(std::min(m_files.size(), kMost));
    m_missing.remove(path);
    save();
}

void RecentFiles::clear()
{
    m_files.clear();
    save();
}

void RecentFiles::save()
{
    const auto text
        = QJsonDocument {QJsonArray::fromStringList(m_files)}.toJson(QJsonDocument::Compact).toStdString();
    m_writer.start([&preferences = m_preferences, text] {
        if (const auto error = preferences.set(kKey, text))
            KWLog::appendLog("Cannot keep the list of recent files: {}", error.message());
    });
    fillMenu();
    emit changed();
}

void RecentFiles::fillMenu()
{
    m_menu.clear();
    for (const auto& path : std::as_const(m_files)) {
        auto* action = m_menu.addAction(labelOf(path, m_files), this, [this, path] { emit chosen(path); });
        action->setData(path);
        action->setToolTip(QDir::toNativeSeparators(path));
        action->setEnabled(!m_missing.contains(path));
    }
    m_menu.addSeparator();
    auto* clearAction = m_menu.addAction(tr("&Clear List"), this, &RecentFiles::clear);
    clearAction->setEnabled(!m_files.isEmpty());
}

void RecentFiles::lookForFiles()
{
    for (const auto& path : std::as_const(m_files)) {
        if (m_lookedFor.contains(path))
            continue;
        m_lookedFor.insert(path);
        runInBackground(
            this, [path] { return QFileInfo::exists(path); },
            [this, path](bool isThere) {
                m_lookedFor.remove(path);
                if (isThere)
                    m_missing.remove(path);
                else
                    m_missing.insert(path);
                const auto actions = m_menu.actions();
                for (auto* action : actions)
                    if (action->data().toString() == path)
                        action->setEnabled(isThere);
                emit lookedFor(path, isThere);
            });
    }
}

} // namespace reelwright
