#pragma once

#include <meldra/element_type.h>
#include <numcore/numcore.h>

/// Common mesh tools: checks of node IDs, neighbours, ancestors and the nodes near a point, removal of unused nodes.
///
/// Connectivities have one column per element and one row per local node. None of these functions throws, prints or
/// keeps state; concurrent calls on distinct outputs are safe.
namespace quorl::meldra {

/// True when every entry of a list is below `nodes` or equals `no_node` (a list of ancestors holds that for a node
/// without an element). An empty list passes. One pass, no allocation.
MELDRA3D_API bool check_IDs(const dense1D<unsigned int, 8>& ids, unsigned int nodes);

/// True when every entry of a matrix is below `nodes` or equals `no_node` (a matrix of neighbours holds that on the
/// boundary). An empty matrix passes. One pass, no allocation.
MELDRA3D_API bool check_IDs(const dense2D<unsigned int>& connect, unsigned int nodes);

/// True when a connectivity suits an element type and every node it uses is below `nodes`.
///
/// The row count must be that of the type (see `element_type`); besides, `ET_FACE_MIX` takes 3 rows, `ET_SOLID_MIX`
/// 4, 5 and 6, and `ET_SOLID_MIX_Q` 13, 14, 15, 18 and 20. Only mixed types hold `no_node`, and only as the tail of a
/// column whose other rows make up one of the kinds that the type admits: 3 or 4 nodes in `ET_FACE_MIX`; 6, 8 or 9 in
/// `ET_FACE_MIX_Q`; 4, 5, 6 or 8 in an 8-row `ET_SOLID_MIX`; 10, 13, 14, 15, 18, 20 or 27 in `ET_SOLID_MIX_Q`.
/// A matrix of fewer rows than its mixed type's own that can hold one linear kind only is of that kind alone.
///   connect   in   any; an empty matrix passes whatever the type
///   type      in   a value outside 0 to 24 passes for an empty matrix only
///   nodes     in   number of nodes
/// One pass, no allocation.
MELDRA3D_API bool check_IDs(const dense2D<unsigned int>& connect, element_type type, unsigned int nodes);

/// Finds the element across each face of each element (for surfaces: across each edge).
///
/// Faces are those of the linear form of the type, in the order of docs/numbering.md; two faces are one when they are
/// the same cycle of nodes read in either direction, so that inverted elements stay neighbours. A face of three nodes
/// never matches one of four. A face that occurs more than twice has no neighbour across it. An element folded onto
/// itself, so that two of its faces are one, is its own neighbour across them.
///   connect     in    a connectivity that suits `type`
///   type        in    a surface or solid type: ET_FACE_MIX to ET_H27
///   strict      in    refuse a mesh in which a face occurs more than twice
///   neighbors   out   cleared first; then (faces of the type) x (elements): row k is the element across face k, or
///                     `no_node` on the boundary and for the faces that a mixed column lacks
/// Returns 0 (also for an empty connectivity), -1 when `connect` does not suit `type`, -2 when the type is neither a
/// surface nor a solid, -3 when `strict` is set and a face occurs more than twice, -199 when memory ran out or there
/// are more elements than IDs. On failure `neighbors` is empty. `neighbors` may share storage with `connect`.
///
/// Method: the faces are distributed to partitions by a hash of their nodes, and matched partition by partition by
/// open addressing inside the cache (a radix-partitioned hash join, Manegold, Boncz and Kersten 2002).
/// Linear in the number of faces; needs 16 (triangular faces) or 20 bytes of working memory for each of four million
/// faces, and beyond 16 million for each of a quarter of them: a mesh that large is gone through up to four times.
MELDRA3D_API int get_neighbors(const dense2D<unsigned int>& connect, element_type type, bool strict,
                               dense2D<unsigned int>& neighbors);

/// Finds one element of each node: the first, in column order, that holds it (in any row, mid-edge nodes included).
///   connect     in    a connectivity of any type; `no_node` is skipped
///   ancestors   out   cleared first; then one entry for every ID up to the largest in use (none when no node is in
///                     use): the element, or `no_node` for an ID that no element holds
/// Returns 0, or -199 when memory ran out or there are more elements than IDs (`ancestors` is then empty).
/// `ancestors` may share storage with `connect`.
/// Linear in the entries of the connectivity and the largest ID.
MELDRA3D_API int get_ancestors(const dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& ancestors);

/// Deletes the nodes that no element uses: the columns of `pos` from `n0` on that no matrix of a range names. The
/// others close the gaps in their order, and every matrix follows.
///   pos          in/out  coordinates, any number of rows, one column a node
///   first, last  in/out  the range of connectivities, `last` one past its end; may be empty (two null pointers will
///                        do), and so may each matrix. Each may have any number of rows, and `no_node` in any place
///   new_ids      out     one entry for every column that `pos` had: its new ID, `no_node` for a deleted one
///   n0           in      the nodes below keep their IDs, in use or not; beyond the columns nothing is deleted
/// Returns 0; -2 when a matrix names a node that is neither a column of `pos` nor `no_node`; -3 when `last` lies before
/// `first`; -199 when memory ran out or there are more columns than IDs. On failure all contents are as they were.
///
/// Only the arrays that were passed change. When nodes are deleted, a matrix whose storage another view has, or that
/// lies over memory of the caller, moves to storage of its own first: other views keep the mesh with its old numbers,
/// and two matrices of the range that share elements are renumbered once each. `new_ids` may share storage with them.
/// Time is linear in the columns of `pos` and the entries of the matrices; the working memory is `new_ids`, and a copy
/// of what is shared.
MELDRA3D_API int simplify(dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
                          dense1D<unsigned int, 8>& new_ids, unsigned int n0);

/// Finds the nodes of a mesh that are near a point.
///
/// A detector holds copies of the coordinates; the mesh may change or go after `reinit`. Copies of a detector are
/// shallow and cheap, and stay as they are when one of them is given another mesh; a moved detector is left empty.
/// Any number of threads may search one detector and its copies at the same time.
///
/// Method: an octree whose leaves hold up to seven nodes, kept as a list of the nodes in Morton order. It needs 28
/// bytes a node and about 10 for its cells, and while it is built another 16.
class node_detector {
public:
    /// Takes the nodes of a mesh: those that the connectivity names in any row, mid-edge nodes included. Nodes with a
    /// coordinate that is infinite or not a number are left out.
    ///   pos            in   3 x nodes
    ///   connectivity   in   any number of rows; `no_node` is skipped
    /// Returns 0 (also for an empty connectivity, whatever `pos` is), -1 when `pos` has not 3 rows, -2 when the
    /// connectivity names a node beyond `pos`, -199 when memory ran out. After each failure the detector is empty: it
    /// finds nothing, and can be used again.
    /// Cost: a radix sort of the nodes; linear in the entries of the connectivity and the columns of `pos`.
    MELDRA3D_API int reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity);

    /// Some node near the point, found cheaply: the nearest (of equals, the lowest ID) in the leaf of the octree that
    /// holds the point, or in the first of the cells beside it that holds a node. `no_node` when the point lies outside
    /// of the box of the nodes or is not a number, and when there are no nodes. The result depends on the set of nodes
    /// only. Goes down the octree once; allocates nothing.
    MELDRA3D_API unsigned int find_close(const vector_fixed<double, 3>& point) const;

    /// The node nearest to the point, inside the box of the nodes or not; of equally near ones that with the lowest ID.
    /// Distances are compared as dx * dx + dy * dy + dz * dz in double precision, brought into its range by a power of
    /// two where the squares would overflow or underflow. `no_node` when there are no nodes or a coordinate of the
    /// point is infinite or not a number.
    /// Logarithmic in the number of nodes for nodes that differ by more than 2^-32 of the extent of the mesh; of those
    /// nearer than that to each other, all that share a cell with the result are looked at. Allocates nothing.
    MELDRA3D_API unsigned int find_closest(const vector_fixed<double, 3>& point) const;

private:
    Ptr<numcore::ref_counted> tree_; // an octree, which never changes once it is here
};

} // namespace quorl::meldra
