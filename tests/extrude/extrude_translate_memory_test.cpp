#include <gtest/gtest.h>

#include "extrude/roll_back.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_translate;

TEST(ExtrudeTranslateMemory, AFailedAllocationCutsAllOutputsBack) {
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 3, m.solids, m.edges, m.sides, m.cap);
    });
}

TEST(ExtrudeTranslateMemory, TheShortAndTheSizeFormsDoToo) {
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 3, m.solids);
    });
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 0.3, 0.4, false, m.solids);
    });
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 0.3, 0.4, false, m.solids, m.edges, m.sides, m.cap);
    });
}

TEST(ExtrudeTranslateMemory, ALargeSurfaceRollsBackWhileItsNodesAreCollected) {
    dense2D<unsigned> surface(3, 1000);
    for (unsigned j = 0; j < 1000; ++j)
        for (unsigned i = 0; i < 3; ++i)
            surface(i, j) = 3 * j + i;
    std::size_t failures = 0;
    for (bool done = false; !done; ++failures) {
        dense2D<double> pos(3, 3000, 0.0);
        dense2D<unsigned> solids;
        fail_allocation(failures + 1);
        const int status = extrude_translate(pos, surface, {0, 0, 1}, 1, solids);
        done = !stop_failing();
        EXPECT_EQ(status, done ? 0 : -199);
        EXPECT_EQ(pos.cols(), done ? 6000u : 3000u);
        EXPECT_EQ(solids.cols(), done ? 1000u : 0u);
    }
    EXPECT_GT(failures, 20u);
}
