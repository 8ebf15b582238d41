#include "locate/metric_interpolation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include <lapack/lapack.h>

namespace quorl::meldra3d::detail {

namespace {

constexpr double largest = std::numeric_limits<double>::max();

// A weight, and the sum of two or three, is taken for 0 or 1 within this: sqrt(n) times 1e-12 for n of them.
constexpr double one_weight = 1e-12;
constexpr double two_weights = 1.4142135623730952e-12;
constexpr double three_weights = 1.7320508075688772e-12;

bool is_near(double x, double y, double tolerance) {
    return std::fabs(x - y) < tolerance;
}

using vec3 = std::array<double, 3>;

bool is_finite(const metric& m) {
    return std::all_of(std::begin(m.values), std::end(m.values), [](double x) { return std::isfinite(x); });
}

/// v^T M v
double along(const metric& m, const vec3& v) {
    double sum = 0;
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            sum += v[i] * m(i, j) * v[j];
    return sum;
}

/// The lower triangular factor of M = L L^T (Cholesky).
struct triangular_factor {
    double l00, l10, l11, l20, l21, l22;

    explicit triangular_factor(const metric& m) {
        l00 = std::sqrt(m(0, 0));
        l10 = m(0, 1) / l00;
        l20 = m(0, 2) / l00;
        l11 = std::sqrt(m(1, 1) - l10 * l10);
        l21 = (m(1, 2) - l10 * l20) / l11;
        l22 = std::sqrt(m(2, 2) - l20 * l20 - l21 * l21);
    }

    /// False for NaN: M is not positive definite then.
    bool is_regular() const { return l00 > 0 && l11 > 0 && l22 > 0; }

    /// L^-1 v
    vec3 forward(const vec3& v) const {
        const double x = v[0] / l00, y = (v[1] - l10 * x) / l11;
        return {x, y, (v[2] - l20 * x - l21 * y) / l22};
    }

    /// L^-T v
    vec3 backward(const vec3& v) const {
        const double z = v[2] / l22, y = (v[1] - l21 * z) / l11;
        return {(v[0] - l10 * y - l20 * z) / l00, y, z};
    }
};

/// L^-1 M L^-T
metric reduced(const metric& m, const triangular_factor& factor) {
    std::array<vec3, 3> half; // the columns of L^-1 M
    for (unsigned j = 0; j < 3; ++j)
        half[j] = factor.forward({m(0, j), m(1, j), m(2, j)});
    metric result{};
    for (unsigned i = 0; i < 3; ++i) {
        const vec3 column = factor.forward({half[0][i], half[1][i], half[2][i]});
        for (unsigned j = 0; j <= i; ++j)
            result(j, i) = column[j];
    }
    return result;
}

/// Directions along which two metrics are both diagonal.
struct common_axes {
    std::array<vec3, 3> axis;
    std::array<vec3, 3> dual; ///< the rows of the inverse of the matrix of axes
    vec3 first;               ///< the metrics along the axes
    vec3 second;
};

vec3 cross(const vec3& a, const vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Sets the rows of the inverse of the matrix of axes and returns its determinant; where that is 0 they are the
/// cofactors.
double divide_cofactors(common_axes& axes) {
    const auto& e = axes.axis;
    axes.dual = {cross(e[1], e[2]), cross(e[2], e[0]), cross(e[0], e[1])};
    const double determinant = e[0][0] * axes.dual[0][0] + e[0][1] * axes.dual[0][1] + e[0][2] * axes.dual[0][2];
    if (determinant != 0)
        for (vec3& row : axes.dual)
            for (double& x : row)
                x /= determinant;
    return determinant;
}

void multiply(std::array<vec3, 3>& rows, int exponent) {
    for (vec3& row : rows)
        for (double& x : row)
            x = std::ldexp(x, exponent);
}

/// Axes are as long as the sizes: the determinant of very long or short ones is no double, but that of the axes
/// brought to a length of about 1 is.
void invert(common_axes& axes) {
    if (std::isnormal(divide_cofactors(axes)))
        return;
    double longest = 0;
    for (const vec3& axis : axes.axis)
        for (const double x : axis)
            longest = std::max(longest, std::fabs(x));
    if (!std::isnormal(longest))
        return;
    common_axes scaled = axes;
    const int exponent = std::ilogb(longest);
    multiply(scaled.axis, -exponent);
    if (divide_cofactors(scaled) == 0)
        return;
    multiply(scaled.dual, -exponent);
    axes.dual = scaled.dual;
}

std::optional<common_axes> reduce(const metric& first, const metric& second) {
    const triangular_factor factor(first);
    if (!is_finite(first) || !factor.is_regular())
        return std::nullopt;
    metric matrix = reduced(second, factor);
    if (!is_finite(matrix))
        return std::nullopt;
    vec3 eigenvalues{};
    std::array<double, 9> vectors{}, work{};
    long info = 0;
    if (lapack::dspev('V', 'U', 3, matrix.values, eigenvalues.data(), vectors.data(), 3, work.data(), info) != 0)
        return std::nullopt;
    common_axes axes{};
    for (std::size_t k = 0; k < 3; ++k) {
        axes.axis[k] = factor.backward({vectors[3 * k], vectors[3 * k + 1], vectors[3 * k + 2]});
        const double norm = along(first, axes.axis[k]);
        if (norm != 0 && norm != 1)
            for (double& x : axes.axis[k])
                x *= 1 / std::sqrt(norm);
        axes.first[k] = along(first, axes.axis[k]);
        axes.second[k] = axes.first[k] * eigenvalues[k];
    }
    invert(axes);
    return axes;
}

/// The lengths for the values of a metric along the axes.
vec3 lengths(const vec3& values) {
    const bool plain = std::all_of(values.begin(), values.end(), [](double v) { return v > 0 && v < largest; });
    const double negligible = 1e-12 * std::max({values[0], values[1], values[2]});
    vec3 h;
    for (unsigned k = 0; k < 3; ++k) {
        const double v = values[k];
        if (plain)
            h[k] = 1 / std::sqrt(v);
        else if (v == 0 || std::isnan(v) || (v < 0 && -v < negligible))
            h[k] = largest;
        else
            h[k] = v == largest ? 0 : 1 / std::sqrt(v); // NaN where it is clearly negative
    }
    return h;
}

/// 1 / h^2 for the lengths along the axes, within the range of a double.
vec3 values_of(const vec3& h) {
    constexpr double shortest = 1.4916681462400413e-154, longest = 1.3407807929942596e154;
    vec3 values;
    for (unsigned k = 0; k < 3; ++k)
        values[k] = !(h[k] >= shortest) ? largest : h[k] > longest ? 0 : 1 / (h[k] * h[k]);
    return values;
}

std::optional<metric> between(double t, const metric& first, const std::optional<metric>& second) {
    return second ? between_metrics(t, first, *second) : std::nullopt;
}

/// Three metrics, with weights a and b of the first two.
std::optional<metric> merge(double a, double b, const metric& ma, const metric& mb, const metric& mc) {
    const double sum = a + b;
    if (is_near(a, 0, one_weight))
        return between_metrics(b, mc, mb);
    if (is_near(b, 0, one_weight))
        return between_metrics(a, mc, ma);
    if (is_near(1, sum, two_weights))
        return between_metrics(b, ma, mb);
    if (is_near(sum, 0, two_weights))
        return mc;
    return between(sum, mc, between_metrics(std::clamp(b / sum, 0.0, 1.0), ma, mb));
}

} // namespace

bool is_valid_size(double size) {
    return size > 0 && size < largest;
}

bool is_valid_metric(const metric& m) {
    if (!is_finite(m))
        return false;
    metric destroyed = m;
    vec3 eigenvalues{};
    std::array<double, 9> work{};
    long info = 0;
    return lapack::dspev('N', 'U', 3, destroyed.values, eigenvalues.data(), nullptr, 1, work.data(), info) == 0 &&
           eigenvalues[0] > 0;
}

std::optional<double> combine_sizes(const double (&h)[4], const barycentric& w) {
    std::array<bool, 4> part{};
    double sum = 0;
    unsigned count = 0;
    for (unsigned k = 0; k < 3; ++k) {
        part[k] = std::fabs(w[k]) >= one_weight;
        sum += part[k] ? w[k] : 0;
        count += part[k];
    }
    constexpr std::array<double, 4> tolerance{one_weight, one_weight, two_weights, three_weights};
    part[3] = std::fabs(1 - sum) >= tolerance[count];
    // Near the limits the smaller set counts.
    if (part == std::array{true, true, true, false} && is_near(1, w[0] + w[1], two_weights))
        part[2] = false;
    if (part == std::array{true, true, false, false} && is_near(1, w[1], one_weight))
        part[0] = false;
    for (unsigned k = 0; k < 4; ++k)
        if (part[k] && !(h[k] > 0))
            return std::nullopt;

    // The node from which the others are measured. Which it is, and the order of the sum, decide the rounding.
    const unsigned base = part[3] ? 3 : part[0] && part[2] ? 2 : part[0] ? 0 : part[1] ? 1 : 2;
    double size = 0;
    for (const unsigned k : {1u, 2u, 0u})
        if (part[k] && k != base)
            size += (h[k] - h[base]) * w[k];
    size += h[base];
    return is_valid_size(size) ? std::optional(size) : std::nullopt;
}

std::optional<metric> between_metrics(double t, const metric& first, const metric& second) {
    if (is_near(t, 0, one_weight))
        return first;
    if (is_near(1, t, one_weight))
        return second;
    const std::optional<common_axes> axes = reduce(first, second);
    if (!axes)
        return std::nullopt;
    const vec3 h1 = lengths(axes->first), h2 = lengths(axes->second);
    vec3 h;
    for (unsigned k = 0; k < 3; ++k)
        h[k] = (h2[k] - h1[k]) * t + h1[k];
    const vec3 values = values_of(h);
    metric result{};
    for (unsigned j = 0; j < 3; ++j)
        for (unsigned i = 0; i <= j; ++i)
            for (unsigned k = 0; k < 3; ++k)
                result(i, j) += values[k] * axes->dual[k][i] * axes->dual[k][j];
    return result;
}

std::optional<metric> combine_metrics(const metric (&m)[4], const barycentric& w) {
    const double sum = w[0] + w[1] + w[2];
    if (is_near(w[0], 0, one_weight))
        return merge(w[1], w[2], m[1], m[2], m[3]);
    if (is_near(w[1], 0, one_weight))
        return merge(w[2], w[0], m[2], m[0], m[3]);
    if (is_near(w[2], 0, one_weight))
        return merge(w[0], w[1], m[0], m[1], m[3]);
    if (is_near(1, sum, three_weights))
        return merge(w[0], w[1], m[0], m[1], m[2]);
    if (is_near(sum, 0, three_weights))
        return m[3];
    return between(sum, m[3], merge(w[0] / sum, w[1] / sum, m[0], m[1], m[2]));
}

} // namespace quorl::meldra3d::detail
