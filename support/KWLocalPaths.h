#pragma once

#include <string>

namespace reelwright {

/// Where the program keeps what is not a movie. Nothing here creates a folder.
/// REELWRIGHT_LIBRARY_DIR, REELWRIGHT_PREFS_DIR and REELWRIGHT_RESOURCE_DIR move the folders, for tests and
/// trials.
class KWLocalPaths
{
public:
    /// Folder of logs and other state: the user's, or the system's (also for the root user).
    static std::string libraryDirectory(bool forUser);
    /// Folder of the preference files: the user's, or the system's.
    static std::string prefsDirectory(bool forUser);
    /// The user's documents folder as the desktop names it.
    static std::string documentsDirectory();
    /// Folder of the resources that are installed with the programs, beside the folder that they lie in.
    static std::string resourceDirectory();
};

} // namespace reelwright
