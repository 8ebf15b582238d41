// Turns a tetrahedron of another tool round, and with it the sign of its volume; then elements of other types.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
    unsigned four[] = {0, 1, 2, 3}, six[] = {0, 1, 2, 3, 4, 5}, eight[] = {0, 1, 2, 3, 4, 5, 6, 7};
    const auto pos = dense2D<double>::view(xyz, 3, 4, 3);
    auto tetrahedron = dense2D<unsigned>::view(four, 4, 1, 4);
    auto wedge = dense2D<unsigned>::view(six, 6, 1, 6), hexahedron = dense2D<unsigned>::view(eight, 8, 1, 8);
    double before = 0, after = 0;
    int status = meldra3d::volume(pos, tetrahedron, before);
    status |= meldra3d::flip_TH4(tetrahedron); // nodes 0 and 1 change places; flip(tetrahedron, ET_TH4): 0 and 2
    status |= meldra3d::volume(pos, tetrahedron, after);
    status |= meldra3d::flip_W6(wedge) | meldra3d::flip_H8(hexahedron) | meldra3d::flip(hexahedron, ET_H8);
    std::printf("volume %.3f becomes %.3f; the wedge begins with node %u\n", before, after, wedge(0, 0));
    return status;
}
// prints: volume -0.167 becomes 0.167; the wedge begins with node 3
