#include "app/batch/MovieFinder.h"

#include <QDirIterator>
#include <QFileInfo>

#include <algorithm>

namespace reelwright {

std::vector<std::string> moviesAmong(const QStringList& paths)
{
    std::vector<std::string> found;
    for (const auto& path : paths) {
        if (!QFileInfo {path}.isDir()) {
            found.push_back(path.toStdString());
            continue;
        }
        std::vector<std::string> inside;
        QDirIterator files {path,
            {QStringLiteral("*.mov"), QStringLiteral("*.qt"), QStringLiteral("*.mp4"),
                QStringLiteral("*.m4v")},
            QDir::Files | QDir::Readable, QDirIterator::Subdirectories};
        while (files.hasNext())
            inside.push_back(files.next().toStdString());
        std::sort(inside.begin(), inside.end());
        found.insert(found.end(), inside.begin(), inside.end());
    }
    return found;
}

} // namespace reelwright
