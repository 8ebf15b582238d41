#include "extrude/node_index_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <unordered_map>
#include <vector>

using quorl::dense2D;
using quorl::no_node;
using quorl::meldra3d::detail::node_index_map;

namespace {

dense2D<unsigned> columns(std::size_t rows, const std::vector<unsigned>& ids) {
    dense2D<unsigned> matrix(rows, ids.size() / rows);
    std::copy(ids.begin(), ids.end(), matrix.data());
    return matrix;
}

// Numbers of nodes of a mesh for which the map is a plain list, and a hashed table.
constexpr std::size_t few = 12;
constexpr std::size_t many = no_node;

} // namespace

TEST(NodeIndexMap, NumbersIdsInOrderOfFirstAppearance) {
    for (const std::size_t nodes : {few, many}) {
        node_index_map map;
        ASSERT_TRUE(map.insert_all(columns(3, {7, 3, 7, 0, 3, 11, 0, 0, 11, 3, 3, 7}), nodes));
        ASSERT_EQ(map.size(), 4u);
        EXPECT_EQ(std::vector<unsigned>(map.ids(), map.ids() + 4), (std::vector<unsigned>{7, 3, 0, 11}));
        EXPECT_EQ(map.find(7), 0u);
        EXPECT_EQ(map.find(3), 1u);
        EXPECT_EQ(map.find(0), 2u);
        EXPECT_EQ(map.find(11), 3u);
    }
}

TEST(NodeIndexMap, TakesTheLargestId) {
    node_index_map map;
    ASSERT_TRUE(map.insert_all(columns(2, {no_node - 1, 0}), many));
    EXPECT_EQ(map.find(no_node - 1), 0u);
}

TEST(NodeIndexMap, KnowsNoIdThatWasNotEntered) {
    EXPECT_EQ(node_index_map().find(0), no_node);
    for (const std::size_t nodes : {few, many}) {
        node_index_map map;
        ASSERT_TRUE(map.insert_all(columns(4, {5, 6, 7, no_node, 5, 7, 8, no_node, 5, 7, 9, no_node}), nodes));
        EXPECT_EQ(map.size(), 5u);
        for (const unsigned id : {4u, 11u, 12u, 1000u, no_node - 1, no_node})
            EXPECT_EQ(map.find(id), no_node) << id;
    }
}

TEST(NodeIndexMap, AgreesWithAnOrdinaryMapOnScatteredAndStridedIds) {
    for (const unsigned range : {100000u, no_node}) {
        std::mt19937 random(3);
        std::vector<unsigned> ids;
        for (unsigned k = 0; k < 200000; ++k)
            ids.push_back((k % 2 == 0 ? k * 4096u : unsigned(random() % 100000u)) % range);
        std::unordered_map<unsigned, unsigned> expected;
        for (const unsigned id : ids)
            expected.try_emplace(id, unsigned(expected.size()));
        node_index_map map;
        ASSERT_TRUE(map.insert_all(columns(4, ids), range));
        ASSERT_EQ(map.size(), expected.size());
        for (const auto& [id, index] : expected) {
            ASSERT_EQ(map.find(id), index);
            ASSERT_EQ(map.ids()[index], id);
        }
    }
}
