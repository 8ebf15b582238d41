#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <numbers>

#include "extrude/random_patch.h"
#include "extrude/turned_point.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_line;

namespace {

constexpr double extent = 20;

double coordinate() {
    return *rc::gen::inRange(-1000, 1001) / 250.0;
}

/// Appends nodes at given places and returns their IDs.
dense1D<unsigned, 8> append_line(dense2D<double>& pos, const std::vector<std::array<double, 3>>& places) {
    dense1D<unsigned, 8> line;
    for (const auto& place : places) {
        line.push_back(unsigned(pos.cols()));
        pos.append(place.data());
    }
    return line;
}

std::vector<std::array<double, 3>> random_places() {
    const auto count = *rc::gen::inRange(2u, 8u);
    std::vector<std::array<double, 3>> places(count);
    for (auto& place : places)
        for (double& x : place)
            x = coordinate();
    return places;
}

double distance(const dense2D<double>& pos, std::size_t a, std::size_t b) {
    return std::hypot(pos(0, a) - pos(0, b), pos(1, a) - pos(1, b), pos(2, a) - pos(2, b));
}

} // namespace

TEST(ExtrudeLineProperties, WithoutSizesEachLevelIsCongruentWithTheSurface) {
    rc::check([] {
        patch p = random_patch();
        const auto line = append_line(p.pos, random_places());
        dense2D<unsigned> solids;
        RC_ASSERT(extrude_line(p.pos, p.faces, line, {coordinate(), coordinate(), coordinate()}, dense2D<double>(),
                               solids) == 0);
        for (std::size_t e = 0; e < solids.cols(); ++e) {
            const unsigned corners = solids(6, e) == no_node ? 3 : 4;
            for (unsigned c = 0; c < corners; ++c) {
                const unsigned d = (c + 1) % corners;
                RC_ASSERT(std::fabs(distance(p.pos, solids(c, e), solids(d, e)) -
                                    distance(p.pos, solids(c + corners, e), solids(d + corners, e))) <= 1e-14 * extent);
            }
        }
    });
}

TEST(ExtrudeLineProperties, AStraightLineTranslates) {
    rc::check([] {
        patch p = random_patch();
        const std::array<double, 3> from{coordinate(), coordinate(), coordinate()};
        const vec3 along{coordinate(), coordinate(), positive(4)};
        const unsigned layers = *rc::gen::inRange(1u, 7u);
        std::vector<std::array<double, 3>> places;
        for (unsigned k = 0; k <= layers; ++k)
            places.push_back({from[0] + k * along[0], from[1] + k * along[1], from[2] + k * along[2]});
        const auto line = append_line(p.pos, places);
        dense2D<double> moved;
        moved.copy(p.pos);
        dense2D<unsigned> solids, moved_solids;
        RC_ASSERT(extrude_line(p.pos, p.faces, line, along, dense1D<double, 8>(layers + 1, 0.1), solids) == 0);
        RC_ASSERT(meldra3d::extrude_translate(moved, p.faces, {layers * along[0], layers * along[1], layers * along[2]},
                                              layers, moved_solids) == 0);
        RC_ASSERT(entries(solids) == entries(moved_solids));
        RC_ASSERT(p.pos.cols() == moved.cols());
        for (std::size_t j = 0; j < moved.cols(); ++j)
            for (unsigned i = 0; i < 3; ++i)
                RC_ASSERT(std::fabs(p.pos(i, j) - moved(i, j)) <= 1e-14 * layers * extent);
    });
}

TEST(ExtrudeLineProperties, ALineAroundACircleTurnsBySegments) {
    // The chords of a circle about the z axis turn by 2 pi / n each, and the first by half of that from the tangent.
    rc::check([] {
        const auto n = *rc::gen::inRange(5u, 40u);
        const double radius = positive(10);
        const double step = 2 * std::numbers::pi / n;
        patch p = random_patch();
        const std::size_t nodes = p.pos.cols();
        std::vector<std::array<double, 3>> places;
        for (unsigned k = 0; k <= n; ++k)
            places.push_back({radius * std::cos(k * step), radius * std::sin(k * step), 0});
        const auto line = append_line(p.pos, places);
        dense2D<double> before;
        before.copy(p.pos);
        dense2D<unsigned> solids, edges, sides, cap;
        RC_ASSERT(extrude_line(p.pos, p.faces, line, {0, 1, 0}, dense2D<double>(), solids, edges, sides, cap) == 0);
        RC_ASSERT(p.pos.cols() == nodes + n + 1 + n * nodes);
        for (std::size_t e = 0; e < p.faces.cols(); ++e)
            for (unsigned k = 1; k <= n; ++k) {
                auto expected = turned(before, p.faces(0, e), {radius, 0, 0}, {0, 0, (k - 0.5) * step}, 1);
                const unsigned corners = p.faces(3, e) == no_node ? 3 : 4;
                const std::size_t image = solids(corners, e * n + k - 1);
                for (unsigned i = 0; i < 3; ++i) {
                    expected[i] += places[k][i] - (i == 0 ? radius : 0);
                    RC_ASSERT(std::fabs(p.pos(i, image) - expected[i]) <= 1e-14 * n * extent);
                }
            }
    });
}

TEST(ExtrudeLineProperties, ASectionScaledAlongAStraightLineIsAFrustum) {
    rc::check([] {
        patch p = random_patch();
        const std::vector<double> sizes{positive(3), positive(3), positive(3)};
        const double heights[] = {positive(5), positive(5)};
        // The apex line passes through the plane of the patch, so that it grows about a point of its plane.
        const double x = coordinate(), y = coordinate();
        const auto line = append_line(p.pos, {{x, y, 0}, {x, y, heights[0]}, {x, y, heights[0] + heights[1]}});
        dense2D<unsigned> solids;
        RC_ASSERT(extrude_line(p.pos, p.faces, line, {0, 0, 1}, dense1D<double, 8>{sizes[0], sizes[1], sizes[2]},
                               solids) == 0);
        double vol = 0, expected = 0;
        RC_ASSERT(meldra3d::volume(p.pos, solids, vol) == 0);
        for (unsigned k = 0; k < 2; ++k) {
            const double a = sizes[k] / sizes[0], b = sizes[k + 1] / sizes[0];
            expected += heights[k] / 3 * p.area * (a * a + a * b + b * b);
        }
        RC_ASSERT(std::fabs(vol - expected) <= 1e-11 * expected);
    });
}

TEST(ExtrudeLineProperties, ALineFromTheSurfaceGivesTheSameMeshWithoutItsCopies) {
    rc::check([] {
        patch p = random_patch();
        const std::size_t nodes = p.pos.cols();
        const unsigned start = *rc::gen::inRange(0u, unsigned(nodes));
        const auto places = random_places();
        auto line = append_line(p.pos, places);
        for (unsigned i = 0; i < 3; ++i)
            p.pos(i, line[0]) = p.pos(i, start);
        patch other = p;
        other.pos.copy(p.pos);
        const vec3 dir0{coordinate(), coordinate(), coordinate()};
        const dense1D<double, 8> sizes(line.size(), positive(2));
        dense2D<unsigned> apart, joined, edges = border(p.faces), apart_sides, joined_sides, apart_cap, joined_cap;
        RC_ASSERT(extrude_line(p.pos, p.faces, line, dir0, sizes, apart, edges, apart_sides, apart_cap) == 0);
        line[0] = start;
        RC_ASSERT(extrude_line(other.pos, p.faces, line, dir0, sizes, joined, edges, joined_sides, joined_cap) == 0);
        RC_ASSERT(p.pos.cols() - other.pos.cols() == places.size() - 1);
        const auto same_places = [&](const dense2D<unsigned>& a, const dense2D<unsigned>& b) {
            RC_ASSERT(a.cols() == b.cols() && a.rows() == b.rows());
            for (std::size_t e = 0; e < a.cols(); ++e)
                for (std::size_t c = 0; c < a.rows(); ++c) {
                    RC_ASSERT((a(c, e) == no_node) == (b(c, e) == no_node));
                    if (a(c, e) != no_node)
                        RC_ASSERT(column(p.pos, a(c, e)) == column(other.pos, b(c, e)));
                }
        };
        same_places(apart, joined);
        same_places(apart_sides, joined_sides);
        same_places(apart_cap, joined_cap);
    });
}
