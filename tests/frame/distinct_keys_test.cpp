#include "frame/distinct_keys.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "frame/elfes.h"

using quorl::no_node;
using quorl::elfes::edge2;
using quorl::elfes::face_mix;
using quorl::meldra3d::detail::distinct_keys;

namespace {

/// Numbers the keys, and checks them against those of an ordinary map; `name` is the same for equal keys only.
template <class Key, class Name>
void expect_numbers_with(std::vector<unsigned> lent, const std::vector<Key>& keys, Name name) {
    distinct_keys<Key> distinct;
    const auto each_key = [&](const auto& visit) {
        for (const Key& key : keys)
            visit(key);
    };
    ASSERT_TRUE(distinct.run(each_key, {lent.data(), lent.size()}));
    std::map<decltype(name(keys[0])), unsigned> number_of;
    std::vector<bool> taken(distinct.size());
    std::size_t k = 0;
    const auto expect_next = [&](unsigned number, bool is_first) {
        ASSERT_LT(number, distinct.size());
        const auto [known, is_new] = number_of.emplace(name(keys[k++]), number);
        ASSERT_EQ(known->second, number);
        ASSERT_EQ(is_first, is_new);
        ASSERT_EQ(taken[number], !is_new);
        taken[number] = true;
    };
    distinct.next(keys.size() / 3, expect_next); // in two portions
    distinct.next(keys.size() - keys.size() / 3, expect_next);
    EXPECT_EQ(k, keys.size());
    EXPECT_EQ(distinct.size(), number_of.size());
}

/// Likewise without room that is lent, and with as much as may be needed.
template <class Key, class Name>
void expect_numbers(const std::vector<Key>& keys, Name name) {
    expect_numbers_with({}, keys, name);
    expect_numbers_with(std::vector<unsigned>(4 * keys.size()), keys, name);
}

std::pair<unsigned, unsigned> edge_name(const edge2& edge) {
    return std::minmax(edge.id[0], edge.id[1]);
}

std::vector<edge2> random_edges(std::size_t n, unsigned nodes) {
    std::mt19937 random(7);
    std::vector<edge2> edges(n);
    for (edge2& edge : edges)
        edge = {{unsigned(random() % nodes), unsigned(random() % nodes)}};
    return edges;
}

} // namespace

TEST(DistinctKeys, NoKeysHaveNoNumbers) {
    distinct_keys<edge2> distinct;
    ASSERT_TRUE(distinct.run([](const auto&) {}));
    EXPECT_EQ(distinct.size(), 0u);
}

TEST(DistinctKeys, AnEdgeHasOneNumberInBothDirections) {
    expect_numbers<edge2>({{{5, 9}}, {{9, 5}}, {{9, 9}}, {{5, 9}}, {{0, 14}}}, edge_name);
}

TEST(DistinctKeys, FewEdgesOfManyKeys) {
    expect_numbers(random_edges(100000, 40), edge_name);
}

TEST(DistinctKeys, ManyEdgesThatComeOnce) {
    expect_numbers(random_edges(200000, 1000000), edge_name);
}

// The partition is told by the sum and the exclusive or of the nodes. Here all sums are 1024 and many of the latter are
// alike.
TEST(DistinctKeys, EdgesOfFewPartitions) {
    std::vector<edge2> edges;
    for (unsigned k = 0; k < 512; ++k)
        for (const unsigned a : {k, 1024 - k})
            edges.push_back({{a, 1024 - a}});
    expect_numbers(edges, edge_name);
}

// Buckets are told by the leading bits of a product. Here all keys of a partition fall into its last bucket, so that
// they overflow it, go on at the first and fill a third of the table.
TEST(DistinctKeys, EdgesOfOneBucket) {
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15u;
    std::uint64_t inverse = factor; // modulo 2^64: each step of Newton's doubles the bits that are right
    for (int step = 0; step < 5; ++step)
        inverse *= 2 - factor * inverse;
    ASSERT_EQ(factor * inverse, 1u);
    std::vector<edge2> edges;
    for (std::uint64_t k = 1; edges.size() < 20000; ++k) {
        const std::uint64_t pair = (0 - k) * inverse;
        const auto least = static_cast<unsigned>(pair >> 32);
        const auto most = static_cast<unsigned>(pair);
        if (least > most) // not the words of an edge
            continue;
        edges.push_back({{least, most}});
        edges.push_back({{most, least}});
    }
    expect_numbers(edges, edge_name);
}

TEST(DistinctKeys, FacesAreToldByTheirCycles) {
    std::mt19937 random(8);
    std::vector<face_mix> faces;
    for (unsigned k = 0; k < 20000; ++k) {
        const unsigned first = 4 * unsigned(random() % 2000);
        std::array<unsigned, 4> id{first, first + 1, first + 2, first + 3};
        std::shuffle(id.begin(), id.end(), random);
        if (random() % 2 == 0)
            id[3] = no_node;
        faces.push_back({id});
    }
    expect_numbers(faces, [](const face_mix& face) {
        std::array<unsigned, 4> least = face.id;
        const unsigned n = face.is_triangle() ? 3 : 4;
        for (unsigned start = 0; start < n; ++start)
            for (const unsigned step : {1u, n - 1}) {
                std::array<unsigned, 4> read = face.id;
                for (unsigned k = 0; k < n; ++k)
                    read[k] = face.id[(start + k * step) % n];
                least = std::min(least, read);
            }
        return least;
    });
}
