#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "convert/expected_mesh.h"

using namespace quorl;
using namespace test;
using meldra3d::convert_into_high_order;
using meldra3d::convert_into_linear;

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

/// Every column is a vertex list, then IDs of nodes, then unused slots, and lies in the mesh; new nodes lie where their
/// rows say, also in elements whose vertices are not all different.
void expect_sound(const dense2D<double>& old, const dense2D<unsigned>& linear, const counts& n,
                  const dense2D<double>& pos, const dense2D<unsigned>& out) {
    ASSERT_EQ(out.cols(), linear.cols());
    for (std::size_t j = 0; j < out.cols(); ++j) {
        const kind& k = kind_of(linear, j);
        const auto rows = expected_rows(k, n);
        for (std::size_t i = 0; i < out.rows(); ++i) {
            if (i >= rows.size()) {
                ASSERT_EQ(out(i, j), none);
                continue;
            }
            ASSERT_LT(out(i, j), pos.cols());
            if (i < k.nodes) {
                ASSERT_EQ(out(i, j), linear(i, j));
            }
            const point expected = image(rows[i], old, linear.col(j));
            for (unsigned x = 0; x < 3; ++x)
                ASSERT_NEAR(pos(x, out(i, j)), expected[x], 1e-12) << k.name << " row " << i;
        }
    }
}

} // namespace

TEST(ConvertHostile, AFaceSharedByThreeElementsGetsItsNodesOnce) {
    const dense2D<unsigned> mesh = ids({{0, 1, 2, 3}, {2, 1, 0, 4}, {1, 5, 2, 0}});
    for (const counts& n : many_counts()) {
        const dense2D<double> old = random_points(6, 1);
        dense2D<double> pos;
        pos.copy(old);
        dense2D<unsigned> out;
        ASSERT_EQ(convert(pos, mesh, n, out), 0);
        expect_converted(old, mesh, n, pos, out);
    }
}

TEST(ConvertHostile, UnusedNodesAndTheSameElementTwice) {
    const dense2D<unsigned> mesh = ids({{9, 1, 20, 3}, {9, 1, 20, 3}, {3, 20, 1, 9}});
    const dense2D<double> old = random_points(40, 2);
    dense2D<double> pos;
    pos.copy(old);
    dense2D<unsigned> out;
    const counts n{2, 4, 3, 0, 0, 0, 0}; // no interior, which would fall together
    ASSERT_EQ(convert(pos, mesh, n, out), 0);
    expect_converted(old, mesh, n, pos, out);
    EXPECT_EQ(pos.cols(), 40u + 6 * 2 + 4 * 3);
}

TEST(ConvertHostile, RepeatedNodesInAnElementGiveASoundMesh) {
    std::mt19937 random(3);
    for (unsigned round = 0; round < 300; ++round) {
        const unsigned nodes = 1 + unsigned(random() % 5);
        dense2D<unsigned> mesh(8, 0);
        for (unsigned j = 0; j < 4; ++j) {
            unsigned element[8];
            std::fill_n(element, 8, none);
            std::generate_n(element, kinds()[random() % 4].nodes, [&] { return unsigned(random() % nodes); });
            mesh.append(element);
        }
        for (const counts& n : many_counts()) {
            const dense2D<double> old = random_points(nodes, round);
            dense2D<double> pos;
            pos.copy(old);
            dense2D<unsigned> out;
            ASSERT_EQ(convert(pos, mesh, n, out), 0);
            // The nodes of a degenerate edge or face lie at the places of another one with the same vertices.
            expect_sound(old, mesh, n, pos, out);
            if (HasFatalFailure())
                return;
        }
    }
}

TEST(ConvertHostile, RandomGivenGroupsGiveIdsOfTheMesh) {
    std::mt19937 random(4);
    for (unsigned round = 0; round < 2000; ++round) {
        const unsigned nodes = 3 + unsigned(random() % 8);
        const counts& n = many_counts()[random() % many_counts().size()];
        const auto id = [&] { return random() % 12 == 0 ? none : unsigned(random() % nodes); };
        const kind& k = kinds()[random() % 4];
        const std::size_t solid_rows = random() % 2 == 0 ? k.nodes : 8;
        dense2D<unsigned> mesh(solid_rows, 2, none);
        for (unsigned j = 0; j < 2; ++j)
            std::generate_n(mesh.col(j), k.nodes, [&] { return unsigned(random() % nodes); });
        const bool triangles = solid_rows == 4 || (solid_rows != 8 && random() % 2 == 0);
        dense2D<unsigned> faces(triangles ? 3 + 3 * n.nE + n.nT : 4 + 4 * n.nE + n.nQ, random() % 20);
        dense2D<unsigned> edges(n.nE + 2, random() % 20);
        if (!faces.empty())
            std::generate_n(faces.data(), faces.size(), id);
        if (!edges.empty())
            std::generate_n(edges.data(), edges.size(), id);
        dense2D<double> pos = random_points(nodes, round);
        dense2D<unsigned> out;
        ASSERT_EQ(convert(pos, mesh, n, out, faces, edges), 0);
        std::vector<bool> used(pos.cols(), false);
        for (std::size_t j = 0; j < 2; ++j)
            for (std::size_t i = 0; i < out.rows(); ++i) {
                const bool in_use = i < expected_rows(k, n).size();
                ASSERT_EQ(out(i, j) == none, !in_use);
                if (in_use) {
                    ASSERT_LT(out(i, j), pos.cols());
                    used[out(i, j)] = true;
                }
            }
        EXPECT_TRUE(std::all_of(used.begin() + nodes, used.end(), [](bool u) { return u; })) << "a node of no element";
    }
}

TEST(ConvertHostile, CoordinatesThatAreNoNumbersSpreadNoFurtherThanTheirElement) {
    dense2D<double> pos = random_points(12, 5);
    pos(0, 1) = std::numeric_limits<double>::quiet_NaN();
    pos(1, 2) = std::numeric_limits<double>::infinity();
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3, none, none, none, none}, {4, 5, 6, 7, 8, 9, 10, 11}}), one_each, out), 0);
    for (std::size_t i = 0; i < out.rows(); ++i)
        for (unsigned x = 0; x < 3; ++x)
            EXPECT_TRUE(std::isfinite(pos(x, out(i, 1))));
    EXPECT_TRUE(std::isnan(pos(0, out(4, 0)))); // edge (1, 2)
}

TEST(ConvertHostile, TheTrilinearMapKeepsPlanesOfCoordinates) {
    // A hexahedron at a large distance: the nodes inside differ from their neighbours by a few ulp at most.
    dense2D<double> pos =
        points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
    for (std::size_t j = 0; j < 8; ++j)
        pos(2, j) += 1e12;
    dense2D<unsigned> out;
    ASSERT_EQ(convert(pos, ids({{0, 1, 2, 3, 4, 5, 6, 7}}), quadratic, out), 0);
    for (std::size_t i = 0; i < 27; ++i) {
        EXPECT_GE(pos(2, out(i, 0)), 1e12);
        EXPECT_LE(pos(2, out(i, 0)), 1e12 + 1);
    }
}
