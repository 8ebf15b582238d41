// Volumes, angles and circumcentres, beside plain loops over the same formulas that save the same calls of inverse
// functions, ask for memory ahead and check the IDs.

#include <algorithm>
#include <cmath>

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
using bench::order;
using bench::sample;

template <class View>
View view_of(const mesh& m) {
    return {m.pos.data(), m.pos.cols(), m.connect.data(), m.connect.rows(), m.connect.cols()};
}

void BM_volume(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    double volume = 0, expected = 0;
    int status = 0;
    for (auto _ : state) {
        status |= meldra3d::volume(m.pos, m.connect, volume);
        benchmark::DoNotOptimize(volume);
    }
    const bool known = s.kind != "TH4" || plain::volume_loop(view_of<plain::measured_mesh>(m), expected);
    const bool right = s.kind == "TH4" ? std::fabs(volume - expected) <= 1e-9 * expected : volume > 0;
    bench::check(state, status == 0 && known && right, "wrong volume");
    bench::count(state, m.connect.cols(), bytes_of(m.pos) + bytes_of(m.connect));
}

template <class View>
void BM_volume_loop(benchmark::State& state, const sample& s, bool (*loop)(const View&, double&)) {
    const mesh& m = s.mesh();
    const auto view = view_of<View>(m);
    double volume = 0;
    bool good = true;
    for (auto _ : state) {
        good = good && loop(view, volume);
        benchmark::DoNotOptimize(volume);
    }
    bench::check(state, good && volume > 0, "wrong volume");
    bench::count(state, m.connect.cols(), bytes_of(m.pos) + bytes_of(m.connect));
}

using angle_export = int (*)(const dense2D<double>&, const dense2D<unsigned>&, bool, dense1D<double>&,
                             dense1D<double>&);
using plain_angles = bool (*)(const plain::measured_mesh&, double*, double*);

std::size_t bytes_of_angles(const mesh& m) {
    return bytes_of(m.pos) + bytes_of(m.connect) + 2 * m.connect.cols() * sizeof(double);
}

void BM_angles(benchmark::State& state, const sample& s, angle_export call, plain_angles expected) {
    const mesh& m = s.mesh();
    dense1D<double> least(m.connect.cols()), most(m.connect.cols());
    int status = 0;
    for (auto _ : state)
        status |= call(m.pos, m.connect, false, least, most);
    std::vector<double> low(least.size()), high(most.size());
    double farthest = expected(view_of<plain::measured_mesh>(m), low.data(), high.data()) ? 0 : 1;
    for (std::size_t j = 0; j < low.size(); ++j)
        farthest = std::max({farthest, std::fabs(low[j] - least[j]), std::fabs(high[j] - most[j])});
    // Both parts of the argument of an arc tangent are small in a sliver whose corner lies almost on an edge. The loop
    // takes its edges in another direction, and rounding is divided by that size.
    bench::check(state, status == 0 && farthest < 1e-9, "wrong angles");
    bench::count(state, m.connect.cols(), bytes_of_angles(m));
}

template <class View>
void BM_angle_loop(benchmark::State& state, const sample& s, bool (*loop)(const View&, double*, double*)) {
    const mesh& m = s.mesh();
    const auto view = view_of<View>(m);
    std::vector<double> least(m.connect.cols()), most(m.connect.cols());
    bool good = true;
    for (auto _ : state)
        good = good && loop(view, least.data(), most.data());
    bench::check(state, good && *std::min_element(most.begin(), most.end()) > 0, "wrong angles");
    bench::count(state, m.connect.cols(), bytes_of_angles(m));
}

std::size_t bytes_of_centers(const mesh& m) {
    return bytes_of(m.pos) + bytes_of(m.connect) + 3 * m.connect.cols() * sizeof(double);
}

void BM_circumcenters(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<double> centers;
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::circumcenters(m.pos, m.connect, centers);
    dense2D<double> expected(3, m.connect.cols());
    double farthest = plain::circumcenter_loop(view_of<plain::measured_mesh>(m), expected.data()) ? 0 : 1;
    for (std::size_t k = 0; k < expected.size(); ++k)
        farthest =
            std::max(farthest, std::fabs(expected.data()[k] - centers.data()[k]) / (1 + std::fabs(expected.data()[k])));
    bench::check(state, status == 0 && farthest < 1e-4, "wrong centres"); // slivers magnify roundings
    bench::count(state, m.connect.cols(), bytes_of_centers(m));
}

/// Into an array of its own each time, like the matrix that the library fills.
template <class View>
void BM_circumcenter_loop(benchmark::State& state, const sample& s, bool (*loop)(const View&, double*)) {
    const mesh& m = s.mesh();
    const auto view = view_of<View>(m);
    bool good = true;
    for (auto _ : state) {
        dense2D<double> centers(3, m.connect.cols());
        good = good && loop(view, centers.data());
        benchmark::DoNotOptimize(centers.data());
    }
    bench::check(state, good, "refused");
    bench::count(state, m.connect.cols(), bytes_of_centers(m));
}

void add_angles(const sample& s) {
    bench::add("solid_angles", s, BM_angles, meldra3d::solid_angles, plain::solid_angle_loop);
    bench::add("solid_angles:bare_loop", s, BM_angle_loop<plain::measured_mesh>, plain::solid_angle_loop);
    bench::add("solid_angles:bare_loop@native", s, BM_angle_loop<native::measured_mesh>, native::solid_angle_loop);
    bench::add("dihedral_angles", s, BM_angles, meldra3d::dihedral_angles, plain::dihedral_angle_loop);
    bench::add("dihedral_angles:bare_loop", s, BM_angle_loop<plain::measured_mesh>, plain::dihedral_angle_loop);
    bench::add("dihedral_angles:bare_loop@native", s, BM_angle_loop<native::measured_mesh>,
               native::dihedral_angle_loop);
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4", "W6", "H8", "SOLID_MIX"}, bench::five_million)) {
        bench::add("volume", s, BM_volume);
        if (s.kind != "TH4")
            continue;
        bench::add("volume:bare_loop", s, BM_volume_loop<plain::measured_mesh>, plain::volume_loop);
        bench::add("volume:bare_loop@native", s, BM_volume_loop<native::measured_mesh>, native::volume_loop);
    }
    for (const sample& s : bench::samples({"TH4", "PY5", "W6", "H8"}, bench::million))
        add_angles(s);
    for (const sample& s : bench::samples({"TH4"}, bench::million)) {
        bench::add("circumcenters", s, BM_circumcenters);
        bench::add("circumcenters:bare_loop", s, BM_circumcenter_loop<plain::measured_mesh>, plain::circumcenter_loop);
        bench::add("circumcenters:bare_loop@native", s, BM_circumcenter_loop<native::measured_mesh>,
                   native::circumcenter_loop);
    }
});

} // namespace
