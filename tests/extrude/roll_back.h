#pragma once

#include <gtest/gtest.h>

#include "support/failing_alloc.h"
#include "support/meshes.h"

// Memory that runs out anywhere in a sweep.
namespace test {

/// Five nodes, a square and a triangle, and outputs that hold something.
struct sweep_mesh {
    dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0.5, 0}});
    dense2D<unsigned> surface = ids({{0, 1, 2, 3}, {1, 4, 2, no_node}});
    dense2D<unsigned> solids = ids({{0, 1, 2, 3, 4, 0}});
    dense2D<unsigned> edges = ids({{0, 1}, {1, 4}});
    dense2D<unsigned> sides = ids({{0, 1, 2, 3}});
    dense2D<unsigned> cap = ids({{3, 2, 1}});
};

inline void expect_cut_back(const sweep_mesh& m) {
    const sweep_mesh fresh;
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

constexpr std::size_t nodes_of_all_levels = 20;

/// The mesh of a sweep that could not remove the nodes it does not use.
inline void expect_all_nodes_kept(const sweep_mesh& m) {
    EXPECT_EQ(m.pos.cols(), nodes_of_all_levels);
    EXPECT_EQ(m.solids.cols(), 7u);
    for (const auto* output : {&m.solids, &m.sides, &m.cap})
        EXPECT_TRUE(quorl::meldra::check_IDs(*output, unsigned(nodes_of_all_levels)));
}

/// call(mesh), which adds three levels, with each of its allocations failing in turn; `nodes_after` without a failure:
/// less than those of all levels when the call ends in removing nodes, which may fail without harm.
template <class Call>
void expect_roll_back_at_every_allocation(Call call, std::size_t nodes_after = nodes_of_all_levels) {
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    std::size_t harmless = 0;
    bool done = false;
    for (std::size_t k = 1; !done; ++k) {
        sweep_mesh m;
        fail_allocation(k);
        const int status = call(m);
        done = !stop_failing();
        if (done) {
            EXPECT_EQ(status, 0);
            EXPECT_EQ(m.pos.cols(), nodes_after);
        } else if (status == 0) {
            ++harmless;
            expect_all_nodes_kept(m);
        } else {
            ++failures;
            EXPECT_EQ(status, -199) << "allocation " << k;
            expect_cut_back(m);
            EXPECT_EQ(call(m), 0) << "the matrices stay usable";
            EXPECT_EQ(m.pos.cols(), nodes_after);
        }
    }
    EXPECT_GE(failures, 5u);
    EXPECT_EQ(harmless != 0, nodes_after < nodes_of_all_levels);
    EXPECT_EQ(live_blocks(), blocks_before);
}

} // namespace test
