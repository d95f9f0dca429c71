#include "movie/Matrix.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace reelwright {
namespace {

    std::int32_t fixed(double value)
    {
        constexpr double kLow = std::numeric_limits<std::int32_t>::min();
        constexpr double kHigh = std::numeric_limits<std::int32_t>::max();
        return static_cast<std::int32_t>(std::lround(std::clamp(value, kLow, kHigh)));
    }

    /// The left two columns times a 2 × 2 transformation; the perspective column of a file is left as it is.
    Matrix times(const Matrix& matrix, double a, double b, double c, double d)
    {
        Matrix result = matrix;
        for (std::size_t row = 0; row < 9; row += 3) {
            const double x = matrix.values[row];
            const double y = matrix.values[row + 1];
            result.values[row] = fixed(x * a + y * c);
            result.values[row + 1] = fixed(x * b + y * d);
        }
        return result;
    }

} // namespace

Matrix Matrix::read(ByteReader& in)
{
    Matrix matrix;
    for (auto& value : matrix.values)
        value = in.i32();
    return matrix;
}

void Matrix::write(ByteWriter& out) const
{
    for (const auto value : values)
        out.i32(value);
}

Matrix Matrix::rotated(double degrees) const
{
    const double turn = std::fmod(degrees, 360.0);
    const double quarters = turn / 90.0;
    double cosine = std::cos(turn * std::numbers::pi / 180.0);
    double sine = std::sin(turn * std::numbers::pi / 180.0);
    if (quarters == std::floor(quarters)) { // the library's sine of π is not zero
        cosine = std::round(cosine);
        sine = std::round(sine);
    }
    return times(*this, cosine, sine, -sine, cosine);
}

Matrix Matrix::scaled(double horizontal, double vertical) const
{
    return times(*this, horizontal, 0, 0, vertical);
}

QTRect Matrix::boxOf(double width, double height) const
{
    constexpr double kOne = 65536.0;
    QTRect box {1e300, 1e300, -1e300, -1e300};
    for (const double x : {0.0, width})
        for (const double y : {0.0, height}) {
            const double toX = (values[0] * x + values[3] * y + values[6]) / kOne;
            const double toY = (values[1] * x + values[4] * y + values[7]) / kOne;
            box = {std::min(box.left, toX), std::min(box.top, toY), std::max(box.right, toX),
                std::max(box.bottom, toY)};
        }
    return box;
}

} // namespace reelwright
