#pragma once

class QFileDialog;

namespace reelwright {

/// Makes room for what the dialog lists. A desktop's own dialog does so itself.
void makeRoomInFileChooser(QFileDialog& chooser);

} // namespace reelwright
