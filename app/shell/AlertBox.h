#pragma once

#include <QString>

#include <cstddef>
#include <string>
#include <vector>

class QWidget;

namespace reelwright {

/// Asks in a sheet on the window, and waits for the answer (the event loop goes on): the index of the button
/// that was chosen. The first button is the default one; Escape is "OK", else the last. A long text can be scrolled.
std::size_t showAlert(QWidget& window, const QString& windowTitle, const std::string& title,
    const std::string& text, const std::vector<std::string>& buttons);

} // namespace reelwright
