#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <mpi.h>
#include <numcore/numcore.h>

// Messages between ranks, as collectives that all ranks enter or none. A rank that has failed must still take part in
// what the others wait for; so each step that can fail on one rank ends in `agree`, and all go on or all return.
namespace quorl::meldra3d_mpi::detail {

constexpr int not_a_part = -20;
constexpr int no_memory = -199;
constexpr int no_message = -200;

/// The status that all ranks return: 0 when it is 0 or more on each, otherwise the negative one nearest to 0, which is
/// the argument that is tested first. -200 when MPI fails.
int agree(int status, MPI_Comm comm);

/// Whether a message of MPI 3 can have so many records.
constexpr bool is_count(std::size_t n) {
    return n <= 0x7FFFFFFF;
}

int rank_of(MPI_Comm comm);
int size_of(MPI_Comm comm);

/// The sum, or the largest, over all ranks; the value itself when MPI fails, which the next exchange reports.
std::uint64_t sum_of_all(std::uint64_t value, MPI_Comm comm);
std::uint64_t largest_of_all(std::uint64_t value, MPI_Comm comm);

/// Records that are ordered by the other rank: those of rank r are counts[r] ones behind those of the ranks below.
template <class Record>
struct by_rank {
    static_assert(std::is_trivially_copyable_v<Record>);
    dense1D<Record, 8> records;
    dense1D<int, 8> counts; ///< an entry for each rank of the communicator
};

/// Sends counts[r] blocks of `bytes` to each rank r. The receiver's counts have to be right already.
int exchange_blocks(std::size_t bytes, const void* sent, const int* sent_counts, void* received,
                    const int* received_counts, MPI_Comm comm);

/// What each rank will get from the others, and their sum in `total`. `received_counts` has an entry for each rank.
int exchange_counts(const dense1D<int, 8>& sent_counts, dense1D<int, 8>& received_counts, std::size_t& total,
                    MPI_Comm comm);

/// Sends each rank its records. Collective; fails on all ranks alike. A single rank keeps them: both then share
/// storage.
template <class Record>
int exchange(const by_rank<Record>& sent, by_rank<Record>& received, MPI_Comm comm) {
    if (size_of(comm) == 1) {
        received = sent;
        return 0;
    }
    std::size_t total = 0;
    if (const int status = exchange_counts(sent.counts, received.counts, total, comm); status < 0)
        return status;
    received.records.clear();
    if (const int status = agree(received.records.resize(total) ? 0 : no_memory, comm); status < 0)
        return status;
    return exchange_blocks(sizeof(Record), sent.records.data(), sent.counts.data(), received.records.data(),
                           received.counts.data(), comm);
}

/// Answers, one for each record that came, in their order, and gets those to the records that were sent. A single rank
/// keeps them: both then share storage.
template <class Question, class Record>
int answer(const by_rank<Question>& received, const dense1D<Record, 8>& answers, const by_rank<Question>& sent,
           dense1D<Record, 8>& got, MPI_Comm comm) {
    static_assert(std::is_trivially_copyable_v<Record>);
    if (size_of(comm) == 1) {
        got = answers;
        return 0;
    }
    got.clear();
    if (const int status = agree(got.resize(sent.records.size()) ? 0 : no_memory, comm); status < 0)
        return status;
    return exchange_blocks(sizeof(Record), answers.data(), received.counts.data(), got.data(), sent.counts.data(),
                           comm);
}

/// Distributes n records to ranks: rank_at(k) is that of the k-th (one below 0 sends it nowhere), record_at(k) what
/// goes there. Records to one rank keep their order; place[k] is where the k-th stands in `sent.records`. Not
/// collective. False when memory ran out or a rank would get more than an int can count.
template <class Record, class RankAt, class RecordAt>
bool sort_by_rank(std::size_t n, int ranks, RankAt rank_at, RecordAt record_at, by_rank<Record>& sent,
                  dense1D<std::size_t, 8>& place) {
    dense1D<std::size_t, 8> next(static_cast<std::size_t>(ranks) + 1, 0);
    sent.counts.clear();
    sent.records.clear();
    place.clear();
    if (next.empty() || !sent.counts.resize(static_cast<std::size_t>(ranks), 0) || !place.resize(n))
        return false;
    for (std::size_t k = 0; k < n; ++k)
        if (const int rank = rank_at(k); rank >= 0)
            ++next[static_cast<std::size_t>(rank) + 1];
    for (std::size_t r = 0; r < static_cast<std::size_t>(ranks); ++r) {
        if (!is_count(next[r + 1]))
            return false;
        sent.counts[r] = static_cast<int>(next[r + 1]);
        next[r + 1] += next[r];
    }
    if (!sent.records.resize(next[static_cast<std::size_t>(ranks)]))
        return false;
    for (std::size_t k = 0; k < n; ++k)
        if (const int rank = rank_at(k); rank >= 0) {
            place[k] = next[static_cast<std::size_t>(rank)]++;
            sent.records[place[k]] = record_at(k);
        }
    return true;
}

} // namespace quorl::meldra3d_mpi::detail
