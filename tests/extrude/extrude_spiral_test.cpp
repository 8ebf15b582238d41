#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "extrude/turned_point.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_spiral;

namespace {

constexpr unsigned none = no_node;
constexpr double pi = std::numbers::pi;
using list = std::vector<unsigned>;

dense2D<double> house() {
    return points({{1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {1, 1, 0}, {3, 0.5, 0}});
}

dense2D<unsigned> house_faces() {
    return ids({{0, 1, 2, 3}, {1, 4, 2, none}});
}

} // namespace

TEST(ExtrudeSpiral, ATriangleClimbsAHelix) {
    auto pos = points({{1, 0, 0}, {2, 0, 0}, {1, 0, 1}});
    dense2D<unsigned> solids, sides, cap;
    // Two turns over a height of 8, in layers of 1.
    ASSERT_EQ(extrude_spiral(pos, ids({{0, 1, 2}}), {0, 0, 0}, {0, 0, 4 * pi}, {0, 0, 8}, 1, 1, false, solids,
                             ids({{0, 1}}), sides, cap),
              0);
    ASSERT_EQ(solids.cols(), 8u);
    EXPECT_EQ(column(solids, 7), (list{21, 22, 23, 24, 25, 26}));
    EXPECT_EQ(column(sides, 7), (list{22, 21, 24, 25}));
    EXPECT_EQ(entries(cap), (list{24, 26, 25}));
    for (unsigned k = 1; k <= 8; ++k) {
        expect_near(pos, 3 * k, {std::cos(k * pi / 2), std::sin(k * pi / 2), double(k)}, 1e-15);
        expect_near(pos, 3 * k + 1, {2 * std::cos(k * pi / 2), 2 * std::sin(k * pi / 2), double(k)}, 2e-15);
    }
}

TEST(ExtrudeSpiral, TurnsFirstAndMovesThen) {
    auto pos = house();
    const vec3 axis_point{0.5, -3, 2}, rotation{0.7, -1.1, 2.9}, shift{3, -1, 0.5};
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_spiral(pos, house_faces(), axis_point, rotation, shift, 6, solids), 0);
    ASSERT_EQ(pos.cols(), 35u);
    for (unsigned k = 1; k <= 6; ++k)
        for (unsigned j = 0; j < 5; ++j) {
            auto expected = turned(pos, j, axis_point, rotation, k / 6.0L);
            for (unsigned i = 0; i < 3; ++i)
                expected[i] += k / 6.0 * shift[i];
            expect_near(pos, 5 * k + j, expected, 1e-14);
        }
}

TEST(ExtrudeSpiral, TheLengthIsThatOfTheShift) {
    auto pos = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_spiral(pos, house_faces(), {-100, 0, 0}, {0, 100, 0}, {0, 3, 4}, 1, 1, false, solids), 0);
    EXPECT_EQ(solids.cols(), 10u);
}

TEST(ExtrudeSpiral, WithoutAShiftItIsARotationInOneLayer) {
    for (const bool even : {false, true}) {
        auto pos = house(), turned_pos = house();
        dense2D<unsigned> solids, turned_solids;
        ASSERT_EQ(extrude_spiral(pos, house_faces(), {0, 0, 0}, {0, 1, 0}, {0, 0, 0}, 0.1, 0.1, even, solids), 0);
        EXPECT_EQ(solids.cols(), even ? 4u : 2u);
        ASSERT_EQ(
            meldra3d::extrude_rotate(turned_pos, house_faces(), {0, 0, 0}, {0, 1, 0}, even ? 2 : 1, turned_solids), 0);
        EXPECT_EQ(entries(pos), entries(turned_pos));
        EXPECT_EQ(entries(solids), entries(turned_solids));
    }
}

TEST(ExtrudeSpiral, WithoutARotationItIsATranslation) {
    auto pos = house(), moved_pos = house();
    dense2D<unsigned> solids, moved_solids;
    ASSERT_EQ(extrude_spiral(pos, house_faces(), {0, 0, 0}, {0, 0, 0}, {1, 2, 3}, 0.5, 0.25, false, solids), 0);
    ASSERT_EQ(meldra3d::extrude_translate(moved_pos, house_faces(), {1, 2, 3}, 0.5, 0.25, false, moved_solids), 0);
    EXPECT_EQ(entries(solids), entries(moved_solids));
    ASSERT_EQ(pos.cols(), moved_pos.cols());
    for (std::size_t j = 0; j < pos.cols(); ++j)
        expect_near(pos, j, {moved_pos(0, j), moved_pos(1, j), moved_pos(2, j)}, 2e-15);
}

TEST(ExtrudeSpiral, TwoRowCoordinatesLieAtZero) {
    auto pos = points({{1, 0}, {2, 0}, {1, 1}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_spiral(pos, ids({{0, 1, 2}}), {0, 0, 0}, {0, -pi / 2, 0}, {0, 0, 5}, 1, solids), 0);
    EXPECT_EQ(pos.rows(), 3u);
    expect_near(pos, 3, {0, 0, 6}, 1e-15);
    expect_near(pos, 4, {0, 0, 7}, 1e-15);
    expect_near(pos, 5, {0, 1, 6}, 1e-15);
}

TEST(ExtrudeSpiral, ShortFormsGiveWhatTheFullOnesGive) {
    auto pos_full = house(), pos_short = house();
    const vec3 axis_point{-1, 0, 0}, rotation{0, 0.5, 0}, shift{0, 1, 0};
    dense2D<unsigned> full, sides, cap, solids;
    ASSERT_EQ(
        extrude_spiral(pos_full, house_faces(), axis_point, rotation, shift, 0.1, 0.3, true, full, {}, sides, cap), 0);
    ASSERT_EQ(extrude_spiral(pos_short, house_faces(), axis_point, rotation, shift, 0.1, 0.3, true, solids), 0);
    EXPECT_EQ(entries(solids), entries(full));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
    ASSERT_EQ(extrude_spiral(pos_full, house_faces(), axis_point, rotation, shift, 3, full, {}, sides, cap), 0);
    ASSERT_EQ(extrude_spiral(pos_short, house_faces(), axis_point, rotation, shift, 3, solids), 0);
    EXPECT_EQ(entries(solids), entries(full));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
}

TEST(ExtrudeSpiral, ARotationThatIsNoNumberSpoilsOnlyTheNewNodes) {
    auto pos = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_spiral(pos, house_faces(), {0, 0, 0}, {0, std::nan(""), 0}, {0, 0, 1}, 1, solids), 0);
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 5, 6, 7, 8, 1, 4, 2, 6, 9, 7, none, none}));
    const auto before = house();
    for (std::size_t j = 0; j < 5; ++j)
        EXPECT_EQ(column(pos, j), column(before, j));
    EXPECT_TRUE(std::isnan(pos(0, 5)));
}
