#pragma once

#include "movie/atoms/Bytes.h"

#include <optional>
#include <string>
#include <string_view>

namespace reelwright {

enum class ByteOrder { BigEndian, LittleEndian };

/// Text of the bytes: UTF-8 as it is, anything else taken as Mac Roman.
std::string decodeText(ByteSpan bytes);
/// Mac Roman to UTF-8.
std::string decodeMacRoman(ByteSpan bytes);
/// Nothing when a character is not one of Mac Roman's.
std::optional<std::string> encodeMacRoman(std::string_view utf8);
/// Units that are no character become the replacement character; a last odd byte is left out.
std::string decodeUtf16(ByteSpan bytes, ByteOrder order = ByteOrder::BigEndian);
/// Without a byte-order mark.
std::string encodeUtf16(std::string_view utf8, ByteOrder order = ByteOrder::BigEndian);
/// How many bytes of a UTF-8 text fit `most` without cutting a character.
std::size_t fittingUtf8(std::string_view utf8, std::size_t most);
/// The text of a text file: UTF-16 with a byte-order mark or where zeros tell of it, else UTF-8, its mark
/// left out. Nothing when it is neither.
std::optional<std::string> decodeTextFile(ByteSpan bytes);
/// The characters of a UTF-8 text, last first.
std::string reversedText(std::string_view utf8);
bool isValidUtf8(ByteSpan bytes);

} // namespace reelwright
