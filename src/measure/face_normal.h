#pragma once

#include "frame/lanes.h"
#include "measure/point.h"

namespace quorl::meldra3d::detail {

template <class Real>
[[gnu::always_inline]] inline point<Real> choose(const auto& first, const point<Real>& a, const point<Real>& b) {
    return {choose(first, a.x, b.x), choose(first, a.y, b.y), choose(first, a.z, b.z)};
}

template <class Real>
[[gnu::always_inline]] inline Real less_of(const Real& a, const Real& b) {
    return choose(b < a, b, a);
}

/// The normal (a - c) x (b - c) of a triangle, of twice its area. Where a, b is none of the two longer edges it is
/// formed as (a - c) x (b - a), the same vector from shorter factors.
template <class Real>
[[gnu::always_inline]] inline point<Real> face_normal(const point<Real>& a, const point<Real>& b,
                                                      const point<Real>& c) {
    const point<Real> ca = a - c, cb = b - c, ab = b - a;
    return cross(ca, choose(dot(ab, ab) > less_of(dot(ca, ca), dot(cb, cb)), cb, ab));
}

} // namespace quorl::meldra3d::detail
