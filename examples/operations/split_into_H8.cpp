// Cuts a hexahedron and a wedge into hexahedra, one around each vertex.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1, 2, 0, 0, 2, 1, 0};
    unsigned ids[] = {0, 1, 2, 3, 4, 5, 6, 7, 1, 5, 8, 2, 6, 9, no_node, no_node};
    auto pos = dense2D<double>::view(xyz, 3, 10, 3);
    const auto solids = dense2D<unsigned>::view(ids, 8, 2, 8);
    dense2D<unsigned> hexahedra, faces, edges; // no faces and edges that have their nodes already
    double volume = 0;
    int status = meldra3d::split_into_H8(pos, solids, hexahedra, faces, edges);
    if (status == 0)
        status = meldra3d::volume(pos, hexahedra, volume);
    std::printf("%zu nodes, %zu hexahedra, volume %.3f\n", pos.cols(), hexahedra.cols(), volume);
    return status;
}
// prints: 39 nodes, 14 hexahedra, volume 1.500
