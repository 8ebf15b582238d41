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

/// True when two cycles of N nodes, each read from its smallest ID on, agree in the same or in opposite directions.
template <std::size_t N>
constexpr bool same_cycle(const unsigned* one, const unsigned* other) {
    const std::size_t i = smallest_place<N>(one);
    const std::size_t j = smallest_place<N>(other);
    if (one[i] != other[j])
        return false;
    bool forwards = true;
    bool backwards = true;
    for (std::size_t k = 1; k < N; ++k) {
        const unsigned id = one[(i + k) % N];
        forwards &= id == other[(j + k) % N];
        backwards &= id == other[(j + N - k) % N];
    }
    return forwards || backwards;
}

/// An edge; (a, b) equals (b, a).
struct edge2 {
    std::array<unsigned, 2> id;

    constexpr std::uint64_t hash() const { return node_hash(id[0]) + node_hash(id[1]); }
    friend constexpr bool operator==(const edge2& x, const edge2& y) {
        const auto one = std::bit_cast<std::uint64_t>(x.id);
        const auto other = std::bit_cast<std::uint64_t>(y.id);
        // One comparison in place of two, of which the first would be foreseen no better than the toss of a coin.
        return std::min(one ^ other, one ^ std::rotl(other, 32)) == 0;
    }
};

/// A triangle; equal to every triangle of the same nodes.
struct faceT3 {
    std::array<unsigned, 3> id;

    constexpr std::uint64_t hash() const { return node_hash(id[0]) + node_hash(id[1]) + node_hash(id[2]); }
    friend constexpr bool operator==(const faceT3& x, const faceT3& y) {
        return same_cycle<3>(x.id.data(), y.id.data());
    }
};

/// A quadrangle; equal to the same cycle of nodes from any of them on, in either direction.
struct faceQ4 {
    std::array<unsigned, 4> id;

    constexpr std::uint64_t hash() const {
        return node_hash(id[0]) + node_hash(id[1]) + node_hash(id[2]) + node_hash(id[3]);
    }
    friend constexpr bool operator==(const faceQ4& x, const faceQ4& y) {
        return same_cycle<4>(x.id.data(), y.id.data());
    }
};

/// A triangle, whose last ID is `no_node`, or a quadrangle. A triangle never equals a quadrangle.
struct face_mix {
    std::array<unsigned, 4> id;

    constexpr bool is_triangle() const { return id[3] == no_node; }
    constexpr std::uint64_t hash() const {
        const std::uint64_t three = node_hash(id[0]) + node_hash(id[1]) + node_hash(id[2]);
        return is_triangle() ? three : three + node_hash(id[3]);
    }
    friend constexpr bool operator==(const face_mix& x, const face_mix& y) {
        if (x.is_triangle() != y.is_triangle())
            return false;
        return x.is_triangle() ? same_cycle<3>(x.id.data(), y.id.data()) : same_cycle<4>(x.id.data(), y.id.data());
    }
};

} // namespace quorl::elfes
