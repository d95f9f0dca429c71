#pragma once

#include "edits/EditCatalogue.h"

namespace reelwright::edits {

enum class Turn { Left, Right };
enum class Controller { Show, Hide };

Edit setAutoPlay(bool on);
Edit setAutoClose(bool on);
Edit setAutoQuit(bool on);
Edit setController(Controller controller);
/// 'clas', 'clea', 'prod' or 'enco'.
Edit setApertureMode(FourCC mode);
Edit rotate(Turn turn);
Edit flip();
Edit flop();

/// The options of these edits.
std::span<const EditKind> settingsKinds();

} // namespace reelwright::edits
