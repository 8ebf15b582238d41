#include <gtest/gtest.h>

#include "duplicate/opened_meshes.h"
#include "support/failing_alloc.h"

using namespace quorl;
using namespace test;

TEST(DuplicateSurfaceNodesMemory, AFailedAllocationLeavesTheMeshAsItWas) {
    for (const auto& m : {tetrahedra(3), hexahedra(3), mixed(3)}) {
        const auto surface = plane_at(m, 1);
        const std::size_t blocks_before = live_blocks();
        std::size_t failures = 0;
        for (bool done = false; !done; ++failures) {
            dense2D<double> pos = m.pos;
            dense2D<unsigned> connect = m.connect;
            const dense1D<unsigned, 8> excluded;
            fail_allocation(failures + 1);
            const int status = meldra3d::duplicate_surface_nodes(pos, connect, m.neighbors, m.ancestors, surface,
                                                                 excluded, true, true, m.type);
            done = !stop_failing();
            EXPECT_EQ(status, done ? 32 : -199) << "allocation " << failures + 1;
            EXPECT_EQ(pos.cols(), m.pos.cols() + (done ? 32u : 0u));
            EXPECT_EQ(entries(pos.sub(0, 0, 3, m.pos.cols())), entries(m.pos));
            EXPECT_EQ(entries(connect) == entries(m.connect), !done);
            if (!done) {
                EXPECT_EQ(meldra3d::duplicate_surface_nodes(pos, connect, m.neighbors, m.ancestors, surface, excluded,
                                                            true, true, m.type),
                          32)
                    << "the matrices stay usable";
            }
        }
        EXPECT_GT(failures, 5u);
        EXPECT_EQ(live_blocks(), blocks_before);
    }
}
