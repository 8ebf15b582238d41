#include "extrude/spacing.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quorl::meldra3d::detail {

namespace {

// x = (smaller - larger) / larger lies in (-1, 0]. Above `series_from` the closed forms lose digits to cancellation and
// short series take over, whose first dropped term is below 1e-12 there; above `equal_from` the sizes count as equal.
constexpr double series_from = -0.01;
constexpr double equal_from = -1e-12;

} // namespace

double progression_density(double a, double b) {
    const double smaller = std::min(a, b);
    const double larger = std::max(a, b);
    if (smaller == 0)
        return 0;
    const double x = (smaller - larger) / larger;
    double q = 1;
    if (x < series_from) {
        q = std::log1p(x) / x;
    } else if (x < equal_from) {
        const double x2 = x * x;
        q = ((0.2 - x / 6) * x2 + (1.0 / 3 - x / 4)) * x2 + (1 - x / 2);
    }
    return q / larger;
}

std::optional<std::uint32_t> round_layer_count(double count, unsigned step) {
    // Negated, so that NaN is refused before it is converted.
    if (!(count >= 0 && count < double(std::numeric_limits<std::uint32_t>::max())))
        return std::nullopt;
    const std::uint64_t below = std::uint64_t(std::floor(count / step)) * step;
    const std::uint64_t above = below + step;
    // This fits: the geometric mean of 2^32 - 2 and 2^32, where an even number would, lies above the largest count.
    return static_cast<std::uint32_t>(count * count >= double(below) * double(above) ? above : below);
}

double layer_fraction(double t, double a, double b) {
    if (a == b || t == 0 || t == 1)
        return t;
    const bool mirrored = b > a;
    const double smaller = mirrored ? a : b;
    const double larger = mirrored ? b : a;
    const double tau = mirrored ? 1 - t : t;
    const double x = (smaller - larger) / larger;
    double s = tau;
    if (x < series_from)
        s = std::expm1(tau * std::log1p(x)) / x;
    else if (x < equal_from)
        s = tau * (1 + (tau - 1) * x / 2 + (tau - 1) * (tau - 2) * (x * x) / 6 +
                   (tau - 1) * (tau - 2) * (tau - 3) * (x * x * x) / 24);
    if (mirrored)
        s = 1 - s;
    if (!(s >= 0))
        return 0;
    return std::min(s, 1.0);
}

double vector_length(double x, double y, double z) {
    const double square = x * x + y * y + z * z;
    if (std::isnormal(square) || std::isnan(square))
        return std::sqrt(square);
    // Scaled by hand: the three-argument std::hypot of the C++ library loses a NaN that does not come first.
    const double largest = std::max(std::max(std::fabs(x), std::fabs(y)), std::fabs(z));
    if (largest == 0 || std::isinf(largest))
        return largest;
    x /= largest;
    y /= largest;
    z /= largest;
    return largest * std::sqrt(x * x + y * y + z * z);
}

} // namespace quorl::meldra3d::detail
