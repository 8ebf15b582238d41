// Which ranks share a node, by a directory: the global IDs are dealt out to the ranks in equal intervals, each rank
// tells the keepers of its nodes' IDs that it has them, and a keeper tells all that name the same one of each other.

#include <algorithm>
#include <utility>

#include "by_id.h"
#include "check_part.h"
#include "exchange.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

/// A global ID, and a rank that has it.
struct holder {
    std::uint64_t id;
    int rank;
    bool operator<(const holder& other) const { return id != other.id ? id < other.id : rank < other.rank; }
};

/// Of the IDs that came from the ranks, those that two or more may have, sorted. Few are, so the others are left out
/// first: those that have a place for themselves in a table in which the places follow from the lowest bits.
bool keep_common(const by_rank<std::uint64_t>& came, dense1D<holder, 8>& holders) {
    std::size_t places = 1;
    while (places < 2 * came.records.size())
        places *= 2;
    dense1D<unsigned char, 8> times;
    if (!times.resize(places, 0))
        return false;
    for (const std::uint64_t id : came.records) {
        unsigned char& here = times[id & (places - 1)];
        here = here == 0 ? 1 : 2;
    }
    holders.clear();
    std::size_t k = 0;
    for (std::size_t r = 0; r < came.counts.size(); ++r)
        for (const std::size_t last = k + static_cast<std::size_t>(came.counts[r]); k < last; ++k)
            if (const std::uint64_t id = came.records[k];
                times[id & (places - 1)] > 1 && !holders.push_back({id, static_cast<int>(r)}))
                return false;
    std::sort(holders.begin(), holders.end());
    return true;
}

/// Sends each of the IDs (below `end`) to its keeper, and gives those that came from more than one rank, sorted, and
/// maybe others.
int collect(const dense1D<std::uint64_t, 8>& ids, std::uint64_t end, dense1D<holder, 8>& holders, MPI_Comm comm) {
    const auto ranks = static_cast<std::uint64_t>(size_of(comm));
    const std::uint64_t interval = end / ranks + (end % ranks != 0 ? 1 : 0);
    by_rank<std::uint64_t> sent, received;
    dense1D<std::size_t, 8> place;
    const bool sorted = sort_by_rank(
        ids.size(), size_of(comm), [&](std::size_t k) { return static_cast<int>(ids[k] / interval); },
        [&](std::size_t k) { return ids[k]; }, sent, place);
    if (const int status = agree(sorted ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(sent, received, comm); status < 0)
        return status;
    return agree(keep_common(received, holders) ? 0 : no_memory, comm);
}

/// Whether no ID has two holders.
bool all_different(const dense1D<holder, 8>& holders) {
    const auto same = [](const holder& a, const holder& b) { return a.id == b.id; };
    return std::adjacent_find(holders.begin(), holders.end(), same) == holders.end();
}

/// Says to each holder of an ID who the others are: in `told`, to ranks[k] what stands in told[k].
bool tell_of_others(const dense1D<holder, 8>& holders, dense1D<holder, 8>& told, dense1D<int, 8>& ranks) {
    for (const holder* first = holders.begin(); first != holders.end();) {
        const holder* last = first;
        while (last != holders.end() && last->id == first->id)
            ++last;
        for (const holder* one = first; one != last; ++one)
            for (const holder* other = first; other != last; ++other)
                if (one != other && (!told.push_back(*other) || !ranks.push_back(one->rank)))
                    return false;
        first = last;
    }
    return true;
}

struct shared_lists {
    dense1D<int, 8> neighbors;
    dense1D<std::uint64_t, 8> first;
    dense1D<unsigned, 8> nodes;
};

/// Makes the lists of what others have of this part's nodes.
bool make_lists(const distributed_mesh& part, dense1D<holder, 8>& others, shared_lists& lists) {
    id_order own;
    const auto id_at = [&](std::size_t j) { return part.node_ids[j]; };
    if (!own.build(part.node_ids.size(), id_at) || !lists.nodes.resize(others.size()))
        return false;
    std::sort(others.begin(), others.end(),
              [](const holder& a, const holder& b) { return a.rank != b.rank ? a.rank < b.rank : a.id < b.id; });
    for (std::size_t k = 0; k < others.size(); ++k) {
        if (k == 0 || others[k].rank != others[k - 1].rank)
            if (!lists.neighbors.push_back(others[k].rank) || !lists.first.push_back(k))
                return false;
        lists.nodes[k] = static_cast<unsigned>(own.find(others[k].id, id_at));
    }
    return lists.first.push_back(others.size());
}

} // namespace

} // namespace detail

int find_shared_nodes(distributed_mesh& part, MPI_Comm comm) {
    using namespace detail;
    if (const int status = agree_on_part(check_part_alone(part), part, comm); status < 0)
        return status;
    dense1D<holder, 8> holders, told;
    dense1D<int, 8> ranks;
    if (const int status = collect(part.element_ids, part.elements, holders, comm); status < 0)
        return status;
    if (const int status = agree(all_different(holders) ? 0 : not_a_part, comm); status < 0)
        return status;
    if (const int status = collect(part.node_ids, part.nodes, holders, comm); status < 0)
        return status;
    by_rank<holder> sent, received;
    dense1D<std::size_t, 8> place;
    const bool written =
        tell_of_others(holders, told, ranks) && sort_by_rank(
                                                    told.size(), size_of(comm), [&](std::size_t k) { return ranks[k]; },
                                                    [&](std::size_t k) { return told[k]; }, sent, place);
    if (const int status = agree(written ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(sent, received, comm); status < 0)
        return status;
    shared_lists lists;
    if (const int status = agree(make_lists(part, received.records, lists) ? 0 : no_memory, comm); status < 0)
        return status;
    part.neighbor_ranks = std::move(lists.neighbors);
    part.first_shared = std::move(lists.first);
    part.shared_nodes = std::move(lists.nodes);
    return 0;
}

} // namespace quorl::meldra3d_mpi
