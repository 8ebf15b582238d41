#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <meldra3d/meldra3d.h>

// Meshes of any size for the benchmarks, in the order of the grid or shuffled.
namespace bench {

using quorl::dense2D;
using quorl::no_node;

enum class order { grid, shuffled, delaunay };

inline std::string name(order o) {
    return o == order::grid ? "grid" : o == order::shuffled ? "shuffled" : "delaunay";
}

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned> connect;
};

/// Renumbers the nodes and reorders the elements at random, always in the same way.
inline void shuffle(mesh& m) {
    std::mt19937 random(12345);
    std::vector<unsigned> number(m.pos.cols());
    std::iota(number.begin(), number.end(), 0u);
    std::shuffle(number.begin(), number.end(), random);
    dense2D<double> pos(3, m.pos.cols());
    for (std::size_t j = 0; j < m.pos.cols(); ++j)
        std::copy_n(m.pos.col(j), 3, pos.col(number[j]));
    std::vector<std::size_t> place(m.connect.cols());
    std::iota(place.begin(), place.end(), std::size_t(0));
    std::shuffle(place.begin(), place.end(), random);
    dense2D<unsigned> connect(m.connect.rows(), m.connect.cols());
    for (std::size_t j = 0; j < m.connect.cols(); ++j)
        for (std::size_t i = 0; i < m.connect.rows(); ++i)
            connect(i, place[j]) = m.connect(i, j) == no_node ? no_node : number[m.connect(i, j)];
    m.pos = std::move(pos);
    m.connect = std::move(connect);
}

/// The eight corners of cell (i, j, k) of a grid of n x n x n cells, in the order of a hexahedron.
inline std::array<unsigned, 8> cell(unsigned n, unsigned i, unsigned j, unsigned k) {
    const auto node = [n](unsigned x, unsigned y, unsigned z) { return x + (n + 1) * (y + (n + 1) * z); };
    return {node(i, j, k),     node(i + 1, j, k),     node(i + 1, j + 1, k),     node(i, j + 1, k),
            node(i, j, k + 1), node(i + 1, j, k + 1), node(i + 1, j + 1, k + 1), node(i, j + 1, k + 1)};
}

/// A grid of n x n x n cells of slightly moved nodes, each cell cut into `pieces` of `Rows` corners.
template <std::size_t Rows, std::size_t Pieces>
mesh grid(unsigned n, const std::array<std::array<unsigned, Rows>, Pieces>& pieces, order o) {
    mesh m;
    const std::size_t side = n + 1;
    m.pos.resize(3, side * side * side);
    for (std::size_t v = 0; v < m.pos.cols(); ++v) {
        const std::size_t at[3] = {v % side, v / side % side, v / side / side};
        for (std::size_t i = 0; i < 3; ++i)
            m.pos(i, v) = double(at[i]) + 0.1 * std::sin(double(3 * v + i));
    }
    m.connect.resize(Rows, std::size_t(n) * n * n * Pieces);
    std::size_t e = 0;
    for (unsigned k = 0; k < n; ++k)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const auto corner = cell(n, i, j, k);
                for (const auto& piece : pieces) {
                    for (std::size_t c = 0; c < Rows; ++c)
                        m.connect(c, e) = corner[piece[c]];
                    ++e;
                }
            }
    if (o == order::shuffled)
        shuffle(m);
    return m;
}

/// Around the diagonal of a cell (Kuhn's triangulation).
constexpr std::array<std::array<unsigned, 4>, 6> tetrahedra_of_cell{
    {{0, 2, 1, 6}, {0, 3, 2, 6}, {0, 7, 3, 6}, {0, 4, 7, 6}, {0, 5, 4, 6}, {0, 1, 5, 6}}};

/// Six tetrahedra a cell, all direct: 6 n^3 elements.
inline mesh tetrahedra(unsigned n, order o) {
    return grid(n, tetrahedra_of_cell, o);
}

inline mesh hexahedra(unsigned n, order o) {
    return grid<8, 1>(n, {{{0, 1, 2, 3, 4, 5, 6, 7}}}, o);
}

inline mesh wedges(unsigned n, order o) {
    return grid<6, 2>(n, {{{0, 1, 2, 4, 5, 6}, {0, 2, 3, 4, 6, 7}}}, o);
}

/// Three pyramids around a corner of each cell: 3 n^3 elements.
inline mesh pyramids(unsigned n, order o) {
    return grid<5, 3>(n, {{{0, 1, 2, 3, 6}, {0, 3, 7, 4, 6}, {0, 4, 5, 1, 6}}}, o);
}

/// A square of n x n quadrangles in the plane z = 0; with `mixed` every second one is cut into two triangles.
inline mesh square(unsigned n, bool mixed, order o) {
    mesh m;
    const std::size_t side = n + 1;
    m.pos.resize(3, side * side, 0.0);
    for (std::size_t v = 0; v < m.pos.cols(); ++v) {
        m.pos(0, v) = double(v % side);
        m.pos(1, v) = double(v / side);
    }
    m.connect.resize(4, 0);
    m.connect.reserve(4, 2 * std::size_t(n) * n, 1);
    for (unsigned j = 0; j < n; ++j)
        for (unsigned i = 0; i < n; ++i) {
            const unsigned a = i + (n + 1) * j, b = a + 1, c = b + n + 1, d = a + n + 1;
            const unsigned whole[] = {a, b, c, d}, lower[] = {a, b, c, no_node}, upper[] = {a, c, d, no_node};
            if (mixed && (i + j) % 2 == 0) {
                m.connect.append(lower);
                m.connect.append(upper);
            } else {
                m.connect.append(whole);
            }
        }
    if (o == order::shuffled)
        shuffle(m);
    return m;
}

/// The same square in 2 n^2 triangles.
inline mesh triangles(unsigned n) {
    const mesh quadrangles = square(n, false, order::grid);
    mesh m;
    m.pos = quadrangles.pos;
    m.connect.resize(3, 2 * quadrangles.connect.cols());
    for (std::size_t j = 0; j < quadrangles.connect.cols(); ++j) {
        const unsigned* const q = quadrangles.connect.col(j);
        const unsigned lower[] = {q[0], q[1], q[2]}, upper[] = {q[0], q[2], q[3]};
        std::copy_n(lower, 3, m.connect.col(2 * j));
        std::copy_n(upper, 3, m.connect.col(2 * j + 1));
    }
    return m;
}

} // namespace bench
