#pragma once

#include <cmath>
#include <cstddef>

#include "frame/lanes.h"

namespace quorl::meldra3d::detail {

// Small linear solves by cofactors with iterative refinement (Golub and Van Loan, Matrix Computations, section 3.5.3).
// The refinement stops early when every correction is below 1e-12 of its unknown.
inline constexpr double refinement_tolerance = 1e-12;

/// Solves M x = r for a 3 x 3 matrix stored by columns; r is replaced by x. Up to `iterations` refinements.
/// Returns the determinant. When that is 0 or NaN, x is 0. Real is double, or a vector of doubles for as many systems.
template <class Real>
[[gnu::always_inline]] inline Real solve3x3_refined(const Real (&m)[9], Real (&r)[3], unsigned iterations) {
    // Row i of the adjugate; m[i + 3 j] is the entry of row i and column j.
    const Real adj[3][3] = {
        {m[4] * m[8] - m[7] * m[5], m[6] * m[5] - m[3] * m[8], m[3] * m[7] - m[6] * m[4]},
        {m[7] * m[2] - m[1] * m[8], m[0] * m[8] - m[6] * m[2], m[6] * m[1] - m[0] * m[7]},
        {m[1] * m[5] - m[4] * m[2], m[3] * m[2] - m[0] * m[5], m[0] * m[4] - m[3] * m[1]},
    };
    const Real zero{}, one = zero + 1;
    Real det = zero;
    for (std::size_t k = 0; k < 3; ++k)
        // the expansion along each row of cofactors in turn; their mean is more accurate
        det += adj[k][0] * m[3 * k] + adj[k][1] * m[3 * k + 1] + adj[k][2] * m[3 * k + 2];
    det *= 0.3333333333333333;

    const auto along = [&](std::size_t k, const Real(&v)[3]) __attribute__((always_inline)) {
        return adj[k][0] * v[0] + adj[k][1] * v[1] + adj[k][2] * v[2];
    };
    const Real reciprocal = one / det;
    Real x[3];
    for (std::size_t k = 0; k < 3; ++k)
        x[k] = along(k, r) * reciprocal;
    Real settled = zero; // 1 for yes
    for (unsigned n = 0; n < iterations; ++n) {
        Real s[3];
        for (std::size_t i = 0; i < 3; ++i)
            s[i] = r[i] - (m[i] * x[0] + m[i + 3] * x[1] + m[i + 6] * x[2]);
        Real small = one;
        for (std::size_t k = 0; k < 3; ++k) {
            const Real d = along(k, s) * reciprocal, refined = x[k] + d;
            small = choose(magnitude(d) <= refinement_tolerance * magnitude(refined), small, zero);
            x[k] = choose(settled == zero, refined, x[k]);
        }
        settled = choose(settled == zero, small, settled);
        if (are_all_one(settled))
            break;
    }
    const auto is_regular = (det < zero) | (det > zero);
    for (std::size_t k = 0; k < 3; ++k)
        r[k] = choose(is_regular, x[k], zero);
    return det;
}

/// Solves a 2 x 2 system (row i, column j in mij) whose reciprocal determinant the caller knows. Up to `iterations`
/// refinements. When the reciprocal is 0 or NaN, x is 0. x must not be r.
inline void solve2x2_refined(double m00, double m10, double m01, double m11, double reciprocal, const double (&r)[2],
                             double (&x)[2], unsigned iterations) {
    x[0] = x[1] = 0;
    if (reciprocal == 0 || std::isnan(reciprocal))
        return;
    x[0] = (m11 * r[0] - m01 * r[1]) * reciprocal;
    x[1] = (m00 * r[1] - m10 * r[0]) * reciprocal;
    for (unsigned n = 0; n < iterations; ++n) {
        const double s0 = r[0] - (m00 * x[0] + m01 * x[1]);
        const double s1 = r[1] - (m10 * x[0] + m11 * x[1]);
        const double d0 = (m11 * s0 - m01 * s1) * reciprocal;
        const double d1 = (m00 * s1 - m10 * s0) * reciprocal;
        x[0] += d0;
        x[1] += d1;
        if (std::fabs(d0) <= refinement_tolerance * std::fabs(x[0]) &&
            std::fabs(d1) <= refinement_tolerance * std::fabs(x[1]))
            break;
    }
}

} // namespace quorl::meldra3d::detail
