#include <gtest/gtest.h>

#include "support/failing_alloc.h"
#include "support/meshes.h"

// When arrays take memory and when they give it back.
using namespace test;

namespace {

using matrix = dense2D<int>;
using list = dense1D<int, 8>;

} // namespace

TEST(ArrayMemory, ViewsWithinABlockNeedNone) {
    matrix m = columns<int>({{1, 2, 3}, {4, 5, 6}});
    list l{1, 2, 3};
    fail_allocation(1);
    matrix copy = m, window = m.sub(1, 0, 2, 2);
    list as_list = m.as_vector(), same = l;
    EXPECT_TRUE(copy.resize(2, 2)); // shared, but smaller
    EXPECT_TRUE(copy.resize(1, 1));
    EXPECT_TRUE(copy.resize(0, 9));
    EXPECT_TRUE(window.resize(1, 2));
    EXPECT_TRUE(as_list.resize(2));
    EXPECT_TRUE(same.resize(0));
    same.clear();
    copy.clear();
    EXPECT_TRUE(copy.copy(matrix(0, 5)));
    EXPECT_FALSE(stop_failing());
}

TEST(ArrayMemory, TheCallersMemoryIsNeverFreed) {
    const std::size_t blocks_before = live_blocks();
    int memory[12] = {};
    {
        matrix m = matrix::view(memory, 3, 4, 3);
        list l = list::view(memory, 12);
        EXPECT_EQ(live_blocks(), blocks_before + 2);
        ASSERT_TRUE(m.resize(5, 5));
        ASSERT_TRUE(l.push_back(1));
        EXPECT_EQ(live_blocks(), blocks_before + 4) << "elements of their own";
    }
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(ArrayMemory, ABlockLivesAsLongAsItsLastView) {
    const std::size_t blocks_before = live_blocks();
    list last;
    {
        const matrix m(3, 4, 7);
        last = m.sub(0, 1, 3, 2).as_vector();
    }
    EXPECT_EQ(live_blocks(), blocks_before + 2) << "the block and its elements";
    EXPECT_EQ(last[5], 7);
    last.clear();
    last = list();
    EXPECT_EQ(live_blocks(), blocks_before);
}
