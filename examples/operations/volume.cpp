// The volume of a hexahedron, a pyramid and a wedge together.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0,   0,   0,   1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1, // a cube
                    0.5, 0.5, 1.7, 2, 0, 0, 2, 1, 0};                                             // a roof and a ramp
    const unsigned n = no_node;
    unsigned ids[] = {0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 8, n, n, n, 1, 5, 9, 2, 6, 10, n, n};
    const auto pos = dense2D<double>::view(xyz, 3, 11, 3);
    const auto solids = dense2D<unsigned>::view(ids, 8, 3, 8); // a hexahedron, a pyramid and a wedge
    double volume = 0;
    const int status = meldra3d::volume(pos, solids, volume);
    std::printf("volume %.4f\n", volume);
    return status;
}
// prints: volume 1.7333
