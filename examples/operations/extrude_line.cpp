// Sweeps a surface along a polyline, a layer for each segment, while it becomes smaller.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 2,   0, 0, 0,   1, 0,   1,   1, 0,   2,   1, 0,   0.5, 1.8, 0, // the section
                    1, 0, 0, 1, 0, 2, 1.2, 0, 3, 1.8, 0, 3.9, 2.7, 0, 4.5, 3.7, 0, 4.7, 5.5, 0,   4.7};
    unsigned ids[] = {0, 1, 4, 3, 1, 2, 5, 4, 3, 4, 6, no_node};
    auto pos = dense2D<double>::view(xyz, 3, 14, 3);
    const auto section = dense2D<unsigned>::view(ids, 4, 3, 4);
    const dense1D<unsigned> line{7, 8, 9, 10, 11, 12, 13}; // nodes of the line
    const dense1D<double> sizes{1, 1, 0.9, 0.8, 0.7, 0.6, 0.5};
    dense2D<unsigned> solids;
    double volume = 0;
    int status = meldra3d::extrude_line(pos, section, line, {0, 0, 1}, sizes, solids);
    if (status == 0)
        status = meldra3d::volume(pos, solids, volume);
    std::printf("%zu nodes, %zu solids, volume %.3f\n", pos.cols(), solids.cols(), volume);
    return status;
}
// prints: 56 nodes, 18 solids, volume 12.626
