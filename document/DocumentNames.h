#pragma once

#include <string>

namespace reelwright::documentNames {

/// The part of a path behind the last slash.
inline std::string fileName(const std::string& path)
{
    return path.substr(path.rfind('/') + 1); // npos + 1 is 0
}

/// The path without its file name's extension.
inline std::string withoutExtension(const std::string& path)
{
    const auto name = path.rfind('/') + 1;
    const auto dot = path.rfind('.');
    return dot == std::string::npos || dot <= name ? path : path.substr(0, dot);
}

} // namespace reelwright::documentNames
