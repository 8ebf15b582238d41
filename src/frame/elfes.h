#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include <meldra/element_type.h>

// The keys of the hashed tables: edges and faces by the IDs of their nodes. The IDs are kept in the order in which they
// are given, since that order tells the direction of what is stored with them; equality and hash do not depend on it.
namespace quorl::elfes {

/// One node's share of a hash: the step of the 32-bit FNV-1a hash (Fowler, Noll and Vo), widened. A key's hash is the
/// sum of the shares of its nodes, modulo 2^64, and so does not depend on their order.
constexpr std::uint64_t node_hash(std::uint32_t id) {
    constexpr std::uint32_t offset_basis = 2166136261u;
    constexpr std::uint64_t prime = 16777619u;
    return std::uint64_t(id ^ offset_basis) * prime;
}

/// The place of the smallest of some IDs, the first one where it is there more than once.
template <std::size_t N>
constexpr std::size_t smallest_place(const unsigned* ids) {
    std::size_t place = 0;
    for (std::size_t k = 1; k < N; ++k)
        if (ids[k] < ids[place])
            place = k;
    return place;
}

/// 0 when two pairs of IDs, each in one word, are the same in one order or the other. One comparison in place of two,
/// of which the first would be foreseen no better than the toss of a coin.
constexpr std::uint64_t pair_difference(std::uint64_t one, std::uint64_t other) {
    return std::min(one ^ other, one ^ std::rotl(other, 32));
}

/// True when two cycles of three nodes, each read from its smallest ID on, agree in the same or in opposite directions:
/// when the nodes are the same, in any order.
constexpr bool same_triangle(const unsigned* one, const unsigned* other) {
    const auto least = [](const unsigned* id) { return std::min(std::min(id[0], id[1]), id[2]); };
    const auto most = [](const unsigned* id) { return std::max(std::max(id[0], id[1]), id[2]); };
    return ((least(one) ^ least(other)) | (most(one) ^ most(other)) |
            (one[0] ^ one[1] ^ one[2] ^ other[0] ^ other[1] ^ other[2])) == 0;
}

/// Likewise for four nodes. Cycles of different nodes are the same when the nodes across from each other are; one that
/// has its smallest ID more than once is read from the first of them on.
constexpr bool same_quadrangle(const unsigned* one, const unsigned* other) {
    const auto across = [](const unsigned* id) { return std::uint64_t(id[0]) << 32 | id[2]; };
    const std::uint64_t a = across(one), b = across(one + 1), c = across(other), d = across(other + 1);
    if (std::min(pair_difference(a, c) | pair_difference(b, d), pair_difference(a, d) | pair_difference(b, c)) != 0)
        return false;
    const unsigned least = std::min(std::min(one[0], one[1]), std::min(one[2], one[3]));
    if (int(one[0] == least) + int(one[1] == least) + int(one[2] == least) + int(one[3] == least) == 1)
        return true;
    const std::size_t i = smallest_place<4>(one);
    const std::size_t j = smallest_place<4>(other);
    bool forwards = true;
    bool backwards = true;
    for (std::size_t k = 1; k < 4; ++k) {
        forwards &= one[(i + k) % 4] == other[(j + k) % 4];
        backwards &= one[(i + k) % 4] == other[(j + 4 - k) % 4];
    }
    return forwards || backwards;
}

/// Two IDs in one word, the smaller one in its upper half. Not std::min and std::max, of which compilers make a branch
/// that would be foreseen no better than the toss of a coin.
constexpr std::uint64_t ordered_pair(unsigned a, unsigned b) {
    const unsigned differ = (a ^ b) & (0u - unsigned(a > b));
    return std::uint64_t(a ^ differ) << 32 | (b ^ differ);
}

/// A key that is compared as it is. (The comparison of an array calls memcmp.)
template <std::size_t N>
struct ordered_key {
    std::array<std::uint64_t, N> word;

    friend constexpr bool operator==(const ordered_key& x, const ordered_key& y) {
        std::uint64_t difference = 0;
        for (std::size_t k = 0; k < N; ++k)
            difference |= x.word[k] ^ y.word[k];
        return difference == 0;
    }
};

/// An edge; (a, b) equals (b, a).
struct edge2 {
    std::array<unsigned, 2> id;

    /// The same words for equal edges only.
    constexpr ordered_key<1> ordered() const { return {{ordered_pair(id[0], id[1])}}; }
    constexpr std::uint64_t hash() const { return node_hash(id[0]) + node_hash(id[1]); }
    friend constexpr bool operator==(const edge2& x, const edge2& y) {
        return pair_difference(std::bit_cast<std::uint64_t>(x.id), std::bit_cast<std::uint64_t>(y.id)) == 0;
    }
};

/// A triangle; equal to every triangle of the same nodes.
struct faceT3 {
    std::array<unsigned, 3> id;

    constexpr std::uint64_t hash() const { return node_hash(id[0]) + node_hash(id[1]) + node_hash(id[2]); }
    friend constexpr bool operator==(const faceT3& x, const faceT3& y) {
        return same_triangle(x.id.data(), y.id.data());
    }
};

/// A quadrangle; equal to the same cycle of nodes from any of them on, in either direction.
struct faceQ4 {
    std::array<unsigned, 4> id;

    constexpr std::uint64_t hash() const {
        return node_hash(id[0]) + node_hash(id[1]) + node_hash(id[2]) + node_hash(id[3]);
    }
    friend constexpr bool operator==(const faceQ4& x, const faceQ4& y) {
        return same_quadrangle(x.id.data(), y.id.data());
    }
};

/// A triangle, whose last ID is `no_node`, or a quadrangle. A triangle never equals a quadrangle.
struct face_mix {
    std::array<unsigned, 4> id;

    constexpr bool is_triangle() const { return id[3] == no_node; }
    /// The same words for equal faces only. Of a quadrangle: the pair of nodes across from each other that holds the
    /// smallest, then the other pair. Of a triangle: the smallest and the largest node, then, in the order that no pair
    /// has, `no_node` and the third.
    constexpr ordered_key<2> ordered() const {
        if (is_triangle()) {
            const std::uint64_t two = ordered_pair(id[0], id[1]);
            const unsigned least = std::min(unsigned(two >> 32), id[2]);
            const unsigned most = std::max(unsigned(two), id[2]);
            const unsigned third = id[0] ^ id[1] ^ id[2] ^ least ^ most;
            return {{std::uint64_t(least) << 32 | most, std::uint64_t(no_node) << 32 | third}};
        }
        const std::uint64_t even = ordered_pair(id[0], id[2]);
        const std::uint64_t odd = ordered_pair(id[1], id[3]);
        const unsigned least = unsigned(even >> 32); // where both pairs hold it, the first place counts
        const bool odd_first =
            (int(odd >> 32 < least) | (int(odd >> 32 == least) & int(id[0] != least) & int(id[1] == least))) != 0;
        const std::uint64_t differ = (even ^ odd) & (0 - std::uint64_t(odd_first));
        return {{even ^ differ, odd ^ differ}};
    }
    constexpr std::uint64_t hash() const {
        const std::uint64_t three = node_hash(id[0]) + node_hash(id[1]) + node_hash(id[2]);
        return is_triangle() ? three : three + node_hash(id[3]);
    }
    friend constexpr bool operator==(const face_mix& x, const face_mix& y) {
        if (x.is_triangle() != y.is_triangle())
            return false;
        return x.is_triangle() ? same_triangle(x.id.data(), y.id.data()) : same_quadrangle(x.id.data(), y.id.data());
    }
};

} // namespace quorl::elfes
