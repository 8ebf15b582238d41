#pragma once

#include <numcore/numcore.h>

/// Tools for surface meshes: normals at nodes.
///
/// Connectivities have one column per face and one row per local node. None of these functions throws, prints or keeps
/// state; concurrent calls on distinct outputs are safe.
namespace quorl::meldra2d {

/// The normal of a surface at each node: the sum of the unit normals of the corners there, each times the angle of its
/// corner (G. Thuermer and C. A. Wuethrich, "Computing vertex normals from polygonal facets", Journal of Graphics Tools
/// 3(1), 1998; J. A. Baerentzen and H. Aanaes, "Signed distance computation using the angle weighted pseudonormal",
/// IEEE TVCG 11(3), 2005). Angles add up however plane faces are cut, so the sum does not depend on it.
///   pos        in   3 rows, one column a node
///   connectS   in   the surface: 3 rows (triangles), or 4 rows with `no_node` in row 3 of a triangle
///   tolerance  in   a sum of this length or less is no normal; >= 0, and 0 keeps all but the zero vector
///   unit       in   true scales the normals to length 1; false leaves the sums, whose lengths are angles in radians
///   normals    out  cleared first; then 3 rows and one column for each column of `pos`: zero where no face touches
///                   or where there is no normal. May be `pos` or share its storage
/// Returns, in the order tested: 0 for an empty surface (all normals are zero then); -1 when `pos` has not 3 rows; -2
/// when `connectS` is malformed or names a node beyond `pos`; -3 when `tolerance` is not >= 0; -199 when memory ran
/// out. `normals` is empty on failure.
///
/// Normals follow the right-hand rule: seen from their tip the face runs counter-clockwise. The corner of a quadrangle
/// has the normal and the angle of its two edges. Where it points in (seen from the direction of the whole face, that
/// is of the cross product of the diagonals) its angle is the one above 180 degrees, with the normal turned to the side
/// of the face; where it is straight it takes the direction of the whole face.
/// A corner without direction adds nothing: an edge of length zero or not finite, edges parallel within rounding. Faces
/// may have any size, 1e-300 as well as 1e300. Results have the same bits on every processor.
/// Time is linear in nodes and faces; there is no working memory beside the output.
MELDRA3D_API int normals(const dense2D<double>& pos, const dense2D<unsigned int>& connectS, double tolerance, bool unit,
                         dense2D<double>& normals);

} // namespace quorl::meldra2d
