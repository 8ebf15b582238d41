#pragma once

#include <numcore/numcore.h>

namespace quorl::meldra3d {

// Conversion of the order of solid meshes. Going up, nodes are created inside edges, faces and elements, appended to
// the coordinates and written behind the vertices of each element. An edge or face that elements share gets one set of
// nodes, whichever way round each element sees it. Going down, the rows behind the vertices are dropped.
//
// Rows of an element of higher order: its vertices; the nodes of its edges, edge after edge (docs/numbering.md), each
// from its first vertex to its second; the nodes of its faces; its interior. A group without nodes takes no row.
//
// The nodes of a face stand in the cycle (f0, f1, f2[, f3]) of its listing in docs/numbering.md: those of a quadrangle
// on a grid that runs along f0 - f1 first, then along f0 - f3; three nodes of a triangle are those nearest f0, f1, f2.
// The interior of a hexahedron is a grid that runs along 0 - 1 first, then 0 - 3, then 0 - 4.

/// Drops the high-order nodes of a quadratic solid mesh.
///   connect   in/out   10 rows (tetrahedra) become 4; 13, 14, 15, 18, 20 or 27 rows (a mixed quadratic mesh) become 8
/// Each column of the mixed mesh is read by its first unused row, and the rows behind the vertices of a tetrahedron,
/// pyramid or wedge become `no_node`. A row can only be unused where it exists: a matrix of 13, 14, 15 or 18 rows whose
/// columns are all full is taken for hexahedra, and its mid-edge nodes stay in rows 5 to 7. No coordinate is removed.
/// Returns 0 (also when `connect` is empty), or -1, with nothing changed, when it has another number of rows.
/// Works in place, also in what other views of the storage see; allocates nothing.
MELDRA3D_API int convert_into_linear(dense2D<unsigned int>& connect);

/// Gives a linear solid mesh nodes inside its edges, faces and elements.
///   pos           in/out   3 x nodes; the new nodes are appended
///   connect_in    in       4 rows: tetrahedra; 5: pyramids; 6: wedges; 8: mixed, the unused tail is `no_node`
///   nE            in       nodes inside each edge, any number
///   nQ            in       nodes inside each quadrangle, a square
///   nT            in       nodes inside each triangle, 0, 1 or 3
///   nH            in       nodes inside each hexahedron, 0, 1, 8 or 27
///   nTH           in       nodes inside each tetrahedron, 0 or 1
///   nX            in       nodes inside each wedge, any number
///   nY            in       nodes inside each pyramid, 0 or 1
///   connect_out   out      cleared first; then one column an element, in the rows of its kind; for 8 rows of
///                          `connect_in` in those of the largest of the four kinds, `no_node` in the unused tail
///   faces         in       faces that have their nodes already, to be used again; may be empty. A triangle has 3
///                          vertices, nE nodes of each edge, nT nodes inside; a quadrangle 4, nE each, nQ; the edges
///                          numbered and the inside listed as for a face of that cycle. 4 rows of `connect_in` take the
///                          rows of triangles, 5 and 6 either, 8 those of quadrangles. Where the rows are not those of
///                          triangles alone, a column is a triangle when its last row is `no_node`
///   edges         in       likewise edges: 2 end nodes, nE nodes from the first to the second; may be empty
/// Of equal edges or faces the last counts, `edges` after `faces`. Those with `no_node` among their vertices are passed
/// over, and nodes are created where the group of an edge or face holds `no_node`.
///
/// Nodes lie at equal parametric distances on the straight element: on edges, on the bilinear map of a quadrangle, at
/// barycentric points of a triangle (the centroid, or (2, 1, 1) / 4), on the trilinear map of a hexahedron. Where faces
/// or edges are given and nE = 1, a single node of a quadrangle lies on the map through its 8 edge nodes, and with
/// nQ = 1 the nodes of a hexahedron on the map through its 26, so that given nodes bend them. The nodes of a wedge are
/// the layers of its triangles' nodes where nX = nT nE, otherwise they lie evenly on the axis through the centroids of
/// its triangles. One node of a tetrahedron or pyramid is the mean of its vertices.
///
/// New nodes are numbered in the order in which the elements meet them: edges, faces and interior of one element, then
/// the next.
///
/// Returns, in the order tested: 0 when `connect_in` is empty or all seven counts are 0; -1 when `pos` has not 3 rows;
/// -2 when `connect_in` is malformed or names a node beyond `pos`; -4 when nQ is no square; -5, -6, -7, -9 when nT, nH,
/// nTH or nY is none of the above; -11 when `faces` has other rows or an ID beyond `pos`, -12 likewise for `edges`;
/// -199 when memory ran out or an ID would reach `no_node`. Unless it is 0, `pos` is unchanged and `connect_out` empty.
/// `connect_out` may be the same matrix as an input or share its storage; other views keep their contents.
///
/// Edges and faces are found by hashing: linear in the elements, with some 20 to 70 bytes of working memory an edge and
/// 30 to 100 a face that has nodes.
MELDRA3D_API int convert_into_high_order(dense2D<double>& pos, const dense2D<unsigned int>& connect_in, unsigned int nE,
                                         unsigned int nQ, unsigned int nT, unsigned int nH, unsigned int nTH,
                                         unsigned int nX, unsigned int nY, dense2D<unsigned int>& connect_out,
                                         dense2D<unsigned int>& faces, dense2D<unsigned int>& edges);

/// As the form above, in place. `connect` is cleared before anything is checked: it is empty after every status but
/// that of success, and also when all counts are 0. Returns the codes of the form above: -11 and -12 stand for the 10th
/// and 11th arguments of this form.
MELDRA3D_API int convert_into_high_order(dense2D<double>& pos, dense2D<unsigned int>& connect, unsigned int nE,
                                         unsigned int nQ, unsigned int nT, unsigned int nH, unsigned int nTH,
                                         unsigned int nX, unsigned int nY, const dense2D<unsigned int>& faces,
                                         const dense2D<unsigned int>& edges);

/// In place, with one node on each edge, in each quadrangle and in each hexahedron: ET_TH10, ET_PY14, ET_W18 and ET_H27
/// of 10, 14, 18 and 27 rows, or 27 rows of ET_SOLID_MIX_Q for 8 rows of `connect`. Given `faces` have 6 rows (T6) or 9
/// (Q9, or T6 and 3 unused rows), given `edges` 3. Returns the codes of the full form: -11 stands for `faces`, -12 for
/// `edges`.
MELDRA3D_API int convert_into_quadratic(dense2D<double>& pos, dense2D<unsigned int>& connect,
                                        const dense2D<unsigned int>& faces, const dense2D<unsigned int>& edges);

/// As the form above, without given faces and edges.
MELDRA3D_API int convert_into_quadratic(dense2D<double>& pos, dense2D<unsigned int>& connect);

} // namespace quorl::meldra3d
