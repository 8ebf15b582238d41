#pragma once

#include <bit>
#include <cstddef>
#include <limits>

#include <numcore/fixed.h>

#include "frame/element_tables.h"
#include "frame/lanes.h"
#include "frame/small_solves.h"
#include "measure/element_volumes.h"
#include "measure/face_normal.h"

// The geometry of one step of a walk through tetrahedra: is the point inside, which face is in its way, and what are
// its barycentric coordinates. Nothing here allocates or reports an error.
namespace quorl::meldra3d::detail {

/// The corners of a tetrahedron, copied from the columns of a matrix of coordinates.
struct tetrahedron {
    point<double> corner[4];
};

[[gnu::always_inline]] inline point<double> point_at(const double* x) {
    return {x[0], x[1], x[2]};
}

/// The tetrahedron of four node IDs. `pos` is the address of node 0, `ld` the distance of two nodes.
[[gnu::always_inline]] inline tetrahedron tetrahedron_of(const double* pos, std::size_t ld, const unsigned* nodes) {
    return {{point_at(pos + nodes[0] * ld), point_at(pos + nodes[1] * ld), point_at(pos + nodes[2] * ld),
             point_at(pos + nodes[3] * ld)}};
}

/// Six times the volume of the tetrahedron between face (a, b, c) and p, positive when p lies on the inner side of that
/// face of a direct tetrahedron: its six-fold volume times the barycentric coordinate of p for the opposite node.
/// The products keep to short vectors, so that little is lost to cancellation: the normal is taken from the two shorter
/// edges where the corner c allows it, and p is measured from the corner nearest to it.
/// Real is double, or a vector of doubles for as many faces.
template <class Real>
[[gnu::always_inline]] inline Real face_side_measure(const point<Real>& a, const point<Real>& b, const point<Real>& c,
                                                     const point<Real>& p) {
    const auto square = [](const point<Real>& d) __attribute__((always_inline)) {
        return dot(d, d);
    };
    const point<Real> pa = p - a, pb = p - b, pc = p - c;
    const Real pa2 = square(pa), pb2 = square(pb), pc2 = square(pc);
    const point<Real> from_b_or_c = choose(pb2 > less_of(pc2, pa2), pc, pb);
    return dot(face_normal(a, b, c), choose(pa2 > less_of(pb2, pc2), from_b_or_c, pa));
}

/// Vertex K of each face, from one coordinate of the corners.
template <std::size_t K>
[[gnu::always_inline]] inline four_doubles face_vertices(const four_doubles& corners) {
    constexpr auto& face = tetrahedron_record.face;
    return __builtin_shufflevector(corners, corners, face[0].node[K], face[1].node[K], face[2].node[K],
                                   face[3].node[K]);
}

/// The measures of the four faces.
[[gnu::always_inline]] inline four_doubles face_side_measures(const tetrahedron& t, const point<double>& p) {
    const auto& q = t.corner;
    const four_doubles x{q[0].x, q[1].x, q[2].x, q[3].x};
    const four_doubles y{q[0].y, q[1].y, q[2].y, q[3].y};
    const four_doubles z{q[0].z, q[1].z, q[2].z, q[3].z};
    return face_side_measure(point<four_doubles>{face_vertices<0>(x), face_vertices<0>(y), face_vertices<0>(z)},
                             point<four_doubles>{face_vertices<1>(x), face_vertices<1>(y), face_vertices<1>(z)},
                             point<four_doubles>{face_vertices<2>(x), face_vertices<2>(y), face_vertices<2>(z)},
                             point<four_doubles>{all(p.x), all(p.y), all(p.z)});
}

/// What a tetrahedron is to a point.
struct tetra_sides {
    bool degenerate; // its volume is not positive or not finite
    unsigned beyond; // bit k: the point lies beyond face k
};

/// p lies beyond a face when its barycentric coordinate for the opposite node is below -tolerance, or not a number.
[[gnu::always_inline]] inline tetra_sides sides_of(const tetrahedron& t, const point<double>& p, double tolerance) {
    const double measure = six_volume(t.corner);
    const bool degenerate = !(measure > 0) || measure > std::numeric_limits<double>::max();
    return {degenerate, ~bits(face_side_measures(t, p) >= all(-(measure * tolerance))) & 15};
}

inline constexpr int point_inside = -1;
inline constexpr int degenerate_element = -2;

/// The face by which a walk leaves: of those that the point lies beyond the first in the cyclic order that begins
/// behind `start_face` and ends with it (all of 0 to 3). Returns its number, `point_inside` or `degenerate_element`.
[[gnu::always_inline]] inline int tetra_exit_face(const tetra_sides& sides, unsigned start_face) {
    if (sides.degenerate)
        return degenerate_element;
    if (sides.beyond == 0)
        return point_inside;
    const unsigned in_order = (sides.beyond | sides.beyond << 4) >> (start_face + 1);
    return static_cast<int>((start_face + 1 + unsigned(std::countr_zero(in_order))) % 4);
}

/// The barycentric coordinates of p for the nodes 0, 1 and 2; that of node 3 is what they lack to 1.
/// All are 0 in a flat tetrahedron, and in one so small that its determinant is.
/// Real is double, or a vector of doubles for as many tetrahedra and points.
template <class Real>
[[gnu::always_inline]] inline point<Real> tetra_local_coordinates(const point<Real> (&corner)[4],
                                                                  const point<Real>& p) {
    const point<Real> a = corner[0] - corner[3], b = corner[1] - corner[3], c = corner[2] - corner[3];
    const point<Real> q = p - corner[3];
    const Real matrix[9] = {a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z};
    Real x[3] = {q.x, q.y, q.z};
    solve3x3_refined(matrix, x, 2);
    return {x[0], x[1], x[2]};
}

inline vector_fixed<double, 3> tetra_local_coordinates(const tetrahedron& t, const point<double>& p) {
    const point<double> w = tetra_local_coordinates(t.corner, p);
    return {w.x, w.y, w.z};
}

} // namespace quorl::meldra3d::detail
