#pragma once

#include <meldra3d_mpi/meldra3d_mpi.h>

namespace quorl::meldra3d_mpi::detail {

/// The status of the arguments of `partition` and `distribute` but the owners, on rank 0; 0 on others.
int check_whole_mesh(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
                     MPI_Comm comm);

/// `distribute` behind the check of its arguments: `status` is what has gone wrong on this rank so far. An empty list
/// of owners on rank 0 gives everything to rank 0.
int deal_out(int status, const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
             const dense1D<int, 8>& owners, distributed_mesh& part, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
