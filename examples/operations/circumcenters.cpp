// Centres of the spheres around the tetrahedra of a cube: they all have the same.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 8, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4); // a cube of six direct tetrahedra
    dense2D<double> centers;
    const int status = meldra3d::circumcenters(pos, cells, centers);
    std::printf("%zu centres, the first (%g, %g, %g)\n", centers.cols(), centers(0, 0), centers(1, 0), centers(2, 0));
    return status;
}
// prints: 6 centres, the first (0.5, 0.5, 0.5)
