#include <gtest/gtest.h>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::circumcenters;

TEST(CircumcentersMemory, AFailedAllocationLeavesNoCentres) {
    const auto pos = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}});
    const auto connect = ids({{0, 1, 2, 3}, {0, 2, 1, 3}});
    const auto nodes_before = entries(pos);
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    for (bool done = false; !done; ++failures) {
        dense2D<double> centers = pos;
        fail_allocation(failures + 1);
        const int status = circumcenters(pos, connect, centers);
        done = !stop_failing();
        EXPECT_EQ(status, done ? 0 : -199);
        EXPECT_EQ(centers.cols(), done ? 2u : 0u);
        EXPECT_EQ(entries(pos), nodes_before);
        if (!done) {
            EXPECT_EQ(circumcenters(pos, connect, centers), 0) << "the matrix stays usable";
            EXPECT_EQ(centers.cols(), 2u);
        }
    }
    EXPECT_GT(failures, 1u);
    EXPECT_EQ(live_blocks(), blocks_before);
}
