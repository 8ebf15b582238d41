// Thickens half a tube outwards, in layers that grow from about 0.05 to about 0.2.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    dense2D<double> pos(3, 18);
    dense2D<unsigned> tube(4, 8), solids;
    for (unsigned k = 0; k < 9; ++k) // two nodes at each of nine angles
        for (unsigned y = 0; y < 2; ++y) {
            const double values[] = {std::cos(k * 0.3926990816987241), 2.0 * y, std::sin(k * 0.3926990816987241)};
            std::copy_n(values, 3, pos.col(2 * k + y));
        }
    for (unsigned k = 0; k < 8; ++k) { // counter-clockwise seen from outside: the normals point there
        const unsigned ids[] = {2 * k, 2 * k + 1, 2 * k + 3, 2 * k + 2};
        std::copy_n(ids, 4, tube.col(k));
    }
    double volume = 0;
    int status = meldra3d::extrude_normal(pos, tube, 0.5, 0.05, 0.2, false, solids);
    if (status == 0)
        status = meldra3d::volume(pos, solids, volume);
    std::printf("%zu nodes, %zu solids, volume %.3f\n", pos.cols(), solids.cols(), volume);
    return status;
}
// prints: 108 nodes, 40 solids, volume 3.741
