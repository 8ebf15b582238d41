#pragma once

#include <array>

// Six-fold signed volumes of the linear solids, sums of determinants over a fixed split of each. Shared by everything
// that needs the volume of one element. A corner is a pointer to its three coordinates.
namespace quorl::meldra3d::detail {

using point = std::array<double, 3>;

inline point difference(const double* a, const double* b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

inline point cross(const point& a, const point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double dot(const point& a, const point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// (j - i) . ((k - i) x (l - i)): six times the volume of a tetrahedron, positive when j, k, l turn counter-clockwise
/// seen from the side away from i.
inline double determinant(const double* i, const double* j, const double* k, const double* l) {
    return dot(difference(j, i), cross(difference(k, i), difference(l, i)));
}

inline double six_volume_TH4(const double* const (&p)[4]) {
    return determinant(p[3], p[0], p[1], p[2]);
}

/// The cross product of the base's diagonals against the edge from the apex to node 0.
inline double six_volume_PY5(const double* const (&p)[5]) {
    return dot(cross(difference(p[2], p[4]), difference(p[1], p[3])), difference(p[0], p[4]));
}

inline double six_volume_W6(const double* const (&p)[6]) {
    return determinant(p[0], p[1], p[2], p[4]) + determinant(p[0], p[2], p[3], p[4]) +
           determinant(p[2], p[3], p[4], p[5]);
}

/// The central tetrahedron (1, 4, 6, 3) and the four at the corners 5, 7, 0 and 2.
inline double six_volume_H8(const double* const (&p)[8]) {
    return determinant(p[6], p[1], p[5], p[4]) + determinant(p[4], p[3], p[7], p[6]) +
           determinant(p[1], p[4], p[6], p[3]) + determinant(p[1], p[0], p[4], p[3]) +
           determinant(p[1], p[6], p[2], p[3]);
}

} // namespace quorl::meldra3d::detail
