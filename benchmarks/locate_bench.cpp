// Elements that hold points, beside a bare walk from a uniform grid with the points along a Morton curve; and values
// interpolated at as many free nodes, beside the location alone, with the solutions of the eigenproblems for metrics.

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include <lapack/lapack.h>

#include "harness.h"
#include "locate/metric_interpolation.h"

#define BASELINES plain
#include "baselines/locate.h"
#undef BASELINES
#define BASELINES native
#include "baselines/locate.h"

namespace {

/// The packed matrices that are solved while this is set.
std::vector<std::array<double, 6>>* solved = nullptr;

} // namespace

// The linker sends the calls of dspev_ here, and those of __real_dspev_ to LAPACK.
extern "C" void __real_dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w, double* z,
                              const int* ldz, double* work, int* info, std::size_t, std::size_t);
extern "C" void __wrap_dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w, double* z,
                              const int* ldz, double* work, int* info, std::size_t jobz_length,
                              std::size_t uplo_length) {
    if (solved)
        solved->push_back({ap[0], ap[1], ap[2], ap[3], ap[4], ap[5]});
    __real_dspev_(jobz, uplo, n, ap, w, z, ldz, work, info, jobz_length, uplo_length);
}

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;
using bench::sample;

constexpr double tolerance = 1e-6;

/// A mesh of tetrahedra in the unit cube with as many random points, which stand behind its nodes, and what a search
/// needs.
struct searched {
    mesh m;
    std::size_t mesh_nodes;
    dense2D<double> points;
    dense1D<unsigned> free_nodes;
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    meldra::node_detector detector;

    explicit searched(const sample& s) {
        const mesh& given = s.mesh();
        mesh_nodes = given.pos.cols();
        const std::size_t n = given.connect.cols();
        m.connect = given.connect;
        m.pos.resize(3, mesh_nodes + n);
        std::copy_n(given.pos.data(), given.pos.size(), m.pos.data());
        std::mt19937_64 random(2);
        std::uniform_real_distribution<double> unit(0, 1);
        for (std::size_t k = 0; k < n; ++k) {
            for (unsigned i = 0; i < 3; ++i)
                m.pos(i, mesh_nodes + k) = unit(random);
            free_nodes.push_back(unsigned(mesh_nodes + k));
        }
        points.copy(m.pos.sub(0, mesh_nodes, 3, n));
        if (meldra::get_neighbors(m.connect, ET_TH4, false, neighbors) != 0 ||
            meldra::get_ancestors(m.connect, ancestors) != 0 || !ancestors.resize(m.pos.cols(), no_node) ||
            detector.reinit(m.pos, m.connect) != 0)
            m.connect.clear();
    }

    int locate(dense1D<unsigned>& elements, dense2D<double>& local) const {
        return meldra3d::get_elements_containing_points(m.pos, m.connect, neighbors, ancestors, detector, ET_TH4,
                                                        points, elements, local, tolerance);
    }

    /// The same with the octree that the interpolations build.
    int locate_anew(dense1D<unsigned>& elements, dense2D<double>& local) {
        const int status = detector.reinit(m.pos, m.connect);
        return status == 0 ? locate(elements, local) : status;
    }

    std::size_t bytes() const {
        return bench::bytes_of(m.connect) + bench::bytes_of(neighbors) + bench::bytes_of(points) +
               mesh_nodes * 3 * sizeof(double) + points.cols() * (sizeof(unsigned) + 3 * sizeof(double));
    }
};

/// Whether nearly all points are found, in an element of theirs.
bool are_found(const searched& s, const unsigned* elements, const double* local) {
    std::size_t found = 0;
    for (std::size_t k = 0; k < s.points.cols(); ++k) {
        if (elements[k] == no_node)
            continue;
        const double* const w = local + 3 * k;
        const double last = 1 - w[0] - w[1] - w[2], least = std::min({w[0], w[1], w[2], last});
        const unsigned* const nodes = s.m.connect.col(elements[k]);
        double off = 0;
        for (unsigned i = 0; i < 3; ++i)
            off += std::fabs(s.m.pos(i, nodes[0]) * w[0] + s.m.pos(i, nodes[1]) * w[1] + s.m.pos(i, nodes[2]) * w[2] +
                             s.m.pos(i, nodes[3]) * last - s.points(i, k));
        found += least > -1e-5 && off < 1e-9;
    }
    return found >= s.points.cols() - s.points.cols() / 20; // the hull of random nodes lacks some of the cube
}

void BM_points(benchmark::State& state, const sample& s) {
    const searched at(s);
    dense1D<unsigned> elements;
    dense2D<double> local;
    int status = 0;
    for (auto _ : state)
        status |= at.locate(elements, local);
    bench::check(state, status >= 0 && are_found(at, elements.data(), local.data()), "not found");
    bench::count(state, at.points.cols(), at.bytes());
}

void BM_nodes(benchmark::State& state, const sample& s) {
    const searched at(s);
    dense1D<unsigned> elements;
    dense2D<double> local;
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::get_elements_containing_nodes(at.m.pos, at.m.connect, ET_TH4, at.free_nodes, elements,
                                                          local, tolerance);
    bench::check(state, status >= 0 && are_found(at, elements.data(), local.data()), "not found");
    bench::count(state, at.points.cols(), at.bytes());
}

/// With `aids` the neighbours and the grid are made each time.
template <class Mesh, class Grid>
void BM_grid_walk(benchmark::State& state, const sample& s, bool aids,
                  void (*walk)(const Mesh&, const Grid&, const double*, std::size_t, std::vector<unsigned>&,
                               std::vector<double>&)) {
    const searched at(s);
    dense2D<unsigned> neighbors = at.neighbors;
    const auto view = [&] {
        return Mesh{at.m.pos.data(), at.mesh_nodes, at.m.connect.data(), neighbors.data(), at.m.connect.cols()};
    };
    const Grid grid(view());
    std::vector<unsigned> elements;
    std::vector<double> local;
    int status = 0;
    for (auto _ : state)
        if (aids) {
            neighbors = dense2D<unsigned>();
            status |= meldra::get_neighbors(at.m.connect, ET_TH4, false, neighbors);
            walk(view(), Grid(view()), at.points.data(), at.points.cols(), elements, local);
        } else {
            walk(view(), grid, at.points.data(), at.points.cols(), elements, local);
        }
    bench::check(state, status == 0 && are_found(at, elements.data(), local.data()), "not found");
    bench::count(state, at.points.cols(), at.bytes());
}

/// The coordinates as values.
void BM_interpolate(benchmark::State& state, const sample& s) {
    const searched at(s);
    dense2D<double> field;
    field.copy(at.m.pos);
    std::fill_n(field.col(at.mesh_nodes), at.points.size(), -1.0);
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::interpolate(at.m.pos, at.m.connect, at.neighbors, at.ancestors, field, at.free_nodes);
    std::size_t right = 0; // a point outside gets those of a node
    for (std::size_t k = 0; k < at.points.cols(); ++k)
        right += std::fabs(field(0, at.mesh_nodes + k) - at.points(0, k)) < 1e-9;
    bench::check(state, status == 0 && right >= at.points.cols() - at.points.cols() / 20, "wrong values");
    bench::count(state, at.points.cols(), at.bytes() + 3 * at.points.size() * sizeof(double));
}

void BM_location(benchmark::State& state, const sample& s) {
    searched at(s);
    dense1D<unsigned> elements;
    dense2D<double> local;
    int status = 0;
    for (auto _ : state)
        status |= at.locate_anew(elements, local);
    bench::check(state, status >= 0 && are_found(at, elements.data(), local.data()), "not found");
    bench::count(state, at.points.cols(), at.bytes());
}

/// Metrics whose axes turn and whose sizes change from place to place.
dense2D<double> metrics_at(const searched& at) {
    dense2D<double> metrics(6, at.m.pos.cols(), 0.0);
    for (std::size_t k = 0; k < at.mesh_nodes; ++k) {
        const double x = at.m.pos(0, k), y = at.m.pos(1, k);
        const double values[6] = {2 + x, 0.1 * x, 3 + y * y, 0.2 * y, 0.1, 1 + x * y};
        std::copy_n(values, 6, metrics.col(k));
    }
    return metrics;
}

int interpolate_metrics(const searched& at, dense2D<double>& metrics) {
    return meldra3d::interpolate_metrics(at.m.pos, at.m.connect, at.neighbors, at.ancestors, metrics, at.free_nodes,
                                         false);
}

void BM_interpolate_metrics(benchmark::State& state, const sample& s) {
    const searched at(s);
    dense2D<double> metrics = metrics_at(at);
    int status = 0;
    for (auto _ : state)
        status |= interpolate_metrics(at, metrics);
    std::size_t right = 0; // no diagonal entry is far from those of the nodes
    for (std::size_t k = at.mesh_nodes; k < metrics.cols(); ++k)
        right += metrics(0, k) > 1.9 && metrics(0, k) < 3.1 && metrics(2, k) > 2.9 && metrics(5, k) > 0.9;
    bench::check(state, status == 0 && right == at.points.cols(), "wrong metrics");
    bench::count(state, at.points.cols(), at.bytes() + 30 * at.points.cols() * sizeof(double));
}

/// All eigenproblems of the interpolation, point by point: with many points it keeps solutions that others need, too.
std::vector<std::array<double, 6>> eigenproblems(searched& at) {
    const dense2D<double> metrics = metrics_at(at);
    dense1D<unsigned> elements;
    dense2D<double> local;
    std::vector<std::array<double, 6>> problems;
    if (at.locate_anew(elements, local) < 0)
        return problems;
    solved = &problems;
    for (std::size_t k = 0; k < elements.size(); ++k) {
        if (elements[k] == no_node)
            continue;
        meldra3d::detail::metric at_nodes[4];
        for (unsigned i = 0; i < 4; ++i)
            std::copy_n(metrics.col(at.m.connect(i, elements[k])), 6, at_nodes[i].values);
        meldra3d::detail::combine_metrics(at_nodes, {local(0, k), local(1, k), local(2, k)});
    }
    solved = nullptr;
    return problems;
}

/// The location, and the solutions of the eigenproblems alone.
void BM_location_and_dspev(benchmark::State& state, const sample& s) {
    searched at(s);
    const std::vector<std::array<double, 6>> problems = eigenproblems(at);
    int status = 0;
    dense1D<unsigned> elements;
    dense2D<double> local;
    double eigenvalues[3], vectors[9], work[9];
    for (auto _ : state) {
        status |= at.locate_anew(elements, local);
        for (std::array<double, 6> packed : problems) {
            long info = 0;
            status |= lapack::dspev('V', 'U', 3, packed.data(), eigenvalues, vectors, 3, work, info);
        }
    }
    bench::check(state, status >= 0 && !problems.empty(), "not solved");
    bench::count(state, at.points.cols(), at.bytes());
    state.counters["eigenproblems"] = double(problems.size());
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::million, {order::delaunay})) {
        for (const bool aids : {false, true}) {
            const sample form = aids ? s.with("nodes") : s;
            bench::add("get_elements_containing_points", form, aids ? BM_nodes : BM_points);
            bench::add("get_elements_containing_points:grid_walk", form,
                       BM_grid_walk<plain::tetrahedra, plain::grid_of_elements>, aids, plain::grid_walk);
            bench::add("get_elements_containing_points:grid_walk@native", form,
                       BM_grid_walk<native::tetrahedra, native::grid_of_elements>, aids, native::grid_walk);
        }
        bench::add("interpolate", s, BM_interpolate);
        bench::add("interpolate:location", s, BM_location);
        bench::add("interpolate_metrics", s, BM_interpolate_metrics);
        bench::add("interpolate_metrics:location_and_dspev", s, BM_location_and_dspev);
    }
});

} // namespace
