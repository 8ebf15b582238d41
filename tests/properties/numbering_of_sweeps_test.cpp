// Sweeps of a surface under other numbers. New nodes are numbered by the first appearance of the surface's nodes, so
// their IDs follow the order of the faces; where they lie does not.

#include "properties/random_solids.h"

#include <functional>

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

struct sweep_case {
    dense2D<double> pos;
    dense2D<unsigned> faces;
    dense1D<unsigned, 8> line;
    dense2D<double> shifts;
};

using sweep = std::function<int(sweep_case&, dense2D<unsigned>&)>;

sweep_case random_case() {
    const patch p = pierced_patch();
    sweep_case c{p.pos, p.faces, {}, dense2D<double>(3, p.pos.cols())};
    for (std::size_t k = 0; k < c.shifts.size(); ++k)
        c.shifts.data()[k] = coordinate();
    for (unsigned k = 0; k < 3; ++k)
        c.line.push_back(*rc::gen::inRange(0u, unsigned(p.pos.cols())));
    return c;
}

sweep_case renumbered(const sweep_case& c, const std::vector<unsigned>& number, const std::vector<unsigned>& order) {
    sweep_case r{renumbered_nodes(c.pos, number),
                 reordered(renamed(c.faces, number), order),
                 {},
                 renumbered_nodes(c.shifts, number)};
    for (const unsigned id : c.line)
        r.line.push_back(number[id]);
    return r;
}

/// Shapes of the solids over each face.
std::vector<std::vector<double>> swept_shapes(const sweep& call, const sweep_case& given) {
    sweep_case c = given;
    RC_ASSERT(c.pos.copy(given.pos));
    dense2D<unsigned> solids;
    RC_ASSERT(call(c, solids) == 0);
    const std::size_t layers = solids.cols() / c.faces.cols();
    std::vector<std::vector<double>> columns(c.faces.cols());
    for (std::size_t j = 0; j < solids.cols(); ++j) {
        const auto one = shape(c.pos, solids.col(j), 8);
        columns[j / layers].insert(columns[j / layers].end(), one.begin(), one.end());
    }
    return columns;
}

/// Both orders change, and every coordinate stays within `tolerance`.
void check_sweep(const sweep& call, double tolerance) {
    expect_property([&] {
        const sweep_case c = random_case();
        const auto number = random_order(c.pos.cols()), order = random_order(c.faces.cols());
        const auto a = swept_shapes(call, c), b = swept_shapes(call, renumbered(c, number, order));
        for (std::size_t j = 0; j < order.size(); ++j) {
            RC_ASSERT(b[j].size() == a[order[j]].size());
            for (std::size_t k = 0; k < b[j].size(); ++k)
                RC_ASSERT(std::fabs(b[j][k] - a[order[j]][k]) <= tolerance);
        }
    });
}

} // namespace

TEST(NumberingOfSweeps, TranslatedRotatedAndSpiralLevelsHaveTheSameBits) {
    check_sweep([](auto& c, auto& s) { return extrude_translate(c.pos, c.faces, {0, 1, 2}, 0.5, 0.2, true, s); }, 0);
    check_sweep([](auto& c, auto& s) { return extrude_translate(c.pos, c.faces, {0, 1, 2}, 3, s); }, 0);
    check_sweep([](auto& c, auto& s) { return extrude_rotate(c.pos, c.faces, {-9, 1, 0.5}, {0, 1.5, 0.2}, 4, s); }, 0);
    check_sweep(
        [](auto& c, auto& s) {
            return extrude_spiral(c.pos, c.faces, {-9, 1, 0.5}, {0, 1.5, 0.2}, {1, 2, 3}, 0.4, 0.9, false, s);
        },
        0);
}

TEST(NumberingOfSweeps, SweepsAlongVectorsAndLinesHaveTheSameBits) {
    check_sweep([](auto& c, auto& s) { return extrude_normal(c.pos, c.faces, c.shifts, 3, s); }, 0);
    check_sweep(
        [](auto& c, auto& s) {
            return extrude_line(c.pos, c.faces, c.line, {0.1, 0.2, 1}, dense1D<double, 8>{1, 2, 0.5}, s);
        },
        0);
}

TEST(NumberingOfSweeps, ThickenedSurfacesDifferByTheLastBitsOfTheirNormals) {
    check_sweep([](auto& c, auto& s) { return extrude_normal(c.pos, c.faces, 1.5, 0.5, 0.5, false, s); }, 1e-14);
}

TEST(NumberingOfSweeps, TheFirstNodeOfTheFirstFaceDecidesTheLayersOfARotation) {
    // Its distance from the axis point gives the length that is divided into layers.
    dense2D<double> near = points({{1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {9, 0, 0}, {9, 1, 0}}), far;
    far.copy(near);
    dense2D<unsigned> solids_near, solids_far;
    ASSERT_EQ(extrude_rotate(near, ids({{0, 1, 2}, {1, 3, 4}}), {0, 0, 0}, {0, -1, 0}, 0.25, 0.25, false, solids_near),
              0);
    ASSERT_EQ(extrude_rotate(far, ids({{3, 4, 1}, {0, 1, 2}}), {0, 0, 0}, {0, -1, 0}, 0.25, 0.25, false, solids_far),
              0);
    EXPECT_EQ(solids_near.cols(), 2u * 4);
    EXPECT_EQ(solids_far.cols(), 2u * 36);
}
