#pragma once

#include <cmath>
#include <cstddef>

namespace quorl::meldra3d::detail {

// Small linear solves by cofactors with iterative refinement (Golub and Van Loan, Matrix Computations, section 3.5.3).
// The refinement stops early when every correction is below 1e-12 of its unknown.
inline constexpr double refinement_tolerance = 1e-12;

/// Solves M x = r for a 3 x 3 matrix stored by columns; r is replaced by x. Up to `iterations` refinements.
/// Returns the determinant. When that is 0 or NaN, x is 0.
inline double solve3x3_refined(const double (&m)[9], double (&r)[3], unsigned iterations) {
    // Row i of the adjugate; m[i + 3 j] is the entry of row i and column j.
    const double adj[3][3] = {
        {m[4] * m[8] - m[7] * m[5], m[6] * m[5] - m[3] * m[8], m[3] * m[7] - m[6] * m[4]},
        {m[7] * m[2] - m[1] * m[8], m[0] * m[8] - m[6] * m[2], m[6] * m[1] - m[0] * m[7]},
        {m[1] * m[5] - m[4] * m[2], m[3] * m[2] - m[0] * m[5], m[0] * m[4] - m[3] * m[1]},
    };
    double det = 0;
    for (std::size_t k = 0; k < 3;
         ++k) // the expansion along each row of cofactors in turn; their mean is more accurate
        det += adj[k][0] * m[3 * k] + adj[k][1] * m[3 * k + 1] + adj[k][2] * m[3 * k + 2];
    det *= 0.3333333333333333;

    double x[3] = {0, 0, 0};
    if (det != 0 && !std::isnan(det)) {
        const double reciprocal = 1 / det;
        for (int k = 0; k < 3; ++k)
            x[k] = (adj[k][0] * r[0] + adj[k][1] * r[1] + adj[k][2] * r[2]) * reciprocal;
        for (unsigned n = 0; n < iterations; ++n) {
            double s[3];
            for (int i = 0; i < 3; ++i)
                s[i] = r[i] - (m[i] * x[0] + m[i + 3] * x[1] + m[i + 6] * x[2]);
            bool settled = true;
            for (int k = 0; k < 3; ++k) {
                const double d = (adj[k][0] * s[0] + adj[k][1] * s[1] + adj[k][2] * s[2]) * reciprocal;
                x[k] += d;
                settled = settled && std::fabs(d) <= refinement_tolerance * std::fabs(x[k]);
            }
            if (settled)
                break;
        }
    }
    for (int k = 0; k < 3; ++k)
        r[k] = x[k];
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
