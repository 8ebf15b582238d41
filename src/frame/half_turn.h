#pragma once

#include <numbers>

namespace quorl::meldra3d::detail {

/// The angle between 0 and pi whose sine and cosine are in the ratio s : c, with s >= 0; what std::atan2(s, c) gives,
/// to within four units in the last place. NaN for two zeros. Written in basic arithmetic, so that it has the same bits
/// with every C library and on every processor. T is double or a vector of doubles, measured side by side.
template <class T>
[[gnu::always_inline]] inline T half_turn_angle(const T& s, const T& c) {
    constexpr double pi = std::numbers::pi;
    const T zero{};
    const T a = c < 0 ? -c : c;
    const T small = s < a ? s : a;
    const T large = s < a ? a : s;
    // atan(z) = atan(m) + atan((z - m) / (1 + z m)) with m = 0, 1/2 or 1 leaves at most sqrt(5) - 2 = 0.236 ...
    const auto upper = small > 0.2360 * large;
    const auto top = small > 0.8344 * large;
    const T m = top ? zero + 1.0 : (upper ? zero + 0.5 : zero);
    const T atan_m = top ? zero + pi / 4 : (upper ? zero + 0.46364760900080611621 : zero);
    const T q = (small - m * large) / (large + m * small);
    // ... for which thirteen terms of the Taylor series are enough: the next is below 2e-18 of the sum.
    const T w = q * q;
    T series = zero + 1.0 / 25;
#pragma GCC unroll 11
    for (int k = 23; k >= 3; k -= 2)
        series = 1.0 / k - w * series;
    const T octant = atan_m + (q - q * w * series);
    const T quadrant = s < a ? octant : pi / 2 - octant;
    return c < 0 ? pi - quadrant : quadrant;
}

} // namespace quorl::meldra3d::detail
