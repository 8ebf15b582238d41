// Cuts the top of a cube along a diagonal, and the cube so that it fits: tetrahedra and pyramids around its centre.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1};
    unsigned ids[] = {0, 1, 2, 3, 4, 5, 6, 7}, top[] = {4, 7, 6, 5};
    auto pos = dense2D<double>::view(xyz, 3, 8, 3);
    const auto cube = dense2D<unsigned>::view(ids, 8, 1, 8);
    const auto quadrangles = dense2D<unsigned>::view(top, 4, 1, 4);
    const dense1D<unsigned> diagonals{0}; // from the first node of the face to its third: 4 to 6
    dense1D<unsigned> failed;
    dense2D<unsigned> pieces;
    const int status = meldra3d::split_solid_Q4(pos, cube, quadrangles, diagonals, 0.0, failed, pieces);
    std::printf("%zu nodes, %zu pieces, %zu failed\n", pos.cols(), pieces.cols(), failed.size());
    return status;
}
// prints: 9 nodes, 7 pieces, 0 failed
