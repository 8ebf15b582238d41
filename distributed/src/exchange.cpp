#include "exchange.h"

#include <algorithm>
#include <limits>

namespace quorl::meldra3d_mpi::detail {

namespace {

/// Where the blocks of each rank begin. MPI 3 counts in int.
bool displacements(const int* counts, int ranks, dense1D<int, 8>& first) {
    if (!first.resize(static_cast<std::size_t>(ranks)))
        return false;
    std::int64_t sum = 0;
    for (int r = 0; r < ranks; ++r) {
        if (sum > std::numeric_limits<int>::max())
            return false;
        first[static_cast<std::size_t>(r)] = static_cast<int>(sum);
        sum += counts[r];
    }
    return true;
}

std::uint64_t reduce(std::uint64_t value, MPI_Op operation, MPI_Comm comm) {
    std::uint64_t result = 0;
    if (size_of(comm) == 1)
        return value;
    return MPI_Allreduce(&value, &result, 1, MPI_UINT64_T, operation, comm) == MPI_SUCCESS ? result : value;
}

} // namespace

int rank_of(MPI_Comm comm) {
    int rank = 0;
    MPI_Comm_rank(comm, &rank);
    return rank;
}

int size_of(MPI_Comm comm) {
    int size = 1;
    MPI_Comm_size(comm, &size);
    return size;
}

int agree(int status, MPI_Comm comm) {
    constexpr int fine = std::numeric_limits<int>::min();
    const int mine = status < 0 ? status : fine;
    int first = fine;
    if (size_of(comm) == 1)
        return mine == fine ? 0 : mine;
    if (MPI_Allreduce(&mine, &first, 1, MPI_INT, MPI_MAX, comm) != MPI_SUCCESS)
        return no_message;
    return first == fine ? 0 : first;
}

std::uint64_t sum_of_all(std::uint64_t value, MPI_Comm comm) {
    return reduce(value, MPI_SUM, comm);
}
std::uint64_t largest_of_all(std::uint64_t value, MPI_Comm comm) {
    return reduce(value, MPI_MAX, comm);
}

int exchange_counts(const dense1D<int, 8>& sent_counts, dense1D<int, 8>& received_counts, std::size_t& total,
                    MPI_Comm comm) {
    const auto ranks = static_cast<std::size_t>(size_of(comm));
    received_counts.clear();
    if (const int status = agree(received_counts.resize(ranks) ? 0 : no_memory, comm); status < 0)
        return status;
    if (MPI_Alltoall(sent_counts.data(), 1, MPI_INT, received_counts.data(), 1, MPI_INT, comm) != MPI_SUCCESS)
        return no_message;
    total = 0;
    for (const int count : received_counts)
        total += static_cast<std::size_t>(count);
    return 0;
}

int exchange_blocks(std::size_t bytes, const void* sent, const int* sent_counts, void* received,
                    const int* received_counts, MPI_Comm comm) {
    if (bytes > std::size_t(std::numeric_limits<int>::max())) // the same on all ranks
        return no_memory;
    const int ranks = size_of(comm);
    if (ranks == 1) {
        std::copy_n(static_cast<const char*>(sent), bytes * std::size_t(sent_counts[0]), static_cast<char*>(received));
        return 0;
    }
    dense1D<int, 8> sent_first, received_first;
    const bool placed =
        displacements(sent_counts, ranks, sent_first) && displacements(received_counts, ranks, received_first);
    if (const int status = agree(placed ? 0 : no_memory, comm); status < 0)
        return status;
    MPI_Datatype block;
    if (MPI_Type_contiguous(static_cast<int>(bytes), MPI_BYTE, &block) != MPI_SUCCESS)
        return no_message;
    MPI_Type_commit(&block);
    const int result = MPI_Alltoallv(sent, sent_counts, sent_first.data(), block, received, received_counts,
                                     received_first.data(), block, comm);
    MPI_Type_free(&block);
    return result == MPI_SUCCESS ? 0 : no_message;
}

} // namespace quorl::meldra3d_mpi::detail
