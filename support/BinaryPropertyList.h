#pragma once

#include <string_view>

namespace reelwright {

/// Can a binary property list be given to the library that reads it? It follows nesting and references by
/// recursion, and ends the program on some damage. Refused: damaged tables, objects outside the file, unknown
/// objects, keys that are no texts, texts of one byte a character that are no ASCII, nesting beyond 64
/// levels, and lists whose references would make more than 100,000 objects.
bool isSoundBinaryPropertyList(std::string_view bytes);

} // namespace reelwright
