#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <limits>

#include "measure/angle_meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::circumcenters;

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

std::vector<double> centre_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    dense2D<double> centers;
    EXPECT_EQ(circumcenters(pos, connect, centers), 0);
    EXPECT_EQ(centers.rows(), 3u);
    return column(centers, 0);
}

void expect_point(const std::vector<double>& found, double x, double y, double z, double tolerance) {
    EXPECT_NEAR(found[0], x, tolerance);
    EXPECT_NEAR(found[1], y, tolerance);
    EXPECT_NEAR(found[2], z, tolerance);
}

long double distance(const dense2D<double>& pos, std::size_t node, const std::vector<double>& point) {
    long double square = 0;
    for (unsigned i = 0; i < 3; ++i)
        square += ((long double)pos(i, node) - point[i]) * ((long double)pos(i, node) - point[i]);
    return std::sqrt(square);
}

double volume_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    double vol = 0;
    EXPECT_EQ(meldra3d::volume(pos, connect, vol), 0);
    return vol;
}

const auto corner = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}});

} // namespace

TEST(Circumcenters, OfACornerOfTheCubeIsItsMiddle) {
    expect_point(centre_of(corner, ids({{0, 1, 2, 3}})), 0.5, 0.5, 0.5, 1e-15);
}

TEST(Circumcenters, OfAnInvertedTetrahedronIsTheCentreOfTheFaceOppositeNode0) {
    expect_point(centre_of(corner, ids({{0, 2, 1, 3}})), 1.0 / 3, 1.0 / 3, 1.0 / 3, 1e-15);
}

TEST(Circumcenters, OfAFlatTetrahedronIsTheCentreOfThatFace) {
    const auto pos = points({{5, 5, 0}, {0, 0, 0}, {2, 0, 0}, {0, 2, 0}});
    expect_point(centre_of(pos, ids({{0, 1, 2, 3}})), 1, 1, 0, 1e-15);
    expect_point(centre_of(pos, ids({{0, 2, 1, 3}})), 1, 1, 0, 1e-15);
}

TEST(Circumcenters, OfATetrahedronWithCollinearNodesIsNode3) {
    const auto pos = points({{0, 7, 0}, {1, 1, 1}, {2, 2, 2}, {4, 4, 4}});
    EXPECT_EQ(centre_of(pos, ids({{0, 1, 2, 3}})), column(pos, 3));
    EXPECT_EQ(centre_of(pos, ids({{0, 2, 3, 1}})), column(pos, 1));
    EXPECT_EQ(centre_of(pos, ids({{0, 1, 1, 2}})), column(pos, 2));
    EXPECT_EQ(centre_of(pos, ids({{3, 3, 3, 3}})), column(pos, 3));
}

TEST(Circumcenters, AreEquallyFarFromTheNodesOfDirectTetrahedra) {
    std::mt19937 random(7);
    const auto connect = ids({{0, 1, 2, 3}});
    for (int k = 0; k < 500; ++k) {
        const auto pos = mapped(regular_tetrahedron(), random);
        ASSERT_GT(volume_of(pos, connect), 0);
        const auto centre = centre_of(pos, connect);
        const long double radius = distance(pos, 0, centre);
        for (std::size_t node = 1; node < 4; ++node)
            EXPECT_NEAR(double(distance(pos, node, centre) / radius), 1, 1e-11);
    }
}

TEST(Circumcenters, KeepTheirAccuracyInSlivers) {
    // A needle and a cap, with each node in turn as the apex.
    for (const auto& pos : {points({{0, 0, 0}, {1e-5, 1e-5, 0}, {1e-5, 0, 0}, {0.1, 0.2, 1}}),
                            points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0.3, 0.3, 1e-4}})})
        for (const auto& connect :
             {ids({{0, 1, 2, 3}}), ids({{1, 0, 3, 2}}), ids({{2, 3, 0, 1}}), ids({{3, 2, 1, 0}})}) {
            ASSERT_GT(volume_of(pos, connect), 0);
            const auto centre = centre_of(pos, connect);
            const long double radius = distance(pos, 0, centre);
            for (std::size_t node = 1; node < 4; ++node)
                EXPECT_NEAR(double(distance(pos, node, centre) / radius), 1, 1e-10);
        }
}

RC_GTEST_PROP(Circumcenters, FollowARotationOfTheNodes, ()) {
    auto pos = dense2D<double>(3, 4);
    for (std::size_t k = 0; k < 12; ++k)
        pos.data()[k] = *rc::gen::inRange(-50, 50);
    const bool direct = volume_of(pos, ids({{0, 1, 2, 3}})) > 0;
    RC_PRE(direct);
    // Even exchanges of nodes keep a tetrahedron direct: the centre is the same.
    const auto first = centre_of(pos, ids({{0, 1, 2, 3}}));
    const double radius = double(distance(pos, 0, first));
    for (const auto& connect : {ids({{1, 2, 0, 3}}), ids({{1, 0, 3, 2}}), ids({{3, 1, 0, 2}})}) {
        const auto centre = centre_of(pos, connect);
        for (unsigned i = 0; i < 3; ++i)
            RC_ASSERT(std::fabs(centre[i] - first[i]) <= 1e-9 * radius);
    }
}

TEST(Circumcenters, ChecksComeInOrderAndEmptyTheOutput) {
    const dense2D<double> flat(2, 4, 0.0);
    const auto filled = [] { return dense2D<double>(3, 2, 1.0); };
    auto centers = filled();
    EXPECT_EQ(circumcenters(flat, dense2D<unsigned>(), centers), -1);
    EXPECT_TRUE(centers.rows() == 0 && centers.cols() == 0);
    for (const std::size_t rows : {0u, 3u, 5u, 8u}) {
        centers = filled();
        EXPECT_EQ(circumcenters(corner, dense2D<unsigned>(rows, rows == 0 ? 0u : 1u, 0u), centers), -2) << rows;
        EXPECT_TRUE(centers.rows() == 0 && centers.cols() == 0);
    }
    centers = filled();
    EXPECT_EQ(circumcenters(corner, ids({{0, 1, 2, 4}}), centers), -2);
    EXPECT_EQ(circumcenters(corner, ids({{0, 1, 2, no_node}}), centers), -2);
    EXPECT_TRUE(centers.empty());
}

TEST(Circumcenters, OfNoTetrahedronAreAnEmptyMatrixOfThreeRows) {
    dense2D<double> centers(3, 5, 1.0);
    EXPECT_EQ(circumcenters(corner, dense2D<unsigned>(4, 0), centers), 0);
    EXPECT_EQ(centers.rows(), 3u);
    EXPECT_EQ(centers.cols(), 0u);
}

TEST(Circumcenters, MayTakeThePlaceOfTheNodes) {
    dense2D<double> pos = corner;
    const dense2D<double> other_view = pos;
    ASSERT_EQ(circumcenters(pos, ids({{0, 1, 2, 3}, {0, 2, 1, 3}}), pos), 0);
    ASSERT_EQ(pos.cols(), 2u);
    expect_point(column(pos, 0), 0.5, 0.5, 0.5, 1e-15);
    EXPECT_EQ(entries(other_view), entries(corner));
    auto part = other_view.sub(0, 0, 3, 2); // a view of the nodes' own memory
    ASSERT_EQ(circumcenters(other_view, ids({{0, 1, 2, 3}}), part), 0);
    expect_point(column(part, 0), 0.5, 0.5, 0.5, 1e-15);
    EXPECT_EQ(entries(other_view), entries(corner));
}

TEST(Circumcenters, ReadWindows) {
    dense2D<double> centers;
    ASSERT_EQ(circumcenters(as_window(corner, not_a_number), as_window(ids({{0, 1, 2, 3}, {0, 2, 1, 3}}), 9u), centers),
              0);
    expect_point(column(centers, 0), 0.5, 0.5, 0.5, 1e-15);
    expect_point(column(centers, 1), 1.0 / 3, 1.0 / 3, 1.0 / 3, 1e-15);
}

TEST(Circumcenters, SurviveValuesThatAreNoNumbers) {
    for (std::size_t node = 0; node < 4; ++node) {
        dense2D<double> pos;
        ASSERT_TRUE(pos.copy(corner));
        pos(2, node) = not_a_number;
        const auto centre = centre_of(pos, ids({{0, 1, 2, 3}}));
        if (node == 0) // not above the face: the face's own centre, which does not know node 0
            expect_point(centre, 1.0 / 3, 1.0 / 3, 1.0 / 3, 1e-15);
        else // a face whose area is not a number counts as flat
            EXPECT_EQ(centre[0], pos(0, 3));
    }
}
