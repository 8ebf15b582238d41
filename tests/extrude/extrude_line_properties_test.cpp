#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <numbers>

#include "extrude/random_patch.h"
#include "extrude/turned_point.h"
#include "support/properties.h"

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
    expect_property([] {
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
    expect_property([] {
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
    expect_property([] {
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
    expect_property([] {
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
    expect_property([] {
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

namespace {

/// A few nodes of all kinds: of the mesh, of the levels, beyond them, and none.
dense2D<unsigned> random_ids(std::size_t rows, unsigned nodes, bool beyond) {
    dense2D<unsigned> matrix(rows, *rc::gen::inRange(0u, 6u));
    for (std::size_t k = 0; k < matrix.size(); ++k)
        matrix.data()[k] = *rc::gen::inRange(0u, 20u) == 0 ? no_node : *rc::gen::inRange(0u, nodes + unsigned(beyond));
    return matrix;
}

/// Renames the copies of a surface's node of that index to the nodes of the line, as a step of its own.
void rename_copies(dense2D<unsigned>& matrix, unsigned entry_nodes, unsigned per_level, unsigned index,
                   const dense1D<unsigned, 8>& line) {
    for (std::size_t k = 0; k < matrix.size(); ++k) {
        unsigned& id = matrix.data()[k];
        if (id != no_node && id >= entry_nodes && (id - entry_nodes) % per_level == index &&
            (id - entry_nodes) / per_level + 1 < line.size())
            id = line[(id - entry_nodes) / per_level + 1];
    }
}

} // namespace

TEST(ExtrudeLineProperties, NodesAreLeftOutAsIfTheyWereRemovedInTheEnd) {
    expect_property([] {
        patch p = random_patch();
        const std::size_t any_face = *rc::gen::inRange(std::size_t(0), p.faces.cols());
        const unsigned first = p.faces(*rc::gen::inRange(0u, 3u), any_face);
        auto places = random_places();
        if (*rc::gen::inRange(0, 5) == 0)
            places.resize(70, places[0]); // more levels than are placed together
        places[0] = {p.pos(0, first), p.pos(1, first), p.pos(2, first)};
        const auto apart = append_line(p.pos, places); // from a second node at the same place
        dense1D<unsigned, 8> joined;
        joined.copy(apart);
        joined[0] = first;

        const auto surface_nodes = unsigned(p.pos.cols() - places.size());
        const auto entry_nodes = unsigned(p.pos.cols());
        const unsigned all = entry_nodes + unsigned(places.size() - 1) * surface_nodes;
        const bool beyond = *rc::gen::inRange(0, 5) == 0; // an ID beyond all nodes: then none is removed
        const auto edges = random_ids(2, all, beyond);
        std::array<dense2D<unsigned>, 3> out{random_ids(8, all, beyond), random_ids(4, all, beyond),
                                             random_ids(4, all, beyond)};
        std::array<dense2D<unsigned>, 3> expected{out};
        dense2D<double> pos, expected_pos;
        pos.copy(p.pos);
        expected_pos.copy(p.pos);
        const vector_fixed<double, 3> dir0{coordinate(), coordinate(), coordinate()};
        const dense1D<double, 8> sizes{1, 2, 0.5};
        RC_ASSERT(extrude_line(pos, p.faces, joined, dir0, sizes, out[0], edges, out[1], out[2]) == 0);
        RC_ASSERT(
            extrude_line(expected_pos, p.faces, apart, dir0, sizes, expected[0], edges, expected[1], expected[2]) == 0);
        RC_ASSERT(expected_pos.cols() == all);

        // The first copy of the node stands above it in the first solid that holds it.
        unsigned index = no_node;
        const std::size_t layers = places.size() - 1;
        const std::size_t above = expected[0].cols() - layers * p.faces.cols() + any_face * layers;
        const unsigned corners = p.faces(3, any_face) == no_node ? 3 : 4;
        for (unsigned c = 0; c < corners; ++c)
            if (p.faces(c, any_face) == first)
                index = expected[0](corners + c, above) - entry_nodes;
        for (auto& matrix : expected)
            rename_copies(matrix, entry_nodes, surface_nodes, index, apart);
        dense1D<unsigned, 8> new_ids;
        meldra::simplify(expected_pos, expected.data(), expected.data() + expected.size(), new_ids, entry_nodes);
        RC_ASSERT(entries(pos) == entries(expected_pos));
        for (std::size_t k = 0; k < out.size(); ++k)
            RC_ASSERT(entries(out[k]) == entries(expected[k]));
    });
}
