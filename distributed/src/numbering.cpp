// A new node belongs to the element that meets it first. Its global number is the number of nodes that elements of
// lower global IDs meet first, which are counted in a directory (each rank adds up the counts of a range of global
// IDs), and its place among those of its element. A rank knows both for its own elements. Where a ghost comes first,
// its rank is asked, by the element and the place in it, since ghosts at the rim of the layer may number their nodes
// differently.

#include "numbering.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "by_id.h"
#include "exchange.h"

namespace quorl::meldra3d_mpi::detail {

namespace {

constexpr std::uint64_t asked = no_id - 1; ///< stands for a number that another rank will tell

struct element_count {
    std::uint64_t element;
    std::uint64_t count;
};

/// A place in what became of an element of another rank.
struct question {
    std::uint32_t column; ///< of that rank's part
    std::uint32_t place;  ///< among the entries of its columns of the result
};

/// For each of n elements, of the ID and the count that element_at(k) gives, the sum of the counts of those with lower
/// IDs; and the sum of all. False when memory ran out.
template <class ElementAt>
bool sum_up(std::size_t n, const ElementAt& element_at, dense1D<std::uint64_t, 8>& sums, std::uint64_t& total) {
    id_order order;
    if (!order.build(n, [&](std::size_t k) { return element_at(k).element; }) || !sums.resize(n))
        return false;
    total = 0;
    for (std::size_t k = 0; k < n; ++k) {
        sums[order[k]] = total;
        total += element_at(order[k]).count;
    }
    return true;
}

class numbering_of_part {
public:
    numbering_of_part(const distributed_mesh& part, const extended_part& extended, const extended_result& result,
                      const id_range& range, new_nodes& found, MPI_Comm comm)
        : part_(part), extended_(extended), result_(result), range_(range), found_(found), comm_(comm) {}

    int run() {
        if (const int status = agree(meet() ? 0 : no_memory, comm_); status < 0)
            return status;
        if (const int status = sum_below(part_, counts_, starts_, found_.in_all, comm_); status < 0)
            return status;
        number_own();
        if (const int status = ask(); status < 0)
            return status;
        const int listed = list_own();
        return agree(listed == 0 && !list_shared() ? no_memory : listed, comm_);
    }

private:
    std::size_t elements() const { return extended_.element_ids.size(); }
    bool is_own(std::size_t element) const { return extended_.ranks[element] == rank_of_this_; }
    bool is_named(unsigned place) const { return found_.place[place] != no_node; } ///< by an own element

    /// Calls visit(place in the range, place in the element) for the entries of an element that are in the range.
    template <class Visit>
    [[gnu::always_inline]] void for_each_entry(std::size_t element, const Visit& visit) const {
        const std::size_t rows = result_.connectivity.rows();
        std::uint32_t entry = 0;
        for (std::size_t j = result_.begin(element); j < result_.end(element); ++j) {
            const unsigned* const column = result_.connectivity.col(j);
            for (std::size_t i = 0; i < rows; ++i, ++entry)
                if (const unsigned place = range_.place(column[i]); place < range_.count)
                    visit(place, entry);
        }
    }

    /// Notes which new nodes each element meets first, and which are named by own elements.
    bool meet() {
        if (!first_.resize(part_.element_ids.size()) || !found_.own.resize(part_.element_ids.size()) ||
            !counts_.resize(part_.element_ids.size()) || !numbers_.resize(range_.count, no_id) ||
            !found_.place.resize(range_.count, no_node))
            return false;
        unsigned met = 0;
        unsigned* const named = found_.place.data();
        for (std::size_t element = 0; element < elements(); ++element) {
            const unsigned first = met;
            const bool own = is_own(element);
            for_each_entry(element, [&](unsigned place, std::uint32_t) {
                met = std::max(met, place + 1);
                if (own)
                    named[place] = 0;
            });
            if (own) {
                const unsigned column = extended_.columns[element];
                found_.own[column] = static_cast<unsigned>(element);
                first_[column] = first;
                counts_[column] = met - first;
            }
        }
        return true;
    }

    void number_own() {
        for (std::size_t j = 0; j < found_.own.size(); ++j) {
            std::uint64_t* const first = numbers_.data() + first_[j];
            std::iota(first, first + counts_[j], starts_[j]);
        }
    }

    struct open_number {
        unsigned place; ///< in the range
        int rank;       ///< to be asked
        question what;
    };

    /// The first ghost that names a node without a number is the one that meets it first.
    bool collect(dense1D<open_number, 8>& open) {
        bool collected = true;
        for (std::size_t element = 0; element < elements(); ++element) {
            if (is_own(element))
                continue;
            for_each_entry(element, [&](unsigned place, std::uint32_t entry) {
                if (!is_named(place) || numbers_[place] != no_id)
                    return;
                numbers_[place] = asked;
                collected =
                    collected && open.push_back({place, extended_.ranks[element], {extended_.columns[element], entry}});
            });
        }
        return collected;
    }

    /// The number of the node that a question is about; `no_id` when this rank is not the one to know.
    std::uint64_t reply(const question& what) const {
        if (what.column >= found_.own.size())
            return no_id;
        const std::size_t element = found_.own[what.column];
        const std::size_t rows = result_.connectivity.rows();
        const std::size_t column = result_.begin(element) + what.place / rows;
        if (column >= result_.end(element))
            return no_id;
        const unsigned place = range_.place(result_.connectivity(what.place % rows, column));
        return place < range_.count && numbers_[place] != asked ? numbers_[place] : no_id;
    }

    int ask() {
        dense1D<open_number, 8> open;
        by_rank<question> sent, came;
        dense1D<std::size_t, 8> sent_place;
        const bool sorted =
            collect(open) && sort_by_rank(
                                 open.size(), size_of(comm_), [&](std::size_t k) { return open[k].rank; },
                                 [&](std::size_t k) { return open[k].what; }, sent, sent_place);
        if (const int status = agree(sorted ? 0 : no_memory, comm_); status < 0)
            return status;
        if (const int status = exchange(sent, came, comm_); status < 0)
            return status;
        dense1D<std::uint64_t, 8> replies, got;
        if (const int status = agree(replies.resize(came.records.size()) ? 0 : no_memory, comm_); status < 0)
            return status;
        std::transform(came.records.begin(), came.records.end(), replies.begin(),
                       [this](const question& what) { return reply(what); });
        if (const int status = answer(came, replies, sent, got, comm_); status < 0)
            return status;
        bool known = true;
        for (std::size_t k = 0; k < open.size(); ++k) {
            numbers_[open[k].place] = got[sent_place[k]];
            known = known && got[sent_place[k]] != no_id;
        }
        return agree(known ? 0 : not_a_part, comm_);
    }

    /// Lists the new nodes that own elements name. Their numbers rise with their IDs here: elements come in the same
    /// order, and each numbers its nodes in the same order, whichever of them it meets first.
    int list_own() {
        dense1D<unsigned int, 8>& source = found_.source;
        if (!source.resize(range_.count) || !found_.numbers.resize(range_.count))
            return no_memory;
        unsigned own = 0;
        bool rise = true;
        for (unsigned place = 0; place < range_.count; ++place) {
            if (!is_named(place))
                continue;
            rise = rise && (own == 0 || found_.numbers[own - 1] < numbers_[place]);
            found_.numbers[own] = numbers_[place];
            found_.place[place] = own;
            source[own++] = place;
        }
        return source.resize(own) && found_.numbers.resize(own) && rise ? 0 : not_a_part;
    }

    /// A node that an own element and a ghost name is shared with the rank of the ghost.
    bool list_shared() {
        dense1D<shared_new_node, 8>& shared = found_.shared;
        bool listed = true;
        for (std::size_t element = 0; element < elements(); ++element)
            if (!is_own(element))
                for_each_entry(element, [&](unsigned place, std::uint32_t) {
                    if (is_named(place))
                        listed = listed && shared.push_back({extended_.ranks[element], found_.place[place]});
                });
        std::sort(shared.begin(), shared.end(), [](const shared_new_node& a, const shared_new_node& b) {
            return a.rank != b.rank ? a.rank < b.rank : a.place < b.place;
        });
        const auto* const end =
            std::unique(shared.begin(), shared.end(), [](const shared_new_node& a, const shared_new_node& b) {
                return a.rank == b.rank && a.place == b.place;
            });
        return shared.resize(static_cast<std::size_t>(end - shared.begin())) && listed;
    }

    const distributed_mesh& part_;
    const extended_part& extended_;
    const extended_result& result_;
    const id_range range_;
    new_nodes& found_;
    const MPI_Comm comm_;
    const int rank_of_this_ = rank_of(comm_);
    dense1D<unsigned int, 8> first_;    ///< the place of the first new node that each own element meets first
    dense1D<unsigned int, 8> counts_;   ///< and how many these are
    dense1D<std::uint64_t, 8> starts_;  ///< the number of that first one
    dense1D<std::uint64_t, 8> numbers_; ///< of the new nodes of the extended result, as far as the part needs them
};

/// The entries of a list of rank-ordered new nodes that are shared with one rank.
struct shared_block {
    const shared_new_node* begin;
    const shared_new_node* end;
};

shared_block block_of(const dense1D<shared_new_node, 8>& shared, int rank) {
    const auto below = [](const shared_new_node& node, int r) { return node.rank < r; };
    const auto* const begin = std::lower_bound(shared.begin(), shared.end(), rank, below);
    return {begin, std::lower_bound(begin, shared.end(), rank + 1, below)};
}

/// The lists of shared nodes: for each neighbour those that there were, then its new ones, level after level. New nodes
/// have higher global IDs than all others, and whom a rank shares them with it shares the vertices around them with.
/// -20 when a new node is shared with a rank that is no neighbour.
int list_shared_nodes(const distributed_mesh& part, const new_nodes& found, unsigned levels, distributed_mesh& cut) {
    if (!cut.neighbor_ranks.copy(part.neighbor_ranks) || !cut.first_shared.resize(part.first_shared.size()) ||
        !cut.shared_nodes.resize(part.shared_nodes.size() + levels * found.shared.size()))
        return no_memory;
    const auto part_nodes = static_cast<unsigned>(part.pos.cols());
    const auto own = static_cast<unsigned>(found.numbers.size());
    unsigned* next = cut.shared_nodes.begin();
    for (std::size_t n = 0; n < part.neighbor_ranks.size(); ++n) {
        cut.first_shared[n] = static_cast<std::uint64_t>(next - cut.shared_nodes.begin());
        next = std::copy(part.shared_nodes.begin() + part.first_shared[n],
                         part.shared_nodes.begin() + part.first_shared[n + 1], next);
        const shared_block block = block_of(found.shared, part.neighbor_ranks[n]);
        for (unsigned level = 0; level < levels; ++level)
            next = std::transform(block.begin, block.end, next,
                                  [&](const shared_new_node& node) { return part_nodes + level * own + node.place; });
    }
    if (!cut.first_shared.empty())
        cut.first_shared[part.neighbor_ranks.size()] = cut.shared_nodes.size();
    return next == cut.shared_nodes.end() ? 0 : not_a_part;
}

void copy_column(dense2D<double>& pos, std::size_t from, std::size_t to) {
    if (from != to)
        std::copy_n(pos.col(from), 3, pos.col(to));
}

} // namespace

int extend_in_rows(const distributed_mesh& part, std::size_t rows, extended_part& extended, MPI_Comm comm) {
    if (const int status = extend(part, extended, comm); status < 0)
        return status;
    dense2D<unsigned int>& all = extended.connectivity;
    return agree(all.empty() || all.__resize_rows(rows, all.cols(), no_node) ? 0 : no_memory, comm);
}

int sum_below(const distributed_mesh& part, const dense1D<unsigned int, 8>& counts, dense1D<std::uint64_t, 8>& sums,
              std::uint64_t& total, MPI_Comm comm) {
    const auto ranks = static_cast<std::uint64_t>(size_of(comm));
    const auto own = [&](std::size_t j) { return element_count{part.element_ids[j], counts[j]}; };
    if (ranks == 1)
        return sum_up(counts.size(), own, sums, total) ? 0 : no_memory;
    const std::uint64_t each = part.elements / ranks + 1; // global IDs that a rank adds up
    by_rank<element_count> sent, came;
    dense1D<std::size_t, 8> place;
    const bool sorted = sort_by_rank(
        counts.size(), size_of(comm), [&](std::size_t j) { return static_cast<int>(part.element_ids[j] / each); }, own,
        sent, place);
    if (const int status = agree(sorted ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(sent, came, comm); status < 0)
        return status;

    dense1D<std::uint64_t, 8> replies, got;
    std::uint64_t here = 0;
    const auto at = [&](std::size_t k) { return came.records[k]; };
    const bool summed = sum_up(came.records.size(), at, replies, here) && sums.resize(counts.size());
    if (const int status = agree(summed ? 0 : no_memory, comm); status < 0)
        return status;
    std::uint64_t before = 0; // of ranks below, which leaves rank 0 as it is
    const int result = MPI_Exscan(&here, &before, 1, MPI_UINT64_T, MPI_SUM, comm);
    if (const int status = agree(result == MPI_SUCCESS ? 0 : no_message, comm); status < 0)
        return status;
    for (std::uint64_t& reply : replies)
        reply += before;
    total = sum_of_all(here, comm);
    if (const int status = answer(came, replies, sent, got, comm); status < 0)
        return status;
    for (std::size_t j = 0; j < counts.size(); ++j)
        sums[j] = got[place[j]];
    return 0;
}

int number_new_nodes(const distributed_mesh& part, const extended_part& extended, const extended_result& result,
                     const id_range& range, new_nodes& found, MPI_Comm comm) {
    return numbering_of_part(part, extended, result, range, found, comm).run();
}

part_numbering::part_numbering(const distributed_mesh& part, unsigned first_new, const new_nodes& found)
    : found_(found), part_nodes_(static_cast<unsigned>(part.pos.cols())), first_new_(first_new),
      per_level_(static_cast<unsigned>(found.place.size())), own_(static_cast<unsigned>(found.numbers.size())),
      place_(found.place.data()) {}

int cut_nodes(const distributed_mesh& part, dense2D<double>& pos, const part_numbering& numbering, std::uint64_t levels,
              distributed_mesh& cut) {
    const new_nodes& found = numbering.found();
    if (found.in_all != 0 && levels > (no_id - part.nodes) / found.in_all)
        return no_memory;
    const std::size_t own = found.numbers.size();
    const std::size_t part_nodes = part.pos.cols();
    const std::size_t here = own == 0 ? 0 : levels; // else, a rank without new nodes may know of any number of levels
    if (!cut.node_ids.resize(part_nodes + here * own))
        return no_memory;
    if (const int status = list_shared_nodes(part, found, static_cast<unsigned>(here), cut); status < 0)
        return status;
    std::copy(part.node_ids.begin(), part.node_ids.end(), cut.node_ids.begin());
    std::size_t to = part_nodes;
    std::uint64_t* id = cut.node_ids.data() + part_nodes;
    for (std::size_t level = 0; level < here; ++level) {
        const std::size_t from = numbering.first_new() + level * found.place.size();
        for (const unsigned place : found.source) // what stays moves to the front
            copy_column(pos, from + place, to++);
        const std::uint64_t first = part.nodes + level * found.in_all;
        id = std::transform(found.numbers.begin(), found.numbers.end(), id,
                            [first](std::uint64_t number) { return first + number; });
    }
    pos.resize(3, to);
    cut.pos = std::move(pos);
    cut.nodes = part.nodes + levels * found.in_all;
    return 0;
}

bool cut_elements(extended_result& result, const part_numbering& numbering, dense2D<unsigned int>& cut) {
    return move_elements(result, numbering.found(), cut, [&](const unsigned* from, unsigned* to, std::size_t /*k*/) {
        std::transform(from, from + result.connectivity.rows(), to, numbering);
    });
}

} // namespace quorl::meldra3d_mpi::detail
