#pragma once

#include "movie/QTMovie.h"

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

namespace reelwright {

/// Stands for the movie in a recorded call.
struct KWPlaceholderMovie
{
    static KWPlaceholderMovie placeholder() { return {}; }
};

/// A call of a class operation: its arguments by value, the movie left open.
struct RecordedCall
{
    std::string name; ///< "KWQuickTimeEditing setAutoPlay:forMovie:"
    std::function<Result<void>(QTMovie&)> perform;
};

namespace recording {

    /// What an operation answers as a yes or no: an error is a no, any other value a yes.
    template <class T> struct Answer
    {
        template <class Call> static Result<void> of(const Call& call)
        {
            static_cast<void>(call());
            return {};
        }
    };
    template <> struct Answer<void>
    {
        template <class Call> static Result<void> of(const Call& call)
        {
            call();
            return {};
        }
    };
    template <class T> struct Answer<Result<T>>
    {
        template <class Call> static Result<void> of(const Call& call)
        {
            if (auto done = call(); !done)
                return tl::unexpected<MovieError>(std::move(done).error());
            return {};
        }
    };

    inline QTMovie& resolved(const KWPlaceholderMovie&, QTMovie& movie)
    {
        return movie;
    }
    template <class T> const T& resolved(const T& argument, QTMovie&)
    {
        return argument;
    }

} // namespace recording

/// Records a call; exactly one of the arguments is the placeholder.
template <class R, class... P, class... A>
RecordedCall record(std::string name, R (*operation)(P...), A... arguments)
{
    static_assert(sizeof...(P) == sizeof...(A));
    static_assert((0 + ... + int {std::is_same_v<A, KWPlaceholderMovie>}) == 1, "one argument is the movie");
    return {std::move(name),
        [operation, stored = std::tuple<A...>(std::move(arguments)...)](QTMovie& movie) -> Result<void> {
            return std::apply(
                [&](const auto&... argument) {
                    return recording::Answer<R>::of(
                        [&]() -> R { return operation(recording::resolved(argument, movie)...); });
                },
                stored);
        }};
}

} // namespace reelwright
