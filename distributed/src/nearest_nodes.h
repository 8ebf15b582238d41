#pragma once

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "part_boxes.h"
#include "routed_points.h"

namespace quorl::meldra3d_mpi::detail {

/// One round of questions for the nearest node.
struct nearest_round {
    routed_points routed;
    dense1D<unsigned, 8> nodes;       ///< for each point received: the nearest node of the part, or `no_node`
    dense1D<unsigned char, 8> chosen; ///< for each point sent: 1 where that is the nearest of the mesh, else 0
};

/// The nearest nodes of the whole mesh, of equally near ones those with the lowest global IDs: first the parts with the
/// nearest boxes are asked, then all others that may have a node as near. For each point at most one of both rounds
/// has a choice; none where the mesh has no node.
struct nearest_nodes {
    nearest_round rounds[2];
};

/// Finds them for finite points. The mesh has been checked, and `boxes` are its own. Collective; returns 0, -199 or
/// -200, the same on all ranks.
int find_nearest_nodes(const distributed_mesh& mesh, const part_boxes& boxes, const dense2D<double>& points,
                       nearest_nodes& nearest, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
