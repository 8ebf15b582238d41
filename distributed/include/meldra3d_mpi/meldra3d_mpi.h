#pragma once

#include <cstdint>

#include <meldra/meldra.h>
#include <meldra3d/meldra3d.h>
#include <mpi.h>

/// Meshes beyond one machine: the functions of quorl::meldra3d that need more than one part of a partitioned mesh, as
/// collective calls of MPI. The parts are plain arrays, and each process works on its own part with the library itself.
///
/// Every function here is collective over `comm`: all ranks call it, with the same values of arguments that are not
/// arrays or parts (where ranks differ in them, each part follows its own; a function that needs them alike returns the
/// code of the argument). Communication goes over `comm` itself, by collectives only, so a caller's own messages
/// between pairs of ranks are safe.
///
/// Status: what goes wrong on one rank is returned by all. The codes are those of the serial function, minus the
/// position of an argument in the serial function's list; of several, the one that is tested first. Besides: -20 a part
/// is no part (see `distributed_mesh`), -199 memory ran out on some rank, or a count or ID left its range, -200 a call
/// of MPI failed (only where `comm` has an error handler that returns). On failure every rank's arguments are as
/// before.
///
/// Results do not depend on the number of ranks or on how the mesh is cut: global IDs and connectivity are those of the
/// serial call on the whole mesh, coordinates have the same bits. What is an exception says so.
namespace quorl::meldra3d_mpi {

/// A node or element that is none.
constexpr std::uint64_t no_id = 0xFFFFFFFFFFFFFFFF;

/// One rank's part of a mesh of solids or of faces: the elements that are its own, and all nodes that they name.
///
/// An element belongs to one rank. A node that elements of several ranks name is in the part of each, with the same
/// global ID and coordinates. Global IDs are places in the whole mesh: columns of the serial arrays.
/// A part is one when: `pos` has 3 rows; the connectivity suits `type` and names nodes of `pos`; `node_ids` has an
/// entry for each column of `pos`, all different and below `nodes`; `element_ids` likewise for the connectivity and
/// `elements`, and no other rank has the same; `nodes` and `elements` are the same on all ranks; the lists of shared
/// nodes are as `find_shared_nodes` makes them.
struct distributed_mesh {
    dense2D<double> pos;                    ///< 3 x nodes of the part
    dense2D<unsigned int> connectivity;     ///< elements of the part; IDs are columns of `pos`
    element_type type = ET_NONE;            ///< of the connectivity, the same on all ranks; ET_NONE where none has it
    dense1D<std::uint64_t, 8> node_ids;     ///< global ID of each column of `pos`
    dense1D<std::uint64_t, 8> element_ids;  ///< global ID of each column of `connectivity`
    std::uint64_t nodes = 0;                ///< nodes of the whole mesh: all global IDs are below
    std::uint64_t elements = 0;             ///< elements of the whole mesh
    dense1D<int, 8> neighbor_ranks;         ///< ranks that share nodes with this one, ascending
    dense1D<std::uint64_t, 8> first_shared; ///< where their lists begin in `shared_nodes`, and one entry more: its end
    dense1D<unsigned int, 8> shared_nodes;  ///< columns of `pos`, list after list, each in the order of global IDs
};

// Cutting a mesh, and putting it together

/// Cuts a mesh that rank 0 holds into as many compact parts as there are ranks, of nearly equal numbers of elements,
/// and gives each rank its part.
///   pos            in    on rank 0: 3 x nodes; not looked at on others
///   connectivity   in    on rank 0: elements of `type`; not looked at on others
///   type           in    a type of faces or solids (ET_FACE_MIX to ET_H27), the same on all ranks
///   part           out   the rank's part: elements and nodes in ascending order of global IDs, which are the columns
///                        they had on rank 0. Nodes that no element names are in no part
/// Returns 0, also for an empty mesh; -1 when `pos` has not 3 rows; -2 when the connectivity does not suit the type or
/// names a node beyond `pos`; -3 when the type is none of faces or solids; -199.
/// Method: Scotch on the graph of elements that share a face (`meldra::get_neighbors`), on rank 0; the same mesh and
/// number of ranks always give the same parts.
MELDRA3D_API int partition(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
                           distributed_mesh& part, MPI_Comm comm);

/// As `partition`, cut as the caller says.
///   owners   in   on rank 0: the rank of each element
/// Returns the codes of `partition`, and -4 when `owners` has not an entry for each element, or one that is no rank.
MELDRA3D_API int distribute(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
                            const dense1D<int, 8>& owners, distributed_mesh& part, MPI_Comm comm);

/// Finds the nodes that parts share, for a caller whose mesh comes in parts: reads `node_ids`, and fills the three
/// lists `neighbor_ranks`, `first_shared` and `shared_nodes`, in which the other members are not changed.
/// Returns 0; -20 when what the part has besides these lists is no part; -199.
MELDRA3D_API int find_shared_nodes(distributed_mesh& part, MPI_Comm comm);

/// Puts a mesh together on rank 0: columns are global IDs.
///   pos            out   on rank 0: 3 x `nodes` of the part, 0 for nodes that are in no part; empty on others
///   connectivity   out   on rank 0: an element a column, `no_node` throughout for IDs that no rank has; empty on
///   others
/// Returns 0; -20; -199, also for a mesh whose nodes or elements reach `no_node`.
MELDRA3D_API int gather(const distributed_mesh& part, dense2D<double>& pos, dense2D<unsigned int>& connectivity,
                        MPI_Comm comm);

/// Gives each rank the values of its nodes.
///   field    in    on rank 0: any number of rows, a column for each node of the whole mesh
///   values   out   the same rows, a column for each node of the part
/// Returns 0; -1 when `field` has not `nodes` columns; -20; -199.
MELDRA3D_API int scatter_field(const dense2D<double>& field, const distributed_mesh& part, dense2D<double>& values,
                               MPI_Comm comm);

/// Collects values of nodes on rank 0.
///   values   in    a column for each node of the part, the same number of rows on all ranks. Of a node in several
///                  parts, the value of the lowest rank counts
///   field    out   on rank 0: a column for each node of the whole mesh, 0 for nodes that are in no part; empty on
///   others
/// Returns 0; -1 when `values` has not a column for each node or other rows than on another rank; -20; -199.
MELDRA3D_API int gather_field(const dense2D<double>& values, const distributed_mesh& part, dense2D<double>& field,
                              MPI_Comm comm);

// Raising the order, and splitting

/// `meldra3d::convert_into_high_order` of a partitioned mesh, in place: one set of nodes for an edge or face, whichever
/// ranks have it. See there for the counts and for where the nodes lie and stand.
///   mesh   in/out   ET_TH4, ET_PY5, ET_W6, ET_H8 or ET_SOLID_MIX; then with the new nodes and the type of the new
///                   elements: the quadratic one where there is one, the same where these get no nodes, otherwise
///                   ET_NONE. The new nodes stand behind the others, in ascending order of the global IDs that the
///                   serial call gives them; elements keep theirs
/// Returns 0, also for an empty mesh or when all counts are 0 (the mesh is then as before, unlike the serial one); -2
/// when the type is not one of those above; -4, -5, -6, -7 and -9 for nQ, nT, nH, nTH and nY, -3 to -9 for a count that
/// is not the same on all ranks; -20, also when lists of shared nodes turn out not to suit each other; -199.
/// Each rank asks its neighbours for the elements around shared nodes, once; memory and time are those of the serial
/// call on the part and this layer.
MELDRA3D_API int convert_into_high_order(distributed_mesh& mesh, unsigned int nE, unsigned int nQ, unsigned int nT,
                                         unsigned int nH, unsigned int nTH, unsigned int nX, unsigned int nY,
                                         MPI_Comm comm);

/// `meldra3d::convert_into_quadratic` of a partitioned mesh, in place. Returns the codes of the form above.
MELDRA3D_API int convert_into_quadratic(distributed_mesh& mesh, MPI_Comm comm);

/// `meldra3d::split_into_H8` of a partitioned mesh, in place: its elements become ET_H8, with the global IDs that the
/// serial call gives them, on the rank of the element they come from.
/// Returns 0, also for an empty mesh; -2 when the type is none of ET_TH4, ET_W6, ET_H8 and ET_SOLID_MIX, or a mixed
/// mesh holds a tetrahedron or a pyramid; -20, also when lists of shared nodes turn out not to suit each other; -199.
MELDRA3D_API int split_into_H8(distributed_mesh& mesh, MPI_Comm comm);

// Sweeping a partitioned surface. The frame is that of meldra3d/extrude.h:
//
//   surface    in    ET_T3, ET_Q4 or ET_FACE_MIX
//   edges      in    2 x n, columns of the part's `pos`: edges between nodes of the part's own faces to sweep into side
//                    quadrangles; may be empty
//   solids     out   the swept part: the surface's nodes, in their columns, and behind them the copies, in ascending
//                    order of global IDs; ET_W6, ET_H8 or ET_SOLID_MIX (6 rows for ET_T3, 8 for the others). May be
//                    `surface` itself
//   connectQ   out   the side quadrangles of the part, 4 rows; IDs are columns of the `pos` of `solids`
//   connectT   out   the faces that close the last layer, one for each face of the surface and in its order
//
// The copy of a node on level k has the global ID nodes + (k - 1) * nn + j, where the whole surface names nn nodes and
// it is the j-th in order of first appearance; a layer of face i has the global ID i * layers + k - 1. Both are those
// of the serial call.
// Returns, in the order tested: minus its position for an argument besides the surface and arrays that is not the same
// on all ranks; 0 for no layers or an empty surface, and nothing is then changed; -2 when the type is none of the
// above; what a function below says of arrays of its own; the serial function's code for `edges`, by its position in
// the full form (here also when an edge names a node that no face of the part has); -20, also when lists of shared
// nodes turn out not to suit each other; the serial function's codes for sizes; -199. Each rank asks its neighbours for
// the faces around shared nodes, once; memory and time are those of the serial call on the part and this layer.

/// `meldra3d::extrude_translate` of a partitioned surface.
MELDRA3D_API int extrude_translate(const distributed_mesh& surface, const vector_fixed<double, 3>& dir,
                                   double size_start, double size_end, bool even_layers, distributed_mesh& solids,
                                   const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                   dense2D<unsigned int>& connectT, MPI_Comm comm);

/// The same in equal layers.
MELDRA3D_API int extrude_translate(const distributed_mesh& surface, const vector_fixed<double, 3>& dir,
                                   unsigned int nlayers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                                   dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// `meldra3d::extrude_rotate` of a partitioned surface. The length that is divided into layers is that of the way of
/// the first node of the first face of the whole surface.
MELDRA3D_API int extrude_rotate(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                                const vector_fixed<double, 3>& rotation, double size_start, double size_end,
                                bool even_layers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// The same in equal layers.
MELDRA3D_API int extrude_rotate(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                                const vector_fixed<double, 3>& rotation, unsigned int nlayers, distributed_mesh& solids,
                                const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                dense2D<unsigned int>& connectT, MPI_Comm comm);

/// `meldra3d::extrude_spiral` of a partitioned surface.
MELDRA3D_API int extrude_spiral(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                                const vector_fixed<double, 3>& rotation, const vector_fixed<double, 3>& shift,
                                double size_start, double size_end, bool even_layers, distributed_mesh& solids,
                                const dense2D<unsigned int>& edges, dense2D<unsigned int>& connectQ,
                                dense2D<unsigned int>& connectT, MPI_Comm comm);

/// The same in equal layers.
MELDRA3D_API int extrude_spiral(const distributed_mesh& surface, const vector_fixed<double, 3>& axis_point,
                                const vector_fixed<double, 3>& rotation, const vector_fixed<double, 3>& shift,
                                unsigned int nlayers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// `meldra3d::extrude_normal` of a partitioned surface: the normal of a shared node is that of the whole surface. Where
/// triangles and quadrangles meet at a node, the serial function adds their shares in an order that depends on all
/// faces before: in a mesh of ET_FACE_MIX the copies may differ from the serial ones by rounding, some units of the
/// last place of `thickness` (more where the shares nearly cancel), but not from rank to rank.
MELDRA3D_API int extrude_normal(const distributed_mesh& surface, double thickness, double size_start, double size_end,
                                bool even_layers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// The same in equal layers.
MELDRA3D_API int extrude_normal(const distributed_mesh& surface, double thickness, unsigned int nlayers,
                                distributed_mesh& solids, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// The same along a vector of each node, in equal layers.
///   node_shifts   in   3 rows, a column for each node of the part; of a shared node the same on all ranks
/// -3 stands for `node_shifts` of other dimensions. Without layers nothing is changed, unlike in the serial form.
MELDRA3D_API int extrude_normal(const distributed_mesh& surface, const dense2D<double>& node_shifts,
                                unsigned int nlayers, distributed_mesh& solids, const dense2D<unsigned int>& edges,
                                dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// `meldra3d::extrude_line` of a partitioned surface. The line is not part of the mesh: its points are given, the same
/// on all ranks, and its nodes never stand for copies of a node of the surface.
///   line      in   3 x points of the polyline, at least two
///   metrics   in   empty, or 6 rows, a column for each point
/// -3 stands for a `line` that has not 3 rows and two columns or more, or another number of columns than on other
/// ranks; -5 for `metrics` of other rows.
MELDRA3D_API int extrude_line(const distributed_mesh& surface, const dense2D<double>& line,
                              const vector_fixed<double, 3>& dir0, const dense2D<double>& metrics,
                              distributed_mesh& solids, const dense2D<unsigned int>& edges,
                              dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

/// The same, scaled by a size for each point.
MELDRA3D_API int extrude_line(const distributed_mesh& surface, const dense2D<double>& line,
                              const vector_fixed<double, 3>& dir0, const dense1D<double, 8>& sizes,
                              distributed_mesh& solids, const dense2D<unsigned int>& edges,
                              dense2D<unsigned int>& connectQ, dense2D<unsigned int>& connectT, MPI_Comm comm);

// Searching and interpolating between meshes that are cut differently. Each rank asks for points of its own, any
// number, wherever they lie; the mesh is of tetrahedra (ET_TH4; for the search ET_TH10, too) and cut in any way.
//
// An element holds a point when it is direct and no barycentric coordinate is below -tolerance, as in the serial
// search. A point is found when any element holds it, and in the one with the lowest global ID of these: elements,
// local coordinates and values have the same bits however a valid mesh is cut. (Where elements overlap by more than the
// tolerance, a point is found in one that holds it, and which one may depend on the cut.) The serial search walks from
// element to element: it finds the first on its way, and at a re-entrant boundary its walks may all end before. Values
// that both find are equal to rounding (1e-12 of the values) where the point lies in both elements or on their common
// face, and differ by as much as the field changes over the tolerance where it lies beside one. Metrics on a common
// face depend on the order in which those of the nodes are merged, and so on the element.

/// `meldra3d::get_elements_containing_points` in a partitioned mesh.
///   points     in    3 x points, the caller's own
///   elements   out   the global ID of an element that holds each, `no_id` where none does
///   local      out   3 x points, the local coordinates in it (those of its own order of nodes), 0 where not found
/// Returns 0, whether points are found or not; -2 when the type is neither ET_TH4 nor ET_TH10; -7 when `points` is not
/// empty and has not 3 rows; -20; -199.
/// Method: up to 64 boxes of each part are known to all (3 KiB a rank). A point goes to the ranks that have one around
/// it, 24 bytes each, which search for it by walks, with `meldra3d::get_elements_containing_points` in their part.
/// Where a walk ends far inside an element (farther from its faces than four times the tolerance, and what rounding
/// may do, of the longest element), no other element holds the point. For the others, those beside faces and those that
/// no walk finds, the boxes of the elements near them are made a tree and searched. 8 bytes come back from each rank,
/// and the result from one. Linear in the elements of a part (of which the neighbours are found each time), but n log n
/// in those near points that walks do not settle. Scratch memory: about 100 bytes an element and 150 a point.
MELDRA3D_API int get_elements_containing_points(const distributed_mesh& mesh, const dense2D<double>& points,
                                                dense1D<std::uint64_t, 8>& elements, dense2D<double>& local,
                                                double tolerance, MPI_Comm comm);

/// `meldra3d::interpolate` from a partitioned mesh to points of each rank. A point that is not found takes the value of
/// the nearest node of the whole mesh, of equally near ones that with the lowest global ID.
///   field      in    a column for each node of the part, the same number of rows on all ranks
///   values     out   those rows, a column for each point; 0 where the mesh has no nodes, or none that is finite, or
///                    the point is not finite
///   elements   out   where the point was found, `no_id` where the nearest node was taken
/// Returns 0; -2 when the type is not ET_TH4; -5 when `field` has not a column for each node or other rows than on
/// another rank (that of a part without nodes may be anything); -7 when `points` is not empty and has not 3 rows; -20;
/// -199.
/// The search is that of `get_elements_containing_points` with a tolerance of 1e-6. A value is computed where its
/// element or node is, and only the value travels. Points in no element go to the rank with the nearest box, and then
/// to all that may have a node as near.
MELDRA3D_API int interpolate(const distributed_mesh& mesh, const dense2D<double>& field, const dense2D<double>& points,
                             dense2D<double>& values, dense1D<std::uint64_t, 8>& elements, MPI_Comm comm);

/// `meldra3d::interpolate_metrics` from a partitioned mesh to points of each rank.
///   metrics    in        6 rows, a column for each node of the part (that of a part without nodes may be anything)
///   values     in/out    6 rows, a column for each point; one whose combination fails keeps what it has. Written where
///                        they are: other views of the storage see them
///   elements   out       as for `interpolate`
/// Returns 0; -2 when the type is not ET_TH4; -5 when `metrics` has not 6 rows and a column for each node; -7 when
/// `points` is not empty and has not 3 rows; -8 when `values` has not 6 rows and a column for each point (where there
/// are no points, it may be anything); -20; -199.
MELDRA3D_API int interpolate_metrics(const distributed_mesh& mesh, const dense2D<double>& metrics,
                                     const dense2D<double>& points, dense2D<double>& values,
                                     dense1D<std::uint64_t, 8>& elements, MPI_Comm comm);

// Totals of measures

/// `meldra3d::volume` of the whole mesh, the same on all ranks: the volumes of the parts, added in the order of ranks.
/// Differs from the serial sum by rounding (some units of the last place of the sum of absolute volumes).
/// Returns 0; -2 when the type is not that of linear solids; -20; -199.
MELDRA3D_API int volume(const distributed_mesh& mesh, double& vol, MPI_Comm comm);

/// The smallest and the largest solid angle in the whole mesh, those of `meldra3d::solid_angles`, the same on all
/// ranks; what is not a number is left out. Of no elements: infinity and minus infinity. Returns the codes of `volume`.
MELDRA3D_API int solid_angles(const distributed_mesh& mesh, bool normalized, double& smallest, double& largest,
                              MPI_Comm comm);

/// The smallest and the largest angle between two faces of an element, those of `meldra3d::dihedral_angles`. As above.
MELDRA3D_API int dihedral_angles(const distributed_mesh& mesh, bool normalized, double& smallest, double& largest,
                                 MPI_Comm comm);

} // namespace quorl::meldra3d_mpi
