#pragma once

#include "movie/MovieError.h"

#include <tl/expected.hpp>

#include <cassert>
#include <string>
#include <utility>

/// A promise that only our own code can break.
#define RW_ASSERT(condition) assert(condition)

namespace reelwright {

/// A value or the reason why there is none.
template <class T> using Result = tl::expected<T, MovieError>;

/// The failing half of a Result: `return failure(MovieError::Code::Corrupt, "elst", "edit list is empty");`
inline tl::unexpected<MovieError> failure(
    MovieError::Code code, std::string where, std::string detail, std::uint64_t offset = 0)
{
    return tl::unexpected<MovieError>(
        MovieError {code, offset, std::move(where), std::move(detail), defaultStatus(code)});
}

/// Failure of a system call: `status` is the errno.
tl::unexpected<MovieError> systemFailure(int errorNumber, std::string where, std::string what);

} // namespace reelwright

#define RW_CONCATENATE_(a, b) a##b
#define RW_CONCATENATE(a, b) RW_CONCATENATE_(a, b)
#define RW_TRY_(temporary, declaration, expression)                                                          \
    auto temporary = (expression);                                                                           \
    if (!temporary)                                                                                          \
        return tl::unexpected<::reelwright::MovieError>(std::move(temporary).error());                       \
    declaration = std::move(*temporary)
/// RW_TRY(const auto list, track.editList()): the value, or return its error to our caller.
#define RW_TRY(declaration, expression) RW_TRY_(RW_CONCATENATE(rwResult, __LINE__), declaration, expression)
/// RW_CHECK(file.flush()): go on, or return the error to our caller.
#define RW_CHECK(expression)                                                                                 \
    if (auto rwCheck = (expression); !rwCheck)                                                               \
    return tl::unexpected<::reelwright::MovieError>(std::move(rwCheck).error())
