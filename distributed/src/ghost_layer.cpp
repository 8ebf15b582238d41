#include "ghost_layer.h"

#include <algorithm>
#include <limits>

#include "check_part.h"
#include "exchange.h"
#include "frame/id_count.h"

namespace quorl::meldra3d_mpi::detail {

namespace {

constexpr unsigned none = no_node;

/// What is said of an element; its nodes follow in a message of their own.
struct element_head {
    std::uint64_t id;
    unsigned column;
};

struct node_record {
    std::uint64_t id;
    double x, y, z;
};

/// The elements at each shared node: those of the k-th that occurs in the lists are elements[first[k]] on.
struct elements_at_nodes {
    dense1D<unsigned, 8> place; ///< of each node of the part: its k, or none
    dense1D<std::size_t, 8> first;
    dense1D<unsigned, 8> elements;

    bool build(const distributed_mesh& part) {
        const dense2D<unsigned int>& connect = part.connectivity;
        if (!place.resize(part.pos.cols(), none))
            return false;
        unsigned shared = 0;
        for (const unsigned node : part.shared_nodes)
            if (place[node] == none)
                place[node] = shared++;
        if (!first.resize(std::size_t(shared) + 2, 0))
            return false;
        const auto visit = [&](auto at) {
            for (std::size_t j = 0; j < connect.cols(); ++j)
                for (std::size_t i = 0; i < connect.rows(); ++i)
                    if (const unsigned node = connect(i, j); node != no_node && place[node] != none)
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

/// Brings a list's entries from `begin` on in order, each once.
template <class T>
bool sort_tail(dense1D<T, 8>& list, std::size_t begin) {
    std::sort(list.begin() + begin, list.end());
    return list.resize(static_cast<std::size_t>(std::unique(list.begin() + begin, list.end()) - list.begin()));
}

/// What a rank tells its neighbours: elements, the nodes they name, and where among these each of their nodes is.
struct message {
    by_rank<element_head> heads;
    by_rank<node_record> nodes;
    std::size_t rows = 0;        ///< of a column of `places`
    dense1D<unsigned, 8> places; ///< a column for each element: places in the list of nodes to that rank, or none
};

class message_writer {
public:
    message_writer(const distributed_mesh& part, message& sent) : part_(part), sent_(sent) {}

    bool write(int ranks) {
        if (!sent_.heads.counts.resize(std::size_t(ranks), 0) || !sent_.nodes.counts.resize(std::size_t(ranks), 0) ||
            !at_nodes_.build(part_) || !place_.resize(part_.pos.cols()))
            return false;
        for (std::size_t n = 0; n < part_.neighbor_ranks.size(); ++n)
            if (!write_to(n))
                return false;
        return true;
    }

private:
    bool write_to(std::size_t neighbor) {
        if (!list_elements(neighbor) || !list_nodes())
            return false;
        const auto rank = std::size_t(part_.neighbor_ranks[neighbor]);
        return write_elements(sent_.heads.counts[rank]) && write_nodes(sent_.nodes.counts[rank]);
    }

    bool list_elements(std::size_t neighbor) {
        elements_.clear();
        for (std::uint64_t s = part_.first_shared[neighbor]; s < part_.first_shared[neighbor + 1]; ++s) {
            const unsigned k = at_nodes_.place[part_.shared_nodes[s]];
            for (std::size_t e = at_nodes_.first[k]; e < at_nodes_.first[k + 1]; ++e)
                if (!elements_.push_back(at_nodes_.elements[e]))
                    return false;
        }
        return sort_tail(elements_, 0);
    }

    bool list_nodes() {
        nodes_.clear();
        for (const unsigned element : elements_)
            for (std::size_t i = 0; i < part_.connectivity.rows(); ++i)
                if (const unsigned node = part_.connectivity(i, element); node != no_node && !nodes_.push_back(node))
                    return false;
        if (!sort_tail(nodes_, 0))
            return false;
        for (std::size_t k = 0; k < nodes_.size(); ++k)
            place_[nodes_[k]] = static_cast<unsigned>(k);
        return true;
    }

    bool write_elements(int& count) {
        const std::size_t before = sent_.places.size();
        if (elements_.size() > std::size_t(std::numeric_limits<int>::max()) ||
            !sent_.places.reserve(before + elements_.size() * sent_.rows, 2) ||
            !sent_.places.resize(before + elements_.size() * sent_.rows, none))
            return false;
        unsigned* column = sent_.places.data() + before;
        for (const unsigned element : elements_) {
            if (!sent_.heads.records.push_back({part_.element_ids[element], element}))
                return false;
            for (std::size_t i = 0; i < part_.connectivity.rows(); ++i)
                if (const unsigned node = part_.connectivity(i, element); node != no_node)
                    column[i] = place_[node];
            column += sent_.rows;
        }
        count = static_cast<int>(elements_.size());
        return true;
    }

    bool write_nodes(int& count) {
        if (nodes_.size() > std::size_t(std::numeric_limits<int>::max()))
            return false;
        for (const unsigned node : nodes_) {
            const double* const p = part_.pos.col(node);
            if (!sent_.nodes.records.push_back({part_.node_ids[node], p[0], p[1], p[2]}))
                return false;
        }
        count = static_cast<int>(nodes_.size());
        return true;
    }

    const distributed_mesh& part_;
    message& sent_;
    elements_at_nodes at_nodes_;
    dense1D<unsigned, 8> place_; ///< of each node of the part in `nodes_`
    dense1D<unsigned, 8> elements_;
    dense1D<unsigned, 8> nodes_;
};

int exchange_messages(const message& sent, message& received, MPI_Comm comm) {
    if (const int status = exchange(sent.heads, received.heads, comm); status < 0)
        return status;
    if (const int status = exchange(sent.nodes, received.nodes, comm); status < 0)
        return status;
    const bool room = received.places.resize(received.heads.records.size() * sent.rows);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    received.rows = sent.rows;
    if (sent.rows == 0)
        return 0;
    return exchange_blocks(sent.rows * sizeof(unsigned), sent.places.data(), sent.heads.counts.data(),
                           received.places.data(), received.heads.counts.data(), comm);
}

/// A global ID and where it stands.
struct numbered {
    std::uint64_t id;
    std::size_t at;
    bool operator<(const numbered& other) const { return id < other.id; }
};

/// The places of a list of IDs in the order of the IDs.
template <class Count, class IdAt>
bool order_by_id(Count count, IdAt id_at, dense1D<numbered, 8>& order) {
    if (!order.resize(count))
        return false;
    for (std::size_t k = 0; k < count; ++k)
        order[k] = {id_at(k), k};
    if (!std::is_sorted(order.begin(), order.end()))
        std::sort(order.begin(), order.end());
    return true;
}

/// Puts the part and what came from the neighbours together.
class extension {
public:
    extension(const distributed_mesh& part, const message& received, extended_part& extended)
        : part_(part), received_(received), extended_(extended) {}

    bool build(int rank) { return number_nodes() && place_nodes() && order_elements() && write_elements(rank); }

private:
    /// Finds the column of each node that came: that of the part where it has the node, otherwise a new one.
    bool number_nodes() {
        const dense1D<node_record, 8>& nodes = received_.nodes.records;
        dense1D<numbered, 8> own, came;
        if (!order_by_id(
                part_.node_ids.size(), [&](std::size_t k) { return part_.node_ids[k]; }, own) ||
            !order_by_id(
                nodes.size(), [&](std::size_t k) { return nodes[k].id; }, came) ||
            !column_of_.resize(nodes.size()))
            return false;
        const numbered* mine = own.begin();
        for (std::size_t k = 0; k < came.size(); ++k) {
            while (mine != own.end() && mine->id < came[k].id)
                ++mine;
            if (mine != own.end() && mine->id == came[k].id)
                column_of_[came[k].at] = mine->at;
            else if (k > 0 && came[k - 1].id == came[k].id)
                column_of_[came[k].at] = column_of_[came[k - 1].at];
            else if (column_of_[came[k].at] = part_.pos.cols() + new_nodes_.size(); !new_nodes_.push_back(came[k].at))
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

    /// Own elements are 0, 1, ..., those that came follow.
    bool order_elements() {
        const std::size_t own = part_.element_ids.size();
        const dense1D<element_head, 8>& heads = received_.heads.records;
        dense1D<numbered, 8> mine, came;
        if (!order_by_id(
                own, [&](std::size_t k) { return part_.element_ids[k]; }, mine) ||
            !order_by_id(
                heads.size(), [&](std::size_t k) { return heads[k].id; }, came) ||
            !order_.resize(own + heads.size()))
            return false;
        for (numbered& element : came)
            element.at += own;
        std::merge(mine.begin(), mine.end(), came.begin(), came.end(), order_.begin());
        return true;
    }

    bool write_elements(int rank) {
        const std::size_t own = part_.element_ids.size();
        dense1D<int, 8> rank_of_came;
        dense1D<std::size_t, 8> nodes_from;
        extended_.connectivity.clear();
        extended_.element_ids.clear();
        extended_.ranks.clear();
        extended_.columns.clear();
        if (!list_senders(rank_of_came, nodes_from) ||
            !extended_.connectivity.resize(received_.rows, order_.size(), no_node) ||
            !extended_.element_ids.resize(order_.size()) || !extended_.ranks.resize(order_.size()) ||
            !extended_.columns.resize(order_.size()))
            return false;
        for (std::size_t j = 0; j < order_.size(); ++j) {
            const std::size_t at = order_[j].at;
            unsigned* const column = extended_.connectivity.col(j);
            extended_.element_ids[j] = order_[j].id;
            if (at < own) {
                std::copy_n(part_.connectivity.col(at), part_.connectivity.rows(), column);
                extended_.ranks[j] = rank;
                extended_.columns[j] = static_cast<unsigned>(at);
                continue;
            }
            const std::size_t came = at - own;
            const auto sender = std::size_t(rank_of_came[came]);
            extended_.ranks[j] = rank_of_came[came];
            extended_.columns[j] = received_.heads.records[came].column;
            for (std::size_t i = 0; i < received_.rows; ++i)
                if (const unsigned place = received_.places[came * received_.rows + i]; place != none)
                    column[i] = static_cast<unsigned>(column_of_[nodes_from[sender] + place]);
        }
        return true;
    }

    /// The rank of each element that came, and where the nodes of each rank begin.
    bool list_senders(dense1D<int, 8>& rank_of_came, dense1D<std::size_t, 8>& nodes_from) const {
        const std::size_t ranks = received_.heads.counts.size();
        if (!rank_of_came.resize(received_.heads.records.size()) || !nodes_from.resize(ranks))
            return false;
        int* next = rank_of_came.begin();
        std::size_t nodes = 0;
        for (std::size_t r = 0; r < ranks; ++r) {
            next = std::fill_n(next, received_.heads.counts[r], static_cast<int>(r));
            nodes_from[r] = nodes;
            nodes += std::size_t(received_.nodes.counts[r]);
        }
        return true;
    }

    const distributed_mesh& part_;
    const message& received_;
    extended_part& extended_;
    dense1D<std::size_t, 8> column_of_; ///< of each node that came
    dense1D<std::size_t, 8> new_nodes_; ///< those that came and are none of the part, in the order of IDs
    dense1D<numbered, 8> order_;        ///< of the elements
};

} // namespace

int extend(const distributed_mesh& part, extended_part& extended, MPI_Comm comm) {
    message sent, received;
    const bool any = !part.connectivity.empty();
    sent.rows = static_cast<std::size_t>(largest_of_all(any ? part.connectivity.rows() : 0, comm));
    const bool written = message_writer(part, sent).write(size_of(comm));
    if (const int status = agree(written ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange_messages(sent, received, comm); status < 0)
        return status;
    return agree(extension(part, received, extended).build(rank_of(comm)) ? 0 : no_memory, comm);
}

} // namespace quorl::meldra3d_mpi::detail
