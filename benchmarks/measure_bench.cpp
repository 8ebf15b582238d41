// The volume, the angles and the circumcentres, beside plain loops over the same formulas. Items are elements.

#include "harness.h"

#define BASELINES plain
#include "baselines/measure.h"
#undef BASELINES
#define BASELINES native
#include "baselines/measure.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

void count(benchmark::State& state, const mesh& m, std::size_t bytes_out) {
    bench::count(state, m.connect.cols(), bytes_of(m.pos) + bytes_of(m.connect) + bytes_out);
}

/// That of the cube of the grid, but for its moved nodes; that of the random nodes' hull nearly one.
bool right_volume(const sample& s, double volume) {
    const double n = s.in_order == bench::order::delaunay ? 1 : std::round(std::cbrt(double(s.mesh().pos.cols()))) - 1;
    return std::fabs(volume / (n * n * n) - 1) < 0.1;
}

void BM_volume(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    double vol = 0;
    int status = 0;
    for (auto _ : state) {
        status |= meldra3d::volume(m.pos, m.connect, vol);
        benchmark::DoNotOptimize(vol);
    }
    bench::check(state, status == 0 && right_volume(s, vol), "wrong volume");
    count(state, m, 0);
}

/// The bare loop for a mesh in the order of the grid, the prefetched one that checks the IDs for others.
void BM_bare_volume(benchmark::State& state, const sample& s, decltype(plain::volume)* bare,
                    decltype(plain::volume_checked)* checked) {
    const mesh& m = s.mesh();
    double vol = 0;
    for (auto _ : state) {
        vol = s.in_order == bench::order::grid
                  ? bare(m.pos.data(), m.connect.data(), m.connect.cols())
                  : checked(m.pos.data(), m.connect.data(), m.connect.cols(), unsigned(m.pos.cols()));
        benchmark::DoNotOptimize(vol);
    }
    bench::check(state, right_volume(s, vol), "wrong volume");
    count(state, m, 0);
}

using angle_export = int (*)(const dense2D<double>&, const dense2D<unsigned>&, bool, dense1D<double>&,
                             dense1D<double>&);
using angle_loop = decltype(plain::solid_angles)*;

void BM_angles(benchmark::State& state, const sample& s, angle_export call, angle_loop loop) {
    const mesh& m = s.mesh();
    const std::size_t n = m.connect.cols();
    dense1D<double> least(n), most(n);
    int status = 0;
    for (auto _ : state) {
        status |= call(m.pos, m.connect, false, least, most);
        benchmark::DoNotOptimize(least.data());
    }
    std::vector<double> expected_least(n), expected_most(n);
    loop(m.pos.data(), m.connect.data(), m.connect.rows(), n, expected_least.data(), expected_most.data());
    double farthest = 0;
    for (std::size_t j = 0; j < n; ++j)
        farthest = std::max({farthest, std::fabs(expected_least[j] - least[j]), std::fabs(expected_most[j] - most[j])});
    // Delaunay meshes hold flat elements, whose angles no formula gives to the last digits.
    bench::check(state, status == 0 && (farthest < 1e-11 || s.in_order == bench::order::delaunay), "wrong angles");
    count(state, m, 2 * bytes_of(least));
}

void BM_bare_angles(benchmark::State& state, const sample& s, angle_loop loop) {
    const mesh& m = s.mesh();
    std::vector<double> least(m.connect.cols()), most(m.connect.cols());
    for (auto _ : state) {
        loop(m.pos.data(), m.connect.data(), m.connect.rows(), m.connect.cols(), least.data(), most.data());
        benchmark::DoNotOptimize(least.data());
        benchmark::DoNotOptimize(most.data());
    }
    bench::check(state, least[0] > 0 && least[0] < most[0], "wrong angles");
    count(state, m, 2 * least.size() * sizeof(double));
}

void BM_circumcenters(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<double> centers;
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::circumcenters(m.pos, m.connect, centers);
    double farthest = 0;
    for (std::size_t j = 0; j < m.connect.cols(); ++j) { // equally far from two of the nodes
        double squares[2] = {0, 0};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t k = 0; k < 2; ++k)
                squares[k] += std::pow(centers(i, j) - m.pos(i, m.connect(k, j)), 2);
        farthest = std::max(farthest, std::fabs(squares[0] / squares[1] - 1));
    }
    bench::check(state, status == 0 && (farthest < 1e-6 || s.in_order == bench::order::delaunay), "wrong centres");
    count(state, m, bytes_of(centers));
}

void BM_bare_circumcenters(benchmark::State& state, const sample& s, decltype(plain::circumcenters)* loop) {
    const mesh& m = s.mesh();
    for (auto _ : state) {
        dense2D<double> centers(3, m.connect.cols());
        loop(m.pos.data(), m.connect.data(), m.connect.cols(), centers.data());
        benchmark::DoNotOptimize(centers.data());
    }
    count(state, m, 3 * m.connect.cols() * sizeof(double));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::five_million)) {
        bench::add("volume", s, BM_volume);
        bench::add("volume:bare_loop", s, BM_bare_volume, plain::volume, plain::volume_checked);
        bench::add("volume:bare_loop@native", s, BM_bare_volume, native::volume, native::volume_checked);
    }
    for (const sample& s : bench::samples({"PY5", "W6", "H8"}, bench::million))
        bench::add("volume", s, BM_volume);
    for (const sample& s : bench::samples({"TH4", "PY5", "W6", "H8"}, bench::million)) {
        bench::add("solid_angles", s, BM_angles, meldra3d::solid_angles, plain::solid_angles);
        bench::add_baseline("solid_angles:bare_loop", s, BM_bare_angles, plain::solid_angles, native::solid_angles);
        bench::add("dihedral_angles", s, BM_angles, meldra3d::dihedral_angles, plain::dihedral_angles);
        bench::add_baseline("dihedral_angles:bare_loop", s, BM_bare_angles, plain::dihedral_angles,
                            native::dihedral_angles);
    }
    for (const sample& s : bench::samples({"TH4"}, bench::million)) {
        bench::add("circumcenters", s, BM_circumcenters);
        bench::add_baseline("circumcenters:bare_loop", s, BM_bare_circumcenters, plain::circumcenters,
                            native::circumcenters);
    }
});

} // namespace
