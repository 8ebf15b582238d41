#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>

#include "extrude/random_patch.h"
#include "support/properties.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_normal;

TEST(ExtrudeNormalProperties, APlanePatchRisesLikeATranslation) {
    expect_property([] {
        patch one = random_patch();
        dense2D<double> other_pos;
        RC_ASSERT(other_pos.copy(one.pos));
        const double thickness = positive(10), start = positive(5), end = positive(5);
        const bool even = *rc::gen::arbitrary<bool>();
        const auto edges = border(one.faces);
        dense2D<unsigned> solids[2], sides[2], cap[2];
        RC_ASSERT(extrude_normal(one.pos, one.faces, thickness, start, end, even, solids[0], edges, sides[0], cap[0]) ==
                  0);
        RC_ASSERT(meldra3d::extrude_translate(other_pos, one.faces, {0, 0, thickness}, start, end, even, solids[1],
                                              edges, sides[1], cap[1]) == 0);
        RC_ASSERT(entries(solids[0]) == entries(solids[1]));
        RC_ASSERT(entries(sides[0]) == entries(sides[1]));
        RC_ASSERT(entries(cap[0]) == entries(cap[1]));
        RC_ASSERT(one.pos.cols() == other_pos.cols());
        for (std::size_t k = 0; k < one.pos.size(); ++k)
            RC_ASSERT(std::abs(one.pos.data()[k] - other_pos.data()[k]) < 1e-13);
    });
}

TEST(ExtrudeNormalProperties, TheNormalsAreThoseOfTheSurface) {
    expect_property([] {
        patch p = random_patch();
        for (std::size_t j = 0; j < p.pos.cols(); ++j)
            for (std::size_t i = 0; i < 3; ++i)
                p.pos(i, j) += positive(0.8) - 0.4;
        const std::size_t before = p.pos.cols();
        dense2D<double> normals;
        RC_ASSERT(meldra2d::normals(p.pos, p.faces, 0, true, normals) == 0);
        const auto layers = *rc::gen::inRange(1u, 9u);
        const double thickness = positive(3);
        dense2D<unsigned> solids, sides, cap;
        RC_ASSERT(extrude_normal(p.pos, p.faces, thickness, layers, solids, {}, sides, cap) == 0);
        RC_ASSERT(p.pos.cols() == (layers + 1) * before);
        // The closing faces, read backwards, are the surface; so they give each node its copy.
        for (std::size_t j = 0; j < p.faces.cols(); ++j)
            for (unsigned c = 0; c < 3; ++c) {
                const unsigned n = p.faces(3, j) == no_node ? 3 : 4;
                const unsigned id = p.faces(c, j), top = cap((n - c) % n, j);
                for (unsigned i = 0; i < 3; ++i)
                    RC_ASSERT(p.pos(i, top) == p.pos(i, id) + thickness * normals(i, id));
            }
    });
}

TEST(ExtrudeNormalProperties, EqualVectorsAreATranslation) {
    expect_property([] {
        patch one = random_patch();
        dense2D<double> other_pos;
        RC_ASSERT(other_pos.copy(one.pos));
        const vector_fixed<double, 3> dir{positive(3), -positive(3), positive(10)};
        dense2D<double> shifts(3, one.pos.cols());
        for (std::size_t j = 0; j < shifts.cols(); ++j)
            for (unsigned i = 0; i < 3; ++i)
                shifts(i, j) = dir[i];
        const auto layers = *rc::gen::inRange(1u, 9u);
        dense2D<unsigned> solids[2];
        RC_ASSERT(extrude_normal(one.pos, one.faces, shifts, layers, solids[0]) == 0);
        RC_ASSERT(meldra3d::extrude_translate(other_pos, one.faces, dir, layers, solids[1]) == 0);
        RC_ASSERT(entries(solids[0]) == entries(solids[1]));
        RC_ASSERT(entries(one.pos) == entries(other_pos));
    });
}
