#pragma once

#include <array>

#include "extrude/rotation_matrix.h"
#include "extrude/sweep.h"

namespace quorl::meldra3d::detail {

/// Turns points by `turn` about the point `start`, which comes to `end`.
struct rigid_motion {
    vector_fixed<double, 3> start;
    matrix3 turn;
    vector_fixed<double, 3> end;
};

/// The motions of the levels of a group.
using level_motions = std::array<rigid_motion, level_group::most>;

/// Places a level as the moved surface: end + turn (x - start).
inline void place_moved(const sweep_level& level, const rigid_motion& motion) {
    const auto [start, turn, end] = motion; // copies, which the coordinates written below cannot be taken to change
    const double* node = level.originals;
    double* image = level.images;
    for (std::size_t j = 0; j < level.count; ++j, node += 3, image += 3) {
        const double x = node[0] - start[0];
        const double y = node[1] - start[1];
        const double z = node[2] - start[2];
        for (unsigned i = 0; i < 3; ++i)
            image[i] = end[i] + (turn.m[i][0] * x + turn.m[i][1] * y + turn.m[i][2] * z);
    }
}

} // namespace quorl::meldra3d::detail
