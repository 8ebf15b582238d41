#pragma once

#include <array>
#include <cmath>

#include "meldra/dice.h"
#include "support/meshes.h"

namespace test {

using quorl::vector_fixed;

/// A mesh of tetrahedra with what a search needs.
struct searchable {
    dense2D<double> pos;
    dense2D<unsigned> connect;
    dense2D<unsigned> neighbors;
    dense1D<unsigned, 8> ancestors;
    quorl::meldra::node_detector detector;

    /// False when one of the aids could not be made.
    bool prepare(quorl::element_type type = quorl::ET_TH4) {
        return quorl::meldra::get_neighbors(connect, type, false, neighbors) == 0 &&
               quorl::meldra::get_ancestors(connect, ancestors) == 0 && detector.reinit(pos, connect) == 0;
    }
};

/// The unit cube in n x n x n cells of six tetrahedra around a diagonal (Kuhn's triangulation), all direct; nodes
/// inside are moved by up to `shake` of a cell.
inline searchable cube_of_tetrahedra(unsigned n, double shake) {
    constexpr unsigned pieces[6][4] = {{0, 2, 1, 6}, {0, 3, 2, 6}, {0, 7, 3, 6},
                                       {0, 4, 7, 6}, {0, 5, 4, 6}, {0, 1, 5, 6}};
    searchable m;
    const unsigned side = n + 1;
    m.pos.resize(3, std::size_t(side) * side * side);
    for (unsigned v = 0; v < m.pos.cols(); ++v) {
        const unsigned at[3] = {v % side, v / side % side, v / side / side};
        for (unsigned i = 0; i < 3; ++i) {
            const bool inside = at[i] != 0 && at[i] != n;
            m.pos(i, v) = (at[i] + (inside ? shake * std::sin(7.0 * v + 3.0 * i) : 0)) / n;
        }
    }
    m.connect.resize(4, 0);
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const auto node = [&](unsigned x, unsigned y, unsigned z) {
                    return i + x + side * (j + y + side * (k + z));
                };
                const unsigned corner[8] = {node(0, 0, 0), node(1, 0, 0), node(1, 1, 0), node(0, 1, 0),
                                            node(0, 0, 1), node(1, 0, 1), node(1, 1, 1), node(0, 1, 1)};
                for (const auto& piece : pieces) {
                    const unsigned column[4] = {corner[piece[0]], corner[piece[1]], corner[piece[2]], corner[piece[3]]};
                    m.connect.append(column);
                }
            }
    return m;
}

/// The direct tetrahedron (0,0,0), (0,1,0), (1,0,0), (0,0,1).
inline searchable one_tetrahedron() {
    searchable m;
    m.pos = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}});
    m.connect = ids({{0, 1, 2, 3}});
    return m;
}

/// A number between 0 and 1.
inline double share(dice& random) {
    return double(random(1u << 20)) / (1u << 20);
}

} // namespace test
