// The element across each face of a hexahedron, a pyramid and a wedge.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    const unsigned n = no_node;
    unsigned ids[] = {0, 1, 2, 3, 4, 5, 6, 7, 4, 5, 6, 7, 8, n, n, n, 1, 5, 9, 2, 6, 10, n, n};
    const auto solids = dense2D<unsigned>::view(ids, 8, 3, 8); // a hexahedron, a pyramid and a wedge
    dense2D<unsigned> neighbors;
    const int status = meldra::get_neighbors(solids, ET_SOLID_MIX, false, neighbors);
    for (std::size_t f = 0; status == 0 && f < neighbors.rows(); ++f)
        std::printf(neighbors(f, 0) == no_node ? "- " : "%u ", neighbors(f, 0));
    std::printf("across the faces of the hexahedron\n");
    return status;
}
// prints: - 2 - - - 1 across the faces of the hexahedron
