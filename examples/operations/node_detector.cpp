// Finds the node of a mesh that is nearest to a point.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 8, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4); // a cube of six direct tetrahedra
    meldra::node_detector detector;
    const int status = detector.reinit(pos, cells);
    const vector_fixed<double, 3> inside{0.9, 0.2, 0.7}, outside{1.8, 1.3, -0.3};
    std::printf("nodes %u and %u\n", detector.find_closest(inside), detector.find_closest(outside));
    return status;
}
// prints: nodes 5 and 3
