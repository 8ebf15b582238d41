#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "frame/small_solves.h"
#include "meldra/dice.h"

using quorl::meldra3d::detail::solve2x2_refined;
using quorl::meldra3d::detail::solve3x3_refined;
using test::dice;

namespace {

constexpr double epsilon = std::numeric_limits<double>::epsilon();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct system3 {
    double m[9]; // by columns
    double r[3];
};

struct solution3 {
    double det;
    double x[3];
};

solution3 solve(const system3& s, unsigned iterations) {
    solution3 found{0, {s.r[0], s.r[1], s.r[2]}};
    found.det = solve3x3_refined(s.m, found.x, iterations);
    return found;
}

long double determinant(const long double (&m)[9]) {
    return m[0] * (m[4] * m[8] - m[7] * m[5]) - m[3] * (m[1] * m[8] - m[7] * m[2]) + m[6] * (m[1] * m[5] - m[4] * m[2]);
}

/// By Cramer's rule in extended precision: columns are replaced by the right-hand side, one after another.
solution3 cramer(const system3& s) {
    long double m[9];
    std::copy_n(s.m, 9, m);
    const long double det = determinant(m);
    solution3 found{double(det), {}};
    for (unsigned k = 0; k < 3; ++k) {
        long double replaced[9];
        std::copy_n(m, 9, replaced);
        std::copy_n(s.r, 3, replaced + 3 * k);
        found.x[k] = double(determinant(replaced) / det);
    }
    return found;
}

double largest(const double* values, unsigned n) {
    double bound = 0;
    for (unsigned k = 0; k < n; ++k)
        bound = std::max(bound, std::fabs(values[k]));
    return bound;
}

/// Largest component of r - M x, reckoned in extended precision.
double residual(const system3& s, const double (&x)[3]) {
    long double bound = 0;
    for (unsigned i = 0; i < 3; ++i) {
        long double sum = s.r[i];
        for (unsigned j = 0; j < 3; ++j)
            sum -= static_cast<long double>(s.m[i + 3 * j]) * x[j];
        bound = std::max(bound, std::fabs(sum));
    }
    return double(bound);
}

/// A number in [-1, 1].
double random_number() {
    return *rc::gen::resize(100, rc::gen::inRange(-1000000, 1000001)) * 1e-6;
}

/// Three columns; the third is a combination of the others plus `independence` of its own.
system3 random_system(double independence) {
    system3 s{};
    for (double& entry : s.m)
        entry = random_number();
    const double a = random_number(), b = random_number();
    for (unsigned i = 0; i < 3; ++i)
        s.m[6 + i] = a * s.m[i] + b * s.m[3 + i] + independence * s.m[6 + i];
    for (double& entry : s.r)
        entry = random_number();
    return s;
}

/// Condition of the matrix in the norm of the largest row sum, from its inverse; infinite when it has none.
double condition(const system3& s) {
    if (cramer(s).det == 0)
        return infinity;
    double inverse_norm = 0, norm = 0;
    double columns[3][3];
    for (unsigned j = 0; j < 3; ++j) {
        system3 unit = s;
        std::fill_n(unit.r, 3, 0.0);
        unit.r[j] = 1;
        const solution3 column = cramer(unit);
        std::copy_n(column.x, 3, columns[j]);
    }
    for (unsigned i = 0; i < 3; ++i) {
        inverse_norm =
            std::max(inverse_norm, std::fabs(columns[0][i]) + std::fabs(columns[1][i]) + std::fabs(columns[2][i]));
        norm = std::max(norm, std::fabs(s.m[i]) + std::fabs(s.m[i + 3]) + std::fabs(s.m[i + 6]));
    }
    return norm * inverse_norm;
}

} // namespace

TEST(Solve3x3, SolvesBySmallWholeNumbersExactly) {
    const system3 s{{2, 1, 0, 0, 3, 1, 1, 0, 4}, {5, 7, 14}};
    for (const unsigned iterations : {0u, 1u, 5u}) {
        const solution3 found = solve(s, iterations);
        EXPECT_DOUBLE_EQ(found.det, 25);
        EXPECT_NEAR(found.x[0], 1, 4 * epsilon);
        EXPECT_NEAR(found.x[1], 2, 4 * epsilon);
        EXPECT_NEAR(found.x[2], 3, 6 * epsilon);
    }
}

TEST(Solve3x3, TheMatrixIsStoredByColumns) {
    // x + 2 y = 8, y = 3, z = 1: transposed, it would be another system.
    const solution3 found = solve({{1, 0, 0, 2, 1, 0, 0, 0, 1}, {8, 3, 1}}, 0);
    EXPECT_DOUBLE_EQ(found.x[0], 2);
    EXPECT_DOUBLE_EQ(found.x[1], 3);
    EXPECT_DOUBLE_EQ(found.x[2], 1);
}

TEST(Solve3x3, TheDeterminantKeepsItsSign) {
    EXPECT_DOUBLE_EQ(solve({{1, 0, 0, 0, 1, 0, 0, 0, 1}, {1, 1, 1}}, 0).det, 1);
    EXPECT_DOUBLE_EQ(solve({{0, 1, 0, 1, 0, 0, 0, 0, 1}, {1, 1, 1}}, 0).det, -1);
}

RC_GTEST_PROP(Solve3x3, AgreesWithCramersRuleInExtendedPrecision, ()) {
    const system3 s = random_system(1);
    const double cond = condition(s);
    RC_PRE(cond < 1e4);
    const solution3 expected = cramer(s);
    const double scale = std::max(largest(expected.x, 3), 1e-300);
    const double det_scale = std::pow(largest(s.m, 9), 3);
    for (const unsigned iterations : {0u, 1u, 4u}) {
        const solution3 found = solve(s, iterations);
        RC_ASSERT(std::fabs(found.det - expected.det) <= 16 * epsilon * det_scale);
        for (unsigned k = 0; k < 3; ++k)
            RC_ASSERT(std::fabs(found.x[k] - expected.x[k]) <= 32 * epsilon * cond * scale);
    }
}

RC_GTEST_PROP(Solve3x3, RefinementBringsTheResidualToRounding, ()) {
    const system3 s = random_system(*rc::gen::element(1.0, 1e-3, 1e-6, 1e-9));
    const double cond = condition(s);
    RC_PRE(cond < 1e11);
    const solution3 found = solve(s, 10);
    const double reachable = epsilon * (3 * largest(s.m, 9) * largest(found.x, 3) + largest(s.r, 3));
    RC_ASSERT(residual(s, found.x) <= 4 * reachable);
}

RC_GTEST_PROP(Solve3x3, RefinementImprovesOrKeepsTheResidual, ()) {
    const system3 s = random_system(*rc::gen::element(1.0, 1e-2, 1e-4, 1e-6, 1e-8));
    RC_PRE(condition(s) < 1e11);
    const solution3 first = solve(s, 0), refined = solve(s, 3);
    const double reachable = epsilon * (3 * largest(s.m, 9) * largest(refined.x, 3) + largest(s.r, 3));
    RC_ASSERT(residual(s, refined.x) <= residual(s, first.x) + 4 * reachable);
}

TEST(Solve3x3, RefinementHalvesResidualsOfNearlySingularSystems) {
    // Columns that nearly lie in a plane; the sum of the residuals in units of rounding.
    dice random(4);
    const auto number = [&] { return random(2000001) * 1e-6 - 1; };
    double first = 0, refined = 0;
    for (unsigned n = 0; n < 1000; ++n) {
        system3 s{};
        for (double& entry : s.m)
            entry = number();
        for (unsigned i = 0; i < 3; ++i)
            s.m[6 + i] = 0.7 * s.m[i] - 0.4 * s.m[3 + i] + 1e-7 * s.m[6 + i];
        for (double& entry : s.r)
            entry = number();
        for (const auto& [iterations, sum] : {std::pair(0u, &first), std::pair(5u, &refined)}) {
            const solution3 found = solve(s, iterations);
            *sum += residual(s, found.x) / (epsilon * largest(s.m, 9) * largest(found.x, 3));
        }
    }
    EXPECT_LT(refined, first / 2);
}

TEST(Solve3x3, ASingularMatrixGivesZeros) {
    for (const unsigned iterations : {0u, 5u})
        for (const system3& s : {system3{{}, {1, 2, 3}}, system3{{1, 2, 3, 4, 5, 6, 7, 8, 9}, {1, 2, 3}},
                                 system3{{1, 2, 3, 2, 4, 6, 0, 0, 1}, {1, 2, 3}}}) {
            const solution3 found = solve(s, iterations);
            EXPECT_EQ(found.det, 0);
            for (const double x : found.x)
                EXPECT_EQ(x, 0);
        }
}

TEST(Solve3x3, ADeterminantThatIsNoNumberGivesZeros) {
    for (unsigned k = 0; k < 9; ++k)
        for (const double bad : {not_a_number, infinity, -infinity}) {
            system3 s{{2, 1, 0.5, 0.3, 3, 1, 1, 0.2, 4}, {5, 7, 14}};
            s.m[k] = bad;
            const solution3 found = solve(s, 3);
            if (std::isnan(found.det))
                for (const double x : found.x) {
                    EXPECT_EQ(x, 0);
                    EXPECT_FALSE(std::signbit(x));
                }
            else
                EXPECT_TRUE(std::isinf(found.det));
            if (std::isnan(bad)) {
                EXPECT_TRUE(std::isnan(found.det));
            }
        }
}

TEST(Solve3x3, ARightHandSideThatIsNoNumberSpoilsOnlyTheSolution) {
    const solution3 found = solve({{1, 0, 0, 0, 1, 0, 0, 0, 1}, {not_a_number, 2, 3}}, 1000000);
    EXPECT_DOUBLE_EQ(found.det, 1);
    EXPECT_TRUE(std::isnan(found.x[0]));
}

TEST(Solve3x3, ScalesOfAnySizeAreAlike) {
    for (const double scale : {1e-80, 1e-20, 1e20, 1e80}) {
        system3 s{{2, 1, 0, 0, 3, 1, 1, 0, 4}, {5, 7, 14}};
        for (double& entry : s.m)
            entry *= scale;
        for (double& entry : s.r)
            entry *= scale;
        const solution3 found = solve(s, 2);
        for (unsigned k = 0; k < 3; ++k)
            EXPECT_NEAR(found.x[k], k + 1, 16 * epsilon) << scale;
    }
}

RC_GTEST_PROP(Solve2x2, AgreesWithCramersRuleInExtendedPrecision, ()) {
    const double m00 = random_number(), m10 = random_number(), m01 = random_number(), m11 = random_number();
    const double r[2] = {random_number(), random_number()};
    const long double det = static_cast<long double>(m00) * m11 - static_cast<long double>(m01) * m10;
    RC_PRE(std::fabs(det) > 1e-3L);
    const double expected[2] = {
        double((static_cast<long double>(m11) * r[0] - static_cast<long double>(m01) * r[1]) / det),
        double((static_cast<long double>(m00) * r[1] - static_cast<long double>(m10) * r[0]) / det)};
    // Rounding of the products, and that of the residual, which the inverse magnifies.
    const double bound = 16 * epsilon / double(std::fabs(det)) * (1 + 4 * largest(expected, 2));
    for (const unsigned iterations : {0u, 1u, 4u}) {
        double x[2] = {not_a_number, not_a_number};
        solve2x2_refined(m00, m10, m01, m11, double(1 / det), r, x, iterations);
        for (unsigned k = 0; k < 2; ++k)
            RC_ASSERT(std::fabs(x[k] - expected[k]) <= bound);
    }
}

RC_GTEST_PROP(Solve2x2, RefinementMakesUpForACoarseReciprocal, ()) {
    const double m00 = 1 + random_number() / 4, m10 = random_number() / 4, m01 = random_number() / 4;
    const double m11 = -1 + random_number() / 4;
    const double expected[2] = {random_number(), random_number()};
    const double r[2] = {m00 * expected[0] + m01 * expected[1], m10 * expected[0] + m11 * expected[1]};
    const double reciprocal = 1.01 / (m00 * m11 - m01 * m10); // 1 % off: each step gains two digits
    double first[2], refined[2];
    solve2x2_refined(m00, m10, m01, m11, reciprocal, r, first, 0);
    solve2x2_refined(m00, m10, m01, m11, reciprocal, r, refined, 20);
    for (unsigned k = 0; k < 2; ++k) {
        RC_ASSERT(std::fabs(first[k] - expected[k]) <= 0.0101 * std::fabs(expected[k]) + 32 * epsilon);
        RC_ASSERT(std::fabs(refined[k] - expected[k]) <= 1e-12 * std::fabs(expected[k]) + 32 * epsilon);
    }
}

TEST(Solve2x2, StopsWhenCorrectionsAreBelowTheTolerance) {
    // With a reciprocal 1e-5 too large the errors are 1e-5, 1e-10, 1e-15: two steps give what twenty give.
    const double r[2] = {3, 5};
    double one[2], two[2], three[2], twenty[2];
    for (const auto& [x, iterations] :
         {std::pair(&one, 1u), std::pair(&two, 2u), std::pair(&three, 3u), std::pair(&twenty, 20u)})
        solve2x2_refined(1, 0, 0, 1, 1 + 1e-5, r, *x, iterations);
    EXPECT_NE(one[0], three[0]);
    EXPECT_EQ(twenty[0], three[0]);
    EXPECT_EQ(twenty[1], three[1]);
    EXPECT_NEAR(two[0], 3, 1e-14);
}

TEST(Solve2x2, AReciprocalOfZeroOrNoNumberGivesZeros) {
    const double r[2] = {3, 5};
    for (const double reciprocal : {0.0, -0.0, not_a_number}) {
        double x[2] = {7, 7};
        solve2x2_refined(1, 2, 2, 4, reciprocal, r, x, 3);
        EXPECT_EQ(x[0], 0);
        EXPECT_EQ(x[1], 0);
    }
}
