// Eigenvalues and eigenvectors of symmetric 3 x 3 matrices by Eigen, beside lapack::dspev.

#include <Eigen/Eigenvalues>

#include <lapack/lapack.h>

#include "harness.h"

namespace {

using namespace quorl;

constexpr std::size_t matrices = 1000;

/// Upper triangles column after column, of random numbers.
std::vector<std::array<double, 6>> random_matrices() {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::vector<std::array<double, 6>> all(matrices);
    for (auto& one : all)
        for (double& x : one)
            x = unit(random);
    return all;
}

/// The ascending eigenvalues are those of the other.
bool right(const std::array<double, 6>& m, const double* values) {
    const double trace = m[0] + m[2] + m[5];
    return std::fabs(values[0] + values[1] + values[2] - trace) < 1e-12 && values[0] <= values[1] &&
           values[1] <= values[2];
}

void count(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * std::int64_t(matrices));
}

void BM_dspev(benchmark::State& state) {
    const auto all = random_matrices();
    double values[3] = {}, vectors[9], work[9];
    bool good = true;
    for (auto _ : state)
        for (const auto& one : all) {
            auto packed = one;
            long info = 0;
            lapack::dspev('V', 'U', 3, packed.data(), values, vectors, 3, work, info);
            good = good && info == 0;
        }
    bench::check(state, good && right(all.back(), values), "wrong values");
    count(state);
}

void BM_eigen(benchmark::State& state, bool directly) {
    const auto all = random_matrices();
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
    bool good = true;
    for (auto _ : state)
        for (const auto& m : all) {
            Eigen::Matrix3d a;
            a << m[0], m[1], m[3], m[1], m[2], m[4], m[3], m[4], m[5];
            if (directly)
                solver.computeDirect(a);
            else
                solver.compute(a);
            good = good && solver.info() == Eigen::Success;
            benchmark::DoNotOptimize(solver.eigenvectors());
        }
    bench::check(state, good && right(all.back(), solver.eigenvalues().data()), "wrong values");
    count(state);
}

const bench::suite all([] {
    benchmark::RegisterBenchmark("BM_dspev/3x3/random/1000", BM_dspev)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_dspev:eigen/3x3/random/1000", BM_eigen, false)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_dspev:eigen_directly/3x3/random/1000", BM_eigen, true)
        ->Unit(benchmark::kMillisecond);
});

} // namespace
