// Quadratic conversion, beside one that finds shared edges and faces by sorting. Both give a full connectivity and all
// coordinates; the sorting one numbers the nodes in the order of their edges. Items are new nodes; bytes_per_node is
// the most memory that the library held at a time beyond its inputs, results included, for each new node.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <utility>
#include <vector>

#include "bench_meshes.h"

namespace {

std::size_t held = 0;
std::size_t most_held = 0;

} // namespace

// In the place of the library's own, to see how much it holds.
namespace quorl::numcore {

void* __vector_num_alloc(std::size_t bytes) noexcept {
    void* const block = std::malloc(bytes);
    held += block ? malloc_usable_size(block) : 0;
    most_held = std::max(most_held, held);
    return block;
}

void __vector_num_free(void* block) noexcept {
    held -= block ? malloc_usable_size(block) : 0;
    std::free(block);
}

} // namespace quorl::numcore

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;

using local = std::vector<std::vector<unsigned>>;

const local tetrahedron_edges{{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}};
const local hexahedron_edges{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                             {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
const local hexahedron_faces{{0, 3, 7, 4}, {1, 2, 6, 5}, {0, 1, 5, 4}, {2, 3, 7, 6}, {0, 1, 2, 3}, {4, 5, 6, 7}};

struct group_entry {
    std::uint64_t key;
    std::uint64_t slot; ///< element and row
};

/// An edge is told by its nodes; a quadrangle by its smallest node and the one across, as long as no two share these.
std::uint64_t key_of(const unsigned* column, const std::vector<unsigned>& nodes) {
    std::size_t least = 0;
    for (std::size_t k = 1; k < nodes.size(); ++k)
        if (column[nodes[k]] < column[nodes[least]])
            least = k;
    const unsigned across = column[nodes[(least + nodes.size() / 2) % nodes.size()]];
    return std::uint64_t(column[nodes[least]]) << 32 | across;
}

/// Numbers one node for each distinct group and places it at the mean of the group's vertices.
void add_by_sorting(const dense2D<unsigned>& connect, const local& groups, std::size_t first_row,
                    std::vector<double>& pos, dense2D<unsigned>& out) {
    std::vector<group_entry> all;
    all.reserve(groups.size() * connect.cols());
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t g = 0; g < groups.size(); ++g)
            all.push_back({key_of(connect.col(j), groups[g]), j * groups.size() + g});
    std::sort(all.begin(), all.end(), [](const group_entry& a, const group_entry& b) { return a.key < b.key; });
    for (std::size_t k = 0; k < all.size(); ++k) {
        const std::size_t j = all[k].slot / groups.size(), g = all[k].slot % groups.size();
        if (k == 0 || all[k].key != all[k - 1].key)
            for (std::size_t i = 0; i < 3; ++i) {
                double sum = 0;
                for (const unsigned v : groups[g])
                    sum += pos[3 * connect(v, j) + i];
                pos.push_back(sum / double(groups[g].size()));
            }
        out(first_row + g, j) = unsigned(pos.size() / 3 - 1);
    }
}

std::size_t by_sorting(const mesh& m) {
    const bool hexahedra = m.connect.rows() == 8;
    std::vector<double> pos(m.pos.data(), m.pos.data() + m.pos.size());
    dense2D<unsigned> out(hexahedra ? 27 : 10, m.connect.cols());
    for (std::size_t j = 0; j < m.connect.cols(); ++j)
        std::copy_n(m.connect.col(j), m.connect.rows(), out.col(j));
    add_by_sorting(m.connect, hexahedra ? hexahedron_edges : tetrahedron_edges, m.connect.rows(), pos, out);
    if (hexahedra) {
        add_by_sorting(m.connect, hexahedron_faces, 20, pos, out);
        for (std::size_t j = 0; j < m.connect.cols(); ++j) {
            for (std::size_t i = 0; i < 3; ++i) {
                double sum = 0;
                for (std::size_t v = 0; v < 8; ++v)
                    sum += pos[3 * m.connect(v, j) + i];
                pos.push_back(sum / 8);
            }
            out(26, j) = unsigned(pos.size() / 3 - 1);
        }
    }
    benchmark::DoNotOptimize(out.data());
    return pos.size() / 3 - m.pos.cols();
}

std::size_t by_meldra(const mesh& m) {
    dense2D<double> pos = m.pos;
    dense2D<unsigned> connect = m.connect;
    if (meldra3d::convert_into_quadratic(pos, connect) != 0)
        return 0;
    return pos.cols() - m.pos.cols();
}

void BM_quadratic(benchmark::State& state, mesh (*make)(unsigned, order), order o,
                  std::size_t (*convert)(const mesh&)) {
    const mesh m = make(unsigned(state.range(0)), o);
    const std::size_t before = held;
    most_held = held;
    std::size_t nodes = 0;
    for (auto _ : state)
        nodes = convert(m);
    const auto n = std::size_t(state.range(0));
    const std::size_t edges = 3 * n * (n + 1) * (n + 1);
    const std::size_t quadrangles = 3 * n * n * (n + 1);
    // The grid's edges and cells; the diagonals of its faces and cells, or their centres.
    if (nodes != edges + quadrangles + n * n * n)
        state.SkipWithError("wrong number of nodes");
    state.SetItemsProcessed(state.iterations() * std::int64_t(nodes));
    if (convert == by_meldra)
        state.counters["bytes_per_node"] = double(most_held - before) / double(nodes);
}

/// Back to the linear mesh.
void BM_linear(benchmark::State& state, mesh (*make)(unsigned, order)) {
    mesh m = make(unsigned(state.range(0)), order::grid);
    if (meldra3d::convert_into_quadratic(m.pos, m.connect) != 0)
        state.SkipWithError("no conversion");
    for (auto _ : state) {
        state.PauseTiming();
        dense2D<unsigned> connect;
        connect.copy(m.connect);
        state.ResumeTiming();
        if (meldra3d::convert_into_linear(connect) != 0)
            state.SkipWithError("no conversion");
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(m.connect.size() * sizeof(unsigned)));
}

} // namespace

// n = 55 is 998,250 tetrahedra, 100 is 1,000,000 hexahedra.
#define QUADRATIC(kind, make, n, o)                                                                                    \
    BENCHMARK_CAPTURE(BM_quadratic, kind / o / meldra, make, order::o, by_meldra)                                      \
        ->Arg(n)                                                                                                       \
        ->Unit(benchmark::kMillisecond);                                                                               \
    BENCHMARK_CAPTURE(BM_quadratic, kind / o / sorting, make, order::o, by_sorting)                                    \
        ->Arg(n)                                                                                                       \
        ->Unit(benchmark::kMillisecond)

QUADRATIC(TH4, bench::tetrahedra, 55, grid);
QUADRATIC(TH4, bench::tetrahedra, 55, shuffled);
QUADRATIC(H8, bench::hexahedra, 100, grid);
QUADRATIC(H8, bench::hexahedra, 100, shuffled);
BENCHMARK_CAPTURE(BM_linear, TH10, bench::tetrahedra)->Arg(55)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_linear, H27, bench::hexahedra)->Arg(100)->Unit(benchmark::kMillisecond);
