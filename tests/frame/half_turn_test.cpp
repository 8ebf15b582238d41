#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "frame/half_turn.h"

using quorl::meldra3d::detail::half_turn_angle;

namespace {

constexpr double pi = std::numbers::pi;
constexpr double infinity = std::numeric_limits<double>::infinity();

/// The distance from the angle in extended precision, in units of the last place of that.
double error(double s, double c) {
    const long double exact = std::atan2(static_cast<long double>(s), static_cast<long double>(c));
    const double nearest = double(exact);
    return double(std::abs(half_turn_angle(s, c) - exact)) / (std::nextafter(nearest, 9) - nearest);
}

} // namespace

TEST(HalfTurnAngle, KnownAngles) {
    EXPECT_EQ(half_turn_angle(0.0, 1.0), 0);
    EXPECT_EQ(half_turn_angle(0.0, -1.0), pi);
    EXPECT_EQ(half_turn_angle(1.0, 0.0), pi / 2);
    EXPECT_EQ(half_turn_angle(1.0, 1.0), pi / 4);
    EXPECT_EQ(half_turn_angle(1.0, -1.0), pi - pi / 4);
    EXPECT_DOUBLE_EQ(half_turn_angle(std::sqrt(3.0), 1.0), pi / 3);
    EXPECT_DOUBLE_EQ(half_turn_angle(1.0, -std::sqrt(3.0)), pi - pi / 6);
    EXPECT_TRUE(std::isnan(half_turn_angle(0.0, 0.0)));
    EXPECT_TRUE(std::isnan(half_turn_angle(std::nan(""), 1.0)));
    EXPECT_TRUE(std::isnan(half_turn_angle(1.0, std::nan(""))));
    EXPECT_TRUE(std::isnan(half_turn_angle(infinity, infinity)));
}

TEST(HalfTurnAngle, IsWithinFourUnitsInTheLastPlace) {
    std::mt19937 engine(1);
    const auto number = [&] { return double(engine()) / 4294967296.0; };
    double worst = 0;
    for (int k = 0; k < 300000; ++k) {
        const double direction = pi * number();
        worst = std::max(worst, error(std::sin(direction), std::cos(direction)));
        const double magnitude = std::exp2(-1000 * number()); // near 0, a right angle and pi
        const double sign = k % 2 == 0 ? 1 : -1;
        worst = std::max({worst, error(magnitude, sign), error(1, sign * magnitude)});
    }
    EXPECT_LT(worst, 4);
    EXPECT_GT(worst, 0);
}

TEST(HalfTurnAngle, GrowsWhereThePiecesMeet) {
    for (const double ratio : {0.2360, 0.8344, 1.0, 1 / 0.8344, 1 / 0.2360})
        for (const double side : {1.0, -1.0}) {
            const double below = half_turn_angle(ratio * (1 - 1e-14), side);
            const double at = half_turn_angle(ratio, side);
            const double above = half_turn_angle(ratio * (1 + 1e-14), side);
            EXPECT_LT(side * below, side * at) << ratio;
            EXPECT_LT(side * at, side * above) << ratio;
            EXPECT_NEAR(below, above, 3e-14) << ratio;
        }
}

TEST(HalfTurnAngle, VectorsHaveTheBitsOfTheirParts) {
    using two_doubles = double __attribute__((vector_size(2 * sizeof(double))));
    std::mt19937 engine(2);
    for (int k = 0; k < 1000; ++k) {
        const two_doubles s{double(engine()), double(engine())};
        const two_doubles c{double(engine()) - 2e9, double(engine()) - 2e9};
        const two_doubles angles = half_turn_angle<two_doubles>(s, c);
        for (int lane = 0; lane < 2; ++lane)
            EXPECT_EQ(angles[lane], half_turn_angle(double(s[lane]), double(c[lane])));
    }
}
