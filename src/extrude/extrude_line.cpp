// Sweep along a polyline of nodes, a layer for each segment. The section is carried from one node of the line to the
// next by the smallest rotation that turns one segment into the next, which does not twist it (parallel transport; for
// polylines see Bergou, Wardetzky, Robinson, Audoly and Grinspun 2008), and scaled by sizes or metrics at the nodes.

#include <meldra3d/extrude.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include <lapack/lapack.h>
#include <meldra/meldra.h>

#include "extrude/rotation_matrix.h"
#include "extrude/spacing.h"
#include "extrude/sweep.h"
#include "extrude/turned_level.h"
#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;
using vec3 = vector_fixed<double, 3>;

constexpr sweep_codes codes{0, 0, -6, -7, -8, -9};
constexpr int no_memory = -199;

double length(const vec3& v) {
    return vector_length(v[0], v[1], v[2]);
}

/// The direction from one point to another. Its length is half of theirs, which does not overflow.
vec3 direction(const vec3& from, const vec3& to) {
    return {0.5 * to[0] - 0.5 * from[0], 0.5 * to[1] - 0.5 * from[1], 0.5 * to[2] - 0.5 * from[2]};
}

/// A vector times a power of two, so that its largest component is about 1 and no product overflows or vanishes.
vec3 of_unit_size(const vec3& v) {
    int exponent = 0;
    std::frexp(std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])}), &exponent);
    return {std::ldexp(v[0], -exponent), std::ldexp(v[1], -exponent), std::ldexp(v[2], -exponent)};
}

/// The rotation that turns direction `a` towards `b` by the arc sine of their sine: onto b up to a right angle, and by
/// the supplement of the angle beyond, so not at all when b is opposite to a. No rotation when either has length 0.
matrix3 turn(const vec3& a, const vec3& b) {
    const vec3 p = of_unit_size(a);
    const vec3 q = of_unit_size(b);
    const vec3 axis{p[1] * q[2] - p[2] * q[1], p[2] * q[0] - p[0] * q[2], p[0] * q[1] - p[1] * q[0]};
    const double sine = length(axis);
    if (sine == 0)
        return rotation_matrix({0, 0, 0});
    // The arc sine itself would keep only half of the digits near a right angle.
    const double cosine = std::fabs(p[0] * q[0] + p[1] * q[1] + p[2] * q[2]);
    const double factor = std::atan2(sine, cosine) / sine;
    return rotation_matrix({factor * axis[0], factor * axis[1], factor * axis[2]});
}

/// A symmetric matrix packed as m11 m12 m22 m13 m23 m33.
using metric = symmetric_fixed<double, 3>;

/// Column k of the metrics, when there is one and it is positive definite. The test works on a copy.
std::optional<metric> valid_metric(const dense2D<double>& metrics, std::size_t k) {
    if (metrics.empty() || k >= metrics.cols())
        return std::nullopt;
    metric m{};
    std::copy_n(metrics.col(k), 6, m.values);
    if (!std::all_of(std::begin(m.values), std::end(m.values), [](double entry) { return std::isfinite(entry); }))
        return std::nullopt;
    metric destroyed = m;
    std::array<double, 3> eigenvalues{};
    std::array<double, 9> work{};
    long info = 0;
    lapack::dspev('N', 'U', 3, destroyed.values, eigenvalues.data(), nullptr, 1, work.data(), info);
    return info == 0 && eigenvalues[0] > 0 ? std::optional(m) : std::nullopt;
}

/// The size that a metric asks for along a unit vector; 1 without a metric.
double size_along(const std::optional<metric>& m, const vec3& e) {
    if (!m)
        return 1;
    const vec3 h{0.5 * e[0], 0.5 * e[1], 0.5 * e[2]}; // with half the vector the sum cannot overflow
    const metric& v = *m;
    const double quarter = v[0] * (h[0] * h[0]) + v[2] * (h[1] * h[1]) + v[5] * (h[2] * h[2]) +
                           2 * (v[1] * (h[0] * h[1]) + v[3] * (h[0] * h[2]) + v[4] * (h[1] * h[2]));
    return quarter > 0 ? 0.5 / std::sqrt(quarter) : 0;
}

/// How much the section grows on its way to a node of the line, by the metrics there and at the node before.
struct metric_scaling {
    const dense2D<double> metrics;

    struct ratio {
        std::optional<metric> before, here;

        double operator()(const vec3& offset) const {
            if (!before && !here)
                return 1;
            const double distance = length(offset);
            const vec3 e{offset[0] / distance, offset[1] / distance, offset[2] / distance};
            return size_along(here, e) / size_along(before, e);
        }
    };

    ratio at(std::uint32_t level) const {
        // The metric of the first node plays no part.
        return {level == 1 ? std::nullopt : valid_metric(metrics, level - 1), valid_metric(metrics, level)};
    }
};

/// The same by sizes.
struct size_scaling {
    const dense1D<double, 8> sizes;

    struct ratio {
        double value;

        double operator()(const vec3& /*offset*/) const { return value; }
    };

    double size(std::size_t k) const {
        return k < sizes.size() && sizes[k] > 0 && std::isfinite(sizes[k]) ? sizes[k] : 1;
    }
    ratio at(std::uint32_t level) const { return {size(level) / size(level - 1)}; }
};

template <class Scaling>
class line_path final : public sweep_path {
public:
    line_path(const dense1D<unsigned int, 8>& line, const vec3& dir0, const Scaling& scaling)
        : line_(line), dir0_(dir0), scaling_(scaling) {}

    double length() const override { return 1; } // the number of layers is given

    void begin(const level_group& levels) override {
        const auto node = [&](std::size_t k) {
            const double* const x = levels.pos.col(line_[k]);
            return vec3{x[0], x[1], x[2]};
        };
        for (std::uint32_t place = 0; place < levels.count; ++place) {
            const std::uint32_t k = levels.first + place;
            const vec3 from = node(k - 1);
            const vec3 to = node(k);
            const vec3 before = k == 1 ? dir0_ : direction(node(k - 2), from);
            motions_[place] = {from, turn(before, direction(from, to)), to};
            ratios_[place] = scaling_.at(k);
        }
    }

    void place(const sweep_level& level) const override {
        const auto [from, r, to] = motions_[level.place];
        const auto ratio = ratios_[level.place];
        const double* x = level.below;
        double* image = level.images;
        for (std::size_t j = 0; j < level.count; ++j, x += 3, image += 3) {
            const vec3 u{x[0] - from[0], x[1] - from[1], x[2] - from[2]};
            const bool on_line = u[0] == 0 && u[1] == 0 && u[2] == 0;
            const double s = on_line ? 0 : ratio(u);
            // A ratio of 0, or one that is no finite number, brings the node to the line.
            const bool off_line = s > 0 && s <= std::numeric_limits<double>::max();
            for (unsigned i = 0; i < 3; ++i)
                image[i] = off_line ? to[i] + s * (r.m[i][0] * u[0] + r.m[i][1] * u[1] + r.m[i][2] * u[2]) : to[i];
        }
    }

    /// Where the line begins at a node of the surface, its nodes take the places of the copies of that node.
    const unsigned* guide() const override { return line_.data(); }

private:
    const dense1D<unsigned int, 8> line_;
    const vec3 dir0_;
    const Scaling scaling_;
    level_motions motions_{};
    std::array<typename Scaling::ratio, level_group::most> ratios_{};
};

/// The status of the checks; `metrics` is empty in the forms with sizes.
int check_line_sweep(const sweep_arrays& arrays, const dense1D<unsigned int, 8>& line, const dense2D<double>& metrics) {
    if (arrays.pos.rows() != 3)
        return -1;
    const auto nodes = id_count(arrays.pos.cols());
    if (!meldra::check_IDs(arrays.connectS, ET_FACE_MIX, nodes))
        return -2;
    if (line.size() < 2 || !std::all_of(line.begin(), line.end(), [nodes](unsigned id) { return id < nodes; }))
        return -3;
    if (!metrics.empty() && metrics.rows() != 6)
        return -5;
    return check_sweep_outputs(arrays, codes);
}

template <class Scaling>
int sweep_along_line(const sweep_arrays& arrays, const dense1D<unsigned int, 8>& line, const vec3& dir0,
                     const Scaling& scaling) {
    const std::size_t layers = line.size() - 1;
    if (layers > id_limit)
        return no_memory; // the nodes of so many levels would have no IDs
    line_path<Scaling> path(line, dir0, scaling);
    return sweep_layers(arrays, static_cast<std::uint32_t>(layers), {1, 1, false}, path);
}

} // namespace

int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const dense1D<unsigned int, 8>& line,
                 const vector_fixed<double, 3>& dir0, const dense2D<double>& metrics, dense2D<unsigned int>& connectE,
                 const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT) {
    if (connectS.empty())
        return 0;
    const sweep_arrays arrays{pos, connectS, connectE, edges, connectQ, connectT};
    if (const int status = check_line_sweep(arrays, line, metrics); status != 0)
        return status;
    return sweep_along_line(arrays, line, dir0, metric_scaling{metrics});
}

int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const dense1D<unsigned int, 8>& line,
                 const vector_fixed<double, 3>& dir0, const dense2D<double>& metrics, dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_line(pos, connectS, line, dir0, metrics, connectE, edges, connectQ, connectT);
}

int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const dense1D<unsigned int, 8>& line,
                 const vector_fixed<double, 3>& dir0, const dense1D<double, 8>& sizes, dense2D<unsigned int>& connectE,
                 const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT) {
    if (connectS.empty())
        return 0;
    const sweep_arrays arrays{pos, connectS, connectE, edges, connectQ, connectT};
    if (const int status = check_line_sweep(arrays, line, {}); status != 0)
        return status;
    return sweep_along_line(arrays, line, dir0, size_scaling{sizes});
}

int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS, const dense1D<unsigned int, 8>& line,
                 const vector_fixed<double, 3>& dir0, const dense1D<double, 8>& sizes,
                 dense2D<unsigned int>& connectE) {
    dense2D<unsigned int> edges, connectQ, connectT;
    return extrude_line(pos, connectS, line, dir0, sizes, connectE, edges, connectQ, connectT);
}

} // namespace quorl::meldra3d
