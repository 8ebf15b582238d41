// Interpolates wanted element sizes: 1 at the bottom of a cube, 3 at its top.
#include <cmath>
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1, 0.6, 0.5, 0.25};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 9, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4);
    dense2D<double> metrics(6, 9, 0.0); // rows m11 m12 m22 m13 m23 m33; 1 / h^2 on the diagonal for a size h
    for (unsigned node = 0; node < 8; ++node)
        for (const unsigned row : {0u, 2u, 5u})
            metrics(row, node) = node < 4 ? 1.0 : 1.0 / 9;
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    int status = meldra::get_neighbors(cells, ET_TH4, false, neighbors) | meldra::get_ancestors(cells, ancestors);
    if (status == 0 && !ancestors.resize(pos.cols(), no_node)) // an entry for each node here
        status = -199;
    if (status == 0)
        status = meldra3d::interpolate_metrics(pos, cells, neighbors, ancestors, metrics, dense1D<unsigned>{8}, false);
    std::printf("m11 is %.4f: a size of %.1f\n", metrics(0, 8), 1 / std::sqrt(metrics(0, 8)));
    return status;
}
// prints: m11 is 0.4444: a size of 1.5
