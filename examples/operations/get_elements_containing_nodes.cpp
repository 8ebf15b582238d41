// Finds the tetrahedra that hold nodes of no element. What the search needs is made inside.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0,    0,   0,    1,    0,   0,   0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1, 1, 1, 1, // the cube
                    0.75, 0.5, 0.25, 0.25, 0.5, 0.75};
    unsigned ids[] = {1, 0, 3, 7, 0, 1, 5, 7, 0, 2, 3, 7, 2, 0, 6, 7, 4, 0, 5, 7, 0, 4, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 10, 3);
    const auto cells = dense2D<unsigned>::view(ids, 4, 6, 4);
    const dense1D<unsigned> nodes{8, 9};
    dense1D<unsigned> elements;
    dense2D<double> local;
    const int status = meldra3d::get_elements_containing_nodes(pos, cells, ET_TH4, nodes, elements, local, 1e-6);
    std::printf("node 8 in element %u, node 9 in element %u\n", elements[0], elements[1]);
    return status;
}
// prints: node 8 in element 0, node 9 in element 5
