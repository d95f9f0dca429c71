#include "movie/Result.h"

#include <fmt/format.h>

#include <cerrno>
#include <system_error>

namespace reelwright {

tl::unexpected<MovieError> systemFailure(int errorNumber, std::string where, std::string what)
{
    MovieError error {MovieError::Code::Io, 0, std::move(where), {}, errorNumber};
    error.detail = fmt::format("{}: {}", what, std::system_category().message(errorNumber));
    if (errorNumber == ENOSPC)
        error.detail += "; free some space on the volume and try again";
    else if (errorNumber == EACCES || errorNumber == EPERM)
        error.detail += "; check the permissions of the file and of its folder";
    else if (errorNumber == EROFS)
        error.detail += "; the volume is mounted read-only, write to another folder";
    return tl::unexpected<MovieError>(std::move(error));
}

} // namespace reelwright
