// Neighbours, beside what one would write without the library.

#include <benchmark/benchmark.h>

#include <array>
#include <tuple>
#include <unordered_map>

#include "bench_meshes.h"

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;

using triangle = std::array<unsigned, 3>;

triangle sorted_face(const unsigned* tetrahedron, unsigned face) {
    constexpr unsigned corners[4][3] = {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    triangle t{tetrahedron[corners[face][0]], tetrahedron[corners[face][1]], tetrahedron[corners[face][2]]};
    std::sort(t.begin(), t.end());
    return t;
}

/// Baseline: sort all faces and pair equal ones.
void neighbors_by_sorting(const dense2D<unsigned>& connect, dense2D<unsigned>& neighbors) {
    struct face {
        triangle nodes;
        unsigned slot;
    };
    std::vector<face> faces(4 * connect.cols());
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (unsigned f = 0; f < 4; ++f)
            faces[4 * j + f] = {sorted_face(connect.col(j), f), unsigned(4 * j + f)};
    std::sort(faces.begin(), faces.end(), [](const face& a, const face& b) { return a.nodes < b.nodes; });
    neighbors.resize(4, connect.cols(), no_node);
    for (std::size_t k = 0; k + 1 < faces.size(); ++k)
        if (faces[k].nodes == faces[k + 1].nodes) {
            neighbors.data()[faces[k].slot] = faces[k + 1].slot / 4;
            neighbors.data()[faces[k + 1].slot] = faces[k].slot / 4;
            ++k;
        }
}

struct triangle_hash {
    std::size_t operator()(const triangle& t) const {
        return ((std::size_t(t[0]) * 73856093u) ^ (std::size_t(t[1]) * 19349663u) ^ (std::size_t(t[2]) * 83492791u));
    }
};

/// Baseline: one hash map of all faces, of which both elements have been seen once the second comes.
void neighbors_by_unordered_map(const dense2D<unsigned>& connect, dense2D<unsigned>& neighbors) {
    std::unordered_map<triangle, unsigned, triangle_hash> seen;
    seen.reserve(2 * connect.cols() + connect.cols() / 8);
    neighbors.resize(4, connect.cols(), no_node);
    for (unsigned j = 0; j < connect.cols(); ++j)
        for (unsigned f = 0; f < 4; ++f) {
            const auto [other, is_new] = seen.try_emplace(sorted_face(connect.col(j), f), 4 * j + f);
            if (is_new)
                continue;
            neighbors(f, j) = other->second / 4;
            neighbors.data()[other->second] = j;
        }
}

void neighbors_by_meldra(const dense2D<unsigned>& connect, dense2D<unsigned>& neighbors) {
    if (meldra::get_neighbors(connect, ET_TH4, false, neighbors) != 0)
        neighbors.clear();
}

bool equal(const dense2D<unsigned>& a, const dense2D<unsigned>& b) {
    return a.rows() == b.rows() && a.cols() == b.cols() && std::equal(a.data(), a.data() + a.size(), b.data());
}

template <class Build>
void BM_neighbors_TH4(benchmark::State& state, order o, Build build) {
    const mesh m = bench::tetrahedra(unsigned(state.range(0)), o);
    dense2D<unsigned> neighbors;
    for (auto _ : state) {
        neighbors = dense2D<unsigned>();
        build(m.connect, neighbors);
    }
    dense2D<unsigned> expected;
    neighbors_by_sorting(m.connect, expected);
    if (!equal(neighbors, expected))
        state.SkipWithError("wrong neighbours");
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

void BM_get_neighbors(benchmark::State& state, element_type type, mesh (*make)(unsigned, order), order o) {
    const mesh m = make(unsigned(state.range(0)), o);
    dense2D<unsigned> neighbors;
    int status = 0;
    for (auto _ : state) {
        neighbors = dense2D<unsigned>();
        status |= meldra::get_neighbors(m.connect, type, true, neighbors);
    }
    if (status != 0 || neighbors.cols() != m.connect.cols())
        state.SkipWithError("no neighbours");
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connect.cols()));
}

} // namespace

// n = 55 is 998,250 tetrahedra, 94 is 4,983,504; 100 is 1,000,000 hexahedra.
#define NEIGHBORS_OF(o)                                                                                                \
    BENCHMARK_CAPTURE(BM_neighbors_TH4, meldra / o, order::o, neighbors_by_meldra)                                     \
        ->Arg(27)                                                                                                      \
        ->Arg(55)                                                                                                      \
        ->Arg(94)                                                                                                      \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_neighbors_TH4, sorting / o, order::o, neighbors_by_sorting)                                   \
        ->Arg(27)                                                                                                      \
        ->Arg(55)                                                                                                      \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_neighbors_TH4, unordered_map / o, order::o, neighbors_by_unordered_map)                       \
        ->Arg(27)                                                                                                      \
        ->Arg(55)                                                                                                      \
        ->Unit(benchmark::kMillisecond)
NEIGHBORS_OF(shuffled);
NEIGHBORS_OF(grid);
BENCHMARK_CAPTURE(BM_get_neighbors, H8 / shuffled, ET_H8, bench::hexahedra, order::shuffled)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_get_neighbors, SOLID_MIX / shuffled, ET_SOLID_MIX, bench::hexahedra, order::shuffled)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_get_neighbors, W6 / shuffled, ET_W6, bench::wedges, order::shuffled)
    ->Arg(79)
    ->Unit(benchmark::kMillisecond);
