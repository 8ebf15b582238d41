#include <gtest/gtest.h>

#include "extrude/roll_back.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_rotate;
using meldra3d::extrude_spiral;

namespace {

const vector_fixed<double, 3> axis_point{-1, 0, 0}, rotation{0, 0.3, 0}, shift{0, 1, 0};

} // namespace

TEST(ExtrudeRotateMemory, AFailedAllocationCutsAllOutputsBack) {
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_rotate(m.pos, m.surface, axis_point, rotation, 3, m.solids, m.edges, m.sides, m.cap);
    });
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_rotate(m.pos, m.surface, axis_point, rotation, 0.1, 0.12, false, m.solids, m.edges, m.sides,
                              m.cap);
    });
}

TEST(ExtrudeRotateMemory, TheShortFormsDoToo) {
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_rotate(m.pos, m.surface, axis_point, rotation, 3, m.solids); });
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_rotate(m.pos, m.surface, axis_point, rotation, 0.1, 0.12, false, m.solids);
    });
}

TEST(ExtrudeSpiralMemory, AFailedAllocationCutsAllOutputsBack) {
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_spiral(m.pos, m.surface, axis_point, rotation, shift, 3, m.solids, m.edges, m.sides, m.cap);
    });
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_spiral(m.pos, m.surface, axis_point, rotation, shift, 0.3, 0.4, false, m.solids, m.edges,
                              m.sides, m.cap);
    });
}

TEST(ExtrudeSpiralMemory, TheShortFormsDoToo) {
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_spiral(m.pos, m.surface, axis_point, rotation, shift, 3, m.solids); });
    expect_roll_back_at_every_allocation([](sweep_mesh& m) {
        return extrude_spiral(m.pos, m.surface, axis_point, rotation, shift, 0.3, 0.4, false, m.solids);
    });
}
