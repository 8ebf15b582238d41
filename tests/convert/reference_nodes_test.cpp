#include "convert/reference_nodes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using namespace quorl::meldra3d::detail;

namespace {

template <std::size_t N>
std::array<point, N> random_points(unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> coordinate(-10, 10);
    std::array<point, N> points;
    for (point& p : points)
        p = {coordinate(random), coordinate(random), coordinate(random)};
    return points;
}

void expect_near(const point& a, const point& b, double tolerance = 1e-14) {
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_NEAR(a[i], b[i], tolerance * 10);
}

void expect_same_bits(const point& a, const point& b) {
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(a[i], b[i]);
}

point combine(const std::vector<std::pair<double, point>>& terms) {
    point total{};
    for (const auto& [weight, p] : terms)
        for (unsigned i = 0; i < 3; ++i)
            total[i] += weight * p[i];
    return total;
}

} // namespace

TEST(NodeOnEdge, DividesTheEdgeEvenly) {
    const point a{1, 2, 3}, b{5, -2, 11};
    expect_same_bits(node_on_edge(a, b, 0, 1), {3, 0, 7});
    expect_same_bits(node_on_edge(a, b, 0, 3), {2, 1, 5});
    expect_same_bits(node_on_edge(a, b, 2, 3), {4, -1, 9});
}

TEST(NodeOnEdge, HasTheSameBitsFromBothEnds) {
    const auto [a, b] = random_points<2>(1);
    for (unsigned n = 1; n < 9; ++n)
        for (unsigned i = 0; i < n; ++i)
            expect_same_bits(node_on_edge(a, b, i, n), node_on_edge(b, a, n - 1 - i, n));
}

TEST(MiddleOfEdge, IsTheOneNodeOfTheEdgeToTheBit) {
    for (unsigned seed = 0; seed < 100; ++seed) {
        const auto [a, b] = random_points<2>(seed);
        expect_same_bits(middle_of_edge(a, b), node_on_edge(a, b, 0, 1));
    }
}

TEST(NodeOnEdge, LargeCoordinatesDoNotOverflow) {
    const point a{1.7e308, 0, 0}, b{1.7e308, 0, 0};
    EXPECT_EQ(node_on_edge(a, b, 0, 1)[0], 1.7e308);
}

TEST(NodeInTriangle, OneIsTheCentroidThreeLieTowardsTheVertices) {
    const std::array<point, 3> t{{{0, 0, 0}, {12, 0, 0}, {0, 24, 12}}};
    expect_near(node_in_triangle(t, 0, 1), {4, 8, 4});
    expect_near(node_in_triangle(t, 0, 3), {3, 6, 3});
    expect_near(node_in_triangle(t, 1, 3), {6, 6, 3});
    expect_near(node_in_triangle(t, 2, 3), {3, 12, 6});
}

TEST(NodeInQuadrangle, LiesOnTheBilinearMap) {
    const auto q = random_points<4>(2);
    for (unsigned n = 1; n < 6; ++n)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const double u = (i + 1.0) / (n + 1), v = (j + 1.0) / (n + 1);
                expect_near(
                    node_in_quadrangle(q, i, j, n),
                    combine({{(1 - u) * (1 - v), q[0]}, {u * (1 - v), q[1]}, {u * v, q[2]}, {(1 - u) * v, q[3]}}));
            }
}

TEST(NodeInQuadrangle, HasTheSameBitsInEveryReadingOfTheCycle) {
    const auto q = random_points<4>(3);
    for (unsigned n = 1; n < 6; ++n)
        for (unsigned j = 0; j < n; ++j)
            for (unsigned i = 0; i < n; ++i) {
                const point node = node_in_quadrangle(q, i, j, n);
                const unsigned last = n - 1;
                expect_same_bits(node, node_in_quadrangle({q[1], q[2], q[3], q[0]}, j, last - i, n));
                expect_same_bits(node, node_in_quadrangle({q[2], q[3], q[0], q[1]}, last - i, last - j, n));
                expect_same_bits(node, node_in_quadrangle({q[0], q[3], q[2], q[1]}, j, i, n));
            }
}

TEST(CentreOfQuadrangle, IsBentByItsEdges) {
    const auto v = random_points<4>(4);
    std::array<point, 4> straight;
    for (unsigned k = 0; k < 4; ++k)
        straight[k] = node_on_edge(v[k], v[(k + 1) % 4], 0, 1);
    expect_near(centre_of_quadrangle(v, straight), node_in_quadrangle(v, 0, 0, 1));
    auto bent = straight;
    bent[2][1] += 3;
    const point moved = centre_of_quadrangle(v, bent), centre = centre_of_quadrangle(v, straight);
    EXPECT_NEAR(moved[1] - centre[1], 1.5, 1e-13);
    EXPECT_EQ(moved[0], centre[0]);
    expect_same_bits(centre_of_quadrangle({v[1], v[2], v[3], v[0]}, {bent[1], bent[2], bent[3], bent[0]}), moved);
    expect_same_bits(centre_of_quadrangle({v[3], v[2], v[1], v[0]}, {bent[2], bent[1], bent[0], bent[3]}), moved);
}

TEST(NodeInHexahedron, LiesOnTheTrilinearMap) {
    const auto h = random_points<8>(5);
    for (unsigned n = 1; n < 4; ++n)
        for (unsigned k = 0; k < n; ++k)
            for (unsigned j = 0; j < n; ++j)
                for (unsigned i = 0; i < n; ++i) {
                    const double u = (i + 1.0) / (n + 1), v = (j + 1.0) / (n + 1), w = (k + 1.0) / (n + 1);
                    expect_near(node_in_hexahedron(h, i, j, k, n), combine({{(1 - u) * (1 - v) * (1 - w), h[0]},
                                                                            {u * (1 - v) * (1 - w), h[1]},
                                                                            {u * v * (1 - w), h[2]},
                                                                            {(1 - u) * v * (1 - w), h[3]},
                                                                            {(1 - u) * (1 - v) * w, h[4]},
                                                                            {u * (1 - v) * w, h[5]},
                                                                            {u * v * w, h[6]},
                                                                            {(1 - u) * v * w, h[7]}}));
                }
}

TEST(NodeInWedge, LiesInLayersOrOnTheAxis) {
    const std::array<point, 6> w{{{0, 0, 0}, {12, 0, 0}, {0, 12, 0}, {0, 0, 24}, {12, 0, 24}, {0, 12, 24}}};
    expect_near(node_in_wedge(w, 0, 1, 0, 1), {4, 4, 12});
    expect_near(node_in_wedge(w, 0, 1, 1, 1), {4, 4, 12});
    // Five on the axis, whatever the triangles hold.
    expect_near(node_in_wedge(w, 1, 5, 3, 1), {4, 4, 8});
    expect_near(node_in_wedge(w, 4, 5, 0, 0), {4, 4, 20});
    // Three to a triangle and two to an edge: two layers of three.
    expect_near(node_in_wedge(w, 0, 6, 3, 2), {3, 3, 8});
    expect_near(node_in_wedge(w, 1, 6, 3, 2), {6, 3, 8});
    expect_near(node_in_wedge(w, 2, 6, 3, 2), {3, 6, 8});
    expect_near(node_in_wedge(w, 5, 6, 3, 2), {3, 6, 16});
    // Six on the axis with one to a triangle.
    expect_near(node_in_wedge(w, 5, 6, 1, 2), {4, 4, 24.0 * 6 / 7});
}

TEST(FunctionsOf26, AreOneAtTheirOwnNodeAndZeroAtTheOthers) {
    // Vertices, edges and faces of the 27-node hexahedron, as its numbering lists them.
    const double places[26][3] = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1},  {-1, 1, -1}, {-1, -1, 1}, {1, -1, 1},
                                  {1, 1, 1},    {-1, 1, 1},  {0, -1, -1}, {1, 0, -1},  {0, 1, -1},  {-1, 0, -1},
                                  {0, -1, 1},   {1, 0, 1},   {0, 1, 1},   {-1, 0, 1},  {-1, -1, 0}, {1, -1, 0},
                                  {1, 1, 0},    {-1, 1, 0},  {-1, 0, 0},  {1, 0, 0},   {0, -1, 0},  {0, 1, 0},
                                  {0, 0, -1},   {0, 0, 1}};
    for (unsigned n = 0; n < 26; ++n) {
        const auto values = functions_of_26(places[n][0], places[n][1], places[n][2]);
        for (unsigned k = 0; k < 26; ++k)
            EXPECT_EQ(values[k], k == n ? 1.0 : 0.0) << "function " << k << " at node " << n;
    }
}

TEST(FunctionsOf26, WeighTheCentreByHalvesQuartersAndEighths) {
    const auto values = functions_of_26(0, 0, 0);
    for (unsigned k = 0; k < 26; ++k)
        EXPECT_EQ(values[k], k < 8 ? 0.125 : k < 20 ? -0.25 : 0.5);
}

TEST(FunctionsOf26, ReproduceWhateverIsQuadraticInTwoDirectionsAtMost) {
    // u^a v^b w^c with exponents up to 2, but for u^2 v^2 w^2, which needs the centre.
    const auto power = [](double x, unsigned e) { return e == 0 ? 1 : e == 1 ? x : x * x; };
    std::mt19937 random(6);
    std::uniform_real_distribution<double> coordinate(-1, 1);
    std::array<std::array<double, 3>, 26> nodes;
    {
        std::size_t n = 0;
        for (const int w : {-1, 0, 1})
            for (const int v : {-1, 0, 1})
                for (const int u : {-1, 0, 1})
                    if (u != 0 || v != 0 || w != 0)
                        nodes[n++] = {double(u), double(v), double(w)};
    }
    for (unsigned round = 0; round < 20; ++round) {
        const double u = coordinate(random), v = coordinate(random), w = coordinate(random);
        const auto values = functions_of_26(u, v, w);
        for (unsigned a = 0; a < 3; ++a)
            for (unsigned b = 0; b < 3; ++b)
                for (unsigned c = 0; c < 3; ++c) {
                    if (a * b * c == 8)
                        continue;
                    double total = 0;
                    for (const auto& x : nodes) {
                        // The function of the node at this place is the one that is 1 there.
                        const auto at_node = functions_of_26(x[0], x[1], x[2]);
                        const auto k = std::size_t(std::find(at_node.begin(), at_node.end(), 1.0) - at_node.begin());
                        total += values[k] * power(x[0], a) * power(x[1], b) * power(x[2], c);
                    }
                    EXPECT_NEAR(total, power(u, a) * power(v, b) * power(w, c), 1e-14);
                }
    }
}
