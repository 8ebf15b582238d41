// Sweeps two squares upwards into layers of hexahedra and measures them.
#include <cstdio>

#include <meldra3d/meldra3d.h>

int main() {
    using namespace quorl;
    double xy[] = {0, 0, 1, 0, 2, 0, 0, 1, 1, 1, 2, 1}; // six nodes, a column each; two rows lie at z = 0
    unsigned ids[] = {0, 1, 4, 3, 1, 2, 5, 4};          // two quadrangles of four nodes
    auto pos = dense2D<double>::view(xy, 2, 6, 2);      // no copy; growing moves to memory of the library
    const auto surface = dense2D<unsigned>::view(ids, 4, 2, 4);
    dense2D<unsigned> solids;
    double volume = 0;

    // One unit along z, in layers about 0.1 thick at the surface and 0.4 at the end.
    int status = meldra3d::extrude_translate(pos, surface, {0, 0, 1}, 0.1, 0.4, false, solids);
    if (status == 0)
        status = meldra3d::volume(pos, solids, volume);
    std::printf("status %d: %zu hexahedra, volume %g\n", status, solids.cols(), volume);
    return status == 0 ? 0 : 1;
}
// prints: status 0: 10 hexahedra, volume 2
