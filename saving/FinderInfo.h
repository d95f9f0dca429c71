#pragma once

#include <string>

namespace reelwright {

/// Gives a file the type 'MooV' and the creator 'TVOD' in the extended attribute in which the platform's HFS
/// volumes and file servers keep them; the attribute's other bytes stay. Does nothing on a volume without
/// such attributes.
void setMovieTypeAndCreator(const std::string& path);

} // namespace reelwright
