// Sweeps, beside just setting the bytes of what they write.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>

#include "bench_meshes.h"

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;

constexpr unsigned layers = 10;

/// Runs a sweep of a square into `layers` layers: sweep(pos, surface, solids).
template <class Sweep>
void measure(benchmark::State& state, bool mixed, order o, Sweep sweep) {
    const mesh m = bench::square(unsigned(state.range(0)), mixed, o);
    std::size_t bytes = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids;
        if (sweep(pos, m.connect, solids) != 0 || pos.cols() != (layers + 1) * m.pos.cols() ||
            solids.cols() != layers * m.connect.cols()) {
            state.SkipWithError("no sweep");
            return;
        }
        bytes = pos.size() * sizeof(double) + solids.size() * sizeof(unsigned);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(layers * m.connect.cols()));
    state.SetBytesProcessed(state.iterations() * std::int64_t(bytes));
}

void BM_extrude_translate(benchmark::State& state, bool mixed, order o) {
    measure(state, mixed, o, [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_translate(pos, surface, {0, 0, 1}, layers, solids);
    });
}

void BM_extrude_rotate(benchmark::State& state, bool mixed, order o) {
    measure(state, mixed, o, [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_rotate(pos, surface, {-1, 0, 0}, {0, 1.5, 0}, layers, solids);
    });
}

void BM_extrude_spiral(benchmark::State& state, bool mixed, order o) {
    measure(state, mixed, o, [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_spiral(pos, surface, {-1, 0, 0}, {0, 15, 0}, {0, 2000, 0}, layers, solids);
    });
}

/// Along a straight line, the whole of it apart from the surface or from one of its nodes on.
void sweep_line(benchmark::State& state, bool mixed, order o, bool joined, const dense2D<double>& metrics) {
    mesh m = bench::square(unsigned(state.range(0)), mixed, o);
    dense1D<unsigned> line;
    const unsigned first = m.connect(0, 0);
    for (unsigned k = joined ? 1 : 0; k <= layers; ++k) {
        const double node[] = {m.pos(0, first), m.pos(1, first), double(k)};
        m.pos.append(node);
    }
    if (joined)
        line.push_back(first);
    for (auto id = unsigned(m.pos.cols()) - layers - (joined ? 0 : 1); id < m.pos.cols(); ++id)
        line.push_back(id);
    std::size_t bytes = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids;
        if (meldra3d::extrude_line(pos, m.connect, line, {0, 0, 1}, metrics, solids) != 0 ||
            solids.cols() != layers * m.connect.cols()) {
            state.SkipWithError("no sweep");
            return;
        }
        bytes = pos.size() * sizeof(double) + solids.size() * sizeof(unsigned);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(layers * m.connect.cols()));
    state.SetBytesProcessed(state.iterations() * std::int64_t(bytes));
}

void BM_extrude_line(benchmark::State& state, bool mixed, order o) {
    sweep_line(state, mixed, o, false, {});
}

void BM_extrude_line_from_the_surface(benchmark::State& state, bool mixed, order o) {
    sweep_line(state, mixed, o, true, {});
}

void BM_extrude_line_by_metrics(benchmark::State& state, bool mixed, order o) {
    dense2D<double> metrics(6, layers + 1, 0.0);
    for (unsigned k = 0; k <= layers; ++k)
        metrics(0, k) = metrics(2, k) = metrics(5, k) = 1 + k;
    sweep_line(state, mixed, o, false, metrics);
}

/// The thickness is that of a cell.
void BM_extrude_normal(benchmark::State& state, bool mixed, order o) {
    measure(state, mixed, o, [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_normal(pos, surface, 1.0, layers, solids);
    });
}

void BM_extrude_normal_vectors(benchmark::State& state, bool mixed, order o) {
    dense2D<double> shifts(3, bench::square(unsigned(state.range(0)), mixed, o).pos.cols());
    for (std::size_t k = 0; k < shifts.size(); ++k)
        shifts.data()[k] = double(k % 7);
    measure(state, mixed, o, [&](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_normal(pos, surface, shifts, layers, solids);
    });
}

/// The normals alone.
void BM_normals(benchmark::State& state, bool mixed, order o) {
    const mesh m = bench::square(unsigned(state.range(0)), mixed, o);
    int status = 0;
    for (auto _ : state) {
        dense2D<double> normals;
        status |= meldra2d::normals(m.pos, m.connect, 0, true, normals);
        benchmark::DoNotOptimize(normals.data());
    }
    if (status != 0)
        state.SkipWithError("no normals");
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

/// Fresh memory of the size of the outputs, set to one value.
void BM_memset(benchmark::State& state, bool mixed) {
    const mesh m = bench::square(unsigned(state.range(0)), mixed, order::grid);
    const std::size_t nodes = (layers + 1) * m.pos.cols() * 3 * sizeof(double);
    const std::size_t solids = layers * m.connect.cols() * 8 * sizeof(unsigned);
    for (auto _ : state)
        for (const std::size_t bytes : {nodes, solids}) {
            const std::unique_ptr<char, decltype(&std::free)> block(static_cast<char*>(std::malloc(bytes)), &std::free);
            std::memset(block.get(), 1, bytes);
            benchmark::DoNotOptimize(block.get());
        }
    state.SetItemsProcessed(state.iterations() * std::int64_t(layers * m.connect.cols()));
    state.SetBytesProcessed(state.iterations() * std::int64_t(nodes + solids));
}

} // namespace

#define MELDRA3D_MEASURE(sweep)                                                                                        \
    BENCHMARK_CAPTURE(sweep, Q4 / grid, false, order::grid)->Arg(1000)->Unit(benchmark::kMillisecond);                 \
    BENCHMARK_CAPTURE(sweep, Q4 / shuffled, false, order::shuffled)->Arg(1000)->Unit(benchmark::kMillisecond);         \
    BENCHMARK_CAPTURE(sweep, FACE_MIX / grid, true, order::grid)->Arg(816)->Unit(benchmark::kMillisecond);             \
    BENCHMARK_CAPTURE(sweep, FACE_MIX / shuffled, true, order::shuffled)->Arg(816)->Unit(benchmark::kMillisecond)

BENCHMARK_CAPTURE(BM_memset, Q4, false)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_memset, FACE_MIX, true)->Arg(816)->Unit(benchmark::kMillisecond);
MELDRA3D_MEASURE(BM_extrude_translate);
MELDRA3D_MEASURE(BM_extrude_rotate);
MELDRA3D_MEASURE(BM_extrude_spiral);
MELDRA3D_MEASURE(BM_extrude_line);
MELDRA3D_MEASURE(BM_extrude_line_from_the_surface);
MELDRA3D_MEASURE(BM_extrude_line_by_metrics);
MELDRA3D_MEASURE(BM_extrude_normal);
MELDRA3D_MEASURE(BM_extrude_normal_vectors);
MELDRA3D_MEASURE(BM_normals);
