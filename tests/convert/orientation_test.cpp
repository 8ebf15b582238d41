#include "convert/orientation.h"

#include <gtest/gtest.h>

#include <set>

#include "convert/node_layout.h"

using namespace quorl::meldra3d::detail;

namespace {

using cycle = std::array<unsigned, 4>;

/// The weights of the vertices at a grid node, by vertex ID: what tells a node of a quadrangle from all others.
std::array<unsigned, 4> bilinear(const cycle& c, unsigned i, unsigned j, unsigned side) {
    const unsigned u = i + 1, v = j + 1, n = side + 1;
    std::array<unsigned, 4> by_id{};
    by_id[c[0]] += (n - u) * (n - v);
    by_id[c[1]] += u * (n - v);
    by_id[c[2]] += u * v;
    by_id[c[3]] += (n - u) * v;
    return by_id;
}

} // namespace

TEST(WalkQuadrangle, FindsTheNodeOfTheSameWeightsInAllEightReadings) {
    const cycle listed{2, 0, 3, 1};
    for (unsigned side = 1; side < 6; ++side)
        for (unsigned start = 0; start < 4; ++start)
            for (const unsigned step : {1u, 3u}) {
                cycle seen{};
                for (unsigned k = 0; k < 4; ++k)
                    seen[k] = listed[(start + k * step) % 4];
                const grid_walk walk = walk_quadrangle(listed, seen, side);
                std::set<std::uint64_t> places;
                for (unsigned j = 0; j < side; ++j)
                    for (unsigned i = 0; i < side; ++i) {
                        const auto place = walk.place(i, j);
                        ASSERT_LT(place, side * side);
                        places.insert(place);
                        EXPECT_EQ(bilinear(seen, i, j, side),
                                  bilinear(listed, unsigned(place % side), unsigned(place / side), side));
                    }
                EXPECT_EQ(places.size(), side * side);
            }
}

TEST(WalkQuadrangle, StaysInsideTheGridForDegenerateCycles) {
    for (unsigned code = 0; code < 256; ++code) {
        const cycle seen{code % 4, code / 4 % 4, code / 16 % 4, code / 64};
        for (const cycle& listed : {seen, cycle{seen[1], seen[0], seen[3], seen[2]}, cycle{0, 0, 1, 1}}) {
            const grid_walk walk = walk_quadrangle(listed, seen, 3);
            for (unsigned j = 0; j < 3; ++j)
                for (unsigned i = 0; i < 3; ++i)
                    ASSERT_LT(walk.place(i, j), 9u);
        }
    }
}

TEST(WalkTriangle, FindsTheNodeNearestTheSameVertexInAllSixReadings) {
    const cycle listed{7, 4, 9, 0};
    for (unsigned start = 0; start < 3; ++start)
        for (const unsigned step : {1u, 2u}) {
            cycle seen{};
            for (unsigned k = 0; k < 3; ++k)
                seen[k] = listed[(start + k * step) % 3];
            const auto places = walk_triangle(listed, seen);
            for (unsigned k = 0; k < 3; ++k)
                EXPECT_EQ(listed[places[k]], seen[k]);
        }
}

TEST(Sides, OfSquaresAndOfTheCubesThatHexahedraTake) {
    for (unsigned side = 0; side < 65536; side += 257)
        EXPECT_EQ(square_side(side * side), side);
    EXPECT_EQ(square_side(65535u * 65535u), 65535u);
    for (const unsigned n : {2u, 3u, 5u, 8u, 65535u * 65535u - 1, 65535u * 65535u + 1, 4294967295u})
        EXPECT_FALSE(square_side(n)) << n;
    EXPECT_EQ(cube_side(0), 0u);
    EXPECT_EQ(cube_side(1), 1u);
    EXPECT_EQ(cube_side(8), 2u);
    EXPECT_EQ(cube_side(27), 3u);
    for (const unsigned n : {2u, 7u, 9u, 26u, 28u, 64u, 125u, 1000u, 4294967295u})
        EXPECT_FALSE(cube_side(n)) << n;
}

TEST(Layouts, RowsOfTheQuadraticKindsAndOfOneNodeEverywhere) {
    const node_counts quadratic{1, 1, 0, 1, 0, 0, 0};
    EXPECT_EQ(layout_of(shape::tetrahedron, quadratic).rows, 10u);
    EXPECT_EQ(layout_of(shape::pyramid, quadratic).rows, 14u);
    EXPECT_EQ(layout_of(shape::wedge, quadratic).rows, 18u);
    EXPECT_EQ(layout_of(shape::hexahedron, quadratic).rows, 27u);
    const node_counts ones{1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(layout_of(shape::tetrahedron, ones).rows, 15u);
    EXPECT_EQ(layout_of(shape::pyramid, ones).rows, 19u);
    EXPECT_EQ(layout_of(shape::wedge, ones).rows, 21u);
    EXPECT_EQ(layout_of(shape::hexahedron, ones).rows, 27u);
    const node_counts most{4294967295u, 4294836225u, 3, 27, 1, 4294967295u, 1};
    EXPECT_EQ(layout_of(shape::hexahedron, most).rows, 8 + 12 * 4294967295ull + 6 * 4294836225ull + 27);
    EXPECT_EQ(layout_of(shape::wedge, most).rows, 6 + 9 * 4294967295ull + 2 * 3 + 3 * 4294836225ull + 4294967295ull);
}
