// Quadratic conversion by other hash tables, as one would write it with them: the IDs are checked, there is room for
// all edges and faces from the start, coordinates and a full connectivity are the results.

#include <memory>
#include <utility>
#include <vector>

#ifdef MELDRA3D_HAS_HOPSCOTCH
#include <tsl/hopscotch_map.h>
#endif
#ifdef MELDRA3D_HAS_ABSEIL
#include <absl/container/flat_hash_map.h>
#endif

#include "harness.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

constexpr unsigned tetrahedron_edges[6][2] = {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}};
constexpr unsigned hexahedron_edges[12][2] = {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6},
                                              {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
constexpr unsigned hexahedron_faces[6][4] = {{0, 3, 7, 4}, {1, 2, 6, 5}, {0, 1, 5, 4},
                                             {2, 3, 7, 6}, {0, 1, 2, 3}, {4, 5, 6, 7}};

std::uint64_t packed(unsigned a, unsigned b) {
    return std::uint64_t(std::min(a, b)) << 32 | std::max(a, b);
}

using quadrangle = std::pair<std::uint64_t, std::uint64_t>;

/// A quadrangle by the pairs of nodes across from each other, first the one with the smallest node. (Two quadrangles
/// may have three nodes in common.)
quadrangle packed(const unsigned* column, const unsigned (&face)[4]) {
    unsigned least = 0;
    for (unsigned k = 1; k < 4; ++k)
        if (column[face[k]] < column[face[least]])
            least = k;
    const auto node = [&](unsigned k) { return column[face[(least + k) % 4]]; };
    return {packed(node(0), node(2)), packed(node(1), node(3))};
}

/// The mixing steps of SplitMix (Steele, Lea and Flood 2014), for tables of 2^k buckets that do not mix themselves.
struct mixed {
    std::size_t operator()(std::uint64_t key) const {
        key = (key ^ key >> 30) * 0xBF58476D1CE4E5B9u;
        key = (key ^ key >> 27) * 0x94D049BB133111EBu;
        return key ^ key >> 31;
    }
    std::size_t operator()(const quadrangle& key) const { return (*this)(key.first + (*this)(key.second)); }
};

/// Appends the mean of some corners.
template <std::size_t N>
void add_mean(std::vector<double>& pos, const unsigned* column, const unsigned (&corners)[N]) {
    double sum[3] = {0, 0, 0};
    for (const unsigned corner : corners)
        for (unsigned i = 0; i < 3; ++i)
            sum[i] += pos[3 * std::size_t(column[corner]) + i];
    for (const double s : sum)
        pos.push_back(s / double(N));
}

struct quadratic_mesh {
    std::vector<double> pos;
    std::unique_ptr<unsigned[]> connect;
};

template <class Map, std::size_t Edges>
void add_edges(Map& map, const unsigned* column, const unsigned (&edges)[Edges][2], std::vector<double>& pos,
               unsigned* out) {
    for (std::size_t k = 0; k < Edges; ++k) {
        const auto next = unsigned(pos.size() / 3);
        const auto [found, is_new] = map.try_emplace(packed(column[edges[k][0]], column[edges[k][1]]), next);
        if (is_new)
            add_mean(pos, column, edges[k]);
        out[k] = found->second;
    }
}

bool all_below(const mesh& m) {
    unsigned beyond = 0;
    for (std::size_t k = 0; k < m.connect.size(); ++k)
        beyond |= m.connect.data()[k] >= m.pos.cols() ? 1u : 0u;
    return beyond == 0;
}

template <class Map>
quadratic_mesh tetrahedra_of_10(const mesh& m) {
    const std::size_t n = m.connect.cols();
    quadratic_mesh made{{m.pos.data(), m.pos.data() + m.pos.size()},
                        std::make_unique_for_overwrite<unsigned[]>(10 * n)};
    const std::size_t edges = n + 2 * m.pos.cols(); // a closed manifold's, and some for the boundary
    made.pos.reserve(3 * (m.pos.cols() + edges));
    Map map;
    map.reserve(edges);
    for (std::size_t j = 0; j < n; ++j) {
        unsigned* const out = made.connect.get() + 10 * j;
        std::copy_n(m.connect.col(j), 4, out);
        add_edges(map, m.connect.col(j), tetrahedron_edges, made.pos, out + 4);
    }
    return made;
}

template <class EdgeMap, class FaceMap>
quadratic_mesh hexahedra_of_27(const mesh& m) {
    constexpr unsigned corners[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    const std::size_t n = m.connect.cols();
    quadratic_mesh made{{m.pos.data(), m.pos.data() + m.pos.size()},
                        std::make_unique_for_overwrite<unsigned[]>(27 * n)};
    made.pos.reserve(3 * (m.pos.cols() + 8 * n));
    EdgeMap edges;
    FaceMap faces;
    edges.reserve(3 * n + n / 8);
    faces.reserve(3 * n + n / 8);
    for (std::size_t j = 0; j < n; ++j) {
        const unsigned* const column = m.connect.col(j);
        unsigned* const out = made.connect.get() + 27 * j;
        std::copy_n(column, 8, out);
        add_edges(edges, column, hexahedron_edges, made.pos, out + 8);
        for (std::size_t k = 0; k < 6; ++k) {
            const auto next = unsigned(made.pos.size() / 3);
            const auto [found, is_new] = faces.try_emplace(packed(column, hexahedron_faces[k]), next);
            if (is_new)
                add_mean(made.pos, column, hexahedron_faces[k]);
            out[20 + k] = found->second;
        }
        out[26] = unsigned(made.pos.size() / 3);
        add_mean(made.pos, column, corners);
    }
    return made;
}

template <class EdgeMap, class FaceMap>
quadratic_mesh quadratic(const mesh& m) {
    if (!all_below(m))
        return {};
    return m.connect.rows() == 4 ? tetrahedra_of_10<EdgeMap>(m) : hexahedra_of_27<EdgeMap, FaceMap>(m);
}

template <class EdgeMap, class FaceMap>
void BM_with_maps(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    quadratic_mesh made;
    for (auto _ : state) {
        made = {};
        made = quadratic<EdgeMap, FaceMap>(m);
        benchmark::DoNotOptimize(made.connect.get());
    }
    dense2D<double> pos = m.pos;
    dense2D<unsigned> connect = m.connect;
    const int status = meldra3d::convert_into_quadratic(pos, connect);
    bench::check(state,
                 status == 0 && pos.size() == made.pos.size() && // the numbers are the same, too
                     std::equal(connect.data(), connect.data() + connect.size(), made.connect.get()),
                 "another mesh");
    bench::count(state, m.connect.cols(), bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(pos) + bytes_of(connect));
}

void BM_convert_into_quadratic(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    mesh made;
    int status = 0;
    for (auto _ : state) {
        made = {};
        made = m;
        status |= meldra3d::convert_into_quadratic(made.pos, made.connect);
    }
    bench::check(state, status == 0, "not quadratic");
    bench::count(state, m.connect.cols(),
                 bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(made.pos) + bytes_of(made.connect));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4", "H8"}, bench::million)) {
        bench::add("convert_into_quadratic", s, BM_convert_into_quadratic);
#ifdef MELDRA3D_HAS_HOPSCOTCH
        bench::add("convert_into_quadratic:hopscotch_map", s,
                   BM_with_maps<tsl::hopscotch_map<std::uint64_t, unsigned, mixed>,
                                tsl::hopscotch_map<quadrangle, unsigned, mixed>>);
#endif
#ifdef MELDRA3D_HAS_ABSEIL
        bench::add(
            "convert_into_quadratic:flat_hash_map", s,
            BM_with_maps<absl::flat_hash_map<std::uint64_t, unsigned>, absl::flat_hash_map<quadrangle, unsigned>>);
#endif
    }
});

} // namespace
