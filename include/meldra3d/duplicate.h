#pragma once

#include <meldra/element_type.h>
#include <numcore/numcore.h>

namespace quorl::meldra3d {

/// Opens a mesh of solids along an inner surface.
///
/// Each node of the surface gets a copy at the end of `pos`, which the elements on one side of the surface around the
/// node take in its place; for both sides there are two copies of each node. The surface itself is not changed.
/// The plus side is that of the elements whose face, as docs/numbering.md lists it, runs the same way round as the
/// surface element: among direct elements, the side into which the normal of the surface points. The minus side lies
/// across that face. The elements of a side are those around the node that can be
/// reached through faces that hold it, from the first such element, without crossing the surface. Around a node on the
/// border of an open surface this may be all of them: the node is then renumbered but nothing is opened, so give such
/// nodes as `excluded_nodes`.
///   pos             in/out   3 x nodes; the copies are appended
///   connectM        in/out   the solids: 4 rows (tetrahedra) or 8 (hexahedra, or mixed with `no_node` in unused rows);
///                            on success it moves to storage of its own
///   neighbors       in       the element across each face, or `no_node`, as `meldra::get_neighbors` gives it
///   ancestors       in       an element that holds each node, as `meldra::get_ancestors` gives it
///   connectS        in       faces of the solids: 3 rows with tetrahedra, 4 with hexahedra or mixed solids (`no_node`
///                            in row 3 of a triangle)
///   excluded_nodes  in       nodes to keep; IDs that are no nodes of the surface are ignored
///   plus_side       in       make copies for the elements on the plus side
///   minus_side      in       make copies for those on the minus side
///   type            in       ET_TH4, ET_H8 or ET_SOLID_MIX
/// Returns the number of nodes that were added. With both sides, the copies for the plus side come first. In each they
/// are numbered as the nodes first come in the columns of `connectS`, read for the minus side with the first and third
/// node exchanged. A node whose face belongs to no element of that side has a copy that no element uses.
///
/// Returns 0 before any check when `connectM` or `connectS` is empty or no side is asked for; then, in the order
/// tested: -1 when `pos` has not 3 rows; -2 when `connectM` does not suit `type` or names a node beyond `pos`; -3 when
/// `neighbors` has not a column for each element and a row for each face of the type, or names an element beyond them;
/// -4 when `connectM` names a node without an entry in `ancestors`; -9 when the type is none of the three; -5 when
/// `connectS` does not suit the type or names a node beyond `pos`; -199 when memory ran out or the copies could not be
/// numbered. It returns 0, too, when the ancestor of a node to be copied is no element that holds it. Nothing is
/// changed then, nor by any negative status.
/// Time is linear in the surface and the elements around its nodes, besides the checks, a copy of `connectM` and the
/// filling of 4 bytes of working memory for each node up to the last of the surface.
MELDRA3D_API int duplicate_surface_nodes(dense2D<double>& pos, dense2D<unsigned int>& connectM,
                                         const dense2D<unsigned int>& neighbors,
                                         const dense1D<unsigned int, 8>& ancestors,
                                         const dense2D<unsigned int>& connectS,
                                         const dense1D<unsigned int, 8>& excluded_nodes, bool plus_side,
                                         bool minus_side, element_type type);

} // namespace quorl::meldra3d
