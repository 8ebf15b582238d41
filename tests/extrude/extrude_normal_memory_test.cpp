#include <gtest/gtest.h>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;

TEST(ExtrudeNormalMemory, WithoutMemoryForTheNormalsNothingIsResized) {
    for (std::size_t k = 1; k <= 2; ++k) { // a block and its elements
        auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0.5, 0}});
        const auto surface = ids({{0, 1, 2, 3}, {1, 4, 2, no_node}});
        auto solids = ids({{0, 1, 2, 3, 4, 0}}), sides = ids({{0, 1, 2, 3}}), cap = ids({{3, 2, 1}});
        const double* const nodes = pos.data();
        const unsigned* const elements = solids.data();
        fail_allocation(k);
        const int status = meldra3d::extrude_normal(pos, surface, 1.0, 3, solids, dense2D<unsigned>(), sides, cap);
        EXPECT_NE(stop_failing(), 0u);
        EXPECT_EQ(status, -199);
        EXPECT_EQ(pos.data(), nodes);
        EXPECT_EQ(solids.data(), elements);
        EXPECT_EQ(solids.rows(), 6u);
        EXPECT_EQ(cap.rows(), 3u);
    }
}
