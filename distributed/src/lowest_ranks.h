#pragma once

#include <meldra3d_mpi/meldra3d_mpi.h>

namespace quorl::meldra3d_mpi::detail {

/// The nodes of the part that no rank below this one has, ascending: so each node of the whole mesh is in the list of
/// one rank. False when memory ran out.
bool nodes_of_lowest_rank(const distributed_mesh& part, MPI_Comm comm, dense1D<unsigned, 8>& nodes);

} // namespace quorl::meldra3d_mpi::detail
