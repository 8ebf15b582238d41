// The distinct edges of a mesh of tetrahedra, numbered in order of first appearance: with the library's hashed table,
// with others, and (only listed, in the order of their nodes) by sorting. All start without knowing the number. Items
// are elements.

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#ifdef MELDRA3D_HAS_HOPSCOTCH
#include <tsl/hopscotch_map.h>
#endif

#ifdef MELDRA3D_HAS_ABSEIL
#include <absl/container/flat_hash_map.h>
#endif

#include "frame/element_tables.h"
#include "frame/elfes.h"
#include "frame/hbuckets.h"
#include "harness.h"

namespace {

using namespace quorl;
using namespace quorl::meldra3d::detail;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

constexpr auto& edges_of_element = tetrahedron_record.edge;
constexpr std::size_t edges_each = tetrahedron_record.edges;

std::size_t with_hbuckets(const dense2D<unsigned>& connect) {
    constexpr std::size_t elements_each = 64;
    hbuckets<keyed<elfes::edge2, unsigned>> table;
    if (!table.init(23, 23, 1.0))
        return 0;
    std::array<unsigned, 2 * edges_each * elements_each> nodes;
    std::array<unsigned, edges_each * elements_each> numbers;
    unsigned next = 0;
    for (std::size_t first = 0; first < connect.cols(); first += elements_each) {
        const std::size_t last = std::min(first + elements_each, connect.cols());
        unsigned* node = nodes.data();
        for (std::size_t j = first; j < last; ++j)
            for (std::size_t k = 0; k < edges_each; ++k) {
                const auto [a, b] = edges_of_element[k];
                *node++ = connect(a, j);
                *node++ = connect(b, j);
            }
        if (!table.number(nodes.data(), edges_each * (last - first), next, numbers.data()))
            return 0;
    }
    return std::size_t(table.size());
}

std::uint64_t packed(unsigned a, unsigned b) {
    return std::uint64_t(std::min(a, b)) << 32 | std::max(a, b);
}

/// The mixing steps of SplitMix (Steele, Lea and Flood 2014): all bits of the edge reach all bits of the hash, as
/// tables of 2^k buckets need.
struct packed_hash {
    std::size_t operator()(std::uint64_t edge) const {
        edge = (edge ^ edge >> 30) * 0xBF58476D1CE4E5B9u;
        edge = (edge ^ edge >> 27) * 0x94D049BB133111EBu;
        return edge ^ edge >> 31;
    }
};

template <class Map>
std::size_t with_map(const dense2D<unsigned>& connect) {
    Map map;
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t k = 0; k < edges_each; ++k) {
            const auto [a, b] = edges_of_element[k];
            map.insert({packed(connect(a, j), connect(b, j)), unsigned(map.size())});
        }
    return map.size();
}

std::size_t by_sorting(const dense2D<unsigned>& connect) {
    std::vector<std::uint64_t> edges;
    edges.reserve(edges_each * connect.cols());
    for (std::size_t j = 0; j < connect.cols(); ++j)
        for (std::size_t k = 0; k < edges_each; ++k) {
            const auto [a, b] = edges_of_element[k];
            edges.push_back(packed(connect(a, j), connect(b, j)));
        }
    std::sort(edges.begin(), edges.end());
    return std::size_t(std::unique(edges.begin(), edges.end()) - edges.begin());
}

/// Counted once for a mesh.
std::size_t edges_of(const mesh& m) {
    static std::map<const mesh*, std::size_t> known;
    const auto [found, is_new] = known.try_emplace(&m, 0);
    if (is_new)
        found->second = by_sorting(m.connect);
    return found->second;
}

void BM_edges(benchmark::State& state, const sample& s, std::size_t (*build)(const dense2D<unsigned>&)) {
    const mesh& m = s.mesh();
    std::size_t edges = 0;
    for (auto _ : state)
        edges = build(m.connect);
    bench::check(state, edges == edges_of(m), "wrong number of edges");
    bench::count(state, m.connect.cols(), bytes_of(m.connect) + edges * sizeof(std::uint64_t));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::million)) {
        bench::add("hbuckets", s, BM_edges, with_hbuckets);
        bench::add("hbuckets:sorting", s, BM_edges, by_sorting);
        bench::add("hbuckets:unordered_map", s, BM_edges,
                   with_map<std::unordered_map<std::uint64_t, unsigned, packed_hash>>);
#ifdef MELDRA3D_HAS_HOPSCOTCH
        bench::add("hbuckets:hopscotch_map", s, BM_edges,
                   with_map<tsl::hopscotch_map<std::uint64_t, unsigned, packed_hash>>);
#endif
#ifdef MELDRA3D_HAS_ABSEIL
        bench::add("hbuckets:flat_hash_map", s, BM_edges, with_map<absl::flat_hash_map<std::uint64_t, unsigned>>);
#endif
    }
});

} // namespace
