// The normal at the node where three rectangles of different sizes meet.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0, 0, 0, 1, 0, 0, 1, 2, 0, 0, 2, 0, 0, 0, 3, 1, 0, 3, 0, 2, 3};
    unsigned ids[] = {0, 1, 2, 3, 0, 4, 5, 1, 0, 3, 6, 4};
    const auto pos = dense2D<double>::view(xyz, 3, 7, 3);
    const auto faces = dense2D<unsigned>::view(ids, 4, 3, 4);
    dense2D<double> normals;
    const int status = meldra2d::normals(pos, faces, 0, true, normals);
    std::printf("(%.3f, %.3f, %.3f) at node 0\n", normals(0, 0), normals(1, 0), normals(2, 0));
    return status;
}
// prints: (0.577, 0.577, 0.577) at node 0
