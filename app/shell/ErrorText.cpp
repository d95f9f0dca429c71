#include "app/shell/ErrorText.h"

#include "movie/MovieError.h"

#include <QCoreApplication>

#include <cerrno>

namespace reelwright {
namespace {

    QString tr(const char* text)
    {
        return QCoreApplication::translate("ErrorText", text);
    }

    QString systemText(const MovieError& error)
    {
        switch (error.status) {
        case ENOENT:
            return tr(
                "The file is not there. It may have been moved, renamed or deleted, or its volume is not "
                "connected.");
        case EACCES:
        case EPERM:
            return tr("You are not allowed to read the file. Change its permissions, or ask its owner to.");
        case EISDIR:
            return tr("This is a folder. Open the movies in it instead.");
        case EIO:
            return tr("The volume cannot be read. Copy the file to another volume as long as that works, and "
                      "check the volume.");
        default:
            return tr("The file cannot be read. Check that its volume is connected, and try again.");
        }
    }

    QString adviceText(const MovieError& error)
    {
        switch (error.code) {
        case MovieError::Code::Io:
            return systemText(error);
        case MovieError::Code::Truncated:
            return tr(
                "The file ends too early, as after a copy or a recording that was cut off. Copy it again "
                "from its source.");
        case MovieError::Code::Corrupt:
            return tr(
                "The file is damaged. Copy it again from its source; if it is the same there, the program "
                "that made it may be able to write it anew.");
        case MovieError::Code::Unsupported:
            return tr(
                "Reelwright does not know this kind of file. It opens QuickTime and MP4 movies, DV streams, "
                "and WAV and AIFF sound.");
        case MovieError::Code::Refused:
        case MovieError::Code::Changed:
            return tr("The file cannot be opened as it is.");
        case MovieError::Code::Cancelled:
            return tr("Opening was cancelled.");
        }
        return {};
    }

} // namespace

QString errorText(const MovieError& error)
{
    const auto place = QString::fromStdString(error.message());
    const auto advice = adviceText(error);
    return place.isEmpty() ? advice : advice + QStringLiteral("\n\n") + place;
}

} // namespace reelwright
