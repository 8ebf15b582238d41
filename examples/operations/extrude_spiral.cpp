// Sweeps a surface two turns about an axis while it moves along it, in 48 equal layers.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xy[] = {0, 0, 1, 0, 2, 0, 0, 1, 1, 1, 2, 1, 0.5, 1.8}; // seven nodes, two rows
    unsigned ids[] = {0, 1, 4, 3, 1, 2, 5, 4, 3, 4, 6, no_node};  // two quadrangles and a triangle
    auto pos = dense2D<double>::view(xy, 2, 7, 2);
    const auto section = dense2D<unsigned>::view(ids, 4, 3, 4);
    dense2D<unsigned> solids;
    double volume = 0;
    const double angle = 4 * 3.141592653589793;
    int status = meldra3d::extrude_spiral(pos, section, {4, 0, 0}, {0, angle, 0}, {0, 6, 0}, 48, solids);
    if (status == 0)
        status = meldra3d::volume(pos, solids, volume);
    std::printf("%zu nodes, %zu solids, volume %.3f\n", pos.cols(), solids.cols(), volume);
    return status;
}
// prints: 343 nodes, 144 solids, volume 92.321
