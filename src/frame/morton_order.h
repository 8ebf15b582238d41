#pragma once

#include <cstddef>
#include <cstdint>

// Places in space in Morton order (G. M. Morton, 1966), in which neighbours in the list are mostly neighbours in space.
namespace quorl::meldra3d::detail {

/// Bits that a key holds of the place along each axis.
inline constexpr unsigned morton_bits = 10;

/// A place, the bits of its axes interleaved, above a number that is distinct.
using morton_key = std::uint64_t;

/// Each of ten bits, followed by two zeros.
constexpr std::uint32_t spread_bits(std::uint32_t bits) {
    bits = (bits | bits << 16) & 0x030000FF;
    bits = (bits | bits << 8) & 0x0300F00F;
    bits = (bits | bits << 4) & 0x030C30C3;
    return (bits | bits << 2) & 0x09249249;
}

/// The key of a place whose coordinates are below 2^10.
constexpr morton_key morton_key_of(std::uint32_t x, std::uint32_t y, std::uint32_t z, std::uint32_t number) {
    return morton_key(spread_bits(x) | spread_bits(y) << 1 | spread_bits(z) << 2) << 32 | number;
}

constexpr std::uint32_t number_of(morton_key key) {
    return static_cast<std::uint32_t>(key);
}

/// Sorts keys by their places. Those of one place stay as they are among many keys, and are sorted by their numbers
/// among few. `work` has room for as many. A radix sort; linear.
void sort_by_place(morton_key* keys, morton_key* work, std::size_t n);

} // namespace quorl::meldra3d::detail
