// The volume, beside just reading the same memory in the same order.

#include <benchmark/benchmark.h>

#include "bench_meshes.h"

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;

/// Reads each column and the coordinates of its nodes, and adds them in four sums that do not wait for one another.
double read_all(const mesh& m) {
    double sum[4] = {0, 0, 0, 0};
    const std::size_t rows = m.connect.rows();
    const double* const x = m.pos.data();
    const unsigned* column = m.connect.data();
    for (std::size_t j = 0; j < m.connect.cols(); ++j, column += rows)
        for (std::size_t k = 0; k < rows; ++k) {
            const double* const p = x + 3 * std::size_t(column[k]);
            sum[k % 4] += p[0] + p[1] + p[2];
        }
    return sum[0] + sum[1] + sum[2] + sum[3];
}

void count(benchmark::State& state, const mesh& m) {
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

void BM_read(benchmark::State& state, mesh (*make)(unsigned, order), order o) {
    const mesh m = make(unsigned(state.range(0)), o);
    for (auto _ : state)
        benchmark::DoNotOptimize(read_all(m));
    count(state, m);
}

void BM_volume(benchmark::State& state, mesh (*make)(unsigned, order), order o) {
    const mesh m = make(unsigned(state.range(0)), o);
    double vol = 0;
    int status = 0;
    for (auto _ : state) {
        status |= meldra3d::volume(m.pos, m.connect, vol);
        benchmark::DoNotOptimize(vol);
    }
    const double n = double(state.range(0));
    if (status != 0 || std::fabs(vol / (n * n * n) - 1) > 0.05)
        state.SkipWithError("wrong volume");
    count(state, m);
}

} // namespace

#define PAIR(kind, make, n, o)                                                                                         \
    BENCHMARK_CAPTURE(BM_read, kind / o, make, order::o)->Arg(n)->Unit(benchmark::kMillisecond);                       \
    BENCHMARK_CAPTURE(BM_volume, kind / o, make, order::o)->Arg(n)->Unit(benchmark::kMillisecond)

PAIR(TH4, bench::tetrahedra, 94, grid);
PAIR(TH4, bench::tetrahedra, 94, shuffled);
PAIR(W6, bench::wedges, 79, grid);
PAIR(W6, bench::wedges, 79, shuffled);
PAIR(H8, bench::hexahedra, 136, grid);
PAIR(H8, bench::hexahedra, 136, shuffled);
