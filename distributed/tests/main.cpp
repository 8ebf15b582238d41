// Runs the tests of a program on all ranks. Rank 0 reports as usual, the others only what fails.

#include <cstdio>

#include <gtest/gtest.h>
#include <mpi.h>

namespace {

/// Prints failures with their rank. A test that ends early on one rank would let the others wait for it: it ends all.
class failure_printer : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& test) override { test_ = &test; }

    void OnTestPartResult(const testing::TestPartResult& result) override {
        if (!result.failed())
            return;
        int rank = 0;
        MPI_Comm_rank(MPI_COMM_WORLD, &rank);
        std::fprintf(stderr, "rank %d, %s.%s, %s:%d: %s\n", rank, test_ ? test_->test_suite_name() : "",
                     test_ ? test_->name() : "", result.file_name() ? result.file_name() : "", result.line_number(),
                     result.message());
        if (result.fatally_failed())
            MPI_Abort(MPI_COMM_WORLD, 1);
    }

    const testing::TestInfo* test_ = nullptr;
};

} // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    testing::InitGoogleTest(&argc, argv);
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    if (rank != 0)
        delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new failure_printer);
    const int mine = RUN_ALL_TESTS();
    int result = 1;
    MPI_Allreduce(&mine, &result, 1, MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    MPI_Finalize();
    return result;
}
