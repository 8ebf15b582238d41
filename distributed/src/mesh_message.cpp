#include "mesh_message.h"

#include <algorithm>

#include <meldra/element_type.h>

namespace quorl::meldra3d_mpi::detail {

namespace {

std::uint64_t id_of(const dense1D<std::uint64_t, 8>& ids, unsigned column) {
    return ids.empty() ? column : ids[column];
}

} // namespace

bool mesh_message_writer::begin(int ranks) {
    return message_.elements.counts.resize(std::size_t(ranks), 0) &&
           message_.nodes.counts.resize(std::size_t(ranks), 0) && place_.resize(pos_.cols(), no_node);
}

bool mesh_message_writer::write(int rank, const dense1D<unsigned, 8>& elements) {
    if (!list_nodes(elements) || !is_count(elements.size()) || !is_count(nodes_.size()) || !write_elements(elements) ||
        !write_nodes())
        return false;
    message_.elements.counts[std::size_t(rank)] = static_cast<int>(elements.size());
    message_.nodes.counts[std::size_t(rank)] = static_cast<int>(nodes_.size());
    for (const unsigned node : nodes_)
        place_[node] = no_node;
    return true;
}

bool mesh_message_writer::list_nodes(const dense1D<unsigned, 8>& elements) {
    nodes_.clear();
    for (const unsigned element : elements)
        for (std::size_t i = 0; i < connectivity_.rows(); ++i) {
            const unsigned node = connectivity_(i, element);
            if (node == no_node || place_[node] != no_node)
                continue;
            place_[node] = 0; // seen
            if (!nodes_.push_back(node))
                return false;
        }
    std::sort(nodes_.begin(), nodes_.end());
    for (std::size_t k = 0; k < nodes_.size(); ++k)
        place_[nodes_[k]] = static_cast<unsigned>(k);
    return true;
}

bool mesh_message_writer::write_elements(const dense1D<unsigned, 8>& elements) {
    const std::size_t before = message_.connectivity.size();
    const std::size_t after = before + elements.size() * message_.rows;
    if (!message_.connectivity.reserve(after, 2) || !message_.connectivity.resize(after, no_node))
        return false;
    unsigned* column = message_.connectivity.data() + before;
    for (const unsigned element : elements) {
        if (!message_.elements.records.push_back({id_of(element_ids_, element), element}))
            return false;
        for (std::size_t i = 0; i < connectivity_.rows(); ++i)
            if (const unsigned node = connectivity_(i, element); node != no_node)
                column[i] = place_[node];
        column += message_.rows;
    }
    return true;
}

bool mesh_message_writer::write_nodes() {
    for (const unsigned node : nodes_) {
        const double* const p = pos_.col(node);
        if (!message_.nodes.records.push_back({id_of(node_ids_, node), p[0], p[1], p[2]}))
            return false;
    }
    return true;
}

int exchange(const mesh_message& sent, mesh_message& received, MPI_Comm comm) {
    if (const int status = exchange(sent.elements, received.elements, comm); status < 0)
        return status;
    if (const int status = exchange(sent.nodes, received.nodes, comm); status < 0)
        return status;
    received.rows = sent.rows;
    received.connectivity.clear();
    const bool room = received.connectivity.resize(received.elements.records.size() * sent.rows);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0 || sent.rows == 0)
        return status;
    return exchange_blocks(sent.rows * sizeof(unsigned), sent.connectivity.data(), sent.elements.counts.data(),
                           received.connectivity.data(), received.elements.counts.data(), comm);
}

} // namespace quorl::meldra3d_mpi::detail
