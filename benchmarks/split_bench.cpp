// The flips, beside bare loops in place; the cut along quadrangles, beside a copy of the connectivity, column by
// column. Items are elements. The cut into hexahedra is measured with the conversions.

#include "harness.h"

#define BASELINES plain
#include "baselines/flip.h"
#undef BASELINES
#define BASELINES native
#include "baselines/flip.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

/// Runs flip(connect) on a copy, which must be another mesh after one call and the same after two.
template <class Flip>
void measure(benchmark::State& state, const sample& s, Flip flip) {
    const mesh& m = s.mesh();
    dense2D<unsigned> connect;
    connect.copy(m.connect);
    const auto changed = [&] {
        return !std::equal(m.connect.data(), m.connect.data() + m.connect.size(), connect.data());
    };
    int status = flip(connect);
    bool right = changed();
    status |= flip(connect);
    right = right && !changed();
    for (auto _ : state) {
        status |= flip(connect);
        benchmark::ClobberMemory();
    }
    bench::check(state, right && status == 0, "wrong flip");
    bench::count(state, m.connect.cols(), 2 * bytes_of(m.connect));
}

element_type type_of(const std::string& kind) {
    const std::pair<const char*, element_type> types[] = {{"TH4", ET_TH4}, {"PY5", ET_PY5},   {"W6", ET_W6},
                                                          {"H8", ET_H8},   {"TH10", ET_TH10}, {"PY14", ET_PY14},
                                                          {"W18", ET_W18}, {"H27", ET_H27}};
    for (const auto& [name, type] : types)
        if (kind == name)
            return type;
    return ET_SOLID_MIX;
}

void BM_flip(benchmark::State& state, const sample& s) {
    measure(state, s, [type = type_of(s.kind)](auto& connect) { return meldra3d::flip(connect, type); });
}

void BM_flip_of_one_kind(benchmark::State& state, const sample& s, int (*flip)(dense2D<unsigned>&)) {
    measure(state, s, flip);
}

void BM_in_place(benchmark::State& state, const sample& s, decltype(plain::flip)* flip) {
    measure(state, s, [=](auto& connect) {
        flip(connect.data(), connect.rows(), connect.cols());
        return 0;
    });
}

/// Hexahedra, and the quadrangles of every layer-th level of the grid.
struct cut_mesh {
    const mesh& solids;
    dense2D<unsigned> quadrangles{4, 0};
    dense1D<unsigned> diagonals;

    cut_mesh(const mesh& m, unsigned layer) : solids(m) {
        for (std::size_t j = 0; j < m.connect.cols(); ++j)
            if (std::lround(m.pos(2, m.connect(0, j))) % layer == 0) {
                quadrangles.append(m.connect.col(j)); // its base
                diagonals.push_back(0);
            }
    }
};

void BM_split_solid_Q4(benchmark::State& state, const sample& s, unsigned layer) {
    const cut_mesh m(s.mesh(), layer);
    dense2D<double> pos;
    dense2D<unsigned> out;
    dense1D<unsigned> failed;
    for (auto _ : state) {
        pos = m.solids.pos;
        meldra3d::split_solid_Q4(pos, m.solids.connect, m.quadrangles, m.diagonals, 0, failed, out);
    }
    bench::check(state, failed.empty() && out.cols() > m.solids.connect.cols(), "wrong cut");
    bench::count(state, m.solids.connect.cols(),
                 bytes_of(m.solids.pos) + bytes_of(m.solids.connect) + bytes_of(pos) + bytes_of(out));
}

void BM_copy(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<unsigned> out;
    for (auto _ : state) {
        out = dense2D<unsigned>(8, 0);
        out.reserve(8, m.connect.cols(), 1);
        for (std::size_t j = 0; j < m.connect.cols(); ++j)
            out.append(m.connect.col(j));
        benchmark::DoNotOptimize(out.data());
    }
    bench::check(state, out.cols() == m.connect.cols(), "no copy");
    bench::count(state, m.connect.cols(), 2 * bytes_of(m.connect));
}

const bench::suite all([] {
    const std::vector<bench::order> in_order{bench::order::grid};
    for (const char* const kind : {"TH4", "W6", "H8"})
        for (const sample& s : bench::samples({kind}, bench::five_million, in_order)) {
            bench::add("flip", s, BM_flip);
            bench::add_baseline("flip:in_place", s, BM_in_place, plain::flip, native::flip);
            const auto flip = s.kind == "TH4"  ? meldra3d::flip_TH4
                              : s.kind == "W6" ? meldra3d::flip_W6
                                               : meldra3d::flip_H8;
            bench::add("flip_" + s.kind, s, BM_flip_of_one_kind, flip);
            bench::add_baseline("flip_" + s.kind + ":in_place", s, BM_in_place, plain::flip_of_one_kind,
                                native::flip_of_one_kind);
        }
    for (const sample& s : bench::samples({"PY5", "TH10", "PY14", "W18", "H27"}, bench::million, in_order)) {
        bench::add("flip", s, BM_flip);
        bench::add_baseline("flip:in_place", s, BM_in_place, plain::flip, native::flip);
    }
    for (const sample& s : bench::samples({"SOLID_MIX_Q"}, bench::million, in_order))
        bench::add("flip", s, BM_flip);

    for (const sample& s : bench::samples({"H8"}, bench::million)) {
        constexpr unsigned ground_only = 1000;
        bench::add("split_solid_Q4", s.with("one-level"), BM_split_solid_Q4, ground_only);
        bench::add("split_solid_Q4:copy", s.with("one-level"), BM_copy);
        bench::add("split_solid_Q4", s.with("all-levels"), BM_split_solid_Q4, 1u);
        bench::add("split_solid_Q4:copy", s.with("all-levels"), BM_copy);
    }
});

} // namespace
