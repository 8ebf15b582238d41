#pragma once

#include <numcore/fixed.h>

namespace quorl::meldra3d::detail {

/// A 3 x 3 matrix by rows: m[i][j] stands in row i and column j.
struct matrix3 {
    double m[3][3];
};

/// The rotation by |w| radians about the direction of w, by the right-hand rule; the identity for w = 0.
/// Each entry is right to eight units of 2^-53, from the smallest angles to many turns, and a finite w gives a
/// rotation however long it is.
matrix3 rotation_matrix(const vector_fixed<double, 3>& w);

} // namespace quorl::meldra3d::detail
