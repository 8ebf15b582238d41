#include "traffic.h"

#include <utility>

#include <mpi.h>

namespace {

bench::traffic counted;

/// Counts a call in which this rank sends some items.
void count(std::uint64_t items, MPI_Datatype type) {
    int size = 0;
    PMPI_Type_size(type, &size);
    counted.bytes += items * static_cast<std::uint64_t>(size);
    ++counted.calls;
}

std::uint64_t others(MPI_Comm comm) {
    int ranks = 1;
    PMPI_Comm_size(comm, &ranks);
    return static_cast<std::uint64_t>(ranks) - 1;
}

} // namespace

namespace bench {

traffic take_traffic() {
    return std::exchange(counted, {});
}

} // namespace bench

extern "C" {

int MPI_Alltoallv(const void* sent, const int* counts, const int* first, MPI_Datatype type, void* received,
                  const int* received_counts, const int* received_first, MPI_Datatype received_type, MPI_Comm comm) {
    int rank = 0;
    PMPI_Comm_rank(comm, &rank);
    std::uint64_t items = 0;
    for (int r = 0; r <= static_cast<int>(others(comm)); ++r)
        items += r == rank ? 0 : static_cast<std::uint64_t>(counts[r]);
    count(items, type);
    return PMPI_Alltoallv(sent, counts, first, type, received, received_counts, received_first, received_type, comm);
}

int MPI_Alltoall(const void* sent, int n, MPI_Datatype type, void* received, int received_n, MPI_Datatype received_type,
                 MPI_Comm comm) {
    count(static_cast<std::uint64_t>(n) * others(comm), type);
    return PMPI_Alltoall(sent, n, type, received, received_n, received_type, comm);
}

int MPI_Allgather(const void* sent, int n, MPI_Datatype type, void* received, int received_n,
                  MPI_Datatype received_type, MPI_Comm comm) {
    count(static_cast<std::uint64_t>(n) * others(comm), type);
    return PMPI_Allgather(sent, n, type, received, received_n, received_type, comm);
}

// A rank sends its values once, and whoever adds them up sends the sum on.

int MPI_Allreduce(const void* sent, void* received, int n, MPI_Datatype type, MPI_Op operation, MPI_Comm comm) {
    count(others(comm) == 0 ? 0 : static_cast<std::uint64_t>(n), type);
    return PMPI_Allreduce(sent, received, n, type, operation, comm);
}

int MPI_Exscan(const void* sent, void* received, int n, MPI_Datatype type, MPI_Op operation, MPI_Comm comm) {
    count(others(comm) == 0 ? 0 : static_cast<std::uint64_t>(n), type);
    return PMPI_Exscan(sent, received, n, type, operation, comm);
}

int MPI_Bcast(void* values, int n, MPI_Datatype type, int root, MPI_Comm comm) {
    int rank = 0;
    PMPI_Comm_rank(comm, &rank);
    count(rank == root ? static_cast<std::uint64_t>(n) * others(comm) : 0, type);
    return PMPI_Bcast(values, n, type, root, comm);
}

} // extern "C"
