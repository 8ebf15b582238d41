#pragma once

#include <numcore/numcore.h>

namespace quorl::meldra3d {

/// Cuts linear tetrahedra, wedges and hexahedra into hexahedra: 4, 6 and 8 of each, one around each vertex.
///
/// Each hexahedron has the vertex, the new middles of the element's edges there, the new centres of its faces there and
/// its new centre. Elements that share an edge or a face share its node. Planar faces keep the volume.
///   pos        in/out     3 x nodes; the new nodes are appended, as `convert_into_high_order` numbers them with one
///                         node everywhere
///   connect    in         4 rows: tetrahedra; 6: wedges; 8: wedges and hexahedra, `no_node` in the unused rows of
///                         wedges; 5 rows (pyramids) get their nodes but give no hexahedra
///   connectH8  appended   8 rows: the hexahedra of one element after another, in the order of its vertices
///   faces      in         9 rows: quadrangles that have their middles and centre already (Q9), to be used again; may
///                         be empty, and must be for 4 rows of `connect`
///   edges      in         3 rows: edges that have their middle already, behind their ends; may be empty
/// Returns, in the order tested: 0 when `connect` is empty; -1 when `pos` has not 3 rows; -2 when `connect` is
/// malformed or names a node beyond `pos`; -3 when `connectH8` is neither empty nor of 8 rows; -4 when `faces` is not
/// of 9 rows or names a node beyond `pos`, -5 likewise for 3 rows of `edges`; -2 when an 8-row `connect` holds a
/// tetrahedron or a pyramid; -199 when memory ran out or the given faces do not suit the elements. Nothing is changed
/// after -1 to -5; after -199 `connectH8` is as before, but `pos` may have grown.
/// Linear in the elements; the working memory is that of the conversion and its result.
MELDRA3D_API int split_into_H8(dense2D<double>& pos, const dense2D<unsigned int>& connect,
                               dense2D<unsigned int>& connectH8, dense2D<unsigned int>& faces,
                               dense2D<unsigned int>& edges);

/// Cuts linear solids so that chosen quadrangles of theirs become two triangles each.
///
/// An element that has one of the quadrangles as a face is replaced by smaller elements; its other faces stay as they
/// are, so that its other neighbours still fit. All other elements are copied.
///   pos         in/out   3 rows; a node is appended for each element that is cut around its centroid, also when the
///                        cut fails afterwards
///   connectM    in       8 rows: tetrahedra, pyramids, wedges and hexahedra, `no_node` in the unused rows
///   connectQ4   in       4 rows: the quadrangles to cut, as cycles of their nodes; they need not be faces
///   diagonals   in       for each quadrangle 0 or 1, its diagonal
///   min_volume  in       every piece must have a larger signed volume, in cubic units of `pos`; NaN lets all fail
///   failed      out      cleared first; columns of `connectM` that could not be cut: no piece of theirs is kept
///   connectOut  out      cleared first; 8 rows: copies and pieces in the order of `connectM`
///
/// Faces have the numbers and cycles of docs/numbering.md. The cycle of a quadrangle may begin at any of its nodes and
/// run either way round, but it must be that of the face. The bit counts in the element's own listing (f0, f1, f2, f3)
/// of the face, not in that of the quadrangle: 0 joins f0 and f2, 1 joins f1 and f3, and a quadrangle that runs the
/// other way round stands for the other bit. So the two elements at a quadrangle may cut it along different diagonals;
/// given in both directions it has a bit for each side. Of equal cycles in one direction the last counts.
///
/// An element with m quadrangles to cut becomes
///   m = 0                                             itself
///   m = 2, opposite faces of a hexahedron, bits equal two wedges
///   m = 2, wedge, faces 2 and 3, bits different       a pyramid and a tetrahedron
///   m = 2, wedge, face 4 and another, bits equal      nothing: it fails
///   otherwise                                         a tetrahedron or pyramid on each face, with the centroid of its
///                                                     nodes as apex, of which pyramids on marked faces are cut in two
/// A cut that fails is not tried in another way.
///
/// Always returns 0, also when memory ran out: what could not be stored is then missing. Nothing is checked: the row
/// counts must be those above, `diagonals` at least as long as there are quadrangles, and all node IDs below the number
/// of nodes. An output may share storage with an input: it then moves to storage of its own.
/// Linear in the elements and quadrangles; the working memory is a hashed table of the quadrangles.
MELDRA3D_API int split_solid_Q4(dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                                const dense2D<unsigned int>& connectQ4, const dense1D<unsigned int, 8>& diagonals,
                                double min_volume, dense1D<unsigned int, 8>& failed, dense2D<unsigned int>& connectOut);

} // namespace quorl::meldra3d
