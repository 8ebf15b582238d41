#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Vectors never cross a call: everything that takes one is inlined. (Known to both compilers by this name.)
#pragma GCC diagnostic ignored "-Wpsabi"

// Four doubles, or words of 64 bits, at once, in the vector extension that both compilers have.
namespace quorl::meldra3d::detail {

using four_doubles = double __attribute__((vector_size(4 * sizeof(double))));
using four_words = std::uint64_t __attribute__((vector_size(4 * sizeof(double))));
using four_masks = long long __attribute__((vector_size(4 * sizeof(double)))); // all bits of a lane, or none

[[gnu::always_inline]] inline four_doubles all(double x) {
    return four_doubles{x, x, x, x};
}

/// Four doubles, or words, from anywhere in memory.
template <class Four, class One>
[[gnu::always_inline]] inline Four load_four(const One* from) {
    struct __attribute__((packed, may_alias)) unaligned {
        Four x;
    };
    return reinterpret_cast<const unaligned*>(from)->x;
}

[[gnu::always_inline]] inline four_doubles load(const double* from) {
    return load_four<four_doubles>(from);
}

[[gnu::always_inline]] inline four_words load(const std::uint64_t* from) {
    return load_four<four_words>(from);
}

/// How many doubles one holds, and each of them.
template <class Real>
inline constexpr std::size_t lane_count = sizeof(Real) / sizeof(double);

[[gnu::always_inline]] inline double lane(double x, std::size_t) {
    return x;
}

[[gnu::always_inline]] inline double lane(const four_doubles& x, std::size_t k) {
    return x[k];
}

[[gnu::always_inline]] inline double choose(bool first, double a, double b) {
    return first ? a : b;
}

template <class Masks> // compilers differ on the type of a comparison
[[gnu::always_inline]] inline four_doubles choose(const Masks& first, const four_doubles& a, const four_doubles& b) {
    return first ? a : b;
}

[[gnu::always_inline]] inline double square_root(double x) {
    return std::sqrt(x);
}

[[gnu::always_inline]] inline four_doubles square_root(const four_doubles& x) {
#if defined(__SSE2__)
    // The halves are put together in a register: read from memory as one they would wait for both stores to end.
    return __builtin_shufflevector(_mm_sqrt_pd(__builtin_shufflevector(x, x, 0, 1)),
                                   _mm_sqrt_pd(__builtin_shufflevector(x, x, 2, 3)), 0, 1, 2, 3);
#else
    return four_doubles{std::sqrt(x[0]), std::sqrt(x[1]), std::sqrt(x[2]), std::sqrt(x[3])};
#endif
}

/// The absolute value, but for the sign of a zero.
template <class Real>
[[gnu::always_inline]] inline Real magnitude(const Real& x) {
    return choose(x < Real{}, -x, x);
}

/// A magnitude with the sign of x, which zeros have, too.
[[gnu::always_inline]] inline double with_sign_of(double magnitude, double x) {
    return std::copysign(magnitude, x);
}

[[gnu::always_inline]] inline four_doubles with_sign_of(const four_doubles& magnitude, const four_doubles& x) {
    const four_masks sign = four_masks{} + std::numeric_limits<long long>::min(); // the highest bit
    return (four_doubles)(((four_masks)magnitude & ~sign) | ((four_masks)x & sign));
}

/// Bit k for lane k.
[[gnu::always_inline]] inline unsigned bits(const four_masks& lanes) {
#if defined(__SSE2__)
    __m128 halves[2];
    std::memcpy(halves, &lanes, sizeof halves);
    return unsigned(_mm_movemask_ps(__builtin_shufflevector(halves[0], halves[1], 0, 2, 4, 6)));
#else
    return unsigned(lanes[0] & 1) | unsigned(lanes[1] & 2) | unsigned(lanes[2] & 4) | unsigned(lanes[3] & 8);
#endif
}

/// For lanes that are 0 or 1.
[[gnu::always_inline]] inline bool are_all_one(double x) {
    return x == 1;
}

[[gnu::always_inline]] inline bool are_all_one(const four_doubles& x) {
    return bits(x == all(1)) == 15;
}

} // namespace quorl::meldra3d::detail
