#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace reelwright {

/// Objects keep the order in which their members were set.
using Json = nlohmann::ordered_json;

enum class JsonStyle { Indented, OneLine };

/// The JSON text without a line end. Bytes that are no UTF-8 (file names may be any bytes) come out as
/// U+FFFD.
std::string toText(const Json& json, JsonStyle style);

} // namespace reelwright
