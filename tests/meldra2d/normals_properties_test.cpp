#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra2d::normals;

namespace {

constexpr long double pi = std::numbers::pi_v<long double>;

struct long_vector {
    long double x, y, z;
};

long_vector operator-(const long_vector& a, const long_vector& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

long double dot(const long_vector& a, const long_vector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

long_vector cross(const long_vector& a, const long_vector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// The definition in extended precision: at each corner the unit normal of its two edges times their angle.
std::vector<long_vector> sums_by_definition(const dense2D<double>& pos, const dense2D<unsigned>& surface) {
    std::vector<long_vector> sums(pos.cols(), {0, 0, 0});
    const auto at = [&](unsigned id) { return long_vector{pos(0, id), pos(1, id), pos(2, id)}; };
    for (std::size_t j = 0; j < surface.cols(); ++j) {
        const std::size_t n = surface.rows() == 4 && surface(3, j) != no_node ? 4 : 3;
        for (std::size_t c = 0; c < n; ++c) {
            const unsigned id = surface(c, j);
            const long_vector next = at(surface((c + 1) % n, j)) - at(id);
            const long_vector last = at(surface((c + n - 1) % n, j)) - at(id);
            const long_vector normal = cross(next, last);
            const long double length = std::sqrt(dot(normal, normal));
            const long double weight = std::atan2(length, dot(next, last)) / length;
            sums[id].x += weight * normal.x;
            sums[id].y += weight * normal.y;
            sums[id].z += weight * normal.z;
        }
    }
    return sums;
}

double between(dice& random, double low, double high) {
    return low + (high - low) * random(1u << 30) / double(1u << 30);
}

/// A grid over the unit square, its nodes moved at random by less than a fifth of a cell in the plane (so that all
/// quadrangles stay convex seen from above) and by as much out of it; some cells are cut in two, numbers are shuffled.
struct surface_mesh {
    dense2D<double> pos;
    dense2D<unsigned> faces;
};

surface_mesh rough_ground(dice& random) {
    const unsigned n = 1 + random(8);
    std::vector<unsigned> number((n + 1) * (n + 1));
    for (unsigned k = 0; k < number.size(); ++k)
        number[k] = k;
    for (unsigned k = unsigned(number.size()); k > 1; --k)
        std::swap(number[k - 1], number[random(k)]);
    surface_mesh mesh{dense2D<double>(3, number.size()), dense2D<unsigned>(4, 0)};
    const auto node = [&](unsigned i, unsigned j) { return number[i + j * (n + 1)]; };
    for (unsigned j = 0; j <= n; ++j)
        for (unsigned i = 0; i <= n; ++i) {
            double* const x = mesh.pos.col(node(i, j));
            x[0] = (i + between(random, -0.2, 0.2)) / n;
            x[1] = (j + between(random, -0.2, 0.2)) / n;
            x[2] = between(random, -0.2, 0.2) / n;
        }
    for (unsigned j = 0; j < n; ++j)
        for (unsigned i = 0; i < n; ++i) {
            const std::array<unsigned, 4> cell{node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)};
            const unsigned s = random(4);
            const unsigned whole[] = {cell[s], cell[(s + 1) % 4], cell[(s + 2) % 4], cell[(s + 3) % 4]};
            const unsigned one[] = {whole[0], whole[1], whole[2], no_node};
            const unsigned two[] = {whole[2], whole[3], whole[0], no_node};
            if (random(2) == 0) {
                mesh.faces.append(whole);
            } else {
                mesh.faces.append(one);
                mesh.faces.append(two);
            }
        }
    return mesh;
}

/// The nodes of an octahedron or icosahedron lie in the direction of their normals, by symmetry.
surface_mesh octahedron() {
    return {points({{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}}),
            ids({{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}})};
}

surface_mesh icosahedron() {
    const double g = std::numbers::phi;
    return {points({{-1, g, 0},
                    {1, g, 0},
                    {-1, -g, 0},
                    {1, -g, 0},
                    {0, -1, g},
                    {0, 1, g},
                    {0, -1, -g},
                    {0, 1, -g},
                    {g, 0, -1},
                    {g, 0, 1},
                    {-g, 0, -1},
                    {-g, 0, 1}}),
            ids({{0, 11, 5},  {0, 5, 1},  {0, 1, 7},  {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
                 {11, 10, 2}, {10, 7, 6}, {7, 1, 8},  {3, 9, 4},  {3, 4, 2},   {3, 2, 6}, {3, 6, 8},
                 {3, 8, 9},   {4, 9, 5},  {2, 4, 11}, {6, 2, 10}, {8, 6, 7},   {9, 8, 1}})};
}

/// Turns by a random rotation (from a random quaternion), scales, moves away from the origin.
dense2D<double> moved(const dense2D<double>& pos, dice& random, const std::array<double, 3>& centre) {
    double q[4], square = 0;
    for (double& part : q) {
        part = between(random, -1, 1) + 1e-3;
        square += part * part;
    }
    const double size = std::exp(between(random, -20, 20));
    dense2D<double> result(3, pos.cols());
    for (std::size_t j = 0; j < pos.cols(); ++j) {
        const double* const x = pos.col(j);
        // x + 2 w (v x x) + 2 v x (v x x), for a quaternion (w, v) of length 1
        const long_vector v{q[1], q[2], q[3]};
        const long_vector once = cross(v, {x[0], x[1], x[2]});
        const long_vector twice = cross(v, once);
        result(0, j) = size * (x[0] + double(2 * (q[0] * once.x + twice.x) / square) + centre[0]);
        result(1, j) = size * (x[1] + double(2 * (q[0] * once.y + twice.y) / square) + centre[1]);
        result(2, j) = size * (x[2] + double(2 * (q[0] * once.z + twice.z) / square) + centre[2]);
    }
    return result;
}

} // namespace

RC_GTEST_PROP(NormalsProperties, AgreeWithTheDefinition, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const surface_mesh mesh = rough_ground(random);
    const auto expected = sums_by_definition(mesh.pos, mesh.faces);
    dense2D<double> sums, units;
    RC_ASSERT(normals(mesh.pos, mesh.faces, 0, false, sums) == 0);
    RC_ASSERT(normals(mesh.pos, mesh.faces, 0, true, units) == 0);
    for (std::size_t j = 0; j < mesh.pos.cols(); ++j) {
        const long_vector& e = expected[j];
        RC_ASSERT(std::abs(sums(0, j) - e.x) < 1e-14);
        RC_ASSERT(std::abs(sums(1, j) - e.y) < 1e-14);
        RC_ASSERT(std::abs(sums(2, j) - e.z) < 1e-14);
        const long double length = std::sqrt(dot(e, e));
        RC_ASSERT(std::abs(units(0, j) - e.x / length) < 1e-14);
        RC_ASSERT(std::abs(units(1, j) - e.y / length) < 1e-14);
        RC_ASSERT(std::abs(units(2, j) - e.z / length) < 1e-14);
    }
}

RC_GTEST_PROP(NormalsProperties, OfAPolyhedronInASphereAreRadial, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    for (const surface_mesh& body : {octahedron(), icosahedron()}) {
        const auto pos = moved(body.pos, random, {0, 0, 0});
        dense2D<double> units;
        RC_ASSERT(normals(pos, body.faces, 0, true, units) == 0);
        for (std::size_t j = 0; j < pos.cols(); ++j) {
            const double radius = std::sqrt(pos(0, j) * pos(0, j) + pos(1, j) * pos(1, j) + pos(2, j) * pos(2, j));
            for (unsigned i = 0; i < 3; ++i)
                RC_ASSERT(std::abs(units(i, j) - pos(i, j) / radius) < 2e-15);
        }
    }
}

RC_GTEST_PROP(NormalsProperties, PlaneFacesMayBeCutAnyWay, ()) {
    // The top and two walls of a box, turned at random: cells of the three grids are whole or cut, the box is not.
    dice random(*rc::gen::arbitrary<unsigned>());
    const unsigned n = 1 + random(5);
    dense2D<double> box(3, 0);
    const auto corner_of = [&](unsigned wall, double u, double v) {
        const double places[3][3] = {{u, v, 1}, {1, u, v}, {v, 1, u}};
        return std::array<double, 3>{places[wall][0], places[wall][1], places[wall][2]};
    };
    const auto number = [&](const std::array<double, 3>& x) {
        for (unsigned j = 0; j < box.cols(); ++j)
            if (std::equal(x.begin(), x.end(), box.col(j)))
                return j;
        box.append(x.data());
        return unsigned(box.cols() - 1);
    };
    std::array<dense2D<unsigned>, 2> faces{dense2D<unsigned>(4, 0), dense2D<unsigned>(4, 0)};
    for (unsigned wall = 0; wall < 3; ++wall)
        for (unsigned a = 0; a < n; ++a)
            for (unsigned b = 0; b < n; ++b) {
                const double u[2] = {double(a) / n, double(a + 1) / n}, v[2] = {double(b) / n, double(b + 1) / n};
                const unsigned q[] = {number(corner_of(wall, u[0], v[0])), number(corner_of(wall, u[1], v[0])),
                                      number(corner_of(wall, u[1], v[1])), number(corner_of(wall, u[0], v[1]))};
                faces[0].append(q);
                const unsigned cut = random(3);
                const unsigned ways[2][2][4] = {{{q[0], q[1], q[2], no_node}, {q[0], q[2], q[3], no_node}},
                                                {{q[1], q[2], q[3], no_node}, {q[1], q[3], q[0], no_node}}};
                if (cut == 2) {
                    faces[1].append(q);
                } else {
                    faces[1].append(ways[cut][0]);
                    faces[1].append(ways[cut][1]);
                }
            }
    const auto pos = moved(box, random, {-0.5, -0.5, -0.5});
    std::array<dense2D<double>, 2> sums;
    for (unsigned k = 0; k < 2; ++k)
        RC_ASSERT(normals(pos, faces[k], 0, false, sums[k]) == 0);
    for (std::size_t k = 0; k < sums[0].size(); ++k)
        RC_ASSERT(std::abs(sums[0].data()[k] - sums[1].data()[k]) < 1e-13);
}

RC_GTEST_PROP(NormalsProperties, TheAnglesOfAFaceAddUp, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const auto total = [](const dense2D<double>& pos, const dense2D<unsigned>& face) {
        dense2D<double> sums;
        RC_ASSERT(normals(pos, face, 0, false, sums) == 0);
        double sum = 0;
        for (std::size_t j = 0; j < sums.cols(); ++j)
            sum += std::sqrt(sums(0, j) * sums(0, j) + sums(1, j) * sums(1, j) + sums(2, j) * sums(2, j));
        return sum;
    };
    dense2D<double> triangle(3, 3);
    for (std::size_t k = 0; k < 9; ++k)
        triangle.data()[k] = between(random, -1, 1);
    RC_ASSERT(std::abs(total(triangle, ids({{0, 1, 2}})) - double(pi)) < 1e-14);
    // A plane quadrangle round (0, 0), with corners in four directions: convex or with a corner that points in.
    dense2D<double> quadrangle(3, 4, 0.0);
    for (unsigned c = 0; c < 4; ++c) {
        const double angle = (c + between(random, 0.1, 0.9)) * std::numbers::pi / 2, radius = between(random, 0.2, 3);
        quadrangle(0, c) = radius * std::cos(angle);
        quadrangle(1, c) = radius * std::sin(angle);
    }
    RC_ASSERT(std::abs(total(moved(quadrangle, random, {0, 0, 0}), ids({{0, 1, 2, 3}})) - 2 * double(pi)) < 1e-13);
}

RC_GTEST_PROP(NormalsProperties, TurningAllFacesRoundTurnsTheNormalsRound, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const surface_mesh mesh = rough_ground(random);
    dense2D<unsigned> turned;
    RC_ASSERT(turned.copy(mesh.faces));
    for (std::size_t j = 0; j < turned.cols(); ++j)
        std::reverse(turned.col(j), turned.col(j) + (turned(3, j) == no_node ? 3 : 4));
    dense2D<double> one, other;
    RC_ASSERT(normals(mesh.pos, mesh.faces, 0, true, one) == 0);
    RC_ASSERT(normals(mesh.pos, turned, 0, true, other) == 0);
    for (std::size_t k = 0; k < one.size(); ++k)
        RC_ASSERT(one.data()[k] == -other.data()[k]);
}

RC_GTEST_PROP(NormalsProperties, StorageDoesNotMatter, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const surface_mesh mesh = rough_ground(random);
    dense2D<double> one, other;
    RC_ASSERT(normals(mesh.pos, mesh.faces, 0, true, one) == 0);
    RC_ASSERT(normals(as_window(mesh.pos, 1e300), as_window(mesh.faces, 99u), 0, true, other) == 0);
    RC_ASSERT(entries(one) == entries(other));
}
