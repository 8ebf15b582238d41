#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "extrude/turned_point.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::extrude_line;

namespace {

constexpr unsigned none = no_node;
constexpr double pi = std::numbers::pi;
constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");
using list = std::vector<unsigned>;
using line_ids = dense1D<unsigned, 8>;
using size_list = dense1D<double, 8>;
const dense2D<double> no_metrics;

/// A unit square in the plane z = 0 around the origin, and the nodes of a line behind it.
dense2D<double> square_and(std::initializer_list<std::initializer_list<double>> line_nodes) {
    auto pos = points({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}});
    for (const auto& node : line_nodes)
        pos.append(node.begin());
    return pos;
}

const dense2D<unsigned> square = ids({{0, 1, 2, 3}});

/// The metric that wants sizes a, b, c along the axes.
std::vector<double> axes(double a, double b, double c) {
    return {1 / (a * a), 0, 1 / (b * b), 0, 0, 1 / (c * c)};
}

/// Columns of metrics; an empty one stands for zeros, which are none.
dense2D<double> metric_columns(const std::vector<std::vector<double>>& values) {
    dense2D<double> metrics(6, 0);
    const std::vector<double> none_at_all(6, 0);
    for (const auto& column : values)
        metrics.append(column.empty() ? none_at_all.data() : column.data());
    return metrics;
}

/// The level-k copies of the square in a sweep along a line apart from it.
void expect_level(const dense2D<double>& pos, unsigned entry_nodes, unsigned k,
                  const std::vector<std::array<double, 3>>& expected, double tolerance = 1e-15) {
    for (unsigned j = 0; j < 4; ++j)
        expect_near(pos, entry_nodes + 4 * (k - 1) + j, expected[j], tolerance);
}

/// Sweeps the square along three nodes above each other, of distance 1, and returns the coordinates.
dense2D<double> upwards(const dense2D<double>& metrics) {
    auto pos = square_and({{0, 0, 0}, {0, 0, 1}, {0, 0, 2}});
    dense2D<unsigned> solids;
    EXPECT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 1}, metrics, solids), 0);
    EXPECT_EQ(pos.cols(), 15u);
    return pos;
}

dense2D<double> upwards(const size_list& sizes) {
    auto pos = square_and({{0, 0, 0}, {0, 0, 1}, {0, 0, 2}});
    dense2D<unsigned> solids;
    EXPECT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 1}, sizes, solids), 0);
    EXPECT_EQ(pos.cols(), 15u);
    return pos;
}

/// Half the widths of a level of `upwards` along x and y, read from its third node.
std::array<double, 2> widths(const dense2D<double>& pos, unsigned k) {
    const std::size_t corner = 7 + 4 * (k - 1) + 2;
    EXPECT_EQ(pos(2, corner), k);
    return {pos(0, corner), pos(1, corner)};
}

void expect_widths(const dense2D<double>& pos, unsigned k, double expected) {
    EXPECT_NEAR(widths(pos, k)[0], expected, 3e-16 * expected);
    EXPECT_NEAR(widths(pos, k)[1], expected, 3e-16 * expected);
}

} // namespace

TEST(ExtrudeLine, ALineFromANodeOfTheSurfaceLendsItsNodes) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}, {0, 0, 5}});
    dense2D<unsigned> solids, sides, cap;
    ASSERT_EQ(
        extrude_line(pos, square, line_ids{0, 4, 5}, {0, 0, 1}, no_metrics, solids, ids({{0, 1}, {1, 2}}), sides, cap),
        0);
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 4, 6, 7, 8, 4, 6, 7, 8, 5, 9, 10, 11}));
    EXPECT_EQ(entries(sides), (list{1, 0, 4, 6, 6, 4, 5, 9, 2, 1, 6, 7, 7, 6, 9, 10}));
    EXPECT_EQ(entries(cap), (list{5, 11, 10, 9}));
    EXPECT_EQ(entries(pos), (std::vector<double>{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 2, 0, 0, 5,
                                                 1, 0, 2, 1, 1, 2, 0, 1, 2, 1, 0, 5, 1, 1, 5, 0, 1, 5}));
}

TEST(ExtrudeLine, AnotherNodeOfTheSurfaceMayBeginTheLine) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {1, 1, 3}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{2, 4}, {0, 0, 1}, no_metrics, solids), 0);
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 5, 6, 4, 7}));
    EXPECT_EQ(pos.cols(), 8u); // three more than before
    expect_near(pos, 5, {0, 0, 3}, 0);
    expect_near(pos, 6, {1, 0, 3}, 0);
    expect_near(pos, 7, {0, 1, 3}, 0);
}

TEST(ExtrudeLine, ALineApartFromTheSurfaceKeepsItsNodes) {
    auto pos = square_and({{5, 5, 5}, {5, 5, 6}, {5, 5, 8}});
    dense2D<unsigned> solids, sides, cap;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 7}, no_metrics, solids, ids({{0, 1}}), sides, cap),
              0);
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 7, 8, 9, 10, 7, 8, 9, 10, 11, 12, 13, 14}));
    EXPECT_EQ(entries(sides), (list{1, 0, 7, 8, 8, 7, 11, 12}));
    EXPECT_EQ(entries(cap), (list{11, 14, 13, 12}));
    ASSERT_EQ(pos.cols(), 15u);
    expect_level(pos, 7, 1, {{-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, 1}}, 0);
    expect_level(pos, 7, 2, {{-1, -1, 3}, {1, -1, 3}, {1, 1, 3}, {-1, 1, 3}}, 0);
}

TEST(ExtrudeLine, TheFirstDirectionIsTurnedOntoTheFirstSegment) {
    // The section looks along z, and the line goes along x: z turns to x, and x to -z.
    auto pos = square_and({{0, 0, 0}, {4, 0, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5}, {0, 0, 0.1}, no_metrics, solids), 0);
    expect_level(pos, 6, 1, {{4, -1, 1}, {4, -1, -1}, {4, 1, -1}, {4, 1, 1}});
}

TEST(ExtrudeLine, TheSectionTurnsAsTheLineDoes) {
    auto pos = square_and({{0, 0, 0}, {0, 0, 2}, {0, 3, 5}, {2, 3, 5}});
    const auto before = pos;
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6, 7}, {0, 0, 1}, no_metrics, solids), 0);
    expect_level(pos, 8, 1, {{-1, -1, 2}, {1, -1, 2}, {1, 1, 2}, {-1, 1, 2}}, 0);
    // Half a right angle from z to y: about -x.
    for (unsigned j = 0; j < 4; ++j) {
        auto expected = turned(before, j, {0, 0, 0}, {-pi / 4, 0, 0}, 1);
        expected[1] += 3;
        expected[2] += 5;
        expect_near(pos, 12 + j, expected, 1e-15);
    }
    // From (0, 1, 1) / sqrt 2 to x, a right angle about their cross product (0, 1, -1) / sqrt 2.
    const double quarter = pi / 2 / std::sqrt(2.0);
    for (unsigned j = 0; j < 4; ++j) {
        auto expected = turned(pos, 12 + j, {0, 3, 5}, {0, quarter, -quarter}, 1);
        expected[0] += 2;
        expect_near(pos, 16 + j, expected, 3e-15);
    }
}

TEST(ExtrudeLine, ARightAngleIsTurnedToTheLastBit) {
    // The sine of nearly a right angle alone has lost half of the digits of the angle.
    const double t = 0.7;
    auto pos = square_and({{0, 0, 0}, {3 * std::sin(t), 0, 3 * std::cos(t)}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5}, {std::cos(t), 0, -std::sin(t)}, no_metrics, solids), 0);
    const auto before = square_and({});
    for (unsigned j = 0; j < 4; ++j) {
        auto expected = turned(before, j, {0, 0, 0}, {0, -pi / 2, 0}, 1);
        expected[0] += pos(0, 5);
        expected[2] += pos(2, 5);
        expect_near(pos, 6 + j, expected, 1e-15);
    }
}

TEST(ExtrudeLine, ASharperTurnIsMadeByItsSupplement) {
    // The line turns by 150 degrees from z towards x; the section by 30.
    auto pos = square_and({{0, 0, 0}, {0, 0, 2}, {1, 0, 2 - std::sqrt(3.0)}});
    const auto before = square_and({});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 1}, no_metrics, solids), 0);
    for (unsigned j = 0; j < 4; ++j) {
        auto expected = turned(before, j, {0, 0, 0}, {0, pi / 6, 0}, 1);
        expected[0] += 1;
        expected[2] += 2 - std::sqrt(3.0);
        expect_near(pos, 11 + j, expected, 2e-15);
    }
}

TEST(ExtrudeLine, AReversalDoesNotTurn) {
    auto pos = square_and({{0, 0, 0}, {0, 0, 2}, {0, 0, -1}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, -1}, no_metrics, solids), 0);
    expect_level(pos, 7, 1, {{-1, -1, 2}, {1, -1, 2}, {1, 1, 2}, {-1, 1, 2}}, 0);
    expect_level(pos, 7, 2, {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}}, 0);
}

TEST(ExtrudeLine, NoFirstDirectionTurnsNothing) {
    auto pos = square_and({{0, 0, 0}, {4, 0, 0}, {4, 4, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 0}, no_metrics, solids), 0);
    expect_level(pos, 7, 1, {{3, -1, 0}, {5, -1, 0}, {5, 1, 0}, {3, 1, 0}}, 0);
    expect_level(pos, 7, 2, {{5, 3, 0}, {5, 5, 0}, {3, 5, 0}, {3, 3, 0}}); // from x to y, about z
}

TEST(ExtrudeLine, ASegmentOfNoLengthTurnsNothingAndIsTheNextDirection) {
    auto pos = square_and({{0, 0, 0}, {0, 0, 2}, {0, 3, 2}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 5, 6}, {0, 0, 1}, no_metrics, solids), 0);
    for (unsigned k = 1; k <= 2; ++k)
        expect_level(pos, 7, k, {{-1, -1, 2}, {1, -1, 2}, {1, 1, 2}, {-1, 1, 2}}, 0);
    expect_level(pos, 7, 3, {{-1, 2, 2}, {1, 2, 2}, {1, 4, 2}, {-1, 4, 2}}, 0); // moved, not turned
}

TEST(ExtrudeLine, LinesOfAnyScaleTurnAlike) {
    for (const double scale : {1e-300, 1e-160, 1e-100, 1.0, 1e100, 1e160, 1e300}) {
        auto pos = points({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {0, 0, 0}, {0, 0, 2}, {0, 3, 2}});
        for (std::size_t j = 0; j < pos.cols(); ++j)
            for (unsigned i = 0; i < 3; ++i)
                pos(i, j) *= scale;
        dense2D<unsigned> solids;
        ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 1 / scale}, no_metrics, solids), 0);
        for (unsigned i = 0; i < 3; ++i)
            EXPECT_NEAR(pos(i, 11 + 2) / scale, (std::array<double, 3>{1, 3, 1})[i], 1e-15) << scale;
    }
}

TEST(ExtrudeLine, ASegmentLongerThanAnyNumberStillHasADirection) {
    const double far = 1.5e308;
    auto pos = square_and({{0, 0, -far}, {0, 0, far}});
    for (std::size_t j = 0; j < 4; ++j)
        pos(2, j) = -far;
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5}, {0, 0, 1e308}, no_metrics, solids), 0);
    expect_level(pos, 6, 1, {{-1, -1, far}, {1, -1, far}, {1, 1, far}, {-1, 1, far}}, 0);
}

TEST(ExtrudeLine, MetricsScaleTheSectionAlongEachOffset) {
    // Isotropic metrics: the first size itself, then the quotient.
    const auto pos = upwards(metric_columns({axes(7, 7, 7), axes(2, 2, 2), axes(3, 3, 3)}));
    expect_widths(pos, 1, 2);
    expect_widths(pos, 2, 3);
}

TEST(ExtrudeLine, TheSizeOfAMetricDependsOnTheDirection) {
    auto metrics = metric_columns({{}, {2, 0.5, 1, 0.3, -0.2, 5}});
    auto pos = square_and({{-1, -1, -1}, {0, 0, 4}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5}, {1, 1, 5}, metrics, solids), 0);
    const vec3 offsets[] = {{0, 0, 1}, {2, 0, 1}, {2, 2, 1}, {0, 2, 1}};
    for (unsigned j = 0; j < 4; ++j) {
        const auto& u = offsets[j];
        const double square_of_u = u[0] * u[0] + u[1] * u[1] + u[2] * u[2];
        const double form = 2 * u[0] * u[0] + 2 * 0.5 * u[0] * u[1] + 1 * u[1] * u[1] + 2 * 0.3 * u[0] * u[2] -
                            2 * 0.2 * u[1] * u[2] + 5 * u[2] * u[2];
        const double ratio = std::sqrt(square_of_u / form);
        expect_near(pos, 6 + j, {ratio * u[0], ratio * u[1], 4 + ratio * u[2]}, 2e-15);
    }
}

TEST(ExtrudeLine, BothSizesAreTakenAlongTheOffsetBeforeTheTurn) {
    // The section lies in the plane of x and y, and turns from z to x. Its corners lie at (1, 1, 0) / sqrt 2 before the
    // turn and at (0, 1, -1) / sqrt 2 after it.
    auto pos = square_and({{0, 0, 0}, {4, 0, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5}, {0, 0, 1}, metric_columns({{}, axes(2, 2, 100)}), solids), 0);
    expect_near(pos, 6 + 2, {4, 2, -2}, 2e-15);
}

TEST(ExtrudeLine, TheMetricOfTheFirstNodeIsNotRead) {
    for (const auto& first : {axes(5, 5, 5), std::vector<double>(6, nan_value), std::vector<double>(6, -1)}) {
        const auto pos = upwards(metric_columns({first, axes(2, 2, 2), axes(2, 2, 2)}));
        expect_widths(pos, 1, 2);
        expect_widths(pos, 2, 2);
    }
}

TEST(ExtrudeLine, AMetricThatIsNoneCountsAsSizeOne) {
    const std::vector<std::vector<double>> invalid{
        {-1, 0, -1, 0, 0, -1},      {1, 0, 1, 0, 0, -1},       {0, 0, 0, 0, 0, 0},
        {1, 2, 1, 0, 0, 1}, // the eigenvalues are 3, 1, -1
        {1, 0, 1, 0, 0, nan_value}, {infinity, 0, 1, 0, 0, 1}, {1, nan_value, 1, 0, 0, 1},
    };
    for (const auto& bad : invalid) {
        const auto early = upwards(metric_columns({{}, bad, axes(2, 2, 2)}));
        expect_widths(early, 1, 1);
        expect_widths(early, 2, 2);
        const auto late = upwards(metric_columns({{}, axes(2, 2, 2), bad}));
        expect_widths(late, 1, 2);
        expect_widths(late, 2, 1);
    }
}

TEST(ExtrudeLine, MetricsOfTooFewColumnsCountAsSizeOneBehindThem) {
    expect_widths(upwards(metric_columns({{}})), 2, 1);
    const auto pos = upwards(metric_columns({{}, axes(2, 2, 2)}));
    expect_widths(pos, 1, 2);
    expect_widths(pos, 2, 1);
    expect_widths(upwards(metric_columns({{}, axes(2, 2, 2), axes(4, 4, 4), axes(9, 9, 9)})), 2, 4);
}

TEST(ExtrudeLine, MetricsOfAnySizeScale) {
    for (const double size : {1e-154, 1e-100, 1e-9, 1e9, 1e100, 1e150}) {
        const auto pos = upwards(metric_columns({{}, axes(size, size, size), axes(3 * size, 3 * size, 3 * size)}));
        EXPECT_NEAR(widths(pos, 1)[0] / size, 1, 1e-15);
        EXPECT_NEAR(widths(pos, 2)[1] / size, 3, 3e-15);
    }
    const double huge = std::numeric_limits<double>::max();
    // The largest eigenvalue, twice the largest number, is none, yet the size along its vector is.
    const auto pos = upwards(metric_columns({{}, {huge, huge * 0.99, huge, 0, 0, huge}}));
    EXPECT_NEAR(widths(pos, 1)[0] * std::sqrt(huge), std::sqrt(1 / 1.99), 1e-15);
}

TEST(ExtrudeLine, MetricsAndSizesStayAsTheyAre) {
    const auto metrics = metric_columns({axes(1, 2, 3), {2, 0.5, 1, 0.3, -0.2, 5}, axes(3, 2, 1)});
    const auto before = entries(metrics);
    upwards(metrics);
    EXPECT_EQ(entries(metrics), before);
}

TEST(ExtrudeLine, SizesScaleByTheirQuotients) {
    const auto pos = upwards(size_list{2, 3, 12});
    expect_widths(pos, 1, 1.5);
    expect_widths(pos, 2, 6);
}

TEST(ExtrudeLine, ASizeThatIsNoneCountsAsOne) {
    for (const double bad : {0.0, -0.0, -3.0, nan_value, infinity, -infinity}) {
        const auto first = upwards(size_list{bad, 3, 6});
        expect_widths(first, 1, 3);
        expect_widths(first, 2, 6);
        const auto second = upwards(size_list{2, bad, 6});
        expect_widths(second, 1, 0.5);
        expect_widths(second, 2, 3);
    }
    expect_widths(upwards(size_list{}), 2, 1);
    expect_widths(upwards(size_list{4}), 2, 0.25);
    expect_widths(upwards(size_list{4, 2}), 1, 0.5);
    expect_widths(upwards(size_list{4, 2}), 2, 0.25);
    expect_widths(upwards(size_list{4, 2, 1, 77}), 2, 0.25);
}

TEST(ExtrudeLine, ANodeAtTheLineComesToItWhateverTheScale) {
    // Node 3 lies where the line begins, but is not its node: its offset has no direction.
    const auto metrics = metric_columns({{}, axes(2, 3, 4), axes(1, 1, 1)});
    for (const auto& given : {metrics, no_metrics, metric_columns({{}, axes(2, 3, 4)}), metric_columns({{}, {}, {}})}) {
        auto pos = square_and({{-1, 1, 0}, {-1, 1, 1}, {-1, 1, 2}});
        dense2D<unsigned> solids;
        ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, {0, 0, 1}, given, solids), 0);
        expect_near(pos, 7 + 3, {-1, 1, 1}, 0);
        expect_near(pos, 11 + 3, {-1, 1, 2}, 0);
    }
}

TEST(ExtrudeLine, ASizeQuotientBeyondAllNumbersBringsNodesToTheLine) {
    const auto pos = upwards(size_list{1e-300, 1e300, 1e-300});
    expect_widths(pos, 1, 0);
    expect_widths(pos, 2, 0);
}

TEST(ExtrudeLine, RepeatedNodesAndNodesOfTheSurfaceMayBeInTheLine) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 1, 0, 0}, {0, 0, 0}, no_metrics, solids), 0);
    EXPECT_EQ(entries(solids), (list{0, 1, 2, 3, 1, 4, 5, 6, 1, 4, 5, 6, 0, 7, 8, 9, 0, 7, 8, 9, 0, 10, 11, 12}));
    ASSERT_EQ(pos.cols(), 13u);
    expect_near(pos, 4, {2, 0, 0}, 0);
    expect_near(pos, 7, {1, 0, 0}, 0);
}

TEST(ExtrudeLine, OldEntriesThatNameACopyAreRenamed) {
    // Six nodes and four on a level: the copies of node 0 will be 6 and 10. Node 14 is beyond all.
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}, {0, 0, 5}});
    auto solids = ids({{0, 6, 7, 10, 13, 5, 4, none}});
    auto sides = ids({{6, 9, 10, 3}});
    dense2D<unsigned> cap;
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 4, 5}, {0, 0, 1}, no_metrics, solids, {}, sides, cap), 0);
    EXPECT_EQ(column(solids, 0), (list{0, 4, 6, 5, 11, 5, 4, none}));
    EXPECT_EQ(entries(sides), (list{4, 8, 5, 3}));
    EXPECT_EQ(pos.cols(), 12u);
}

TEST(ExtrudeLine, EntriesThatNameNoNodeStayAndKeepAllNodes) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}, {0, 0, 5}});
    auto solids = ids({{0, 6, 7, 10, 14, 5, 4, none}});
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 4, 5}, {0, 0, 1}, no_metrics, solids), 0);
    EXPECT_EQ(entries(solids), (list{0, 4, 7, 5, 14, 5, 4, none, 0, 1, 2, 3, 4, 7, 8, 9, 4, 7, 8, 9, 5, 11, 12, 13}));
    ASSERT_EQ(pos.cols(), 14u);
    expect_near(pos, 6, {0, 0, 2}, 0); // the copies that nothing names any more
    expect_near(pos, 10, {0, 0, 5}, 0);
}

TEST(ExtrudeLine, AnEdgeNodeOutsideTheSurfaceFollowsTheWrappedFormula) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}, {0, 0, 5}});
    dense2D<unsigned> solids, sides, cap;
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 4, 5}, {0, 0, 1}, no_metrics, solids, ids({{1, 77}}), sides, cap),
              0);
    // The index no_node is -1 modulo 2^32: node 5 on level 1 and node 9 on level 2. Node 77 is none.
    EXPECT_EQ(entries(sides), (list{77, 1, 7, 5, 5, 7, 11, 9}));
    EXPECT_EQ(pos.cols(), 14u);
}

TEST(ExtrudeLine, OtherViewsOfAnOutputKeepTheirNumbers) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}, {0, 0, 5}});
    auto sides = ids({{6, 9, 10, 3}, {0, 1, 2, 3}});
    const auto other = sides;
    auto window = sides.sub(0, 0, 4, 1);
    dense2D<unsigned> solids, cap;
    // No edges: the side quadrangles do not grow, and yet they are renamed.
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 4, 5}, {0, 0, 1}, no_metrics, solids, {}, window, cap), 0);
    EXPECT_EQ(entries(window), (list{4, 8, 5, 3}));
    EXPECT_EQ(entries(other), (list{6, 9, 10, 3, 0, 1, 2, 3}));
    EXPECT_EQ(entries(sides), entries(other));
}

TEST(ExtrudeLine, CallersMemoryIsNotWrittenTo) {
    unsigned memory[] = {6, 9, 10, 3};
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}, {0, 0, 5}});
    auto sides = dense2D<unsigned>::view(memory, 4, 1, 4);
    dense2D<unsigned> solids, cap;
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 4, 5}, {0, 0, 1}, no_metrics, solids, {}, sides, cap), 0);
    EXPECT_EQ(entries(sides), (list{4, 8, 5, 3}));
    EXPECT_EQ(list(memory, memory + 4), (list{6, 9, 10, 3}));
}

TEST(ExtrudeLine, InputsMayShareStorageWithOutputs) {
    auto expected_pos = square_and({{-1, -1, 2}, {-1, -1, 5}}), pos = square_and({{-1, -1, 2}, {-1, -1, 5}});
    dense2D<unsigned> expected, expected_cap, sides;
    const size_list sizes{1, 1, 2};
    ASSERT_EQ(
        extrude_line(expected_pos, square, line_ids{0, 4, 5}, {0, 0, 1}, sizes, expected, {}, sides, expected_cap), 0);

    auto solids = ids({{0, 4, 5, 1, 1, 2, 2, 1}}); // the line and the surface are parts of the solids and of the cap
    auto cap = ids({{0, 1, 2, 3}});
    const auto line = solids.sub(0, 0, 3, 1).as_vector();
    auto numbers = dense2D<double>(3, 12, 7.0); // the sizes and the coordinates are parts of one matrix
    for (std::size_t j = 0; j < 6; ++j)
        std::copy_n(pos.col(j), 3, numbers.col(j));
    numbers(0, 6) = numbers(1, 6) = 1;
    numbers(2, 6) = 2;
    const auto size_view = numbers.sub(0, 6, 3, 1).as_vector();
    pos = numbers.sub(0, 0, 3, 6);
    ASSERT_EQ(extrude_line(pos, cap, line, {0, 0, 1}, size_view, solids, {}, sides, cap), 0);
    EXPECT_EQ(entries(pos), entries(expected_pos));
    EXPECT_EQ(column(solids, 1), column(expected, 0));
    EXPECT_EQ(column(solids, 2), column(expected, 1));
    EXPECT_EQ(column(cap, 0), (list{0, 1, 2, 3}));
    EXPECT_EQ(column(cap, 1), column(expected_cap, 0));
    EXPECT_EQ(list(line.begin(), line.end()), (list{0, 4, 5}));
    EXPECT_EQ(numbers.cols(), 12u);
    EXPECT_EQ(numbers(0, 7), 7);
}

TEST(ExtrudeLine, OneMatrixMayStandForAllThatIsNotWanted) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}});
    auto again = points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 2}});
    dense2D<unsigned> solids, all;
    ASSERT_EQ(extrude_line(pos, square, line_ids{0, 4}, {0, 0, 1}, no_metrics, solids), 0);
    ASSERT_EQ(extrude_line(again, square, line_ids{0, 4}, {0, 0, 1}, no_metrics, all, ids({{0, 1}}), all, all), 0);
    EXPECT_EQ(entries(all), entries(solids));
    EXPECT_EQ(entries(again), entries(pos));
}

TEST(ExtrudeLine, EveryNodeOfALargeSectionFollowsTheOneBelow) {
    // More nodes than are placed at a time, with numbers far apart, and a line in the middle of them.
    const unsigned faces = 3000;
    const unsigned entry_nodes = 3 * faces + 4;
    dense2D<double> pos(3, entry_nodes);
    dense2D<unsigned> surface(3, faces), solids;
    for (unsigned j = 0; j < entry_nodes; ++j)
        for (unsigned i = 0; i < 3; ++i)
            pos(i, j) = std::sin(3 * j + i);
    const unsigned start = 4000;
    for (unsigned e = 0; e < faces; ++e)
        for (unsigned c = 0; c < 3; ++c) { // all but the nodes of the line
            const unsigned id = (7919 * (3 * e + c)) % (3 * faces);
            surface(c, e) = id < start ? id : id + 4;
        }
    const double places[4][3] = {{0, 0, 0}, {0, 0, 2}, {0, 3, 5}, {0, 3, 9}};
    for (unsigned k = 0; k < 4; ++k)
        std::copy_n(places[k], 3, pos.col(start + k));
    const auto before = pos;
    ASSERT_EQ(extrude_line(pos, surface, line_ids{start, start + 1, start + 2, start + 3}, {0, 0, 1},
                           size_list{1, 2, 2, 3}, solids),
              0);
    ASSERT_EQ(pos.cols(), entry_nodes + 9 * faces);
    const double scale[] = {1, 2, 2, 3}, angle[] = {0, 0, -pi / 4, 0}; // about x
    for (unsigned e = 0; e < faces; ++e)
        for (unsigned c = 0; c < 3; ++c)
            for (unsigned k = 1; k <= 3; ++k) {
                auto expected = turned(before, surface(c, e), {0, 0, 0}, {angle[k], 0, 0}, 1);
                for (unsigned i = 0; i < 3; ++i)
                    expected[i] = places[k][i] + scale[k] * expected[i];
                ASSERT_EQ(solids(c + 3, 3 * e + k - 1), entry_nodes + (k - 1) * 3 * faces + 3 * e + c);
                expect_near(pos, solids(c + 3, 3 * e + k - 1), expected, 1e-14);
            }
}

TEST(ExtrudeLine, ShortFormsGiveWhatTheFullOnesGive) {
    const auto metrics = metric_columns({{}, axes(2, 3, 4), axes(1, 1, 1)});
    const size_list sizes{1, 2, 3};
    auto pos_full = square_and({{0, 0, 0}, {0, 1, 1}, {0, 5, 2}}), pos_short = pos_full;
    dense2D<unsigned> full, sides, cap, solids;
    ASSERT_EQ(extrude_line(pos_full, square, line_ids{4, 5, 6}, {0, 0, 1}, metrics, full, {}, sides, cap), 0);
    ASSERT_EQ(extrude_line(pos_short, square, line_ids{4, 5, 6}, {0, 0, 1}, metrics, solids), 0);
    EXPECT_EQ(entries(solids), entries(full));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
    ASSERT_EQ(extrude_line(pos_full, square, line_ids{0, 5, 6}, {0, 0, 1}, sizes, full, {}, sides, cap), 0);
    ASSERT_EQ(extrude_line(pos_short, square, line_ids{0, 5, 6}, {0, 0, 1}, sizes, solids), 0);
    EXPECT_EQ(entries(solids), entries(full));
    EXPECT_EQ(entries(pos_short), entries(pos_full));
}

TEST(ExtrudeLine, NumbersThatAreNoneSpoilOnlyTheNewNodes) {
    for (const double bad : {nan_value, infinity, -infinity})
        for (unsigned i = 0; i < 3; ++i) {
            auto pos = square_and({{0, 0, 0}, {0, 0, 1}, {0, 0, 2}});
            const auto before = entries(pos);
            vec3 dir0{1, 2, 3};
            dir0[i] = bad;
            dense2D<unsigned> solids;
            ASSERT_EQ(extrude_line(pos, square, line_ids{4, 5, 6}, dir0, no_metrics, solids), 0);
            EXPECT_EQ(pos.cols(), 15u);
            const auto after = entries(pos);
            EXPECT_TRUE(std::equal(before.begin(), before.end(), after.begin()));

            auto spoilt = square_and({{0, 0, 0}, {0, 0, 1}, {0, 0, 2}});
            spoilt(i, 5) = bad;
            ASSERT_EQ(
                extrude_line(spoilt, square, line_ids{4, 5, 6}, {0, 0, 1}, metric_columns({{}, axes(1, 2, 3)}), solids),
                0);
            EXPECT_EQ(spoilt.cols(), 15u);
        }
}
