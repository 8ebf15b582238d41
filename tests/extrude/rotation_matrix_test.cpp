#include "extrude/rotation_matrix.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

using namespace quorl::meldra3d::detail;
using vec3 = quorl::vector_fixed<double, 3>;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
const double nan_value = std::nan("");

using extended = std::array<std::array<long double, 3>, 3>;

/// The same formula in extended precision, by the unit vector and the whole angle.
extended closed_form(const vec3& w) {
    const long double x = w[0], y = w[1], z = w[2];
    const long double t = std::sqrt(x * x + y * y + z * z); // squares of doubles neither overflow nor vanish here
    if (t == 0)
        return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    const long double n[3] = {x / t, y / t, z / t};
    const long double s = std::sin(t), v = 2 * std::sin(t / 2) * std::sin(t / 2);
    return {{{1 - v * (n[1] * n[1] + n[2] * n[2]), v * n[0] * n[1] - s * n[2], v * n[0] * n[2] + s * n[1]},
             {v * n[0] * n[1] + s * n[2], 1 - v * (n[0] * n[0] + n[2] * n[2]), v * n[1] * n[2] - s * n[0]},
             {v * n[0] * n[2] - s * n[1], v * n[1] * n[2] + s * n[0], 1 - v * (n[0] * n[0] + n[1] * n[1])}}};
}

double largest_error(const vec3& w) {
    const matrix3 r = rotation_matrix(w);
    const extended expected = closed_form(w);
    long double largest = 0;
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            largest = std::max(largest, std::fabs(r.m[i][j] - expected[i][j]));
    return double(largest);
}

std::vector<vec3> directions() {
    std::vector<vec3> all{{1, 0, 0},  {0, 1, 0}, {0, 0, 1},     {-1, 0, 0},
                          {0, 0, -1}, {1, 1, 1}, {1, -1e-9, 0}, {3, 1e-200, -4}};
    std::mt19937 random(5);
    std::uniform_real_distribution<double> part(-1, 1);
    for (int k = 0; k < 40; ++k)
        all.push_back({part(random), part(random), part(random)});
    for (vec3& d : all) {
        const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        d = {d[0] / length, d[1] / length, d[2] / length};
    }
    return all;
}

vec3 scaled(const vec3& d, double angle) {
    return {d[0] * angle, d[1] * angle, d[2] * angle};
}

/// How far the rows are from three orthogonal unit vectors.
double distance_from_orthogonal(const matrix3& r) {
    double largest = 0;
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j) {
            double product = 0;
            for (unsigned k = 0; k < 3; ++k)
                product += r.m[i][k] * r.m[j][k];
            largest = std::max(largest, std::fabs(product - (i == j ? 1 : 0)));
        }
    return largest;
}

} // namespace

TEST(RotationMatrix, IsTheIdentityWithoutRotation) {
    for (const double zero : {0.0, -0.0}) {
        const matrix3 r = rotation_matrix({zero, 0, zero});
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned j = 0; j < 3; ++j)
                EXPECT_EQ(r.m[i][j], i == j ? 1 : 0);
    }
}

TEST(RotationMatrix, TurnsByTheRightHandRule) {
    const matrix3 r = rotation_matrix({0, 0, std::numbers::pi / 2});
    EXPECT_NEAR(r.m[0][0], 0, 3e-16); // x goes to y
    EXPECT_NEAR(r.m[1][0], 1, 3e-16);
    EXPECT_NEAR(r.m[0][1], -1, 3e-16);
    EXPECT_EQ(r.m[2][2], 1);
}

TEST(RotationMatrix, IsRightToTheLastBitsAtAnyAngle) {
    for (const double angle : {1e-300, 1e-200,           1e-160, 1e-20, 1e-9, 1e-8,   1e-5, 1e-3,
                               0.03,   0.0999,           0.1001, 0.3,   1.0,  1.5707, 3.0,  3.14159265,
                               3.2,    6.28318530717958, 7.0,    50.0,  200.0})
        for (const vec3& d : directions())
            EXPECT_LE(largest_error(scaled(d, angle)), 8 * 0x1p-53) << angle;
}

TEST(RotationMatrix, IsRightToTheLastBitsAfterManyTurns) {
    // Vectors of whole length, whose angle the extended precision has exactly.
    const vec3 whole[] = {{3, 4, 12}, {2, -3, 6}, {-1, 4, 8}, {4, 4, 7}, {0, 0, 1}, {12, -15, 16}};
    for (const double factor : {10.0, 99.0, 1000.0, 123456.0, 1e6 + 0.125, 1e9 + 1, 1e12 + 7})
        for (const vec3& d : whole)
            EXPECT_LE(largest_error(scaled(d, factor)), 8 * 0x1p-53) << factor;
}

TEST(RotationMatrix, KeepsTheRelativeAccuracyOfTinyRotations) {
    for (const double angle : {1e-300, 1e-155, 1e-100, 1e-12, 1e-6, 1e-2})
        for (const vec3& d : directions()) {
            const vec3 w = scaled(d, angle);
            const matrix3 r = rotation_matrix(w);
            const extended expected = closed_form(w);
            for (const auto& [i, j] : {std::pair{0u, 1u}, {0u, 2u}, {1u, 2u}, {1u, 0u}, {2u, 0u}, {2u, 1u}})
                EXPECT_NEAR(r.m[i][j], double(expected[i][j]), 4 * 0x1p-53 * angle) << angle;
        }
}

TEST(RotationMatrix, BothWaysOfEvaluationMeet) {
    for (const vec3& d : directions()) {
        const vec3 below = scaled(d, 0.1 - 1e-15), above = scaled(d, 0.1 + 1e-15);
        const matrix3 series = rotation_matrix(below), closed = rotation_matrix(above);
        const extended expected[] = {closed_form(below), closed_form(above)};
        for (unsigned i = 0; i < 3; ++i)
            for (unsigned j = 0; j < 3; ++j)
                EXPECT_NEAR(closed.m[i][j] - series.m[i][j], double(expected[1][i][j] - expected[0][i][j]), 1e-15);
    }
    const matrix3 last = rotation_matrix({0, 0, 0.1}), first = rotation_matrix({0, 0, std::nextafter(0.1, 1)});
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            EXPECT_NEAR(last.m[i][j], first.m[i][j], 2.5e-16);
}

TEST(RotationMatrix, StaysARotationForVectorsOfAnyFiniteLength) {
    for (const double angle : {5e-324, 1e-310, 1e12, 1e15, 1e17, 1e20, 1e100, 1e154, 1e200, 1e300, 1.7e308})
        for (const vec3& d : directions())
            EXPECT_LE(distance_from_orthogonal(rotation_matrix(scaled(d, angle))), 2e-15) << angle;
    const double huge = std::numeric_limits<double>::max();
    EXPECT_LE(distance_from_orthogonal(rotation_matrix({huge, -huge, huge})), 2e-15);
}

TEST(RotationMatrix, ATinyPartBesideALargeOneIsKept) {
    // Half a turn about an axis that is off by 1e-170: the squares of that part vanish, its products do not.
    const matrix3 r = rotation_matrix({std::numbers::pi * 1e-170, 0, std::numbers::pi});
    EXPECT_NEAR(r.m[0][2] / 2e-170, 1, 1e-14);
    const matrix3 small = rotation_matrix({1e-170, 0, 0.05});
    EXPECT_NEAR(small.m[0][2] / (0.5 * 1e-170 * 0.05), 1, 1e-3);
    EXPECT_NEAR(small.m[2][1] / 1e-170, 1, 1e-3);
}

TEST(RotationMatrix, IsNoNumberForAVectorThatIsNone) {
    for (const double bad : {nan_value, infinity, -infinity})
        for (unsigned i = 0; i < 3; ++i) {
            vec3 w{1, 2, 3};
            w[i] = bad;
            const matrix3 r = rotation_matrix(w);
            EXPECT_TRUE(std::isnan(r.m[0][0] + r.m[1][1] + r.m[2][2]));
        }
}
