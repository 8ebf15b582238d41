// Cuts swept hexahedra into tetrahedra that fit together: each quadrangle along the diagonal at its lowest node.
#include <algorithm>
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xy[] = {0, 0, 1, 0, 2, 0, 0, 1, 1, 1, 2, 1};
    unsigned ids[] = {0, 1, 4, 3, 1, 2, 5, 4};
    auto pos = dense2D<double>::view(xy, 2, 6, 2);
    const auto section = dense2D<unsigned>::view(ids, 4, 2, 4);
    dense2D<unsigned> solids, pieces;
    int status = meldra3d::extrude_translate(pos, section, {0, 0, 2}, 3, solids);

    // The faces of hexahedra in docs/numbering.md: each element lists its own, with its own bit.
    const unsigned faces[6][4] = {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};
    dense2D<unsigned> quadrangles(4, 6 * solids.cols());
    dense1D<unsigned> diagonals(6 * solids.cols()), failed;
    for (std::size_t k = 0; k < diagonals.size(); ++k) {
        unsigned* const nodes = quadrangles.col(k);
        for (unsigned corner = 0; corner < 4; ++corner)
            nodes[corner] = solids(faces[k % 6][corner], k / 6);
        const auto lowest = std::min_element(nodes, nodes + 4) - nodes;
        diagonals[k] = lowest % 2 == 0 ? 0 : 1; // 0: from the first node to the third
    }
    if (status == 0)
        status = meldra3d::split_solid_Q4(pos, solids, quadrangles, diagonals, 0.0, failed, pieces);
    const auto tetrahedra = pieces.sub(0, 0, 4, pieces.cols()); // a window: the other rows are unused
    double volume = 0;
    if (status == 0)
        status = meldra3d::volume(pos, tetrahedra, volume);
    std::printf("%zu tetrahedra, %zu failed, volume %.3f\n", tetrahedra.cols(), failed.size(), volume);
    return status;
}
// prints: 72 tetrahedra, 0 failed, volume 4.000
