// Deletes the nodes that no element uses, and renumbers the others in two connectivities at once.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xy[] = {0, 0, 9, 9, 1, 0, 1, 1, 9, 9, 0, 1};
    unsigned face[] = {0, 2, 3, 5}, edge[] = {3, 5};
    auto pos = dense2D<double>::view(xy, 2, 6, 2);
    dense2D<unsigned> meshes[] = {dense2D<unsigned>::view(face, 4, 1, 4), dense2D<unsigned>::view(edge, 2, 1, 2)};
    dense1D<unsigned> new_ids;
    const int status = meldra::simplify(pos, meshes, meshes + 2, new_ids, 0);
    std::printf("%zu nodes; node 5 is node %u now, in the edge as well: %u\n", pos.cols(), new_ids[5], meshes[1](1, 0));
    return status;
}
// prints: 4 nodes; node 5 is node 3 now, in the edge as well: 3
