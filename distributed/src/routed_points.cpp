#include "routed_points.h"

#include <algorithm>

namespace quorl::meldra3d_mpi::detail {

int send_points(const dense2D<double>& points, const dense1D<destination, 8>& list, bool complete,
                routed_points& routed, MPI_Comm comm) {
    dense1D<std::size_t, 8> place;
    const auto point_at = [&](std::size_t k) {
        asked_point point;
        std::copy_n(points.col(list[k].point), 3, point.x);
        return point;
    };
    const bool sorted =
        complete && routed.numbers.resize(list.size()) &&
        sort_by_rank(
            list.size(), size_of(comm), [&](std::size_t k) { return list[k].rank; }, point_at, routed.sent, place);
    if (const int status = agree(sorted ? 0 : no_memory, comm); status < 0)
        return status;
    for (std::size_t k = 0; k < list.size(); ++k)
        routed.numbers[place[k]] = list[k].point;
    return exchange(routed.sent, routed.received, comm);
}

namespace {

/// How many of each rank's entries are not 0, and of all.
bool count_chosen(const dense1D<unsigned char, 8>& chosen, const dense1D<int, 8>& entries, dense1D<int, 8>& counts,
                  std::size_t& sum) {
    if (!counts.resize(entries.size()))
        return false;
    const unsigned char* next = chosen.data();
    sum = 0;
    for (std::size_t r = 0; r < entries.size(); ++r) {
        counts[r] = static_cast<int>(std::count_if(next, next + entries[r], [](unsigned char c) { return c != 0; }));
        next += entries[r];
        sum += static_cast<std::size_t>(counts[r]);
    }
    return true;
}

} // namespace

int exchange_choice(const routed_points& routed, const dense1D<unsigned char, 8>& chosen, chosen_points& choice,
                    MPI_Comm comm) {
    const bool room = choice.wanted.resize(routed.received.records.size()) &&
                      count_chosen(chosen, routed.sent.counts, choice.received_counts, choice.received);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange_blocks(1, chosen.data(), routed.sent.counts.data(), choice.wanted.data(),
                                           routed.received.counts.data(), comm);
        status < 0)
        return status;
    const bool counted = count_chosen(choice.wanted, routed.received.counts, choice.sent_counts, choice.sent);
    return agree(counted ? 0 : no_memory, comm);
}

} // namespace quorl::meldra3d_mpi::detail
