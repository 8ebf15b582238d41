#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "support/failing_alloc.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra2d::normals;

namespace {

constexpr unsigned none = no_node;
constexpr double pi = std::numbers::pi;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

/// The angle-weighted sums.
dense2D<double> sums_of(const dense2D<double>& pos, const dense2D<unsigned>& surface) {
    dense2D<double> sums;
    EXPECT_EQ(normals(pos, surface, 0, false, sums), 0);
    EXPECT_EQ(sums.rows(), 3u);
    EXPECT_EQ(sums.cols(), pos.cols());
    return sums;
}

dense2D<double> units_of(const dense2D<double>& pos, const dense2D<unsigned>& surface, double tolerance = 0) {
    dense2D<double> units;
    EXPECT_EQ(normals(pos, surface, tolerance, true, units), 0);
    EXPECT_EQ(units.cols(), pos.cols());
    return units;
}

#define EXPECT_VECTOR(matrix, j, x, y, z)                                                                              \
    do {                                                                                                               \
        EXPECT_NEAR((matrix)(0, j), x, 4e-15) << "node " << (j);                                                       \
        EXPECT_NEAR((matrix)(1, j), y, 4e-15) << "node " << (j);                                                       \
        EXPECT_NEAR((matrix)(2, j), z, 4e-15) << "node " << (j);                                                       \
    } while (false)

const dense2D<double> square = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});

/// The unit cube; faces counter-clockwise from outside.
const dense2D<double> cube =
    points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
const dense2D<unsigned> cube_faces =
    ids({{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}});

} // namespace

TEST(Normals, FollowTheRightHandRule) {
    EXPECT_EQ(entries(units_of(square, ids({{0, 1, 2}}))), (std::vector<double>{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(entries(units_of(square, ids({{0, 2, 1}}))),
              (std::vector<double>{0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, 0}));
    EXPECT_EQ(entries(units_of(square, ids({{0, 1, 2, 3}}))),
              (std::vector<double>{0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1}));
}

TEST(Normals, TheSumsAreAngles) {
    const auto sums = sums_of(square, ids({{0, 1, 2}}));
    EXPECT_VECTOR(sums, 0, 0, 0, pi / 4);
    EXPECT_VECTOR(sums, 1, 0, 0, pi / 2);
    EXPECT_VECTOR(sums, 2, 0, 0, pi / 4);
    EXPECT_VECTOR(sums, 3, 0, 0, 0);
}

TEST(Normals, AnInnerNodeOfAPlaneHasAllTheWayRound) {
    // Five triangles of different angles round node 0.
    const auto pos = points({{0, 0, 0}, {3, 0, 0}, {0.1, 1, 0}, {-2, 1, 0}, {-1, -5, 0}, {0.5, -0.1, 0}});
    const auto sums = sums_of(pos, ids({{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {4, 5, 0}, {1, 0, 5}}));
    EXPECT_VECTOR(sums, 0, 0, 0, 2 * pi);
}

TEST(Normals, ACubeHasItsDiagonalsHoweverItIsCut) {
    const auto by_quadrangles = units_of(cube, cube_faces);
    const auto sums = sums_of(cube, cube_faces);
    for (std::size_t j = 0; j < 8; ++j) {
        double d[3];
        for (unsigned i = 0; i < 3; ++i)
            d[i] = cube(i, j) == 0 ? -1 : 1;
        EXPECT_VECTOR(by_quadrangles, j, d[0] / std::sqrt(3), d[1] / std::sqrt(3), d[2] / std::sqrt(3));
        EXPECT_VECTOR(sums, j, d[0] * pi / 2, d[1] * pi / 2, d[2] * pi / 2);
    }
    // Each face along one diagonal or the other: 64 ways.
    for (unsigned cut = 0; cut < 64; ++cut) {
        dense2D<unsigned> triangles(3, 0);
        for (unsigned f = 0; f < 6; ++f) {
            const unsigned* const q = cube_faces.col(f);
            const unsigned s = cut >> f & 1;
            const unsigned one[] = {q[s], q[s + 1], q[s + 2]};
            const unsigned two[] = {q[s], q[s + 2], q[(s + 3) % 4]};
            triangles.append(one);
            triangles.append(two);
        }
        const auto by_triangles = units_of(cube, triangles);
        for (std::size_t j = 0; j < 8; ++j)
            EXPECT_VECTOR(by_triangles, j, by_quadrangles(0, j), by_quadrangles(1, j), by_quadrangles(2, j));
    }
}

TEST(Normals, TheCornerOfAWarpedQuadrangleHasItsTwoEdges) {
    const auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 1}, {0, 1, 0}});
    const auto sums = sums_of(pos, ids({{0, 1, 2, 3}}));
    EXPECT_VECTOR(sums, 0, 0, 0, pi / 2);
    // (0, 1, 1) x (-1, 0, 0) = (0, -1, 1), a right angle.
    EXPECT_VECTOR(sums, 1, 0, -pi / 2 / std::sqrt(2), pi / 2 / std::sqrt(2));
    EXPECT_VECTOR(sums, 3, -pi / 2 / std::sqrt(2), 0, pi / 2 / std::sqrt(2));
    // (-1, 0, -1) x (0, -1, -1) = (-1, -1, 1), 60 degrees.
    const double part = pi / 3 / std::sqrt(3);
    EXPECT_VECTOR(sums, 2, -part, -part, part);
}

TEST(Normals, AMixedSurfaceIsTheSumOfItsFaces) {
    const auto mixed = ids({{0, 1, 5, 4}, {0, 3, 1, none}, {4, 5, 6, 7}, {3, 2, 1, none}, {2, 6, 5, none}});
    const auto sums = sums_of(cube, mixed);
    std::vector<double> expected(24, 0.0);
    for (std::size_t f = 0; f < mixed.cols(); ++f) {
        const auto of_one = entries(sums_of(cube, mixed.sub(0, f, mixed(3, f) == none ? 3 : 4, 1)));
        for (std::size_t k = 0; k < expected.size(); ++k)
            expected[k] += of_one[k];
    }
    for (std::size_t k = 0; k < expected.size(); ++k)
        EXPECT_NEAR(sums.data()[k], expected[k], 1e-15);
}

TEST(Normals, ACornerThatPointsInHasTheAngleOutside) {
    // An arrowhead: the corner at node 2 measures 270 degrees. Cut along 0-2 it is two triangles.
    const auto pos = points({{0, 0, 0}, {4, 2, 0}, {2, 2, 0}, {2, 4, 0}});
    const auto whole = sums_of(pos, ids({{0, 1, 2, 3}}));
    const auto cut = sums_of(pos, ids({{0, 1, 2}, {0, 2, 3}}));
    EXPECT_VECTOR(whole, 2, 0, 0, 3 * pi / 2);
    for (std::size_t j = 0; j < 4; ++j)
        EXPECT_VECTOR(whole, j, 0, 0, cut(2, j));
}

TEST(Normals, AStraightCornerTakesTheSideOfTheFace) {
    // Node 2 halves a side. Its edges are parallel within rounding in a general direction.
    const double s = 0.1, c = 0.7, h = 1.0 / 3;
    const auto pos = points(
        {{0, 0, 0}, {s, c, h}, {s / 2 + 1, c / 2, h / 2}, {2 - s + s, 0, 0}}); // a triangle 0, 3, 1 with 2 on 3-1
    const auto whole = sums_of(pos, ids({{0, 3, 2, 1}}));
    const double length = std::sqrt(c * c + h * h);
    EXPECT_VECTOR(whole, 2, 0, -pi * h / length, pi * c / length);
    const auto cut = sums_of(pos, ids({{0, 3, 2}, {0, 2, 1}}));
    for (const std::size_t j : {0u, 1u, 3u})
        EXPECT_VECTOR(whole, j, cut(0, j), cut(1, j), cut(2, j));
}

TEST(Normals, AFaceWithoutAreaHasNoSay) {
    const auto pos = points(
        {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.1, 0.2, 0.3}, {0.2, 0.4, 0.6}, {0.3, 0.6, 0.9}, {0, 0, 0}});
    const auto alone = sums_of(pos, ids({{0, 1, 2, 3}}));
    const std::vector<dense2D<unsigned>> without_area{
        ids({{0, 0, 0, none}}), ids({{0, 1, 0, none}}), ids({{0, 0, 1, none}}), ids({{0, 7, 1, none}}),
        ids({{2, 2, 2, 2}}),    ids({{0, 7, 0, 7}}),    ids({{4, 5, 6, none}}), ids({{5, 6, 4, none}})};
    for (const auto& flat : without_area) {
        EXPECT_EQ(entries(sums_of(pos, flat)), std::vector<double>(24, 0.0));
        EXPECT_EQ(entries(units_of(pos, flat)), std::vector<double>(24, 0.0));
        dense2D<unsigned> both = ids({{0, 1, 2, 3}});
        both.append(flat.data());
        EXPECT_EQ(entries(sums_of(pos, both)), entries(alone));
    }
}

TEST(Normals, OppositeFacesCancel) {
    const auto pos = points({{0.1, 0.7, 0.3}, {1.3, 0.2, 0.9}, {0.4, 1.1, -0.6}, {-0.3, 1.7, 0.2}});
    for (const auto& folded : {ids({{0, 1, 2}, {2, 1, 0}}), ids({{0, 1, 2}, {0, 2, 1}}), ids({{0, 1, 2}, {1, 0, 2}}),
                               ids({{0, 1, 2, 3}, {3, 2, 1, 0}}), ids({{0, 1, 2, 3}, {1, 0, 3, 2}})})
        EXPECT_EQ(entries(units_of(pos, folded)), std::vector<double>(12, 0.0));
}

TEST(Normals, AQuadrangleThatIsATriangleTwiceOverIsFinite) {
    for (const auto& folded :
         {ids({{0, 1, 2, 1}}), ids({{0, 1, 0, 1}}), ids({{0, 1, 2, 2}}), ids({{0, 0, 1, 2}}), ids({{0, 2, 1, 3}})})
        for (const double value : entries(units_of(square, folded)))
            EXPECT_TRUE(std::isfinite(value));
    // A quadrangle with a side of length zero: the other two corners are those of the triangle.
    const auto sums = sums_of(square, ids({{0, 1, 2, 2}}));
    EXPECT_VECTOR(sums, 0, 0, 0, pi / 4);
    EXPECT_VECTOR(sums, 1, 0, 0, pi / 2);
}

TEST(Normals, CornersThatAreNotFiniteHaveNoSay) {
    const auto good = sums_of(square, ids({{0, 1, 2}}));
    for (const double bad : {nan_value, infinity, -infinity}) {
        auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
        pos(1, 3) = bad;
        const auto sums = sums_of(pos, ids({{0, 1, 2}, {1, 3, 2}, {0, 2, 3}}));
        for (std::size_t j = 0; j < 4; ++j)
            EXPECT_EQ(column(sums, j), column(good, j));
        // The corner of a quadrangle across from the bad one has two good edges.
        const auto of_four = sums_of(pos, ids({{0, 1, 2, 3}}));
        EXPECT_VECTOR(of_four, 0, 0, 0, 0);
        EXPECT_VECTOR(of_four, 1, 0, 0, pi / 2);
        EXPECT_VECTOR(of_four, 2, 0, 0, 0);
    }
}

TEST(Normals, TheSizeOfAFaceDoesNotMatter) {
    const auto unscaled = units_of(cube, cube_faces);
    for (const double factor : {0x1p-1000, 0x1p-500, 0x1p500, 0x1p1020}) {
        dense2D<double> pos(3, 8);
        for (std::size_t k = 0; k < 24; ++k)
            pos.data()[k] = factor * cube.data()[k];
        EXPECT_EQ(entries(units_of(pos, cube_faces)), entries(unscaled)) << factor;
    }
    for (const double factor : {1e-308, 1e-150, 1e150, 1e308}) {
        dense2D<double> pos(3, 8);
        for (std::size_t k = 0; k < 24; ++k)
            pos.data()[k] = factor * cube.data()[k];
        const auto scaled = units_of(pos, cube_faces);
        for (std::size_t j = 0; j < 8; ++j)
            EXPECT_VECTOR(scaled, j, unscaled(0, j), unscaled(1, j), unscaled(2, j));
    }
    // One edge of 1e150 and one of 1e-150.
    const auto needle = points({{0, 0, 0}, {1e150, 0, 0}, {0, 1e-150, 0}});
    EXPECT_VECTOR(sums_of(needle, ids({{0, 1, 2}})), 0, 0, 0, pi / 2);
}

TEST(Normals, ASumWithinTheToleranceIsNoNormal) {
    const auto surface = ids({{0, 1, 2}});
    const auto sums = sums_of(square, surface);
    for (const bool unit : {false, true}) {
        const auto length_kept = [&](double tolerance, std::size_t node) {
            dense2D<double> found;
            EXPECT_EQ(normals(square, surface, tolerance, unit, found), 0);
            EXPECT_EQ(found(0, node), 0);
            EXPECT_EQ(found(1, node), 0);
            return found(2, node);
        };
        const double angle = sums(2, 1);
        EXPECT_EQ(length_kept(angle, 1), 0) << "equal";
        EXPECT_EQ(length_kept(std::nextafter(angle, 9), 1), 0);
        EXPECT_EQ(length_kept(std::nextafter(angle, 0), 1), unit ? 1 : angle);
        EXPECT_EQ(length_kept(1, 0), 0) << "45 degrees are less than 1";
        EXPECT_EQ(length_kept(1, 1), unit ? 1 : angle);
        EXPECT_EQ(length_kept(infinity, 1), 0);
    }
}

TEST(Normals, StatusesInOrder) {
    const auto call = [](const dense2D<double>& pos, const dense2D<unsigned>& surface, double tolerance) {
        dense2D<double> found(2, 2, 7.0);
        const int status = normals(pos, surface, tolerance, true, found);
        EXPECT_EQ(found.rows() + found.cols(), status == 0 ? 3 + pos.cols() : 0);
        return status;
    };
    const auto good = ids({{0, 1, 2}});
    for (const auto& nothing : {dense2D<unsigned>(), dense2D<unsigned>(3, 0), dense2D<unsigned>(0, 4)})
        EXPECT_EQ(call(dense2D<double>(5, 2, 0.0), nothing, nan_value), 0);
    for (const std::size_t rows : {0u, 1u, 2u, 4u})
        EXPECT_EQ(call(dense2D<double>(rows, 4, 0.0), ids({{0, 1, 9}}), -1), -1);
    for (const auto& bad : {ids({{0, 1, 4}}), ids({{0, 1, none}}), ids({{0, 1, 2, 4}}), ids({{0, 1, none, 2}}),
                            ids({{0, 1}}), ids({{0, 1, 2, 3, 0}})})
        EXPECT_EQ(call(square, bad, -1), -2);
    EXPECT_EQ(call(dense2D<double>(3, 0), good, 0), -2);
    for (const double bad : {-1.0, -1e-300, -infinity, nan_value})
        EXPECT_EQ(call(square, good, bad), -3);
    EXPECT_EQ(call(square, good, -0.0), 0);
}

TEST(Normals, AnEmptySurfaceGivesZeroVectors) {
    dense2D<double> found(3, 9, 7.0);
    EXPECT_EQ(normals(square, dense2D<unsigned>(), 0, true, found), 0);
    EXPECT_EQ(found.rows(), 3u);
    EXPECT_EQ(entries(found), std::vector<double>(12, 0.0));
    EXPECT_EQ(normals(dense2D<double>(), dense2D<unsigned>(), 0, true, found), 0);
    EXPECT_TRUE(found.empty());
}

TEST(Normals, TheOutputMayBeTheCoordinates) {
    dense2D<double> pos;
    pos.copy(cube);
    const auto expected = entries(units_of(pos, cube_faces));
    dense2D<double> shared = pos;
    EXPECT_EQ(normals(pos, cube_faces, 0, true, shared), 0);
    EXPECT_EQ(entries(shared), expected);
    EXPECT_EQ(entries(pos), entries(cube)) << "only its view has moved";
    EXPECT_EQ(normals(pos, cube_faces, 0, true, pos), 0);
    EXPECT_EQ(entries(pos), expected);
}

TEST(Normals, TakeNoMemoryBesideTheResult) {
    dense2D<double> found;
    fail_allocation(3);
    const int status = normals(cube, cube_faces, 0, true, found);
    EXPECT_EQ(stop_failing(), 0u) << "a block and its elements are all";
    EXPECT_EQ(status, 0);
}
