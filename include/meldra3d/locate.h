#pragma once

#include <meldra/meldra.h>
#include <numcore/numcore.h>

namespace quorl::meldra3d {

// Which element of a mesh of tetrahedra holds a point, and where in it the point lies.
//
// A search walks from an element of a node that is close to the point, element by element, through faces beyond which
// the point lies. A walk that ends at the boundary is followed by others, from each element around the node that is
// closest to the point, until one does not end there. An element holds the point when no barycentric coordinate is
// below -tolerance; a face shared by two elements belongs to both, and the one that the walk meets first is found.
// The walks are the same each time: the same arguments give the same result on every machine.
//
// Elements have to be direct (see docs/numbering.md). One that is inverted, flat, not finite or of a volume outside the
// range of a double ends the walk that meets it. A walk has as many steps as there are elements.
//
// The local coordinates w0, w1, w2 are the barycentric weights of the nodes 0, 1, 2; that of node 3 is 1 - w0 - w1 -
// w2.
//
// A quadratic mesh (ET_TH10) is searched as if its elements were straight. The closest node may be on an edge; the
// elements around it are then not told from the others, and walks start from all that are connected: the search for a
// point outside such a mesh may cost as many walks as there are elements.
//
// The status of a search: 1 found; 0 not found: no walk reached an element that holds the point, as a rule because it
// lies outside; -1 an element that is not direct was met; -2 likewise or not found, in the very last step allowed.

/// Finds the element that holds a point.
///   pos            in    3 x nodes
///   connectivity   in    elements of `type`
///   neighbors      in    the elements across the faces, as `meldra::get_neighbors` gives them
///   ancestors      in    an element of each node, as `meldra::get_ancestors` gives them; a missing entry is `no_node`
///   detector       in    made from the same mesh
///   type           in    ET_TH4 or ET_TH10
///   point          in    any; a point that is not finite is not found
///   element        out   set to `no_node` first
///   local          out   set to 0 first; its local coordinates
///   tolerance      in    any, relative: 1e-6 is usual; with NaN no point is found
/// Returns the status of the search, which means that 1 is success, or, in the order tested: -1 when `pos` has not 3
/// rows; -2 when the connectivity does not suit its type or names a node beyond `pos`; -3 when the neighbours have
/// another number of columns than the connectivity or of rows than faces of the type, or name an element beyond it; -4
/// when an ancestor does; -1 when a type that is not linear cannot be made so; -6 when its linear form is not ET_TH4;
/// -199 when memory ran out. -1 and -2 of a search and of an argument have to be told apart by what is asked.
/// The checks are linear in the size of the mesh: for many points, use the form below.
MELDRA3D_API int get_element_containing_point(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                              const dense2D<unsigned int>& neighbors,
                                              const dense1D<unsigned int, 8>& ancestors,
                                              const meldra::node_detector& detector, element_type type,
                                              const vector_fixed<double, 3>& point, unsigned int& element,
                                              vector_fixed<double, 3>& local, double tolerance);

/// Finds the elements that hold many points.
///   points     in    3 x points
///   elements   out   cleared first; then one entry a point, `no_node` where it is not found
///   local      out   cleared first; then 3 x points, 0 where the point is not found
/// The other arguments are those of the form above. Outputs may share storage with inputs.
/// Returns, in the order tested: 0 when `pos` has no column; -1 to -4 as above; -7 when `points` has not 3 rows; -1 as
/// above; -199 when memory ran out; -6 as above, and then the outputs have their sizes. Otherwise 0 when all points are
/// found, else the status of the search of the last point that is not: earlier ones do not show.
/// Each point is searched for as if it were the only one. Inside, points are taken in Morton order, so that nearby
/// points find in the cache what they need; 16 bytes a point (of 4 million at most) and, once a first walk has ended at
/// the boundary, 4 bytes an element of working memory.
MELDRA3D_API int get_elements_containing_points(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                                const dense2D<unsigned int>& neighbors,
                                                const dense1D<unsigned int, 8>& ancestors,
                                                const meldra::node_detector& detector, element_type type,
                                                const dense2D<double>& points, dense1D<unsigned int, 8>& elements,
                                                dense2D<double>& local, double tolerance);

/// Finds the elements that hold nodes of the coordinates, as a rule nodes that belong to no element yet. Neighbours,
/// ancestors and detector are made inside.
///   nodes      in    IDs; `no_node` is not found
///   elements   out   cleared first; then one entry for each entry of `nodes`
///   local      out   cleared first; then 3 x entries
/// Returns, in the order tested: 0 when `nodes` is empty; -1 and -2 as above; -4 when `nodes` holds an ID beyond `pos`;
/// -1 when a type that is not linear cannot be made so; the negative status of `get_neighbors`, `get_ancestors` or
/// `node_detector::reinit` (-2 for a type without faces); -199 when memory ran out; -3 when the linear form of the type
/// is not ET_TH4, and then the outputs have their sizes. Otherwise as the form above.
/// Cost: that of these three, which is linear in the mesh, and that of the search above.
MELDRA3D_API int get_elements_containing_nodes(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                               element_type type, const dense1D<unsigned int, 8>& nodes,
                                               dense1D<unsigned int, 8>& elements, dense2D<double>& local,
                                               double tolerance);

/// Interpolates a field of several components at nodes that belong to no element.
///
/// A node inside an element takes the barycentric mean of the values at its four nodes, so that linear fields are
/// reproduced. The search is that of the functions above with a tolerance of 1e-6, and a node that it does not find (as
/// a rule one outside the mesh) takes the value of the closest node of the mesh.
///   pos            in        3 x nodes
///   connectivity   in        4 x elements (ET_TH4)
///   neighbors      in        the elements across the faces, as `meldra::get_neighbors` gives them
///   ancestors      in        an element of each node, as `meldra::get_ancestors` gives them; a missing entry is
///                            `no_node`
///   field          in/out    a column for each node, any number of rows; written at the nodes listed
///   nodes          in        those that get a value; `no_node`, and nodes that have an ancestor, are left alone
/// Returns, in the order tested: 0 when `nodes` is empty; -1 when `pos` has not 3 rows; -2 when the connectivity has
/// not 4 rows or names a node beyond `pos`; -3 when the neighbours have not 4 rows or another number of columns than
/// the connectivity, or name an element beyond it; -4 when an ancestor does; -5 when `field` has not a column for each
/// node; -6 when `nodes` holds an ID beyond them; -199 when memory ran out (some nodes may have their values then).
/// Otherwise 0, whether nodes were found or not.
/// The values are written where they are: other views of the storage of `field` see them. Results are those of taking
/// the nodes one by one; inside, they are taken in an order in which neighbours follow each other. The nodes of the
/// mesh are sorted once a call; working memory is about 40 bytes for each of them and 16 for each node listed, of four
/// million at a time. A `field` that may share storage with `pos` costs a copy of `pos`.
MELDRA3D_API int interpolate(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                             const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                             dense2D<double>& field, const dense1D<unsigned int, 8>& nodes);

/// The same for a scalar field: one value for each node; -5 when there are more or less.
MELDRA3D_API int interpolate(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                             const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                             dense1D<double, 8>& field, const dense1D<unsigned int, 8>& nodes);

/// Interpolates metrics at nodes that belong to no element.
///
/// A metric M asks for the length h along a unit vector e when e^T M e = 1 / h^2. Inside an element lengths are
/// interpolated linearly: two metrics along the axes that they have in common (their simultaneous reduction), the four
/// of an element by merging 0 and 1, then 2, then 3. A node whose weight is below 1e-12 takes no part, so that its
/// metric may be anything. A node that no element holds takes the metric of the closest node. Where the combination
/// fails, because a metric that takes part is not positive definite or not a number, the node keeps what it has.
///   pos            in       3 x nodes
///   connectivity   in       4 x elements (ET_TH4). Its IDs are not checked ahead, nor are those of the next two: an
///                           element that names no nodes is none, and a neighbour or ancestor that is no element, too
///   neighbors      in       4 x elements
///   ancestors      in       an entry for each node
///   metrics        in/out   6 rows m11 m12 m22 m13 m23 m33, a column for each node; written at the nodes listed
///   nodes          in       those that get a metric; `no_node`, and nodes that have an ancestor, are left alone
///   keep_valid     in       leave alone, too, those whose own metric is positive definite
/// Returns, in the order tested: 0 when `nodes` is empty; -1 when `pos` has not 3 rows; -2 when `connectivity` has not
/// 4 rows; -3 when `neighbors` has not 4 rows or another number of columns than `connectivity`; -4 when `ancestors` has
/// not an entry for each node; -5 when `metrics` has not 6 rows and a column for each node; -6 when `nodes` holds an ID
/// beyond them; -199 when memory ran out (some nodes may have their metrics then). Otherwise 0.
/// The search and its cost are those of `interpolate`. The metrics are written where they are: other views of the
/// storage see them.
MELDRA3D_API int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                     const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                                     dense2D<double>& metrics, const dense1D<unsigned int, 8>& nodes, bool keep_valid);

/// The same for all nodes; its codes.
MELDRA3D_API int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                     const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                                     dense2D<double>& metrics, bool keep_valid);

/// The same for sizes, the same in all directions: one for each node, valid when > 0 and less than the largest double.
/// -5 when there are more or less than nodes.
MELDRA3D_API int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                     const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                                     dense1D<double, 8>& sizes, const dense1D<unsigned int, 8>& nodes, bool keep_valid);

/// The same for sizes at all nodes; its codes.
MELDRA3D_API int interpolate_metrics(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                                     const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                                     dense1D<double, 8>& sizes, bool keep_valid);

} // namespace quorl::meldra3d
