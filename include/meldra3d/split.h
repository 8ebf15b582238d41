#pragma once

#include <numcore/numcore.h>

namespace quorl::meldra3d {

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
