#include "movie/MovieError.h"

#include <fmt/format.h>

namespace reelwright {

std::string MovieError::message() const
{
    std::string text = where.empty() ? detail : fmt::format("{}: {}", where, detail);
    if (offset != 0)
        text += fmt::format(" (at byte {})", offset);
    return text;
}

int defaultStatus(MovieError::Code code)
{
    switch (code) {
    case MovieError::Code::Io:
        return -36; // ioErr
    case MovieError::Code::Truncated:
        return -39; // eofErr
    case MovieError::Code::Corrupt:
        return -2048; // noMovieFound
    case MovieError::Code::Unsupported:
        return -4; // unimpErr
    case MovieError::Code::Refused:
    case MovieError::Code::Changed:
        return -50; // paramErr
    case MovieError::Code::Cancelled:
        return -128; // userCanceledErr
    }
    return -50;
}

} // namespace reelwright
