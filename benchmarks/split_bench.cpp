// The flips, beside changing every entry of the same memory in place.

#include <benchmark/benchmark.h>

#include "bench_meshes.h"

namespace {

using namespace quorl;

dense2D<unsigned> connectivity(std::size_t rows, std::size_t bytes) {
    dense2D<unsigned> connect(rows, bytes / sizeof(unsigned) / rows);
    for (std::size_t k = 0; k < connect.size(); ++k)
        connect.data()[k] = unsigned(k);
    return connect;
}

void count(benchmark::State& state, const dense2D<unsigned>& connect) {
    state.SetBytesProcessed(state.iterations() * std::int64_t(connect.size() * sizeof(unsigned)));
}

void BM_change_in_place(benchmark::State& state, std::size_t rows) {
    auto connect = connectivity(rows, std::size_t(state.range(0)) << 10);
    unsigned* const data = connect.data();
    for (auto _ : state) {
        for (std::size_t k = 0; k < connect.size(); ++k)
            data[k] ^= 1u;
        benchmark::ClobberMemory();
    }
    count(state, connect);
}

void BM_flip(benchmark::State& state, std::size_t rows, int (*call)(dense2D<unsigned>&)) {
    auto connect = connectivity(rows, std::size_t(state.range(0)) << 10);
    const auto before = connect(0, 0);
    int status = 0;
    std::size_t times = 0;
    for (auto _ : state) {
        status |= call(connect);
        benchmark::ClobberMemory();
        ++times;
    }
    if (status != 0 || (connect(0, 0) == before) != (times % 2 == 0))
        state.SkipWithError("wrong flip");
    count(state, connect);
}

template <element_type Type>
int flip_type(dense2D<unsigned>& connect) {
    return meldra3d::flip(connect, Type);
}

} // namespace

// Within the second-level cache, and far beyond what one core holds.
#define PAIR(kind, rows, call)                                                                                         \
    BENCHMARK_CAPTURE(BM_change_in_place, kind, rows)->Arg(512)->Arg(256 << 10)->Unit(benchmark::kMicrosecond);        \
    BENCHMARK_CAPTURE(BM_flip, kind, rows, call)->Arg(512)->Arg(256 << 10)->Unit(benchmark::kMicrosecond)

PAIR(TH4, 4, flip_type<ET_TH4>);
PAIR(TH10, 10, flip_type<ET_TH10>);
PAIR(PY5, 5, flip_type<ET_PY5>);
PAIR(PY14, 14, flip_type<ET_PY14>);
PAIR(W6, 6, flip_type<ET_W6>);
PAIR(W18, 18, flip_type<ET_W18>);
PAIR(H8, 8, flip_type<ET_H8>);
PAIR(H27, 27, flip_type<ET_H27>);
PAIR(SOLID_MIX, 27, flip_type<ET_SOLID_MIX>);
PAIR(flip_TH4, 4, meldra3d::flip_TH4);
PAIR(flip_W6, 6, meldra3d::flip_W6);
PAIR(flip_H8, 8, meldra3d::flip_H8);
