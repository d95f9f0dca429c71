#include "app/shell/AboutBox.h"

#include <QApplication>
#include <QIcon>
#include <QMessageBox>

#include <fmt/core.h>
#include <mpv/client.h>
#include <tl/expected.hpp>
#include <zlib.h>

namespace reelwright {
namespace {

    QString dotted(unsigned long major, unsigned long minor, unsigned long patch)
    {
        return QStringLiteral("%1.%2.%3").arg(major).arg(minor).arg(patch);
    }

} // namespace

QList<UsedLibrary> usedLibraries()
{
    const auto mpv = mpv_client_api_version();
    return {
        {QStringLiteral("Qt"), QString::fromLatin1(qVersion()), QApplication::tr("windows")},
        {QStringLiteral("libmpv"), QStringLiteral("%1.%2").arg(mpv >> 16U).arg(mpv & 0xFFFFU),
            QApplication::tr("player")},
        {QStringLiteral("libavutil"), QStringLiteral(REELWRIGHT_AVUTIL_VERSION), QApplication::tr("player")},
        {QStringLiteral("Exiv2"), QStringLiteral(REELWRIGHT_EXIV2_VERSION), QApplication::tr("still images")},
        {QStringLiteral("libplist"), QStringLiteral(REELWRIGHT_PLIST_VERSION),
            QApplication::tr("preferences")},
        {QStringLiteral("zlib"), QString::fromLatin1(zlibVersion()),
            QApplication::tr("compressed movie headers")},
        {QStringLiteral("fmt"), dotted(FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100),
            QApplication::tr("texts")},
        {QStringLiteral("expected"),
            dotted(TL_EXPECTED_VERSION_MAJOR, TL_EXPECTED_VERSION_MINOR, TL_EXPECTED_VERSION_PATCH),
            QApplication::tr("results")},
    };
}

QMessageBox* makeAboutBox(QWidget* parent)
{
    auto* box = new QMessageBox {parent};
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowTitle(QApplication::tr("About Reelwright"));
    box->setTextFormat(Qt::RichText);
    constexpr int kIconSize = 64;
    box->setIconPixmap(QApplication::windowIcon().pixmap(kIconSize, kIconSize));
    box->setText(QApplication::tr("<h3>Reelwright %1</h3><p>Repairs and edits QuickTime movie files without "
                                  "touching their media.</p>")
                     .arg(QStringLiteral(REELWRIGHT_VERSION)));
    QString rows;
    for (const auto& library : usedLibraries())
        rows += QStringLiteral("<tr><td>%1</td><td>&nbsp;&nbsp;%2</td><td>&nbsp;&nbsp;%3</td></tr>")
                    .arg(library.name, library.version, library.purpose);
    box->setInformativeText(
        QApplication::tr("<p>Free software under the GNU General Public License, version 3 or "
                         "later. It comes without any warranty.</p><p>It stands on:</p>"
                         "<table>%1</table>")
            .arg(rows));
    box->setStandardButtons(QMessageBox::Close);
    return box;
}

} // namespace reelwright
