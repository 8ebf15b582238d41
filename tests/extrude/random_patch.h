#pragma once

#include <algorithm>
#include <map>
#include <vector>

#include <rapidcheck.h>

#include "support/meshes.h"

// Random surfaces for the laws of the sweeps.
namespace test {

/// A grid of nx x ny unit cells in the plane z = 0, some cut into two triangles, nodes numbered at random.
struct patch {
    dense2D<double> pos;
    dense2D<unsigned> faces;
    double area;
};

inline patch random_patch() {
    const auto nx = *rc::gen::inRange(1u, 7u);
    const auto ny = *rc::gen::inRange(1u, 7u);
    const unsigned nodes = (nx + 1) * (ny + 1);
    std::vector<unsigned> number(nodes);
    for (unsigned k = 0; k < nodes; ++k)
        number[k] = k;
    for (unsigned k = nodes; k > 1; --k)
        std::swap(number[k - 1], number[*rc::gen::inRange(0u, k)]);
    patch p{dense2D<double>(3, nodes, 0.0), dense2D<unsigned>(4, 0), double(nx) * ny};
    const auto node = [&](unsigned i, unsigned j) { return number[i + j * (nx + 1)]; };
    for (unsigned j = 0; j <= ny; ++j)
        for (unsigned i = 0; i <= nx; ++i) {
            p.pos(0, node(i, j)) = i;
            p.pos(1, node(i, j)) = j;
        }
    for (unsigned j = 0; j < ny; ++j)
        for (unsigned i = 0; i < nx; ++i) {
            const unsigned a = node(i, j), b = node(i + 1, j), c = node(i + 1, j + 1), d = node(i, j + 1);
            const unsigned quadrangle[] = {a, b, c, d}, lower[] = {a, b, c, no_node}, upper[] = {a, c, d, no_node};
            if (*rc::gen::arbitrary<bool>()) {
                p.faces.append(quadrangle);
            } else {
                p.faces.append(lower);
                p.faces.append(upper);
            }
        }
    return p;
}

/// A number above 0 and below `upper`.
inline double positive(double upper) {
    return upper * (*rc::gen::inRange(1, 1000)) / 1000.0;
}

/// The directed border edges of a surface.
inline dense2D<unsigned> border(const dense2D<unsigned>& faces) {
    std::map<std::pair<unsigned, unsigned>, int> walked;
    for (std::size_t j = 0; j < faces.cols(); ++j) {
        const std::size_t n = faces(3, j) == no_node ? 3 : 4;
        for (std::size_t k = 0; k < n; ++k)
            ++walked[{faces(k, j), faces((k + 1) % n, j)}];
    }
    dense2D<unsigned> edges(2, 0);
    for (const auto& [edge, count] : walked)
        if (!walked.contains({edge.second, edge.first})) {
            const unsigned ends[] = {edge.first, edge.second};
            edges.append(ends);
        }
    return edges;
}

} // namespace test
