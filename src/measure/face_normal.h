#pragma once

#include "measure/element_volumes.h"

namespace quorl::meldra3d::detail {

/// The normal (a - c) x (b - c) of a triangle, of twice its area. Where a, b is none of the two longer edges it is
/// formed as (a - c) x (b - a), the same vector from shorter factors.
inline point<double> face_normal(const point<double>& a, const point<double>& b, const point<double>& c) {
    const point<double> ca = a - c, cb = b - c, ab = b - a;
    const double square_ca = dot(ca, ca), square_cb = dot(cb, cb);
    const double smaller = square_ca < square_cb ? square_ca : square_cb;
    return dot(ab, ab) > smaller ? cross(ca, cb) : cross(ca, ab);
}

} // namespace quorl::meldra3d::detail
