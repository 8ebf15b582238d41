// Solid angles at the corners of solids (van Oosterom and Strackee 1983, for unit edge vectors). Each edge is scaled to
// length 1 once for both of its corners.

#include <meldra3d/measure.h>

#include <array>
#include <cmath>

#include <meldra/meldra.h>

#include "frame/element_tables.h"
#include "frame/id_count.h"
#include "frame/lanes.h"
#include "measure/angle_range.h"
#include "measure/element_columns.h"
#include "measure/extreme_arguments.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// A solid by its number of vertices: its edges, its corners, and what makes the corners of the regular element 1.
template <std::size_t N>
struct solid;

template <>
struct solid<4> {
    static constexpr const auto& record = tetrahedron_record;
    static constexpr const auto& corners = tetrahedron_corners;
    static constexpr double factor = 1.8139418168066674; // 1 / arccos(23/27), to 13 digits
};

template <>
struct solid<5> {
    static constexpr const auto& record = pyramid_record;
    static constexpr const auto& corners = pyramid_corners;
    static constexpr double factor = 1.4712939827611635;      // of a base corner: 1 / (2 arcsin(1/3))
    static constexpr double apex_factor = 0.7356469913805818; // 1 / (4 arcsin(1/3))
};

template <>
struct solid<6> {
    static constexpr const auto& record = wedge_record;
    static constexpr const auto& corners = wedge_corners;
    static constexpr double factor = 0.9549296585513721; // 3 / pi
};

template <>
struct solid<8> {
    static constexpr const auto& record = hexahedron_record;
    static constexpr const auto& corners = hexahedron_corners;
    static constexpr double factor = 0.6366197723675814; // 2 / pi
};

/// An edge as a corner sees it: its number, and whether it begins at the other end.
struct seen_edge {
    unsigned edge;
    bool reversed;
};

consteval seen_edge edge_from(const shape_record& record, unsigned from, unsigned to) {
    for (unsigned e = 0; e < record.edges; ++e)
        if (record.edge[e] == node_pair{from, to} || record.edge[e] == node_pair{to, from})
            return {e, record.edge[e][0] == to};
    return {record.edges, false};
}

template <std::size_t N>
consteval auto edges_at_corners() {
    std::array<std::array<seen_edge, 3>, solid<N>::corners.size()> edges{};
    for (std::size_t c = 0; c < edges.size(); ++c)
        for (std::size_t k = 0; k < 3; ++k)
            edges[c][k] = edge_from(solid<N>::record, solid<N>::corners[c].node, solid<N>::corners[c].to[k]);
    return edges;
}

/// The angle of a cone: twice that of the point (x, y) in the plane, seen from the origin. The key is its place on the
/// square through (1, 0) and (0, 1): within (-2, 2], and no number where x and y are 0.
template <class Real>
struct plane_angle {
    Real y, x, key;

    [[gnu::always_inline]] plane_angle<double> of_lane(std::size_t g) const {
        return {lane(y, g), lane(x, g), lane(key, g)};
    }
    [[gnu::always_inline]] auto is(const plane_angle& other) const {
        return (y == other.y) & (x == other.x) & (key == other.key);
    }
    [[gnu::always_inline]] void replace(const auto& where, const plane_angle& by) {
        *this = {choose(where, by.y, y), choose(where, by.x, x), choose(where, by.key, key)};
    }
};

template <class Real>
[[gnu::always_inline]] inline plane_angle<Real> plane_angle_of(const Real& y, const Real& x) {
    const Real none{};
    const Real place = y / (choose(x < none, -x, x) + choose(y < none, -y, y));
    return {y, x, choose(x < none, with_sign_of(none + 2, y) - place, place)};
}

double angle_of(const plane_angle<double>& a) {
    return 2 * std::atan2(a.y, a.x);
}

template <class Real>
[[gnu::always_inline]] inline point<Real> unit(const point<Real>& a) {
    const Real square = dot(a, a), one = Real{} + 1;
    const Real length = choose((square == Real{}) | (square == one), one, square_root(square));
    return {a.x / length, a.y / length, a.z / length};
}

/// The signed solid angle of the cone between three unit vectors.
template <class Real>
[[gnu::always_inline]] inline plane_angle<Real> cone(const point<Real>& a, const point<Real>& b, const point<Real>& c) {
    return plane_angle_of(dot(a, cross(b, c)), dot(a + b, b + c));
}

/// The cones at the corners of an element. A pyramid has two at its apex.
template <std::size_t N, class Real>
[[gnu::always_inline]] inline auto corner_cones(const point<Real> (&p)[N]) {
    constexpr const shape_record& record = solid<N>::record;
    constexpr auto corner_edges = edges_at_corners<N>();
    std::array<point<Real>, record.edges> edge;
#pragma GCC unroll 12
    for (std::size_t e = 0; e < edge.size(); ++e)
        edge[e] = unit(p[record.edge[e][1]] - p[record.edge[e][0]]);
    std::array<plane_angle<Real>, corner_edges.size()> cones;
#pragma GCC unroll 8
    for (std::size_t c = 0; c < cones.size(); ++c) {
        // Turns a vector round without making zeros negative, as the difference of its points does: flat corners are
        // told from full ones by the sign of a zero.
        const auto seen = [&](std::size_t k) __attribute__((always_inline)) {
            const seen_edge& s = corner_edges[c][k];
            return s.reversed ? point<Real>{} - edge[s.edge] : edge[s.edge];
        };
        cones[c] = cone(seen(0), seen(1), seen(2));
    }
    return cones;
}

/// The ranges of the corners of one element, or of four. `padded`: with the zeros of the unused corners of a mixed
/// column. The corner at the apex of a pyramid is the sum of its two cones.
template <std::size_t N, class Real>
[[gnu::always_inline]] inline auto ranges_of_corners(const point<Real> (&p)[N], bool normalized, bool padded) {
    const auto cones = corner_cones(p);
    const double factor = normalized ? solid<N>::factor : 1;
    auto ranges =
        ranges_of(cones, 0, N == 5 ? 4 : N, [=](const plane_angle<double>& a) { return angle_of(a) * factor; });
    for (std::size_t g = 0; g < ranges.size(); ++g) {
        if constexpr (N == 5)
            ranges[g].include((angle_of(cones[4].of_lane(g)) + angle_of(cones[5].of_lane(g))) *
                              (normalized ? solid<N>::apex_factor : 1));
        if (padded && N < 8)
            ranges[g].include(0);
    }
    return ranges;
}

} // namespace

int solid_angles(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, bool normalized,
                 dense1D<double>& min_angles, dense1D<double>& max_angles) {
    const element_type type = type_of_rows(connectM.rows());
    if (!meldra::check_IDs(connectM, type, id_count(pos.cols())))
        return -2;
    if (connectM.empty())
        return 0;
    const bool padded = type == ET_SOLID_MIX;
    double *const least = min_angles.data(), *const most = max_angles.data();
    visit_elements(
        pos, connectM, [&](const auto& p, std::size_t e) __attribute__((always_inline)) {
            for (const angle_range& range : ranges_of_corners(p, normalized, padded)) {
                least[e] = range.least();
                most[e++] = range.most();
            }
        });
    return 0;
}

} // namespace quorl::meldra3d
