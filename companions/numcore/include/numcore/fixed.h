#pragma once

namespace quorl {

/// N values held by value, an aggregate: `vector_fixed<double, 3> v{x, y, z}`.
template <class T, unsigned N>
struct vector_fixed {
    T values[N];

    constexpr T& operator[](unsigned k) noexcept { return values[k]; }
    constexpr const T& operator[](unsigned k) const noexcept { return values[k]; }
};

/// A symmetric N x N matrix held by value: the upper triangle packed by columns, an aggregate.
/// For N = 3 the order is m11 m12 m22 m13 m23 m33.
template <class T, unsigned N>
struct symmetric_fixed {
    T values[N * (N + 1) / 2];

    constexpr T& operator[](unsigned k) noexcept { return values[k]; }
    constexpr const T& operator[](unsigned k) const noexcept { return values[k]; }
    /// Entry in row i and column j, both from 0; (i, j) and (j, i) are one entry.
    constexpr T& operator()(unsigned i, unsigned j) noexcept { return values[place(i, j)]; }
    constexpr const T& operator()(unsigned i, unsigned j) const noexcept { return values[place(i, j)]; }

private:
    static constexpr unsigned place(unsigned i, unsigned j) noexcept {
        return i < j ? j * (j + 1) / 2 + i : i * (i + 1) / 2 + j;
    }
};

} // namespace quorl
