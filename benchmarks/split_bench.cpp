// The flips, beside changing every entry of the same memory in place; the cut along quadrangles, beside copying the
// connectivity; the split into hexahedra, beside the order conversion that makes its nodes. Items are elements.

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

/// Hexahedra, and the quadrangles of every layer-th level of the grid.
struct cut_mesh {
    bench::mesh solids;
    dense2D<unsigned> quadrangles{4, 0};
    dense1D<unsigned, 8> diagonals;

    cut_mesh(unsigned n, unsigned layer, bench::order o) : solids(bench::hexahedra(n, o)) {
        const auto& connect = solids.connect;
        for (std::size_t j = 0; j < connect.cols(); ++j)
            if (std::lround(solids.pos(2, connect(0, j))) % layer == 0) {
                quadrangles.append(connect.col(j)); // its base
                diagonals.push_back(0);
            }
    }
};

void BM_copy(benchmark::State& state, bench::order o) {
    const bench::mesh m = bench::hexahedra(unsigned(state.range(0)), o);
    for (auto _ : state) {
        dense2D<unsigned> out(8, 0);
        out.reserve(8, m.connect.cols(), 1);
        for (std::size_t j = 0; j < m.connect.cols(); ++j)
            out.append(m.connect.col(j));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

void BM_split_solid_Q4(benchmark::State& state, unsigned layer, bench::order o) {
    const cut_mesh m(unsigned(state.range(0)), layer, o);
    std::size_t failures = 0;
    std::size_t pieces = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.solids.pos;
        dense2D<unsigned> out;
        dense1D<unsigned, 8> failed;
        meldra3d::split_solid_Q4(pos, m.solids.connect, m.quadrangles, m.diagonals, 0, failed, out);
        failures += failed.size();
        pieces = out.cols();
    }
    if (failures != 0 || pieces <= m.solids.connect.cols())
        state.SkipWithError("wrong cut");
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.solids.connect.cols()));
}

using mesh_maker = bench::mesh (*)(unsigned, bench::order);

void BM_nodes_of_split(benchmark::State& state, mesh_maker make, bench::order o) {
    const bench::mesh m = make(unsigned(state.range(0)), o);
    dense2D<unsigned> none;
    int status = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> refined;
        status |= meldra3d::convert_into_high_order(pos, m.connect, 1, 1, 1, 1, 1, 1, 1, refined, none, none);
    }
    if (status != 0)
        state.SkipWithError("no conversion");
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

void BM_split_into_H8(benchmark::State& state, mesh_maker make, bench::order o) {
    const bench::mesh m = make(unsigned(state.range(0)), o);
    dense2D<unsigned> none;
    int status = 0;
    std::size_t pieces = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> out;
        status |= meldra3d::split_into_H8(pos, m.connect, out, none, none);
        pieces = out.cols();
    }
    if (status != 0 || pieces != m.connect.rows() * m.connect.cols()) // one at each vertex
        state.SkipWithError("wrong split");
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
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

#define CUT(o)                                                                                                         \
    BENCHMARK_CAPTURE(BM_copy, o, bench::order::o)->Arg(80)->Unit(benchmark::kMillisecond);                            \
    BENCHMARK_CAPTURE(BM_split_solid_Q4, one level / o, 1000, bench::order::o)                                         \
        ->Arg(80)                                                                                                      \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_split_solid_Q4, every level / o, 1, bench::order::o)->Arg(80)->Unit(benchmark::kMillisecond)

CUT(grid);
CUT(shuffled);

#define INTO_H8(kind, make, n, o)                                                                                      \
    BENCHMARK_CAPTURE(BM_nodes_of_split, kind / o, make, bench::order::o)->Arg(n)->Unit(benchmark::kMillisecond);      \
    BENCHMARK_CAPTURE(BM_split_into_H8, kind / o, make, bench::order::o)->Arg(n)->Unit(benchmark::kMillisecond)

INTO_H8(TH4, bench::tetrahedra, 40, grid);
INTO_H8(TH4, bench::tetrahedra, 40, shuffled);
INTO_H8(W6, bench::wedges, 50, grid);
INTO_H8(W6, bench::wedges, 50, shuffled);
INTO_H8(H8, bench::hexahedra, 60, grid);
INTO_H8(H8, bench::hexahedra, 60, shuffled);
