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

/// Four points, a lane each.
[[gnu::always_inline]] inline point<four_doubles> points_at(const double* const (&x)[4]) {
    using two_doubles = double __attribute__((vector_size(2 * sizeof(double))));
    struct __attribute__((packed, may_alias)) unaligned {
        two_doubles x;
    };
    const auto two = [&](unsigned k, unsigned first) __attribute__((always_inline)) {
        return reinterpret_cast<const unaligned*>(x[k] + first)->x;
    };
    const auto pair = [&](unsigned k, unsigned first) __attribute__((always_inline)) {
        return __builtin_shufflevector(two(k, first), two(k + 2, first), 0, 1, 2, 3);
    };
    const four_doubles xy_02 = pair(0, 0), xy_13 = pair(1, 0);
    return {__builtin_shufflevector(xy_02, xy_13, 0, 4, 2, 6), __builtin_shufflevector(xy_02, xy_13, 1, 5, 3, 7),
            __builtin_shufflevector(pair(0, 1), pair(1, 1), 1, 5, 3, 7)};
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

/// The same for four tetrahedra, each with a point of its own, from products that the faces share. These differ from
/// the measures of the faces by rounding, for which there is a bound: a lane is sure where no measure is as near to its
/// limit as that. (A filter, as in J. R. Shewchuk, Discrete & Computational Geometry 18, 1997, pp. 305-363.)
class sides_of_four {
public:
    [[gnu::always_inline]] sides_of_four(const point<four_doubles> (&corner)[4], const point<four_doubles>& p,
                                         double tolerance) {
        const point<four_doubles> a = corner[0] - corner[3], b = corner[1] - corner[3], c = corner[2] - corner[3];
        const point<four_doubles> q = p - corner[3], aq = cross(a, q);
        const four_doubles volume = six_volume(corner); // to the bit that of sides_of()
        const four_doubles of_0 = dot(q, cross(b, c)), of_1 = dot(c, aq), of_2 = -dot(b, aq);
        const four_doubles measure[4] = {of_0, of_1, of_2, volume - of_0 - of_1 - of_2};

        // With no coordinate of a, b, c and q above r, the two ways to a measure differ by less than 2^-43 r^3: some
        // 370 roundings of r^3 on one, 240 on the other.
        const four_doubles r = most_of(most_of(largest_of(a), largest_of(b)), most_of(largest_of(c), largest_of(q)));
        const four_doubles error = r * r * r * 0x1p-42, limit = -(volume * tolerance);
        auto sure = (error > all(0x1p-900)) & (error < all(0x1p+900)); // nothing underflows or overflows
        four_masks sides{};
        for (unsigned k = 0; k < 4; ++k) {
            sure &= magnitude_bits(measure[k] - limit) > error;
            sides |= in((four_masks)(measure[k] < limit), 1LL << k);
        }
        found_ = sides | in(~(four_masks)(volume > all(0)), degenerate) | in(~(four_masks)sure, unsure);
    }

    [[gnu::always_inline]] bool is_sure(std::size_t k) const { return (found_[k] & unsure) == 0; }
    [[gnu::always_inline]] tetra_sides operator[](std::size_t k) const {
        return {(found_[k] & degenerate) != 0, unsigned(found_[k]) & 15};
    }

private:
    static constexpr long long degenerate = 16;
    static constexpr long long unsure = 32;

    /// The flag in the given lanes.
    [[gnu::always_inline]] static four_masks in(const four_masks& lanes, long long flag) {
        return lanes & four_masks{flag, flag, flag, flag};
    }
    [[gnu::always_inline]] static four_doubles magnitude_bits(const four_doubles& x) {
        return (four_doubles)((four_masks)x & (four_masks{} + std::numeric_limits<long long>::max()));
    }
    [[gnu::always_inline]] static four_doubles most_of(const four_doubles& x, const four_doubles& y) {
        return x > y ? x : y;
    }
    [[gnu::always_inline]] static four_doubles largest_of(const point<four_doubles>& x) {
        return most_of(most_of(magnitude_bits(x.x), magnitude_bits(x.y)), magnitude_bits(x.z));
    }

    four_masks found_;
};

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
