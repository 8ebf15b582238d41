#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "memory_limits.h"
#include "meshes.h"

// What the benchmarks share. A program registers its benchmarks from a list of meshes:
//
//     double volume_of(...)...
//     void BM_volume(benchmark::State& state, const bench::sample& s) {
//         const bench::mesh& m = s.mesh(); // made once in the process, and not to be written to
//         double vol = 0;
//         int status = 0;
//         for (auto _ : state)
//             status |= meldra3d::volume(m.pos, m.connect, vol);
//         bench::check(state, status == 0 && is_right(vol), "wrong volume");
//         bench::count(state, m.connect.cols(), bytes_of(m.pos) + bytes_of(m.connect));
//     }
//
//     const bench::suite all([] {
//         for (const auto& s : bench::samples({"TH4", "H8"}, bench::million)) {
//             bench::add("volume", s, BM_volume);                                      // BM_volume/TH4/grid/15625 ...
//             bench::add_baseline("volume:bare_loop", s, BM_bare, plain::loop, native::loop);
//         }                                                        // BM_volume:bare_loop/TH4/...,
//         BM_volume:bare_loop@native/...
//     });
//
// Names. BM_<export>/<kind>/<order>/<elements>; what is measured against it is BM_<export>:<baseline>/ and the same
// rest, so that benchmarks/report finds the pairs. <kind> is the element type, with the variant of the call behind it
// where there are several ("TH4-both-sides"). <elements> is the nominal size: a mesh has at least as many (Delaunay:
// about), and the counter `items` tells how many.
//
// Baselines compiled twice. A baseline is compiled with the library's own flags and again with -march=native. Write
// them in baselines/<family>.cpp, all in `namespace BASELINES { ... }`, declare them in baselines/<family>.h, likewise
// in `namespace BASELINES` and without a guard against a second inclusion, include it from the benchmark once for each,
//     #define BASELINES plain
//     #include "baselines/<family>.h"
//     #undef BASELINES
//     #define BASELINES native
//     #include "baselines/<family>.h"
// and name the source in CMakeLists.txt: meldra3d_add_benchmark(<family>_bench BASELINES baselines/<family>.cpp).
// The linker keeps one copy of a template that both compile, that of the plain ones: give std::sort and the like a
// function object of the namespace, so that each has a copy of its own.
//
// Running. --benchmark_filter=/1000000$ takes the sizes of the goals, --benchmark_repetitions=5 with
// --benchmark_enable_random_interleaving=true lets what else the machine does fall on all alike; ratios are those of
// the medians of cpu_time. benchmarks/report does so.
namespace bench {

/// Nominal sizes grow eightfold up to `million`; `five_million` is for what memory bounds.
constexpr std::size_t smallest = 15625;
constexpr std::size_t million = 1000000;
constexpr std::size_t five_million = 5000000;

/// A mesh by name, made when it is first asked for.
struct sample {
    std::string kind;
    order in_order;
    std::size_t elements; ///< nominal
    std::string variant = {};

    const bench::mesh& mesh() const { return mesh_of(kind, in_order, elements); }
    sample with(std::string v) const { return {kind, in_order, elements, std::move(v)}; }
    std::string name() const;
};

/// All sizes up to `largest` of each kind in each order; Delaunay meshes are of tetrahedra and have up to a million.
std::vector<sample> samples(const std::vector<std::string>& kinds, std::size_t largest,
                            const std::vector<order>& orders = {order::grid, order::shuffled, order::delaunay});

/// Calls its argument before main: registers the benchmarks of a program.
struct suite {
    template <class Register>
    explicit suite(Register all) {
        all();
    }
};

/// Registers body(state, sample, arguments...) as BM_<what>/<sample>.
template <class Body, class... Arguments>
void add(const std::string& what, const sample& s, Body body, Arguments... arguments) {
    const auto run = [=](benchmark::State& state) {
        back_memory(s.elements * 2048);
        body(state, s, arguments...);
    };
    benchmark::RegisterBenchmark(("BM_" + what + "/" + s.name()).c_str(), run)->Unit(benchmark::kMillisecond);
}

/// Registers a baseline in both its compilations: body(state, sample, function).
template <class Body, class Function>
void add_baseline(const std::string& what, const sample& s, Body body, Function plain, Function native) {
    add(what, s, body, plain);
    add(what + "@native", s, body, native);
}

/// After the loop: a benchmark whose result is wrong fails.
inline void check(benchmark::State& state, bool right, const char* why) {
    if (!right)
        state.SkipWithError(why);
}

/// Counters of one iteration that handles `items` and has to read or write `bytes` at least: items a second, bytes an
/// item, and the bytes a second as a share of what copying reaches here (reads and writes counted).
void count(benchmark::State& state, std::size_t items, std::size_t bytes);

template <class T>
std::size_t bytes_of(const quorl::dense2D<T>& a) {
    return a.rows() * a.cols() * sizeof(T);
}

template <class T>
std::size_t bytes_of(const quorl::dense1D<T>& a) {
    return a.size() * sizeof(T);
}

} // namespace bench
