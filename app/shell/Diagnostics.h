#pragma once

#include "support/FileDescriptor.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <string>

namespace reelwright {

/// What helps somebody who looks for a fault: the program's and the libraries' versions, the system, the
/// desktop, the screens, one a line. Nothing of movies.
QString systemFacts();

/// Writes an archive (zip) of these facts and files; a file that cannot be read is left out and named in the
/// facts. What is at `path` is replaced when all is written. Answers what went wrong, or nothing.
std::optional<QString> writeDiagnostics(const QString& path, QString facts, const QStringList& files);

/// Tells a later run whether this one crashed: a file of its own while it runs, locked, so that the system
/// frees it whatever becomes of the program, into which a crash writes. A run that was killed from outside
/// did not crash.
class RunMarker
{
public:
    /// Looks for what earlier runs left in the folder, clears it away, and puts a mark of its own. Without a
    /// folder to write to it does nothing.
    explicit RunMarker(const std::string& folder);
    RunMarker(const RunMarker&) = delete;
    RunMarker& operator=(const RunMarker&) = delete;
    ~RunMarker();

    /// From here on the signals of a crash are noted in the mark, and then end the program as they would.
    void noteCrashes() const;
    /// Did an earlier run crash?
    [[nodiscard]] bool hasCrashed() const { return m_hasCrashed; }

private:
    std::string m_path;
    FileDescriptor m_file;
    bool m_hasCrashed = false;
};

} // namespace reelwright
