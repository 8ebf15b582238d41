#include <gtest/gtest.h>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::split_into_H8;

TEST(SplitIntoH8Memory, AFailedAllocationLeavesTheHexahedraAsTheyWere) {
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    for (bool done = false; !done; ++failures) {
        dense2D<double> pos = points({{0, 0, 0},
                                      {1, 0, 0},
                                      {1, 1, 0},
                                      {0, 1, 0},
                                      {0, 0, 1},
                                      {1, 0, 1},
                                      {1, 1, 1},
                                      {0, 1, 1},
                                      {2, 0, 0},
                                      {2, 0, 1}});
        const auto connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}, {1, 8, 2, 5, 9, 6, no_node, no_node}});
        dense2D<unsigned> hexahedra = ids({{0, 1, 2, 3, 4, 5, 6, 7}}), faces, edges;
        const auto nodes_before = entries(pos);
        const auto connect_before = entries(connect);
        fail_allocation(failures + 1);
        const int status = split_into_H8(pos, connect, hexahedra, faces, edges);
        done = !stop_failing();
        EXPECT_EQ(status, done ? 0 : -199) << "allocation " << failures + 1;
        EXPECT_EQ(hexahedra.cols(), done ? 15u : 1u);
        EXPECT_EQ(column(hexahedra, 0), (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7}));
        EXPECT_EQ(entries(connect), connect_before);
        EXPECT_EQ(entries(pos.sub(0, 0, 3, 10)), nodes_before);
        if (!done) {
            EXPECT_EQ(split_into_H8(pos, connect, hexahedra, faces, edges), 0) << "the matrices stay usable";
            EXPECT_EQ(hexahedra.cols(), 15u);
        }
    }
    EXPECT_GT(failures, 5u);
    EXPECT_EQ(live_blocks(), blocks_before);
}
