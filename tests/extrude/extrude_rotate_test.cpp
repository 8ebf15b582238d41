#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "extrude/turned_point.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_rotate;

namespace {

constexpr unsigned none = no_node;
constexpr double pi = std::numbers::pi;
using list = std::vector<unsigned>;

/// A unit square and a triangle beside it, in the plane z = 0.
dense2D<double> house() {
    return points({{1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {1, 1, 0}, {3, 0.5, 0}});
}

dense2D<unsigned> house_faces() {
    return ids({{0, 1, 2, 3}, {1, 4, 2, none}});
}

std::size_t layers_of(dense2D<double> pos, const vec3& axis_point, const vec3& rotation, double size, bool even) {
    dense2D<unsigned> solids;
    EXPECT_EQ(extrude_rotate(pos, ids({{0, 1, 2}}), axis_point, rotation, size, size, even, solids), 0);
    return solids.cols();
}

} // namespace

TEST(ExtrudeRotate, AQuarterTurnInFourLayers) {
    auto pos = points({{1, 0, 0}, {2, 0, 0}, {1, 0, 1}});
    dense2D<unsigned> solids, sides, cap;
    ASSERT_EQ(extrude_rotate(pos, ids({{0, 1, 2}}), {0, 0, 0}, {0, 0, pi / 2}, pi / 8, pi / 8, false, solids,
                             ids({{0, 1}}), sides, cap),
              0);
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 4, 5, 3, 4, 5, 6, 7, 8, 6, 7, 8, 9, 10, 11, 9, 10, 11, 12, 13, 14}));
    EXPECT_EQ(entries(sides), (list{1, 0, 3, 4, 4, 3, 6, 7, 7, 6, 9, 10, 10, 9, 12, 13}));
    EXPECT_EQ(entries(cap), (list{12, 14, 13}));
    ASSERT_EQ(pos.cols(), 15u);
    for (unsigned k = 1; k <= 4; ++k) {
        expect_near(pos, 3 * k, {std::cos(k * pi / 8), std::sin(k * pi / 8), 0}, 4e-16);
        expect_near(pos, 3 * k + 1, {2 * std::cos(k * pi / 8), 2 * std::sin(k * pi / 8), 0}, 8e-16);
        expect_near(pos, 3 * k + 2, {std::cos(k * pi / 8), std::sin(k * pi / 8), 1}, 4e-16);
    }
}

TEST(ExtrudeRotate, TurnsAboutASlantingAxisAwayFromTheOrigin) {
    auto pos = house();
    const vec3 axis_point{0.5, -3, 2}, rotation{0.7, -1.1, 2.9};
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_rotate(pos, house_faces(), axis_point, rotation, 6, solids), 0);
    ASSERT_EQ(pos.cols(), 35u);
    for (unsigned k = 1; k <= 6; ++k)
        for (unsigned j = 0; j < 5; ++j)
            expect_near(pos, 5 * k + j, turned(pos, j, axis_point, rotation, k / 6.0L), 1e-14);
}

TEST(ExtrudeRotate, GradedLayersFollowTheProgressionOfTheAngle) {
    auto pos = points({{1, 0, 0}, {2, 0, 0}, {1, 0, 1}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_rotate(pos, ids({{0, 1, 2}}), {0, 0, 0}, {0, 0, 1}, 0.1, 0.4, false, solids), 0);
    ASSERT_EQ(solids.cols(), 5u);
    for (unsigned k = 1; k <= 5; ++k)
        EXPECT_NEAR(std::atan2(pos(1, 3 * k), pos(0, 3 * k)), (std::pow(4, k / 5.0) - 1) / 3, 1e-15) << k;
}

TEST(ExtrudeRotate, AFullTurnComesBackWithNewNodes) {
    auto pos = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_rotate(pos, house_faces(), {0, 0, 0}, {0, 2 * pi, 0}, 8, solids), 0);
    ASSERT_EQ(pos.cols(), 45u);
    for (unsigned j = 0; j < 5; ++j)
        expect_near(pos, 40 + j, {pos(0, j), pos(1, j), pos(2, j)}, 2e-15);
    EXPECT_EQ(column(solids, 7), (list{35, 36, 37, 38, 40, 41, 42, 43}));
}

TEST(ExtrudeRotate, TheLengthTakesTheWholeDistanceOfTheFirstNode) {
    const auto pos = points({{3, 0, 4}, {5, 0, 4}, {3, 1, 4}});
    EXPECT_EQ(layers_of(pos, {0, 0, 0}, {0, 0, 1}, 1, false), 5u); // 3 from the axis, 4 along it
    EXPECT_EQ(layers_of(pos, {0, 0, 4}, {0, 0, 1}, 1, false), 3u);
    EXPECT_EQ(layers_of(pos, {0, 0, 4}, {0, 0, -2}, 1, false), 6u);
    EXPECT_EQ(layers_of(pos, {0, 0, 4}, {0, 0, 1}, 1, true), 4u); // 3 * 3 >= 2 * 4
}

TEST(ExtrudeRotate, AnAxisPointAtTheFirstNodeGivesOneLayer) {
    const auto pos = points({{3, 0, 4}, {5, 0, 4}, {3, 1, 4}});
    EXPECT_EQ(layers_of(pos, {3, 0, 4}, {0, 0, 1}, 0.001, false), 1u);
    EXPECT_EQ(layers_of(pos, {3, 0, 4}, {0, 0, 1}, 0.001, true), 2u);
    EXPECT_EQ(layers_of(pos, {0, 0, 0}, {0, 0, 0}, 0.001, false), 1u);
}

TEST(ExtrudeRotate, TwoRowCoordinatesLieAtZero) {
    auto pos = points({{1, 0}, {2, 0}, {1, 1}});
    dense2D<unsigned> solids;
    // The point of the axis is sqrt(1 + 8) from the first node, whose third coordinate is 0.
    ASSERT_EQ(
        extrude_rotate(pos, ids({{0, 1, 2}}), {0, std::sqrt(8.0) / 2, std::sqrt(6.0)}, {0, 1, 0}, 1, 1, false, solids),
        0);
    EXPECT_EQ(solids.cols(), 3u);
    auto again = points({{1, 0}, {2, 0}, {1, 1}});
    ASSERT_EQ(extrude_rotate(again, ids({{0, 1, 2}}), {0, 0, 0}, {0, -pi / 2, 0}, 1, solids), 0);
    EXPECT_EQ(again.rows(), 3u);
    expect_near(again, 0, {1, 0, 0}, 0);
    expect_near(again, 3, {0, 0, 1}, 3e-16);
    expect_near(again, 4, {0, 0, 2}, 6e-16);
    expect_near(again, 5, {0, 1, 1}, 3e-16);
}

TEST(ExtrudeRotate, ANodeOnTheAxisStays) {
    auto pos = points({{0, 0, 2}, {1, 0, 0}, {1, 0, 1}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_rotate(pos, ids({{0, 1, 2}}), {0, 0, 0}, {0, 0, 50}, 7, solids), 0);
    for (unsigned k = 1; k <= 7; ++k)
        EXPECT_EQ(column(pos, 3 * k), (std::vector<double>{0, 0, 2}));
}

TEST(ExtrudeRotate, ShortFormsGiveWhatTheFullOnesGive) {
    auto pos_full = house(), pos_short = house();
    const vec3 axis_point{-1, 0, 0}, rotation{0, 0.5, 0};
    dense2D<unsigned> full, sides, cap, solids;
    ASSERT_EQ(extrude_rotate(pos_full, house_faces(), axis_point, rotation, 0.1, 0.3, true, full, {}, sides, cap), 0);
    ASSERT_EQ(extrude_rotate(pos_short, house_faces(), axis_point, rotation, 0.1, 0.3, true, solids), 0);
    EXPECT_EQ(entries(solids), entries(full));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
    ASSERT_EQ(extrude_rotate(pos_full, house_faces(), axis_point, rotation, 3, full, {}, sides, cap), 0);
    ASSERT_EQ(extrude_rotate(pos_short, house_faces(), axis_point, rotation, 3, solids), 0);
    EXPECT_EQ(entries(solids), entries(full));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
}

TEST(ExtrudeRotate, AnInputMayBeTheMatrixOfAnOutput) {
    auto pos = house(), expected_pos = house();
    auto cap = house_faces();
    dense2D<unsigned> solids, sides, expected, expected_cap;
    ASSERT_EQ(extrude_rotate(pos, cap, {0, 0, 0}, {0, 1, 0}, 2, solids, {}, sides, cap), 0);
    ASSERT_EQ(extrude_rotate(expected_pos, house_faces(), {0, 0, 0}, {0, 1, 0}, 2, expected, {}, sides, expected_cap),
              0);
    EXPECT_EQ(entries(pos), entries(expected_pos));
    EXPECT_EQ(entries(solids), entries(expected));
    EXPECT_EQ(column(cap, 2), column(expected_cap, 0));
    EXPECT_EQ(column(cap, 3), column(expected_cap, 1));
}

TEST(ExtrudeRotate, ManyTurnsKeepTheDistanceFromTheAxis) {
    auto pos = points({{1, 0, 0}, {2, 0, 0}, {1, 0, 1}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_rotate(pos, ids({{0, 1, 2}}), {0, 0, 0}, {0, 0, 1e300}, 3, solids), 0);
    for (unsigned k = 1; k <= 3; ++k)
        EXPECT_NEAR(std::hypot(pos(0, 3 * k), pos(1, 3 * k)), 1, 1e-15);
}
