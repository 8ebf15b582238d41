#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "extrude/random_patch.h"
#include "support/properties.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_translate;

TEST(ExtrudeTranslateProperties, TheSweptVolumeIsAreaTimesHeight) {
    expect_property([] {
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
    expect_property([] {
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
    expect_property([] {
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
    expect_property([] {
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
