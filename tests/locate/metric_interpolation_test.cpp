#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

#include "locate/metric_interpolation.h"

using namespace quorl::meldra3d::detail;

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double largest = std::numeric_limits<double>::max();

using matrix = std::array<std::array<double, 3>, 3>;

/// A^T diag(1 / h^2) A: the metric of lengths h along the columns of the inverse of A.
metric metric_of(const matrix& a, const std::array<double, 3>& h) {
    metric m{};
    for (unsigned j = 0; j < 3; ++j)
        for (unsigned i = 0; i <= j; ++i)
            for (unsigned k = 0; k < 3; ++k)
                m(i, j) += a[k][i] * a[k][j] / (h[k] * h[k]);
    return m;
}

metric isotropic(double h) {
    return {{1 / (h * h), 0, 1 / (h * h), 0, 0, 1 / (h * h)}};
}

const metric bad_metrics[] = {{{-1, 0, 1, 0, 0, 1}},
                              {{0, 0, 0, 0, 0, 0}},
                              {{1, 2, 1, 0, 0, 1}},
                              {{not_a_number, 0, 1, 0, 0, 1}},
                              {{infinity, 0, 1, 0, 0, 1}}};

void expect_near(const std::optional<metric>& found, const metric& expected, double tolerance = 1e-12) {
    ASSERT_TRUE(found.has_value());
    double scale = 0;
    for (const double x : expected.values)
        scale = std::max(scale, std::fabs(x));
    for (unsigned k = 0; k < 6; ++k)
        EXPECT_NEAR((*found)[k], expected[k], tolerance * scale);
}

void expect_same(const std::optional<metric>& found, const metric& expected) {
    ASSERT_TRUE(found.has_value());
    for (unsigned k = 0; k < 6; ++k)
        EXPECT_EQ((*found)[k], expected[k]);
}

struct metric_dice {
    std::mt19937 engine{17};
    double entry() { return std::uniform_real_distribution<double>(-1, 1)(engine); }
    double length() { return std::exp(2 * entry()); }
    matrix frame() {
        matrix a{};
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned j = 0; j < 3; ++j)
                a[i][j] = (i == j ? 1.5 : 0) + 0.7 * entry();
        return a;
    }
    std::array<double, 3> lengths() { return {length(), length(), length()}; }
};

std::array<double, 3> mix(double t, const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return {a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]), a[2] + t * (b[2] - a[2])};
}

} // namespace

TEST(BetweenMetrics, InterpolatesTheLengthsAlongCommonAxes) {
    metric_dice random;
    for (int k = 0; k < 300; ++k) {
        const matrix a = random.frame();
        const auto h1 = random.lengths(), h2 = random.lengths();
        const double t = 0.5 + 0.499 * random.entry();
        expect_near(between_metrics(t, metric_of(a, h1), metric_of(a, h2)), metric_of(a, mix(t, h1, h2)), 1e-9);
    }
}

TEST(BetweenMetrics, IsSymmetric) {
    metric_dice random;
    for (int k = 0; k < 300; ++k) {
        const metric one = metric_of(random.frame(), random.lengths()),
                     other = metric_of(random.frame(), random.lengths());
        const double t = 0.5 + 0.499 * random.entry();
        const auto there = between_metrics(t, one, other), back = between_metrics(1 - t, other, one);
        ASSERT_TRUE(back.has_value());
        expect_near(there, *back, 1e-8);
    }
}

TEST(BetweenMetrics, InterpolatesSizesNotEntriesOfIsotropicMetrics) {
    for (const double t : {0.1, 0.5, 0.9})
        expect_near(between_metrics(t, isotropic(1), isotropic(5)), isotropic(1 + 4 * t));
    expect_near(between_metrics(0.5, isotropic(1e-100), isotropic(3e-100)), isotropic(2e-100));
    expect_near(between_metrics(0.5, isotropic(1e60), isotropic(3e60)), isotropic(2e60));
}

TEST(BetweenMetrics, CopiesAtItsEndsWhateverIsThere) {
    for (const metric& bad : bad_metrics) {
        const auto first = between_metrics(9e-13, isotropic(2), bad);
        expect_same(first, isotropic(2));
        const auto second = between_metrics(1 - 9e-13, bad, isotropic(3));
        expect_same(second, isotropic(3));
    }
    EXPECT_TRUE(between_metrics(0, bad_metrics[0], isotropic(1)).has_value());
    EXPECT_FALSE(between_metrics(1.1e-12, bad_metrics[0], isotropic(1)).has_value());
    EXPECT_FALSE(between_metrics(1 - 1.1e-12, bad_metrics[0], isotropic(1)).has_value());
}

TEST(BetweenMetrics, FailsWhereTheFirstIsNotPositiveDefinite) {
    for (const metric& bad : bad_metrics)
        EXPECT_FALSE(between_metrics(0.5, bad, isotropic(1)).has_value());
    EXPECT_FALSE(between_metrics(0.5, isotropic(1), bad_metrics[3]).has_value());
    EXPECT_FALSE(between_metrics(0.5, isotropic(1), bad_metrics[4]).has_value());
}

TEST(BetweenMetrics, TakesADirectionWithoutLimitAsEndless) {
    // The second metric asks for nothing along z: the largest length there, and half of it between, whose value is 0.
    const metric flat{{1, 0, 1, 0, 0, 0}};
    const auto found = between_metrics(0.5, isotropic(1), flat);
    ASSERT_TRUE(found.has_value());
    EXPECT_DOUBLE_EQ((*found)[0], 1);
    EXPECT_DOUBLE_EQ((*found)[2], 1);
    EXPECT_EQ((*found)[5], 0);
    // A hair below 0 is taken for it.
    const metric hair{{1, 0, 1, 0, 0, -1e-13}};
    const auto near = between_metrics(0.5, isotropic(1), hair);
    ASSERT_TRUE(near.has_value());
    EXPECT_EQ((*near)[5], 0);
    // Clearly below 0 there is no length, and the value becomes the largest.
    const metric negative{{1, 0, 1, 0, 0, -1}};
    const auto wrong = between_metrics(0.5, isotropic(1), negative);
    ASSERT_TRUE(wrong.has_value());
    EXPECT_EQ((*wrong)[5], largest);
}

TEST(CombineMetrics, BlendsTheSizesOfIsotropicMetrics) {
    const double h[] = {1, 2, 4, 8};
    const metric m[] = {isotropic(1), isotropic(2), isotropic(4), isotropic(8)};
    metric_dice random;
    for (int k = 0; k < 300; ++k) {
        double w[4], sum = 0;
        for (double& x : w) {
            x = std::fabs(random.entry()) + 0.01;
            sum += x;
        }
        double size = 0;
        for (unsigned i = 0; i < 4; ++i)
            size += (w[i] /= sum) * h[i];
        expect_near(combine_metrics(m, {w[0], w[1], w[2]}), isotropic(size), 1e-11);
    }
}

TEST(CombineMetrics, TakesOnlyTheNodesWithAWeight) {
    // Each set of nodes that may take part, with bad metrics at all others.
    metric_dice random;
    for (unsigned set = 1; set < 16; ++set) {
        double w[4] = {}, sum = 0;
        for (unsigned i = 0; i < 4; ++i)
            if (set >> i & 1)
                sum += w[i] = 0.2 + std::fabs(random.entry());
        double size = 0;
        metric m[4];
        for (unsigned i = 0; i < 4; ++i) {
            w[i] /= sum;
            size += (i + 1) * w[i];
            m[i] = (set >> i & 1) != 0 ? isotropic(i + 1) : bad_metrics[0];
        }
        expect_near(combine_metrics(m, {w[0], w[1], w[2]}), isotropic(size), 1e-11);
        for (unsigned i = 0; i < 4; ++i)
            if ((set >> i & 1) != 0 && set != 1u << i) {
                metric broken[4];
                std::copy_n(m, 4, broken);
                broken[i] = bad_metrics[3];
                EXPECT_FALSE(combine_metrics(broken, {w[0], w[1], w[2]}).has_value()) << set << " " << i;
            }
    }
}

TEST(CombineMetrics, CopiesTheMetricOfAVertex) {
    for (unsigned vertex = 0; vertex < 4; ++vertex) {
        metric m[4] = {bad_metrics[0], bad_metrics[3], bad_metrics[4], bad_metrics[1]};
        m[vertex] = isotropic(3);
        const barycentric w{vertex == 0 ? 1.0 : 0.0, vertex == 1 ? 1.0 : 0.0, vertex == 2 ? 1.0 : 0.0};
        expect_same(combine_metrics(m, w), isotropic(3));
    }
}

TEST(CombineMetrics, MergesInTheWrittenOrder) {
    // Told row by row, from the interpolation of two.
    metric_dice random;
    const auto two = [](double t, const metric& a, const metric& b) { return *between_metrics(t, a, b); };
    metric m[4];
    for (metric& one : m)
        one = metric_of(random.frame(), random.lengths());
    expect_same(combine_metrics(m, {0, 0, 0.3}), two(0.3, m[3], m[2]));
    expect_same(combine_metrics(m, {0, 0.3, 0}), two(0.3, m[3], m[1]));
    expect_same(combine_metrics(m, {0, 0.75, 0.25}), two(0.25, m[1], m[2]));
    expect_same(combine_metrics(m, {0, 0.25, 0.25}), two(0.5, m[3], two(0.5, m[1], m[2])));
    expect_same(combine_metrics(m, {0, 1e-9, -1e-9}), m[3]);
    expect_same(combine_metrics(m, {0.3, 0, 0}), two(0.3, m[3], m[0]));
    expect_same(combine_metrics(m, {0.25, 0, 0.75}), two(0.25, m[2], m[0]));
    expect_same(combine_metrics(m, {0.125, 0, 0.375}), two(0.5, m[3], two(0.25, m[2], m[0])));
    expect_same(combine_metrics(m, {1e-9, 0, -1e-9}), m[3]);
    expect_same(combine_metrics(m, {0.75, 0.25, 0}), two(0.25, m[0], m[1]));
    expect_same(combine_metrics(m, {0.375, 0.125, 0}), two(0.5, m[3], two(0.25, m[0], m[1])));
    expect_same(combine_metrics(m, {1e-9, -1e-9, 0}), m[3]);
    expect_same(combine_metrics(m, {0.375, 0.125, 0.5}), two(0.5, m[2], two(0.25, m[0], m[1])));
    expect_same(combine_metrics(m, {1e-9, 1e-9, -2e-9}), m[3]);
    expect_same(combine_metrics(m, {0.1875, 0.0625, 0.25}), two(0.5, m[3], two(0.5, m[2], two(0.25, m[0], m[1]))));
}

TEST(CombineMetrics, ClampsTheShareOfTwoWeightsOfOppositeSigns) {
    metric_dice random;
    metric m[4];
    for (metric& one : m)
        one = metric_of(random.frame(), random.lengths());
    // The share of node 2 beside node 1 would be above 1: of the two, only node 2 counts.
    expect_same(combine_metrics(m, {0, -0.125, 0.625}), *between_metrics(0.5, m[3], m[2]));
    expect_same(combine_metrics(m, {0, 0.625, -0.125}), *between_metrics(0.5, m[3], m[1]));
}

TEST(CombineMetrics, ManyPointsAreCombinedAsIfOneByOne) {
    // Neighbours in a vector take other steps, meet other shortcuts and other guards, or fail.
    const barycentric weights[] = {{0.1, 0.2, 0.3}, {0, 0.4, 0.2},   {0.5, 0, 0.5},   {1, 0, 0},
                                   {0, 0, 0},       {0.25, 0.75, 0}, {0.2, 0.3, 0.1}, {1e-9, -1e-9, 0}};
    metric_dice random;
    solved_eigenproblems known;
    for (unsigned round = 0; round < 2000; ++round) {
        metric m[metrics_at_once][4], expected[metrics_at_once], found[metrics_at_once];
        metrics_around points[metrics_at_once];
        double* results[metrics_at_once];
        const unsigned count = round % (metrics_at_once + 1);
        unsigned combined = 0;
        for (unsigned k = 0; k < count; ++k) {
            const auto pick = [&](std::size_t n) { return random.engine() % n; };
            points[k].w = weights[pick(std::size(weights))];
            for (unsigned i = 0; i < 4; ++i) {
                m[k][i] = metric_of(random.frame(), random.lengths());
                const double scale = pick(8) == 0 ? std::pow(10, 300 * random.entry()) : 1;
                for (double& x : m[k][i].values)
                    x *= scale;
                if (pick(20) == 0)
                    m[k][i] = bad_metrics[pick(std::size(bad_metrics))];
                points[k].at_nodes[i] = m[k][i].values;
            }
            found[k] = expected[k] = isotropic(7);
            results[k] = found[k].values;
            if (const auto one = combine_metrics(m[k], points[k].w)) {
                expected[k] = *one;
                combined |= 1u << k;
            }
        }
        // At first nothing has been solved, and the last time everything.
        for (solved_eigenproblems* const solved : {static_cast<solved_eigenproblems*>(nullptr), &known, &known}) {
            std::fill_n(found, count, isotropic(7));
            ASSERT_EQ(combine_metrics(points, count, results, solved), combined);
            for (unsigned k = 0; k < count; ++k)
                for (unsigned i = 0; i < 6; ++i)
                    ASSERT_TRUE(found[k][i] == expected[k][i] ||
                                (std::isnan(found[k][i]) && std::isnan(expected[k][i])));
        }
    }
}

TEST(SolvedEigenproblems, AreFoundByTheirBits) {
    solved_eigenproblems known;
    EXPECT_EQ(known.find(metric{}), nullptr);
    known.add(metric{}, {{7}});
    ASSERT_NE(known.find(metric{}), nullptr);
    EXPECT_EQ(known.find(metric{})->entries[0], 7);
    EXPECT_EQ(known.find({{-0.0, 0, 0, 0, 0, 0}}), nullptr);
    EXPECT_EQ(known.find({{0, 0, 0, 0, 0, 1}}), nullptr);
}

TEST(SolvedEigenproblems, OneThatIsDisplacedIsNotTakenForAnother) {
    solved_eigenproblems known;
    unsigned kept = 0;
    for (unsigned k = 0; k < 1000; ++k)
        known.add(isotropic(1 + k), {{double(k)}});
    for (unsigned k = 0; k < 1000; ++k)
        if (const eigenpairs* const found = known.find(isotropic(1 + k))) {
            EXPECT_EQ(found->entries[0], k);
            ++kept;
        }
    EXPECT_GT(kept, 100u);
    EXPECT_LT(kept, 1000u);
}

TEST(CombineSizes, FollowsTheTableOfBasesAndWeights) {
    const double h[] = {2, 3, 5, 11};
    const auto size = [&](double w0, double w1, double w2) { return combine_sizes(h, {w0, w1, w2}).value_or(-1); };
    const double a = 0.1, b = 0.3, c = 0.2;
    EXPECT_EQ(size(a, b, c), (3.0 - 11) * b + (5.0 - 11) * c + (2.0 - 11) * a + 11);
    EXPECT_EQ(size(0.25, 0.25, 0.5), (2.0 - 5) * 0.25 + (3.0 - 5) * 0.25 + 5);
    EXPECT_EQ(size(a, b, 0), (2.0 - 11) * a + (3.0 - 11) * b + 11);
    EXPECT_EQ(size(a, 0, c), (2.0 - 11) * a + (5.0 - 11) * c + 11);
    EXPECT_EQ(size(0, b, c), (3.0 - 11) * b + (5.0 - 11) * c + 11);
    EXPECT_EQ(size(0.7, 0.3, 0), (3.0 - 2) * 0.3 + 2);
    EXPECT_EQ(size(0.7, 0, 0.3), (2.0 - 5) * 0.7 + 5);
    EXPECT_EQ(size(0, 0.7, 0.3), (5.0 - 3) * 0.3 + 3);
    EXPECT_EQ(size(a, 0, 0), (2.0 - 11) * a + 11);
    EXPECT_EQ(size(0, b, 0), (3.0 - 11) * b + 11);
    EXPECT_EQ(size(0, 0, c), (5.0 - 11) * c + 11);
    EXPECT_EQ(size(1, 0, 0), 2);
    EXPECT_EQ(size(0, 1, 0), 3);
    EXPECT_EQ(size(0, 0, 1), 5);
    EXPECT_EQ(size(0, 0, 0), 11);
}

TEST(CombineSizes, TakesTheWeightThatTheBaseDoesNotNeed) {
    // In a pair only one weight counts, which tells the table's choice from others.
    const double h[] = {2, 3, 5, 11};
    EXPECT_EQ(combine_sizes(h, {0.7, 0.3 + 5e-13, 0}), (3.0 - 2) * (0.3 + 5e-13) + 2);
    EXPECT_EQ(combine_sizes(h, {0.7, 0, 0.3 + 5e-13}), (2.0 - 5) * 0.7 + 5);
    EXPECT_EQ(combine_sizes(h, {0, 0.7, 0.3 + 5e-13}), (5.0 - 3) * (0.3 + 5e-13) + 3);
}

TEST(CombineSizes, TakesTheSmallerSetNearTheLimits) {
    const double bad[] = {2, 3, -5, -11};
    // Node 2 has 1.2e-12, enough to take part, but 0 and 1 make up 1 within 1.4e-12.
    EXPECT_EQ(combine_sizes(bad, {0.5, 0.5 - 1.2e-12, 1.2e-12}), (3.0 - 2) * (0.5 - 1.2e-12) + 2);
    EXPECT_FALSE(combine_sizes(bad, {0.5, 0.5 - 1.6e-12, 1.6e-12}).has_value());
    // Node 0 has enough, but node 1 makes up 1 within 1e-12.
    const double only_1[] = {-2, 3, -5, -11};
    EXPECT_EQ(combine_sizes(only_1, {1.1e-12, 1 - 0.9e-12, 0}), 3);
    EXPECT_FALSE(combine_sizes(only_1, {1.1e-12, 1 - 1.1e-12, 0}).has_value());
}

TEST(CombineSizes, IgnoresBadSizesOfNodesThatTakeNoPart) {
    for (const double bad : {0.0, -1.0, not_a_number}) {
        const double h[] = {bad, 3, bad, 11};
        EXPECT_EQ(combine_sizes(h, {9e-13, 0.5, -9e-13}), (3.0 - 11) * 0.5 + 11);
        EXPECT_FALSE(combine_sizes(h, {1.1e-12, 0.5, 0}).has_value());
        EXPECT_FALSE(combine_sizes(h, {0, 0.5, 1.1e-12}).has_value());
    }
}

TEST(CombineSizes, FailsWhenTheResultIsNoSize) {
    const double h[] = {1, 1, 1, 100};
    EXPECT_FALSE(combine_sizes(h, {-0.5, -0.5, 2.0 + 1e-6}).has_value() &&
                 *combine_sizes(h, {-0.5, -0.5, 2.0 + 1e-6}) <= 0);
    EXPECT_FALSE(combine_sizes(h, {1.1, 0, 0}).has_value()); // 100 - 108.9
    const double huge[] = {infinity, 1, 1, 1};
    EXPECT_FALSE(combine_sizes(huge, {0.5, 0, 0}).has_value());
}

TEST(ValidMetrics, HaveOnlyPositiveEigenvalues) {
    EXPECT_TRUE(is_valid_metric(isotropic(1e-100)));
    EXPECT_TRUE(is_valid_metric({{2, 1, 2, 1, 1, 2}}));
    EXPECT_FALSE(is_valid_metric({{1, 0, 1, 0, 0, 0}}));
    for (const metric& bad : bad_metrics)
        EXPECT_FALSE(is_valid_metric(bad));
    EXPECT_TRUE(is_valid_size(5e-324) && is_valid_size(1e308));
    EXPECT_FALSE(is_valid_size(0) || is_valid_size(-1) || is_valid_size(not_a_number) || is_valid_size(largest) ||
                 is_valid_size(infinity));
}
