#include "lowest_ranks.h"

#include "exchange.h"

namespace quorl::meldra3d_mpi::detail {

bool nodes_of_lowest_rank(const distributed_mesh& part, MPI_Comm comm, dense1D<unsigned, 8>& nodes) {
    const int rank = rank_of(comm);
    dense1D<bool, 8> lower_has_it;
    if (!lower_has_it.resize(part.pos.cols(), false) || !nodes.resize(part.pos.cols()))
        return false;
    for (std::size_t n = 0; n < part.neighbor_ranks.size() && part.neighbor_ranks[n] < rank; ++n)
        for (std::uint64_t k = part.first_shared[n]; k < part.first_shared[n + 1]; ++k)
            lower_has_it[part.shared_nodes[k]] = true;
    std::size_t count = 0;
    for (std::size_t node = 0; node < part.pos.cols(); ++node)
        if (!lower_has_it[node])
            nodes[count++] = static_cast<unsigned>(node);
    return nodes.resize(count);
}

} // namespace quorl::meldra3d_mpi::detail
