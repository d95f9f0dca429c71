#include "report/Json.h"

namespace reelwright {

std::string toText(const Json& json, JsonStyle style)
{
    return json.dump(style == JsonStyle::Indented ? 2 : -1, ' ', false, Json::error_handler_t::replace);
}

} // namespace reelwright
