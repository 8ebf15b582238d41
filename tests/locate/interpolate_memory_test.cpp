#include <gtest/gtest.h>

#include "locate/tetra_meshes.h"
#include "support/failing_alloc.h"

using namespace quorl;
using namespace test;

namespace {

/// A cut cube with two free nodes: one inside, one where the cut is.
searchable cube_with_two_free_nodes() {
    searchable m = cube_of_tetrahedra(2, 0.1);
    m.connect.resize(4, m.connect.cols() - 6);
    EXPECT_TRUE(m.prepare());
    EXPECT_TRUE(m.ancestors.resize(m.pos.cols(), no_node));
    const double nodes[2][3] = {{0.3, 0.3, 0.3}, {0.95, 0.9, 0.85}};
    for (const auto& node : nodes) {
        m.pos.append(node);
        m.ancestors.push_back(no_node);
    }
    return m;
}

/// Calls fill(field) with its first, second, ... allocation failing until it succeeds.
template <class Fill>
void expect_failures(std::size_t values, Fill fill) {
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    for (bool done = false; !done; ++failures) {
        dense1D<double, 8> field(values, 2.0);
        fail_allocation(failures + 1);
        const int status = fill(field);
        done = !stop_failing();
        EXPECT_EQ(status, done ? 0 : -199) << "allocation " << failures + 1;
        EXPECT_EQ(fill(field), 0) << "everything stays usable";
        for (const double value : field)
            EXPECT_NEAR(value, 2, 1e-14);
    }
    EXPECT_GT(failures, 10u);
    EXPECT_EQ(live_blocks(), blocks_before);
}

} // namespace

TEST(InterpolateMemory, AFailedAllocationIsReported) {
    const searchable m = cube_with_two_free_nodes();
    const auto n = unsigned(m.pos.cols());
    const dense1D<unsigned, 8> nodes{n - 2, n - 1};
    expect_failures(n, [&](dense1D<double, 8>& field) {
        return meldra3d::interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, nodes);
    });
    expect_failures(n, [&](dense1D<double, 8>& field) {
        return meldra3d::interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, field, false);
    });
}

TEST(InterpolateMemory, ACopyOfABadConnectivityMayFail) {
    searchable m = cube_with_two_free_nodes();
    m.connect(0, 0) = unsigned(m.pos.cols());
    expect_failures(m.pos.cols(), [&](dense1D<double, 8>& field) {
        return meldra3d::interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, field, false);
    });
}
