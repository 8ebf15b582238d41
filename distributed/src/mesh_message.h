#pragma once

#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

#include "exchange.h"

namespace quorl::meldra3d_mpi::detail {

struct element_record {
    std::uint64_t id;
    unsigned column; ///< of the sender
};

struct node_record {
    std::uint64_t id;
    double x, y, z;
};

/// Elements on their way to other ranks, and the nodes that they name, each once for a rank.
struct mesh_message {
    by_rank<element_record> elements;
    by_rank<node_record> nodes;
    std::size_t rows = 0;              ///< of the elements, the same on all ranks
    dense1D<unsigned, 8> connectivity; ///< `rows` for each element: places among the nodes for that rank, or `no_node`
};

/// Writes a message: for one rank after the other, in ascending order.
class mesh_message_writer {
public:
    /// Where lists of IDs are empty, IDs are columns.
    mesh_message_writer(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                        const dense1D<std::uint64_t, 8>& node_ids, const dense1D<std::uint64_t, 8>& element_ids,
                        mesh_message& message)
        : pos_(pos), connectivity_(connectivity), node_ids_(node_ids), element_ids_(element_ids), message_(message) {}

    /// Begins an empty message. `message.rows` has to be set. This and `write` return false when memory ran out.
    bool begin(int ranks);

    /// Adds the elements for a rank, and their nodes in the order of their columns.
    bool write(int rank, const dense1D<unsigned, 8>& elements);

private:
    bool list_nodes(const dense1D<unsigned, 8>& elements);
    bool write_elements(const dense1D<unsigned, 8>& elements);
    bool write_nodes();

    const dense2D<double>& pos_;
    const dense2D<unsigned int>& connectivity_;
    const dense1D<std::uint64_t, 8>& node_ids_;
    const dense1D<std::uint64_t, 8>& element_ids_;
    mesh_message& message_;
    dense1D<unsigned, 8> nodes_; ///< those for the rank
    dense1D<unsigned, 8> place_; ///< of each node in `nodes_`, or `no_node`
};

/// Sends each rank what is for it. Collective; fails on all ranks alike.
int exchange(const mesh_message& sent, mesh_message& received, MPI_Comm comm);

} // namespace quorl::meldra3d_mpi::detail
