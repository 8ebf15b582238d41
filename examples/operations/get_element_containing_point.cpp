// Finds the tetrahedron that holds a point, and the local coordinates of the point there.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 8, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4); // a cube of six direct tetrahedra
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    meldra::node_detector detector;
    unsigned element = no_node;
    vector_fixed<double, 3> local{};
    int status = meldra::get_neighbors(cells, ET_TH4, false, neighbors);
    status |= meldra::get_ancestors(cells, ancestors) | detector.reinit(pos, cells);
    if (status == 0) // 1 when the point is found
        status = meldra3d::get_element_containing_point(pos, cells, neighbors, ancestors, detector, ET_TH4,
                                                        {0.75, 0.5, 0.25}, element, local, 1e-6);
    std::printf("element %u, weights %.2f %.2f %.2f\n", element, local[0], local[1], local[2]);
    return status == 1 ? 0 : 1;
}
// prints: element 0, weights 0.25 0.25 0.25
