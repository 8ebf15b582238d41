#pragma once

#include <numbers>

#include "frame/half_turn.h"
#include "frame/lanes.h"

// The shares of corners of faces in the normals of their nodes. Four corners are computed side by side.
namespace quorl::meldra2d::detail {

constexpr unsigned at_once = 4;

using meldra3d::detail::four_doubles;
using four_words = unsigned long long __attribute__((vector_size(at_once * sizeof(double))));

[[gnu::always_inline]] inline four_doubles root(const four_doubles& a) {
    return four_doubles{__builtin_sqrt(a[0]), __builtin_sqrt(a[1]), __builtin_sqrt(a[2]), __builtin_sqrt(a[3])};
}

[[gnu::always_inline]] inline four_doubles absolute(const four_doubles& a) {
    return a < 0 ? -a : a;
}

struct four_vectors {
    four_doubles x, y, z;
};

[[gnu::always_inline]] inline four_vectors operator*(const four_doubles& f, const four_vectors& a) {
    return {f * a.x, f * a.y, f * a.z};
}

[[gnu::always_inline]] inline four_vectors operator-(const four_vectors& a, const four_vectors& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

[[gnu::always_inline]] inline four_doubles dot(const four_vectors& a, const four_vectors& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// Changes its sign exactly when the vectors change places.
[[gnu::always_inline]] inline four_vectors cross(const four_vectors& a, const four_vectors& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <class Mask>
[[gnu::always_inline]] inline four_vectors choose(const Mask& first, const four_vectors& a, const four_vectors& b) {
    return {first ? a.x : b.x, first ? a.y : b.y, first ? a.z : b.z};
}

/// A power of two that brings the largest component between 1 and 4, or as near as 2^1023 can bring it.
[[gnu::always_inline]] inline four_doubles scale_of(const four_vectors& a) {
    const four_doubles x = absolute(a.x), y = absolute(a.y), z = absolute(a.z);
    const four_doubles larger = x > y ? x : y;
    const four_doubles largest = larger > z ? larger : z;
    constexpr unsigned long long exponent = 0x7FF0000000000000;
    constexpr unsigned long long exponents_of_inverses = 0x7FE0000000000000; // 2^e and 2^-e have this sum of exponents
    const four_doubles scale = four_doubles(exponents_of_inverses - (four_words(largest) & exponent));
    const four_doubles least = four_doubles{} + 0x1p-1022; // the inverses of the largest numbers lie below
    return scale > least ? scale : least;
}

/// The same directions with components of the order of 1, free of rounding: products of such vectors neither overflow
/// nor vanish. What is not finite stays so.
[[gnu::always_inline]] inline four_vectors scaled(const four_vectors& a) {
    return scale_of(a) * a;
}

/// Two vectors (scaled) and their products.
struct spanned_plane {
    four_vectors normal;
    four_doubles normal_square, squares, cosine;

    [[gnu::always_inline]] spanned_plane(const four_vectors& a, const four_vectors& b)
        : normal(cross(a, b)), normal_square(dot(normal, normal)), squares(dot(a, a) * dot(b, b)), cosine(dot(a, b)) {}

    /// All bits set where the sine of the angle is above a bound; none where something is NaN.
    [[gnu::always_inline]] auto sine_above(double bound) const { return normal_square > bound * bound * squares; }
    /// Below 2^-50 the cross product is all rounding.
    [[gnu::always_inline]] auto exists() const { return sine_above(0x1p-49); }
};

/// The shares of corners of triangles. `in` leads to the corner and `out` away from it, both scaled.
[[gnu::always_inline]] inline four_vectors triangle_corner(const four_vectors& in, const four_vectors& out) {
    const spanned_plane corner(in, out);
    const four_doubles length = root(corner.normal_square);
    const four_doubles angle = meldra3d::detail::half_turn_angle<four_doubles>(length, -corner.cosine);
    return choose(corner.exists(), (angle / length) * corner.normal, four_vectors{});
}

/// The shares of corners of quadrangles. `whole` is spanned by the diagonals from node 0 to 2 and from 1 to 3.
[[gnu::always_inline]] inline four_vectors quadrangle_corner(const four_vectors& in, const four_vectors& out,
                                                             const spanned_plane& whole) {
    const spanned_plane corner(in, out);
    const four_doubles sine = root(corner.normal_square);
    const four_doubles angle = meldra3d::detail::half_turn_angle<four_doubles>(sine, -corner.cosine);
    // Near 180 degrees the two edges do not tell the side; 2^-20 leaves room for the rounding of coordinates.
    const auto straight = (corner.cosine > 0) & ~corner.sine_above(0x1p-20);
    const auto points_in = dot(corner.normal, whole.normal) < 0;
    const four_doubles inner_angle = points_in ? angle - 2 * std::numbers::pi : angle;
    const four_vectors by_edges = choose(corner.exists(), (inner_angle / sine) * corner.normal, four_vectors{});
    const four_vectors by_face =
        choose(whole.exists(), (angle / root(whole.normal_square)) * whole.normal, four_vectors{});
    return choose(straight, by_face, by_edges);
}

} // namespace quorl::meldra2d::detail
