#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <vector>

#include "split/split_oracle.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::split_solid_Q4;

namespace {

constexpr unsigned none = no_node;
constexpr double lowest = -std::numeric_limits<double>::max();

using bits = dense1D<unsigned, 8>;

/// Direct elements of the unit cube and of shapes in it, all of plane faces.
dense2D<double> cube() {
    return points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
}
dense2D<double> prism() {
    return points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}});
}
dense2D<double> pyramid() {
    return points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, 1}});
}

dense2D<unsigned> one_element(unsigned nodes) {
    dense2D<unsigned> connect(8, 1, none);
    for (unsigned k = 0; k < nodes; ++k)
        connect(k, 0) = k;
    return connect;
}

struct outcome {
    dense2D<double> pos;
    node_list failed;
    dense2D<unsigned> out;
};

/// Runs the cut on a copy of the coordinates.
outcome split(const dense2D<double>& pos, const dense2D<unsigned>& solids, const dense2D<unsigned>& quadrangles,
              const bits& diagonals, double min_volume = 0) {
    outcome result;
    EXPECT_TRUE(result.pos.copy(pos));
    bits failed{77, 78};
    result.out = ids({{1, 2, 3}});
    EXPECT_EQ(split_solid_Q4(result.pos, solids, quadrangles, diagonals, min_volume, failed, result.out), 0);
    result.failed.assign(failed.begin(), failed.end());
    return result;
}

/// The columns without their unused tails.
std::vector<node_list> pieces(const dense2D<unsigned>& connect) {
    std::vector<node_list> all;
    for (std::size_t j = 0; j < connect.cols(); ++j) {
        node_list nodes = column(connect, j);
        EXPECT_EQ(nodes.size(), 8u);
        while (!nodes.empty() && nodes.back() == none)
            nodes.pop_back();
        EXPECT_EQ(std::count(nodes.begin(), nodes.end(), none), 0);
        all.push_back(nodes);
    }
    return all;
}

double volume_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    double vol = 0;
    EXPECT_EQ(meldra3d::volume(pos, connect, vol), 0);
    return vol;
}

std::vector<position> as_positions(const dense2D<double>& pos) {
    std::vector<position> all;
    for (std::size_t j = 0; j < pos.cols(); ++j)
        all.push_back({pos(0, j), pos(1, j), pos(2, j)});
    return all;
}

/// The quadrangular faces of a kind, as columns.
dense2D<unsigned> faces_of(unsigned nodes, std::initializer_list<unsigned> which) {
    dense2D<unsigned> quadrangles(4, 0);
    for (const unsigned k : which)
        quadrangles.append(oracle_faces(nodes)[k].data());
    return quadrangles;
}

using piece_lists = std::vector<node_list>;

} // namespace

// ---- nothing to do ----

TEST(SplitSolidQ4, WithoutQuadranglesEveryElementIsCopied) {
    const auto pos = cube();
    const auto solids = ids({{0, 1, 2, 3, 4, 5, 6, 7},
                             {0, 1, 3, 4, none, none, none, none},
                             {0, 1, 2, 3, 6, none, none, none},
                             {0, 1, 3, 4, 5, 7, none, none}});
    const auto result = split(pos, solids, dense2D<unsigned>(), bits());
    EXPECT_EQ(entries(result.out), entries(solids));
    EXPECT_EQ(result.out.rows(), 8u);
    EXPECT_TRUE(result.failed.empty());
    EXPECT_EQ(entries(result.pos), entries(pos));
}

TEST(SplitSolidQ4, WithoutElementsTheOutputsAreEmptied) {
    for (const auto& solids : {dense2D<unsigned>(), dense2D<unsigned>(8, 0)}) {
        const auto result = split(cube(), solids, faces_of(8, {0}), bits{0});
        EXPECT_EQ(result.out.rows(), 0u);
        EXPECT_EQ(result.out.cols(), 0u);
        EXPECT_TRUE(result.failed.empty());
        EXPECT_EQ(result.pos.cols(), 8u);
    }
}

TEST(SplitSolidQ4, ATetrahedronIsNeverCut) {
    const auto solids = ids({{0, 1, 2, 4, none, none, none, none}});
    const auto result = split(cube(), solids, ids({{0, 1, 2, 4}, {0, 4, 2, 1}, {1, 2, 4, none}}), bits{0, 1, 0});
    EXPECT_EQ(entries(result.out), entries(solids));
    EXPECT_EQ(result.pos.cols(), 8u);
}

// ---- around the centroid ----

TEST(SplitSolidQ4, AHexahedronWithOneQuadrangleBecomesFivePyramidsAndTwoTetrahedra) {
    const auto result = split(cube(), one_element(8), faces_of(8, {3}), bits{0}); // 3, 2, 6, 7 along 3-6
    EXPECT_EQ(pieces(result.out), (piece_lists{{0, 3, 7, 4, 8},
                                               {1, 5, 6, 2, 8},
                                               {0, 4, 5, 1, 8},
                                               {3, 6, 2, 8},
                                               {6, 3, 7, 8},
                                               {0, 1, 2, 3, 8},
                                               {4, 7, 6, 5, 8}}));
    EXPECT_TRUE(result.failed.empty());
    ASSERT_EQ(result.pos.cols(), 9u);
    EXPECT_EQ(column(result.pos, 8), (std::vector<double>{0.5, 0.5, 0.5}));
    EXPECT_NEAR(volume_of(result.pos, result.out), 1, 1e-15);
}

TEST(SplitSolidQ4, TheOtherBitTakesTheOtherDiagonal) {
    const auto result = split(cube(), one_element(8), faces_of(8, {3}), bits{1}); // along 2-7
    EXPECT_EQ(column(result.out, 3), (node_list{2, 7, 6, 8, none, none, none, none}));
    EXPECT_EQ(column(result.out, 4), (node_list{7, 2, 3, 8, none, none, none, none}));
}

TEST(SplitSolidQ4, APyramidBecomesSixTetrahedra) {
    const auto result = split(pyramid(), one_element(5), faces_of(5, {4}), bits{1});
    EXPECT_EQ(pieces(result.out),
              (piece_lists{{4, 0, 1, 5}, {4, 1, 2, 5}, {4, 2, 3, 5}, {4, 3, 0, 5}, {1, 3, 2, 5}, {3, 1, 0, 5}}));
    EXPECT_EQ(column(result.pos, 5), (std::vector<double>{0.5, 0.5, 0.2}));
    EXPECT_NEAR(volume_of(result.pos, result.out), 1.0 / 3, 1e-15);
}

TEST(SplitSolidQ4, AWedgeWithOneQuadrangleIsCutAroundItsCentroid) {
    const auto result = split(prism(), one_element(6), faces_of(6, {4}), bits{0}); // 1, 0, 3, 4 along 1-3
    EXPECT_EQ(pieces(result.out),
              (piece_lists{{1, 0, 2, 6}, {5, 3, 4, 6}, {2, 1, 4, 5, 6}, {0, 2, 5, 3, 6}, {1, 3, 0, 6}, {3, 1, 4, 6}}));
    EXPECT_NEAR(result.pos(0, 6), 1.0 / 3, 1e-16);
    EXPECT_NEAR(result.pos(1, 6), 1.0 / 3, 1e-16);
    EXPECT_EQ(result.pos(2, 6), 0.5);
    EXPECT_NEAR(volume_of(result.pos, result.out), 0.5, 1e-15);
}

TEST(SplitSolidQ4, AllOtherSetsOfFacesAreCutAroundTheCentroidToo) {
    struct set {
        unsigned nodes;
        std::vector<unsigned> faces;
        node_list bit;
    };
    for (const set& one : std::vector<set>{
             {8, {0, 1}, {0, 1}},             // opposite, bits different
             {8, {2, 3}, {1, 0}},             //
             {8, {4, 5}, {0, 1}},             //
             {8, {0, 2}, {0, 0}},             // neighbours
             {8, {1, 4}, {1, 1}},             //
             {8, {0, 1, 2}, {0, 0, 0}},       // more than two
             {8, {0, 1, 2, 3}, {1, 1, 1, 1}}, //
             {6, {2, 3}, {0, 0}},             // bits equal
             {6, {2, 3}, {1, 1}},             //
             {6, {2, 4}, {0, 1}},             // bits different
             {6, {3, 4}, {1, 0}},             //
             {6, {2, 3, 4}, {0, 1, 0}},       // all three
         }) {
        dense2D<unsigned> quadrangles(4, 0);
        bits diagonals;
        for (std::size_t k = 0; k < one.faces.size(); ++k) {
            quadrangles.append(oracle_faces(one.nodes)[one.faces[k]].data());
            diagonals.push_back(one.bit[k]);
        }
        const auto result = split(one.nodes == 8 ? cube() : prism(), one_element(one.nodes), quadrangles, diagonals);
        EXPECT_TRUE(result.failed.empty());
        EXPECT_EQ(result.pos.cols(), one.nodes + 1);
        EXPECT_EQ(result.out.cols(), (one.nodes == 8 ? 6 : 5) + one.faces.size());
        EXPECT_NEAR(volume_of(result.pos, result.out), one.nodes == 8 ? 1 : 0.5, 1e-15);
    }
}

// ---- two wedges ----

TEST(SplitSolidQ4, OppositeQuadranglesWithEqualBitsCutAHexahedronIntoTwoWedges) {
    const auto cut = [](unsigned face, unsigned bit) {
        const auto result = split(cube(), one_element(8), faces_of(8, {face, face + 1}), bits{bit, bit});
        EXPECT_TRUE(result.failed.empty());
        EXPECT_EQ(result.pos.cols(), 8u);
        EXPECT_NEAR(volume_of(result.pos, result.out), 1, 1e-15);
        return pieces(result.out);
    };
    EXPECT_EQ(cut(0, 0), (piece_lists{{7, 4, 0, 6, 5, 1}, {0, 3, 7, 1, 2, 6}})); // 0-7 and 1-6
    EXPECT_EQ(cut(0, 1), (piece_lists{{4, 0, 3, 5, 1, 2}, {3, 7, 4, 2, 6, 5}})); // 3-4 and 2-5
    EXPECT_EQ(cut(2, 0), (piece_lists{{5, 1, 0, 6, 2, 3}, {0, 4, 5, 3, 7, 6}})); // 0-5 and 3-6
    EXPECT_EQ(cut(2, 1), (piece_lists{{1, 0, 4, 2, 3, 7}, {4, 5, 1, 7, 6, 2}})); // 1-4 and 2-7
    EXPECT_EQ(cut(4, 0), (piece_lists{{2, 3, 0, 6, 7, 4}, {0, 1, 2, 4, 5, 6}})); // 0-2 and 4-6
    EXPECT_EQ(cut(4, 1), (piece_lists{{3, 0, 1, 7, 4, 5}, {1, 2, 3, 5, 6, 7}})); // 1-3 and 5-7
}

TEST(SplitSolidQ4, TheOrderOfTheQuadranglesDoesNotMatter) {
    const auto one = split(cube(), one_element(8), faces_of(8, {4, 5}), bits{1, 1});
    const auto other = split(cube(), one_element(8), faces_of(8, {5, 4}), bits{1, 1});
    EXPECT_EQ(entries(one.out), entries(other.out));
}

TEST(SplitSolidQ4, AFailedCutIntoWedgesIsNotTriedAroundTheCentroid) {
    // Wedges of half the volume are too small; pieces around a centroid would be, too, but leave a node behind.
    const auto result = split(cube(), one_element(8), faces_of(8, {4, 5}), bits{0, 0}, 0.5);
    EXPECT_EQ(result.failed, node_list{0});
    EXPECT_EQ(result.out.cols(), 0u);
    EXPECT_EQ(result.pos.cols(), 8u);
    // A hexahedron that the plane through the diagonals leaves with a wedge turned inside out.
    auto dented = cube();
    dented(0, 2) = dented(0, 6) = dented(1, 2) = dented(1, 6) = 0.4;
    const auto along = split(dented, one_element(8), faces_of(8, {4, 5}), bits{1, 1});
    EXPECT_EQ(along.failed, node_list{0});
    EXPECT_EQ(along.pos.cols(), 8u);
    const auto across = split(dented, one_element(8), faces_of(8, {4, 5}), bits{0, 0});
    EXPECT_TRUE(across.failed.empty());
    EXPECT_EQ(across.out.cols(), 2u);
}

// ---- a pyramid and a tetrahedron ----

TEST(SplitSolidQ4, FacesTwoAndThreeWithDifferentBitsCutAWedgeIntoAPyramidAndATetrahedron) {
    const auto first = split(prism(), one_element(6), faces_of(6, {2, 3}), bits{0, 1}); // 2-4 and 3-2
    EXPECT_EQ(pieces(first.out), (piece_lists{{1, 0, 3, 4, 2}, {4, 3, 2, 5}}));
    EXPECT_EQ(first.pos.cols(), 6u);
    EXPECT_NEAR(volume_of(first.pos, first.out), 0.5, 1e-15);
    const auto second = split(prism(), one_element(6), faces_of(6, {2, 3}), bits{1, 0}); // 1-5 and 0-5
    EXPECT_EQ(pieces(second.out), (piece_lists{{1, 0, 3, 4, 5}, {0, 1, 5, 2}}));
    EXPECT_NEAR(volume_of(second.pos, second.out), 0.5, 1e-15);
}

TEST(SplitSolidQ4, AWedgeWithFaceFourAndAnotherOfEqualBitsFails) {
    for (const unsigned face : {2u, 3u})
        for (const unsigned bit : {0u, 1u}) {
            const auto result = split(prism(), one_element(6), faces_of(6, {face, 4}), bits{bit, bit}, lowest);
            EXPECT_EQ(result.failed, node_list{0});
            EXPECT_EQ(result.out.cols(), 0u);
            EXPECT_EQ(result.out.rows(), 8u);
            EXPECT_EQ(result.pos.cols(), 6u);
        }
}

// ---- which quadrangle, which diagonal ----

TEST(SplitSolidQ4, TheBitCountsInTheListingOfTheElementWhereverTheQuadrangleBegins) {
    const auto own = split(cube(), one_element(8), ids({{3, 2, 6, 7}}), bits{0});
    for (const auto& turned : {ids({{2, 6, 7, 3}}), ids({{6, 7, 3, 2}}), ids({{7, 3, 2, 6}})})
        EXPECT_EQ(entries(split(cube(), one_element(8), turned, bits{0}).out), entries(own.out));
}

TEST(SplitSolidQ4, AQuadrangleInReverseOrderStandsForTheOtherBit) {
    for (const unsigned bit : {0u, 1u}) {
        const auto own = split(cube(), one_element(8), ids({{3, 2, 6, 7}}), bits{1 - bit});
        for (const auto& reversed :
             {ids({{7, 6, 2, 3}}), ids({{6, 2, 3, 7}}), ids({{2, 3, 7, 6}}), ids({{3, 7, 6, 2}})})
            EXPECT_EQ(entries(split(cube(), one_element(8), reversed, bits{bit}).out), entries(own.out));
    }
}

TEST(SplitSolidQ4, TheSameNodesInAnotherCycleAreAnotherQuadrangle) {
    const auto result = split(cube(), one_element(8), ids({{3, 6, 2, 7}, {3, 2, 7, 6}}), bits{0, 0});
    EXPECT_EQ(pieces(result.out), (piece_lists{{0, 1, 2, 3, 4, 5, 6, 7}}));
}

TEST(SplitSolidQ4, OfEqualQuadranglesTheLastCounts) {
    const auto wanted = split(cube(), one_element(8), ids({{3, 2, 6, 7}}), bits{1});
    const auto result = split(cube(), one_element(8), ids({{3, 2, 6, 7}, {2, 6, 7, 3}}), bits{0, 1});
    EXPECT_EQ(entries(result.out), entries(wanted.out));
}

TEST(SplitSolidQ4, TheElementsOwnDirectionGoesBeforeTheReverse) {
    const auto wanted = split(cube(), one_element(8), ids({{3, 2, 6, 7}}), bits{0});
    for (const auto& both : {ids({{3, 2, 6, 7}, {7, 6, 2, 3}}), ids({{7, 6, 2, 3}, {3, 2, 6, 7}})})
        EXPECT_EQ(entries(split(cube(), one_element(8), both, bits{0, 0}).out), entries(wanted.out));
}

namespace {

/// Two cubes beside one another: the face 1, 2, 6, 5 of the first is face 0 of the second.
struct two_cubes {
    dense2D<double> pos = cube();
    dense2D<unsigned> solids = ids({{0, 1, 2, 3, 4, 5, 6, 7}, {1, 8, 9, 2, 5, 10, 11, 6}});
    two_cubes() {
        for (const unsigned k : {1u, 2u, 5u, 6u}) {
            const double x[] = {2, pos(1, k), pos(2, k)};
            pos.append(x);
        }
    }
};

/// The nodes joined by the diagonal of the two tetrahedra at this node.
std::set<unsigned> diagonal(const dense2D<unsigned>& out, unsigned centroid, const std::set<unsigned>& face) {
    std::map<unsigned, int> times;
    for (const node_list& nodes : pieces(out))
        if (nodes.size() == 4 && nodes[3] == centroid)
            for (const unsigned id : nodes)
                if (face.count(id))
                    ++times[id];
    std::set<unsigned> ends;
    for (const auto& [id, count] : times)
        if (count == 2)
            ends.insert(id);
    return ends;
}

} // namespace

TEST(SplitSolidQ4, TheTwoElementsAtAQuadrangleMayCutItDifferently) {
    // The first lists it as 1, 5, 6, 2, the second as 1, 2, 6, 5: the other way round, but from the same node.
    const two_cubes mesh;
    const auto result = split(mesh.pos, mesh.solids, ids({{1, 5, 6, 2}}), bits{0});
    EXPECT_EQ(result.out.cols(), 14u);
    EXPECT_EQ(diagonal(result.out, 12, {1, 2, 5, 6}), (std::set<unsigned>{1, 6}));
    EXPECT_EQ(diagonal(result.out, 13, {1, 2, 5, 6}), (std::set<unsigned>{2, 5}));
}

TEST(SplitSolidQ4, GivenInBothDirectionsAQuadrangleHasABitForEachSide) {
    const two_cubes mesh;
    const auto result = split(mesh.pos, mesh.solids, ids({{1, 5, 6, 2}, {1, 2, 6, 5}}), bits{0, 0});
    EXPECT_EQ(diagonal(result.out, 12, {1, 2, 5, 6}), (std::set<unsigned>{1, 6}));
    EXPECT_EQ(diagonal(result.out, 13, {1, 2, 5, 6}), (std::set<unsigned>{1, 6}));
}

TEST(SplitSolidQ4, FindsAQuadrangleAmongMany) {
    dense2D<unsigned> many(4, 0);
    bits diagonals;
    for (unsigned k = 0; k < 5000; ++k) {
        const unsigned other[] = {k % 8, 100 + k, 200 + 7 * k, 300 + 3 * k};
        many.append(other);
        diagonals.push_back(k % 2);
    }
    const unsigned wanted[] = {3, 2, 6, 7};
    many.append(wanted);
    diagonals.push_back(1);
    const auto result = split(cube(), one_element(8), many, diagonals);
    EXPECT_EQ(entries(result.out), entries(split(cube(), one_element(8), ids({{3, 2, 6, 7}}), bits{1}).out));
}

// ---- the smallest volume ----

TEST(SplitSolidQ4, EveryPieceMustBeLargerThanTheLimit) {
    // Around the centroid of the cube: pyramids of 1/6 and tetrahedra of 1/12.
    const double twelfth = 0.5 * 0.16666666666666666;
    EXPECT_TRUE(split(cube(), one_element(8), faces_of(8, {0}), bits{0}, std::nextafter(twelfth, 0)).failed.empty());
    for (const double limit : {twelfth, 0.1, 0.2, 1e300, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
        const auto result = split(cube(), one_element(8), faces_of(8, {0}), bits{0}, limit);
        EXPECT_EQ(result.failed, node_list{0}) << limit;
        EXPECT_EQ(result.out.cols(), 0u);
        EXPECT_EQ(result.pos.cols(), 9u) << "the centroid stays";
    }
    EXPECT_TRUE(split(cube(), one_element(8), faces_of(8, {4, 5}), bits{0, 0}, std::nextafter(0.5, 0)).failed.empty());
    EXPECT_EQ(split(cube(), one_element(8), faces_of(8, {4, 5}), bits{0, 0}, 0.5).failed, node_list{0});
    const double sixth = 0.16666666666666666;
    EXPECT_TRUE(
        split(prism(), one_element(6), faces_of(6, {2, 3}), bits{0, 1}, std::nextafter(sixth, 0)).failed.empty());
    EXPECT_EQ(split(prism(), one_element(6), faces_of(6, {2, 3}), bits{0, 1}, sixth).failed, node_list{0});
}

TEST(SplitSolidQ4, APyramidThatIsCutMustHaveBeenLargeEnoughItself) {
    // A warped face 4: the pyramid on it counts as cut from 0 to 2, and is inside out so, but not along 1-3.
    auto pos = cube();
    for (const unsigned k : {0u, 2u})
        pos(2, k) = 0.9;
    for (const unsigned k : {1u, 3u})
        pos(2, k) = -0.6;
    const auto result = split(pos, one_element(8), ids({{0, 1, 2, 3}}), bits{1}, 0);
    ASSERT_EQ(result.pos.cols(), 9u);
    EXPECT_EQ(result.failed, node_list{0});
    EXPECT_LT(volume_of(result.pos, ids({{0, 1, 2, 3, 8}})), 0);
    for (const auto& other : {ids({{1, 3, 2, 8}}), ids({{3, 1, 0, 8}}), ids({{0, 3, 7, 4, 8}}), ids({{1, 5, 6, 2, 8}}),
                              ids({{0, 4, 5, 1, 8}}), ids({{3, 2, 6, 7, 8}}), ids({{4, 7, 6, 5, 8}})})
        EXPECT_GT(volume_of(result.pos, other), 0);
}

TEST(SplitSolidQ4, AnInvertedElementFailsUnlessNegativeVolumesAreAllowed) {
    auto pos = cube();
    for (unsigned k = 0; k < 8; ++k)
        pos(2, k) = -pos(2, k);
    EXPECT_EQ(split(pos, one_element(8), faces_of(8, {0}), bits{0}, 0).failed, node_list{0});
    const auto allowed = split(pos, one_element(8), faces_of(8, {0}), bits{0}, -1);
    EXPECT_TRUE(allowed.failed.empty());
    EXPECT_NEAR(volume_of(allowed.pos, allowed.out), -1, 1e-15);
}

TEST(SplitSolidQ4, CoordinatesThatAreNoNumbersFail) {
    auto pos = cube();
    pos(1, 6) = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(split(pos, one_element(8), faces_of(8, {0}), bits{0}, lowest).failed, node_list{0});
}

// ---- several elements ----

TEST(SplitSolidQ4, OutputsFollowTheOrderOfTheElements) {
    const auto pos = points({{0, 0, 0},
                             {1, 0, 0},
                             {1, 1, 0},
                             {0, 1, 0},
                             {0, 0, 1},
                             {1, 0, 1},
                             {1, 1, 1},
                             {0, 1, 1},
                             {0.5, 0.5, 2},
                             {0.5, 0.5, -1}});
    const auto solids = ids({{4, 7, 6, 5, 8, none, none, none}, // inverted: on the top, seen from below
                             {0, 1, 3, 9, none, none, none, none},
                             {4, 5, 6, 7, 8, none, none, none},
                             {0, 1, 2, 3, 4, 5, 6, 7}});
    const auto result = split(pos, solids, ids({{4, 5, 6, 7}}), bits{0});
    EXPECT_EQ(result.failed, node_list{0});
    EXPECT_EQ(result.pos.cols(), 13u); // one node of the failed element, too
    const auto all = pieces(result.out);
    ASSERT_EQ(all.size(), 1u + 6 + 7);
    EXPECT_EQ(all[0], (node_list{0, 1, 3, 9}));
    for (std::size_t k = 1; k < 7; ++k)
        EXPECT_EQ(all[k][3], 11u);
    for (std::size_t k = 7; k < 14; ++k)
        EXPECT_EQ(all[k].back(), 12u);
}

TEST(SplitSolidQ4, EveryElementThatIsCutIsListedWhenTheLimitIsTooHigh) {
    const two_cubes mesh;
    const auto result = split(mesh.pos, mesh.solids, ids({{1, 5, 6, 2}, {0, 3, 7, 4}}), bits{0, 0}, 10);
    EXPECT_EQ(result.failed, (node_list{0, 1}));
    EXPECT_EQ(result.out.cols(), 0u);
    EXPECT_EQ(result.pos.cols(), 13u); // the first fails as two wedges, the second around its centroid
}

// ---- elements that name a node twice ----

TEST(SplitSolidQ4, ElementsThatNameANodeTwiceAreCutByTheSameRules) {
    // Each node is replaced by each other one in turn, and each set of faces is cut.
    for (const unsigned nodes : {5u, 6u, 8u})
        for (unsigned a = 0; a < nodes; ++a)
            for (unsigned b = 0; b < nodes; ++b)
                for (unsigned set = 0; set < 256; ++set) {
                    node_list element(nodes);
                    std::iota(element.begin(), element.end(), 0u);
                    element[a] = b;
                    const unsigned pattern = set >> 6; // bits all 0, all 1, or in turn
                    std::vector<node_list> quadrangles;
                    bits diagonals;
                    for (unsigned k = 0; k < oracle_faces(nodes).size(); ++k) {
                        const node_list& face = oracle_faces(nodes)[k];
                        if (face.size() == 3 || (set >> k & 1) == 0)
                            continue;
                        quadrangles.push_back({element[face[0]], element[face[1]], element[face[2]], element[face[3]]});
                        diagonals.push_back(pattern < 2 ? pattern : (k + pattern) % 2);
                    }
                    const auto pos = nodes == 8 ? cube() : nodes == 6 ? prism() : pyramid();
                    for (const double limit : {0.0, lowest}) {
                        const auto result =
                            split(pos, as_columns({element}, 8), as_columns(quadrangles, 4), diagonals, limit);
                        const auto wanted = split_plainly(as_positions(pos), {element}, quadrangles,
                                                          node_list(diagonals.begin(), diagonals.end()), limit);
                        ASSERT_EQ(result.failed, wanted.failed);
                        ASSERT_EQ(pieces(result.out), wanted.out);
                    }
                }
}

TEST(SplitSolidQ4, AWedgeWhoseDiagonalsHaveNotTwoOtherEndsFails) {
    const auto solids = ids({{0, 1, 2, 3, 2, 5, none, none}}); // the diagonal 2-4 is a point
    const auto result = split(prism(), solids, ids({{2, 1, 2, 5}, {0, 2, 5, 3}}), bits{0, 1}, lowest);
    EXPECT_EQ(result.failed, node_list{0});
    EXPECT_EQ(result.pos.cols(), 6u);
}

TEST(SplitSolidQ4, OfTwoSharedNodesTheFirstIsTheApex) {
    const auto solids = ids({{0, 1, 2, 4, 4, 5, none, none}}); // 2-4 and 4-2
    const auto result = split(prism(), solids, ids({{2, 1, 4, 5}, {0, 2, 5, 4}}), bits{0, 1}, lowest);
    EXPECT_EQ(pieces(result.out), (piece_lists{{1, 0, 4, 4, 4}, {2, 2, 4, 0}}));
}

// ---- storage ----

TEST(SplitSolidQ4, ReadsWindowsAndMemoryOfTheCaller) {
    const auto quadrangles = ids({{3, 2, 6, 7}, {0, 3, 7, 4}});
    const auto wanted = split(cube(), one_element(8), quadrangles, bits{0, 1});
    auto pos = as_window(cube(), 7.0);
    bits failed;
    dense2D<unsigned> out;
    EXPECT_EQ(
        split_solid_Q4(pos, as_window(one_element(8), 7u), as_window(quadrangles, 7u), bits{0, 1}, 0, failed, out), 0);
    EXPECT_EQ(entries(out), entries(wanted.out));
    EXPECT_EQ(entries(pos), entries(wanted.pos));

    const auto values = cube();
    std::vector<double> memory(values.data(), values.data() + 24);
    const auto before = memory;
    auto laid = dense2D<double>::view(memory.data(), 3, 8, 3);
    EXPECT_EQ(split_solid_Q4(laid, one_element(8), quadrangles, bits{0, 1}, 0, failed, out), 0);
    EXPECT_EQ(entries(laid), entries(wanted.pos));
    EXPECT_EQ(memory, before);
}

TEST(SplitSolidQ4, OtherViewsOfTheCoordinatesStayAsTheyWere) {
    auto pos = cube();
    const auto shared = pos;
    bits failed;
    dense2D<unsigned> out;
    EXPECT_EQ(split_solid_Q4(pos, one_element(8), faces_of(8, {0}), bits{0}, 0, failed, out), 0);
    EXPECT_EQ(pos.cols(), 9u);
    EXPECT_EQ(entries(shared), entries(cube()));
}

TEST(SplitSolidQ4, AnOutputMayBeAnInput) {
    const two_cubes mesh;
    const auto quadrangles = ids({{1, 5, 6, 2}, {0, 3, 7, 4}});
    const auto wanted = split(mesh.pos, mesh.solids, quadrangles, bits{1, 0});

    auto pos = mesh.pos;
    auto both = mesh.solids;
    bits list{1, 0};
    const bits another_view = list;
    EXPECT_EQ(split_solid_Q4(pos, both, quadrangles, list, 0, list, both), 0);
    EXPECT_EQ(entries(both), entries(wanted.out));
    EXPECT_TRUE(list.empty());

    pos = mesh.pos;
    auto out = quadrangles;
    bits failed;
    EXPECT_EQ(split_solid_Q4(pos, mesh.solids, out, bits{1, 0}, 0, failed, out), 0);
    EXPECT_EQ(entries(out), entries(wanted.out));
}
