#pragma once

#include <cstddef>

#include "exchange.h"

namespace quorl::meldra3d_mpi::detail {

struct asked_point {
    double x[3];
};

/// Points that were sent to ranks, each to any number of them.
struct routed_points {
    by_rank<asked_point> sent, received;
    dense1D<unsigned, 8> numbers; ///< of the points sent, in that order
};

struct destination {
    unsigned point;
    int rank;
};

/// Sends points, columns of a matrix of 3 rows, where a list says. Collective; `complete` is false on a rank that
/// lacked the memory for its list. Those for one rank keep the order of the list.
int send_points(const dense2D<double>& points, const dense1D<destination, 8>& list, bool complete,
                routed_points& routed, MPI_Comm comm);

/// Which of the points received the askers have chosen, and what will go to and come from each rank.
struct chosen_points {
    dense1D<unsigned char, 8> wanted; ///< an entry for each point received
    dense1D<int, 8> sent_counts, received_counts;
    std::size_t sent = 0, received = 0;
};

/// Tells the other ranks the choice: a byte for each point sent, 0 for none. Collective.
int exchange_choice(const routed_points& routed, const dense1D<unsigned char, 8>& chosen, chosen_points& choice,
                    MPI_Comm comm);

/// Gets values for some of the points sent: those whose entry in `chosen`, one for each sent, is not 0.
///   rows     in    values for a point, the same on all ranks
///   write    in    write(wanted, columns): on the rank that received them, writes the values of the points whose entry
///                  in `wanted` is not 0, a column each, in their order
///   values   out   rows x chosen points, in the order in which they were sent
/// Collective.
template <class Write>
int fetch_values(const routed_points& routed, const dense1D<unsigned char, 8>& chosen, std::size_t rows,
                 const Write& write, dense2D<double>& values, MPI_Comm comm) {
    chosen_points choice;
    if (const int status = exchange_choice(routed, chosen, choice, comm); status < 0)
        return status;
    dense2D<double> sent;
    const bool room = rows < 0x10000000 && sent.resize(rows, choice.sent) && values.resize(rows, choice.received);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0 || rows == 0)
        return status;
    write(choice.wanted, sent);
    return exchange_blocks(rows * sizeof(double), sent.data(), choice.sent_counts.data(), values.data(),
                           choice.received_counts.data(), comm);
}

/// The usual way to write: write(k, column) for each point wanted, by its number among those received.
template <class Write>
auto one_by_one(const Write& write) {
    return [&write](const dense1D<unsigned char, 8>& wanted, dense2D<double>& columns) {
        std::size_t next = 0;
        for (std::size_t k = 0; k < wanted.size(); ++k)
            if (wanted[k] != 0)
                write(k, columns.col(next++));
    };
}

} // namespace quorl::meldra3d_mpi::detail
