// Opening a mesh of tetrahedra along two levels of faces, beside what the call cannot do without: the checks of its
// arguments and a copy of the connectivity. Items are surface nodes and sides.

#include <map>

#include "harness.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

/// A mesh, what the opening needs of it, and triangles of two of its levels: 10,000 at most.
struct opening {
    const mesh& solids;
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    dense2D<unsigned> surface{3, 0};
    std::size_t surface_nodes = 0;

    explicit opening(const mesh& m) : solids(m) {
        meldra::get_neighbors(m.connect, ET_TH4, true, neighbors);
        meldra::get_ancestors(m.connect, ancestors);
        const long n = std::lround(std::cbrt(double(m.pos.cols()))) - 1;
        const long reach = std::min(n, 50l); // on each level 2 x 50 x 50 triangles
        const auto at = [&](std::size_t i, unsigned node) { return std::lround(m.pos(i, node)); };
        const unsigned faces[4][3] = {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
        std::vector<bool> known(m.pos.cols(), false);
        for (std::size_t j = 0; j < m.connect.cols(); ++j)
            for (std::size_t f = 0; f < 4; ++f) {
                unsigned nodes[3];
                for (unsigned k = 0; k < 3; ++k)
                    nodes[k] = m.connect(faces[f][k], j);
                const long level = at(2, nodes[0]);
                bool wanted = (level == n / 3 || level == 2 * n / 3) && at(2, m.connect(f, j)) > level;
                for (const unsigned node : nodes)
                    wanted = wanted && at(2, node) == level && at(0, node) <= reach && at(1, node) <= reach;
                if (!wanted)
                    continue;
                surface.append(nodes);
                for (const unsigned node : nodes)
                    if (!known[node]) {
                        known[node] = true;
                        ++surface_nodes;
                    }
            }
    }
};

const opening& opening_of(const sample& s) {
    static std::map<const mesh*, opening> made;
    return made.try_emplace(&s.mesh(), s.mesh()).first->second;
}

void count(benchmark::State& state, const opening& o, std::size_t sides) {
    bench::count(state, o.surface_nodes * sides,
                 bytes_of(o.solids.pos) + 2 * bytes_of(o.solids.connect) + bytes_of(o.neighbors));
    state.counters["faces"] = double(o.surface.cols());
}

void BM_checks_and_copy(benchmark::State& state, const sample& s, std::size_t sides) {
    const opening& o = opening_of(s);
    const auto nodes = unsigned(o.solids.pos.cols());
    bool good = true;
    for (auto _ : state) {
        dense2D<unsigned> copy;
        dense2D<double> pos = o.solids.pos;
        good = good && meldra::check_IDs(o.solids.connect, ET_TH4, nodes) &&
               meldra::check_IDs(o.neighbors, unsigned(o.solids.connect.cols())) &&
               meldra::check_IDs(o.solids.connect, nodes) && copy.copy(o.solids.connect) &&
               pos.resize(3, nodes + o.surface_nodes * sides);
        benchmark::DoNotOptimize(copy.data());
    }
    bench::check(state, good, "bad mesh");
    count(state, o, sides);
}

void BM_duplicate_surface_nodes(benchmark::State& state, const sample& s, std::size_t sides) {
    const opening& o = opening_of(s);
    int added = 0;
    for (auto _ : state) {
        dense2D<double> pos = o.solids.pos;
        dense2D<unsigned> connect = o.solids.connect;
        added = meldra3d::duplicate_surface_nodes(pos, connect, o.neighbors, o.ancestors, o.surface, {}, true,
                                                  sides == 2, ET_TH4);
    }
    bench::check(state, added > 0 && std::size_t(added) == o.surface_nodes * sides, "wrong opening");
    count(state, o, sides);
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::million, {bench::order::grid, bench::order::shuffled}))
        for (const std::size_t sides : {1u, 2u}) {
            const sample shown = s.with(sides == 1 ? "one-side" : "both-sides");
            bench::add("duplicate_surface_nodes", shown, BM_duplicate_surface_nodes, sides);
            bench::add("duplicate_surface_nodes:checks_and_copy", shown, BM_checks_and_copy, sides);
        }
});

} // namespace
