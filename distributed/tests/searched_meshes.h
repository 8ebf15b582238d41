#pragma once

#include <cmath>
#include <limits>

#include "locate/tetra_kernels.h"
#include "locate/tetra_meshes.h"
#include "parts.h"

// Meshes of tetrahedra, ways to cut them, and points to ask for; and what is expected, found without a tree or a walk.
namespace test {

/// A mesh whose nodes inside are moved, in an order that is none.
inline whole_mesh shaken_cube(unsigned n, double shake = 0.2) {
    const searchable cube = cube_of_tetrahedra(n, shake);
    return shuffled({cube.pos, cube.connect, ET_TH4});
}

/// What is left of a mesh of the unit cube when the elements with their centres in a box are taken away.
inline whole_mesh without(const whole_mesh& mesh, const double (&low)[3], const double (&high)[3]) {
    whole_mesh rest{mesh.pos, dense2D<unsigned>(mesh.connectivity.rows(), 0), mesh.type};
    for (std::size_t j = 0; j < mesh.connectivity.cols(); ++j) {
        bool goes = true;
        for (unsigned i = 0; i < 3; ++i) {
            double centre = 0;
            for (unsigned k = 0; k < 4; ++k)
                centre += mesh.pos(i, mesh.connectivity(k, j)) / 4;
            goes = goes && low[i] < centre && centre < high[i];
        }
        if (!goes)
            rest.connectivity.append(mesh.connectivity.col(j));
    }
    EXPECT_LT(rest.connectivity.cols(), mesh.connectivity.cols());
    return rest;
}

/// The cube without a quarter, and with a slot from above: nodes of what was cut away belong to no element.
inline whole_mesh l_shape() {
    return without(shaken_cube(6, 0), {-1, 0.5, 0.5}, {2, 2, 2});
}
inline whole_mesh u_shape() {
    return without(shaken_cube(6, 0), {1. / 3, -1, 1. / 6}, {2. / 3, 2, 2});
}

/// Ways to cut a mesh.
inline std::vector<dense1D<int, 8>> cuts_of(const whole_mesh& mesh) {
    const std::size_t n = mesh.connectivity.cols();
    dense1D<int, 8> by_place(n, 0), some_empty = scattered_owners(n, (world_size() + 1) / 2);
    for (std::size_t j = 0; j < n; ++j)
        by_place[j] = std::min(world_size() - 1, int(mesh.pos(0, mesh.connectivity(0, j)) * world_size()));
    for (int& owner : some_empty)
        owner = world_size() - 1 - owner;
    return {by_place, blocks_of_owners(n, world_size()), scattered_owners(n, world_size()), some_empty,
            dense1D<int, 8>(n, world_size() - 1)};
}

/// Points in and around the unit cube, on nodes, edges and faces of a mesh, far away, and not finite.
inline dense2D<double> asked_points(const whole_mesh& mesh, std::size_t random_points, unsigned seed) {
    dice random(seed);
    dense2D<double> points(3, 0);
    const auto add = [&](double x, double y, double z) {
        const double point[3] = {x, y, z};
        points.append(point);
    };
    for (std::size_t k = 0; k < random_points; ++k)
        add(1.3 * share(random) - 0.15, 1.3 * share(random) - 0.15, 1.3 * share(random) - 0.15);
    for (std::size_t k = 0; k < random_points / 8; ++k)
        for (unsigned corners = 1; corners <= 3; ++corners) { // a node, the middle of an edge, of a face
            const unsigned* const nodes = mesh.connectivity.col(random(mesh.connectivity.cols()));
            double x[3] = {0, 0, 0};
            for (unsigned c = 0; c < corners; ++c)
                for (unsigned i = 0; i < 3; ++i)
                    x[i] += mesh.pos(i, nodes[c]) / corners;
            add(x[0], x[1], x[2]);
        }
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double far : {10.0, 1e5, 1e17, 1e200, 1.7e308}) {
        add(far, 0.3, 0.4);
        add(-far, far, -far);
        add(0.5, 0.5, -far);
    }
    for (const double none : {infinity, -infinity, std::nan("")}) {
        add(none, 0.5, 0.5);
        add(0.5, none, 0.5);
        add(0.5, 0.5, none);
    }
    return points;
}

inline bool is_finite(const double* x) {
    return std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]);
}

/// The first element that holds a point, of all; `no_node` for none.
inline unsigned first_holding(const whole_mesh& mesh, const double* x, double tolerance) {
    namespace inner = quorl::meldra3d::detail;
    for (unsigned e = 0; e < mesh.connectivity.cols(); ++e) {
        const auto t = inner::tetrahedron_of(mesh.pos.data(), mesh.pos.ld(), mesh.connectivity.col(e));
        const auto sides = inner::sides_of(t, inner::point_at(x), tolerance);
        if (!sides.degenerate && sides.beyond == 0 && is_finite(x))
            return e;
    }
    return no_node;
}

/// The nearest of the nodes that elements name, of equally near ones the first; `no_node` for none.
inline unsigned nearest_node(const whole_mesh& mesh, const double* x) {
    std::set<unsigned> named;
    for (std::size_t j = 0; j < mesh.connectivity.cols(); ++j)
        named.insert(mesh.connectivity.col(j), mesh.connectivity.col(j) + mesh.connectivity.rows());
    unsigned nearest = no_node;
    // A power of two keeps the squares of the farthest points in range, and all digits.
    const double scale = std::max({std::fabs(x[0]), std::fabs(x[1]), std::fabs(x[2])}) > 1e100 ? 0x1p-600 : 1;
    double least = std::numeric_limits<double>::infinity();
    for (const unsigned node : named) {
        double square = 0;
        for (unsigned i = 0; i < 3; ++i)
            square += (x[i] * scale - mesh.pos(i, node) * scale) * (x[i] * scale - mesh.pos(i, node) * scale);
        if (square < least) {
            least = square;
            nearest = node;
        }
    }
    return nearest;
}

} // namespace test
