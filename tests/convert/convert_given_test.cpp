#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "convert/expected_mesh.h"

using namespace quorl;
using namespace test;
using meldra3d::convert_into_high_order;
using meldra3d::convert_into_quadratic;

namespace {

constexpr unsigned none = no_node;

int convert(dense2D<double>& pos, const dense2D<unsigned>& connect, const counts& n, dense2D<unsigned>& out,
            dense2D<unsigned> faces = {}, dense2D<unsigned> edges = {}) {
    return convert_into_high_order(pos, connect, n.nE, n.nQ, n.nT, n.nH, n.nTH, n.nX, n.nY, out, faces, edges);
}

dense2D<double> random_points(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> coordinate(-1, 1);
    dense2D<double> pos(3, n);
    for (std::size_t k = 0; k < 3 * n; ++k)
        pos.data()[k] = coordinate(random);
    return pos;
}

/// The node at a place where there is just one.
unsigned node_at(const node_finder& finder, const point& p) {
    const auto found = finder.at(p);
    EXPECT_EQ(found.size(), 1u);
    return found.empty() ? none : found[0];
}

/// A face as a column of given faces: its nodes are found in the converted mesh by their places.
std::vector<unsigned> face_column(const std::vector<unsigned>& cycle, const counts& n, const dense2D<double>& pos,
                                  const node_finder& finder, std::size_t rows) {
    std::vector<unsigned> column = cycle;
    const auto places = expected_face_rows(unsigned(cycle.size()), n);
    for (std::size_t i = cycle.size(); i < places.size(); ++i)
        column.push_back(node_at(finder, image(places[i], pos, cycle.data())));
    column.resize(rows, none);
    return column;
}

std::vector<unsigned> edge_column(unsigned a, unsigned b, const counts& n, const dense2D<double>& pos,
                                  const node_finder& finder) {
    std::vector<row_weights> places;
    add_edge_rows(places, 0, 1, n.nE);
    const unsigned ends[] = {a, b};
    std::vector<unsigned> column{a, b};
    for (const row_weights& place : places)
        column.push_back(node_at(finder, image(place, pos, ends)));
    return column;
}

/// The same cycle from a random vertex on, in a random direction.
std::vector<unsigned> turned(std::vector<unsigned> cycle, std::mt19937& random) {
    std::rotate(cycle.begin(), cycle.begin() + std::ptrdiff_t(random() % cycle.size()), cycle.end());
    if (random() % 2 == 0)
        std::reverse(cycle.begin(), cycle.end());
    return cycle;
}

/// Converts the second of two elements with what the first one gave; both together must conform.
void expect_conforming(const dense2D<double>& old, const dense2D<unsigned>& second, const counts& n,
                       dense2D<double>& pos, const dense2D<unsigned>& faces, const dense2D<unsigned>& edges,
                       std::size_t shared) {
    const std::size_t before = pos.cols();
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, second, n, out, faces, edges), 0);
    const kind& k = kind_of(second, 0);
    const auto rows = expected_rows(k, n);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        ASSERT_LT(out(i, 0), pos.cols());
        const point expected = image(rows[i], old, second.col(0));
        for (unsigned x = 0; x < 3; ++x)
            ASSERT_NEAR(pos(x, out(i, 0)), expected[x], 1e-12) << k.name << " row " << i;
    }
    EXPECT_EQ(pos.cols() - before, rows.size() - k.nodes - shared);
    const node_finder finder(pos);
    for (unsigned id = unsigned(old.cols()); id < pos.cols(); ++id)
        ASSERT_EQ(finder.at({pos(0, id), pos(1, id), pos(2, id)}), std::vector<unsigned>{id});
}

const counts counts_of_faces[] = {
    quadratic, one_each, {2, 4, 3, 8, 1, 2, 1}, {3, 9, 1, 1, 0, 4, 0}, {0, 4, 3, 0, 0, 0, 0}};

} // namespace

TEST(ConvertGiven, MeshesConvertedOneAfterTheOtherConformInEveryOrientation) {
    std::mt19937 random(11);
    for (const counts& n : counts_of_faces)
        for (const kind& one : kinds())
            for (const kind& other : kinds())
                for (const auto& face : one.faces)
                    for (const auto& across : other.faces) {
                        if (across.size() != face.size())
                            continue;
                        SCOPED_TRACE(std::string(one.name) + " and " + other.name);
                        // A triangle with its nodes has to fit among quadrangles.
                        const auto quadrangle_rows = 4 + 4 * n.nE + n.nQ, triangle_rows = 3 + 3 * n.nE + n.nT;
                        const bool mixed = triangle_rows < quadrangle_rows;
                        if (!mixed && face.size() == 3)
                            continue;
                        dense2D<unsigned> first(8, 1, none), second(8, 1, none);
                        for (unsigned v = 0; v < one.nodes; ++v)
                            first(v, 0) = v;
                        const auto cycle = turned(face, random);
                        for (unsigned v = 0; v < cycle.size(); ++v)
                            second(across[v], 0) = cycle[v];
                        unsigned next = one.nodes;
                        for (unsigned v = 0; v < other.nodes; ++v)
                            if (second(v, 0) == none)
                                second(v, 0) = next++;
                        const dense2D<double> old = random_points(next, unsigned(random()));
                        dense2D<double> pos;
                        pos.copy(old);
                        dense2D<unsigned> out;
                        ASSERT_EQ(convert(pos, first, n, out), 0);
                        const node_finder finder(pos);
                        dense2D<unsigned> faces(quadrangle_rows, 0);
                        for (const auto& f : one.faces)
                            if (mixed || f.size() == 4)
                                faces.append(face_column(turned(f, random), n, pos, finder, quadrangle_rows).data());
                        const std::size_t shared = face.size() * n.nE + (face.size() == 3 ? n.nT : n.nQ);
                        expect_conforming(old, second, n, pos, faces, {}, shared);
                        if (HasFatalFailure())
                            return;
                    }
}

TEST(ConvertGiven, EdgesInEitherDirectionAreUsedAgain) {
    std::mt19937 random(12);
    for (const counts& n : {quadratic, counts{2, 0, 0, 0, 0, 0, 0}, counts{5, 4, 0, 0, 1, 0, 0}}) {
        const dense2D<double> old = random_points(5, 13);
        dense2D<double> pos;
        pos.copy(old);
        dense2D<unsigned> out;
        ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), n, out), 0);
        const node_finder finder(pos);
        dense2D<unsigned> edges(n.nE + 2, 0);
        for (auto [a, b] : kinds()[0].edges) {
            if (random() % 2 == 0)
                std::swap(a, b);
            edges.append(edge_column(a, b, n, pos, finder).data());
        }
        expect_conforming(old, ids({{3, 1, 4, 2}}), n, pos, {}, edges, 3 * n.nE);
    }
}

TEST(ConvertGiven, OfEqualEdgesTheLastCountsInItsOwnDirection) {
    dense2D<double> pos = random_points(30, 14);
    dense2D<unsigned> out;
    // Two nodes an edge; tetrahedron edges are (1,2), (2,0), (0,1), (0,3), (1,3), (2,3).
    const dense2D<unsigned> edges = ids({{1, 2, 10, 11}, {0, 3, 12, 13}, {2, 1, 14, 15}});
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), {2, 0, 0, 0, 0, 0, 0}, out, {}, edges), 0);
    EXPECT_EQ(column(out, 0), (std::vector<unsigned>{0, 1, 2, 3, 15, 14, 30, 31, 32, 33, 12, 13, 34, 35, 36, 37}));
    EXPECT_EQ(pos.cols(), 38u);
}

TEST(ConvertGiven, EdgesCountMoreThanThoseOfFaces) {
    dense2D<double> pos = random_points(30, 15);
    dense2D<unsigned> out;
    const dense2D<unsigned> faces = ids({{2, 1, 0, 20, 21, 22}}); // edges (1,0), (0,2), (2,1)
    const dense2D<unsigned> edges = ids({{0, 1, 25}});
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), quadratic, out, faces, edges), 0);
    EXPECT_EQ(column(out, 0), (std::vector<unsigned>{0, 1, 2, 3, 22, 21, 25, 30, 31, 32}));
}

TEST(ConvertGiven, OfEqualFacesTheLastCountsInItsOwnCycle) {
    dense2D<double> pos = random_points(60, 16);
    dense2D<unsigned> out;
    // Nothing on edges, three nodes inside triangles. Face 3 of the tetrahedron is listed as (2, 1, 0).
    const dense2D<unsigned> faces = ids({{0, 1, 2, 40, 41, 42}, {1, 2, 0, 51, 52, 50}});
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), {0, 0, 3, 0, 0, 0, 0}, out, faces), 0);
    EXPECT_EQ(column(out, 0), (std::vector<unsigned>{0, 1, 2, 3, 60, 61, 62, 63, 64, 65, 66, 67, 68, 52, 51, 50}));
}

TEST(ConvertGiven, AGroupWithAHoleIsCreated) {
    dense2D<double> pos = random_points(30, 17);
    dense2D<unsigned> out;
    const dense2D<unsigned> edges =
        ids({{1, 2, none, none}, {2, 0, 10, none}, {0, 1, none, 11}, {0, 3, 12, 13}, {3, 0, none, 13}});
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), {2, 0, 0, 0, 0, 0, 0}, out, {}, edges), 0);
    for (unsigned i = 4; i < 16; ++i)
        EXPECT_EQ(out(i, 0), 30 + i - 4);
    const auto rows = expected_rows(kinds()[0], {2, 0, 0, 0, 0, 0, 0});
    for (unsigned i = 4; i < 16; ++i)
        for (unsigned x = 0; x < 3; ++x)
            EXPECT_NEAR(pos(x, out(i, 0)), image(rows[i], pos, out.col(0))[x], 1e-13);
}

TEST(ConvertGiven, AFaceOrEdgeWithoutAllItsVerticesIsPassedOver) {
    dense2D<double> pos = random_points(30, 18);
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), one_each, out,
                      ids({{0, 1, none, 10, 11, 12, 13}, {none, none, none, none, none, none, none}}),
                      ids({{0, none, 14}, {none, 1, 15}})),
              0);
    for (unsigned i = 4; i < 15; ++i)
        EXPECT_EQ(out(i, 0), 30 + i - 4);
}

TEST(ConvertGiven, AmongTetrahedraEveryFaceIsATriangle) {
    dense2D<double> pos = random_points(30, 19);
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), quadratic, out, ids({{1, 2, 3, 10, 11, none}})), 0);
    // Its edges are (2,3), (3,1), (1,2); the last has no node yet.
    EXPECT_EQ(column(out, 0), (std::vector<unsigned>{0, 1, 2, 3, 30, 31, 32, 33, 11, 10}));
}

TEST(ConvertGiven, TheLastRowTellsTheKindWhereTheRowsDoNot) {
    // Rows of a quadrangle, with a triangle and a quadrangle in them, for each mesh that admits them.
    const dense2D<unsigned> faces = ids({{0, 1, 2, 20, 21, 22, none, none, none}, {1, 4, 3, 0, 23, 24, 25, 26, 27}});
    for (const std::size_t rows : {6u, 8u}) {
        dense2D<double> pos = random_points(30, 20);
        dense2D<unsigned> wedge(rows, 1, none), out;
        for (unsigned v = 0; v < 6; ++v)
            wedge(v, 0) = v;
        ASSERT_EQ(convert(pos, wedge, quadratic, out, faces), 0);
        // Edges (0,3) (1,4) (2,5), (1,2) (2,0) (0,1), (4,5) (5,3) (3,4), then the three quadrangles.
        EXPECT_EQ(std::vector<unsigned>(out.col(0), out.col(0) + 18),
                  (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 25, 23, 30, 20, 21, 26, 31, 32, 24, 33, 34, 27}))
            << rows;
    }
    // Rows of a triangle: all are triangles.
    dense2D<double> pos = random_points(30, 20);
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3, 4, 5}}), quadratic, out, ids({{0, 1, 2, 20, 21, none}})), 0);
    EXPECT_EQ(out(9, 0), 20u);
    EXPECT_EQ(out(10, 0), 21u);
    EXPECT_EQ(out(11, 0), 33u);
    // Nine rows of either (nT = 1 + nE + nQ).
    pos = random_points(40, 20);
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3, 4, 5}}), {1, 1, 3, 0, 0, 0, 0}, out,
                      ids({{0, 1, 2, 20, 21, 22, 23, 24, none}, {0, 1, 4, 3, 25, 26, 27, 28, 29}})),
              0);
    EXPECT_EQ(out(9, 0), 20u) << "edge (1, 2) of the triangle";
    EXPECT_EQ(out(11, 0), 25u) << "edge (0, 1), last given by the quadrangle";
    EXPECT_EQ(out(15, 0), 43u) << "the inside of the triangle has a hole";
    EXPECT_EQ(out(23, 0), 29u) << "the centre of (0, 1, 4, 3)";
}

TEST(ConvertGiven, ATriangleThatDoesNotFitAmongQuadranglesGivesItsEdgesOnly) {
    // 4 + 0 + 1 = 5 rows hold a quadrangle, but not the 3 + 0 + 3 of a triangle.
    dense2D<double> pos = random_points(30, 21);
    dense2D<unsigned> out, wedge = ids({{0, 1, 2, 3, 4, 5, none, none}});
    ASSERT_EQ(convert(pos, wedge, {0, 1, 3, 0, 0, 0, 0}, out, ids({{0, 1, 2, 10, none}, {0, 1, 4, 3, 11}})), 0);
    EXPECT_EQ(std::vector<unsigned>(out.col(0), out.col(0) + 15),
              (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 30, 31, 32, 33, 34, 35, 36, 37, 11}));
}

TEST(ConvertGiven, GivenNodesBendTheCentresOfFacesAndHexahedra) {
    const dense2D<double> vertices = random_points(8, 22);
    dense2D<double> pos;
    pos.copy(vertices);
    const double moved_edge[] = {3, -2, 5}, moved_centre[] = {-4, 1, 2};
    pos.append(moved_edge);
    pos.append(moved_centre);
    dense2D<unsigned> hexahedron = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    // Node 8 on the edge 0 - 1, node 9 in the face (4, 5, 6, 7), whose edges are created.
    ASSERT_EQ(convert_into_quadratic(pos, hexahedron, ids({{7, 4, 5, 6, none, none, none, none, 9}}), ids({{1, 0, 8}})),
              0);
    EXPECT_EQ(hexahedron(8, 0), 8u);
    EXPECT_EQ(hexahedron(25, 0), 9u);
    const auto at = [&](std::size_t row) {
        return point{pos(0, hexahedron(row, 0)), pos(1, hexahedron(row, 0)), pos(2, hexahedron(row, 0))};
    };
    for (unsigned x = 0; x < 3; ++x) {
        // The face (0, 1, 5, 4) with the edges of rows 8, 17, 12, 16.
        const double face =
            (at(8)[x] + at(17)[x] + at(12)[x] + at(16)[x]) / 2 - (at(0)[x] + at(1)[x] + at(5)[x] + at(4)[x]) / 4;
        EXPECT_NEAR(at(22)[x], face, 1e-14);
        EXPECT_NEAR(at(8)[x], moved_edge[x], 0);
        double centre = 0;
        for (std::size_t row = 0; row < 26; ++row)
            centre += at(row)[x] * (row < 8 ? 0.125 : row < 20 ? -0.25 : 0.5);
        EXPECT_NEAR(at(26)[x], centre, 1e-14);
        EXPECT_GT(std::fabs(at(26)[x] - (at(8)[x] + at(14)[x]) / 2), 1e-3);
    }
}

TEST(ConvertGiven, MoreNodesInAHexahedronAreBentToo) {
    dense2D<double> pos = random_points(8, 23);
    const double moved[] = {3, -2, 5};
    pos.append(moved);
    for (const unsigned nH : {8u, 27u}) {
        dense2D<double> bent;
        bent.copy(pos);
        dense2D<unsigned> out;
        ASSERT_EQ(convert(bent, ids({{0, 1, 2, 3, 4, 5, 6, 7}}), {1, 1, 0, nH, 0, 0, 0}, out, {}, ids({{0, 1, 8}})), 0);
        const auto x = [&](std::size_t row, unsigned i) { return bent(i, out(row, 0)); };
        // The 27-node hexahedron whose centre its surface gives, by products of quadratic functions.
        const int places[26][3] = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 0, 2}, {2, 0, 2}, {2, 2, 2},
                                   {0, 2, 2}, {1, 0, 0}, {2, 1, 0}, {1, 2, 0}, {0, 1, 0}, {1, 0, 2}, {2, 1, 2},
                                   {1, 2, 2}, {0, 1, 2}, {0, 0, 1}, {2, 0, 1}, {2, 2, 1}, {0, 2, 1}, {0, 1, 1},
                                   {2, 1, 1}, {1, 0, 1}, {1, 2, 1}, {1, 1, 0}, {1, 1, 2}};
        const auto line = [](int node, double t) { // nodes at 0, 1/2 and 1
            return node == 0 ? (1 - t) * (1 - 2 * t) : node == 1 ? 4 * t * (1 - t) : t * (2 * t - 1);
        };
        const unsigned m = nH == 8 ? 2 : 3;
        for (unsigned n = 0; n < nH; ++n) {
            const double u = (n % m + 1.0) / (m + 1), v = (n / m % m + 1.0) / (m + 1), w = (n / m / m + 1.0) / (m + 1);
            for (unsigned i = 0; i < 3; ++i) {
                double sum = 0, centre = 0;
                for (std::size_t row = 0; row < 26; ++row) {
                    const auto& p = places[row];
                    sum += line(p[0], u) * line(p[1], v) * line(p[2], w) * x(row, i);
                    centre += x(row, i) * (row < 8 ? 0.125 : row < 20 ? -0.25 : 0.5);
                }
                sum += line(1, u) * line(1, v) * line(1, w) * centre;
                EXPECT_NEAR(x(26 + n, i), sum, 1e-13);
            }
        }
    }
}

TEST(ConvertGiven, ThatAreNotMetLeaveTheResultToRounding) {
    const dense2D<double> old = random_points(16, 24);
    dense2D<double> pos, with;
    pos.copy(old);
    with.copy(old);
    dense2D<unsigned> out, out_with;
    const dense2D<unsigned> mesh = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    ASSERT_EQ(convert(pos, mesh, one_each, out), 0);
    ASSERT_EQ(convert(with, mesh, one_each, out_with, ids({{8, 9, 10, 11, 12, 13, 14, 15, 8}}), ids({{8, 9, 10}})), 0);
    EXPECT_EQ(entries(out), entries(out_with));
    ASSERT_EQ(pos.cols(), with.cols());
    for (std::size_t k = 0; k < pos.size(); ++k)
        EXPECT_NEAR(pos.data()[k], with.data()[k], 1e-15 * 8);
}
