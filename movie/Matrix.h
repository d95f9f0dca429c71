#pragma once

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/ByteWriter.h"

#include <array>
#include <cstdint>

namespace reelwright {

/// A rectangle in pixels, y downward.
struct QTRect
{
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;

    [[nodiscard]] double width() const { return right - left; }
    [[nodiscard]] double height() const { return bottom - top; }
};

/// A 3 × 3 transformation as movie and track headers hold it, row by row: a b u, c d v, x y w. A point is a
/// row vector: x' = a·x + c·y + x. Units: 16.16 fixed point, the third column 2.30.
struct Matrix
{
    std::array<std::int32_t, 9> values = {1 << 16, 0, 0, 0, 1 << 16, 0, 0, 0, 1 << 30};

    static constexpr std::size_t kSize = 36; ///< bytes in a file
    static Matrix read(ByteReader& in);
    void write(ByteWriter& out) const;

    bool operator==(const Matrix&) const = default;

    /// This transformation, then a turn by `degrees` (positive: clockwise on the screen) about the origin.
    /// Quarter turns are exact.
    [[nodiscard]] Matrix rotated(double degrees) const;
    /// This transformation, then a scaling about the origin.
    [[nodiscard]] Matrix scaled(double horizontal, double vertical) const;
    /// The box round a rectangle of that size at the origin after the transformation.
    [[nodiscard]] QTRect boxOf(double width, double height) const;
};

} // namespace reelwright
