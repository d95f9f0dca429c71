#pragma once

#include <plist/plist.h>

#include <string>

namespace reelwright {

/// The property list in these bytes, text or binary, or null. The library follows nesting by recursion and
/// ends the program on some damage: what could do that is refused before it looks.
plist_t parsePropertyList(const std::string& bytes);

} // namespace reelwright
