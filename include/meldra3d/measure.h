#pragma once

#include <numcore/numcore.h>

namespace quorl::meldra3d {

/// Total signed volume of a mesh of linear solids.
///
/// Each element is a fixed sum of tetrahedra (five for a hexahedron, three for a wedge, two for a pyramid's base split
/// by its diagonals), and inverted elements count as negative. Hexahedra, wedges and pyramids are positive when their
/// base turns counter-clockwise seen from the opposite nodes; a tetrahedron is positive when its nodes 0, 1, 2 turn
/// clockwise seen from node 3.
///   pos       in    3 x nodes, any unit of length
///   connectM  in    4 rows: tetrahedra; 5: pyramids; 6: wedges; 8: mixed, the unused tail of a column is `no_node`
///   vol       out   set to 0 first; in cubic units of `pos`
/// Returns 0 (also for an empty connectivity, whatever `pos` is), -1 when `pos` has not 3 rows, -2 when `connectM` has
/// another row count, a malformed column or an ID beyond the nodes. `vol` is 0 on failure.
/// The elements are summed in column order. Linear in the elements; allocates nothing.
MELDRA3D_API int volume(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, double& vol);

/// Smallest and largest solid angle at the corners of each element of a mesh of linear solids.
///
/// The angle of a corner between unit edge vectors a, b, c is 2 atan2(a . (b x c), (a + b) . (b + c)) (van Oosterom and
/// Strackee 1983): positive in direct elements (see `volume`), negative at an inverted corner. The apex of a pyramid is
/// cut into two such corners, whose angles are added. An edge of length 0 is used as it is.
///   pos          in       3 x nodes, any unit; coordinates of rows that are missing count as 0
///   connectM     in       4 rows: tetrahedra; 5: pyramids; 6: wedges; 8: mixed, the unused tail of a column is
///                         `no_node`
///   normalized   in       true: scaled so that each corner of the regular element of its kind gives 1 (of the pyramid:
///                         the one whose edges are all equal); false: steradians
///   min_angles   written  entry e belongs to element e; the caller provides at least one entry for each element
///   max_angles   written  likewise; neither list is resized, and entries behind the elements are left alone
/// In a mixed mesh the slots that a tetrahedron, pyramid or wedge leaves unused take part as zeros: such an element
/// with positive corners has the smallest value 0.
/// Returns -2 when `connectM` has another row count, a malformed column or an ID beyond the nodes (nothing is then
/// written), otherwise 0, also for no element.
/// Linear in the elements; allocates nothing.
MELDRA3D_API int solid_angles(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, bool normalized,
                              dense1D<double>& min_angles, dense1D<double>& max_angles);

/// Smallest and largest angle between the two faces at the edges of each element of a mesh of linear solids.
///
/// The angle is the interior one, from 0 to pi: arccos(-u . w / sqrt(u^2 w^2)) with the normals u and w of the two
/// faces, and 0 where that product of squares is not > 0 (a face without area). The normal of a quadrangle is that of
/// its first three nodes as listed in docs/numbering.md.
///   pos          in       3 x nodes, any unit; coordinates of rows that are missing count as 0
///   connectM     in       4 rows: tetrahedra; 5: pyramids; 6: wedges; 8: mixed, the unused tail of a column is
///                         `no_node`
///   normalized   in       true: scaled so that each edge of the regular element of its kind gives 1 (of the pyramid
///                         and wedge: the one whose edges are all equal); false: radians
///   min_angles   written  entry e belongs to element e; the caller provides at least one entry for each element
///   max_angles   written  likewise; neither list is resized, and entries behind the elements are left alone
/// Returns -2 when `connectM` has another row count, a malformed column or an ID beyond the nodes (nothing is then
/// written), otherwise 0, also for no element.
/// Linear in the elements; allocates nothing.
MELDRA3D_API int dihedral_angles(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, bool normalized,
                                 dense1D<double>& min_angles, dense1D<double>& max_angles);

/// Centres of the spheres around tetrahedra.
///
/// From the centre of the circle around the face 1, 2, 3 the centre of the sphere lies along the normal of that face.
/// A flat tetrahedron, and one of negative volume in the sense of `volume`, gets the centre of that circle; where the
/// face itself has no area, the coordinates of node 3. None of these is reported.
///   pos        in    3 x nodes
///   connectM   in    4 x elements
///   centers    out   cleared first; then 3 x elements, column e for element e. May share storage with `pos`
/// Returns, in the order tested: -1 when `pos` has not 3 rows; -2 when `connectM` has not 4 rows (an empty matrix of
/// other rows included) or names a node beyond `pos`; -199 when memory ran out; otherwise 0.
/// `centers` is empty on failure. Linear in the elements; allocates the output alone.
MELDRA3D_API int circumcenters(const dense2D<double>& pos, const dense2D<unsigned int>& connectM,
                               dense2D<double>& centers);

} // namespace quorl::meldra3d
