// Finds the tetrahedra that hold three points, one of which lies outside, and the local coordinates there.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 8, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4); // a cube of six direct tetrahedra
    double at[] = {0.75, 0.5, 0.25, 0.25, 0.5, 0.75, 1.5, 1.5, 1.5};
    const auto points = dense2D<double>::view(at, 3, 3, 3);
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors, elements;
    meldra::node_detector detector;
    dense2D<double> local;
    int status = meldra::get_neighbors(cells, ET_TH4, false, neighbors);
    status |= meldra::get_ancestors(cells, ancestors) | detector.reinit(pos, cells);
    if (status == 0) // 0 when all are found; here that of the last point that is not
        status = meldra3d::get_elements_containing_points(pos, cells, neighbors, ancestors, detector, ET_TH4, points,
                                                          elements, local, 1e-6);
    std::printf("elements %u and %u, the third is %s; weight of node 0 in the first: %.2f\n", elements[0], elements[1],
                elements[2] == no_node ? "outside" : "inside", local(0, 0));
    return status;
}
// prints: elements 0 and 5, the third is outside; weight of node 0 in the first: 0.25
