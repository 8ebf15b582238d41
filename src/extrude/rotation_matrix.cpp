// Rotation by a rotation vector w (Rodrigues 1840): R = I + a [w]x + b [w]x^2 with a = sin t / t, b = (1 - cos t) /
// t^2, t = |w|. For small angles a and b are sums of their series. Else R is formed from the unit vector n = w / t and
// the half angle: t^2 could overflow, and 1 - cos t = 2 sin^2(t / 2) does not cancel. After many turns the last bit of
// t is many last bits of sin t, so t is carried as a sum of two doubles (Dekker 1971).

#include "extrude/rotation_matrix.h"

#include <algorithm>
#include <cmath>

#include "extrude/spacing.h"

namespace quorl::meldra3d::detail {

namespace {

using vec3 = vector_fixed<double, 3>;

// Up to here the series are right to the last bit: the first dropped terms are below 1e-18.
constexpr double series_up_to = 0.1;

/// I + a [v]x + b (v v^T - |v|^2 I). On the diagonal v_i^2 has been cancelled by hand.
matrix3 rodrigues(double a, double b, const vec3& v) {
    const double xx = v[0] * v[0], yy = v[1] * v[1], zz = v[2] * v[2];
    const double xy = b * v[0] * v[1], xz = b * v[0] * v[2], yz = b * v[1] * v[2];
    return {{{1 - b * (yy + zz), xy - a * v[2], xz + a * v[1]},
             {xy + a * v[2], 1 - b * (xx + zz), yz - a * v[0]},
             {xz - a * v[1], yz + a * v[0], 1 - b * (xx + yy)}}};
}

matrix3 small_rotation(const vec3& w) {
    const double t2 = w[0] * w[0] + w[1] * w[1] + w[2] * w[2];
    const double a = 1 - t2 / 6 * (1 - t2 / 20 * (1 - t2 / 42 * (1 - t2 / 72 * (1 - t2 / 110))));
    const double b = 0.5 - t2 / 24 * (1 - t2 / 30 * (1 - t2 / 56 * (1 - t2 / 90)));
    return rodrigues(a, b, w);
}

/// A number as the sum of a double and a small rest.
struct two_doubles {
    double value;
    double rest;
};

/// The length of a vector whose largest component is between 1/4 and 1.
two_doubles exact_length(const vec3& v) {
    two_doubles square{0, 0};
    for (unsigned i = 0; i < 3; ++i) {
        const double product = v[i] * v[i];
        const double sum = square.value + product;
        const double kept = sum - square.value;
        square.rest += std::fma(v[i], v[i], -product) + ((square.value - (sum - kept)) + (product - kept));
        square.value = sum;
    }
    const double length = std::sqrt(square.value);
    return {length, (std::fma(-length, length, square.value) + square.rest) / (2 * length)};
}

matrix3 large_rotation(const vec3& w) {
    int exponent = 0;
    std::frexp(std::max({std::fabs(w[0]), std::fabs(w[1]), std::fabs(w[2])}), &exponent);
    const vec3 v{std::ldexp(w[0], -exponent), std::ldexp(w[1], -exponent), std::ldexp(w[2], -exponent)};
    const two_doubles length = exact_length(v);
    // Half of the angle, which a double holds where the whole would overflow.
    const two_doubles half{std::ldexp(length.value, exponent - 1), std::ldexp(length.rest, exponent - 1)};
    const double sine = std::sin(half.value) * std::cos(half.rest) + std::cos(half.value) * std::sin(half.rest);
    const double cosine = std::cos(half.value) * std::cos(half.rest) - std::sin(half.value) * std::sin(half.rest);
    return rodrigues(2 * sine * cosine, 2 * sine * sine,
                     {v[0] / length.value, v[1] / length.value, v[2] / length.value});
}

} // namespace

matrix3 rotation_matrix(const vec3& w) {
    return vector_length(w[0], w[1], w[2]) <= series_up_to ? small_rotation(w) : large_rotation(w);
}

} // namespace quorl::meldra3d::detail
