#include "locate/metric_interpolation.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
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

// Eight points are treated in lockstep, as two vectors with a lane for each of four: the arithmetic of one is a chain
// in which each operation waits for the one before, and while a vector waits the other is computed.
constexpr unsigned vectors_at_once = metrics_at_once / 4;

/// Four doubles of each of four arrays: vector i holds entry i of all.
[[gnu::always_inline]] inline void gather(const double* const (&from)[4], std::size_t first, four_doubles* to) {
    four_doubles row[4];
    for (unsigned k = 0; k < 4; ++k)
        row[k] = load(from[k] + first);
    const four_doubles even_01 = __builtin_shufflevector(row[0], row[1], 0, 4, 2, 6);
    const four_doubles odd_01 = __builtin_shufflevector(row[0], row[1], 1, 5, 3, 7);
    const four_doubles even_23 = __builtin_shufflevector(row[2], row[3], 0, 4, 2, 6);
    const four_doubles odd_23 = __builtin_shufflevector(row[2], row[3], 1, 5, 3, 7);
    to[0] = __builtin_shufflevector(even_01, even_23, 0, 1, 4, 5);
    to[1] = __builtin_shufflevector(odd_01, odd_23, 0, 1, 4, 5);
    to[2] = __builtin_shufflevector(even_01, even_23, 2, 3, 6, 7);
    to[3] = __builtin_shufflevector(odd_01, odd_23, 2, 3, 6, 7);
}

template <class Real>
struct vectors_of {
    Real x[3];

    [[gnu::always_inline]] Real& operator[](std::size_t k) { return x[k]; }
    [[gnu::always_inline]] const Real& operator[](std::size_t k) const { return x[k]; }
};

using one_vector = vectors_of<double>;
using four_vectors = vectors_of<four_doubles>;

/// Packed like one.
struct four_metrics {
    four_doubles values[6];

    [[gnu::always_inline]] four_doubles& operator()(unsigned i, unsigned j) { return values[place(i, j)]; }
    [[gnu::always_inline]] const four_doubles& operator()(unsigned i, unsigned j) const { return values[place(i, j)]; }

    [[gnu::always_inline]] void gather_from(const double* const (&metrics)[4]) {
        gather(metrics, 0, values);
        gather(metrics, 2, values + 2);
    }

private:
    [[gnu::always_inline]] static unsigned place(unsigned i, unsigned j) {
        return i <= j ? i + j * (j + 1) / 2 : j + i * (i + 1) / 2;
    }
};

bool is_finite(const metric& m) {
    return std::all_of(std::begin(m.values), std::end(m.values), [](double x) { return std::isfinite(x); });
}

[[gnu::always_inline]] inline four_masks are_finite(const four_metrics& m) {
    four_doubles sum{}; // of zeros, or not a number
    for (const four_doubles& x : m.values)
        sum += x - x;
    return (four_masks)(sum == all(0));
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

    [[gnu::always_inline]] void factor(const four_metrics& m) {
        l00 = square_root(m(0, 0));
        l10 = m(0, 1) / l00;
        l20 = m(0, 2) / l00;
        l11 = square_root(m(1, 1) - l10 * l10);
        l21 = (m(1, 2) - l10 * l20) / l11;
        l22 = square_root(m(2, 2) - l20 * l20 - l21 * l21);
    }

    /// Not those with NaN: M is not positive definite then.
    [[gnu::always_inline]] four_masks are_regular() const {
        return (four_masks)((l00 > all(0)) & (l11 > all(0)) & (l22 > all(0)));
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
    const four_vectors a = factor.forward({{m(0, 0), m(0, 1), m(0, 2)}}); // the columns of L^-1 M
    const four_vectors b = factor.forward({{m(1, 0), m(1, 1), m(1, 2)}});
    const four_vectors c = factor.forward({{m(2, 0), m(2, 1), m(2, 2)}});
    const four_vectors x = factor.forward({{a[0], b[0], c[0]}});
    const four_vectors y = factor.forward({{a[1], b[1], c[1]}});
    const four_vectors z = factor.forward({{a[2], b[2], c[2]}});
    return {{x[0], y[0], y[1], z[0], z[1], z[2]}};
}

bool solve(const metric& matrix, eigenpairs& pairs) {
    metric destroyed = matrix;
    double work[9];
    long info = 0;
    return lapack::dspev('V', 'U', 3, destroyed.values, pairs.values(), pairs.vectors(), 3, work, info) == 0;
}

/// Solves the eigenproblems of the given lanes, one after another; the others get zeros. Returns the lanes that are
/// solved.
unsigned solve(const four_metrics& matrices, unsigned lanes, eigenpairs (&pairs)[4], solved_eigenproblems* known) {
    unsigned solved = 0;
    for (unsigned k = 0; k < 4; ++k) {
        if ((lanes >> k & 1) == 0) {
            pairs[k] = {};
            continue;
        }
        metric matrix;
        for (unsigned i = 0; i < 6; ++i)
            matrix[i] = matrices.values[i][k];
        if (const eigenpairs* const before = known ? known->find(matrix) : nullptr)
            pairs[k] = *before;
        else if (!solve(matrix, pairs[k]))
            continue;
        else if (known)
            known->add(matrix, pairs[k]);
        solved |= 1u << k;
    }
    return solved;
}

template <class Real>
[[gnu::always_inline]] inline vectors_of<Real> cross(const vectors_of<Real>& a, const vectors_of<Real>& b) {
    return {{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
}

/// Sets the rows of the inverse of the matrix of axes and returns its determinant; where that is 0 they are the
/// cofactors.
template <class Real>
[[gnu::always_inline]] inline Real divide_cofactors(const vectors_of<Real> (&e)[3], vectors_of<Real> (&dual)[3]) {
    dual[0] = cross(e[1], e[2]);
    dual[1] = cross(e[2], e[0]);
    dual[2] = cross(e[0], e[1]);
    const Real determinant = e[0][0] * dual[0][0] + e[0][1] * dual[0][1] + e[0][2] * dual[0][2];
    const Real divisor = choose(determinant != Real{}, determinant, Real{} + 1);
    for (vectors_of<Real>& row : dual)
        for (Real& x : row.x)
            x = x / divisor;
    return determinant;
}

constexpr double least_normal = std::numeric_limits<double>::min();

/// Axes are as long as the sizes: the determinant of very long or short ones is no double, but that of the axes
/// brought to a length of about 1 is. False, and the rows stay what they are, where it is 0.
bool invert_scaled(const one_vector (&axis)[3], one_vector (&dual)[3]) {
    double longest = 0;
    for (const one_vector& one : axis)
        for (const double x : one.x)
            longest = std::max(longest, std::fabs(x));
    if (!(longest >= least_normal && longest <= largest))
        return false;
    const int exponent = std::ilogb(longest);
    one_vector scaled[3];
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            scaled[i][j] = std::ldexp(axis[i][j], -exponent);
    if (divide_cofactors(scaled, dual) == 0)
        return false;
    for (one_vector& row : dual)
        for (double& x : row.x)
            x = std::ldexp(x, -exponent);
    return true;
}

/// Lane k.
[[gnu::always_inline]] inline four_masks only(unsigned k) {
    return (four_masks)(four_masks{0, 1, 2, 3} == four_masks{} + k);
}

[[gnu::always_inline]] inline void invert(const four_vectors (&axis)[3], unsigned lanes, four_vectors (&dual)[3]) {
    const four_doubles size = magnitude(divide_cofactors(axis, dual));
    lanes &= ~bits((four_masks)((size >= all(least_normal)) & (size <= all(largest))));
    for (; lanes != 0; lanes &= lanes - 1) {
        const auto k = unsigned(std::countr_zero(lanes));
        one_vector one_axis[3], one_dual[3];
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned j = 0; j < 3; ++j)
                one_axis[i][j] = axis[i][j][k];
        if (invert_scaled(one_axis, one_dual))
            for (unsigned i = 0; i < 3; ++i)
                for (unsigned j = 0; j < 3; ++j)
                    dual[i][j] = choose(only(k), all(one_dual[i][j]), dual[i][j]);
    }
}

/// The lengths for the values of metrics along the axes in the given lanes; NaN where one is clearly negative.
[[gnu::always_inline]] inline four_vectors lengths(const four_vectors& values, unsigned lanes) {
    four_vectors h;
    for (unsigned k = 0; k < 3; ++k)
        h[k] = 1.0 / square_root(values[k]);
    const auto is_plain = [](const four_doubles& v) __attribute__((always_inline)) {
        return (v > all(0)) & (v < all(largest));
    };
    if ((lanes & ~bits((four_masks)(is_plain(values[0]) & is_plain(values[1]) & is_plain(values[2])))) == 0)
        return h;
    four_doubles most = values[0];
    for (unsigned k = 1; k < 3; ++k)
        most = choose(most < values[k], values[k], most);
    const four_doubles negligible = 1e-12 * most;
    for (unsigned k = 0; k < 3; ++k) {
        const four_doubles v = values[k];
        h[k] = choose(v == all(largest), all(0), h[k]);
        h[k] = choose((v == all(0)) | (v != v) | ((v < all(0)) & (-v < negligible)), all(largest), h[k]);
    }
    return h;
}

/// 1 / h^2 for the lengths along the axes in the given lanes, within the range of a double.
[[gnu::always_inline]] inline four_vectors values_of(const four_vectors& h, unsigned lanes) {
    constexpr double shortest = 1.4916681462400413e-154, longest = 1.3407807929942596e154;
    four_vectors values;
    for (unsigned k = 0; k < 3; ++k)
        values[k] = 1.0 / (h[k] * h[k]);
    const auto is_plain = [](const four_doubles& x) __attribute__((always_inline)) {
        return (x >= all(shortest)) & (x <= all(longest));
    };
    if ((lanes & ~bits((four_masks)(is_plain(h[0]) & is_plain(h[1]) & is_plain(h[2])))) == 0)
        return values;
    for (unsigned k = 0; k < 3; ++k)
        values[k] = choose(h[k] >= all(shortest), choose(h[k] > all(longest), all(0), values[k]), all(largest));
    return values;
}

/// How the metrics at nodes are merged: the running result, which begins as `start`, becomes with each step the metric
/// `t` of the way from another one to itself. It stays what it is in a step with t = 1.
struct merging {
    struct step {
        double t;
        const double* first;
    };
    const double* start;
    step steps[3];
};

/// Four points, a lane each, whose metrics are merged step by step.
class four_mergings {
public:
    /// `lanes`: those in use.
    [[gnu::always_inline]] void start(const merging* how, unsigned lanes) {
        how_ = how;
        combined_ = lanes;
        result_.gather_from({how[0].start, how[1].start, how[2].start, how[3].start});
    }

    /// Begins a step: where both metrics are needed their reduction becomes an eigenproblem.
    [[gnu::always_inline]] void begin(unsigned i) {
        t_ = four_doubles{how_[0].steps[i].t, how_[1].steps[i].t, how_[2].steps[i].t, how_[3].steps[i].t};
        const four_masks at_first = (four_masks)(magnitude(t_) < all(one_weight));
        changed_ = ~(at_first | (four_masks)(magnitude(1.0 - t_) < all(one_weight)));
        merged_ = bits(changed_) & combined_;
        if (merged_ == 0 && bits(at_first) == 0)
            return;
        first_.gather_from(
            {how_[0].steps[i].first, how_[1].steps[i].first, how_[2].steps[i].first, how_[3].steps[i].first});
        for (unsigned j = 0; j < 6; ++j)
            result_.values[j] = choose(at_first, first_.values[j], result_.values[j]);
        factor_.factor(first_);
        matrices_ = reduced(result_, factor_);
        solvable_ = merged_ & bits(are_finite(first_) & factor_.are_regular() & are_finite(matrices_));
    }

    void solve_eigenproblems(solved_eigenproblems* known) {
        if (merged_ == 0)
            return;
        const unsigned solved = solve(matrices_, solvable_, pairs_, known);
        combined_ &= ~(merged_ & ~solved);
    }

    /// Ends it: the metrics between two, along directions in which both are diagonal.
    [[gnu::always_inline]] void end() {
        if (merged_ == 0)
            return;
        four_doubles pairs[12];
        for (unsigned i = 0; i < 12; i += 4)
            gather({pairs_[0].entries, pairs_[1].entries, pairs_[2].entries, pairs_[3].entries}, i, pairs + i);
        four_vectors axis[3], dual[3], along_first, along_second;
        for (unsigned k = 0; k < 3; ++k) {
            axis[k] = factor_.backward({{pairs[3 + 3 * k], pairs[4 + 3 * k], pairs[5 + 3 * k]}});
            const four_doubles norm = along(first_, axis[k]);
            const four_doubles scale = choose(norm != all(0), 1.0 / square_root(norm), all(1));
            for (four_doubles& x : axis[k].x)
                x *= scale;
            along_first[k] = along(first_, axis[k]);
            along_second[k] = along_first[k] * pairs[k];
        }
        invert(axis, merged_, dual); // its rows are those of the inverse
        const four_vectors h1 = lengths(along_first, merged_), h2 = lengths(along_second, merged_);
        four_vectors h;
        for (unsigned k = 0; k < 3; ++k)
            h[k] = (h2[k] - h1[k]) * t_ + h1[k];
        const four_vectors values = values_of(h, merged_);
        for (unsigned j = 0; j < 3; ++j)
            for (unsigned i = 0; i <= j; ++i) {
                four_doubles sum{};
                for (unsigned k = 0; k < 3; ++k)
                    sum += values[k] * dual[k][i] * dual[k][j];
                result_(i, j) = choose(changed_, sum, result_(i, j));
            }
    }

    /// The lanes that have a result.
    unsigned combined() const { return combined_; }
    void result(unsigned lane, double* to) const {
        for (unsigned i = 0; i < 6; ++i)
            to[i] = result_.values[i][lane];
    }

private:
    const merging* how_;
    unsigned combined_;
    unsigned merged_ = 0;   // the lanes in which the step takes both metrics
    unsigned solvable_ = 0; // those of them that have an eigenproblem
    four_masks changed_;
    four_doubles t_;
    four_metrics result_;
    four_metrics first_;
    triangular_factor factor_;
    four_metrics matrices_;
    eigenpairs pairs_[4];
};

/// Of `count` points. Writes the results of those that have one, and returns bit k for each of them.
unsigned carry_out(merging (&how)[metrics_at_once], unsigned count, double* const* results,
                   solved_eigenproblems* known = nullptr) {
    for (unsigned k = count; k < metrics_at_once; ++k) // lanes without a point, in which nothing happens
        how[k] = {how[0].start, {{1, how[0].start}, {1, how[0].start}, {1, how[0].start}}};
    return quickest([&]() __attribute__((always_inline)) {
        four_mergings points[vectors_at_once];
        const unsigned used = (1u << count) - 1;
        for (unsigned v = 0; v < vectors_at_once; ++v)
            points[v].start(how + std::size_t{4} * v, used >> 4 * v & 15);
        for (unsigned i = 0; i < 3; ++i) {
            for (four_mergings& four : points)
                four.begin(i);
            for (four_mergings& four : points)
                four.solve_eigenproblems(known);
            for (four_mergings& four : points)
                four.end();
        }
        unsigned combined = 0;
        for (unsigned v = 0; v < vectors_at_once; ++v)
            combined |= points[v].combined() << 4 * v;
        for (unsigned k = 0; k < count; ++k)
            if (combined >> k & 1)
                points[k / 4].result(k % 4, results[k]);
        return combined;
    });
}

/// Of three nodes, with weights x and y of the first two.
merging merging_of(double x, double y, const double* a, const double* b, const double* c) {
    const double sum = x + y;
    if (is_near(x, 0, one_weight))
        return {b, {{y, c}, {1, b}, {1, b}}};
    if (is_near(y, 0, one_weight))
        return {a, {{x, c}, {1, a}, {1, a}}};
    if (is_near(1, sum, two_weights))
        return {b, {{y, a}, {1, b}, {1, b}}};
    if (is_near(sum, 0, two_weights))
        return {c, {{1, c}, {1, c}, {1, c}}};
    return {b, {{std::clamp(y / sum, 0.0, 1.0), a}, {sum, c}, {1, b}}};
}

merging merging_of(const metrics_around& point) {
    const auto& [m0, m1, m2, m3] = point.at_nodes;
    const barycentric& w = point.w;
    const double sum = w[0] + w[1] + w[2];
    if (is_near(w[0], 0, one_weight))
        return merging_of(w[1], w[2], m1, m2, m3);
    if (is_near(w[1], 0, one_weight))
        return merging_of(w[2], w[0], m2, m0, m3);
    if (is_near(w[2], 0, one_weight))
        return merging_of(w[0], w[1], m0, m1, m3);
    if (is_near(1, sum, three_weights))
        return merging_of(w[0], w[1], m0, m1, m2);
    if (is_near(sum, 0, three_weights))
        return {m3, {{1, m3}, {1, m3}, {1, m3}}};
    merging all_four = merging_of(w[0] / sum, w[1] / sum, m0, m1, m2); // in two steps at most
    all_four.steps[2] = {sum, m3};
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

const eigenpairs* solved_eigenproblems::find(const metric& matrix) const {
    const auto sought = std::bit_cast<bits>(matrix);
    const entry& at = entries_[place(sought)];
    return at.used && at.matrix == sought ? &at.solution : nullptr;
}

void solved_eigenproblems::add(const metric& matrix, const eigenpairs& solution) {
    const auto added = std::bit_cast<bits>(matrix);
    entries_[place(added)] = {true, added, solution};
}

std::size_t solved_eigenproblems::place(const bits& matrix) {
    std::uint64_t hash = 0;
    for (const std::uint64_t x : matrix)
        hash = (hash ^ x) * 0x9E3779B97F4A7C15;
    constexpr unsigned digits = 8;
    static_assert(std::tuple_size_v<decltype(entries_)> == 1u << digits);
    return hash >> (64 - digits);
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
    const double* const stay = second.values;
    merging how[metrics_at_once] = {{stay, {{t, first.values}, {1, stay}, {1, stay}}}};
    metric result;
    double* const to = result.values;
    return carry_out(how, 1, &to) ? std::optional(result) : std::nullopt;
}

unsigned combine_metrics(const metrics_around* points, unsigned count, double* const* results,
                         solved_eigenproblems* known) {
    merging how[metrics_at_once];
    for (unsigned k = 0; k < count; ++k)
        how[k] = merging_of(points[k]);
    return count != 0 ? carry_out(how, count, results, known) : 0;
}

std::optional<metric> combine_metrics(const metric (&m)[4], const barycentric& w) {
    const metrics_around point{{m[0].values, m[1].values, m[2].values, m[3].values}, w};
    metric result;
    double* const to = result.values;
    return combine_metrics(&point, 1, &to) ? std::optional(result) : std::nullopt;
}

} // namespace quorl::meldra3d::detail
