#pragma once

#include "extrude/rotation_matrix.h"
#include "extrude/sweep.h"

namespace quorl::meldra3d::detail {

/// Places a level as the surface turned by `r` about the point `from`, which comes to `to`: to + r (x - from).
inline void place_turned(const sweep_level& level, const matrix3& r, const vector_fixed<double, 3>& from,
                         const vector_fixed<double, 3>& to) {
    const matrix3 turn = r; // copies, which the coordinates written below cannot be taken to change
    const vector_fixed<double, 3> start = from;
    const vector_fixed<double, 3> end = to;
    double* image = level.image;
    for (std::size_t j = 0; j < level.count; ++j, image += level.ld) {
        const double* const node = level.original(j);
        const double x = node[0] - start[0];
        const double y = node[1] - start[1];
        const double z = node[2] - start[2];
        for (unsigned i = 0; i < 3; ++i)
            image[i] = end[i] + (turn.m[i][0] * x + turn.m[i][1] * y + turn.m[i][2] * z);
    }
}

} // namespace quorl::meldra3d::detail
