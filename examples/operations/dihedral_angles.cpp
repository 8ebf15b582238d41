// Smallest and largest angle between two faces of each element, in degrees.
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
    dense1D<double> least(solids.cols()), most(solids.cols()); // the caller provides an entry for each element
    const int status = meldra3d::dihedral_angles(pos, solids, false, least, most);
    for (std::size_t e = 0; e < solids.cols(); ++e)
        std::printf("%.3f to %.3f, ", least[e] * 57.29577951308232, most[e] * 57.29577951308232);
    std::printf("degrees\n");
    return status;
}
// prints: 90.000 to 90.000, 54.462 to 109.745, 45.000 to 90.000, degrees
