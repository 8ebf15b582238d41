#include "extrude/spacing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace quorl::meldra3d::detail;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

/// Layers per unit length as the quotient of logarithms, in extended precision.
double closed_density(long double a, long double b) {
    return a == b ? double(1 / a) : double(std::log(b / a) / (b - a));
}

/// Part of the path behind t of a geometric progression from a to b, in extended precision.
double closed_fraction(long double t, long double a, long double b) {
    return a == b ? double(t) : double(std::expm1(t * std::log(b / a)) / std::expm1(std::log(b / a)));
}

} // namespace

TEST(ProgressionDensity, IsTheQuotientOfLogarithms) {
    for (const double ratio : {1.02, 1.5, 2.0, 4.0, 10.0, 1e3, 1e6, 1e12}) {
        const double expected = closed_density(0.3, 0.3 * ratio);
        // The quotient of the sizes is known to one rounding of (m - M) / M only.
        EXPECT_NEAR(progression_density(0.3, 0.3 * ratio), expected, (4e-15 + 3e-16 * ratio) * expected) << ratio;
        EXPECT_EQ(progression_density(0.3, 0.3 * ratio), progression_density(0.3 * ratio, 0.3)) << ratio;
    }
    EXPECT_NEAR(progression_density(0.1, 0.4), std::log(4.0) / 0.3, 1e-14);
}

TEST(ProgressionDensity, StaysAccurateBetweenNearlyEqualSizes) {
    for (const double difference : {1e-13, 1e-12, 2e-12, 1e-9, 1e-6, 1e-3, 0.0099, 0.0101, 0.02}) {
        const double expected = closed_density(1, 1 - (long double)difference);
        EXPECT_NEAR(progression_density(1, 1 - difference), expected, 6e-13) << difference;
    }
    EXPECT_EQ(progression_density(0.25, 0.25), 4);
}

TEST(ProgressionDensity, SwitchesWhereTheSizesDifferByOnePercent) {
    // x = -0.01 itself takes the series, whose sum is written out here, and not the logarithm.
    const double x = (0.99 - 1.0) / 1.0;
    const double next = std::nextafter(0.99, 0.0);
    const double beyond = (next - 1.0) / 1.0;
    const auto series = [](double y) { return ((0.2 - y / 6) * (y * y) + (1.0 / 3 - y / 4)) * (y * y) + (1 - y / 2); };
    if (x < -0.01)
        EXPECT_EQ(progression_density(0.99, 1), std::log1p(x) / x);
    else
        EXPECT_EQ(progression_density(0.99, 1), series(x));
    EXPECT_LT(beyond, -0.01);
    EXPECT_EQ(progression_density(next, 1), std::log1p(beyond) / beyond);
    EXPECT_EQ(progression_density(0.995, 1), series((0.995 - 1.0) / 1.0));
}

TEST(ProgressionDensity, IsZeroWhenASizeIs) {
    EXPECT_EQ(progression_density(0, 1), 0);
    EXPECT_EQ(progression_density(1, 0), 0);
    EXPECT_EQ(progression_density(0, 0), 0);
}

TEST(ProgressionDensity, EndsAtExtremeRatios) {
    // Here (m - M) / M rounds to -1, and log1p(-1) is minus infinity.
    EXPECT_EQ(progression_density(1e-30, 1), infinity);
    EXPECT_TRUE(std::isfinite(progression_density(1e-15, 1)));
}

TEST(RoundLayerCount, RoundsAtTheGeometricMean) {
    EXPECT_EQ(round_layer_count(1.4, 1), 1u);
    EXPECT_EQ(round_layer_count(1.45, 1), 2u);
    EXPECT_EQ(round_layer_count(std::log(4.0) / 0.3, 1), 5u);
    EXPECT_EQ(round_layer_count(2.7, 2), 2u);
    EXPECT_EQ(round_layer_count(2.9, 2), 4u);
    EXPECT_EQ(round_layer_count(0.3, 2), 2u);
    EXPECT_EQ(round_layer_count(3, 2), 4u);
}

TEST(RoundLayerCount, IsNeverBelowOneStep) {
    for (const double count : {0.0, 1e-300, 0.1, 0.99}) {
        EXPECT_EQ(round_layer_count(count, 1), 1u) << count;
        EXPECT_EQ(round_layer_count(count, 2), 2u) << count;
    }
}

TEST(RoundLayerCount, KeepsAWholeCountThatWentThroughItsReciprocal) {
    std::mt19937 random(7);
    for (int k = 0; k < 100000; ++k) {
        const std::uint32_t n =
            k < 50000 ? unsigned(k) + 1 : std::uniform_int_distribution<unsigned>(1, 2000000000)(random);
        const double length = std::exp(std::uniform_real_distribution<double>(-20, 20)(random));
        const double size = length * (1.0 / n);
        ASSERT_EQ(round_layer_count(length * progression_density(size, size), 1), n) << length;
    }
}

TEST(RoundLayerCount, RefusesWhatIsNoCount) {
    EXPECT_EQ(round_layer_count(nan_value, 1), std::nullopt);
    EXPECT_EQ(round_layer_count(infinity, 2), std::nullopt);
    EXPECT_EQ(round_layer_count(1e300, 1), std::nullopt);
    EXPECT_EQ(round_layer_count(4294967296.0, 1), std::nullopt);
    EXPECT_EQ(round_layer_count(-1, 1), std::nullopt);
    EXPECT_EQ(round_layer_count(4294967294.0, 1), 4294967294u);
    EXPECT_EQ(round_layer_count(4294967294.0, 2), 4294967294u);
    EXPECT_EQ(round_layer_count(std::nextafter(4294967295.0, 0), 2), 4294967294u);
}

TEST(LayerFraction, IsTheGeometricProgression) {
    for (const double ratio : {1e-6, 1e-3, 0.1, 0.5, 0.98, 1.02, 2.0, 7.5, 1e3, 1e6})
        for (int k = 0; k <= 20; ++k)
            EXPECT_NEAR(layer_fraction(k / 20.0, 1, ratio), closed_fraction(k / 20.0L, 1, ratio),
                        1e-14 + 2e-16 * std::max(ratio, 1 / ratio))
                << ratio << ", " << k;
}

TEST(LayerFraction, UsesTheShortSeriesBetweenNearlyEqualSizes) {
    // The series stops at the third power, so it is not the progression: at x = -0.009 they differ by 3e-10.
    const double a = 1, b = 0.991;
    const double x = (b - a) / a;
    for (const double t : {0.1, 0.25, 0.5, 0.9}) {
        const double series = t * (1 + (t - 1) * x / 2 + (t - 1) * (t - 2) * (x * x) / 6 +
                                   (t - 1) * (t - 2) * (t - 3) * (x * x * x) / 24);
        EXPECT_EQ(layer_fraction(t, a, b), series) << t;
        EXPECT_EQ(layer_fraction(t, b, a), 1 - layer_fraction(1 - t, a, b)) << t;
        EXPECT_NEAR(layer_fraction(t, a, b), closed_fraction(t, a, b), 1e-9) << t;
        EXPECT_NE(layer_fraction(t, a, b), t);
    }
    EXPECT_GT(std::fabs(layer_fraction(0.5, 1, 0.9901) - closed_fraction(0.5L, 1, 0.9901L)), 1e-11);
}

TEST(LayerFraction, TakesSizesWithinTheLastDigitsAsEqual) {
    EXPECT_EQ(layer_fraction(0.3, 1, 1 - 1e-12), 0.3);
    EXPECT_EQ(layer_fraction(0.3, 1, 1 - 5e-13), 0.3);
    EXPECT_NE(layer_fraction(0.3, 1, 1 - 3e-12), 0.3);
}

TEST(LayerFraction, KeepsTheEndsAndEqualSizes) {
    for (const double b : {1e-9, 0.5, 1.0, 3.0, 1e9}) {
        EXPECT_EQ(layer_fraction(0, 1, b), 0);
        EXPECT_EQ(layer_fraction(1, 1, b), 1);
    }
    EXPECT_EQ(layer_fraction(0.37, 2, 2), 0.37);
}

TEST(LayerFraction, MirrorsWhenTheSizesAreSwapped) {
    for (const double ratio : {0.1, 0.5, 0.995, 1.005, 3.0, 1e4})
        for (const double t : {0.125, 0.25, 0.5, 0.75})
            EXPECT_NEAR(layer_fraction(t, 1, ratio), 1 - layer_fraction(1 - t, ratio, 1), 2e-16) << ratio;
}

TEST(LayerFraction, GrowsFromLevelToLevelByAConstantFactor) {
    const int n = 12;
    const double a = 0.2, b = 0.05;
    const auto thickness = [&](int k) {
        return layer_fraction((k + 1.0) / n, a, b) - layer_fraction(double(k) / n, a, b);
    };
    for (int k = 0; k + 1 < n; ++k)
        EXPECT_NEAR(thickness(k + 1) / thickness(k), std::pow(b / a, 1.0 / n), 1e-13);
}

TEST(LayerFraction, StaysBetweenZeroAndOneWhateverTheSizes) {
    for (const double a : {1e-320, 1e-30, 1.0, 1e30, infinity})
        for (const double b : {1e-320, 1e-30, 1.0, 1e30, infinity})
            for (const double t : {1e-9, 0.25, 0.5, 0.999}) {
                const double s = layer_fraction(t, a, b);
                EXPECT_TRUE(s >= 0 && s <= 1) << a << ' ' << b << ' ' << t << ' ' << s;
            }
    // x rounds to -1: the whole thickness lies in the first layer, or in the last.
    EXPECT_EQ(layer_fraction(0.5, 1, 1e-30), 1);
    EXPECT_EQ(layer_fraction(0.5, 1e-30, 1), 0);
}

TEST(LayerFraction, GivesZeroForWhatIsNotANumber) {
    EXPECT_EQ(layer_fraction(nan_value, 1, 2), 0);
    EXPECT_EQ(layer_fraction(nan_value, 2, 1), 0);
}

TEST(VectorLength, IsRobustAgainstOverflowAndUnderflow) {
    EXPECT_EQ(vector_length(3, 4, 0), 5);
    EXPECT_EQ(vector_length(0, 0, 0), 0);
    EXPECT_DOUBLE_EQ(vector_length(3e200, 0, 4e200), 5e200);
    EXPECT_DOUBLE_EQ(vector_length(3e-200, 4e-200, 0), 5e-200);
    EXPECT_EQ(vector_length(infinity, 1, 0), infinity);
    EXPECT_EQ(vector_length(0, -infinity, 0), infinity);
    EXPECT_DOUBLE_EQ(vector_length(0, -5e-324, 0), 5e-324);
    EXPECT_TRUE(std::isnan(vector_length(nan_value, 1, 0)));
    EXPECT_TRUE(std::isnan(vector_length(0, nan_value, 0)));
    EXPECT_TRUE(std::isnan(vector_length(0, 0, nan_value)));
}
