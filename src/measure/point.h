#pragma once

namespace quorl::meldra3d::detail {

/// A point or vector of space. Real is double, or a vector of doubles that holds as many points: each lane then goes
/// through the very operations of the other, in the same order.
template <class Real>
struct point {
    Real x, y, z;
};

template <class Real>
[[gnu::always_inline]] inline point<Real> operator-(const point<Real>& a, const point<Real>& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

template <class Real>
[[gnu::always_inline]] inline point<Real> operator+(const point<Real>& a, const point<Real>& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

template <class Real>
[[gnu::always_inline]] inline point<Real> operator*(const Real& factor, const point<Real>& a) {
    return {factor * a.x, factor * a.y, factor * a.z};
}

template <class Real>
[[gnu::always_inline]] inline point<Real> cross(const point<Real>& a, const point<Real>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <class Real>
[[gnu::always_inline]] inline Real dot(const point<Real>& a, const point<Real>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

} // namespace quorl::meldra3d::detail
