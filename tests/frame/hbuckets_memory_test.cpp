#include <gtest/gtest.h>

#include <vector>

#include "frame/elfes.h"
#include "frame/hbuckets.h"
#include "support/failing_alloc.h"

using namespace quorl::meldra3d::detail;
using namespace test;
using quorl::elfes::edge2;

namespace {

using edge_table = hbuckets<keyed<edge2, unsigned>>;

edge2 edge(unsigned k) {
    return {{k, 3 * k + 1}};
}

void expect_holds(const edge_table& table, unsigned n) {
    EXPECT_EQ(table.size(), n);
    for (unsigned k = 0; k < n; ++k) {
        const auto at = table.find(edge(k).hash(), edge(k));
        ASSERT_NE(at, table.used_length());
        EXPECT_EQ(table[at].value.payload, k);
    }
}

} // namespace

TEST(HBucketsMemory, AFailedInitLeavesATableThatCanBeUsed) {
    const std::size_t blocks_before = live_blocks();
    for (std::size_t k = 1; k <= 3; ++k) {
        edge_table table;
        fail_allocation(k);
        const bool done = table.init(1000, 97, 1.0);
        const bool failed = stop_failing();
        EXPECT_EQ(done, !failed);
        EXPECT_EQ(table.bucket_count(), failed ? 23u : 97u);
        for (unsigned i = 0; i < 500; ++i)
            ASSERT_EQ(table.insert(edge(i).hash(), {edge(i), i}) != nullptr, table.used_length() != 0);
        expect_holds(table, table.used_length() != 0 ? 500 : 0);
        EXPECT_TRUE(table.init(0, 23, 1.0));
    }
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(HBucketsMemory, AFailedInsertIsDroppedAndLeavesTheRest) {
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    for (bool done = false; !done;) {
        edge_table table;
        ASSERT_TRUE(table.init(23, 23, 1.0));
        fail_allocation(failures + 1);
        unsigned entered = 0;
        while (entered < 2000 && table.insert(edge(entered).hash(), {edge(entered), entered}))
            ++entered;
        done = !stop_failing();
        EXPECT_EQ(entered == 2000, done);
        expect_holds(table, entered);
        failures += !done;
        for (; entered < 2000; ++entered) // it can be tried again
            ASSERT_TRUE(table.insert(edge(entered).hash(), {edge(entered), entered}));
        expect_holds(table, 2000);
    }
    EXPECT_GE(failures, 10u); // every rehash takes two
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(HBucketsMemory, AFailedGrowLeavesTheTableAndDropsEvenAKeyThatIsThere) {
    edge_table table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    for (unsigned k = 0; k < 46; ++k)
        ASSERT_TRUE(table.insert(edge(k).hash(), {edge(k), k}));
    for (std::size_t k = 1; k <= 2; ++k) {
        fail_allocation(k);
        EXPECT_EQ(table.insert(edge(7).hash(), {edge(7), 7}), nullptr);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(table.bucket_count(), 23u);
        expect_holds(table, 46);
        fail_allocation(k);
        EXPECT_FALSE(table.grow(1000));
        EXPECT_TRUE(stop_failing());
        expect_holds(table, 46);
    }
    EXPECT_TRUE(table.insert(edge(7).hash(), {edge(7), 7}));
    EXPECT_EQ(table.bucket_count(), 97u);
    expect_holds(table, 46);
}
