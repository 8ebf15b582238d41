// Raises the order of three meshes one after another, so that they share the nodes of their common face and edge.
#include <cstdio>

#include <meldra3d/meldra3d.h>

using namespace quorl;

int main() {
    double xyz[] = {0,  0, 0, 1, 0, 0, 1,  1, 0, 0,  1, 0, 0, 0, 1, 1,  0, 1, 1, 1, 1, 0, 1, 1, // the nodes of a cube,
                    2,  0, 0, 2, 1, 0,                                                          // of a wedge beside it,
                    -1, 1, 0, 0, 2, 0, -1, 2, 0, -1, 1, 1, 0, 2, 1, -1, 2, 1};                  // of a cube at an edge
    unsigned first[] = {0, 1, 2, 3, 4, 5, 6, 7}, second[] = {1, 5, 8, 2, 6, 9},
             third[] = {10, 3, 11, 12, 13, 7, 14, 15};
    auto pos = dense2D<double>::view(xyz, 3, 16, 3);
    auto cube = dense2D<unsigned>::view(first, 8, 1, 8);
    auto wedge = dense2D<unsigned>::view(second, 6, 1, 6);
    auto other = dense2D<unsigned>::view(third, 8, 1, 8);
    int status = meldra3d::convert_into_quadratic(pos, cube);
    if (status != 0)
        return 1;

    // Of the cube's 27 rows: its face 1 as a quadrangle of nine nodes, and its edge from node 3 to node 7.
    dense2D<unsigned> faces(9, 1), edges(3, 1), none;
    const unsigned face_rows[] = {1, 2, 6, 5, 9, 18, 13, 17, 21}, edge_rows[] = {3, 7, 19};
    for (unsigned k = 0; k < 9; ++k)
        faces(k, 0) = cube(face_rows[k], 0);
    for (unsigned k = 0; k < 3; ++k)
        edges(k, 0) = cube(edge_rows[k], 0);
    status = meldra3d::convert_into_quadratic(pos, wedge, faces, none);
    if (status == 0)
        status = meldra3d::convert_into_quadratic(pos, other, none, edges);
    std::printf("%zu nodes; cube and wedge share node %u, the cubes node %u\n", pos.cols(), wedge(15, 0), other(17, 0));
    return status;
}
// prints: 60 nodes; cube and wedge share node 40, the cubes node 27
