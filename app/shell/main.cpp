#include "app/shell/AppController.h"
#include "app/shell/Diagnostics.h"
#include "app/shell/SingleInstance.h"
#include "app/shell/StartOptions.h"
#include "support/KWLocalPaths.h"
#include "support/KWLog.h"

#include <QApplication>
#include <QDir>
#include <QIcon>

#include <csignal>
#include <cstdio>

namespace {

using namespace reelwright;

constexpr int kDone = 0;
constexpr int kCannotStart = 1;
constexpr int kWrongUsage = 2;

void print(std::FILE* stream, const QString& text)
{
    std::fputs((text + QLatin1Char('\n')).toLocal8Bit().constData(), stream);
}

/// Carries out what needs no desktop and no window. Nothing: the program is to start.
std::optional<int> carryOut(const StartOptions& options)
{
    switch (options.task) {
    case StartOptions::Task::Start:
        return {};
    case StartOptions::Task::ShowHelp:
        print(stdout, StartOptions::helpText());
        return kDone;
    case StartOptions::Task::ShowVersion:
        print(stdout, StartOptions::versionText());
        return kDone;
    case StartOptions::Task::Refuse:
        break;
    }
    print(stderr, QStringLiteral("reelwright: %1\nreelwright --help shows the usage.").arg(options.problem));
    return kWrongUsage;
}

/// Qt ends a program that finds no display by a crash.
bool isDesktopThere(const QStringList& arguments)
{
    for (const auto* variable : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        if (!qEnvironmentVariableIsEmpty(variable))
            return true;
    return arguments.contains(QLatin1String("-platform")) || arguments.contains(QLatin1String("-display"));
}

QIcon programIcon()
{
    QIcon icon;
    for (const int size : {48, 128, 256})
        icon.addFile(QStringLiteral(":/icons/reelwright-%1.png").arg(size));
    return icon;
}

} // namespace

int main(int argc, char** argv)
{
    // A file that may not become longer is a failed write, not the end of the program.
    std::signal(SIGXFSZ, SIG_IGN); // NOLINT: ignoring needs no handler
    QStringList given;
    for (int index = 1; index < argc; ++index)
        given.append(QString::fromLocal8Bit(argv[index]));
    if (const auto status = carryOut(StartOptions::withoutDesktop(given)))
        return *status;
    if (!isDesktopThere(given)) {
        print(stderr,
            QStringLiteral(
                "reelwright: there is no desktop to show windows on (DISPLAY and WAYLAND_DISPLAY are "
                "not set).\nreelwright-cli does the same work without one."));
        return kCannotStart;
    }

    KWLog::setApplication("Reelwright", REELWRIGHT_VERSION);
    QApplication::setApplicationName(QStringLiteral("reelwright"));
    QApplication::setApplicationVersion(QStringLiteral(REELWRIGHT_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("com.kestrelwick.Reelwright"));
    const QApplication application {argc, argv};
    QApplication::setApplicationDisplayName(QStringLiteral("Reelwright"));
    QApplication::setWindowIcon(programIcon());

    const auto options = StartOptions::parse(QApplication::arguments().mid(1), QDir::currentPath());
    if (const auto status = carryOut(options))
        return *status;

    SingleInstance instance;
    if (!options.newInstance && instance.start(options.files) == SingleInstance::Role::HandedOver)
        return kDone;

    const RunMarker marker {KWLocalPaths::libraryDirectory(true) + "/running"};
    marker.noteCrashes();
    int status = kDone;
    {
        AppController controller;
        QObject::connect(&instance, &SingleInstance::activated, &controller, &AppController::activate);
        // Not quit(): that would ask the windows once more.
        QObject::connect(
            &controller, &AppController::terminated, &application, [] { QApplication::exit(kDone); },
            Qt::QueuedConnection);
        controller.start(options.files);
        if (marker.hasCrashed())
            controller.offerDiagnostics();
        status = QApplication::exec();
    }
    KWLog::finishWriting();
    return status;
}
