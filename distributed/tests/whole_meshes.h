#pragma once

#include <vector>

#include "parts.h"

namespace test {

/// A small mesh of each type that can be cut, its elements and nodes in random order.
inline std::vector<whole_mesh> meshes_of_all_types() {
    std::vector<whole_mesh> meshes;
    for (const element_type type : {ET_TH4, ET_PY5, ET_W6, ET_H8, ET_SOLID_MIX, ET_T3, ET_Q4, ET_FACE_MIX}) {
        meshes.push_back(shuffled(grid(type, 3, 2, 3)));
        if (type != ET_T3 && type != ET_Q4 && type != ET_FACE_MIX)
            meshes.push_back(shuffled(quadratic(grid(type, 2, 2, 3))));
    }
    return meshes;
}

/// A mesh without elements, of nodes or not.
inline whole_mesh no_elements(std::size_t nodes) {
    return {dense2D<double>(3, nodes, 1.0), dense2D<unsigned>(4, 0), ET_TH4};
}

/// What a rank other than 0 passes to the functions that read rank 0's mesh.
inline const whole_mesh& on_rank_0(const whole_mesh& mesh) {
    static const whole_mesh nothing{};
    return world_rank() == 0 ? mesh : nothing;
}

} // namespace test
