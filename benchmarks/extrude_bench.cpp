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

void BM_extrude_translate(benchmark::State& state, bool mixed, order o) {
    const mesh m = bench::square(unsigned(state.range(0)), mixed, o);
    std::size_t bytes = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids;
        if (meldra3d::extrude_translate(pos, m.connect, {0, 0, 1}, layers, solids) != 0 ||
            pos.cols() != (layers + 1) * m.pos.cols() || solids.cols() != layers * m.connect.cols()) {
            state.SkipWithError("no sweep");
            return;
        }
        bytes = pos.size() * sizeof(double) + solids.size() * sizeof(unsigned);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(layers * m.connect.cols()));
    state.SetBytesProcessed(state.iterations() * std::int64_t(bytes));
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

BENCHMARK_CAPTURE(BM_memset, Q4, false)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_extrude_translate, Q4 / grid, false, order::grid)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_extrude_translate, Q4 / shuffled, false, order::shuffled)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_memset, FACE_MIX, true)->Arg(816)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_extrude_translate, FACE_MIX / grid, true, order::grid)->Arg(816)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_extrude_translate, FACE_MIX / shuffled, true, order::shuffled)
    ->Arg(816)
    ->Unit(benchmark::kMillisecond);
