#pragma once

namespace quorl {

/// Kinds of elements. The number of rows of a connectivity follows from its kind; see docs/numbering.md.
enum element_type : int {
    ET_NONE = 0,  ///< no element
    ET_NODE = 1,  ///< point, 1 row
    ET_EDGE2 = 2, ///< linear edge, 2 rows
    ET_EDGE3 = 3, ///< quadratic edge, 3 rows
    /* 4 has 4 rows and no meaning */
    ET_FACE_MIX = 5,     ///< triangles and quadrangles, 4 rows (3 rows: all triangles)
    ET_FACE_MIX_Q = 6,   ///< quadratic triangles and quadrangles, 9 rows
    ET_T3 = 7,           ///< linear triangle, 3 rows
    ET_T6 = 8,           ///< quadratic triangle, 6 rows
    ET_Q4 = 9,           ///< linear quadrangle, 4 rows
    ET_Q8 = 10,          ///< quadrangle with mid-edge nodes, 8 rows
    ET_Q9 = 11,          ///< quadrangle with mid-edge nodes and a centre, 9 rows
    ET_SOLID_MIX = 12,   ///< linear solids, 8 rows (4, 5 or 6 rows: all of one kind)
    ET_SOLID_MIX_Q = 13, ///< quadratic solids, 27 rows (or 13, 14, 15, 18, 20: as the largest kind needs)
    ET_TH4 = 14,         ///< linear tetrahedron, 4 rows
    ET_TH10 = 15,        ///< quadratic tetrahedron, 10 rows
    ET_PY5 = 16,         ///< linear pyramid, 5 rows
    ET_PY13 = 17,        ///< pyramid with mid-edge nodes, 13 rows
    ET_PY14 = 18,        ///< pyramid with mid-edge nodes and a base centre, 14 rows
    ET_W6 = 19,          ///< linear wedge, 6 rows
    ET_W15 = 20,         ///< wedge with mid-edge nodes, 15 rows
    ET_W18 = 21,         ///< wedge with mid-edge nodes and the centres of its quadrangles, 18 rows
    ET_H8 = 22,          ///< linear hexahedron, 8 rows
    ET_H20 = 23,         ///< hexahedron with mid-edge nodes, 20 rows
    ET_H27 = 24          ///< hexahedron with mid-edge, face-centre and body-centre nodes, 27 rows
};

/// Marks a slot that holds no node: the tail of a column of a mixed connectivity, a face without a neighbour, a node
/// without an element. A valid node ID is always below it.
constexpr unsigned no_node = 0xFFFFFFFF;

} // namespace quorl
