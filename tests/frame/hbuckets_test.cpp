#include "frame/hbuckets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <unordered_map>
#include <vector>

#include "frame/elfes.h"

using quorl::no_node;
using namespace quorl::meldra3d::detail;
using quorl::elfes::edge2;
using quorl::elfes::face_mix;
using quorl::elfes::faceQ4;

namespace {

using edge_table = hbuckets<keyed<edge2, unsigned>>;
using face_table = hbuckets<keyed<face_mix, unsigned>>;

/// The layout of a table as it is described, by the plainest means: division, no prefetching, no blocks.
template <class Key>
struct plain_table {
    struct entry {
        bool occupied = false;
        Key key{};
        unsigned payload = 0;
        unsigned distance = 0;
    };
    std::uint64_t buckets = 23;
    std::vector<entry> nodes = std::vector<entry>(23);
    std::uint64_t entries = 0;

    void insert(const Key& key, unsigned payload) {
        if (entries + 1 > 2 * buckets)
            grow();
        put(key, payload);
    }

    void put(const Key& key, unsigned payload) {
        std::size_t at = key.hash() % buckets;
        for (; nodes[at].occupied && !(nodes[at].key == key) && nodes[at].distance != 0;)
            at += nodes[at].distance;
        if (nodes[at].occupied && nodes[at].key == key)
            return;
        ++entries;
        if (!nodes[at].occupied) {
            nodes[at] = {true, key, payload, 0};
            return;
        }
        nodes[at].distance = unsigned(nodes.size() - at);
        nodes.push_back({true, key, payload, 0});
    }

    void grow() {
        plain_table larger;
        larger.buckets = *std::lower_bound(bucket_primes.begin(), bucket_primes.end(), 2 * entries);
        larger.nodes.resize(larger.buckets);
        for (const entry& e : nodes)
            if (e.occupied)
                larger.put(e.key, e.payload);
        *this = larger;
    }
};

template <class Table, class Key>
void expect_layout(const Table& table, const plain_table<Key>& plain) {
    ASSERT_EQ(table.bucket_count(), plain.buckets);
    ASSERT_EQ(table.used_length(), plain.nodes.size());
    ASSERT_EQ(table.size(), plain.entries);
    for (std::size_t k = 0; k < plain.nodes.size(); ++k) {
        ASSERT_EQ(table[k].occupied(), plain.nodes[k].occupied);
        ASSERT_EQ(table[k].link, 2 * plain.nodes[k].distance + (plain.nodes[k].occupied ? 1 : 0)) << "node " << k;
        if (plain.nodes[k].occupied) {
            ASSERT_EQ(table[k].value.key.id, plain.nodes[k].key.id);
            ASSERT_EQ(table[k].value.payload, plain.nodes[k].payload);
        } else {
            for (const unsigned word : table[k].value.key.id)
                ASSERT_EQ(word, no_node);
        }
    }
}

edge2 random_edge(std::mt19937& random, unsigned nodes) {
    return {{unsigned(random() % nodes), unsigned(random() % nodes)}};
}

face_mix random_face(std::mt19937& random, unsigned nodes) {
    face_mix face{{unsigned(random() % nodes), unsigned(random() % nodes), unsigned(random() % nodes),
                   unsigned(random() % nodes)}};
    if (random() % 2 == 0)
        face.id[3] = no_node;
    return face;
}

/// Enters the keys once one by one and once in blocks of uneven size; both must give the layout described.
template <class Table, class Key>
void expect_layout_of(const std::vector<Key>& keys) {
    plain_table<Key> plain;
    Table one_by_one;
    Table in_blocks;
    ASSERT_TRUE(one_by_one.init(23, 23, 1.0));
    ASSERT_TRUE(in_blocks.init(23, 23, 1.0));
    for (unsigned k = 0; k < keys.size(); ++k) {
        plain.insert(keys[k], k);
        const auto* const node = one_by_one.insert(keys[k].hash(), {keys[k], k});
        ASSERT_TRUE(node && node->value.key == keys[k]);
    }
    plain_table<Key> numbered;
    for (const Key& key : keys)
        numbered.insert(key, unsigned(numbered.entries));
    unsigned next = 0;
    std::vector<unsigned> words(keys.size() * sizeof(Key) / sizeof(unsigned)), numbers(keys.size());
    std::memcpy(words.data(), keys.data(), keys.size() * sizeof(Key));
    for (std::size_t done = 0, size = 1; done < keys.size(); done += size, size = (size * 5 + 3) % 300) {
        size = std::min(size, keys.size() - done);
        ASSERT_TRUE(in_blocks.number(&words[done * sizeof(Key) / sizeof(unsigned)], size, next, &numbers[done]));
    }
    EXPECT_EQ(next, numbered.entries);
    expect_layout(one_by_one, plain);
    expect_layout(in_blocks, numbered);
}

} // namespace

TEST(BucketPrimes, AreThirtyAscendingPrimes) {
    ASSERT_EQ(bucket_primes.size(), 30u);
    for (std::size_t k = 0; k < bucket_primes.size(); ++k) {
        const std::uint64_t p = bucket_primes[k];
        for (std::uint64_t d = 2; d * d <= p; ++d)
            ASSERT_NE(p % d, 0u) << p;
        if (k > 0) {
            EXPECT_GT(p, bucket_primes[k - 1]);
        }
    }
    EXPECT_EQ(bucket_primes.front(), 13u);
    EXPECT_EQ(bucket_primes.back(), 4294967291u);
}

TEST(BucketPrimes, TheNextIsNotBelow) {
    EXPECT_EQ(next_bucket_prime(0), 13u);
    EXPECT_EQ(next_bucket_prime(13), 13u);
    EXPECT_EQ(next_bucket_prime(14), 23u);
    EXPECT_EQ(next_bucket_prime(92), 97u);
    for (std::size_t k = 1; k < bucket_primes.size(); ++k) {
        EXPECT_EQ(next_bucket_prime(bucket_primes[k]), bucket_primes[k]);
        EXPECT_EQ(next_bucket_prime(bucket_primes[k - 1] + 1), bucket_primes[k]);
    }
    EXPECT_EQ(next_bucket_prime(4294967292u), 4294967291u);
    EXPECT_EQ(next_bucket_prime(no_node), 4294967291u);
}

TEST(FixedModulus, IsTheRemainderForEveryPrime) {
    std::mt19937_64 random(1);
    const std::uint64_t most = ~std::uint64_t(0);
    for (const std::uint32_t prime : bucket_primes) {
        const fixed_modulus modulus(prime);
        const auto check = [&](std::uint64_t h) { ASSERT_EQ(modulus.of(h), h % prime) << h << " mod " << prime; };
        for (std::uint64_t k = 0; k < 1000; ++k) {
            check(k);
            check(most - k);
            check((std::uint64_t(1) << 63) + k - 500);
            check(prime - 1 + k * prime);    // the largest remainder
            check(most / prime * prime - k); // around the largest multiple
            check(most / prime * prime + k);
        }
        for (unsigned k = 0; k < 20000; ++k) {
            const std::uint64_t h = random() >> (k % 64);
            check(h);
            check(h / prime * prime);
            check(h / prime * prime - 1); // wraps below 0 too
        }
    }
}

TEST(BucketPlan, FollowsTheShareOfUnusedBuckets) {
    for (const std::uint32_t buckets : {23u, 97u, 1572869u})
        for (const std::uint64_t expected : {1u, 23u, 46u, 100000u}) {
            const bucket_plan plan = plan_buckets(expected, buckets, 1.0);
            const double unused = std::pow(1.0 - 1.0 / buckets, double(expected));
            EXPECT_TRUE(plan.fits);
            EXPECT_EQ(plan.buckets, buckets);
            EXPECT_NEAR(double(plan.nodes), double(expected) + buckets * std::min(1.3 * unused, 1.0), 1.0);
        }
}

TEST(BucketPlan, NoExpectedKeysAskForAWholeTable) {
    EXPECT_EQ(plan_buckets(0, 97, 1.0).nodes, 97u);
    EXPECT_EQ(plan_buckets(0, 0, 1.0).nodes, 23u);
    EXPECT_EQ(plan_buckets(0, 4294967291u, 1.0).nodes, 4294967291u);
    EXPECT_TRUE(plan_buckets(0, 4294967291u, 1.0).fits);
}

TEST(BucketPlan, NodesMustBeCountableIn32Bits) {
    for (const std::uint64_t expected : {std::uint64_t(4294967295u), std::uint64_t(4294967294u), ~std::uint64_t(0)}) {
        const bucket_plan plan = plan_buckets(expected, 4294967291u, 1.0);
        EXPECT_FALSE(plan.fits);
        EXPECT_EQ(plan.buckets, 23u);
    }
    EXPECT_TRUE(plan_buckets(4294967294u, 23, 1.0).fits);
    EXPECT_FALSE(plan_buckets(4294967295u, 23, 1.0).fits);
}

TEST(BucketPlan, ALoadThatIsNoneAsksForNoOverflow) {
    EXPECT_EQ(plan_buckets(100, 97, 0.0).nodes, 100u);
    EXPECT_EQ(plan_buckets(100, 97, 1e-3).nodes, 100u);
    EXPECT_EQ(plan_buckets(100, 97, std::nan("")).nodes, 100u);
}

TEST(HBuckets, AtLeastTwentyThreeBuckets) {
    for (const std::uint32_t buckets : {0u, 13u, 22u, 23u}) {
        edge_table table;
        EXPECT_TRUE(table.init(0, buckets, 1.0));
        EXPECT_EQ(table.bucket_count(), 23u);
        EXPECT_EQ(table.used_length(), 23u);
        EXPECT_EQ(table.size(), 0u);
    }
    edge_table table;
    EXPECT_TRUE(table.init(0, 24, 1.0));
    EXPECT_EQ(table.bucket_count(), 24u);
}

TEST(HBuckets, ATableWithoutInitHoldsNothing) {
    edge_table table;
    const edge2 edge{{1, 2}};
    EXPECT_EQ(table.find(edge.hash(), edge), table.used_length());
    EXPECT_EQ(table.insert(edge.hash(), {edge, 0}), nullptr);
    EXPECT_EQ(table.size(), 0u);
}

TEST(HBuckets, TheFortySeventhInsertBringsNinetySevenBuckets) {
    edge_table table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    for (unsigned k = 0; k < 46; ++k) {
        const edge2 edge{{k, k + 100}};
        ASSERT_TRUE(table.insert(edge.hash(), {edge, k}));
        EXPECT_EQ(table.bucket_count(), 23u);
    }
    EXPECT_EQ(table.size(), 46u);
    const edge2 last{{46, 146}};
    ASSERT_TRUE(table.insert(last.hash(), {last, 46}));
    EXPECT_EQ(table.bucket_count(), 97u);
    EXPECT_EQ(table.size(), 47u);
}

TEST(HBuckets, TheLoadIsTestedBeforeTheKeyIsLookedUp) {
    edge_table table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    for (unsigned k = 0; k < 46; ++k) {
        const edge2 edge{{k, k + 100}};
        ASSERT_TRUE(table.insert(edge.hash(), {edge, k}));
    }
    const edge2 known{{107, 7}};
    const auto* const node = table.insert(known.hash(), {known, 99});
    ASSERT_TRUE(node);
    EXPECT_EQ(node->value.payload, 7u) << "what is there stays";
    EXPECT_EQ(node->value.key.id, (std::array{7u, 107u}));
    EXPECT_EQ(table.bucket_count(), 97u);
    EXPECT_EQ(table.size(), 46u);
}

TEST(HBuckets, ChainsRunForwardsThroughAppendedNodes) {
    hbuckets<unsigned> table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    // The hash is the caller's to choose: all of these in bucket 5, some others elsewhere.
    ASSERT_TRUE(table.insert(5, 10));
    ASSERT_TRUE(table.insert(6, 11));
    ASSERT_TRUE(table.insert(5 + 23, 12));
    ASSERT_TRUE(table.insert(6 + 23, 13));
    ASSERT_TRUE(table.insert(5 + 46, 14));
    EXPECT_EQ(table[5].link, 2u * (23 - 5) + 1);
    EXPECT_EQ(table[23].link, 2u * (25 - 23) + 1);
    EXPECT_EQ(table[25].link, 1u);
    EXPECT_EQ(table[25].value, 14u);
    EXPECT_EQ(table[6].link, 2u * (24 - 6) + 1);
    EXPECT_EQ(table[0].link, 0u);
    EXPECT_EQ(table[0].value, no_node);
    EXPECT_EQ(table.find(5, 14), 25u);
    EXPECT_EQ(table.find(5 + 23, 12), 23u);
    EXPECT_EQ(table.find(5, 13), table.used_length());
    EXPECT_EQ(table.find(0, 0), table.used_length());
    EXPECT_EQ(table.used_length(), 26u);
    std::vector<unsigned> visited;
    table.for_each([&](unsigned id) { visited.push_back(id); });
    EXPECT_EQ(visited, (std::vector{10u, 11u, 12u, 13u, 14u}));
}

TEST(HBuckets, AnEntryIsMadeOfItsOccupiedBitNotOfItsKey) {
    hbuckets<unsigned> table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    EXPECT_EQ(table.find(3, no_node), table.used_length());
    ASSERT_TRUE(table.insert(3, no_node));
    EXPECT_EQ(table.find(3, no_node), 3u);
    EXPECT_EQ(table.size(), 1u);
}

TEST(HBuckets, AVacatedNodeKeepsItsChainAndIsTakenFirst) {
    hbuckets<unsigned> table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    for (const unsigned id : {10u, 11u, 12u, 13u})
        ASSERT_TRUE(table.insert(5, id));
    table.vacate(23); // holds 11
    table.vacate(24); // holds 12
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(table.find(5, 11), table.used_length());
    EXPECT_EQ(table.find(5, 13), 25u);
    const auto* const known = table.insert(5, 13); // behind the free nodes, and found all the same
    ASSERT_TRUE(known);
    EXPECT_EQ(known, &table[25]);
    EXPECT_EQ(table.size(), 2u);
    ASSERT_EQ(table.insert(5, 14), &table[23]);
    EXPECT_EQ(table[23].link, 2u * 1 + 1);
    ASSERT_EQ(table.insert(5, 15), &table[24]);
    EXPECT_EQ(table.used_length(), 26u);
    EXPECT_EQ(table.size(), 4u);
}

TEST(HBuckets, AnEmptyTableGrowsInPlace) {
    edge_table table;
    ASSERT_TRUE(table.init(0, 23, 1.0));
    EXPECT_TRUE(table.grow(98));
    EXPECT_EQ(table.bucket_count(), 193u);
    EXPECT_EQ(table.used_length(), 193u);
    const edge2 edge{{3, 4}};
    ASSERT_TRUE(table.insert(edge.hash(), {edge, 5}));
    EXPECT_EQ(table.value(table.find(edge.hash(), edge)).payload, 5u);
    // Emptied and set up again in the same memory: nothing of before is left.
    ASSERT_TRUE(table.init(0, 23, 1.0));
    EXPECT_EQ(table.find(edge.hash(), edge), table.used_length());
    std::size_t entries = 0;
    table.for_each([&](const auto&) { ++entries; });
    EXPECT_EQ(entries, 0u);
}

TEST(HBuckets, ATableCannotHaveMoreNodesThanNumbers) {
    edge_table table;
    EXPECT_FALSE(table.init(4294967295u, 23, 1.0));
    EXPECT_EQ(table.bucket_count(), 23u);
    const edge2 edge{{3, 4}};
    EXPECT_TRUE(table.insert(edge.hash(), {edge, 5})) << "but it is usable";
    EXPECT_EQ(table.size(), 1u);
}

TEST(HBuckets, NodesLieAsDescribedForEdgesOneByOneAndInBlocks) {
    std::mt19937 random(7);
    for (const unsigned nodes : {3u, 10u, 40u, 1000u, 4000000000u}) {
        std::vector<edge2> edges;
        for (unsigned k = 0; k < 5000; ++k)
            edges.push_back(random_edge(random, nodes));
        expect_layout_of<edge_table>(edges);
    }
}

TEST(HBuckets, NodesLieAsDescribedForFacesOneByOneAndInBlocks) {
    std::mt19937 random(8);
    for (const unsigned nodes : {3u, 5u, 12u, 1000u, 4000000000u}) {
        std::vector<face_mix> faces;
        for (unsigned k = 0; k < 5000; ++k)
            faces.push_back(random_face(random, nodes));
        expect_layout_of<face_table>(faces);
    }
}

TEST(HBuckets, NumbersKeysAsIfInsertedOneByOne) {
    std::mt19937 random(5);
    for (const std::size_t n : {1u, 46u, 47u, 63u, 64u, 65u, 1000u, 20000u}) {
        std::vector<edge2> keys(n);
        for (edge2& key : keys)
            key = random_edge(random, 100);
        plain_table<edge2> plain;
        std::vector<unsigned> expected;
        for (const edge2& key : keys) {
            const auto entries = unsigned(plain.entries);
            plain.insert(key, entries);
            const auto known = std::find_if(plain.nodes.begin(), plain.nodes.end(),
                                            [&](const auto& node) { return node.occupied && node.key == key; });
            expected.push_back(known->payload);
        }
        edge_table table;
        ASSERT_TRUE(table.init(23, 23, 1.0));
        std::vector<unsigned> words(2 * n);
        std::memcpy(words.data(), keys.data(), n * sizeof(edge2));
        unsigned next = 0;
        ASSERT_TRUE(table.number(words.data(), n, next, words.data()));
        EXPECT_EQ(next, plain.entries);
        words.resize(n);
        EXPECT_EQ(words, expected);
        expect_layout(table, plain);
    }
}

// Beyond a cache chains are walked side by side, unless the keys come again soon.
TEST(HBuckets, NumbersManyKeys) {
    std::mt19937 random(6);
    std::vector<edge2> keys(400000);
    for (std::size_t k = 0; k < keys.size(); ++k)
        keys[k] = k % 50000 < 25000 || k < 2 ? random_edge(random, 1000000) : keys[k - 2];
    expect_layout_of<edge_table>(keys);
}

TEST(HBuckets, NumbersKeysWhereEntriesWereVacated) {
    edge_table table;
    std::vector<unsigned> words, numbers(3);
    unsigned next = 0;
    EXPECT_FALSE(table.number(std::array{0u, 1u}.data(), 1, next, numbers.data())) << "without init";
    ASSERT_TRUE(table.init(23, 23, 1.0));
    const auto id = [](unsigned share) { return share ^ 2166136261u; }; // one chain: shares that add up to 9
    words = {id(1), id(8), id(2), id(7), id(3), id(6)};
    ASSERT_TRUE(table.number(words.data(), 3, next, numbers.data()));
    EXPECT_EQ(numbers, (std::vector{0u, 1u, 2u}));
    EXPECT_EQ(table.used_length(), 25u);
    const edge2 second{{id(2), id(7)}};
    table.vacate(table.find(second.hash(), second));
    words = {id(6), id(3), id(7), id(2), id(4), id(5)};
    ASSERT_TRUE(table.number(words.data(), 3, next, numbers.data()));
    EXPECT_EQ(numbers, (std::vector{2u, 3u, 4u}));
    EXPECT_EQ(table.used_length(), 26u) << "the vacated node is used again";
}

TEST(HBuckets, NumbersEndBeforeTheLast) {
    edge_table table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    const std::array<unsigned, 6> words{1, 2, 3, 4, 5, 6};
    std::array<unsigned, 3> numbers{};
    unsigned next = no_node - 2;
    EXPECT_FALSE(table.number(words.data(), 3, next, numbers.data()));
    EXPECT_EQ(numbers[0], no_node - 2);
    EXPECT_EQ(numbers[1], no_node - 1);
}

TEST(HBuckets, AgreesWithAnOrdinaryMap) {
    std::mt19937 random(9);
    const auto packed = [](const edge2& e) {
        return std::uint64_t(std::min(e.id[0], e.id[1])) << 32 | std::max(e.id[0], e.id[1]);
    };
    edge_table table;
    ASSERT_TRUE(table.init(23, 23, 1.0));
    std::unordered_map<std::uint64_t, unsigned> expected;
    for (unsigned k = 0; k < 200000; ++k) {
        const edge2 edge = random_edge(random, 300);
        const auto* const node = table.insert(edge.hash(), {edge, k});
        ASSERT_TRUE(node);
        ASSERT_EQ(node->value.payload, expected.try_emplace(packed(edge), k).first->second);
        ASSERT_EQ(table.size(), expected.size());
    }
    std::size_t visited = 0;
    table.for_each([&](const keyed<edge2, unsigned>& entry) {
        ++visited;
        ASSERT_EQ(expected.at(packed(entry.key)), entry.payload);
    });
    EXPECT_EQ(visited, expected.size());
    for (unsigned a = 0; a < 300; ++a)
        for (unsigned b = 0; b < 310; ++b) {
            const edge2 edge{{b, a}};
            const auto at = table.find(edge.hash(), edge);
            ASSERT_EQ(at != table.used_length(), expected.count(packed(edge)) == 1);
        }
}

TEST(HBuckets, HoldsKeysWithoutPayloadAndWidePayloads) {
    hbuckets<faceQ4> set;
    hbuckets<keyed<faceQ4, unsigned long long>> map;
    hbuckets<keyed<unsigned, unsigned long long>> by_id;
    ASSERT_TRUE(set.init(23, 23, 1.0) && map.init(23, 23, 1.0) && by_id.init(23, 23, 1.0));
    for (unsigned k = 0; k < 500; ++k) {
        const faceQ4 face{{k, k + 1, k + 7, k + 6}};
        ASSERT_TRUE(set.insert(face.hash(), face));
        ASSERT_TRUE(map.insert(face.hash(), {face, 1ull << 40 | k}));
        ASSERT_TRUE(by_id.insert(hash_of(k), {k, 1ull << 41 | k}));
    }
    for (unsigned k = 0; k < 500; ++k) {
        const faceQ4 turned{{k + 7, k + 1, k, k + 6}};
        EXPECT_NE(set.find(turned.hash(), turned), set.used_length());
        EXPECT_EQ(map.value(map.find(turned.hash(), turned)).payload, 1ull << 40 | k);
        EXPECT_EQ(by_id.value(by_id.find(hash_of(k), k)).payload, 1ull << 41 | k);
    }
}
