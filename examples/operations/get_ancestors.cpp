// An element of each node of a hexahedron, a pyramid and a wedge: the first that holds it.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    const unsigned n = no_node;
    unsigned ids[] = {0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 8, n, n, n, 1, 5, 9, 2, 6, 10, n, n};
    const auto solids = dense2D<unsigned>::view(ids, 8, 3, 8);
    dense1D<unsigned> ancestors;
    const int status = meldra::get_ancestors(solids, ancestors);
    for (const unsigned element : ancestors)
        std::printf("%u ", element);
    std::printf("hold nodes 0 to %zu\n", ancestors.size() - 1);
    return status;
}
// prints: 0 0 0 0 0 0 0 0 1 2 2 hold nodes 0 to 10
