// Opens four cubes along two faces between them; two nodes, the front of the crack, stay as they are.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    dense2D<double> pos(3, 18);
    for (unsigned k = 0; k < 18; ++k) { // 3 x 2 x 3 nodes
        pos(0, k) = k % 3;
        pos(1, k) = k / 3 % 2;
        pos(2, k) = k / 6;
    }
    unsigned ids[] = {0, 1, 4,  3, 6,  7,  10, 9,  1, 2, 5,  4,  7,  8,  11, 10, // two cubes below
                      6, 7, 10, 9, 12, 13, 16, 15, 7, 8, 11, 10, 13, 14, 17, 16};
    unsigned crack[] = {6, 7, 10, 9, 7, 8, 11, 10}; // the normal points up: the cubes above take the copies
    auto cells = dense2D<unsigned>::view(ids, 8, 4, 8);
    const auto surface = dense2D<unsigned>::view(crack, 4, 2, 4);
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    int status = meldra::get_neighbors(cells, ET_H8, false, neighbors) | meldra::get_ancestors(cells, ancestors);
    if (status == 0)
        status =
            meldra3d::duplicate_surface_nodes(pos, cells, neighbors, ancestors, surface, {8, 11}, true, false, ET_H8);
    std::printf("%d copies, %zu nodes\n", status, pos.cols()); // not negative: the number of copies
    return status < 0 ? 1 : 0;
}
// prints: 4 copies, 22 nodes
