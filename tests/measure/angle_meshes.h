#pragma once

#include <cmath>
#include <random>

#include "support/meshes.h"

// Elements for the tests of angles.
namespace test {

inline const double sqrt2 = std::sqrt(2.0);
inline const double sqrt3 = std::sqrt(3.0);

/// All four are direct and have edges of length 1 (the tetrahedron of length sqrt(2)).
inline dense2D<double> regular_tetrahedron() {
    return points({{0, 0, 0}, {1, 0, 1}, {0, 1, 1}, {1, 1, 0}});
}

inline dense2D<double> half_octahedron() {
    return points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, sqrt2 / 2}});
}

inline dense2D<double> equilateral_prism() {
    return points({{0, 0, 0}, {1, 0, 0}, {0.5, sqrt3 / 2, 0}, {0, 0, 1}, {1, 0, 1}, {0.5, sqrt3 / 2, 1}});
}

inline dense2D<double> unit_cube() {
    return points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
}

/// One element that uses all nodes in order; `rows` of 8 leaves the tail unused.
inline dense2D<unsigned> one_element(std::size_t nodes, std::size_t rows) {
    dense2D<unsigned> connect(rows, 1, no_node);
    for (unsigned k = 0; k < nodes; ++k)
        connect(k, 0) = k;
    return connect;
}

struct least_and_most {
    double least;
    double most;
};

/// The smallest and largest angle of the one element of a mesh, by solid_angles or dihedral_angles.
template <class Call>
least_and_most angles_of(Call call, const dense2D<double>& pos, const dense2D<unsigned>& connect, bool normalized) {
    dense1D<double> least(1, -7.0), most(1, -7.0);
    EXPECT_EQ(call(pos, connect, normalized, least, most), 0);
    return {least[0], most[0]};
}

/// A random invertible linear map of the points of an element, which keeps its faces planar.
inline dense2D<double> mapped(const dense2D<double>& pos, std::mt19937& random) {
    std::uniform_real_distribution<double> entry(-0.4, 0.4);
    double map[3][3];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            map[i][j] = (i == j) + entry(random);
    dense2D<double> out(3, pos.cols());
    for (std::size_t k = 0; k < pos.cols(); ++k)
        for (unsigned i = 0; i < 3; ++i)
            out(i, k) = map[i][0] * pos(0, k) + map[i][1] * pos(1, k) + map[i][2] * pos(2, k);
    return out;
}

using long_vector = quorl::vector_fixed<long double, 3>;

inline long_vector between(const dense2D<double>& pos, unsigned from, unsigned to) {
    return {(long double)pos(0, to) - pos(0, from), (long double)pos(1, to) - pos(1, from),
            (long double)pos(2, to) - pos(2, from)};
}

inline long double dot(const long_vector& a, const long_vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// The angle between two planes that meet in the edge from a to b and go through c and d: the angle between the parts
/// of c - a and d - a across the edge.
inline long double angle_at_edge(const dense2D<double>& pos, unsigned a, unsigned b, unsigned c, unsigned d) {
    const long_vector edge = between(pos, a, b);
    const auto across = [&](unsigned k) {
        const long_vector to = between(pos, a, k);
        const long double t = dot(to, edge) / dot(edge, edge);
        return long_vector{to[0] - t * edge[0], to[1] - t * edge[1], to[2] - t * edge[2]};
    };
    const long_vector u = across(c), w = across(d);
    return std::acos(dot(u, w) / std::sqrt(dot(u, u) * dot(w, w)));
}

} // namespace test
