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

} // namespace quorl::meldra3d
