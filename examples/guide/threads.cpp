// Searches for many points in two threads: they share the mesh and the detector, and each has outputs of its own.
#include <cstdio>
#include <thread>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 8, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4);
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    meldra::node_detector detector; // made once; searching does not change it
    int status = meldra::get_neighbors(cells, ET_TH4, false, neighbors) | meldra::get_ancestors(cells, ancestors);
    status |= detector.reinit(pos, cells);

    const dense2D<double> points(3, 2000, 0.4);
    dense1D<unsigned> elements[2];
    dense2D<double> local[2];
    int found[2] = {-1, -1};
    const auto search = [&](unsigned part) { // windows of one matrix are views: they copy nothing
        found[part] = meldra3d::get_elements_containing_points(pos, cells, neighbors, ancestors, detector, ET_TH4,
                                                               points.sub(0, 1000 * part, 3, 1000), elements[part],
                                                               local[part], 1e-6);
    };
    std::thread other(search, 1);
    search(0);
    other.join();
    std::printf("%zu and %zu points, status %d and %d\n", elements[0].size(), elements[1].size(), found[0], found[1]);
    return status | found[0] | found[1];
}
// prints: 1000 and 1000 points, status 0 and 0
