#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <numbers>

#include "measure/angle_meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::dihedral_angles;

namespace {

constexpr double pi = std::numbers::pi;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

least_and_most angles(const dense2D<double>& pos, const dense2D<unsigned>& connect, bool normalized = false) {
    return angles_of(dihedral_angles, pos, connect, normalized);
}

/// An edge, and one further node of each of its two faces.
using edge_with_sides = std::array<unsigned, 4>;

void expect_edges(const dense2D<double>& pos, const std::vector<edge_with_sides>& edges) {
    std::vector<double> at_edges;
    for (const auto& [a, b, c, d] : edges)
        at_edges.push_back(double(angle_at_edge(pos, a, b, c, d)));
    const auto [least, most] = angles(pos, one_element(pos.cols(), pos.cols()));
    EXPECT_NEAR(least, *std::min_element(at_edges.begin(), at_edges.end()), 1e-12);
    EXPECT_NEAR(most, *std::max_element(at_edges.begin(), at_edges.end()), 1e-12);
}

} // namespace

TEST(DihedralAngles, AreOneInRegularElementsWhenNormalized) {
    for (const auto& pos : {regular_tetrahedron(), half_octahedron(), equilateral_prism(), unit_cube()}) {
        const auto [least, most] = angles(pos, one_element(pos.cols(), pos.cols()), true);
        EXPECT_NEAR(least, 1, 1e-13) << pos.cols();
        EXPECT_NEAR(most, 1, 1e-13) << pos.cols();
    }
}

TEST(DihedralAngles, AreInRadiansWhenNot) {
    const auto tetrahedron = angles(regular_tetrahedron(), one_element(4, 4));
    EXPECT_NEAR(tetrahedron.least, std::acos(1.0 / 3), 1e-15);
    EXPECT_NEAR(tetrahedron.most, std::acos(1.0 / 3), 1e-15);
    const auto cube = angles(unit_cube(), one_element(8, 8));
    EXPECT_DOUBLE_EQ(cube.least, pi / 2);
    EXPECT_DOUBLE_EQ(cube.most, pi / 2);
    const auto pyramid = angles(half_octahedron(), one_element(5, 5));
    EXPECT_NEAR(pyramid.least, std::atan(sqrt2), 1e-14);
    EXPECT_NEAR(pyramid.most, 2 * std::atan(sqrt2), 1e-14);
    const auto prism = angles(equilateral_prism(), one_element(6, 6));
    EXPECT_NEAR(prism.least, pi / 3, 1e-14);
    EXPECT_NEAR(prism.most, pi / 2, 1e-14);
}

TEST(DihedralAngles, AgreeWithTheAngleAcrossTheEdgeInTetrahedra) {
    std::mt19937 random(4);
    for (int k = 0; k < 300; ++k)
        expect_edges(mapped(regular_tetrahedron(), random),
                     {{0, 1, 2, 3}, {0, 2, 1, 3}, {0, 3, 1, 2}, {1, 2, 0, 3}, {1, 3, 0, 2}, {2, 3, 0, 1}});
}

TEST(DihedralAngles, AgreeWithTheAngleAcrossTheEdgeInElementsWithPlanarFaces) {
    std::mt19937 random(5);
    for (int k = 0; k < 100; ++k) {
        std::vector<edge_with_sides> edges;
        for (unsigned v = 0; v < 4; ++v) {
            edges.push_back({v, 4, (v + 1) % 4, (v + 3) % 4});
            edges.push_back({v, (v + 1) % 4, 4, (v + 2) % 4});
        }
        expect_edges(mapped(half_octahedron(), random), edges);
        edges.clear();
        for (unsigned v = 0; v < 3; ++v) {
            const unsigned next = (v + 1) % 3, last = (v + 2) % 3;
            edges.push_back({v, v + 3, next, last});
            edges.push_back({v, next, last, v + 3});
            edges.push_back({v + 3, next + 3, last + 3, v});
        }
        expect_edges(mapped(equilateral_prism(), random), edges);
        edges.clear();
        for (unsigned v = 0; v < 4; ++v) {
            const unsigned next = (v + 1) % 4, last = (v + 3) % 4;
            edges.push_back({v, v + 4, next, last});
            edges.push_back({v, next, last, v + 4});
            edges.push_back({v + 4, next + 4, last + 4, v});
        }
        expect_edges(mapped(unit_cube(), random), edges);
    }
}

TEST(DihedralAngles, NormalizeEdgesByWhatMeetsThere) {
    // A high prism over a thin triangle: the smallest angle lies between two quadrangles, all others are right.
    const auto wedge = points({{0, 0, 0}, {1, 0, 0}, {1, 0.1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 0.1, 1}});
    const auto prism = angles(wedge, one_element(6, 6), true);
    EXPECT_NEAR(prism.least, std::atan(0.1) / (pi / 3), 1e-13);
    EXPECT_NEAR(prism.most, (pi / 2) / (pi / 3), 1e-13);
    // A flat pyramid: small angles at the base, large ones at the lateral edges.
    auto pos = half_octahedron();
    pos(2, 4) = 0.05;
    const auto pyramid = angles(pos, one_element(5, 5), true);
    EXPECT_NEAR(pyramid.least, std::atan(0.1) / std::atan(sqrt2), 1e-13);
    EXPECT_NEAR(pyramid.most, double(angle_at_edge(pos, 0, 4, 1, 3)) / (2 * std::atan(sqrt2)), 1e-13);
}

TEST(DihedralAngles, AreTheSameInAMixedMesh) {
    for (const auto& pos : {regular_tetrahedron(), half_octahedron(), equilateral_prism()}) {
        const auto pure = angles(pos, one_element(pos.cols(), pos.cols()));
        const auto mixed = angles(pos, one_element(pos.cols(), 8));
        EXPECT_EQ(mixed.least, pure.least);
        EXPECT_EQ(mixed.most, pure.most);
    }
}

TEST(DihedralAngles, AreTheSameInAnInvertedTetrahedron) {
    std::mt19937 random(6);
    const auto pos = mapped(regular_tetrahedron(), random);
    const auto direct = angles(pos, ids({{0, 1, 2, 3}}));
    const auto inverted = angles(pos, ids({{1, 0, 2, 3}}));
    EXPECT_NEAR(direct.least, inverted.least, 1e-14);
    EXPECT_NEAR(direct.most, inverted.most, 1e-14);
}

TEST(DihedralAngles, OfWarpedHexahedraTakeTheFirstThreeNodesOfAFace) {
    auto pos = unit_cube();
    pos(2, 3) = 0.5; // the fourth node of the base: its plane stays that of nodes 0, 1 and 2
    const auto base_and_front = angle_at_edge(pos, 0, 1, 2, 4);
    EXPECT_NEAR(double(base_and_front), pi / 2, 1e-15);
    const auto [least, most] = angles(pos, one_element(8, 8));
    // The face at x = 0 stays plane; that at y = 1 begins at node 3, and stays plane, too. Only the base is warped.
    EXPECT_NEAR(least, pi / 2, 1e-14);
    EXPECT_NEAR(most, pi / 2, 1e-14);
}

TEST(DihedralAngles, AreZeroWhereAFaceHasNoArea) {
    auto pos = regular_tetrahedron();
    std::copy_n(pos.col(0), 3, pos.col(1));
    EXPECT_EQ(angles(pos, one_element(4, 4)).least, 0);
    const dense2D<double> point(3, 8, 2.0);
    for (const std::size_t nodes : {4u, 5u, 6u, 8u})
        EXPECT_EQ(angles(point, one_element(nodes, nodes)).most, 0);
}

TEST(DihedralAngles, OfAFlatTetrahedronAreZeroAndPi) {
    const auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    const auto [least, most] = angles(pos, ids({{0, 1, 2, 3}}));
    EXPECT_EQ(least, 0);
    EXPECT_EQ(most, pi);
}

TEST(DihedralAngles, AreNeverOutsideOfTheirRange) {
    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {not_a_number, inf, -inf, 1e308, 1e150, 5e-324, 1e-170}) {
        auto pos = unit_cube();
        pos(1, 6) = bad;
        for (const std::size_t nodes : {4u, 5u, 6u, 8u}) {
            pos(0, nodes - 1) = bad;
            const auto [least, most] = angles(pos, one_element(nodes, 8));
            EXPECT_TRUE(0 <= least && least <= most && most <= pi) << bad << " " << nodes;
        }
    }
    auto pos = regular_tetrahedron();
    pos(0, 0) = not_a_number; // node 0 lies in three faces: no pair of faces is left
    EXPECT_EQ(angles(pos, one_element(4, 4)).most, 0);
}

TEST(DihedralAngles, RefuseBadConnectivitiesAndWriteNothing) {
    const auto pos = unit_cube();
    dense1D<double> least(2, 77.0), most(2, 77.0);
    EXPECT_EQ(dihedral_angles(pos, ids({{0, 1, 2, 3}, {0, 1, 2, 8}}), true, least, most), -2);
    EXPECT_EQ(dihedral_angles(pos, ids({{0, 1, 2, 3}, {0, 1, 2, no_node}}), true, least, most), -2);
    for (const std::size_t rows : {1u, 2u, 3u, 7u, 9u, 27u})
        EXPECT_EQ(dihedral_angles(pos, dense2D<unsigned>(rows, 2, 0u), true, least, most), -2) << rows;
    for (std::size_t k = 0; k < 2; ++k)
        EXPECT_TRUE(least[k] == 77 && most[k] == 77);
}

TEST(DihedralAngles, AcceptNoElementAndLeaveFurtherEntries) {
    dense1D<double> none;
    EXPECT_EQ(dihedral_angles(dense2D<double>(), dense2D<unsigned>(), true, none, none), 0);
    EXPECT_EQ(dihedral_angles(unit_cube(), dense2D<unsigned>(4, 0), true, none, none), 0);
    dense1D<double> least(3, 77.0), most(3, 77.0);
    EXPECT_EQ(dihedral_angles(unit_cube(), one_element(8, 8), true, least, most), 0);
    EXPECT_EQ(least[1], 77);
    EXPECT_EQ(most[2], 77);
}

TEST(DihedralAngles, ReadWindowsAndPartialCoordinates) {
    dense1D<double> least(2), most(2);
    const dense1D<double> other_view = most;
    ASSERT_EQ(dihedral_angles(as_window(regular_tetrahedron(), not_a_number),
                              as_window(ids({{0, 1, 2, 3}, {0, 2, 1, 3}}), 5u), true, least, most),
              0);
    EXPECT_NEAR(other_view[0], 1, 1e-13);
    EXPECT_NEAR(other_view[1], 1, 1e-13);
    const auto flat = points({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    EXPECT_EQ(angles(flat, ids({{0, 1, 2, 3}})).most, pi);
}
