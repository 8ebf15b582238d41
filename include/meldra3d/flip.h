#pragma once

#include <meldra/element_type.h>
#include <numcore/numcore.h>

namespace quorl::meldra3d {

// Reversal of orientation: rows of a connectivity change places, in every column alike. The flips share this frame:
//
//   connectivity  in/out  one column an element; changed in place, so every view of its storage sees it
//
// No node ID is looked at (but for `no_node` in mixed columns), so none is checked and any value may stand in a row.
// A matrix without columns returns 0 whatever its rows. On failure nothing is changed. The exchanges of a function are
// disjoint pairs of rows: the same call again restores the matrix. One pass over the columns; allocates nothing.
// Below, a-b means that the values of rows a and b change places.

/// Flips elements of any type.
///   type  in  type of the columns
///
///   ET_TH4    0-2                              ET_TH10   0-2 4-6 7-9
///   ET_PY5    0-2                              ET_PY14   0-2 5-7 6-8 9-10 11-12
///   ET_W6     0-2 3-5                          ET_W18    0-2 3-5 6-8 9-11 12-14 15-17
///   ET_H8     0-2 4-6                          ET_H27    0-2 4-6 8-9 10-11 12-13 14-15 16-18 20-23 21-22
///
/// ET_SOLID_MIX stands here for 27-row columns of quadratic solids (not for the 8-row linear mixture), told apart by
/// the first of these rows that holds `no_node`: 10, a tetrahedron, as ET_TH10; 14, a pyramid, as ET_PY14; 18, a
/// wedge, as ET_W18; none, a hexahedron, as ET_H27 and 3-5 besides. A linear pyramid or wedge in such a column
/// has `no_node` in row 10 and so is taken for a tetrahedron.
///
/// All other types pass the check of their row count and stay as they are: surfaces, edges and nodes, ET_PY13, ET_W15,
/// ET_H20 and ET_SOLID_MIX_Q. The rows are part of the interface; they are not in every case what geometry asks for: in
/// a 14-node pyramid 6-8 moves two mid-edge nodes off their edges, and in a mixed hexahedron 3-5 spoils the element.
///
/// Returns 0, or -2 when the row count is not that of the type (27 for ET_SOLID_MIX) or the type is not within 0 to 24.
MELDRA3D_API int flip(dense2D<unsigned int>& connectivity, element_type type);

/// Flips hexahedra end to end: 0-4 1-5 2-6 3-7, so that the two quadrangles change places.
/// Returns 0, or -1 when there are not 8 rows.
MELDRA3D_API int flip_H8(dense2D<unsigned int>& connectivity);

/// Flips tetrahedra: 0-1.
/// Returns 0, or -1 when there are not 4 rows.
MELDRA3D_API int flip_TH4(dense2D<unsigned int>& connectivity);

/// Flips wedges end to end: 0-3 1-4 2-5, so that the two triangles change places.
/// Returns 0, or -1 when there are not 6 rows.
MELDRA3D_API int flip_W6(dense2D<unsigned int>& connectivity);

} // namespace quorl::meldra3d
