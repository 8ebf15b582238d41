#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "meldra/dice.h"
#include "meldra/face_oracle.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra::get_neighbors;

namespace {

constexpr unsigned none = no_node;

struct shape_of_mesh {
    element_type type;
    std::size_t rows;
    std::vector<std::size_t> node_counts; // of its columns
};

const std::vector<shape_of_mesh>& all_shapes() {
    static const std::vector<shape_of_mesh> shapes{
        {ET_FACE_MIX, 3, {3}},
        {ET_FACE_MIX, 4, {3, 4}},
        {ET_FACE_MIX_Q, 9, {6, 8, 9}},
        {ET_T3, 3, {3}},
        {ET_T6, 6, {6}},
        {ET_Q4, 4, {4}},
        {ET_Q8, 8, {8}},
        {ET_Q9, 9, {9}},
        {ET_SOLID_MIX, 4, {4}},
        {ET_SOLID_MIX, 5, {5}},
        {ET_SOLID_MIX, 6, {6}},
        {ET_SOLID_MIX, 8, {4, 5, 6, 8}},
        {ET_SOLID_MIX_Q, 13, {10, 13}},
        {ET_SOLID_MIX_Q, 14, {10, 13, 14}},
        {ET_SOLID_MIX_Q, 15, {10, 13, 14, 15}},
        {ET_SOLID_MIX_Q, 18, {10, 13, 14, 15, 18}},
        {ET_SOLID_MIX_Q, 20, {10, 13, 14, 15, 18, 20}},
        {ET_SOLID_MIX_Q, 27, {10, 13, 14, 15, 18, 20, 27}},
        {ET_TH4, 4, {4}},
        {ET_TH10, 10, {10}},
        {ET_PY5, 5, {5}},
        {ET_PY13, 13, {13}},
        {ET_PY14, 14, {14}},
        {ET_W6, 6, {6}},
        {ET_W15, 15, {15}},
        {ET_W18, 18, {18}},
        {ET_H8, 8, {8}},
        {ET_H20, 20, {20}},
        {ET_H27, 27, {27}},
    };
    return shapes;
}

/// Elements of random nodes. Most take over a face of an earlier element, turned and mirrored at random, or that
/// face in another cycle; some are repeated whole, and some have repeated nodes.
dense2D<unsigned> random_mesh(const shape_of_mesh& shape, std::size_t elements, unsigned nodes, dice& random) {
    dense2D<unsigned> connect(shape.rows, elements, none);
    for (std::size_t j = 0; j < elements; ++j) {
        if (j > 0 && random(8) == 0) {
            const unsigned again = random(j);
            std::copy_n(connect.col(again), shape.rows, connect.col(j));
            continue;
        }
        const std::size_t count = shape.node_counts[random(shape.node_counts.size())];
        for (std::size_t i = 0; i < count; ++i)
            connect(i, j) = random(nodes);
        if (j == 0 || random(4) == 0)
            continue;
        const auto given_faces = faces_of(shape.type, column(connect, random(j)));
        cycle given = given_faces[random(given_faces.size())];
        std::rotate(given.begin(), given.begin() + random(given.size()), given.end());
        if (random(2))
            std::reverse(given.begin(), given.end());
        if (random(6) == 0)
            std::swap(given[0], given[1]);
        const auto places = local_faces(is_surface(shape.type), corners_of(shape.type, column(connect, j)));
        const cycle& place = places[random(places.size())];
        for (std::size_t k = 0; k < std::min(place.size(), given.size()); ++k)
            connect(place[k], j) = given[k];
    }
    return connect;
}

/// n x n x n cubes of 8 nodes, x first.
dense2D<unsigned> cube_grid(unsigned n) {
    dense2D<unsigned> connect(8, 0);
    const auto node = [n](unsigned x, unsigned y, unsigned z) { return x + (n + 1) * (y + (n + 1) * z); };
    for (unsigned z = 0; z < n; ++z)
        for (unsigned y = 0; y < n; ++y)
            for (unsigned x = 0; x < n; ++x) {
                const unsigned cube[] = {
                    node(x, y, z),     node(x + 1, y, z),     node(x + 1, y + 1, z),     node(x, y + 1, z),
                    node(x, y, z + 1), node(x + 1, y, z + 1), node(x + 1, y + 1, z + 1), node(x, y + 1, z + 1)};
                connect.append(cube);
            }
    return connect;
}

/// Each cube as Kuhn's six tetrahedra around the diagonal from node 0 to node 6, which match across cubes.
dense2D<unsigned> tetrahedra_of(const dense2D<unsigned>& cubes) {
    static const unsigned paths[6][4] = {{0, 1, 2, 6}, {0, 2, 3, 6}, {0, 3, 7, 6},
                                         {0, 7, 4, 6}, {0, 4, 5, 6}, {0, 5, 1, 6}};
    dense2D<unsigned> connect(4, 0);
    for (std::size_t j = 0; j < cubes.cols(); ++j)
        for (const auto& path : paths) {
            const unsigned element[] = {cubes(path[0], j), cubes(path[1], j), cubes(path[2], j), cubes(path[3], j)};
            connect.append(element);
        }
    return connect;
}

dense2D<unsigned> in_order(const dense2D<unsigned>& connect, const std::vector<unsigned>& order) {
    dense2D<unsigned> ordered(connect.rows(), 0);
    for (const unsigned j : order)
        ordered.append(connect.col(j));
    return ordered;
}

std::vector<unsigned> shuffled(std::size_t n, dice random) {
    std::vector<unsigned> order(n);
    std::iota(order.begin(), order.end(), 0u);
    for (std::size_t k = n; k > 1; --k)
        std::swap(order[k - 1], order[random(k)]);
    return order;
}

dense2D<unsigned> neighbors_of(const dense2D<unsigned>& connect, element_type type) {
    dense2D<unsigned> neighbors;
    EXPECT_EQ(get_neighbors(connect, type, false, neighbors), 0);
    EXPECT_EQ(neighbors.cols(), connect.cols());
    return neighbors;
}

} // namespace

RC_GTEST_PROP(GetNeighbors, AgreesWithTheComparisonOfEveryPairOfFaces, ()) {
    const auto which = *rc::gen::inRange<std::size_t>(0, all_shapes().size());
    const auto elements = *rc::gen::resize(100, rc::gen::inRange<std::size_t>(1, 14));
    const auto nodes = *rc::gen::resize(100, rc::gen::inRange(1u, 16u));
    dice random(*rc::gen::arbitrary<unsigned>());
    const shape_of_mesh& shape = all_shapes()[which];
    const auto connect = random_mesh(shape, elements, nodes, random);
    const auto expected = neighbors_of_every_pair(connect, shape.type);

    dense2D<unsigned> neighbors(2, 2, 5u);
    RC_LOG() << "type " << shape.type << ", columns of " << shape.rows << ": " << rc::toString(entries(connect))
             << "\n";
    RC_ASSERT(get_neighbors(connect, shape.type, false, neighbors) == 0);
    RC_ASSERT(neighbors.rows() == expected.neighbors.rows());
    RC_ASSERT(neighbors.cols() == elements);
    RC_ASSERT(neighbors.ld() == neighbors.rows());
    RC_ASSERT(entries(neighbors) == entries(expected.neighbors));

    RC_ASSERT(get_neighbors(connect, shape.type, true, neighbors) == (expected.manifold ? 0 : -3));
    RC_ASSERT(entries(neighbors) == (expected.manifold ? entries(expected.neighbors) : std::vector<unsigned>()));

    RC_ASSERT(get_neighbors(as_window(connect, 3u), shape.type, false, neighbors) == 0);
    RC_ASSERT(entries(neighbors) == entries(expected.neighbors));
}

TEST(GetNeighbors, MeshesOfManyPartitionsAgreeWithATableOfFaces) {
    dice random(11);
    for (const std::size_t which : {3u, 11u, 18u}) { // keys of two, four and three nodes
        const shape_of_mesh& shape = all_shapes()[which];
        const auto connect = random_mesh(shape, 9000, 4000, random);
        const auto expected = neighbors_by_table(connect, shape.type);
        EXPECT_EQ(entries(neighbors_of(connect, shape.type)), entries(expected.neighbors)) << "type " << shape.type;
        EXPECT_FALSE(expected.manifold);
        dense2D<unsigned> neighbors;
        EXPECT_EQ(get_neighbors(connect, shape.type, true, neighbors), -3);
        EXPECT_TRUE(neighbors.empty());
    }
}

TEST(GetNeighbors, CubesOfAGridLieBesideEachOther) {
    for (const unsigned n : {13u, 90u}) { // the faces of the larger one do not all lie in memory at a time
        const auto neighbors = neighbors_of(cube_grid(n), ET_H8);
        ASSERT_EQ(neighbors.rows(), 6u);
        for (unsigned j = 0; j < n * n * n; ++j) {
            const unsigned x = j % n, y = j / n % n, z = j / n / n;
            const unsigned expected[] = {x > 0 ? j - 1 : none,     x + 1 < n ? j + 1 : none,
                                         y > 0 ? j - n : none,     y + 1 < n ? j + n : none,
                                         z > 0 ? j - n * n : none, z + 1 < n ? j + n * n : none};
            ASSERT_TRUE(std::equal(expected, expected + 6, neighbors.col(j))) << j;
        }
        EXPECT_EQ(entries(neighbors_of(cube_grid(n), ET_SOLID_MIX)), entries(neighbors));
    }
}

TEST(GetNeighbors, LargeMeshesOfTetrahedraAreManifoldOrNot) {
    constexpr unsigned n = 58; // 4.7 million faces, which do not all lie in memory at a time
    auto connect = tetrahedra_of(cube_grid(n));
    dense2D<unsigned> neighbors;
    ASSERT_EQ(get_neighbors(connect, ET_TH4, true, neighbors), 0);
    const auto all = entries(neighbors);
    EXPECT_EQ(std::count(all.begin(), all.end(), none), 12 * n * n);
    for (unsigned j = 0; j < connect.cols(); ++j)
        ASSERT_TRUE(neighbors(1, j) == j - j % 6 + (j + 1) % 6 && neighbors(2, j) == j - j % 6 + (j + 5) % 6) << j;

    for (const unsigned j : {0u, 600000u}) { // a third element at the faces of one
        const dense2D<unsigned> same = connect.sub(0, j, 4, 1);
        dense2D<unsigned> more;
        more.copy(connect);
        more.append(same.col(0));
        EXPECT_EQ(get_neighbors(more, ET_TH4, true, neighbors), -3);
        EXPECT_TRUE(neighbors.empty());
    }
}

TEST(GetNeighbors, KuhnTetrahedraMatchWithinAndAcrossCubes) {
    constexpr unsigned n = 12;
    const auto connect = tetrahedra_of(cube_grid(n));
    const auto neighbors = neighbors_of(connect, ET_TH4);
    EXPECT_EQ(entries(neighbors), entries(neighbors_by_table(connect, ET_TH4).neighbors));
    const auto all = entries(neighbors);
    EXPECT_EQ(std::count(all.begin(), all.end(), none), 12 * n * n);
    // Around the diagonal of each cube: node 2 of a path is node 1 of the next.
    for (unsigned j = 0; j < connect.cols(); ++j) {
        EXPECT_EQ(neighbors(1, j), j - j % 6 + (j + 1) % 6);
        EXPECT_EQ(neighbors(2, j), j - j % 6 + (j + 5) % 6);
    }
    dense2D<unsigned> strict;
    EXPECT_EQ(get_neighbors(connect, ET_TH4, true, strict), 0);
    EXPECT_EQ(entries(strict), all);
}

TEST(GetNeighbors, TheOrderOfElementsOnlyRenamesThem) {
    const auto connect = tetrahedra_of(cube_grid(9));
    const auto neighbors = neighbors_of(connect, ET_TH4);
    const auto order = shuffled(connect.cols(), dice(3));
    const auto renamed = neighbors_of(in_order(connect, order), ET_TH4);
    for (unsigned j = 0; j < connect.cols(); ++j)
        for (unsigned f = 0; f < 4; ++f) {
            const unsigned across = neighbors(f, order[j]);
            const unsigned found = renamed(f, j);
            ASSERT_EQ(found == none ? none : order[found], across) << j;
        }
}

TEST(GetNeighbors, InvertedElementsStayNeighbours) {
    auto cubes = cube_grid(2);
    const auto before = neighbors_of(cubes, ET_H8);
    for (unsigned k = 0; k < 4; ++k)
        std::swap(cubes(k, 3), cubes(k + 4, 3)); // upside down: faces 4 and 5 change places
    auto after = neighbors_of(cubes, ET_H8);
    std::swap(after(4, 3), after(5, 3));
    EXPECT_EQ(entries(after), entries(before));
}

TEST(GetNeighbors, TheSameNodesInAnotherCycleAreAnotherFace) {
    // Two pyramids over the nodes 0 to 3, taken around in different ways; then in the same way.
    const auto crossed = neighbors_of(ids({{0, 1, 2, 3, 4}, {0, 2, 1, 3, 5}}), ET_PY5);
    EXPECT_EQ(crossed(4, 0), none);
    EXPECT_EQ(crossed(4, 1), none);
    for (const auto& base : {ids({{1, 2, 3, 0, 5}}), ids({{3, 2, 1, 0, 5}}), ids({{0, 3, 2, 1, 5}})}) {
        auto pair = ids({{0, 1, 2, 3, 4}});
        pair.append(base.data());
        const auto neighbors = neighbors_of(pair, ET_PY5);
        EXPECT_EQ(neighbors(4, 0), 1u);
        EXPECT_EQ(neighbors(4, 1), 0u);
    }
}

TEST(GetNeighbors, ATriangleNeverMatchesAQuadrangle) {
    // The base of the pyramid has the nodes of the tetrahedron's face and one more; its own triangle matches.
    const auto connect = ids({{0, 1, 2, 9, none, none, none, none}, {0, 1, 2, 3, 4, none, none, none}});
    EXPECT_EQ(entries(neighbors_of(connect, ET_SOLID_MIX)), std::vector<unsigned>(12, none));
    const auto degenerate = ids({{0, 1, 2, 9, none, none, none, none}, {0, 1, 2, 2, 4, none, none, none}});
    EXPECT_EQ(entries(neighbors_of(degenerate, ET_SOLID_MIX)), std::vector<unsigned>(12, none));
    const auto matching = ids({{0, 4, 1, 9, none, none, none, none}, {0, 1, 2, 3, 4, none, none, none}});
    EXPECT_EQ(neighbors_of(matching, ET_SOLID_MIX)(3, 0), 1u);
    EXPECT_EQ(neighbors_of(matching, ET_SOLID_MIX)(0, 1), 0u);
}

TEST(GetNeighbors, ElementsThatAreRepeatedShareAllTheirFaces) {
    for (const shape_of_mesh& shape : all_shapes()) {
        dense2D<unsigned> connect(shape.rows, 1);
        for (unsigned i = 0; i < shape.rows; ++i)
            connect(i, 0) = i;
        for (unsigned times = 1; times < 5; ++times) {
            const auto neighbors = neighbors_of(connect, shape.type);
            const std::size_t faces =
                local_faces(is_surface(shape.type), corners_of(shape.type, column(connect, 0))).size();
            for (unsigned j = 0; j < times; ++j)
                for (unsigned f = 0; f < neighbors.rows(); ++f)
                    EXPECT_EQ(neighbors(f, j), times == 2 && f < faces ? 1 - j : none)
                        << "type " << shape.type << ", " << times << " times";
            dense2D<unsigned> strict;
            EXPECT_EQ(get_neighbors(connect, shape.type, true, strict), times > 2 ? -3 : 0);
            ASSERT_TRUE(connect.append(connect.col(0)));
        }
    }
}

TEST(GetNeighbors, OneFaceSharedByAllElementsTakesNoLongerThanOthers) {
    // Quadratic behaviour would compare 10^10 faces here.
    dense2D<unsigned> connect(4, 100000);
    for (unsigned j = 0; j < connect.cols(); ++j) {
        connect(0, j) = 0;
        connect(1, j) = 1;
        connect(2, j) = 2;
        connect(3, j) = 3 + j;
    }
    const auto neighbors = neighbors_of(connect, ET_TH4);
    const auto all = entries(neighbors);
    EXPECT_EQ(std::count(all.begin(), all.end(), none), std::ptrdiff_t(all.size()));
    connect.resize(4, 2);
    EXPECT_EQ(neighbors_of(connect, ET_TH4)(3, 0), 1u);
}

TEST(GetNeighbors, AnElementFoldedOntoItselfIsItsOwnNeighbour) {
    const auto neighbors = neighbors_of(ids({{7, 8, 7}}), ET_T3); // edges (8,7), (7,7), (7,8)
    EXPECT_EQ(entries(neighbors), (std::vector<unsigned>{0, none, 0}));
}

TEST(GetNeighbors, TheLargestIDsAreNodesLikeOthers) {
    const unsigned top = none - 1;
    const auto neighbors = neighbors_of(ids({{top, top - 1, 0, 5}, {0, top, top - 1, 6}}), ET_TH4);
    EXPECT_EQ(entries(neighbors), (std::vector<unsigned>{none, none, none, 1, none, none, none, 0}));
}

TEST(GetNeighbors, MidEdgeNodesDoNotCount) {
    const auto neighbors = neighbors_of(ids({{0, 1, 2, 10, 11, 12}, {2, 1, 3, 13, 14, 15}}), ET_T6);
    EXPECT_EQ(entries(neighbors), (std::vector<unsigned>{1, none, none, none, none, 0}));
}

TEST(GetNeighbors, AnEmptyMeshHasNone) {
    for (const int type : {-1, 0, 1, 5, 12, 14, 24, 25})
        for (const auto& connect : {dense2D<unsigned>(), dense2D<unsigned>(4, 0), dense2D<unsigned>(0, 4)}) {
            dense2D<unsigned> neighbors(2, 2, 5u);
            EXPECT_EQ(get_neighbors(connect, static_cast<element_type>(type), true, neighbors), 0) << type;
            EXPECT_EQ(neighbors.rows(), 0u);
            EXPECT_EQ(neighbors.cols(), 0u);
        }
}

TEST(GetNeighbors, RefusesWhatDoesNotSuitTheTypeAndClearsTheOutput) {
    const auto status = [](const dense2D<unsigned>& connect, int type, bool strict) {
        dense2D<unsigned> neighbors(2, 2, 5u);
        const int result = get_neighbors(connect, static_cast<element_type>(type), strict, neighbors);
        EXPECT_EQ(neighbors.rows(), 0u) << "type " << type;
        EXPECT_EQ(neighbors.cols(), 0u) << "type " << type;
        return result;
    };
    const dense2D<unsigned> three_times(4, 3, 5u);
    EXPECT_EQ(status(three_times, ET_TH4, true), -3);
    EXPECT_EQ(status(three_times, ET_T3, true), -1);
    EXPECT_EQ(status(ids({{0, 1, 2, none}}), ET_TH4, false), -1);
    EXPECT_EQ(status(ids({{0, 1, 2, 3, 4, none, 6, none}}), ET_SOLID_MIX, false), -1);
    EXPECT_EQ(status(ids({{0, 1, none, none}}), ET_FACE_MIX, false), -1);
    for (const int type : {-1, 0, 1, 2, 3, 4, 25})
        for (const std::size_t rows : {1u, 2u, 3u, 4u, 5u})
            EXPECT_EQ(status(dense2D<unsigned>(rows, 3, 0u), type, true), -2) << type;
}

TEST(GetNeighbors, TheOutputMayShareStorageWithTheInput) {
    const auto connect = tetrahedra_of(cube_grid(2));
    const auto expected = entries(neighbors_of(connect, ET_TH4));
    dense2D<unsigned> same;
    same.copy(connect);
    EXPECT_EQ(get_neighbors(same, ET_TH4, false, same), 0);
    EXPECT_EQ(entries(same), expected);

    dense2D<unsigned> copied, shared;
    copied.copy(connect);
    shared = copied;
    EXPECT_EQ(get_neighbors(copied, ET_TH4, false, shared), 0);
    EXPECT_EQ(entries(shared), expected);
    EXPECT_EQ(entries(copied), entries(connect));

    dense2D<unsigned> larger = as_window(connect, 1u);
    dense2D<unsigned> window = larger.sub(0, 0, larger.rows(), larger.cols());
    EXPECT_EQ(get_neighbors(larger, ET_TH4, false, window), 0);
    EXPECT_EQ(entries(window), expected);

    copied.copy(connect);
    EXPECT_EQ(get_neighbors(copied, ET_W6, false, copied), -1);
    EXPECT_EQ(copied.cols(), 0u);
}

TEST(GetNeighbors, AViewOfTheCallersMemoryAsOutputLeavesThatAsItWas) {
    std::vector<unsigned> memory(100, 42u);
    auto neighbors = dense2D<unsigned>::view(memory.data(), 4, 25, 4);
    EXPECT_EQ(get_neighbors(tetrahedra_of(cube_grid(1)), ET_TH4, false, neighbors), 0);
    EXPECT_EQ(neighbors.cols(), 6u);
    EXPECT_EQ(memory, std::vector<unsigned>(100, 42u));
}
