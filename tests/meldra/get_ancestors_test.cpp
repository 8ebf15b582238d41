#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <vector>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra::get_ancestors;

namespace {

constexpr unsigned none = no_node;
using list = dense1D<unsigned, 8>;

std::vector<unsigned> entries_of(const list& l) {
    return {l.begin(), l.end()};
}

/// For each ID up to the largest, a search from the first column on.
std::vector<unsigned> ancestors_by_search(const dense2D<unsigned>& connect) {
    std::vector<unsigned> found;
    const auto all = entries(connect);
    const auto in_use = [&](unsigned id) { return std::find(all.begin(), all.end(), id) != all.end(); };
    unsigned largest = 0;
    for (const unsigned id : all)
        if (id != none)
            largest = std::max(largest, id);
    if (std::all_of(all.begin(), all.end(), [](unsigned id) { return id == none; }))
        return found;
    for (unsigned id = 0; id <= largest; ++id) {
        const auto first = std::find(all.begin(), all.end(), id);
        found.push_back(in_use(id) ? static_cast<unsigned>(std::size_t(first - all.begin()) / connect.rows()) : none);
    }
    return found;
}

list ancestors_of(const dense2D<unsigned>& connect) {
    list ancestors{7, 7, 7, 7, 7};
    EXPECT_EQ(get_ancestors(connect, ancestors), 0);
    return ancestors;
}

} // namespace

RC_GTEST_PROP(GetAncestors, AgreesWithASearchForEachNode, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    dense2D<unsigned> connect(1 + random(9), random(12));
    const unsigned nodes = 1 + random(40);
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t i = 0; i < connect.rows(); ++i)
            connect(i, j) = random(5) == 0 ? none : random(nodes);
    const auto expected = ancestors_by_search(connect);
    RC_ASSERT(entries_of(ancestors_of(connect)) == expected);
    RC_ASSERT(entries_of(ancestors_of(as_window(connect, 99u))) == expected);
}

TEST(GetAncestors, GivesTheFirstElementInColumnOrder) {
    EXPECT_EQ(entries_of(ancestors_of(ids({{5, 1, 2}, {1, 2, 0}, {5, 5, 0}}))),
              (std::vector<unsigned>{1, 0, 0, none, none, 0}));
}

TEST(GetAncestors, CountsMidEdgeNodesAndSkipsUnusedSlots) {
    EXPECT_EQ(entries_of(ancestors_of(ids({{0, 1, 2, none, none, none}, {0, 1, 2, 3, 4, 5}}))),
              (std::vector<unsigned>{0, 0, 0, 1, 1, 1}));
}

TEST(GetAncestors, NoNodeInUseMeansNoEntries) {
    EXPECT_TRUE(ancestors_of(dense2D<unsigned>()).empty());
    EXPECT_TRUE(ancestors_of(dense2D<unsigned>(4, 0)).empty());
    EXPECT_TRUE(ancestors_of(dense2D<unsigned>(0, 4)).empty());
    EXPECT_TRUE(ancestors_of(dense2D<unsigned>(4, 3, none)).empty());
    EXPECT_EQ(entries_of(ancestors_of(ids({{0}}))), std::vector<unsigned>{0});
}

TEST(GetAncestors, LeavesSharersOfTheOldOutputAlone) {
    list old{7, 7, 7};
    list ancestors = old;
    EXPECT_EQ(get_ancestors(ids({{0, 1, 2}}), ancestors), 0);
    EXPECT_EQ(entries_of(ancestors), (std::vector<unsigned>{0, 0, 0}));
    EXPECT_EQ(entries_of(old), (std::vector<unsigned>{7, 7, 7}));
}

TEST(GetAncestors, TheOutputMayShareStorageWithTheConnectivity) {
    auto connect = ids({{3, 1}, {2, 3}});
    list ancestors = connect.as_vector();
    EXPECT_EQ(get_ancestors(connect, ancestors), 0);
    EXPECT_EQ(entries_of(ancestors), (std::vector<unsigned>{none, 0, 1, 0}));
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{3, 1, 2, 3}));
}

TEST(GetAncestors, MoreElementsThanIDsFailBeforeTheyAreRead) {
    unsigned one = 0;
    const auto connect = dense2D<unsigned>::view(&one, 1, std::size_t(1) << 32, 1);
    list ancestors{7};
    EXPECT_EQ(get_ancestors(connect, ancestors), -199);
    EXPECT_TRUE(ancestors.empty());
}

TEST(GetAncestors, ColumnsWithoutRowsHoldNoElement) {
    list ancestors{7};
    EXPECT_EQ(get_ancestors(dense2D<unsigned>(0, std::size_t(1) << 33), ancestors), 0);
    EXPECT_TRUE(ancestors.empty());
}
