#include <gtest/gtest.h>

#include <utility>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;

TEST(MeldraMemory, ARefusedMeshTakesNoMemoryAlong) {
    const dense2D<unsigned> three_times(4, 3, 5u);
    const std::size_t blocks_before = live_blocks();
    dense2D<unsigned> neighbors;
    EXPECT_EQ(meldra::get_neighbors(three_times, ET_TH4, true, neighbors), -3);
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(MeldraMemory, CopyingADetectorNeedsNone) {
    const auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    meldra::node_detector detector;
    ASSERT_EQ(detector.reinit(pos, ids({{0, 1, 2}})), 0);
    fail_allocation(1);
    meldra::node_detector copy = detector;
    copy = std::move(detector);
    const unsigned closest = copy.find_closest({1, 2, 3});
    EXPECT_EQ(stop_failing(), 0u);
    EXPECT_EQ(closest, 2u);
}
