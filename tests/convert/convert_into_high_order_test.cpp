#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>

#include "convert/expected_mesh.h"

using namespace quorl;
using namespace test;
using meldra3d::convert_into_high_order;
using meldra3d::convert_into_linear;
using meldra3d::convert_into_quadratic;

namespace {

constexpr unsigned none = no_node;

int convert(dense2D<double>& pos, const dense2D<unsigned>& connect, const counts& n, dense2D<unsigned>& out,
            dense2D<unsigned> faces = {}, dense2D<unsigned> edges = {}) {
    return convert_into_high_order(pos, connect, n.nE, n.nQ, n.nT, n.nH, n.nTH, n.nX, n.nY, out, faces, edges);
}

int convert_in_place(dense2D<double>& pos, dense2D<unsigned>& connect, const counts& n,
                     const dense2D<unsigned>& faces = {}, const dense2D<unsigned>& edges = {}) {
    return convert_into_high_order(pos, connect, n.nE, n.nQ, n.nT, n.nH, n.nTH, n.nX, n.nY, faces, edges);
}

dense2D<double> random_points(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> coordinate(-1, 1);
    dense2D<double> pos(3, n);
    for (std::size_t k = 0; k < 3 * n; ++k)
        pos.data()[k] = coordinate(random);
    return pos;
}

dense2D<double> deep(const dense2D<double>& pos) {
    dense2D<double> own;
    own.copy(pos);
    return own;
}

/// One element of a kind with the vertices 0, 1, 2 ..., in its own rows or in 8.
dense2D<unsigned> one_of(const kind& k, std::size_t rows) {
    dense2D<unsigned> connect(rows, 1, none);
    for (unsigned v = 0; v < k.nodes; ++v)
        connect(v, 0) = v;
    return connect;
}

std::string label(const counts& n) {
    std::string text;
    for (const unsigned c : {n.nE, n.nQ, n.nT, n.nH, n.nTH, n.nX, n.nY})
        text += std::to_string(c) + " ";
    return text;
}

/// Visits every way in which the first of two elements can share a face with the second: visit(connect, nodes) with the
/// two elements in 8 rows and the number of nodes.
template <class Visit>
void for_each_pair(Visit visit) {
    for (const kind& one : kinds())
        for (const kind& other : kinds())
            for (const auto& face : one.faces)
                for (const auto& across : other.faces) {
                    const unsigned corners = unsigned(face.size());
                    if (across.size() != corners)
                        continue;
                    for (unsigned start = 0; start < corners; ++start)
                        for (const unsigned step : {1u, corners - 1}) {
                            dense2D<unsigned> pair(8, 2, none);
                            for (unsigned v = 0; v < one.nodes; ++v)
                                pair(v, 0) = v;
                            unsigned next = one.nodes;
                            for (unsigned v = 0; v < corners; ++v)
                                pair(across[v], 1) = face[(start + v * step) % corners];
                            for (unsigned v = 0; v < other.nodes; ++v)
                                if (pair(v, 1) == none)
                                    pair(v, 1) = next++;
                            visit(pair, next);
                        }
                }
}

} // namespace

TEST(ConvertIntoQuadratic, ATetrahedronWrittenOut) {
    dense2D<double> pos = points({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}});
    dense2D<unsigned> connect = ids({{0, 1, 2, 3}});
    ASSERT_EQ(convert_into_quadratic(pos, connect), 0);
    EXPECT_EQ(connect.rows(), 10u);
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(entries(pos), (std::vector<double>{0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 2, //
                                                 1, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 1, 0, 1, 0, 1, 1}));
}

TEST(ConvertIntoQuadratic, APyramidWrittenOut) {
    dense2D<double> pos = points({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 0, 2}});
    dense2D<unsigned> connect = ids({{0, 1, 2, 3, 4}});
    ASSERT_EQ(convert_into_quadratic(pos, connect), 0);
    EXPECT_EQ(connect.rows(), 14u);
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}));
    EXPECT_EQ(std::vector<double>(pos.col(5), pos.col(14)),
              (std::vector<double>{0, 0, 1, 1, 0, 1, 1, 1, 1, 0, 1, 1, // to the apex
                                   1, 0, 0, 2, 1, 0, 1, 2, 0, 0, 1, 0, // around the base
                                   1, 1, 0}));
}

TEST(ConvertIntoQuadratic, AWedgeWrittenOut) {
    dense2D<double> pos = points({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}, {2, 0, 2}, {0, 2, 2}});
    dense2D<unsigned> connect = ids({{0, 1, 2, 3, 4, 5}});
    ASSERT_EQ(convert_into_quadratic(pos, connect), 0);
    EXPECT_EQ(connect.rows(), 18u);
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17}));
    EXPECT_EQ(std::vector<double>(pos.col(6), pos.col(18)), (std::vector<double>{0, 0, 1, 2, 0, 1, 0, 2, 1, // upright
                                                                                 1, 1, 0, 0, 1, 0, 1, 0, 0, // below
                                                                                 1, 1, 2, 0, 1, 2, 1, 0, 2, // above
                                                                                 1, 1, 1, 0, 1, 1, 1, 0, 1}));
}

TEST(ConvertIntoQuadratic, AHexahedronWrittenOut) {
    dense2D<double> pos =
        points({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}, {0, 0, 2}, {2, 0, 2}, {2, 2, 2}, {0, 2, 2}});
    dense2D<unsigned> connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    ASSERT_EQ(convert_into_quadratic(pos, connect), 0);
    EXPECT_EQ(connect.rows(), 27u);
    for (unsigned i = 0; i < 27; ++i)
        EXPECT_EQ(connect(i, 0), i);
    EXPECT_EQ(std::vector<double>(pos.col(8), pos.col(27)),
              (std::vector<double>{1, 0, 0, 2, 1, 0, 1, 2, 0, 0, 1, 0, // below
                                   1, 0, 2, 2, 1, 2, 1, 2, 2, 0, 1, 2, // above
                                   0, 0, 1, 2, 0, 1, 2, 2, 1, 0, 2, 1, // upright
                                   0, 1, 1, 2, 1, 1, 1, 0, 1, 1, 2, 1, 1, 1, 0, 1, 1, 2, 1, 1, 1}));
}

TEST(ConvertIntoQuadratic, TwoTetrahedraShareTheNodesOfTheirFace) {
    dense2D<double> pos = points({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}, {0, 0, 2}, {2, 2, 2}});
    dense2D<unsigned> connect = ids({{0, 1, 2, 3}, {4, 1, 2, 3}});
    ASSERT_EQ(convert_into_quadratic(pos, connect), 0);
    // Edges (1,2), (2,0), (0,1), (0,3), (1,3), (2,3): the second element's new ones lead to its node 0.
    EXPECT_EQ(entries(connect),
              (std::vector<unsigned>{0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 4, 1, 2, 3, 5, 11, 12, 13, 9, 10}));
    EXPECT_EQ(pos.cols(), 14u);
}

TEST(ConvertIntoHighOrder, AReversedEdgeIsReadBackwards) {
    dense2D<double> pos = random_points(7, 3);
    dense2D<unsigned> out;
    // Both share the edge 0 - 1, the second as 1 - 0: rows 8 and 9 of a tetrahedron with two nodes an edge.
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}, {1, 0, 4, 5}}), {2, 0, 0, 0, 0, 0, 0}, out), 0);
    EXPECT_EQ(column(out, 0), (std::vector<unsigned>{0, 1, 2, 3, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18}));
    EXPECT_EQ(column(out, 1), (std::vector<unsigned>{1, 0, 4, 5, 19, 20, 21, 22, 12, 11, 23, 24, 25, 26, 27, 28}));
}

TEST(ConvertIntoHighOrder, EveryKindAloneHasItsRowsAndPlaces) {
    for (const kind& k : kinds())
        for (const std::size_t rows : {std::size_t(k.nodes), std::size_t(8)})
            for (const counts& n : many_counts()) {
                SCOPED_TRACE(std::string(k.name) + " in " + std::to_string(rows) + " rows, " + label(n));
                const dense2D<double> old = random_points(k.nodes, k.nodes);
                const dense2D<unsigned> linear = one_of(k, rows);
                dense2D<double> pos = deep(old);
                dense2D<unsigned> out;
                ASSERT_EQ(convert(pos, linear, n, out), 0);
                expect_converted(old, linear, n, pos, out);
                if (HasFatalFailure())
                    return;
                dense2D<double> again = deep(old);
                dense2D<unsigned> connect = one_of(k, rows);
                ASSERT_EQ(convert_in_place(again, connect, n), 0);
                EXPECT_EQ(entries(connect), entries(out));
                EXPECT_EQ(entries(again), entries(pos));
            }
}

TEST(ConvertIntoHighOrder, TwoElementsShareTheNodesOfAFaceInEveryOrientation) {
    std::size_t pairs = 0;
    for (const counts& n : {quadratic, one_each, counts{2, 4, 3, 0, 0, 0, 0}, counts{3, 9, 1, 8, 1, 2, 1}})
        for_each_pair([&](const dense2D<unsigned>& pair, unsigned nodes) {
            if (testing::Test::HasFatalFailure())
                return;
            SCOPED_TRACE(std::string(kind_of(pair, 0).name) + " and " + kind_of(pair, 1).name + ", " + label(n));
            const dense2D<double> old = random_points(nodes, nodes);
            dense2D<double> pos = deep(old);
            dense2D<unsigned> out;
            ASSERT_EQ(convert(pos, pair, n, out), 0);
            expect_converted(old, pair, n, pos, out);
            ++pairs;
        });
    EXPECT_EQ(pairs, 4u * (10 * 10 * 6 + 10 * 10 * 8)); // ten triangles and ten quadrangles in all
}

TEST(ConvertIntoHighOrder, AMeshOfAllKindsConforms) {
    // A hexahedron, a pyramid on top of it, a tetrahedron at the pyramid's side, a wedge at the hexahedron's, a
    // tetrahedron at the wedge's end.
    const dense2D<unsigned> mesh = ids({{0, 1, 2, 3, 4, 5, 6, 7},
                                        {4, 5, 6, 7, 8, none, none, none},
                                        {5, 8, 6, 9, none, none, none, none},
                                        {1, 9, 2, 5, 10, 6, none, none},
                                        {5, 10, 6, 9, none, none, none, none}});
    for (const counts& n : many_counts()) {
        SCOPED_TRACE(label(n));
        const dense2D<double> old = random_points(11, 5);
        dense2D<double> pos = deep(old);
        dense2D<unsigned> out;
        ASSERT_EQ(convert(pos, mesh, n, out), 0);
        expect_converted(old, mesh, n, pos, out);
    }
}

TEST(ConvertIntoHighOrder, AGridOfHexahedraHasTheNodesOfTheFinerGrid) {
    const unsigned cells = 3;
    dense2D<double> pos(3, 0);
    const auto node = [=](unsigned i, unsigned j, unsigned k) { return i + (cells + 1) * (j + (cells + 1) * k); };
    for (unsigned k = 0; k <= cells; ++k)
        for (unsigned j = 0; j <= cells; ++j)
            for (unsigned i = 0; i <= cells; ++i) {
                const double x[] = {double(i), double(j), double(k)};
                pos.append(x);
            }
    dense2D<unsigned> connect(8, 0);
    for (unsigned k = 0; k < cells; ++k)
        for (unsigned j = 0; j < cells; ++j)
            for (unsigned i = 0; i < cells; ++i) {
                const unsigned c[] = {
                    node(i, j, k),     node(i + 1, j, k),     node(i + 1, j + 1, k),     node(i, j + 1, k),
                    node(i, j, k + 1), node(i + 1, j, k + 1), node(i + 1, j + 1, k + 1), node(i, j + 1, k + 1)};
                connect.append(c);
            }
    for (unsigned order = 2; order <= 4; ++order) {
        const unsigned m = order - 1;
        dense2D<double> finer = deep(pos);
        dense2D<unsigned> out;
        ASSERT_EQ(convert(finer, connect, {m, m * m, 0, m * m * m, 0, 0, 0}, out), 0);
        const unsigned side = cells * order + 1;
        EXPECT_EQ(finer.cols(), side * side * side);
        std::set<std::array<long, 3>> places;
        for (std::size_t j = 0; j < finer.cols(); ++j) {
            std::array<long, 3> place;
            for (unsigned i = 0; i < 3; ++i) {
                place[i] = std::lround(finer(i, j) * order);
                EXPECT_NEAR(finer(i, j) * order, double(place[i]), 1e-12);
            }
            places.insert(place);
        }
        EXPECT_EQ(places.size(), finer.cols());
    }
}

TEST(ConvertIntoHighOrder, LinearOfQuadraticGivesTheElementsBack) {
    const dense2D<unsigned> mixed = ids({{0, 1, 2, 3, 4, 5, 6, 7},
                                         {4, 5, 6, 7, 8, none, none, none},
                                         {5, 8, 6, 9, none, none, none, none},
                                         {1, 9, 2, 5, 10, 6, none, none}});
    for (const dense2D<unsigned>& mesh : {mixed, ids({{0, 1, 2, 3}, {3, 2, 1, 4}}), mixed.sub(0, 1, 8, 3),
                                          mixed.sub(0, 2, 8, 1), mixed.sub(0, 1, 8, 1), mixed.sub(0, 3, 8, 1)}) {
        dense2D<double> pos = random_points(11, 8);
        dense2D<unsigned> connect = mesh;
        ASSERT_EQ(convert_into_quadratic(pos, connect), 0);
        EXPECT_EQ(connect.rows(), mesh.rows() == 8 ? 27u : 10u);
        ASSERT_EQ(convert_into_linear(connect), 0);
        EXPECT_EQ(connect.rows(), mesh.rows());
        EXPECT_EQ(entries(connect), entries(mesh));
    }
}

TEST(ConvertIntoHighOrder, AWindowIsReadThroughItsLeadingDimensionAndStays) {
    const dense2D<unsigned> mesh = ids({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 7, 8, none, none, none}});
    const dense2D<double> old = random_points(9, 4);
    dense2D<double> pos = deep(old);
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, mesh, one_each, out), 0);
    const dense2D<unsigned> window = as_window(mesh, 99u);
    dense2D<double> pos_window = as_window(old, 7.0);
    const dense2D<double> seen = pos_window;
    dense2D<unsigned> out_of_window;
    ASSERT_EQ(convert(pos_window, window, one_each, out_of_window), 0);
    EXPECT_EQ(entries(out_of_window), entries(out));
    EXPECT_EQ(entries(pos_window), entries(pos));
    EXPECT_EQ(entries(window), entries(mesh));
    EXPECT_EQ(entries(seen), entries(old));
}

TEST(ConvertIntoHighOrder, OtherViewsOfTheConnectivityKeepTheirContents) {
    for (const counts& n : {quadratic, counts{0, 0, 0, 0, 0, 0, 0}}) {
        const dense2D<double> old = random_points(5, 4);
        dense2D<double> pos = deep(old);
        dense2D<unsigned> connect = ids({{0, 1, 2, 3}, {4, 1, 2, 3}});
        const dense2D<unsigned> seen = connect;
        const dense2D<double> pos_seen = pos;
        ASSERT_EQ(convert_in_place(pos, connect, n), 0);
        EXPECT_EQ(entries(seen), (std::vector<unsigned>{0, 1, 2, 3, 4, 1, 2, 3}));
        EXPECT_EQ(entries(pos_seen), entries(old));
        EXPECT_EQ(connect.rows(), n.nE == 0 ? 0u : 10u);
        EXPECT_EQ(connect.cols(), n.nE == 0 ? 0u : 2u);
    }
}

TEST(ConvertIntoHighOrder, OneMatrixMayBeInputAndOutput) {
    const dense2D<unsigned> mesh = ids({{0, 1, 2, 3}, {4, 1, 2, 3}});
    const dense2D<double> old = random_points(5, 4);
    dense2D<double> pos = deep(old);
    dense2D<unsigned> expected;
    ASSERT_EQ(convert(pos, mesh, quadratic, expected), 0);

    dense2D<unsigned> same = mesh, no_faces, no_edges;
    dense2D<double> again = deep(old);
    ASSERT_EQ(convert_into_high_order(again, same, 1, 1, 0, 1, 0, 0, 0, same, no_faces, no_edges), 0);
    EXPECT_EQ(entries(same), entries(expected));
    EXPECT_EQ(entries(again), entries(pos));

    // The output may take the place of the edges that it reads.
    dense2D<unsigned> edges = ids({{1, 2, 0}, {3, 4, 2}});
    const dense2D<unsigned> edges_seen = edges;
    again = deep(old);
    ASSERT_EQ(convert_into_high_order(again, mesh, 1, 1, 0, 1, 0, 0, 0, edges, no_faces, edges), 0);
    EXPECT_EQ(edges.rows(), 10u);
    EXPECT_EQ(edges(4, 0), 0u); // edge (1, 2)
    EXPECT_EQ(edges(7, 1), 2u); // edge (4, 3)
    EXPECT_EQ(entries(edges_seen), (std::vector<unsigned>{1, 2, 0, 3, 4, 2}));
}

TEST(ConvertIntoHighOrder, ResultsOfBeforeLeaveNoTraceInTheOutput) {
    dense2D<double> pos = random_points(5, 4);
    dense2D<unsigned> out(40, 100, 3u);
    const dense2D<unsigned> seen = out;
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3}}), quadratic, out), 0);
    EXPECT_EQ(out.rows(), 10u);
    EXPECT_EQ(out.cols(), 1u);
    EXPECT_EQ(entries(seen), std::vector<unsigned>(4000, 3u));
}
