#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::volume;

namespace {

constexpr double third = 1.0 / 3;
constexpr double sixth = 1.0 / 6;
constexpr unsigned none = no_node;

dense2D<double> unit_cube() {
    return points(
        {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}, {0.5, 0.5, 1}});
}

double volume_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    double vol = -7;
    EXPECT_EQ(volume(pos, connect, vol), 0);
    return vol;
}

} // namespace

TEST(Volume, UnitElementsHaveTheirSignedVolumes) {
    const auto pos = unit_cube();
    EXPECT_DOUBLE_EQ(volume_of(pos, ids({{0, 1, 3, 4}})), -sixth);
    EXPECT_DOUBLE_EQ(volume_of(pos, ids({{0, 3, 1, 4}})), sixth);
    EXPECT_DOUBLE_EQ(volume_of(pos, ids({{0, 1, 2, 3, 8}})), third);
    EXPECT_DOUBLE_EQ(volume_of(pos, ids({{0, 1, 3, 4, 5, 7}})), 0.5);
    EXPECT_DOUBLE_EQ(volume_of(pos, ids({{0, 1, 2, 3, 4, 5, 6, 7}})), 1);
}

TEST(Volume, MixedColumnsCountByTheirUnusedTail) {
    const auto pos = unit_cube();
    const auto mixed = ids({{0, 1, 3, 4, none, none, none, none},
                            {0, 1, 2, 3, 8, none, none, none},
                            {0, 1, 3, 4, 5, 7, none, none},
                            {0, 1, 2, 3, 4, 5, 6, 7}});
    EXPECT_DOUBLE_EQ(volume_of(pos, mixed), -sixth + third + 0.5 + 1);
}

TEST(Volume, AMirroredCopyCancelsItsElement) {
    EXPECT_EQ(volume_of(unit_cube(), ids({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 7, 0, 1, 2, 3}})), 0);
}

TEST(Volume, AHexahedronWithWarpedFacesIsItsFiveTetrahedra) {
    auto pos = unit_cube();
    for (unsigned j = 0; j < 8; ++j)
        for (unsigned i = 0; i < 3; ++i)
            pos(i, j) += 0.2 * std::sin(7.0 * j + 3.0 * i);
    // Written as direct tetrahedra of our sense; the split is the one of nodes 1, 4, 6, 3 and the corners 5, 7, 0, 2.
    const auto pieces = ids({{1, 5, 4, 6}, {3, 7, 6, 4}, {4, 6, 3, 1}, {0, 4, 3, 1}, {6, 2, 3, 1}});
    EXPECT_NEAR(volume_of(pos, ids({{0, 1, 2, 3, 4, 5, 6, 7}})), volume_of(pos, pieces), 1e-15);
    const auto other_split = ids({{0, 2, 1, 5}, {2, 7, 6, 5}, {0, 7, 5, 4}, {0, 3, 2, 7}, {0, 2, 5, 7}});
    EXPECT_GT(std::fabs(volume_of(pos, other_split) - volume_of(pos, pieces)), 1e-3);
}

TEST(Volume, AWedgeWithWarpedFacesIsItsThreeTetrahedra) {
    const auto pos = points({{0, 0, 0}, {1.1, 0.1, 0}, {0.2, 1, -0.1}, {0, 0.3, 1}, {1, 0, 1.4}, {-0.1, 1, 0.8}});
    const auto pieces = ids({{1, 2, 4, 0}, {2, 3, 4, 0}, {3, 4, 5, 2}});
    EXPECT_NEAR(volume_of(pos, ids({{0, 1, 2, 3, 4, 5}})), volume_of(pos, pieces), 1e-15);
}

TEST(Volume, ChecksComeInOrderAndLeaveZero) {
    const auto pos = unit_cube();
    const dense2D<double> flat(2, 9, 0.0);
    const auto bad = ids({{0, 1, 2, 9}});
    double vol = 5;
    EXPECT_EQ(volume(flat, dense2D<unsigned>(), vol), 0);
    EXPECT_EQ(vol, 0);
    vol = 5;
    EXPECT_EQ(volume(flat, dense2D<unsigned>(7, 0), vol), 0);
    EXPECT_EQ(vol, 0);
    vol = 5;
    EXPECT_EQ(volume(flat, bad, vol), -1); // the second argument is bad, too
    EXPECT_EQ(vol, 0);
    vol = 5;
    EXPECT_EQ(volume(pos, bad, vol), -2);
    EXPECT_EQ(vol, 0);
}

TEST(Volume, RefusesMalformedConnectivities) {
    const auto pos = unit_cube();
    double vol = 5;
    for (const std::size_t rows : {1u, 2u, 3u, 7u, 9u, 10u, 27u})
        EXPECT_EQ(volume(pos, dense2D<unsigned>(rows, 1, 0u), vol), -2) << rows << " rows";
    EXPECT_EQ(volume(pos, ids({{0, 1, 2, none}}), vol), -2);
    EXPECT_EQ(volume(pos, ids({{0, 1, 2, 3, none}}), vol), -2);
    EXPECT_EQ(volume(pos, ids({{0, 1, 2, none, none, none, none, none}}), vol), -2);
    EXPECT_EQ(volume(pos, ids({{0, 1, 2, 3, 4, 5, 6, none}}), vol), -2);
    EXPECT_EQ(volume(pos, ids({{0, 1, 2, 3, none, 5, none, none}}), vol), -2);
    EXPECT_EQ(volume(dense2D<double>(3, 0), ids({{0, 0, 0, 0}}), vol), -2);
}

TEST(Volume, FindsABadNodeBehindManyGoodElements) {
    dense2D<unsigned> connect(4, 5000, 0u);
    connect(2, 4999) = 9;
    double vol = 5;
    EXPECT_EQ(volume(unit_cube(), connect, vol), -2);
    EXPECT_EQ(vol, 0);
}

TEST(Volume, SumsInColumnOrder) {
    // 1e16 swallows single units: only the order of the columns gives this sum.
    const auto pos = points({{0, 0, 0}, {0, 6e16, 0}, {1, 0, 0}, {0, 0, 1}, {0, 6, 0}});
    dense2D<unsigned> connect(4, 0);
    const unsigned huge[] = {0, 1, 2, 3}, minus_huge[] = {0, 2, 1, 3}, small[] = {0, 4, 2, 3};
    for (const unsigned* element : {small, huge, small, small, minus_huge, small})
        connect.append(element);
    double expected = 0;
    for (const double six_volume : {6.0, 6e16, 6.0, 6.0, -6e16, 6.0})
        expected += six_volume;
    EXPECT_EQ(volume_of(pos, connect), expected * 0.16666666666666666);
}

TEST(Volume, ReadsWindowsOfLargerMatrices) {
    const auto pos = as_window(unit_cube(), std::numeric_limits<double>::quiet_NaN());
    const auto connect = as_window(ids({{0, 1, 2, 3, 4, 5, 6, 7}, {0, 1, 2, 3, 8, none, none, none}}), 77u);
    EXPECT_DOUBLE_EQ(volume_of(pos, connect), 1 + third);
}

TEST(Volume, CarriesNonFiniteCoordinatesThrough) {
    auto pos = unit_cube();
    pos(1, 2) = std::numeric_limits<double>::quiet_NaN();
    double vol = 0;
    EXPECT_EQ(volume(pos, ids({{0, 1, 2, 3, 4, 5, 6, 7}}), vol), 0);
    EXPECT_TRUE(std::isnan(vol));
}

TEST(Volume, GivesTheSameBitsForEveryWayToStoreAMesh) {
    dense2D<double> pos(3, 400);
    for (unsigned j = 0; j < 400; ++j)
        for (unsigned i = 0; i < 3; ++i)
            pos(i, j) = std::sin(1.7 * j + 0.9 * i);
    dense2D<unsigned> connect(8, 3000);
    for (unsigned e = 0; e < 3000; ++e)
        for (unsigned k = 0; k < 8; ++k)
            connect(k, e) = (e * 31 + k * 97 + e * k) % 400;
    const double contiguous = volume_of(pos, connect);
    EXPECT_NE(contiguous, 0);
    EXPECT_EQ(volume_of(as_window(pos, 3.0), as_window(connect, 5u)), contiguous);
}
