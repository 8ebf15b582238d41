#pragma once

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Vectors never cross a call: everything that takes one is inlined. (Known to both compilers by this name.)
#pragma GCC diagnostic ignored "-Wpsabi"

// Four doubles at once, in the vector extension that both compilers have.
namespace quorl::meldra3d::detail {

using four_doubles = double __attribute__((vector_size(4 * sizeof(double))));
using four_masks = long long __attribute__((vector_size(4 * sizeof(double)))); // all bits of a lane, or none

[[gnu::always_inline]] inline four_doubles all(double x) {
    return four_doubles{x, x, x, x};
}

[[gnu::always_inline]] inline double choose(bool first, double a, double b) {
    return first ? a : b;
}

template <class Masks> // compilers differ on the type of a comparison
[[gnu::always_inline]] inline four_doubles choose(const Masks& first, const four_doubles& a, const four_doubles& b) {
    return first ? a : b;
}

/// Bit k for lane k.
[[gnu::always_inline]] inline unsigned bits(const four_masks& lanes) {
#if defined(__SSE2__)
    __m128d halves[2];
    std::memcpy(halves, &lanes, sizeof halves);
    return unsigned(_mm_movemask_pd(halves[0])) | unsigned(_mm_movemask_pd(halves[1])) << 2;
#else
    return unsigned(lanes[0] & 1) | unsigned(lanes[1] & 2) | unsigned(lanes[2] & 4) | unsigned(lanes[3] & 8);
#endif
}

} // namespace quorl::meldra3d::detail
