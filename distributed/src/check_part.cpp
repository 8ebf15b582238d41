#include "check_part.h"

#include <algorithm>
#include <array>
#include <functional>

#include "exchange.h"
#include "frame/id_count.h"

namespace quorl::meldra3d_mpi::detail {

namespace {

using meldra3d::detail::id_count;

bool rises(const std::uint64_t* first, const std::uint64_t* last) {
    return std::adjacent_find(first, last, std::greater_equal<>()) == last;
}

/// Whether `count` global IDs are all different and below `end`.
int check_global_ids(const dense1D<std::uint64_t, 8>& ids, std::size_t count, std::uint64_t end) {
    if (ids.size() != count)
        return not_a_part;
    if (!std::all_of(ids.begin(), ids.end(), [end](std::uint64_t id) { return id < end; }))
        return not_a_part;
    if (rises(ids.begin(), ids.end()))
        return 0;
    dense1D<std::uint64_t, 8> sorted;
    if (!sorted.copy(ids))
        return no_memory;
    std::sort(sorted.begin(), sorted.end());
    return rises(sorted.begin(), sorted.end()) ? 0 : not_a_part;
}

/// A connectivity without a type, as elements of high order have, may hold unused slots anywhere.
bool suits(const dense2D<unsigned int>& connectivity, element_type type, unsigned nodes) {
    return type == ET_NONE ? meldra::check_IDs(connectivity, nodes) : meldra::check_IDs(connectivity, type, nodes);
}

/// Whether the lists of shared nodes lie one behind the other, none empty, and fill `shared_nodes`.
bool lists_fit(const distributed_mesh& part) {
    const dense1D<std::uint64_t, 8>& first = part.first_shared;
    if (part.neighbor_ranks.empty())
        return part.shared_nodes.empty() && (first.empty() || (first.size() == 1 && first[0] == 0));
    return first.size() == part.neighbor_ranks.size() + 1 && first[0] == 0 && rises(first.begin(), first.end()) &&
           first[first.size() - 1] == part.shared_nodes.size();
}

/// Whether each list names nodes of the part, in the order of their global IDs.
bool lists_rise(const distributed_mesh& part) {
    for (std::size_t n = 0; n < part.neighbor_ranks.size(); ++n)
        for (std::uint64_t k = part.first_shared[n]; k < part.first_shared[n + 1]; ++k) {
            const unsigned node = part.shared_nodes[k];
            if (node >= part.node_ids.size())
                return false;
            if (k > part.first_shared[n] && part.node_ids[part.shared_nodes[k - 1]] >= part.node_ids[node])
                return false;
        }
    return true;
}

bool names_other_ranks(const dense1D<int, 8>& neighbors, MPI_Comm comm) {
    const int rank = rank_of(comm);
    int last = -1;
    for (const int neighbor : neighbors) {
        if (neighbor <= last || neighbor == rank)
            return false;
        last = neighbor;
    }
    return last < size_of(comm);
}

} // namespace

int check_part_alone(const distributed_mesh& part) {
    if (part.pos.cols() != 0 && part.pos.rows() != 3)
        return not_a_part;
    if (part.pos.cols() > id_count(part.pos.cols()) || !suits(part.connectivity, part.type, id_count(part.pos.cols())))
        return not_a_part;
    const std::size_t elements = part.connectivity.empty() ? 0 : part.connectivity.cols();
    if (const int status = check_global_ids(part.node_ids, part.pos.cols(), part.nodes); status < 0)
        return status;
    return check_global_ids(part.element_ids, elements, part.elements);
}

int check_part(const distributed_mesh& part, MPI_Comm comm) {
    if (const int status = check_part_alone(part); status < 0)
        return status;
    return names_other_ranks(part.neighbor_ranks, comm) && lists_fit(part) && lists_rise(part) ? 0 : not_a_part;
}

int agree_on_part(int status, const distributed_mesh& part, MPI_Comm comm) {
    // The largest of each, and of its complement, is the smallest; of statuses counts the one nearest to 0.
    constexpr std::uint64_t fine = 0;
    constexpr std::int64_t above_all = 1000;
    const auto place_of = [](int code) { return static_cast<std::uint64_t>(above_all + code); };
    const auto type = static_cast<std::uint64_t>(part.type);
    const std::array<std::uint64_t, 7> mine{
        status < 0 ? place_of(status) : fine, part.nodes, ~part.nodes, part.elements, ~part.elements, type, ~type};
    std::array<std::uint64_t, 7> all{};
    if (MPI_Allreduce(mine.data(), all.data(), 7, MPI_UINT64_T, MPI_MAX, comm) != MPI_SUCCESS)
        return no_message;
    for (std::size_t k = 1; k < all.size(); k += 2)
        if (all[k] != ~all[k + 1])
            all[0] = std::max(all[0], place_of(not_a_part));
    return all[0] == fine ? 0 : static_cast<int>(static_cast<std::int64_t>(all[0]) - above_all);
}

} // namespace quorl::meldra3d_mpi::detail
