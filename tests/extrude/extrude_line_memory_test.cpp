#include <gtest/gtest.h>

#include "extrude/roll_back.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_line;

namespace {

// The line begins at a node of the surface: its three copies are removed in the end.
constexpr std::size_t nodes_after = 17;
const dense1D<unsigned, 8> line{0, 3, 2, 1};
const dense1D<double, 8> sizes{1, 2, 3};
const vector_fixed<double, 3> dir0{0, 0, 1};

} // namespace

TEST(ExtrudeLineMemory, AFailedAllocationCutsAllOutputsBack) {
    const auto metrics = dense2D<double>(6, 4, 0.0);
    expect_roll_back_at_every_allocation(
        [&](sweep_mesh& m) {
            return extrude_line(m.pos, m.surface, line, dir0, metrics, m.solids, m.edges, m.sides, m.cap);
        },
        nodes_after);
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) {
            return extrude_line(m.pos, m.surface, line, dir0, sizes, m.solids, m.edges, m.sides, m.cap);
        },
        nodes_after);
}

TEST(ExtrudeLineMemory, TheShortFormsDoToo) {
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_line(m.pos, m.surface, line, dir0, dense2D<double>(), m.solids); },
        nodes_after);
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) { return extrude_line(m.pos, m.surface, line, dir0, sizes, m.solids); }, nodes_after);
}

TEST(ExtrudeLineMemory, OutputsOfWhichOthersHaveViewsDoToo) {
    // Without edges the side quadrangles keep their storage up to the renaming, which has to move them.
    expect_roll_back_at_every_allocation(
        [](sweep_mesh& m) {
            const auto other = m.sides;
            const int status =
                extrude_line(m.pos, m.surface, line, dir0, sizes, m.solids, dense2D<unsigned>(), m.sides, m.cap);
            for (unsigned i = 0; i < 4; ++i)
                EXPECT_EQ(other(i, 0), i);
            return status;
        },
        nodes_after);
}
