#pragma once

#include <QList>
#include <QString>

class QMessageBox;
class QWidget;

namespace reelwright {

/// A library that the program stands on.
struct UsedLibrary
{
    QString name;
    QString version;
    QString purpose;
};

QList<UsedLibrary> usedLibraries();

/// What the program is, its licence, and the libraries it stands on. Not shown yet; the caller owns it.
QMessageBox* makeAboutBox(QWidget* parent);

} // namespace reelwright
