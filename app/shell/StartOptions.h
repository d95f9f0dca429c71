#pragma once

#include <QStringList>

namespace reelwright {

/// What the command line asks for.
struct StartOptions
{
    enum class Task { Start, ShowHelp, ShowVersion, Refuse };

    Task task = Task::Start;
    QStringList files; ///< absolute paths
    bool newInstance = false;
    QString problem; ///< of a command line that is refused

    /// `arguments` without the program's name and without those that are Qt's own; relative names are of
    /// `folder`.
    static StartOptions parse(const QStringList& arguments, const QString& folder);
    /// Does one of the arguments ask for something that needs no desktop? Looks at all, Qt's own included.
    static StartOptions withoutDesktop(const QStringList& arguments);

    static QString helpText();
    static QString versionText();
};

} // namespace reelwright
