#include "app/batch/MovieFinder.h"

#include "support/FileHelper.h"

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
        QDirIterator files {path, QDir::Files | QDir::Readable, QDirIterator::Subdirectories};
        while (files.hasNext())
            if (auto file = files.next().toStdString(); FileHelper::isMovieName(file))
                inside.push_back(std::move(file));
        std::sort(inside.begin(), inside.end());
        found.insert(found.end(), inside.begin(), inside.end());
    }
    return found;
}

} // namespace reelwright
