#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_translate;

namespace {

constexpr unsigned none = no_node;
using vec3 = vector_fixed<double, 3>;
using list = std::vector<unsigned>;

/// A unit square and a triangle beside it.
dense2D<double> house() {
    return points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0.5, 0}});
}

dense2D<unsigned> house_faces() {
    return ids({{0, 1, 2, 3}, {1, 4, 2, none}});
}

struct outputs {
    dense2D<unsigned> solids, sides, cap;
};

std::vector<double> heights(const dense2D<double>& pos) {
    std::vector<double> z;
    for (std::size_t j = 0; j < pos.cols(); ++j)
        z.push_back(pos(2, j));
    return z;
}

} // namespace

TEST(ExtrudeTranslate, OneTriangleGivesOneWedgeAndItsClosingFace) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    outputs out;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, 2}, 1, out.solids, {}, out.sides, out.cap), 0);
    EXPECT_EQ(out.solids.rows(), 6u);
    EXPECT_EQ(entries(out.solids), (list{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(entries(out.cap), (list{3, 5, 4}));
    EXPECT_EQ(out.sides.rows(), 4u);
    EXPECT_EQ(out.sides.cols(), 0u);
    EXPECT_EQ(entries(pos), (std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2, 1, 0, 2, 0, 1, 2}));
}

TEST(ExtrudeTranslate, MixedSurfacesGiveWedgesWithUnusedRowsAndHexahedra) {
    auto pos = house();
    outputs out;
    ASSERT_EQ(
        extrude_translate(pos, house_faces(), vec3{0, 0, 1}, 2, out.solids, ids({{0, 1}, {4, 2}}), out.sides, out.cap),
        0);
    EXPECT_EQ(entries(out.solids), (list{0, 1, 2, 3,  5,  6,  7,    8,    //
                                         5, 6, 7, 8,  10, 11, 12,   13,   //
                                         1, 4, 2, 6,  9,  7,  none, none, //
                                         6, 9, 7, 11, 14, 12, none, none}));
    EXPECT_EQ(entries(out.cap), (list{10, 13, 12, 11, 11, 12, 14, none}));
    EXPECT_EQ(entries(out.sides), (list{1, 0, 5, 6, 6, 5, 10, 11, 2, 4, 9, 7, 7, 9, 14, 12}));
    EXPECT_EQ(pos.cols(), 15u);
}

TEST(ExtrudeTranslate, NodesAreNumberedByFirstAppearanceAndSharedOnesCopiedOnce) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {9, 9, 9}, {0, 1, 0}, {1, 1, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos, ids({{4, 3, 1}, {0, 1, 3}}), vec3{0, 0, 1}, 1, solids), 0);
    EXPECT_EQ(pos.cols(), 9u); // node 2 is not in the surface
    EXPECT_EQ(entries(solids), (list{4, 3, 1, 5, 6, 7, 0, 1, 3, 8, 7, 6}));
    EXPECT_EQ(column(pos, 5), (std::vector<double>{1, 1, 1}));
    EXPECT_EQ(column(pos, 8), (std::vector<double>{0, 0, 1}));
}

TEST(ExtrudeTranslate, EqualSizesGiveEvenlySpacedLevels) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, 1}, 0.25, 0.25, false, solids), 0);
    EXPECT_EQ(solids.cols(), 4u);
    EXPECT_EQ(heights(pos), (std::vector<double>{0, 0, 0, 0.25, 0.25, 0.25, 0.5, 0.5, 0.5, 0.75, 0.75, 0.75, 1, 1, 1}));
}

TEST(ExtrudeTranslate, GradedLayersGrowFromTheStartSize) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, 1}, 0.1, 0.4, false, solids), 0);
    ASSERT_EQ(solids.cols(), 5u);
    for (int k = 1; k <= 5; ++k)
        EXPECT_NEAR(pos(2, 3 * std::size_t(k)), (std::pow(4, k / 5.0) - 1) / 3, 1e-15) << k;
}

TEST(ExtrudeTranslate, SwappedSizesMirrorTheSpacing) {
    auto growing = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    auto shrinking = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    dense2D<unsigned> solids, others;
    ASSERT_EQ(extrude_translate(growing, ids({{0, 1, 2}}), vec3{0, 0, 6}, 1, 2, false, solids), 0);
    ASSERT_EQ(extrude_translate(shrinking, ids({{0, 1, 2}}), vec3{0, 0, 6}, 2, 1, false, others), 0);
    ASSERT_EQ(entries(solids), entries(others));
    ASSERT_EQ(solids.cols(), 4u);
    EXPECT_GT(shrinking(2, 3), 6.0 / 4); // the first layer is the thickest
    for (std::size_t k = 1; k < 4; ++k)
        EXPECT_NEAR(growing(2, 3 * k), 6 - shrinking(2, 3 * (4 - k)), 1e-14);
}

TEST(ExtrudeTranslate, EvenLayersRoundToAMultipleOfTwo) {
    const std::pair<double, unsigned> cases[] = {{0.3, 2}, {2.7, 2}, {2.9, 4}, {5, 6}};
    for (const auto& [count, layers] : cases) {
        auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
        dense2D<unsigned> solids;
        ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, count}, 1, 1, true, solids), 0);
        EXPECT_EQ(solids.cols(), layers) << count;
    }
}

TEST(ExtrudeTranslate, TwoRowCoordinatesGainAThirdRowOfZeros) {
    auto pos = points({{0, 0}, {1, 0}, {0, 1}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0.5, 0, 3}, 1, solids), 0);
    EXPECT_EQ(pos.rows(), 3u);
    EXPECT_EQ(entries(pos), (std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0, 0.5, 0, 3, 1.5, 0, 3, 0.5, 1, 3}));
}

TEST(ExtrudeTranslate, AppendsBehindWhatTheOutputsHold) {
    auto pos = house();
    outputs out{ids({{0, 1, 2, 3, 4, 0, 1, 2}}), ids({{3, 2, 1, 0}}), ids({{4, 3, 2, 1}})};
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 1}, 1, out.solids, ids({{0, 1}}), out.sides, out.cap),
              0);
    EXPECT_EQ(column(out.solids, 0), (list{0, 1, 2, 3, 4, 0, 1, 2}));
    EXPECT_EQ(column(out.solids, 1), (list{0, 1, 2, 3, 5, 6, 7, 8}));
    EXPECT_EQ(entries(out.sides), (list{3, 2, 1, 0, 1, 0, 5, 6}));
    EXPECT_EQ(entries(out.cap), (list{4, 3, 2, 1, 5, 8, 7, 6, 6, 7, 9, none}));
}

TEST(ExtrudeTranslate, WidensWedgesWhenQuadranglesAreSwept) {
    auto pos = house();
    auto solids = ids({{0, 1, 2, 3, 4, 0}});
    outputs out{solids, {}, ids({{0, 1, 2}})};
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 1}, 1, out.solids, {}, out.sides, out.cap), 0);
    EXPECT_EQ(out.solids.rows(), 8u);
    EXPECT_EQ(column(out.solids, 0), (list{0, 1, 2, 3, 4, 0, none, none}));
    EXPECT_EQ(column(out.cap, 0), (list{0, 1, 2, none}));
    EXPECT_EQ(solids.rows(), 6u); // the other view of the same storage
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 4, 0}));
}

TEST(ExtrudeTranslate, CutsHexahedraWhenOnlyTrianglesAreSwept) {
    auto pos = house();
    outputs out{ids({{0, 1, 2, 3, 4, 0, 1, 2}, {1, 2, 3, 4, 0, 1, none, none}}), {}, ids({{0, 1, 2, 3}})};
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, 1}, 1, out.solids, {}, out.sides, out.cap), 0);
    EXPECT_EQ(out.solids.rows(), 6u);
    EXPECT_EQ(entries(out.solids), (list{0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0, 1, 0, 1, 2, 5, 6, 7}));
    EXPECT_EQ(entries(out.cap), (list{0, 1, 2, 5, 7, 6}));
}

TEST(ExtrudeTranslate, EmptyOutputsTakeTheirRowCounts) {
    auto pos = house();
    outputs out{dense2D<unsigned>(5, 0), dense2D<unsigned>(7, 0), dense2D<unsigned>(0, 9)};
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 1}, 1, out.solids, dense2D<unsigned>(3, 0), out.sides,
                                out.cap),
              0);
    EXPECT_EQ(out.solids.rows(), 8u);
    EXPECT_EQ(out.solids.cols(), 2u);
    EXPECT_EQ(out.sides.rows(), 4u);
    EXPECT_EQ(out.sides.cols(), 0u);
    EXPECT_EQ(out.cap.rows(), 4u);
}

TEST(ExtrudeTranslate, EdgesWithoutRowsCountAsNone) {
    auto pos = house();
    outputs out;
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 1}, 1, out.solids, dense2D<unsigned>(0, 5), out.sides,
                                out.cap),
              0);
    EXPECT_EQ(out.sides.cols(), 0u);
}

TEST(ExtrudeTranslate, AnEdgeNodeOutsideTheSurfaceFollowsTheWrappedFormula) {
    auto pos = house();
    outputs out;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, 1}, 2, out.solids, ids({{0, 3}, {77, none}}),
                                out.sides, out.cap),
              0);
    // Five nodes before, three on a level, and the index no_node, which is -1 modulo 2^32.
    EXPECT_EQ(column(out.sides, 0), (list{3, 0, 5, 4}));
    EXPECT_EQ(column(out.sides, 1), (list{4, 5, 8, 7}));
    EXPECT_EQ(column(out.sides, 2), (list{none, 77, 4, 4}));
    EXPECT_EQ(column(out.sides, 3), (list{4, 4, 7, 7}));
}

TEST(ExtrudeTranslate, ThreeRowAndFourRowTrianglesSweepAlike) {
    auto pos = house();
    auto again = house();
    outputs out, mixed;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}, {1, 4, 2}}), vec3{1, 2, 3}, 3, out.solids, {}, out.sides, out.cap),
              0);
    ASSERT_EQ(extrude_translate(again, ids({{0, 1, 2, none}, {1, 4, 2, none}}), vec3{1, 2, 3}, 3, mixed.solids, {},
                                mixed.sides, mixed.cap),
              0);
    EXPECT_EQ(entries(pos), entries(again));
    ASSERT_EQ(mixed.solids.rows(), 8u);
    ASSERT_TRUE(mixed.solids.resize(6, mixed.solids.cols()));
    EXPECT_EQ(entries(out.solids), entries(mixed.solids));
}

TEST(ExtrudeTranslate, ShortFormsGiveWhatTheFullOnesGive) {
    auto pos_full = house(), pos_short = house();
    outputs out;
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos_full, house_faces(), vec3{0, 1, 5}, 1, 2, true, out.solids, {}, out.sides, out.cap),
              0);
    ASSERT_EQ(extrude_translate(pos_short, house_faces(), vec3{0, 1, 5}, 1, 2, true, solids), 0);
    EXPECT_EQ(entries(solids), entries(out.solids));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
    ASSERT_EQ(extrude_translate(pos_full, house_faces(), vec3{0, 1, 5}, 3, out.solids, {}, out.sides, out.cap), 0);
    ASSERT_EQ(extrude_translate(pos_short, house_faces(), vec3{0, 1, 5}, 3, solids), 0);
    EXPECT_EQ(entries(solids), entries(out.solids));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
}

TEST(ExtrudeTranslate, ReadsWindowsAndGrowsWindowsAwayFromTheirMatrix) {
    auto larger_pos = dense2D<double>(6, 9, -1.0);
    auto pos = larger_pos.sub(2, 3, 3, 5);
    const auto plain = house();
    for (std::size_t j = 0; j < 5; ++j)
        for (std::size_t i = 0; i < 3; ++i)
            pos(i, j) = plain(i, j);
    const auto before = entries(larger_pos);
    auto larger_solids = dense2D<unsigned>(10, 4, 3u);
    auto solids = larger_solids.sub(1, 1, 8, 2);
    auto expected_pos = house();
    dense2D<unsigned> expected(8, 2, 3u);
    ASSERT_EQ(extrude_translate(expected_pos, house_faces(), vec3{0, 0, 1}, 2, expected), 0);
    ASSERT_EQ(extrude_translate(pos, as_window(house_faces(), 4u), vec3{0, 0, 1}, 2, solids), 0);
    EXPECT_EQ(entries(pos), entries(expected_pos));
    EXPECT_EQ(entries(solids), entries(expected));
    EXPECT_EQ(entries(larger_pos), before);
    EXPECT_EQ(entries(larger_solids), std::vector<unsigned>(40, 3));
}

TEST(ExtrudeTranslate, AnInputMayBeTheMatrixOfAnOutput) {
    auto pos = house();
    auto faces = ids({{0, 1, 2, 3, 0, 1, 2, 3}});
    const auto other = faces;
    auto window = faces.sub(0, 0, 4, 1); // the surface shares storage with the solids
    ASSERT_EQ(extrude_translate(pos, window, vec3{0, 0, 1}, 1, faces), 0);
    EXPECT_EQ(entries(faces), (list{0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 5, 6, 7, 8}));
    EXPECT_EQ(entries(other), (list{0, 1, 2, 3, 0, 1, 2, 3}));

    auto again = house();
    auto cap = house_faces(); // the surface is the closing surface itself
    dense2D<unsigned> solids, sides;
    ASSERT_EQ(extrude_translate(again, cap, vec3{0, 0, 1}, 1, solids, {}, sides, cap), 0);
    EXPECT_EQ(entries(cap), (list{0, 1, 2, 3, 1, 4, 2, none, 5, 8, 7, 6, 6, 7, 9, none}));
    EXPECT_EQ(solids.cols(), 2u);
}

TEST(ExtrudeTranslate, OneMatrixMayStandForAllThatIsNotWanted) {
    auto pos = house();
    dense2D<unsigned> solids, unwanted;
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 1}, 3, solids, unwanted, unwanted, unwanted), 0);
    EXPECT_EQ(solids.cols(), 6u);

    auto again = house();
    auto edges = ids({{0, 1}, {1, 4}});
    dense2D<unsigned> all;
    ASSERT_EQ(extrude_translate(again, house_faces(), vec3{0, 0, 1}, 3, all, edges, all, all), 0);
    EXPECT_EQ(entries(all), entries(solids)); // of several outputs in one matrix the solids stay
}

TEST(ExtrudeTranslate, CoordinatesLaidOverMemoryOfTheCallerMoveAway) {
    double memory[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    auto pos = dense2D<double>::view(memory, 3, 3, 3);
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos, ids({{0, 1, 2}}), vec3{0, 0, 1}, 1, solids), 0);
    EXPECT_EQ(pos.cols(), 6u);
    EXPECT_NE(pos.data(), memory);
    EXPECT_EQ(std::vector<double>(memory, memory + 9), (std::vector<double>{0, 0, 0, 1, 0, 0, 0, 1, 0}));
}

TEST(ExtrudeTranslate, AZeroVectorGivesOneFlatLayerInTheFormsWithSizes) {
    auto pos = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 0}, 0.1, 0.2, false, solids), 0);
    EXPECT_EQ(solids.cols(), 2u);
    EXPECT_EQ(column(pos, 5), column(pos, 0));
    ASSERT_EQ(extrude_translate(pos, house_faces(), vec3{0, 0, 0}, 0.1, 0.2, true, solids), 0);
    EXPECT_EQ(solids.cols(), 6u);
}
