#pragma once

#include <cstdint>

#include <meldra3d_mpi/meldra3d_mpi.h>

namespace quorl::meldra3d_mpi::detail {

/// A part and the elements of other ranks that name one of its nodes. What a serial function makes of an edge, a face
/// or a node of the part follows from these elements alone when they come in the order of the whole mesh: so the
/// function is called on them, and gives each rank what it would find in the serial result, to the bit.
struct extended_part {
    dense2D<double> pos;                   ///< the columns of the part first, then those of ghosts in ascending order
    dense2D<unsigned int> connectivity;    ///< own elements and ghosts in ascending order of their global IDs
    dense1D<std::uint64_t, 8> node_ids;    ///< of the columns of `pos`
    dense1D<std::uint64_t, 8> element_ids; ///< of the columns of `connectivity`
    dense1D<int, 8> ranks;                 ///< whose element a column is
    dense1D<unsigned int, 8> columns;      ///< and which column it is in that rank's own part
};

/// Asks the neighbours for their elements at shared nodes. Collective over `comm`; the part has been checked.
/// Returns 0, -199 or -200, the same on all ranks.
int extend(const distributed_mesh& part, extended_part& extended, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
