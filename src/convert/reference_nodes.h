#pragma once

#include <array>
#include <cstdint>

#include <numcore/fixed.h>

// Where the nodes of elements of higher order lie: images of evenly spaced points of the reference elements. Weights
// are quotients of integers and sums are taken in pairs of opposite vertices, so that the nodes of an edge and of a
// quadrangle get the same bits from whichever vertex and in whichever direction they are counted.
namespace quorl::meldra3d::detail {

using point = vector_fixed<double, 3>;

/// Node i of n on the edge from a to b: the point (i + 1) / (n + 1) of the way.
point node_on_edge(const point& a, const point& b, std::uint64_t i, std::uint64_t n);

/// The one node of an edge: `node_on_edge(a, b, 0, 1)`, to the bit.
inline point middle_of_edge(const point& a, const point& b) {
    return {0.5 * a[0] + 0.5 * b[0], 0.5 * a[1] + 0.5 * b[1], 0.5 * a[2] + 0.5 * b[2]};
}

/// Node k of n inside a triangle: the centroid for n = 1; for n = 3 the point of the weights (2, 1, 1) / 4 nearest
/// vertex k.
point node_in_triangle(const std::array<point, 3>& vertices, unsigned k, unsigned n);

/// Node (i, j) of a grid of n x n inside a quadrangle, along 0 - 1 and 0 - 3, by the bilinear map.
point node_in_quadrangle(const std::array<point, 4>& vertices, unsigned i, unsigned j, unsigned n);

/// The image of the centre under the map of a quadrangle of 8 nodes: half the sum of the nodes on its edges less a
/// quarter of the sum of its vertices.
point centre_of_quadrangle(const std::array<point, 4>& vertices, const std::array<point, 4>& on_edges);

/// Node (i, j, k) of a grid of n x n x n inside a hexahedron, along 0 - 1, 0 - 3 and 0 - 4, by the trilinear map.
point node_in_hexahedron(const std::array<point, 8>& vertices, unsigned i, unsigned j, unsigned k, unsigned n);

/// Node k of n inside a wedge with n_triangle nodes inside its triangles and n_edge on its edges: the layers between
/// the nodes of the triangles, lowest first, where that is their number; otherwise evenly spaced on the axis through
/// the centroids of the triangles.
point node_in_wedge(const std::array<point, 6>& vertices, std::uint64_t k, std::uint64_t n, unsigned n_triangle,
                    std::uint64_t n_edge);

/// The mean of n vertices.
point mean_of(const point* vertices, unsigned n);

/// The functions of a hexahedron of 26 nodes (vertices, edges and faces of the 27-node one, without its centre), at a
/// point of the cube [-1, 1]^3. They are the triquadratic functions of the 27-node hexahedron, whose centre is put
/// where the surface wants it: half the sum of the faces less a quarter of the sum of the edges plus an eighth of the
/// sum of the vertices (transfinite interpolation, Gordon and Hall 1973). A map is trilinear when its nodes lie so.
std::array<double, 26> functions_of_26(double u, double v, double w);

} // namespace quorl::meldra3d::detail
