#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_translate;

namespace {

/// A grid of nx x ny unit cells in the plane z = 0, some cut into two triangles, nodes numbered at random.
struct patch {
    dense2D<double> pos;
    dense2D<unsigned> faces;
    double area;
};

patch random_patch() {
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

double positive(double upper) {
    return upper * (*rc::gen::inRange(1, 1000)) / 1000.0;
}

/// The directed border edges of a surface.
dense2D<unsigned> border(const dense2D<unsigned>& faces) {
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

} // namespace

TEST(ExtrudeTranslateProperties, TheSweptVolumeIsAreaTimesHeight) {
    rc::check([] {
        patch p = random_patch();
        const vector_fixed<double, 3> dir{positive(3), -positive(3), positive(10)};
        dense2D<unsigned> solids;
        RC_ASSERT(extrude_translate(p.pos, p.faces, dir, positive(5), positive(5), false, solids) == 0);
        double vol = 0;
        RC_ASSERT(meldra3d::volume(p.pos, solids, vol) == 0);
        RC_ASSERT(std::fabs(vol - p.area * dir[2]) <= 1e-12 * p.area * dir[2] * std::sqrt(double(solids.cols())));
    });
}

TEST(ExtrudeTranslateProperties, TheOldNodesStayAndEachLevelIsTheSurfaceMoved) {
    rc::check([] {
        patch p = random_patch();
        const auto before = entries(p.pos);
        const unsigned layers = *rc::gen::inRange(1u, 9u);
        const vector_fixed<double, 3> dir{positive(3), positive(3), -positive(10)};
        dense2D<unsigned> solids;
        const std::size_t nodes = p.pos.cols();
        RC_ASSERT(extrude_translate(p.pos, p.faces, dir, layers, solids) == 0);
        RC_ASSERT(p.pos.cols() == nodes * (layers + 1));
        const auto after = entries(p.pos);
        RC_ASSERT(std::equal(before.begin(), before.end(), after.begin()));
        for (std::size_t e = 0; e < solids.cols(); ++e) {
            const std::size_t corners = solids(6, e) == no_node ? 3 : 4;
            const double step = 1.0 / layers;
            for (std::size_t c = 0; c < corners; ++c)
                for (unsigned i = 0; i < 3; ++i)
                    RC_ASSERT(std::fabs(p.pos(i, solids(c + corners, e)) - p.pos(i, solids(c, e)) - step * dir[i]) <
                              1e-13);
        }
    });
}

TEST(ExtrudeTranslateProperties, SurfaceSidesAndCapBoundTheSolidsExactly) {
    rc::check([] {
        patch p = random_patch();
        const auto edges = border(p.faces);
        const unsigned layers = *rc::gen::inRange(1u, 5u);
        dense2D<unsigned> solids, sides, cap, neighbors;
        RC_ASSERT(extrude_translate(p.pos, p.faces, {0, 0, 1}, layers, solids, edges, sides, cap) == 0);
        RC_ASSERT(meldra::get_neighbors(solids, ET_SOLID_MIX, true, neighbors) == 0);
        std::size_t open = 0;
        for (std::size_t e = 0; e < solids.cols(); ++e)
            for (std::size_t f = 0; f < (solids(6, e) == no_node ? 5u : 6u); ++f)
                open += neighbors(f, e) == no_node;
        RC_ASSERT(open == p.faces.cols() + sides.cols() + cap.cols());

        // Together the surface, its sides and its cap are a closed surface: each edge is walked once each way.
        std::map<std::pair<unsigned, unsigned>, int> walked;
        const auto walk = [&](const dense2D<unsigned>& faces) {
            for (std::size_t j = 0; j < faces.cols(); ++j) {
                const std::size_t n = faces(3, j) == no_node ? 3 : 4;
                for (std::size_t k = 0; k < n; ++k)
                    ++walked[{faces(k, j), faces((k + 1) % n, j)}];
            }
        };
        walk(p.faces);
        walk(sides);
        walk(cap);
        for (const auto& [edge, count] : walked) {
            RC_ASSERT(count == 1);
            RC_ASSERT(walked.contains({edge.second, edge.first}));
        }
    });
}

TEST(ExtrudeTranslateProperties, TwoRunsGiveTheSameBits) {
    rc::check([] {
        const patch p = random_patch();
        const vector_fixed<double, 3> dir{positive(3), positive(3), positive(10)};
        const double start = positive(2), end = positive(2);
        dense2D<double> pos[2];
        dense2D<unsigned> solids[2];
        for (int run = 0; run < 2; ++run) {
            pos[run].copy(p.pos);
            RC_ASSERT(extrude_translate(pos[run], p.faces, dir, start, end, true, solids[run]) == 0);
        }
        RC_ASSERT(entries(pos[0]) == entries(pos[1]));
        RC_ASSERT(entries(solids[0]) == entries(solids[1]));
    });
}
