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
