#pragma once

#include <QString>

namespace reelwright {

struct MovieError;

/// What went wrong with a file and what can be done about it, in sentences for the user; the last paragraph
/// says where, for those who know the format.
QString errorText(const MovieError& error);

} // namespace reelwright
