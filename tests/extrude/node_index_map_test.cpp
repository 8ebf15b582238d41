#include "extrude/node_index_map.h"

#include <gtest/gtest.h>

#include <random>
#include <unordered_map>
#include <vector>

#include <meldra/element_type.h>

using quorl::no_node;
using quorl::meldra3d::detail::node_index_map;

TEST(NodeIndexMap, NumbersIdsInOrderOfFirstAppearance) {
    node_index_map map;
    for (const unsigned id : {7u, 3u, 7u, 0u, 3u, no_node - 1})
        ASSERT_TRUE(map.insert(id));
    ASSERT_EQ(map.size(), 4u);
    EXPECT_EQ(std::vector<unsigned>(map.ids(), map.ids() + 4), (std::vector<unsigned>{7, 3, 0, no_node - 1}));
    EXPECT_EQ(map.find(7), 0u);
    EXPECT_EQ(map.find(3), 1u);
    EXPECT_EQ(map.find(0), 2u);
    EXPECT_EQ(map.find(no_node - 1), 3u);
}

TEST(NodeIndexMap, KnowsNoIdThatWasNotEntered) {
    node_index_map map;
    EXPECT_EQ(map.find(0), no_node);
    ASSERT_TRUE(map.insert(5));
    EXPECT_EQ(map.find(4), no_node);
    EXPECT_EQ(map.find(no_node), no_node);
}

TEST(NodeIndexMap, AgreesWithAnOrdinaryMapOnScatteredAndStridedIds) {
    std::mt19937 random(3);
    node_index_map map;
    std::unordered_map<unsigned, unsigned> expected;
    for (unsigned k = 0; k < 200000; ++k) {
        const unsigned id = k % 2 == 0 ? k * 4096u : unsigned(random() % 100000u);
        if (id == no_node)
            continue;
        expected.try_emplace(id, unsigned(expected.size()));
        ASSERT_TRUE(map.insert(id));
    }
    ASSERT_EQ(map.size(), expected.size());
    for (const auto& [id, index] : expected) {
        ASSERT_EQ(map.find(id), index);
        ASSERT_EQ(map.ids()[index], id);
    }
}
