#include "ghost_layer.h"

#include <algorithm>

#include "by_id.h"
#include "exchange.h"
#include "frame/id_count.h"
#include "mesh_message.h"

namespace quorl::meldra3d_mpi::detail {

namespace {

/// The elements at each shared node: those of the k-th that occurs in the lists are elements[first[k]] on.
struct elements_at_nodes {
    dense1D<unsigned, 8> place; ///< of each node of the part: its k, or `no_node`
    dense1D<std::size_t, 8> first;
    dense1D<unsigned, 8> elements;

    bool build(const distributed_mesh& part) {
        const dense2D<unsigned int>& connect = part.connectivity;
        if (!place.resize(part.pos.cols(), no_node))
            return false;
        unsigned shared = 0;
        for (const unsigned node : part.shared_nodes)
            if (place[node] == no_node)
                place[node] = shared++;
        if (!first.resize(std::size_t(shared) + 2, 0))
            return false;
        const auto visit = [&](auto at) {
            for (std::size_t j = 0; j < connect.cols(); ++j)
                for (std::size_t i = 0; i < connect.rows(); ++i)
                    if (const unsigned node = connect(i, j); node != no_node && place[node] != no_node)
                        at(place[node], static_cast<unsigned>(j));
        };
        visit([&](unsigned k, unsigned) { ++first[k + 2]; });
        for (std::size_t k = 2; k < first.size(); ++k)
            first[k] += first[k - 1];
        if (!elements.resize(first[first.size() - 1]))
            return false;
        visit([&](unsigned k, unsigned element) { elements[first[k + 1]++] = element; });
        return true;
    }
};

/// The elements that name a node shared with the n-th neighbour, ascending.
bool list_elements(const distributed_mesh& part, const elements_at_nodes& at_nodes, std::size_t n,
                   dense1D<unsigned, 8>& elements) {
    elements.clear();
    for (std::uint64_t s = part.first_shared[n]; s < part.first_shared[n + 1]; ++s) {
        const unsigned k = at_nodes.place[part.shared_nodes[s]];
        for (std::size_t e = at_nodes.first[k]; e < at_nodes.first[k + 1]; ++e)
            if (!elements.push_back(at_nodes.elements[e]))
                return false;
    }
    std::sort(elements.begin(), elements.end());
    const unsigned* const end = std::unique(elements.begin(), elements.end());
    return elements.resize(static_cast<std::size_t>(end - elements.begin()));
}

bool write_message(const distributed_mesh& part, int ranks, mesh_message& sent) {
    mesh_message_writer writer(part.pos, part.connectivity, part.node_ids, part.element_ids, sent);
    elements_at_nodes at_nodes;
    dense1D<unsigned, 8> elements;
    if (!writer.begin(ranks))
        return false;
    if (part.neighbor_ranks.empty())
        return true;
    if (!at_nodes.build(part))
        return false;
    for (std::size_t n = 0; n < part.neighbor_ranks.size(); ++n)
        if (!list_elements(part, at_nodes, n, elements) || !writer.write(part.neighbor_ranks[n], elements))
            return false;
    return true;
}

/// Puts the part and what came from the neighbours together.
class extension {
public:
    extension(const distributed_mesh& part, const mesh_message& received, extended_part& extended)
        : part_(part), received_(received), extended_(extended) {}

    bool build(int rank) { return number_nodes() && place_nodes() && write_elements(rank); }

private:
    /// Finds the column of each node that came: that of the part where it has the node, otherwise a new one.
    bool number_nodes() {
        const dense1D<node_record, 8>& nodes = received_.nodes.records;
        id_order own, came;
        if (!own.build(part_.node_ids.size(), [&](std::size_t k) { return part_.node_ids[k]; }) ||
            !came.build(nodes.size(), [&](std::size_t k) { return nodes[k].id; }) || !column_of_.resize(nodes.size()))
            return false;
        std::size_t mine = 0;
        for (std::size_t k = 0; k < came.size(); ++k) {
            const std::size_t at = came[k];
            while (mine != own.size() && part_.node_ids[own[mine]] < nodes[at].id)
                ++mine;
            if (mine != own.size() && part_.node_ids[own[mine]] == nodes[at].id)
                column_of_[at] = own[mine];
            else if (k > 0 && nodes[came[k - 1]].id == nodes[at].id)
                column_of_[at] = column_of_[came[k - 1]];
            else if (column_of_[at] = part_.pos.cols() + new_nodes_.size(); !new_nodes_.push_back(at))
                return false;
        }
        return part_.pos.cols() + new_nodes_.size() <= meldra3d::detail::id_limit;
    }

    bool place_nodes() {
        const std::size_t own = part_.pos.cols();
        extended_.pos.clear();
        extended_.node_ids.clear();
        if (!extended_.pos.resize(3, own + new_nodes_.size()) || !extended_.node_ids.resize(own + new_nodes_.size()))
            return false;
        for (std::size_t j = 0; j < own; ++j)
            std::copy_n(part_.pos.col(j), 3, extended_.pos.col(j));
        std::copy(part_.node_ids.begin(), part_.node_ids.end(), extended_.node_ids.begin());
        for (std::size_t k = 0; k < new_nodes_.size(); ++k) {
            const node_record& node = received_.nodes.records[new_nodes_[k]];
            extended_.node_ids[own + k] = node.id;
            double* const p = extended_.pos.col(own + k);
            p[0] = node.x;
            p[1] = node.y;
            p[2] = node.z;
        }
        return true;
    }

    /// Own elements and those that came, in the order of their IDs.
    bool write_elements(int rank) {
        const std::size_t own = part_.element_ids.size();
        const dense1D<element_record, 8>& heads = received_.elements.records;
        id_order mine, came;
        dense1D<int, 8> rank_of_came;
        dense1D<std::size_t, 8> nodes_from;
        extended_.connectivity.clear();
        extended_.element_ids.clear();
        extended_.ranks.clear();
        extended_.columns.clear();
        if (!mine.build(own, [&](std::size_t k) { return part_.element_ids[k]; }) ||
            !came.build(heads.size(), [&](std::size_t k) { return heads[k].id; }) ||
            !list_senders(rank_of_came, nodes_from) ||
            !extended_.connectivity.resize(received_.rows, own + heads.size(), no_node) ||
            !extended_.element_ids.resize(own + heads.size()) || !extended_.ranks.resize(own + heads.size()) ||
            !extended_.columns.resize(own + heads.size()))
            return false;
        for (std::size_t m = 0, c = 0; m + c < own + heads.size();) {
            const std::size_t j = m + c;
            unsigned* const column = extended_.connectivity.col(j);
            if (c == came.size() || (m < own && part_.element_ids[mine[m]] <= heads[came[c]].id)) {
                const std::size_t at = mine[m++];
                std::copy_n(part_.connectivity.col(at), part_.connectivity.rows(), column);
                extended_.element_ids[j] = part_.element_ids[at];
                extended_.ranks[j] = rank;
                extended_.columns[j] = static_cast<unsigned>(at);
                continue;
            }
            const std::size_t at = came[c++];
            extended_.element_ids[j] = heads[at].id;
            extended_.ranks[j] = rank_of_came[at];
            extended_.columns[j] = heads[at].column;
            const std::size_t first = nodes_from[std::size_t(rank_of_came[at])];
            for (std::size_t i = 0; i < received_.rows; ++i)
                if (const unsigned place = received_.connectivity[at * received_.rows + i]; place != no_node)
                    column[i] = static_cast<unsigned>(column_of_[first + place]);
        }
        return true;
    }

    /// The rank of each element that came, and where the nodes of each rank begin.
    bool list_senders(dense1D<int, 8>& rank_of_came, dense1D<std::size_t, 8>& nodes_from) const {
        const std::size_t ranks = received_.elements.counts.size();
        if (!rank_of_came.resize(received_.elements.records.size()) || !nodes_from.resize(ranks))
            return false;
        int* next = rank_of_came.begin();
        std::size_t nodes = 0;
        for (std::size_t r = 0; r < ranks; ++r) {
            next = std::fill_n(next, received_.elements.counts[r], static_cast<int>(r));
            nodes_from[r] = nodes;
            nodes += std::size_t(received_.nodes.counts[r]);
        }
        return true;
    }

    const distributed_mesh& part_;
    const mesh_message& received_;
    extended_part& extended_;
    dense1D<std::size_t, 8> column_of_; ///< of each node that came
    dense1D<std::size_t, 8> new_nodes_; ///< those that came and the part has not, in the order of IDs
};

} // namespace

int extend(const distributed_mesh& part, extended_part& extended, MPI_Comm comm) {
    mesh_message sent, received;
    sent.rows =
        static_cast<std::size_t>(largest_of_all(part.connectivity.empty() ? 0 : part.connectivity.rows(), comm));
    if (const int status = agree(write_message(part, size_of(comm), sent) ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(sent, received, comm); status < 0)
        return status;
    return agree(extension(part, received, extended).build(rank_of(comm)) ? 0 : no_memory, comm);
}

} // namespace quorl::meldra3d_mpi::detail
