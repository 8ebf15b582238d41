#pragma once

#include <cstdint>

#include <gtest/gtest.h>
#include <mpi.h>

#include "support/failing_alloc.h"

namespace test {

/// Calls `call`, which returns a status, with the first, the second, ... allocation failing on one rank, until it needs
/// no more of them, and this on each rank in turn. All ranks must return -199 each time; `check_unchanged` is called
/// behind each failure and looks whether the arguments are as before.
template <class Call, class Check>
void each_failure_returns_on_all(Call call, Check check_unchanged) {
    int rank = 0;
    int ranks = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &ranks);
    for (int failing = 0; failing < ranks; ++failing) {
        std::uint64_t failures = 1;
        for (std::size_t k = 1; failures != 0; ++k) {
            if (rank == failing)
                fail_allocation(k);
            const int status = call();
            const std::uint64_t mine = rank == failing ? stop_failing() : 0;
            MPI_Allreduce(&mine, &failures, 1, MPI_UINT64_T, MPI_SUM, MPI_COMM_WORLD);
            ASSERT_EQ(status, failures != 0 ? -199 : 0) << "allocation " << k << " of rank " << failing;
            if (failures != 0)
                check_unchanged();
        }
    }
}

} // namespace test
