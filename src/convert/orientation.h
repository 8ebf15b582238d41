#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// How the nodes inside a face, listed along one cycle of its vertices, are read along another cycle of the same
// vertices.
namespace quorl::meldra3d::detail {

/// Where node (i, j) of a grid, as seen, stands in the list: first + i * across + j * along, modulo 2^64.
struct grid_walk {
    std::uint64_t first;
    std::uint64_t across;
    std::uint64_t along;

    std::uint64_t place(unsigned i, unsigned j) const { return first + i * across + j * along; }
};

/// True when `seen` is the cycle `listed` read from its place `start` on in steps of `step`, 1 or N - 1.
template <std::size_t N>
constexpr bool reads_from(const std::array<unsigned, 4>& listed, const std::array<unsigned, 4>& seen, std::size_t start,
                          std::size_t step) {
    for (std::size_t k = 0; k < N; ++k)
        if (seen[k] != listed[(start + k * step) % N])
            return false;
    return true;
}

/// The grid of side x side nodes of a quadrangle that is listed along one cycle, (0, 0) nearest its first vertex, and
/// seen along another.
constexpr grid_walk walk_quadrangle(const std::array<unsigned, 4>& listed, const std::array<unsigned, 4>& seen,
                                    unsigned side) {
    const std::uint64_t last = side - 1;
    const std::array<std::uint64_t, 4> corner{0, last, last + last * side, last * side};
    // A step from corner to corner, along each side of the cycle.
    const std::array<std::uint64_t, 4> step{1, side, std::uint64_t(0) - 1, std::uint64_t(0) - side};
    for (std::size_t start = 0; start < 4; ++start) {
        if (reads_from<4>(listed, seen, start, 1))
            return {corner[start], step[start], step[(start + 1) % 4]};
        if (reads_from<4>(listed, seen, start, 3))
            return {corner[start], step[(start + 1) % 4], step[start]};
    }
    return {0, 1, side};
}

/// The places of the three nodes of a triangle, those nearest its vertices, as seen.
constexpr std::array<unsigned, 3> walk_triangle(const std::array<unsigned, 4>& listed,
                                                const std::array<unsigned, 4>& seen) {
    for (unsigned start = 0; start < 3; ++start)
        for (const unsigned step : {1u, 2u})
            if (reads_from<3>(listed, seen, start, step))
                return {start, (start + step) % 3, (start + 2 * step) % 3};
    return {0, 1, 2};
}

} // namespace quorl::meldra3d::detail
