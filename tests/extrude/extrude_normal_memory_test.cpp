#include <gtest/gtest.h>

#include "extrude/roll_back.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_normal;

TEST(ExtrudeNormalMemory, AFailedAllocationCutsAllOutputsBack) {
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_normal(m.pos, m.surface, 0.9, 0.3, 0.3, false, m.solids, m.edges, m.sides, m.cap);
    });
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_normal(m.pos, m.surface, 1.0, 3, m.solids, m.edges, m.sides, m.cap); });
    expect_roll_back_at_every_allocation([shifts = dense2D<double>(3, 5, 1.0)](sweep_mesh& m) {
        return extrude_normal(m.pos, m.surface, shifts, 3, m.solids, m.edges, m.sides, m.cap);
    });
}

TEST(ExtrudeNormalMemory, TheShortFormsDoToo) {
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_normal(m.pos, m.surface, 0.9, 0.3, 0.3, false, m.solids); });
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_normal(m.pos, m.surface, 1.0, 3, m.solids); });
    expect_roll_back_at_every_allocation([shifts = dense2D<double>(3, 5, 1.0)](sweep_mesh& m) {
        return extrude_normal(m.pos, m.surface, shifts, 3, m.solids);
    });
}

TEST(ExtrudeNormalMemory, WithoutMemoryForTheNormalsNothingIsResized) {
    for (std::size_t k = 1; k <= 2; ++k) { // a block and its elements
        sweep_mesh m;
        const double* const pos = m.pos.data();
        const unsigned* const solids = m.solids.data();
        fail_allocation(k);
        EXPECT_EQ(extrude_normal(m.pos, m.surface, 1.0, 3, m.solids, m.edges, m.sides, m.cap), -199);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(m.pos.data(), pos);
        EXPECT_EQ(m.solids.data(), solids);
        EXPECT_EQ(m.solids.rows(), 6u);
        EXPECT_EQ(m.cap.rows(), 3u);
    }
}
