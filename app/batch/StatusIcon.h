#pragma once

#include "app/batch/BatchFileModel.h"

#include <QIcon>

namespace reelwright {

/// A sign of 16 pixels for a row's status: a pen, a tick, a dash, a triangle, a stop sign. Drawn, so that it
/// is the same on every desktop.
QIcon statusIcon(BatchFileModel::Kind kind);

} // namespace reelwright
