// Opening a mesh of tetrahedra along a plane of faces, beside what the call cannot do without: the checks of its
// arguments and a copy of the connectivity. Items are surface nodes and sides.

#include <benchmark/benchmark.h>

#include "bench_meshes.h"

namespace {

using namespace quorl;

/// A mesh, what the opening needs of it, and the triangles of its middle plane.
struct opening_mesh {
    bench::mesh solids;
    dense2D<unsigned> neighbors;
    dense1D<unsigned, 8> ancestors;
    dense2D<unsigned> surface{3, 0};
    std::size_t surface_nodes;

    opening_mesh(unsigned n, bench::order o) : solids(bench::tetrahedra(n, o)), surface_nodes((n + 1) * (n + 1)) {
        meldra::get_neighbors(solids.connect, ET_TH4, true, neighbors);
        meldra::get_ancestors(solids.connect, ancestors);
        const unsigned faces[4][3] = {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
        for (std::size_t j = 0; j < solids.connect.cols(); ++j)
            for (const auto& face : faces) {
                unsigned nodes[3];
                bool on_plane = true, above = false;
                for (unsigned k = 0; k < 3; ++k) {
                    nodes[k] = solids.connect(face[k], j);
                    on_plane = on_plane && std::lround(solids.pos(2, nodes[k])) == n / 2;
                }
                for (unsigned k = 0; k < 4; ++k)
                    above = above || std::lround(solids.pos(2, solids.connect(k, j))) > n / 2;
                if (on_plane && above)
                    surface.append(nodes);
            }
    }
};

void count(benchmark::State& state, const opening_mesh& m, std::size_t sides) {
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.surface_nodes * sides));
    state.counters["faces"] = double(m.surface.cols());
}

void BM_checks_and_copy(benchmark::State& state, bench::order o) {
    const opening_mesh m(unsigned(state.range(0)), o);
    const auto nodes = unsigned(m.solids.pos.cols());
    bool good = true;
    for (auto _ : state) {
        dense2D<unsigned> copy;
        dense2D<double> pos = m.solids.pos;
        good = good && meldra::check_IDs(m.solids.connect, ET_TH4, nodes) &&
               meldra::check_IDs(m.neighbors, unsigned(m.solids.connect.cols())) &&
               meldra::check_IDs(m.solids.connect, nodes) && copy.copy(m.solids.connect) &&
               pos.resize(3, nodes + m.surface_nodes);
        benchmark::DoNotOptimize(copy.data());
    }
    if (!good)
        state.SkipWithError("bad mesh");
    count(state, m, 1);
}

void BM_duplicate_surface_nodes(benchmark::State& state, bench::order o, bool both) {
    const opening_mesh m(unsigned(state.range(0)), o);
    std::size_t added = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.solids.pos;
        dense2D<unsigned> connect = m.solids.connect;
        added = std::size_t(meldra3d::duplicate_surface_nodes(pos, connect, m.neighbors, m.ancestors, m.surface, {},
                                                              true, both, ET_TH4));
    }
    if (added != m.surface_nodes * (both ? 2 : 1))
        state.SkipWithError("wrong opening");
    count(state, m, both ? 2 : 1);
}

} // namespace

// 70 is 2,058,000 tetrahedra and 9,800 faces.
#define OPEN(o)                                                                                                        \
    BENCHMARK_CAPTURE(BM_checks_and_copy, TH4 / o, bench::order::o)->Arg(70)->Unit(benchmark::kMillisecond);           \
    BENCHMARK_CAPTURE(BM_duplicate_surface_nodes, TH4 one side / o, bench::order::o, false)                            \
        ->Arg(70)                                                                                                      \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_duplicate_surface_nodes, TH4 both sides / o, bench::order::o, true)                           \
        ->Arg(70)                                                                                                      \
        ->Unit(benchmark::kMillisecond)

OPEN(grid);
OPEN(shuffled);
