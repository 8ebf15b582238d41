#include <gtest/gtest.h>

#include <vector>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_translate;

namespace {

struct mesh {
    dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0.5, 0}});
    dense2D<unsigned> surface = ids({{0, 1, 2, 3}, {1, 4, 2, no_node}});
    dense2D<unsigned> solids = ids({{0, 1, 2, 3, 4, 0}});
    dense2D<unsigned> edges = ids({{0, 1}, {1, 4}});
    dense2D<unsigned> sides = ids({{0, 1, 2, 3}});
    dense2D<unsigned> cap = ids({{3, 2, 1}});
};

void expect_cut_back(const mesh& m) {
    const mesh fresh;
    EXPECT_EQ(entries(m.surface), entries(fresh.surface));
    EXPECT_EQ(entries(m.edges), entries(fresh.edges));
    EXPECT_EQ(entries(m.sides), entries(fresh.sides));
    EXPECT_EQ(entries(m.pos), entries(fresh.pos));
    ASSERT_EQ(m.solids.cols(), 1u);
    ASSERT_EQ(m.cap.cols(), 1u);
    for (std::size_t i = 0; i < m.solids.rows(); ++i) // the rows may have grown
        EXPECT_EQ(m.solids(i, 0), i < 6 ? fresh.solids(i, 0) : no_node);
    for (std::size_t i = 0; i < m.cap.rows(); ++i)
        EXPECT_EQ(m.cap(i, 0), i < 3 ? fresh.cap(i, 0) : no_node);
}

template <class Call>
void expect_roll_back_at_every_allocation(Call call) {
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    bool done = false;
    for (std::size_t k = 1; !done; ++k) {
        mesh m;
        fail_allocation(k);
        const int status = call(m);
        done = !stop_failing();
        if (done) {
            EXPECT_EQ(status, 0);
            EXPECT_EQ(m.pos.cols(), 20u);
        } else {
            ++failures;
            EXPECT_EQ(status, -199) << "allocation " << k;
            expect_cut_back(m);
            EXPECT_EQ(call(m), 0) << "the matrices stay usable";
            EXPECT_EQ(m.pos.cols(), 20u);
        }
    }
    EXPECT_GE(failures, 5u);
    EXPECT_EQ(live_blocks(), blocks_before);
}

} // namespace

TEST(ExtrudeTranslateMemory, AFailedAllocationCutsAllOutputsBack) {
    expect_roll_back_at_every_allocation([](mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 3, m.solids, m.edges, m.sides, m.cap);
    });
}

TEST(ExtrudeTranslateMemory, TheShortAndTheSizeFormsDoToo) {
    expect_roll_back_at_every_allocation([](mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 3, m.solids);
    });
    expect_roll_back_at_every_allocation([](mesh& m) {
        return extrude_translate(m.pos, m.surface, {0, 0, 1}, 0.3, 0.4, false, m.solids);
    });
    expect_roll_back_at_every_allocation([](mesh& m) {
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
