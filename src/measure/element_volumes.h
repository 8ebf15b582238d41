#pragma once

#include "measure/point.h"

// Six-fold signed volumes of the linear solids, sums of determinants over a fixed split of each. Shared by everything
// that needs the volume of an element. Real is double, or a vector of doubles that holds as many elements.
namespace quorl::meldra3d::detail {

inline constexpr double one_sixth = 0.16666666666666666;

/// (j - i) . ((k - i) x (l - i)): six times the volume of a tetrahedron, positive when j, k, l turn counter-clockwise
/// seen from the side away from i.
template <class Real>
[[gnu::always_inline]] inline Real determinant(const point<Real>& i, const point<Real>& j, const point<Real>& k,
                                               const point<Real>& l) {
    return dot(j - i, cross(k - i, l - i));
}

/// Tetrahedron.
template <class Real>
[[gnu::always_inline]] inline Real six_volume(const point<Real> (&p)[4]) {
    return determinant(p[3], p[0], p[1], p[2]);
}

/// Pyramid: the cross product of the base's diagonals, one of them drawn from the apex, against the edge from the apex
/// to node 0.
template <class Real>
[[gnu::always_inline]] inline Real six_volume(const point<Real> (&p)[5]) {
    return dot(cross(p[2] - p[4], p[1] - p[3]), p[0] - p[4]);
}

/// Wedge.
template <class Real>
[[gnu::always_inline]] inline Real six_volume(const point<Real> (&p)[6]) {
    return determinant(p[0], p[1], p[2], p[4]) + determinant(p[0], p[2], p[3], p[4]) +
           determinant(p[2], p[3], p[4], p[5]);
}

/// Hexahedron: the central tetrahedron (1, 4, 6, 3) and the four at the corners 5, 7, 0 and 2.
template <class Real>
[[gnu::always_inline]] inline Real six_volume(const point<Real> (&p)[8]) {
    return determinant(p[6], p[1], p[5], p[4]) + determinant(p[4], p[3], p[7], p[6]) +
           determinant(p[1], p[4], p[6], p[3]) + determinant(p[1], p[0], p[4], p[3]) +
           determinant(p[1], p[6], p[2], p[3]);
}

} // namespace quorl::meldra3d::detail
