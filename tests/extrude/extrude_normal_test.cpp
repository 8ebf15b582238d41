#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_normal;

namespace {

constexpr unsigned none = no_node;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");
using list = std::vector<unsigned>;
using numbers = std::vector<double>;

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

dense2D<double> unit_normals(const dense2D<double>& pos, const dense2D<unsigned>& surface) {
    dense2D<double> normals;
    EXPECT_EQ(meldra2d::normals(pos, surface, 0, true, normals), 0);
    return normals;
}

} // namespace

TEST(ExtrudeNormal, ASquareOfTwoTrianglesRisesAlongItsNormals) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    const auto surface = ids({{0, 1, 2}, {0, 2, 3}});
    const auto normals = unit_normals(pos, surface);
    outputs out;
    ASSERT_EQ(extrude_normal(pos, surface, 1.0, 0.5, 0.5, false, out.solids, ids({{0, 1}}), out.sides, out.cap), 0);
    EXPECT_EQ(entries(out.solids), (list{0, 1, 2, 4, 5, 6, 4, 5, 6, 8, 9,  10, //
                                         0, 2, 3, 4, 6, 7, 4, 6, 7, 8, 10, 11}));
    EXPECT_EQ(entries(out.sides), (list{1, 0, 4, 5, 5, 4, 8, 9}));
    EXPECT_EQ(entries(out.cap), (list{8, 10, 9, 8, 11, 10}));
    ASSERT_EQ(pos.cols(), 12u);
    for (std::size_t j = 0; j < 4; ++j) {
        EXPECT_EQ(column(normals, j), (numbers{0, 0, 1}));
        EXPECT_EQ(column(pos, 4 + j), (numbers{pos(0, j), pos(1, j), 0.5}));
        EXPECT_EQ(column(pos, 8 + j), (numbers{pos(0, j), pos(1, j), 1}));
    }
}

TEST(ExtrudeNormal, MixedSurfacesGiveWedgesAndHexahedra) {
    auto pos = house();
    outputs out;
    ASSERT_EQ(extrude_normal(pos, house_faces(), 3.0, 1, out.solids, {}, out.sides, out.cap), 0);
    EXPECT_EQ(entries(out.solids), (list{0, 1, 2, 3, 5, 6, 7, 8, 1, 4, 2, 6, 9, 7, none, none}));
    EXPECT_EQ(entries(out.cap), (list{5, 8, 7, 6, 6, 7, 9, none}));
    EXPECT_EQ(column(pos, 9), (numbers{2, 0.5, 3}));
}

TEST(ExtrudeNormal, ASphereStaysASphere) {
    // An octahedron in the unit sphere: its normals are radial.
    auto pos = points({{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}});
    const auto faces = ids({{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(pos, faces, 2.0, 4, solids), 0);
    for (std::size_t k = 1; k <= 4; ++k)
        for (std::size_t j = 0; j < 6; ++j) {
            const std::size_t original =
                std::array<std::size_t, 6>{0, 2, 4, 1, 3, 5}[j]; // in order of first appearance
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_NEAR(pos(i, 6 * k + j), (1 + 0.5 * double(k)) * pos(i, original), 1e-15);
        }
    // Between two octahedra of corner distance r lie 4/3 (r2^3 - r1^3).
    double volume = 0;
    ASSERT_EQ(meldra3d::volume(pos, solids, volume), 0);
    EXPECT_NEAR(volume, 4.0 / 3 * 26, 1e-13);
}

TEST(ExtrudeNormal, LayersGrowFromTheStartSize) {
    auto pos = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(pos, house_faces(), 1.0, 0.1, 0.4, false, solids), 0);
    ASSERT_EQ(solids.cols(), 10u); // ln 4 / 0.3 = 4.62 layers
    for (int k = 1; k <= 5; ++k)
        EXPECT_NEAR(pos(2, 5 * std::size_t(k)), (std::pow(4, k / 5.0) - 1) / 3, 1e-15) << k;
    auto even = house();
    ASSERT_EQ(extrude_normal(even, house_faces(), 1.0, 0.1, 0.4, true, solids = {}), 0);
    EXPECT_EQ(solids.cols(), 8u);
}

TEST(ExtrudeNormal, TheShortFormsGiveTheSolidsOfTheFullOnes) {
    outputs out;
    auto full = house(), brief = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(full, house_faces(), 1.0, 0.1, 0.4, true, out.solids, {}, out.sides, out.cap), 0);
    ASSERT_EQ(extrude_normal(brief, house_faces(), 1.0, 0.1, 0.4, true, solids), 0);
    EXPECT_EQ(entries(full), entries(brief));
    EXPECT_EQ(entries(out.solids), entries(solids));

    outputs counted;
    full = house(), brief = house();
    ASSERT_EQ(extrude_normal(full, house_faces(), 1.0, 3, counted.solids, {}, counted.sides, counted.cap), 0);
    ASSERT_EQ(extrude_normal(brief, house_faces(), 1.0, 3, solids = {}), 0);
    EXPECT_EQ(entries(full), entries(brief));
    EXPECT_EQ(entries(counted.solids), entries(solids));
    EXPECT_EQ(solids.cols(), 6u);
}

TEST(ExtrudeNormal, ACountGivesExactlySoManyLayers) {
    for (const unsigned layers : {1u, 2u, 3u, 7u, 49u, 1000u})
        for (const double thickness : {1e-300, 0.1, 1.0, 3.0, 1e300}) {
            auto pos = house();
            dense2D<unsigned> solids;
            ASSERT_EQ(extrude_normal(pos, house_faces(), thickness, layers, solids), 0);
            EXPECT_EQ(solids.cols(), 2 * layers);
            EXPECT_EQ(pos(2, 5 * layers), thickness);
        }
}

TEST(ExtrudeNormal, VectorsMoveEachNodeItsOwnWay) {
    auto pos = house();
    const auto shifts = points({{0, 0, 1}, {2, 0, 4}, {0, -8, 0}, {1, 1, 1}, {0, 0, 0}, {nan_value, 0, 0}});
    outputs out;
    ASSERT_EQ(extrude_normal(pos, house_faces(), shifts, 4, out.solids, ids({{4, 2}}), out.sides, out.cap), 0);
    EXPECT_EQ(pos.cols(), 25u);
    EXPECT_EQ(out.solids.cols(), 8u);
    EXPECT_EQ(out.sides.cols(), 4u);
    EXPECT_EQ(entries(out.cap), (list{20, 23, 22, 21, 21, 22, 24, none}));
    for (unsigned k = 1; k <= 4; ++k)
        for (std::size_t j = 0; j < 5; ++j)
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_EQ(pos(i, 5 * k + j), pos(i, j) + k / 4.0 * shifts(i, j));
}

TEST(ExtrudeNormal, EachOfManyNodesHasItsCopyOnEachLevel) {
    // A strip of scattered nodes: more than are placed at a time.
    constexpr unsigned n = 2500;
    dense2D<double> pos(3, 2 * n), shifts(3, 2 * n);
    const auto node = [](unsigned i) { return i * 1237 % (2 * n); }; // coprime to 5000
    for (std::size_t k = 0; k < pos.size(); ++k) {
        pos.data()[k] = double(k);
        shifts.data()[k] = double(k % 11) - 5;
    }
    dense2D<unsigned> surface(4, n - 1);
    for (unsigned j = 0; j + 1 < n; ++j) {
        const unsigned face[] = {node(2 * j), node(2 * j + 1), node(2 * j + 3), node(2 * j + 2)};
        std::copy_n(face, 4, surface.col(j));
    }
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(pos, surface, shifts, 2, solids), 0);
    ASSERT_EQ(pos.cols(), 6 * n);
    ASSERT_EQ(solids.cols(), 2 * (n - 1));
    for (unsigned j = 0; j + 1 < n; ++j)
        for (unsigned c = 0; c < 4; ++c)
            for (unsigned i = 0; i < 3; ++i) {
                const double x = pos(i, surface(c, j)), shift = shifts(i, surface(c, j));
                ASSERT_EQ(solids(c, 2 * j), surface(c, j));
                ASSERT_EQ(pos(i, solids(4 + c, 2 * j)), x + 0.5 * shift);
                ASSERT_EQ(pos(i, solids(c, 2 * j + 1)), x + 0.5 * shift);
                ASSERT_EQ(pos(i, solids(4 + c, 2 * j + 1)), x + shift);
            }
}

TEST(ExtrudeNormal, NoLayersOfVectorsGiveTheFacesTurnedRound) {
    auto pos = house();
    const auto shifts = dense2D<double>(3, 5, 1.0);
    outputs out;
    ASSERT_EQ(extrude_normal(pos, house_faces(), shifts, 0, out.solids, ids({{0, 1}}), out.sides, out.cap), 0);
    EXPECT_EQ(entries(pos), entries(house()));
    EXPECT_TRUE(out.solids.empty());
    EXPECT_TRUE(out.sides.empty());
    EXPECT_EQ(entries(out.cap), (list{0, 3, 2, 1, 1, 2, 4, none}));

    outputs triangles;
    triangles.solids = ids({{0, 1, 2, 3, 4, 0, none, none}});
    triangles.cap = ids({{4, 3, 2}});
    ASSERT_EQ(extrude_normal(pos, ids({{0, 1, 2}}), shifts, 0, triangles.solids, {}, triangles.sides, triangles.cap),
              0);
    EXPECT_EQ(entries(triangles.solids), (list{0, 1, 2, 3, 4, 0})) << "cut to the rows of wedges";
    EXPECT_EQ(entries(triangles.cap), (list{4, 3, 2, 0, 2, 1}));
    ASSERT_EQ(extrude_normal(pos, house_faces(), shifts, 0, out.solids), 0);
    EXPECT_EQ(entries(pos), entries(house()));
}

TEST(ExtrudeNormal, NodesWithoutANormalStay) {
    // Two faces fold onto each other; a zero-area face hangs on a square; node 7 is in a face of its own that has none.
    const auto positions =
        points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {5, 0, 0}, {6, 0, 0}, {5, 1, 0}, {9, 9, 9}});
    auto pos = positions;
    const auto surface = ids({{0, 1, 2, 3}, {0, 1, 1, none}, {4, 5, 6, none}, {6, 5, 4, none}, {7, 7, 7, none}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(pos, surface, 2.0, 2, solids), 0);
    ASSERT_EQ(pos.cols(), 24u);
    for (std::size_t k = 1; k <= 2; ++k)
        for (std::size_t j = 0; j < 8; ++j)
            EXPECT_EQ(column(pos, 8 * k + j),
                      (numbers{positions(0, j), positions(1, j), j < 4 ? double(k) : positions(2, j)}));
}

TEST(ExtrudeNormal, ABadNodeSpoilsOnlyItsOwnCopies) {
    for (const double bad : {nan_value, infinity}) {
        auto pos = house();
        pos(0, 4) = bad; // the tip of the triangle: the square still has its normals
        dense2D<unsigned> solids;
        ASSERT_EQ(extrude_normal(pos, house_faces(), 1.0, 2, solids), 0);
        for (std::size_t k = 1; k <= 2; ++k)
            for (std::size_t j = 0; j < 5; ++j) {
                EXPECT_EQ(std::isfinite(pos(0, 5 * k + j)), j != 4);
                EXPECT_EQ(pos(2, 5 * k + j), j == 4 ? 0 : double(k) / 2);
            }
    }
}

TEST(ExtrudeNormal, TinyAndHugeSurfacesThicken) {
    for (const double size : {1e-150, 1e150}) {
        auto pos = house();
        for (std::size_t k = 0; k < pos.size(); ++k)
            pos.data()[k] *= size;
        dense2D<unsigned> solids;
        ASSERT_EQ(extrude_normal(pos, house_faces(), size, size / 2, size / 2, false, solids), 0);
        ASSERT_EQ(pos.cols(), 15u);
        for (std::size_t j = 0; j < 5; ++j)
            EXPECT_EQ(pos(2, 10 + j), size);
    }
}

TEST(ExtrudeNormal, ADistanceThatVanishesMovesNothing) {
    const double smallest = std::numeric_limits<double>::denorm_min();
    auto pos = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(pos, house_faces(), smallest, 1, 1, true, solids), 0);
    ASSERT_EQ(pos.cols(), 15u);
    EXPECT_EQ(entries(pos.sub(0, 5, 3, 5)), entries(house())) << "half of the smallest number is 0";
    for (std::size_t j = 10; j < 15; ++j)
        EXPECT_EQ(pos(2, j), smallest);
}

TEST(ExtrudeNormal, OutputsMayShareStorageWithInputs) {
    const auto expected = [] {
        auto pos = house();
        outputs out;
        EXPECT_EQ(extrude_normal(pos, house_faces(), 1.0, 2, out.solids, {}, out.sides, out.cap), 0);
        return std::make_pair(entries(pos), entries(out.cap));
    }();
    auto pos = house();
    const auto other_view = pos;
    auto surface = house_faces();
    outputs out;
    // The closing faces are appended to the surface itself.
    ASSERT_EQ(extrude_normal(pos, surface, 1.0, 2, out.solids, {}, out.sides, surface), 0);
    EXPECT_EQ(entries(pos), expected.first);
    EXPECT_EQ(entries(surface.sub(0, 2, 4, 2)), expected.second);
    EXPECT_EQ(entries(other_view), entries(house()));

    // Every node moves by its own coordinates.
    auto doubled = house();
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(doubled, house_faces(), doubled, 1, solids), 0);
    for (std::size_t j = 0; j < 5; ++j)
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(doubled(i, 5 + j), 2 * doubled(i, j));
}

TEST(ExtrudeNormal, WindowsGiveTheSame) {
    auto pos = house();
    outputs out;
    ASSERT_EQ(extrude_normal(pos, house_faces(), 1.0, 2, out.solids, {}, out.sides, out.cap), 0);
    auto window = as_window(house(), 1e300);
    outputs others;
    ASSERT_EQ(
        extrude_normal(window, as_window(house_faces(), 99u), 1.0, 2, others.solids, {}, others.sides, others.cap), 0);
    EXPECT_EQ(entries(pos), entries(window));
    EXPECT_EQ(entries(out.solids), entries(others.solids));

    const auto shifts = points({{0, 0, 1}, {2, 0, 4}, {0, -8, 0}, {1, 1, 1}, {0, 0, 0}});
    auto plain = house();
    window = as_window(house(), 1e300);
    ASSERT_EQ(extrude_normal(plain, house_faces(), shifts, 2, out.solids = {}), 0);
    ASSERT_EQ(extrude_normal(window, house_faces(), as_window(shifts, 1e300), 2, others.solids = {}), 0);
    EXPECT_EQ(entries(plain), entries(window));
}
