#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <numbers>

#include "measure/angle_meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::solid_angles;

namespace {

constexpr double pi = std::numbers::pi;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

least_and_most angles(const dense2D<double>& pos, const dense2D<unsigned>& connect, bool normalized = false) {
    return angles_of(solid_angles, pos, connect, normalized);
}

/// The solid angle of a trihedral corner is the sum of its three dihedral angles less pi (Girard).
double corner_by_girard(const dense2D<double>& pos, unsigned at, unsigned b, unsigned c, unsigned d) {
    return double(angle_at_edge(pos, at, b, c, d) + angle_at_edge(pos, at, c, d, b) + angle_at_edge(pos, at, d, b, c) -
                  std::numbers::pi_v<long double>);
}

void expect_corners(const dense2D<double>& pos, std::size_t nodes, const std::vector<double>& corners) {
    const auto [least, most] = angles(pos, one_element(nodes, nodes));
    EXPECT_NEAR(least, *std::min_element(corners.begin(), corners.end()), 1e-13);
    EXPECT_NEAR(most, *std::max_element(corners.begin(), corners.end()), 1e-13);
}

} // namespace

TEST(SolidAngles, AreOneInRegularElementsWhenNormalized) {
    for (const auto& pos : {regular_tetrahedron(), half_octahedron(), equilateral_prism(), unit_cube()}) {
        const auto [least, most] = angles(pos, one_element(pos.cols(), pos.cols()), true);
        EXPECT_NEAR(least, 1, 1e-13) << pos.cols();
        EXPECT_NEAR(most, 1, 1e-13) << pos.cols();
    }
}

TEST(SolidAngles, AreInSteradiansWhenNot) {
    const auto cube = angles(unit_cube(), one_element(8, 8));
    EXPECT_NEAR(cube.least, pi / 2, 1e-15);
    EXPECT_NEAR(cube.most, pi / 2, 1e-15);
    const auto tetrahedron = angles(regular_tetrahedron(), one_element(4, 4));
    EXPECT_NEAR(tetrahedron.least, std::acos(23.0 / 27), 1e-14);
    const auto pyramid = angles(half_octahedron(), one_element(5, 5));
    EXPECT_NEAR(pyramid.least, 2 * std::asin(1.0 / 3), 1e-14); // the base
    EXPECT_NEAR(pyramid.most, 4 * std::asin(1.0 / 3), 1e-14);  // the apex
    const auto prism = angles(equilateral_prism(), one_element(6, 6));
    EXPECT_NEAR(prism.least, pi / 3, 1e-14);
}

TEST(SolidAngles, OfACornerOfTheCubeAndItsMirrorImage) {
    const auto pos = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}});
    const auto direct = angles(pos, ids({{0, 1, 2, 3}}));
    EXPECT_NEAR(direct.most, pi / 2, 1e-15);
    EXPECT_GT(direct.least, 0);
    const auto inverted = angles(pos, ids({{0, 2, 1, 3}}));
    EXPECT_NEAR(inverted.least, -pi / 2, 1e-15);
    EXPECT_NEAR(inverted.most, -direct.least, 1e-15);
}

TEST(SolidAngles, AgreeWithDihedralAnglesInTetrahedra) {
    std::mt19937 random(1);
    for (int k = 0; k < 200; ++k) {
        const auto pos = mapped(regular_tetrahedron(), random);
        expect_corners(pos, 4,
                       {corner_by_girard(pos, 0, 1, 2, 3), corner_by_girard(pos, 1, 0, 2, 3),
                        corner_by_girard(pos, 2, 0, 1, 3), corner_by_girard(pos, 3, 0, 1, 2)});
    }
}

TEST(SolidAngles, AgreeWithDihedralAnglesInWedgesAndHexahedra) {
    std::mt19937 random(2);
    for (int k = 0; k < 100; ++k) {
        const auto wedge = mapped(equilateral_prism(), random);
        std::vector<double> corners;
        for (unsigned v = 0; v < 6; ++v)
            corners.push_back(
                corner_by_girard(wedge, v, (v + 1) % 3 + v / 3 * 3, (v + 2) % 3 + v / 3 * 3, (v + 3) % 6));
        expect_corners(wedge, 6, corners);
        const auto hexahedron = mapped(unit_cube(), random);
        corners.clear();
        for (unsigned v = 0; v < 8; ++v)
            corners.push_back(
                corner_by_girard(hexahedron, v, (v + 1) % 4 + v / 4 * 4, (v + 3) % 4 + v / 4 * 4, (v + 4) % 8));
        expect_corners(hexahedron, 8, corners);
    }
}

TEST(SolidAngles, AddTheTwoConesAtTheApexOfAPyramid) {
    std::mt19937 random(3);
    for (int k = 0; k < 100; ++k) {
        const auto pos = mapped(half_octahedron(), random);
        std::vector<double> corners{corner_by_girard(pos, 4, 0, 3, 2) + corner_by_girard(pos, 4, 2, 1, 0)};
        for (unsigned v = 0; v < 4; ++v)
            corners.push_back(corner_by_girard(pos, v, (v + 1) % 4, (v + 3) % 4, 4));
        expect_corners(pos, 5, corners);
    }
}

TEST(SolidAngles, NormalizeTheApexOfAPyramidByItself) {
    auto pos = half_octahedron();
    pos(2, 4) = 3; // a pointed pyramid: its apex is the smallest corner, normalized or not
    const auto plain = angles(pos, one_element(5, 5));
    const auto normalized = angles(pos, one_element(5, 5), true);
    EXPECT_NEAR(normalized.least, plain.least / (4 * std::asin(1.0 / 3)), 1e-14);
    EXPECT_NEAR(normalized.most, plain.most / (2 * std::asin(1.0 / 3)), 1e-14);
}

TEST(SolidAngles, CountUnusedSlotsOfMixedColumnsAsZeros) {
    for (const auto& pos : {regular_tetrahedron(), half_octahedron(), equilateral_prism()}) {
        const auto pure = angles(pos, one_element(pos.cols(), pos.cols()), true);
        const auto mixed = angles(pos, one_element(pos.cols(), 8), true);
        EXPECT_EQ(mixed.least, 0);
        EXPECT_EQ(mixed.most, pure.most);
    }
    const auto cube = angles(unit_cube(), one_element(8, 8), true);
    EXPECT_NEAR(cube.least, 1, 1e-14);
}

TEST(SolidAngles, KeepTheMostNegativeCornerOfAMixedColumn) {
    const auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
    const auto pure = angles(pos, one_element(4, 4));
    const auto mixed = angles(pos, one_element(4, 8));
    EXPECT_EQ(mixed.least, pure.least);
    EXPECT_LT(mixed.least, 0);
    EXPECT_EQ(mixed.most, 0);
}

TEST(SolidAngles, TreatEachColumnOfAMixedMeshByItsKind) {
    auto pos = unit_cube();
    const double apex[] = {0.5, 0.5, 1};
    pos.append(apex);
    const auto connect = ids({{0, 3, 1, 4, no_node, no_node, no_node, no_node},
                              {0, 1, 2, 3, 8, no_node, no_node, no_node},
                              {0, 1, 3, 4, 5, 7, no_node, no_node},
                              {0, 1, 2, 3, 4, 5, 6, 7}});
    dense1D<double> least(6, 77.0), most(6, 77.0);
    ASSERT_EQ(solid_angles(pos, connect, false, least, most), 0);
    EXPECT_EQ(most[0], angles(pos, ids({{0, 3, 1, 4}})).most);
    EXPECT_EQ(most[1], angles(pos, ids({{0, 1, 2, 3, 8}})).most);
    EXPECT_EQ(most[2], angles(pos, ids({{0, 1, 3, 4, 5, 7}})).most);
    EXPECT_EQ(least[3], angles(pos, ids({{0, 1, 2, 3, 4, 5, 6, 7}})).least);
    EXPECT_EQ(least[4], 77); // behind the elements
    EXPECT_EQ(most[5], 77);
}

TEST(SolidAngles, RefuseBadConnectivitiesAndWriteNothing) {
    const auto pos = unit_cube();
    dense1D<double> least(2, 77.0), most(2, 77.0);
    EXPECT_EQ(solid_angles(pos, ids({{0, 1, 2, 3}, {0, 1, 2, 8}}), true, least, most), -2);
    EXPECT_EQ(solid_angles(pos, ids({{0, 1, 2, 3}, {0, 1, 2, no_node}}), true, least, most), -2);
    for (const std::size_t rows : {1u, 2u, 3u, 7u, 9u, 27u})
        EXPECT_EQ(solid_angles(pos, dense2D<unsigned>(rows, 2, 0u), true, least, most), -2) << rows;
    EXPECT_EQ(solid_angles(dense2D<double>(), ids({{0, 1, 2, 3}}), true, least, most), -2);
    for (std::size_t k = 0; k < 2; ++k)
        EXPECT_TRUE(least[k] == 77 && most[k] == 77);
}

TEST(SolidAngles, AcceptNoElement) {
    dense1D<double> none;
    EXPECT_EQ(solid_angles(dense2D<double>(), dense2D<unsigned>(), true, none, none), 0);
    for (const std::size_t rows : {3u, 4u, 5u, 6u, 7u, 8u})
        EXPECT_EQ(solid_angles(unit_cube(), dense2D<unsigned>(rows, 0), true, none, none), 0);
}

TEST(SolidAngles, TakeMissingCoordinatesAsZeroAndIgnoreFurtherRows) {
    const auto flat = points({{0, 0}, {1, 0}, {0, 1}, {1, 1}});
    const auto in_space = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}});
    const auto expected = angles(in_space, ids({{0, 1, 2, 3}}));
    EXPECT_EQ(angles(flat, ids({{0, 1, 2, 3}})).least, expected.least);
    EXPECT_EQ(angles(dense2D<double>(0, 4), ids({{0, 1, 2, 3}})).least, 0);
    dense2D<double> wide(5, 8, 9.0);
    const auto cube = unit_cube();
    for (std::size_t j = 0; j < 8; ++j)
        std::copy_n(cube.col(j), 3, wide.col(j));
    EXPECT_NEAR(angles(wide, one_element(8, 8), true).least, 1, 1e-14);
}

TEST(SolidAngles, ReadWindowsAndWriteThroughSharedStorage) {
    const auto pos = as_window(regular_tetrahedron(), not_a_number);
    const auto connect = as_window(ids({{0, 1, 2, 3}, {0, 2, 1, 3}}), 5u);
    dense1D<double> least(2, 0.0), most(2, 0.0);
    const dense1D<double> other_view = least;
    ASSERT_EQ(solid_angles(pos, connect, true, least, most), 0);
    EXPECT_NEAR(other_view[0], 1, 1e-13);
    EXPECT_NEAR(other_view[1], -1, 1e-13);
}

TEST(SolidAngles, OfElementsWithoutSizeAreZero) {
    const dense2D<double> pos(3, 8, 2.0);
    for (const std::size_t nodes : {4u, 5u, 6u, 8u}) {
        const auto [least, most] = angles(pos, one_element(nodes, nodes));
        EXPECT_EQ(least, 0);
        EXPECT_EQ(most, 0);
    }
}

TEST(SolidAngles, SurviveValuesThatAreNoNumbers) {
    for (const double bad : {not_a_number, std::numeric_limits<double>::infinity(), 1e308, 5e-324}) {
        auto pos = unit_cube();
        pos(1, 6) = bad;
        dense1D<double> least(1), most(1);
        EXPECT_EQ(solid_angles(pos, one_element(8, 8), true, least, most), 0);
        pos = regular_tetrahedron();
        pos(0, 0) = bad;
        EXPECT_EQ(solid_angles(pos, one_element(4, 8), true, least, most), 0);
    }
}

TEST(SolidAngles, DoNotDependOnPlaceAndSize) {
    for (const double size : {1e-70, 1e-3, 1e70}) {
        auto pos = half_octahedron();
        for (std::size_t k = 0; k < pos.size(); ++k)
            pos.data()[k] *= size;
        const auto [least, most] = angles(pos, one_element(5, 5), true);
        EXPECT_NEAR(least, 1, 1e-14) << size;
        EXPECT_NEAR(most, 1, 1e-14) << size;
    }
}
