#include <gtest/gtest.h>

#include "frame/max_node_id.h"
#include "support/meshes.h"

using namespace test;
using quorl::meldra3d::detail::largest_id;
using quorl::meldra3d::detail::max_node_id;

namespace {

constexpr unsigned none = no_node;

} // namespace

TEST(MaxNodeId, IsTheLargestEntryWhereverItStands) {
    for (unsigned k = 0; k < 12; ++k) {
        dense2D<unsigned> connect(4, 3, 5u);
        connect(k % 4, k / 4) = 17;
        EXPECT_EQ(max_node_id(connect), 17u);
        EXPECT_EQ(largest_id(connect), 17u);
    }
    EXPECT_EQ(max_node_id(ids({{0}})), 0u);
}

TEST(MaxNodeId, SkipsUnusedSlots) {
    EXPECT_EQ(max_node_id(ids({{3, none, none}, {none, 1, none}})), 3u);
    EXPECT_EQ(max_node_id(ids({{0, none}})), 0u);
    EXPECT_EQ(max_node_id(ids({{none - 1, none}})), none - 1);
}

TEST(MaxNodeId, ReadsOnlyTheWindow) {
    EXPECT_EQ(max_node_id(as_window(ids({{3, 4, 5}, {6, none, 2}}), 99u)), 6u);
    EXPECT_EQ(max_node_id(as_window(ids({{3, 4, 5}, {6, none, 2}}), none)), 6u);
}

TEST(MaxNodeId, WithoutNodesDependsOnHowTheMatrixIsStored) {
    EXPECT_EQ(max_node_id(dense2D<unsigned>()), none);
    EXPECT_EQ(max_node_id(dense2D<unsigned>(4, 0)), none);
    EXPECT_EQ(max_node_id(dense2D<unsigned>(0, 4)), none);
    EXPECT_EQ(max_node_id(dense2D<unsigned>(4, 2, none)), none);
    EXPECT_EQ(max_node_id(dense2D<unsigned>(8, 3, 7u).sub(0, 1, 4, 0)), 0u);
    EXPECT_EQ(max_node_id(as_window(dense2D<unsigned>(4, 2, none), 7u)), 0u);
    EXPECT_EQ(max_node_id(dense2D<unsigned>()) + 1, 0u) << "its users count nodes this way";
}

TEST(LargestId, IsNoneWithoutNodesHoweverTheMatrixIsStored) {
    EXPECT_FALSE(largest_id(dense2D<unsigned>()));
    EXPECT_FALSE(largest_id(dense2D<unsigned>(4, 0)));
    EXPECT_FALSE(largest_id(dense2D<unsigned>(4, 2, none)));
    EXPECT_FALSE(largest_id(as_window(dense2D<unsigned>(4, 2, none), 7u)));
    EXPECT_EQ(largest_id(ids({{0}})), 0u);
}
