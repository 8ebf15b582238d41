// Solid angles at the corners of solids (van Oosterom and Strackee 1983, for unit edge vectors). Each edge is scaled to
// length 1 once for both of its corners.

#include <meldra3d/measure.h>

#include <array>
#include <cmath>

#include <meldra/meldra.h>

#include "frame/element_tables.h"
#include "frame/id_count.h"
#include "measure/angle_range.h"
#include "measure/element_columns.h"

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

using vector = point<double>;

vector unit(const vector& a) {
    const double square = dot(a, a);
    if (square == 0 || square == 1)
        return a;
    const double length = std::sqrt(square);
    return {a.x / length, a.y / length, a.z / length};
}

// Turns a vector round without making zeros negative, as the difference of its points does: flat corners are told
// from full ones by the sign of a zero.
constexpr vector origin{0, 0, 0};

/// The signed solid angle of the cone between three unit vectors.
double cone(const vector& a, const vector& b, const vector& c) {
    return 2 * std::atan2(dot(a, cross(b, c)), dot(a + b, b + c));
}

/// The solid angles of the corners of an element. A pyramid's last value is the sum of the two cones at its apex.
template <std::size_t N>
std::array<double, N> corner_angles(const point<double> (&p)[N]) {
    static constexpr auto corner_edges = edges_at_corners<N>();
    std::array<vector, solid<N>::record.edges> edge;
    for (std::size_t e = 0; e < edge.size(); ++e)
        edge[e] = unit(p[solid<N>::record.edge[e][1]] - p[solid<N>::record.edge[e][0]]);
    std::array<double, N> angles;
    for (std::size_t c = 0; c < corner_edges.size(); ++c) {
        const auto seen = [&](std::size_t k) {
            const seen_edge& s = corner_edges[c][k];
            return s.reversed ? origin - edge[s.edge] : edge[s.edge];
        };
        const double angle = cone(seen(0), seen(1), seen(2));
        if (c < N)
            angles[c] = angle;
        else
            angles[N - 1] += angle;
    }
    return angles;
}

template <std::size_t N>
void normalize(std::array<double, N>& angles) {
    for (double& angle : angles)
        angle *= solid<N>::factor;
}

template <>
void normalize(std::array<double, 5>& angles) {
    for (std::size_t k = 0; k < 4; ++k)
        angles[k] *= solid<5>::factor;
    angles[4] *= solid<5>::apex_factor;
}

/// Smallest and largest corner of an element. `padded`: with the zeros of the unused corners of a mixed column.
template <std::size_t N>
angle_range range_of_corners(const point<double> (&p)[N], bool normalized, bool padded) {
    auto angles = corner_angles(p);
    if (normalized)
        normalize(angles);
    angle_range range(angles[0]);
    for (const double angle : angles)
        range.include(angle);
    if (padded && N < 8)
        range.include(0);
    return range;
}

} // namespace

int solid_angles(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, bool normalized,
                 dense1D<double>& min_angles, dense1D<double>& max_angles) {
    const element_type type = type_of_rows(connectM.rows());
    if (!meldra::check_IDs(connectM, type, id_count(pos.cols())))
        return -2;
    if (connectM.empty())
        return 0;
    measure_elements(
        pos, connectM, [&](const auto& p) { return range_of_corners(p, normalized, type == ET_SOLID_MIX); },
        [&, least = min_angles.data(), most = max_angles.data()](std::size_t e, const angle_range& range) {
            least[e] = range.least();
            most[e] = range.most();
        });
    return 0;
}

} // namespace quorl::meldra3d
