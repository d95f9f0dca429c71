#pragma once

class QMessageBox;
class QWidget;

namespace reelwright {

/// What the program is, its licence, and the libraries it stands on. Not shown yet; the caller owns it.
QMessageBox* makeAboutBox(QWidget* parent);

} // namespace reelwright
