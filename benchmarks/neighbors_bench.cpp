// Neighbours across faces, beside three ways that one would write for tetrahedra. Items are elements.

#include "harness.h"

#define BASELINES plain
#include "baselines/neighbors.h"
#undef BASELINES
#define BASELINES native
#include "baselines/neighbors.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::fresh_memory;
using bench::mesh;
using bench::sample;

element_type type_of(const std::string& kind) {
    return kind == "TH4"   ? ET_TH4
           : kind == "H8"  ? ET_H8
           : kind == "W6"  ? ET_W6
           : kind == "PY5" ? ET_PY5
           : kind == "Q4"  ? ET_Q4
                           : ET_SOLID_MIX;
}

/// Across each face lies an element that has this one across a face of its own.
bool mutual(const dense2D<unsigned>& neighbors) {
    for (std::size_t j = 0; j < neighbors.cols(); ++j)
        for (std::size_t f = 0; f < neighbors.rows(); ++f) {
            const unsigned other = neighbors(f, j);
            if (other == no_node)
                continue;
            const unsigned* const back = neighbors.col(other);
            if (other >= neighbors.cols() ||
                std::find(back, back + neighbors.rows(), unsigned(j)) == back + neighbors.rows())
                return false;
        }
    return true;
}

void BM_get_neighbors(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<unsigned> neighbors;
    int status = 0;
    for (auto _ : state) {
        neighbors = {};
        status |= meldra::get_neighbors(m.connect, type_of(s.kind), true, neighbors);
    }
    bench::check(state, status == 0 && neighbors.cols() == m.connect.cols() && mutual(neighbors), "wrong neighbours");
    bench::count(state, m.connect.cols(), bytes_of(m.connect) + bytes_of(neighbors));
}

using way = decltype(plain::neighbors_by_sorting);

/// Does the same where faces are shared by three and by four elements?
bool same_where_many_share(way* find) {
    mesh m;
    m.connect.copy(bench::mesh_of("TH4", bench::order::shuffled, bench::smallest).connect);
    const std::size_t n = m.connect.cols();
    for (std::size_t j = 0; j < n; j += 100)
        for (std::size_t copies = 0; copies <= j % 200 / 100; ++copies)
            m.connect.append(m.connect.col(j));
    const auto nodes = unsigned(n); // more than there are
    std::vector<unsigned> found(4 * m.connect.cols());
    const auto by_hand = [&](bool strict) {
        return find(m.connect.data(), m.connect.cols(), nodes, strict, found.data());
    };
    dense2D<unsigned> expected;
    return meldra::get_neighbors(m.connect, ET_TH4, true, expected) == by_hand(true) &&
           meldra::get_neighbors(m.connect, ET_TH4, false, expected) == 0 && by_hand(false) == 0 &&
           std::equal(found.begin(), found.end(), expected.data());
}

void BM_by_hand(benchmark::State& state, const sample& s, way* find) {
    const mesh& m = s.mesh();
    dense2D<unsigned> expected;
    bool right = meldra::get_neighbors(m.connect, ET_TH4, true, expected) == 0;
    for (auto _ : state) {
        const fresh_memory neighbors(bytes_of(expected), fresh_memory::pages::huge);
        right = find(m.connect.data(), m.connect.cols(), unsigned(m.pos.cols()), true, neighbors.as<unsigned>()) == 0 &&
                right;
        benchmark::ClobberMemory();
        state.PauseTiming();
        right = right && std::equal(expected.data(), expected.data() + expected.size(), neighbors.as<unsigned>());
        state.ResumeTiming();
    }
    bench::check(state, right && same_where_many_share(find), "other neighbours");
    bench::count(state, m.connect.cols(), bytes_of(m.connect) + bytes_of(expected));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4"}, bench::five_million)) {
        bench::add("get_neighbors", s, BM_get_neighbors);
        bench::add_baseline("get_neighbors:counting_sort", s, BM_by_hand, plain::neighbors_by_counting_sort,
                            native::neighbors_by_counting_sort);
        bench::add_baseline("get_neighbors:open_addressing", s, BM_by_hand, plain::neighbors_by_open_addressing,
                            native::neighbors_by_open_addressing);
        if (s.elements <= bench::million)
            bench::add_baseline("get_neighbors:sorting", s, BM_by_hand, plain::neighbors_by_sorting,
                                native::neighbors_by_sorting);
    }
    for (const sample& s :
         bench::samples({"H8", "W6", "PY5", "SOLID_MIX", "Q4"}, bench::million, {bench::order::shuffled}))
        bench::add("get_neighbors", s, BM_get_neighbors);
});

} // namespace
