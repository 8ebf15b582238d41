// Brings quadratic tetrahedra in the node order of VTK into the order and orientation of this library.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0,  0, 0, 1,  0,  0, 0, 1,  0, 0, 0, 1,                         // vertices, then the middles of
                    .5, 0, 0, .5, .5, 0, 0, .5, 0, 0, 0, .5, .5, 0, .5, 0, .5, .5}; // 01 12 20 03 13 23
    const unsigned theirs[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const unsigned order[] = {0, 2, 1, 3, 5, 4, 6, 7, 9, 8}; // of TH10 in docs/numbering.md
    const auto pos = dense2D<double>::view(xyz, 3, 10, 3);
    dense2D<unsigned> ours(10, 1);
    for (unsigned k = 0; k < 10; ++k)
        ours(k, 0) = theirs[order[k]];
    double volume = 0;
    const int status = meldra3d::volume(pos, ours.sub(0, 0, 4, 1), volume); // of the vertices: a window, no copy
    std::printf("nodes %u %u %u %u, volume %.3f\n", ours(0, 0), ours(1, 0), ours(2, 0), ours(3, 0), volume);
    return status;
}
// prints: nodes 0 2 1 3, volume 0.167
