// Gives a hexahedron, a pyramid and a wedge two nodes on each edge and those of cubic elements inside.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0,   0,   0,   1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1, // a cube
                    0.5, 0.5, 1.7, 2, 0, 0, 2, 1, 0};                                             // a roof and a ramp
    const unsigned n = no_node;
    unsigned ids[] = {0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 8, n, n, n, 1, 5, 9, 2, 6, 10, n, n};
    auto pos = dense2D<double>::view(xyz, 3, 11, 3);
    auto solids = dense2D<unsigned>::view(ids, 8, 3, 8); // a hexahedron, a pyramid and a wedge
    // On each edge 2, in each quadrangle 4, triangle 1, hexahedron 8, tetrahedron 0, wedge 2, pyramid 1.
    const int status = meldra3d::convert_into_high_order(pos, solids, 2, 4, 1, 8, 0, 2, 1, {}, {});
    std::printf("%zu nodes, %zu solids in %zu rows\n", pos.cols(), solids.cols(), solids.rows());
    return status;
}
// prints: 102 nodes, 3 solids in 64 rows
