#pragma once

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "part_boxes.h"
#include "routed_points.h"

namespace quorl::meldra3d_mpi::detail {

/// Points located in a partitioned mesh: what a rank knows of its own, and of those that others asked it for.
struct located_points {
    part_boxes boxes;                   ///< of the mesh
    routed_points routed;               ///< to the parts that may hold them
    dense1D<std::uint64_t, 8> elements; ///< for each own point: the lowest ID of an element that holds it, or `no_id`
    dense1D<unsigned char, 8> chosen;   ///< for each point sent: 1 where that element is, else 0
    dense1D<unsigned, 8> columns;       ///< for each point received: such an element of this part, or `no_node`
    dense1D<vector_fixed<double, 3>, 8> local; ///< and the local coordinates there
};

/// Finds the elements that hold points. The mesh has been checked and is of tetrahedra, linear or quadratic.
/// Collective; returns 0, -199 or -200, the same on all ranks.
int locate(const distributed_mesh& mesh, const dense2D<double>& points, double tolerance, located_points& located,
           MPI_Comm comm);

/// The status of a search on this rank: -2 for a mesh of another type than `type` or `other_type`, -7 for points of
/// other than 3 rows, -20, -199.
int check_search(const distributed_mesh& mesh, element_type type, element_type other_type,
                 const dense2D<double>& points, MPI_Comm comm);

/// Points of a matrix; one without elements has none.
inline std::size_t count_of(const dense2D<double>& points) {
    return points.empty() ? 0 : points.cols();
}

} // namespace quorl::meldra3d_mpi::detail
