#include "saving/FinderInfo.h"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace reelwright {

void setMovieTypeAndCreator(const std::string& path)
{
    constexpr const char* kAttribute = "user.com.apple.FinderInfo";
    constexpr std::string_view kTypeAndCreator = "MooVTVOD";
    std::array<char, 32> info {};
    if (::getxattr(path.c_str(), kAttribute, info.data(), info.size()) != static_cast<ssize_t>(info.size()))
        info.fill(0);
    std::copy(kTypeAndCreator.begin(), kTypeAndCreator.end(), info.begin());
    static_cast<void>(::setxattr(path.c_str(), kAttribute, info.data(), info.size(), 0));
}

} // namespace reelwright
