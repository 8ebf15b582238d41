#pragma once

#include <meldra3d_mpi/meldra3d_mpi.h>

namespace quorl::meldra3d_mpi::detail {

/// Whether a part is one, see `distributed_mesh`: 0 or -20 on this rank alone; `agree_on_part` follows. That no element
/// is on two ranks and that the lists of shared nodes suit each other is not looked at. -199 when memory ran out.
int check_part(const distributed_mesh& part, MPI_Comm comm);

/// The same without the lists of shared nodes.
int check_part_alone(const distributed_mesh& part);

/// As `agree`, and -20 when the numbers of nodes and elements or the types are not the same on all ranks. Collective,
/// in one message: takes the place of the `agree` behind the check of arguments.
int agree_on_part(int status, const distributed_mesh& part, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
