#include <algorithm>
#include <utility>

#include "check_part.h"
#include "exchange.h"
#include "frame/id_count.h"
#include "lowest_ranks.h"
#include "mesh_message.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

/// Everything for rank 0: the elements with global IDs of nodes, and the nodes that no lower rank has.
struct whole_message {
    by_rank<std::uint64_t> elements;
    by_rank<node_record> nodes;
    dense1D<unsigned, 8> connectivity;
};

bool write_message(const distributed_mesh& part, std::size_t rows, MPI_Comm comm, whole_message& message) {
    const auto ranks = static_cast<std::size_t>(size_of(comm));
    dense1D<unsigned, 8> nodes;
    if (!message.elements.counts.resize(ranks, 0) || !message.nodes.counts.resize(ranks, 0) ||
        !message.elements.records.copy(part.element_ids) || !is_count(part.element_ids.size()) ||
        !message.connectivity.resize(part.element_ids.size() * rows, no_node) ||
        !nodes_of_lowest_rank(part, comm, nodes) || !is_count(nodes.size()) ||
        !message.nodes.records.resize(nodes.size()))
        return false;
    message.elements.counts[0] = static_cast<int>(part.element_ids.size());
    message.nodes.counts[0] = static_cast<int>(nodes.size());
    for (std::size_t j = 0; j < part.element_ids.size(); ++j)
        for (std::size_t i = 0; i < part.connectivity.rows(); ++i)
            if (const unsigned node = part.connectivity(i, j); node != no_node)
                message.connectivity[j * rows + i] = static_cast<unsigned>(part.node_ids[node]);
    for (std::size_t k = 0; k < nodes.size(); ++k) {
        const double* const p = part.pos.col(nodes[k]);
        message.nodes.records[k] = {part.node_ids[nodes[k]], p[0], p[1], p[2]};
    }
    return true;
}

/// Puts the whole mesh together; -20 when two ranks have an element.
int read_message(const whole_message& message, std::size_t rows, const distributed_mesh& part, dense2D<double>& pos,
                 dense2D<unsigned int>& connectivity) {
    dense1D<bool, 8> seen;
    if (!pos.resize(3, part.nodes, 0.0) || !connectivity.resize(rows, part.elements, no_node) ||
        !seen.resize(part.elements, false))
        return no_memory;
    for (std::size_t k = 0; k < message.elements.records.size(); ++k) {
        const std::uint64_t id = message.elements.records[k];
        if (std::exchange(seen[id], true))
            return not_a_part;
        std::copy_n(message.connectivity.data() + k * rows, rows, connectivity.col(id));
    }
    for (const node_record& node : message.nodes.records) {
        double* const p = pos.col(node.id);
        p[0] = node.x;
        p[1] = node.y;
        p[2] = node.z;
    }
    return 0;
}

int exchange(const whole_message& sent, std::size_t rows, whole_message& received, MPI_Comm comm) {
    if (const int status = exchange(sent.elements, received.elements, comm); status < 0)
        return status;
    if (const int status = exchange(sent.nodes, received.nodes, comm); status < 0)
        return status;
    const bool room = received.connectivity.resize(received.elements.records.size() * rows);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0 || rows == 0)
        return status;
    return exchange_blocks(rows * sizeof(unsigned), sent.connectivity.data(), sent.elements.counts.data(),
                           received.connectivity.data(), received.elements.counts.data(), comm);
}

} // namespace

} // namespace detail

int gather(const distributed_mesh& part, dense2D<double>& pos, dense2D<unsigned int>& connectivity, MPI_Comm comm) {
    using namespace detail;
    using meldra3d::detail::id_limit;
    if (const int status = agree_on_part(check_part(part, comm), part, comm); status < 0)
        return status;
    if (part.nodes > id_limit || part.elements > id_limit) // the same on all ranks
        return no_memory;
    const auto rows =
        static_cast<std::size_t>(largest_of_all(part.connectivity.empty() ? 0 : part.connectivity.rows(), comm));
    whole_message sent, received;
    if (const int status = agree(write_message(part, rows, comm, sent) ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(sent, rows, received, comm); status < 0)
        return status;
    dense2D<double> whole_pos;
    dense2D<unsigned int> whole_connectivity;
    int status = 0;
    if (rank_of(comm) == 0)
        status = read_message(received, rows, part, whole_pos, whole_connectivity);
    if (status = agree(status, comm); status < 0)
        return status;
    pos = std::move(whole_pos);
    connectivity = std::move(whole_connectivity);
    return 0;
}

} // namespace quorl::meldra3d_mpi
