#pragma once

#include <string>

namespace reelwright {

/// Reading of images in a module of its own, loaded when the first image is read: loading the library for it
/// with the program was a third of every start of the command-line tool.
inline constexpr const char* kStillImageModule = "reelwright-stills.so";
inline constexpr const char* kReadDateTimeOriginal = "reelwrightReadDateTimeOriginal";

/// `text` becomes the text of the EXIF entry DateTimeOriginal of the file at `path`, empty when there is
/// none; `error` the reason why the file cannot be read as an image. Not for several threads at once.
using ReadDateTimeOriginal = void(const std::string& path, std::string& text, std::string& error);

} // namespace reelwright

extern "C" reelwright::ReadDateTimeOriginal reelwrightReadDateTimeOriginal;
