#include <gtest/gtest.h>

#include "support/failing_alloc.h"

#include <meldra3d/meldra3d.h>

using namespace quorl;
using namespace test;

// A surface of few nodes among many is numbered in a table that grows as its nodes are met.
TEST(SurfaceNodesMemory, ASurfaceInALargeMeshRollsBackWhileItsNodesAreCollected) {
    dense2D<unsigned> surface(3, 1000);
    for (unsigned j = 0; j < 1000; ++j)
        for (unsigned i = 0; i < 3; ++i)
            surface(i, j) = 3 * j + i;
    std::size_t failures = 0;
    for (bool done = false; !done; ++failures) {
        dense2D<double> pos(3, 4000, 0.0);
        dense2D<unsigned> solids;
        fail_allocation(failures + 1);
        const int status = meldra3d::extrude_translate(pos, surface, {0, 0, 1}, 1, solids);
        done = stop_failing() == 0;
        EXPECT_EQ(status, done ? 0 : -199);
        EXPECT_EQ(pos.cols(), done ? 7000u : 4000u);
        EXPECT_EQ(solids.cols(), done ? 1000u : 0u);
    }
    EXPECT_GT(failures, 20u);
}
