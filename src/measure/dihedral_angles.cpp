// Dihedral angles at the edges of solids, from the normals of the two faces that meet there.

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
#include "measure/face_normal.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// A solid by its number of vertices, with what makes the angles of the regular element 1: one factor for the edges
/// from `change` on, another for those before, where there are any.
template <std::size_t N>
struct solid;

template <>
struct solid<4> {
    static constexpr const auto& record = tetrahedron_record;
    static constexpr std::size_t change = 0;
    static constexpr double factor = 0.8123744665444353; // 1 / arccos(1/3), to 13 digits
};

template <>
struct solid<5> {
    static constexpr const auto& record = pyramid_record;
    static constexpr std::size_t change = 4;
    static constexpr double first_factor = 0.5233866872132998; // lateral edges: 1 / (2 arctan(sqrt(2)))
    static constexpr double factor = 1.0467733744265997;       // edges of the base: 1 / arctan(sqrt(2))
};

template <>
struct solid<6> {
    static constexpr const auto& record = wedge_record;
    static constexpr std::size_t change = 3;
    static constexpr double first_factor = 0.954929658551372; // edges between the triangles: 3 / pi
    static constexpr double factor = 0.6366197723675814;      // edges of the triangles: 2 / pi
};

template <>
struct solid<8> {
    static constexpr const auto& record = hexahedron_record;
    static constexpr std::size_t change = 0;
    static constexpr double factor = 0.6366197723675814; // 2 / pi
};

/// The angle between two faces: the arc cosine of -key.
template <class Real>
struct cosine {
    Real key;

    [[gnu::always_inline]] cosine<double> of_lane(std::size_t g) const { return {lane(key, g)}; }
    [[gnu::always_inline]] auto is(const cosine& other) const { return key == other.key; }
    [[gnu::always_inline]] void replace(const auto& where, const cosine& by) { key = choose(where, by.key, key); }
};

/// Of two faces by their normals and the squared lengths of these; that of the angle 0 where one has none.
template <class Real>
[[gnu::always_inline]] inline cosine<Real> cosine_between(const point<Real>& u, const Real& square_u,
                                                          const point<Real>& w, const Real& square_w) {
    const Real squares = square_u * square_w, one = Real{} + 1;
    const Real key = dot(u, w) / square_root(squares);
    const Real in_range = choose(key > -one, choose(key < one, key, one), -one);
    return {choose(squares > Real{}, in_range, -one)};
}

/// The cosines at the edges of an element, in the order of its record.
template <std::size_t N, class Real>
[[gnu::always_inline]] inline std::array<cosine<Real>, solid<N>::record.edges> edge_cosines(const point<Real> (&p)[N]) {
    constexpr const shape_record& record = solid<N>::record;
    constexpr auto sides = faces_at_edges<record.edges>(record);
    std::array<point<Real>, record.faces> normal;
    std::array<Real, record.faces> square;
#pragma GCC unroll 6
    for (std::size_t f = 0; f < record.faces; ++f) {
        const auto& node = record.face[f].node;
        normal[f] = face_normal(p[node[0]], p[node[1]], p[node[2]]);
        square[f] = dot(normal[f], normal[f]);
    }
    std::array<cosine<Real>, record.edges> cosines;
#pragma GCC unroll 12
    for (std::size_t e = 0; e < record.edges; ++e) {
        const auto [f, g] = sides[e];
        cosines[e] = cosine_between(normal[f], square[f], normal[g], square[g]);
    }
    return cosines;
}

/// The ranges of the angles of one element, or of four.
template <std::size_t N, class Real>
[[gnu::always_inline]] inline auto ranges_of_edges(const point<Real> (&p)[N], bool normalized) {
    const auto cosines = edge_cosines(p);
    const auto angle = [](const cosine<double>& c) { return std::acos(-c.key); };
    if (!normalized)
        return ranges_of(cosines, 0, cosines.size(), angle);
    constexpr std::size_t change = solid<N>::change;
    auto ranges = ranges_of(cosines, change, cosines.size(),
                            [&](const cosine<double>& c) { return angle(c) * solid<N>::factor; });
    if constexpr (change != 0) {
        const auto others =
            ranges_of(cosines, 0, change, [&](const cosine<double>& c) { return angle(c) * solid<N>::first_factor; });
        for (std::size_t g = 0; g < ranges.size(); ++g)
            ranges[g].include(others[g]);
    }
    return ranges;
}

} // namespace

int dihedral_angles(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, bool normalized,
                    dense1D<double>& min_angles, dense1D<double>& max_angles) {
    if (!meldra::check_IDs(connectM, type_of_rows(connectM.rows()), id_count(pos.cols())))
        return -2;
    if (connectM.empty())
        return 0;
    double *const least = min_angles.data(), *const most = max_angles.data();
    visit_elements(
        pos, connectM, [&](const auto& p, std::size_t e) __attribute__((always_inline)) {
            for (const angle_range& range : ranges_of_edges(p, normalized)) {
                least[e] = range.least();
                most[e++] = range.most();
            }
        });
    return 0;
}

} // namespace quorl::meldra3d
