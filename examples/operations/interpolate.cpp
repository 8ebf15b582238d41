// Carries a field on the nodes of a mesh to two nodes of no element: one inside, one outside.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0,    0,   0,    1,   0,   0,  0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1, // the cube
                    0.75, 0.5, 0.25, 1.5, 1.5, 1.5}; // two more nodes
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 10, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4);
    dense1D<double> field{0, 1, 10, 11, 100, 101, 110, 111, 0, 0}; // x + 10 y + 100 z on the cube
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    int status = meldra::get_neighbors(cells, ET_TH4, false, neighbors) | meldra::get_ancestors(cells, ancestors);
    if (status == 0)
        status = meldra3d::interpolate(pos, cells, neighbors, ancestors, field, dense1D<unsigned>{8, 9});
    std::printf("%.2f inside; outside the value of the nearest node, %.2f\n", field[8], field[9]);
    return status;
}
// prints: 30.75 inside; outside the value of the nearest node, 111.00
