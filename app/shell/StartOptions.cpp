#include "app/shell/StartOptions.h"

#include <QDir>
#include <QUrl>

namespace reelwright {
namespace {

    StartOptions refused(const QString& problem)
    {
        StartOptions options;
        options.task = StartOptions::Task::Refuse;
        options.problem = problem;
        return options;
    }

    /// A name as it is typed or as a file manager hands it over.
    QString absolutePath(const QString& name, const QString& folder)
    {
        const QUrl url {name};
        const auto path = url.isLocalFile() ? url.toLocalFile() : name;
        return QDir::cleanPath(QDir {folder}.absoluteFilePath(path));
    }

    bool isUrlElsewhere(const QString& name)
    {
        return name.contains(QLatin1String("://")) && !QUrl {name}.isLocalFile();
    }

} // namespace

StartOptions StartOptions::parse(const QStringList& arguments, const QString& folder)
{
    StartOptions options;
    bool onlyFiles = false;
    for (const auto& argument : arguments) {
        if (!onlyFiles && argument.startsWith(QLatin1Char('-')) && argument != QLatin1String("-")) {
            if (argument == QLatin1String("--"))
                onlyFiles = true;
            else if (argument == QLatin1String("--new-instance"))
                options.newInstance = true;
            else if (argument == QLatin1String("--help") || argument == QLatin1String("-h"))
                options.task = Task::ShowHelp;
            else if (argument == QLatin1String("--version") || argument == QLatin1String("-v"))
                options.task = Task::ShowVersion;
            else
                return refused(QStringLiteral("unknown option %1").arg(argument));
        } else if (argument.isEmpty()) {
            return refused(QStringLiteral("a file name is empty"));
        } else if (isUrlElsewhere(argument)) {
            return refused(
                QStringLiteral("%1 is not a file of this computer; copy it here first").arg(argument));
        } else {
            options.files.append(absolutePath(argument, folder));
        }
    }
    return options;
}

StartOptions StartOptions::withoutDesktop(const QStringList& arguments)
{
    StartOptions options;
    for (const auto& argument : arguments) {
        if (argument == QLatin1String("--"))
            break;
        const auto parsed = parse({argument}, QStringLiteral("/"));
        if (parsed.task == Task::ShowHelp || parsed.task == Task::ShowVersion)
            options.task = parsed.task;
    }
    return options;
}

QString StartOptions::versionText()
{
    return QStringLiteral("reelwright " REELWRIGHT_VERSION);
}

QString StartOptions::helpText()
{
    return QStringLiteral(R"(Usage: reelwright [OPTION...] [FILE...]

Opens movie files, each in a window of its own. When Reelwright is running already, it opens them.
Names may be paths or file:// addresses.

  --new-instance   start another Reelwright, also when one is running
  -h, --help       show this text
  -v, --version    show the version
  --               what follows are files

Environment:
  REELWRIGHT_APPEARANCE=system|light|dark   instead of the preference
  REELWRIGHT_RENDERER=software|opengl       how pictures are drawn
  REELWRIGHT_SOUND=off                      plays in silence

Exit status: 0 done, or handed over to the running Reelwright; 1 cannot start; 2 wrong usage.
reelwright-cli does the same work without a desktop.)");
}

} // namespace reelwright
