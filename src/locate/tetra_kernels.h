#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include <numcore/fixed.h>

#include "frame/element_tables.h"
#include "frame/small_solves.h"
#include "measure/element_volumes.h"

// The geometry of one step of a walk through tetrahedra: is the point inside, which face is in its way, and what are
// its barycentric coordinates. Nothing here allocates or reports an error.
namespace quorl::meldra3d::detail {

/// The corners of a tetrahedron, copied from the columns of a matrix of coordinates.
struct tetrahedron {
    point<double> corner[4];
};

inline point<double> point_at(const double* x) {
    return {x[0], x[1], x[2]};
}

/// The tetrahedron of four node IDs. `pos` is the address of node 0, `ld` the distance of two nodes.
inline tetrahedron tetrahedron_of(const double* pos, std::size_t ld, const unsigned* nodes) {
    return {{point_at(pos + nodes[0] * ld), point_at(pos + nodes[1] * ld), point_at(pos + nodes[2] * ld),
             point_at(pos + nodes[3] * ld)}};
}

inline double squared_length(const point<double>& a) {
    return dot(a, a);
}

/// Six times the volume of the tetrahedron between face (a, b, c) and p, positive when p lies on the inner side of that
/// face of a direct tetrahedron: its six-fold volume times the barycentric coordinate of p for the opposite node.
/// The products keep to short vectors, so that little is lost to cancellation: the normal is taken from the two shorter
/// edges where the corner c allows it, and p is measured from the corner nearest to it.
inline double face_side_measure(const point<double>& a, const point<double>& b, const point<double>& c,
                                const point<double>& p) {
    const point<double> ac = a - c, bc = b - c, ba = b - a;
    const double ac2 = squared_length(ac), bc2 = squared_length(bc), ba2 = squared_length(ba);
    const point<double> normal = cross(ac, ba2 > std::min(ac2, bc2) ? bc : ba);
    const double pa2 = squared_length(p - a), pb2 = squared_length(p - b), pc2 = squared_length(p - c);
    const bool b_or_c = pa2 > std::min(pb2, pc2);
    const point<double>& nearest = !b_or_c ? a : pb2 > std::min(pc2, pa2) ? c : b;
    return dot(normal, p - nearest);
}

inline double face_side_measure(const tetrahedron& t, unsigned face, const point<double>& p) {
    const auto& cycle = tetrahedron_record.face[face].node;
    return face_side_measure(t.corner[cycle[0]], t.corner[cycle[1]], t.corner[cycle[2]], p);
}

inline constexpr int point_inside = -1;
inline constexpr int degenerate_element = -2;

/// Finds a face of the tetrahedron beyond which p lies: the first in the cyclic order that begins behind `start_face`
/// and ends with it (all of 0 to 3). Returns its number, `point_inside` when p lies beyond none, or
/// `degenerate_element` when the volume is not positive or not finite.
/// p is beyond a face when its barycentric coordinate for the opposite node is below -tolerance, or not a number.
inline int tetra_exit_face(const tetrahedron& t, const point<double>& p, double tolerance, unsigned start_face) {
    const double measure = six_volume(t.corner);
    if (!(measure > 0) || measure > std::numeric_limits<double>::max())
        return degenerate_element;
    const double threshold = -(measure * tolerance);
    for (unsigned k = 1; k <= 4; ++k) {
        const unsigned face = (start_face + k) % 4;
        if (!(face_side_measure(t, face, p) >= threshold))
            return static_cast<int>(face);
    }
    return point_inside;
}

/// The barycentric coordinates of p for the nodes 0, 1 and 2; that of node 3 is what they lack to 1.
/// All are 0 in a flat tetrahedron, and in one so small that its determinant is.
inline vector_fixed<double, 3> tetra_local_coordinates(const tetrahedron& t, const point<double>& p) {
    const point<double> a = t.corner[0] - t.corner[3], b = t.corner[1] - t.corner[3], c = t.corner[2] - t.corner[3];
    const point<double> q = p - t.corner[3];
    const double matrix[9] = {a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z};
    double x[3] = {q.x, q.y, q.z};
    solve3x3_refined(matrix, x, 2);
    return {x[0], x[1], x[2]};
}

} // namespace quorl::meldra3d::detail
