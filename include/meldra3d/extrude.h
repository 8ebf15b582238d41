#pragma once

#include <numcore/numcore.h>

namespace quorl::meldra3d {

// The sweeps. A surface mesh of triangles and quadrangles is copied level by level along a path; between two levels
// each triangle becomes a wedge and each quadrangle a hexahedron. They share this frame:
//
//   pos          in/out     2 or 3 rows (a 2-row matrix gets z = 0), one column a node; the new nodes are appended
//   connectS     in         the surface: 3 rows (triangles), or 4 rows with `no_node` in row 3 of a triangle
//   size_start   in         layer thickness wanted next to the surface, in the unit of `pos`, > 0
//   size_end     in         layer thickness wanted at the end of the path, > 0
//   even_layers  in         round to an even number of layers
//   nlayers      in         number of equal layers, in place of the two sizes; 0 does nothing
//   connectE     appended   the solids: 6 rows for a 3-row surface, 8 rows for a 4-row one (`no_node` in rows 6 and 7
//                           of a wedge); may hold elements of 6 or 8 rows already, which are cut or widened
//   edges        in         2 x n: edges to sweep into side quadrangles; may be empty; their IDs are not checked
//   connectQ     appended   the side quadrangles, 4 rows
//   connectT     appended   the faces that close the last layer, facing back, in the rows of `connectS`
//
// With nn surface nodes in order of first appearance in `connectS`, the copy of the j-th on level k = 1 .. n has the ID
// (nodes before) + (k - 1) * nn + j. Solid (element i, layer k) is column i * n + (k - 1) behind those that were there,
// nodes of the lower level first; side quadrangle (edge i, layer k) likewise. No element is turned round: the solids
// are direct when the path leaves the surface on the side from which its faces turn counter-clockwise.
//
// The number of layers is L times the mean number of layers per unit length of a geometric progression between the two
// sizes, rounded at the geometric mean of its neighbours and at least 1 (2 when even). The layers are graded
// geometrically from `size_start` to `size_end`.
//
// A failure leaves the column counts of all four outputs as they were. -199 also stands for a mesh whose node IDs
// would not fit in 32 bits and for a number of layers that cannot be one (a length that is infinite or NaN, sizes too
// small). An output may share storage with an input: it then moves to storage of its own.
// Time is linear in what is written; the working memory is a map of the surface nodes.

/// Sweeps a surface along a straight vector.
///   dir   in   the whole translation; the last level is the surface moved by it
/// Returns, in the order tested: 0 when `connectS` is empty (nothing is checked or changed); -1 when `pos` has not 2 or
/// 3 rows; -2 when `connectS` is malformed or names a node beyond `pos`; -4 when `size_start` is not > 0; -5 when
/// `size_end` is not > 0; -7 when `connectE` is neither empty nor of 6 or 8 rows; -8 when `edges` is neither empty nor
/// of 2 rows; -9 when `connectQ` is neither empty nor of 4 rows; -10 when `connectT` is neither empty nor of 3 or 4
/// rows; -199 when memory ran out.
MELDRA3D_API int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                   const vector_fixed<double, 3>& dir, double size_start, double size_end,
                                   bool even_layers, dense2D<unsigned int>& connectE,
                                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                   dense2D<unsigned int>& connectT);

/// As the full form with sizes, without side and closing faces; its codes.
MELDRA3D_API int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                   const vector_fixed<double, 3>& dir, double size_start, double size_end,
                                   bool even_layers, dense2D<unsigned int>& connectE);

/// As the full form with sizes, for a number of equal layers. Returns 0 at once when `nlayers` is 0; otherwise the
/// codes of the form with sizes: -4 stands for a `dir` of length 0 (or not a number), and -7 to -10 for the 5th to 8th
/// arguments of this form.
MELDRA3D_API int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                   const vector_fixed<double, 3>& dir, unsigned int nlayers,
                                   dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                                   dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT);

/// As the form above, without side and closing faces; its codes.
MELDRA3D_API int extrude_translate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                   const vector_fixed<double, 3>& dir, unsigned int nlayers,
                                   dense2D<unsigned int>& connectE);

/// Sweeps a surface about an axis, by the right-hand rule.
///   axis_point   in   a point of the axis
///   rotation     in   the whole rotation: its direction is that of the axis, its length the angle in radians. After a
///                     full turn the last level lies on the surface, and its nodes are new ones all the same
/// The length L that is divided into layers is the angle times the whole distance of node connectS(0, 0) from
/// `axis_point`, the part along the axis included: place that point on the level of this node.
/// Returns, in the order tested: 0 when `connectS` is empty (nothing is checked or changed); -1 when `pos` has not 2 or
/// 3 rows; -2 when `connectS` is malformed or names a node beyond `pos`; -5 when `size_start` is not > 0; -6 when
/// `size_end` is not > 0; -8 when `connectE` is neither empty nor of 6 or 8 rows; -9 when `edges` is neither empty nor
/// of 2 rows; -10 when `connectQ` is neither empty nor of 4 rows; -11 when `connectT` is neither empty nor of 3 or 4
/// rows; -199 when memory ran out. L = 0 gives one layer (two when even).
MELDRA3D_API int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE,
                                const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                dense2D<unsigned int>& connectT);

/// As the full form with sizes, without side and closing faces; its codes.
MELDRA3D_API int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE);

/// As the full form with sizes, for a number of equal layers. Returns, in the order tested: 0 when `nlayers` is 0 or
/// `connectS` is empty; -1 when `pos` has not 2 or 3 rows; -2 when node connectS(0, 0) is beyond `pos`; -6, -7, -8, -9
/// for the rows of `connectE`, `edges`, `connectQ`, `connectT`; then the codes of the form with sizes: -2 for the rest
/// of `connectS`, -5 when L is 0 (or not a number), -199.
MELDRA3D_API int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                unsigned int nlayers, dense2D<unsigned int>& connectE,
                                const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                dense2D<unsigned int>& connectT);

/// As the form above, without side and closing faces; its codes.
MELDRA3D_API int extrude_rotate(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                unsigned int nlayers, dense2D<unsigned int>& connectE);

/// Sweeps a surface about an axis and along a vector at the same time: each level is the surface turned by a fraction
/// of `rotation` and then moved by the same fraction of `shift`.
///   axis_point   in   a point of the axis
///   rotation     in   as for `extrude_rotate`
///   shift        in   the whole translation; the length that is divided into layers is its length alone
/// Returns the codes of `extrude_rotate`, in its order, although `shift` moves the later arguments one place on: 0, -1,
/// -2, -5 `size_start`, -6 `size_end`, -8 `connectE`, -9 `edges`, -10 `connectQ`, -11 `connectT`, -199. A `shift` of
/// length 0 gives one layer (two when even).
MELDRA3D_API int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                const vector_fixed<double, 3>& shift, double size_start, double size_end,
                                bool even_layers, dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT);

/// As the full form with sizes, without side and closing faces; its codes.
MELDRA3D_API int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                const vector_fixed<double, 3>& shift, double size_start, double size_end,
                                bool even_layers, dense2D<unsigned int>& connectE);

/// As the full form with sizes, for a number of equal layers. Returns, in the order tested: 0 when `nlayers` is 0; -7
/// when `connectE` is neither empty nor of 6 or 8 rows; -8 when `connectT` is neither empty nor of 3 or 4 rows, both
/// even when `connectS` is empty; then the codes of the form with sizes: 0 when `connectS` is empty, -1, -2, -5 when
/// `shift` has length 0 (or is not a number), -9 for `edges`, -10 for `connectQ`, -199.
MELDRA3D_API int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                const vector_fixed<double, 3>& shift, unsigned int nlayers,
                                dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT);

/// As the form above, without side and closing faces; its codes.
MELDRA3D_API int extrude_spiral(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const vector_fixed<double, 3>& axis_point, const vector_fixed<double, 3>& rotation,
                                const vector_fixed<double, 3>& shift, unsigned int nlayers,
                                dense2D<unsigned int>& connectE);

/// Sweeps a surface along a polyline whose nodes are in `pos` already: one layer for each segment. From one node of the
/// line, A, to the next, B, the section moves from A to B, turns as the line does and may grow.
///   pos       in/out   3 rows
///   line      in       IDs of the nodes of the polyline, at least two; they may repeat
///   dir0      in       the direction in which the section looks, to be turned onto the first segment; any length
///   metrics   in       empty, or 6 rows: a column m11 m12 m22 m13 m23 m33 for each node of the line, the metric of
///                      the section's size there: a size h is wanted along a unit vector e when e^T M e = 1 / h^2
/// The section turns by the smallest rotation that takes one direction into the next. A turn of more than 90 degrees is
/// made by its supplement instead, and a reversal not at all. A segment (or `dir0`) of length 0 turns nothing, and does
/// not turn the segment after it either.
/// Node by node, its offset from A is scaled by h(B) / h(A), both sizes taken along the offset before the turn. A
/// metric that is missing, not finite or not positive definite counts as size 1, and so does that of the first node of
/// the line always. A node at A, or whose size at B is 0, comes to B.
/// Where the first node of the line belongs to the surface, the others take the place of its copies, and `pos` gets
/// none of these: as if they were removed with `simplify` in the end. Entries of the three outputs that named such a
/// copy before the call, which then was beyond `pos`, are renamed as well. With entries (of an output or of `edges`)
/// that name no node even so, the copies are there: the mesh then has nodes that no element uses.
/// Returns, in the order tested: 0 when `connectS` is empty (nothing is checked or changed); -1 when `pos` has not 3
/// rows; -2 when `connectS` is malformed or names a node beyond `pos`; -3 when `line` has less than two entries or one
/// that is no node of `pos` (`no_node` is none); -5 when `metrics` is neither empty nor of 6 rows; -6 when `connectE`
/// is neither empty nor of 6 or 8 rows; -7 when `edges` is neither empty nor of 2 rows; -8 when `connectQ` is neither
/// empty nor of 4 rows; -9 when `connectT` is neither empty nor of 3 or 4 rows; -199 when memory ran out.
MELDRA3D_API int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                              const dense1D<unsigned int, 8>& line, const vector_fixed<double, 3>& dir0,
                              const dense2D<double>& metrics, dense2D<unsigned int>& connectE,
                              const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                              dense2D<unsigned int>& connectT);

/// As the full form with metrics, without side and closing faces; its codes.
MELDRA3D_API int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                              const dense1D<unsigned int, 8>& line, const vector_fixed<double, 3>& dir0,
                              const dense2D<double>& metrics, dense2D<unsigned int>& connectE);

/// As the full form with metrics, scaled by sizes.
///   sizes   in   a value for each node of the line: from A to B the section grows by the quotient of theirs, the first
///                node's included. A value that is missing, not > 0 or not finite counts as 1
/// Returns the codes of the form with metrics; -5 does not occur.
MELDRA3D_API int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                              const dense1D<unsigned int, 8>& line, const vector_fixed<double, 3>& dir0,
                              const dense1D<double, 8>& sizes, dense2D<unsigned int>& connectE,
                              const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                              dense2D<unsigned int>& connectT);

/// As the form above, without side and closing faces; its codes.
MELDRA3D_API int extrude_line(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                              const dense1D<unsigned int, 8>& line, const vector_fixed<double, 3>& dir0,
                              const dense1D<double, 8>& sizes, dense2D<unsigned int>& connectE);

/// Thickens a surface: sweeps each node along the normal of the surface there (`meldra2d::normals`, of length 1 and by
/// the right-hand rule; a node without a normal stays where it is).
///   pos        in/out  3 rows here, not 2
///   thickness  in      how far each node moves, > 0, in the unit of `pos`
/// Returns, in the order tested: 0 when `connectS` is empty (nothing is checked or changed); -1 when `pos` has not 3
/// rows; -2 when `connectS` is malformed or names a node beyond `pos`; -3 when `thickness` is not > 0; -4 when
/// `size_start` is not > 0; -5 when `size_end` is not > 0; -7 when `connectE` is neither empty nor of 6 or 8 rows; -8
/// when `edges` is neither empty nor of 2 rows; -9 when `connectQ` is neither empty nor of 4 rows; -10 when `connectT`
/// is neither empty nor of 3 or 4 rows; -199 when memory ran out. The working memory takes in a normal for each column
/// of `pos`.
MELDRA3D_API int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness,
                                double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE,
                                const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                dense2D<unsigned int>& connectT);

/// As the full form with sizes, without side and closing faces; its codes.
MELDRA3D_API int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness,
                                double size_start, double size_end, bool even_layers, dense2D<unsigned int>& connectE);

/// As the full form with sizes, for a number of equal layers. Returns 0 at once when `nlayers` is 0; -5 when `connectE`
/// is neither empty nor of 6 or 8 rows and -6 when `connectT` (the 8th argument) is neither empty nor of 3 or 4 rows,
/// both also for an empty surface; then the codes of the form with sizes, where -8 and -9 stand for the 6th and 7th
/// arguments of this form.
MELDRA3D_API int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness,
                                unsigned int nlayers, dense2D<unsigned int>& connectE,
                                const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                dense2D<unsigned int>& connectT);

/// As the form above, without side and closing faces; its codes.
MELDRA3D_API int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS, double thickness,
                                unsigned int nlayers, dense2D<unsigned int>& connectE);

/// Sweeps each node of a surface along a vector of its own, in equal layers.
///   pos          in/out  3 rows here, not 2
///   node_shifts  in      3 rows, column i the whole way of node i; columns of other nodes are not read
///   nlayers      in      0 gives no node and no solid here, but the closing faces: those of the surface turned round
/// Returns, in the order tested: 0 when `connectS` is empty (nothing is checked or changed); -1 when `pos` has not 3
/// rows; -2 when `connectS` is malformed or names a node beyond `pos` or beyond `node_shifts`; -3 when `node_shifts`
/// has not 3 rows; -5 when `connectE` is neither empty nor of 6 or 8 rows; -6 when `edges` is neither empty nor of 2
/// rows; -7 when `connectQ` is neither empty nor of 4 rows; -8 when `connectT` is neither empty nor of 3 or 4 rows;
/// -199 when memory ran out.
MELDRA3D_API int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const dense2D<double>& node_shifts, unsigned int nlayers,
                                dense2D<unsigned int>& connectE, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT);

/// As the form above, without side and closing faces; its codes.
MELDRA3D_API int extrude_normal(dense2D<double>& pos, const dense2D<unsigned int>& connectS,
                                const dense2D<double>& node_shifts, unsigned int nlayers,
                                dense2D<unsigned int>& connectE);

} // namespace quorl::meldra3d
