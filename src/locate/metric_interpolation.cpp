#include "locate/metric_interpolation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include <lapack/lapack.h>

#include "frame/lanes.h"
#include "frame/quickest.h"

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

// Four points are treated in lockstep, a lane each: the arithmetic of one is a chain in which each operation waits for
// the one before.

struct four_vectors {
    four_doubles x[3];

    [[gnu::always_inline]] four_doubles& operator[](std::size_t k) { return x[k]; }
    [[gnu::always_inline]] const four_doubles& operator[](std::size_t k) const { return x[k]; }
};

/// Packed like one.
struct four_metrics {
    four_doubles values[6];

    [[gnu::always_inline]] four_doubles& operator()(unsigned i, unsigned j) { return values[place(i, j)]; }
    [[gnu::always_inline]] const four_doubles& operator()(unsigned i, unsigned j) const { return values[place(i, j)]; }

private:
    [[gnu::always_inline]] static unsigned place(unsigned i, unsigned j) {
        return i <= j ? i + j * (j + 1) / 2 : j + i * (i + 1) / 2;
    }
};

bool is_finite(const metric& m) {
    return std::all_of(std::begin(m.values), std::end(m.values), [](double x) { return std::isfinite(x); });
}

[[gnu::always_inline]] inline unsigned are_finite(const four_metrics& m) {
    unsigned finite = 15;
    for (const four_doubles& x : m.values)
        finite &= bits((four_masks)(magnitude(x) <= all(largest)));
    return finite;
}

/// v^T M v
[[gnu::always_inline]] inline four_doubles along(const four_metrics& m, const four_vectors& v) {
    four_doubles sum{};
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            sum += v[i] * m(i, j) * v[j];
    return sum;
}

/// The lower triangular factor of M = L L^T (Cholesky).
struct triangular_factor {
    four_doubles l00, l10, l11, l20, l21, l22;

    [[gnu::always_inline]] explicit triangular_factor(const four_metrics& m) {
        l00 = square_root(m(0, 0));
        l10 = m(0, 1) / l00;
        l20 = m(0, 2) / l00;
        l11 = square_root(m(1, 1) - l10 * l10);
        l21 = (m(1, 2) - l10 * l20) / l11;
        l22 = square_root(m(2, 2) - l20 * l20 - l21 * l21);
    }

    /// Not those with NaN: M is not positive definite then.
    [[gnu::always_inline]] unsigned are_regular() const {
        return bits((four_masks)(l00 > all(0))) & bits((four_masks)(l11 > all(0))) & bits((four_masks)(l22 > all(0)));
    }

    /// L^-1 v
    [[gnu::always_inline]] four_vectors forward(const four_vectors& v) const {
        const four_doubles x = v[0] / l00, y = (v[1] - l10 * x) / l11;
        return {{x, y, (v[2] - l20 * x - l21 * y) / l22}};
    }

    /// L^-T v
    [[gnu::always_inline]] four_vectors backward(const four_vectors& v) const {
        const four_doubles z = v[2] / l22, y = (v[1] - l21 * z) / l11;
        return {{(v[0] - l10 * y - l20 * z) / l00, y, z}};
    }
};

/// L^-1 M L^-T
[[gnu::always_inline]] inline four_metrics reduced(const four_metrics& m, const triangular_factor& factor) {
    four_vectors half[3]; // the columns of L^-1 M
    for (unsigned j = 0; j < 3; ++j)
        half[j] = factor.forward({{m(0, j), m(1, j), m(2, j)}});
    four_metrics result{};
    for (unsigned i = 0; i < 3; ++i) {
        const four_vectors column = factor.forward({{half[0][i], half[1][i], half[2][i]}});
        for (unsigned j = 0; j <= i; ++j)
            result(j, i) = column[j];
    }
    return result;
}

/// Solves the eigenproblems of the given lanes, one after another. Returns the lanes that are solved.
unsigned solve(const four_metrics& matrices, unsigned lanes, four_vectors& eigenvalues, four_vectors (&vectors)[3]) {
    unsigned solved = 0;
    for (unsigned k = 0; k < 4; ++k) {
        if ((lanes >> k & 1) == 0)
            continue;
        metric matrix;
        for (unsigned i = 0; i < 6; ++i)
            matrix[i] = matrices.values[i][k];
        double values[3], columns[9], work[9];
        long info = 0;
        if (lapack::dspev('V', 'U', 3, matrix.values, values, columns, 3, work, info) != 0)
            continue;
        solved |= 1u << k;
        for (unsigned i = 0; i < 3; ++i) {
            eigenvalues[i][k] = values[i];
            for (unsigned j = 0; j < 3; ++j)
                vectors[i][j][k] = columns[3 * i + j];
        }
    }
    return solved;
}

[[gnu::always_inline]] inline four_vectors cross(const four_vectors& a, const four_vectors& b) {
    return {{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
}

/// Sets the rows of the inverse of the matrix of axes and returns its determinant; where that is 0 they are the
/// cofactors.
[[gnu::always_inline]] inline four_doubles divide_cofactors(const four_vectors (&e)[3], four_vectors (&dual)[3]) {
    dual[0] = cross(e[1], e[2]);
    dual[1] = cross(e[2], e[0]);
    dual[2] = cross(e[0], e[1]);
    const four_doubles determinant = e[0][0] * dual[0][0] + e[0][1] * dual[0][1] + e[0][2] * dual[0][2];
    for (four_vectors& row : dual)
        for (four_doubles& x : row.x)
            x = choose(determinant != all(0), x / determinant, x);
    return determinant;
}

[[gnu::always_inline]] inline bool is_normal(double x) {
    return std::fabs(x) >= std::numeric_limits<double>::min() && std::fabs(x) <= largest;
}

/// Of one lane, x times 2 to the power of the exponent.
[[gnu::always_inline]] inline void multiply(const four_vectors (&from)[3], unsigned lane, int exponent,
                                            four_vectors (&to)[3]) {
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            to[i][j][lane] = std::ldexp(from[i][j][lane], exponent);
}

/// Axes are as long as the sizes: the determinant of very long or short ones is no double, but that of the axes
/// brought to a length of about 1 is.
[[gnu::always_inline]] inline void invert(const four_vectors (&axis)[3], four_vectors (&dual)[3]) {
    const four_doubles determinant = divide_cofactors(axis, dual);
    for (unsigned k = 0; k < 4; ++k) {
        if (is_normal(determinant[k]))
            continue;
        double longest = 0;
        for (const four_vectors& one : axis)
            for (const four_doubles& x : one.x)
                longest = std::max(longest, std::fabs(x[k]));
        if (!is_normal(longest))
            continue;
        four_vectors scaled[3]{}, scaled_dual[3];
        const int exponent = std::ilogb(longest);
        multiply(axis, k, -exponent, scaled);
        if (divide_cofactors(scaled, scaled_dual)[k] != 0)
            multiply(scaled_dual, k, -exponent, dual);
    }
}

/// The lengths for the values of metrics along the axes; NaN where one is clearly negative.
[[gnu::always_inline]] inline four_vectors lengths(const four_vectors& values) {
    four_doubles most = values[0];
    for (unsigned k = 1; k < 3; ++k)
        most = choose(most < values[k], values[k], most);
    const four_doubles negligible = 1e-12 * most;
    four_vectors h;
    for (unsigned k = 0; k < 3; ++k) {
        const four_doubles v = values[k];
        const four_doubles plain = 1.0 / square_root(v);
        h[k] = choose(v == all(largest), all(0), plain);
        h[k] = choose((v == all(0)) | (v != v) | ((v < all(0)) & (-v < negligible)), all(largest), h[k]);
    }
    return h;
}

/// 1 / h^2 for the lengths along the axes, within the range of a double.
[[gnu::always_inline]] inline four_vectors values_of(const four_vectors& h) {
    constexpr double shortest = 1.4916681462400413e-154, longest = 1.3407807929942596e154;
    four_vectors values;
    for (unsigned k = 0; k < 3; ++k)
        values[k] =
            choose(h[k] >= all(shortest), choose(h[k] > all(longest), all(0), 1.0 / (h[k] * h[k])), all(largest));
    return values;
}

/// The metrics between two, `t` of the way from the first to the second, in the given lanes. Returns the lanes in which
/// there are some: directions are found along which both metrics are diagonal.
[[gnu::always_inline]] inline unsigned reduce(const four_doubles& t, const four_metrics& first,
                                              const four_metrics& second, unsigned lanes, four_metrics& result) {
    const triangular_factor factor(first);
    const four_metrics matrices = reduced(second, factor);
    four_vectors eigenvalues{}, vectors[3]{};
    lanes =
        solve(matrices, lanes & are_finite(first) & factor.are_regular() & are_finite(matrices), eigenvalues, vectors);
    four_vectors axis[3], dual[3], along_first, along_second;
    for (unsigned k = 0; k < 3; ++k) {
        axis[k] = factor.backward(vectors[k]);
        const four_doubles norm = along(first, axis[k]);
        const four_doubles scale = 1.0 / square_root(norm);
        for (four_doubles& x : axis[k].x)
            x = choose((norm != all(0)) & (norm != all(1)), x * scale, x);
        along_first[k] = along(first, axis[k]);
        along_second[k] = along_first[k] * eigenvalues[k];
    }
    invert(axis, dual); // its rows are those of the inverse
    const four_vectors h1 = lengths(along_first), h2 = lengths(along_second);
    four_vectors h;
    for (unsigned k = 0; k < 3; ++k)
        h[k] = (h2[k] - h1[k]) * t + h1[k];
    const four_vectors values = values_of(h);
    for (unsigned j = 0; j < 3; ++j)
        for (unsigned i = 0; i <= j; ++i) {
            four_doubles sum{};
            for (unsigned k = 0; k < 3; ++k)
                sum += values[k] * dual[k][i] * dual[k][j];
            result(i, j) = sum;
        }
    return lanes;
}

[[gnu::always_inline]] inline four_metrics gather(const metric (&m)[4]) {
    four_metrics four;
    for (unsigned i = 0; i < 6; ++i)
        four.values[i] = four_doubles{m[0][i], m[1][i], m[2][i], m[3][i]};
    return four;
}

/// Replaces the second metrics of the given lanes by those between the two. Returns the lanes in which there are some.
unsigned merge(const double (&t)[4], const metric (&first)[4], metric (&second)[4], unsigned lanes) {
    return quickest([&]() __attribute__((always_inline)) {
        four_metrics result;
        const unsigned merged =
            reduce(four_doubles{t[0], t[1], t[2], t[3]}, gather(first), gather(second), lanes, result);
        for (unsigned k = 0; k < 4; ++k)
            if (merged >> k & 1)
                for (unsigned i = 0; i < 6; ++i)
                    second[k][i] = result.values[i][k];
        return merged;
    });
}

/// How the metrics at nodes are merged: the running result, which begins as that of `start`, becomes with each step the
/// metric between that of a node and itself.
struct merging {
    struct step {
        double t;
        unsigned first;
    };
    unsigned start;
    unsigned count;
    step steps[3];
};

/// Of three nodes, with weights x and y of the first two.
merging merging_of(double x, double y, unsigned a, unsigned b, unsigned c) {
    const double sum = x + y;
    if (is_near(x, 0, one_weight))
        return {b, 1, {{y, c}}};
    if (is_near(y, 0, one_weight))
        return {a, 1, {{x, c}}};
    if (is_near(1, sum, two_weights))
        return {b, 1, {{y, a}}};
    if (is_near(sum, 0, two_weights))
        return {c, 0, {}};
    return {b, 2, {{std::clamp(y / sum, 0.0, 1.0), a}, {sum, c}}};
}

merging merging_of(const barycentric& w) {
    const double sum = w[0] + w[1] + w[2];
    if (is_near(w[0], 0, one_weight))
        return merging_of(w[1], w[2], 1, 2, 3);
    if (is_near(w[1], 0, one_weight))
        return merging_of(w[2], w[0], 2, 0, 3);
    if (is_near(w[2], 0, one_weight))
        return merging_of(w[0], w[1], 0, 1, 3);
    if (is_near(1, sum, three_weights))
        return merging_of(w[0], w[1], 0, 1, 2);
    if (is_near(sum, 0, three_weights))
        return {3, 0, {}};
    merging all_four = merging_of(w[0] / sum, w[1] / sum, 0, 1, 2);
    all_four.steps[all_four.count++] = {sum, 3};
    return all_four;
}

} // namespace

bool is_valid_size(double size) {
    return size > 0 && size < largest;
}

bool is_valid_metric(const metric& m) {
    if (!is_finite(m))
        return false;
    metric destroyed = m;
    std::array<double, 3> eigenvalues{};
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
    const double all_t[4] = {t};
    const metric all_first[4] = {first};
    metric merged[4] = {second};
    return merge(all_t, all_first, merged, 1) ? std::optional(merged[0]) : std::nullopt;
}

unsigned combine_metrics(const metrics_around* points, unsigned count, metric (&results)[4]) {
    merging how[4];
    for (unsigned k = 0; k < count; ++k) {
        how[k] = merging_of(points[k].w);
        results[k] = points[k].at_nodes[how[k].start];
    }
    unsigned combined = (1u << count) - 1;
    for (unsigned i = 0; i < 3; ++i) {
        double t[4]{};
        metric first[4]{};
        unsigned merged = 0;
        for (unsigned k = 0; k < count; ++k) {
            if (i >= how[k].count || (combined >> k & 1) == 0)
                continue;
            t[k] = how[k].steps[i].t;
            first[k] = points[k].at_nodes[how[k].steps[i].first];
            if (is_near(t[k], 0, one_weight))
                results[k] = first[k];
            else if (!is_near(1, t[k], one_weight))
                merged |= 1u << k;
        }
        if (merged != 0)
            combined &= ~(merged & ~merge(t, first, results, merged));
    }
    return combined;
}

std::optional<metric> combine_metrics(const metric (&m)[4], const barycentric& w) {
    const metrics_around point{{m[0], m[1], m[2], m[3]}, w};
    metric results[4]{};
    return combine_metrics(&point, 1, results) ? std::optional(results[0]) : std::nullopt;
}

} // namespace quorl::meldra3d::detail
