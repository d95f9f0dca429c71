#pragma once

#include <QStringList>

#include <string>
#include <vector>

namespace reelwright {

/// The files among these paths, and the movies in the folders among them and below, by name. Asks the disk.
std::vector<std::string> moviesAmong(const QStringList& paths);

} // namespace reelwright
