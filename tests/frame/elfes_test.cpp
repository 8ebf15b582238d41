#include "frame/elfes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using quorl::no_node;
using namespace quorl::elfes;

namespace {

// The hash as its formula stands, in plain steps.
constexpr std::uint64_t share(std::uint32_t id) {
    const std::uint32_t mixed = id ^ 0x811C9DC5u;
    return std::uint64_t(mixed);
}

constexpr std::uint64_t fnv_prime = 0x01000193u;

} // namespace

TEST(EdgeKeys, HashIsTheProductOfTheSum) {
    for (const auto& [a, b] : {std::array{5u, 9u}, {0u, 1u}, {no_node - 1, no_node - 2}, {0x7EE3623Au, 0x7EE3623Bu}}) {
        EXPECT_EQ((edge2{{a, b}}.hash()), (share(a) + share(b)) * fnv_prime);
        EXPECT_EQ((edge2{{a, b}}.hash()), (edge2{{b, a}}.hash()));
    }
    // Each ID is mixed in 32 bits and only then widened: two such shares need 33 bits.
    EXPECT_EQ((edge2{{0x7EE3623Au, 0x7EE3623Au}}.hash()), 0x1FFFFFFFEu * fnv_prime);
}

TEST(EdgeKeys, AreEqualInBothDirections) {
    const edge2 edge{{5, 9}};
    EXPECT_TRUE(edge == edge);
    EXPECT_TRUE((edge == edge2{{9, 5}}));
    EXPECT_FALSE((edge == edge2{{5, 5}}));
    EXPECT_FALSE((edge == edge2{{9, 9}}));
    EXPECT_FALSE((edge == edge2{{5, 8}}));
    EXPECT_TRUE((edge2{{3, 3}} == edge2{{3, 3}}));
}

TEST(TriangleKeys, AllReadingsAreEqual) {
    std::array<unsigned, 3> ids{2, 4, 7};
    do {
        EXPECT_TRUE((faceT3{ids} == faceT3{{7, 2, 4}}));
        EXPECT_EQ(faceT3{ids}.hash(), (share(2) + share(4) + share(7)) * fnv_prime);
        EXPECT_FALSE((faceT3{ids} == faceT3{{7, 2, 5}}));
        EXPECT_TRUE((face_mix{{ids[0], ids[1], ids[2], no_node}} == face_mix{{4, 2, 7, no_node}}));
        EXPECT_EQ((face_mix{{ids[0], ids[1], ids[2], no_node}}).hash(), faceT3{ids}.hash());
    } while (std::next_permutation(ids.begin(), ids.end()));
}

TEST(QuadrangleKeys, EightOfTwentyFourReadingsAreEqual) {
    std::array<unsigned, 4> ids{1, 2, 3, 4};
    unsigned equal = 0;
    do {
        // The cycle is the same when the same nodes are across from each other.
        const auto place = [&](unsigned id) { return std::find(ids.begin(), ids.end(), id) - ids.begin(); };
        const bool same = (place(1) + 2) % 4 == place(3);
        EXPECT_EQ((faceQ4{ids} == faceQ4{{1, 2, 3, 4}}), same);
        EXPECT_EQ((faceQ4{{1, 2, 3, 4}} == faceQ4{ids}), same);
        EXPECT_EQ((face_mix{ids} == face_mix{{1, 2, 3, 4}}), same);
        EXPECT_EQ(faceQ4{ids}.hash(), (share(1) + share(2) + share(3) + share(4)) * fnv_prime);
        EXPECT_EQ(face_mix{ids}.hash(), faceQ4{ids}.hash());
        equal += same;
    } while (std::next_permutation(ids.begin(), ids.end()));
    EXPECT_EQ(equal, 8u);
    EXPECT_TRUE((faceQ4{{1, 2, 3, 4}} == faceQ4{{3, 2, 1, 4}}));
    EXPECT_FALSE((faceQ4{{1, 3, 2, 4}} == faceQ4{{1, 2, 3, 4}}));
}

TEST(FaceKeys, ATriangleNeverEqualsAQuadrangle) {
    for (const unsigned fourth : {1u, 3u, 4u, 0u}) {
        EXPECT_FALSE((face_mix{{1, 2, 3, no_node}} == face_mix{{1, 2, 3, fourth}}));
        EXPECT_FALSE((face_mix{{1, 2, 3, fourth}} == face_mix{{1, 2, 3, no_node}}));
    }
}

TEST(FaceKeys, ACycleBeginsAtTheFirstOfItsSmallestNodes) {
    EXPECT_TRUE((faceQ4{{1, 1, 2, 3}} == faceQ4{{1, 1, 2, 3}}));
    EXPECT_TRUE((faceQ4{{1, 1, 2, 3}} == faceQ4{{1, 3, 2, 1}}));
    // The same cycle of nodes, but one reads 1, 1, 2, 3 and the other 1, 2, 3, 1.
    EXPECT_FALSE((faceQ4{{1, 1, 2, 3}} == faceQ4{{1, 2, 3, 1}}));
    EXPECT_TRUE((faceT3{{6, 5, 6}} == faceT3{{5, 6, 6}}));
    EXPECT_FALSE((faceT3{{6, 5, 6}} == faceT3{{5, 5, 6}}));
}

namespace {

/// A cycle read from the first of its smallest IDs on, in the direction that gives the lesser reading.
template <std::size_t N>
std::array<unsigned, N> least_reading(std::array<unsigned, N> ids) {
    std::rotate(ids.begin(), std::min_element(ids.begin(), ids.end()), ids.end());
    std::array<unsigned, N> backwards = ids;
    std::reverse(backwards.begin() + 1, backwards.end());
    return std::min(ids, backwards);
}

template <std::size_t N>
std::array<unsigned, N> digits(unsigned number, unsigned base) {
    std::array<unsigned, N> ids;
    for (unsigned& id : ids) {
        id = number % base;
        number /= base;
    }
    return ids;
}

} // namespace

TEST(FaceKeys, AreEqualWhenTheirReadingsAre) {
    for (unsigned k = 0; k < 27; ++k)
        for (unsigned l = 0; l < 27; ++l) {
            const auto one = digits<3>(k, 3), other = digits<3>(l, 3);
            EXPECT_EQ((faceT3{one} == faceT3{other}), least_reading(one) == least_reading(other)) << k << ' ' << l;
        }
    for (unsigned k = 0; k < 256; ++k)
        for (unsigned l = 0; l < 256; ++l) {
            const auto one = digits<4>(k, 4), other = digits<4>(l, 4);
            EXPECT_EQ((faceQ4{one} == faceQ4{other}), least_reading(one) == least_reading(other)) << k << ' ' << l;
        }
}

// Every pair of faces of nodes 0 to 3, repeated ones among them, and of triangles.
TEST(OrderedKeys, AreTheSameForEqualFacesOnly) {
    const auto face = [](unsigned k) {
        const unsigned last = k / 64;
        return face_mix{{k % 4, k / 4 % 4, k / 16 % 4, last == 4 ? no_node : last}};
    };
    for (unsigned i = 0; i < 5 * 64; ++i)
        for (unsigned j = 0; j < 5 * 64; ++j)
            ASSERT_EQ(face(i).ordered() == face(j).ordered(), face(i) == face(j)) << i << " and " << j;
}

TEST(OrderedKeys, AreTheSameForEqualEdgesOnly) {
    const unsigned ids[] = {0, 1, 5, 9, 0x7FFFFFFFu, 0x80000000u, no_node - 2, no_node - 1};
    for (const unsigned a : ids)
        for (const unsigned b : ids)
            for (const unsigned c : ids)
                for (const unsigned d : ids)
                    ASSERT_EQ((edge2{{a, b}}.ordered() == edge2{{c, d}}.ordered()), (edge2{{a, b}} == edge2{{c, d}}));
}
