#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <meldra3d/meldra3d.h>

using quorl::lapack::dspev;

namespace {

struct eigen {
    std::vector<double> packed;
    long n;
    std::vector<double> values = std::vector<double>(std::size_t(n), -7.0);
    std::vector<double> vectors = std::vector<double>(std::size_t(n) * std::size_t(n), -7.0);
    std::vector<double> work = std::vector<double>(3 * std::size_t(n));
    long info = 77;

    int solve(char jobz, char uplo) {
        return dspev(jobz, uplo, n, packed.data(), values.data(), vectors.data(), n, work.data(), info);
    }
};

std::vector<double> random_packed(std::size_t n, std::mt19937& random) {
    std::vector<double> packed(n * (n + 1) / 2);
    for (double& entry : packed)
        entry = std::uniform_real_distribution<double>(-1, 1)(random);
    return packed;
}

} // namespace

TEST(Dspev, GivesEigenvaluesInAscendingOrder) {
    eigen e{{3, 0, 1, 0, 0, 2}, 3}; // the diagonal 3 1 2
    EXPECT_EQ(e.solve('N', 'U'), 0);
    EXPECT_EQ(e.info, 0);
    EXPECT_EQ(e.values, (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(e.vectors, std::vector<double>(9, -7)); // not wanted, not touched
}

TEST(Dspev, ReadsThePackedTriangles) {
    // 2 1 0 / 1 2 1 / 0 1 2 has the eigenvalues 2 - sqrt 2, 2, 2 + sqrt 2; its triangles are packed differently.
    eigen upper{{2, 1, 2, 0, 1, 2}, 3}, lower{{2, 1, 0, 2, 1, 2}, 3};
    EXPECT_EQ(upper.solve('n', 'u'), 0);
    EXPECT_EQ(lower.solve('n', 'l'), 0);
    const double expected[] = {2 - std::sqrt(2.0), 2, 2 + std::sqrt(2.0)};
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_NEAR(upper.values[k], expected[k], 4e-15);
        EXPECT_NEAR(lower.values[k], expected[k], 4e-15);
    }
}

TEST(Dspev, GivesOrthonormalEigenvectorsInColumns) {
    std::mt19937 random(11);
    for (const std::size_t n : {1u, 2u, 3u, 6u, 20u}) {
        const auto packed = random_packed(n, random);
        eigen e{packed, long(n)};
        ASSERT_EQ(e.solve('V', 'U'), 0);
        const auto entry = [&](std::size_t i, std::size_t j) {
            return i < j ? packed[j * (j + 1) / 2 + i] : packed[i * (i + 1) / 2 + j];
        };
        for (std::size_t k = 0; k < n; ++k)
            for (std::size_t i = 0; i < n; ++i) {
                double image = 0, product = 0;
                for (std::size_t j = 0; j < n; ++j) {
                    image += entry(i, j) * e.vectors[k * n + j];
                    product += e.vectors[i * n + j] * e.vectors[k * n + j];
                }
                EXPECT_NEAR(image, e.values[k] * e.vectors[k * n + i], 1e-14 * double(n));
                EXPECT_NEAR(product, i == k ? 1 : 0, 1e-14);
            }
    }
}

TEST(Dspev, KeepsTheDistanceOfTheColumns) {
    double ap[] = {5, 0, 3}, w[2], work[6];
    std::vector<double> z(8, -7);
    long info = 77;
    EXPECT_EQ(dspev('V', 'U', 2, ap, w, z.data(), 4, work, info), 0);
    EXPECT_EQ(w[0], 3);
    EXPECT_EQ(w[1], 5);
    EXPECT_EQ(std::fabs(z[1]), 1);
    EXPECT_EQ(std::fabs(z[4]), 1);
    EXPECT_EQ(z[2], -7);
    EXPECT_EQ(z[3], -7);
}

TEST(Dspev, NothingToDoNeedsNoMemory) {
    long info = 77;
    EXPECT_EQ(dspev('N', 'U', 0, nullptr, nullptr, nullptr, 1, nullptr, info), 0);
    EXPECT_EQ(info, 0);
    EXPECT_EQ(dspev('V', 'L', 0, nullptr, nullptr, nullptr, 1, nullptr, info), 0);
    EXPECT_EQ(info, 0);
}

TEST(Dspev, EigenvaluesAloneNeedNoPlaceForVectors) {
    double ap[] = {5, 0, 3}, w[2], work[6];
    long info = 77;
    EXPECT_EQ(dspev('N', 'U', 2, ap, w, nullptr, 1, work, info), 0);
    EXPECT_EQ(w[0], 3);
}

TEST(Dspev, TheFirstInvalidArgumentIsNamedAndNothingTouched) {
    constexpr long too_large = 1L << 31;
    constexpr long too_large_to_pack = 46341; // its square is beyond the integers of LAPACK
    const std::vector<double> before(9, 7.0);
    auto ap = before, w = before, z = before, work = before;
    const auto expect = [&](int status, char jobz, char uplo, long n, double* a, double* values, double* vectors,
                            long ldz, double* scratch) {
        long info = 77;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ(dspev(jobz, uplo, n, a, values, vectors, ldz, scratch, info), status);
        EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
        EXPECT_EQ(info, status);
        EXPECT_TRUE(ap == before && w == before && z == before && work == before);
    };
    double *const a = ap.data(), *const v = w.data(), *const q = z.data(), *const s = work.data();
    for (const char letter : {'X', '\0', ' ', 'U'})
        expect(-1, letter, 'U', 3, a, v, q, 3, s);
    for (const char letter : {'X', '\0', 'N', 'V'})
        expect(-2, 'V', letter, 3, a, v, q, 3, s);
    for (const long n : {-1L, std::numeric_limits<long>::min(), too_large_to_pack, too_large})
        expect(-3, 'V', 'U', n, a, v, q, 3, s);
    expect(-4, 'V', 'U', 3, nullptr, v, q, 3, s);
    expect(-5, 'V', 'U', 3, a, nullptr, q, 3, s);
    expect(-6, 'V', 'U', 3, a, v, nullptr, 3, s);
    for (const long ldz : {2L, 0L, -3L, too_large})
        expect(-7, 'V', 'U', 3, a, v, q, ldz, s);
    expect(-7, 'N', 'U', 3, a, v, q, 0, s);
    expect(-8, 'N', 'U', 3, a, v, q, 1, nullptr);
    expect(-1, 'X', 'X', -1, nullptr, nullptr, nullptr, 0, nullptr);
    expect(-2, 'V', 'X', -1, nullptr, nullptr, nullptr, 0, nullptr);
}

TEST(Dspev, NumbersThatAreNoneEndTheIteration) {
    for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity()})
        for (std::size_t k = 0; k < 6; ++k) {
            eigen e{{2, 1, 2, 0, 1, 2}, 3};
            e.packed[k] = bad;
            EXPECT_EQ(e.solve('N', 'U'), e.info);
            EXPECT_GE(e.info, 0);
        }
}
