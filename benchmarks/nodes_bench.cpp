// Checks of node IDs, the elements of nodes, and the removal of unused nodes, beside plain loops that do the same.

#include "harness.h"

#define BASELINES plain
#include "baselines/nodes.h"
#undef BASELINES
#define BASELINES native
#include "baselines/nodes.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::order;
using bench::sample;

element_type type_of(const std::string& kind) {
    return kind == "TH4" ? ET_TH4 : kind == "H8" ? ET_H8 : kind == "TH10" ? ET_TH10 : ET_SOLID_MIX;
}

void BM_check_IDs(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const element_type type = type_of(s.kind);
    bool good = true;
    for (auto _ : state)
        good = good && meldra::check_IDs(m.connect, type, unsigned(m.pos.cols()));
    bench::check(state, good && !meldra::check_IDs(m.connect, type, unsigned(m.pos.cols() - 1)), "wrong answer");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
}

void BM_check_IDs_of_any_matrix(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    bool good = true;
    for (auto _ : state)
        good = good && meldra::check_IDs(m.connect, unsigned(m.pos.cols()));
    bench::check(state, good && !meldra::check_IDs(m.connect, unsigned(m.pos.cols() - 1)), "wrong answer");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
}

void BM_check_IDs_of_a_list(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense1D<unsigned> ids(m.connect.size());
    std::copy_n(m.connect.data(), ids.size(), ids.data());
    bool good = true;
    for (auto _ : state)
        good = good && meldra::check_IDs(ids, unsigned(m.pos.cols()));
    bench::check(state, good && !meldra::check_IDs(ids, unsigned(m.pos.cols() - 1)), "wrong answer");
    bench::count(state, m.connect.cols(), bytes_of(ids));
}

void BM_all_below(benchmark::State& state, const sample& s, decltype(plain::all_below)* all_below) {
    const mesh& m = s.mesh();
    bool good = true;
    for (auto _ : state)
        benchmark::DoNotOptimize(good = all_below(m.connect.data(), m.connect.size(), unsigned(m.pos.cols())));
    bench::check(state, good, "wrong answer");
    bench::count(state, m.connect.cols(), bytes_of(m.connect));
}

std::size_t bytes_of_ancestors(const mesh& m) {
    return bytes_of(m.connect) + m.pos.cols() * sizeof(unsigned);
}

void BM_get_ancestors(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense1D<unsigned> ancestors;
    int status = 0;
    for (auto _ : state)
        status |= meldra::get_ancestors(m.connect, ancestors);
    std::vector<unsigned> expected;
    plain::first_element_of_nodes(m.connect.data(), m.connect.rows(), m.connect.cols(), expected);
    bench::check(state,
                 status == 0 && ancestors.size() == expected.size() &&
                     std::equal(expected.begin(), expected.end(), ancestors.data()),
                 "wrong elements");
    bench::count(state, m.connect.cols(), bytes_of_ancestors(m));
}

void BM_first_element(benchmark::State& state, const sample& s, decltype(plain::first_element_of_nodes)* find) {
    const mesh& m = s.mesh();
    std::size_t found = 0;
    for (auto _ : state) {
        std::vector<unsigned> first;
        find(m.connect.data(), m.connect.rows(), m.connect.cols(), first);
        benchmark::DoNotOptimize(first.data());
        found = first.size();
    }
    bench::check(state, found == m.pos.cols(), "wrong elements");
    bench::count(state, m.connect.cols(), bytes_of_ancestors(m));
}

/// Every second node is unused.
mesh with_gaps(const mesh& m) {
    mesh gaps;
    gaps.pos.resize(3, 2 * m.pos.cols(), 0.0);
    gaps.connect.copy(m.connect);
    for (std::size_t v = 0; v < m.pos.cols(); ++v)
        std::copy_n(m.pos.col(v), 3, gaps.pos.col(2 * v));
    for (std::size_t k = 0; k < gaps.connect.size(); ++k)
        gaps.connect.data()[k] *= 2;
    return gaps;
}

/// All coordinates and IDs read, those left written, and the new IDs.
std::size_t bytes_of_dropping(const mesh& m) {
    return 3 * bytes_of(m.pos) + 2 * bytes_of(m.connect) + 2 * m.pos.cols() * sizeof(unsigned);
}

void BM_simplify(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const mesh gaps = with_gaps(m);
    mesh work;
    dense1D<unsigned> new_ids;
    int status = 0;
    for (auto _ : state) {
        state.PauseTiming();
        work.pos.copy(gaps.pos);
        work.connect.copy(gaps.connect);
        state.ResumeTiming();
        status |= meldra::simplify(work.pos, &work.connect, &work.connect + 1, new_ids, 0);
    }
    bench::check(state,
                 status == 0 && work.pos.cols() == m.pos.cols() &&
                     std::equal(m.pos.data(), m.pos.data() + m.pos.size(), work.pos.data()) &&
                     std::equal(m.connect.data(), m.connect.data() + m.connect.size(), work.connect.data()),
                 "wrong numbers");
    bench::count(state, m.connect.cols(), bytes_of_dropping(m));
}

void BM_drop_unused(benchmark::State& state, const sample& s, decltype(plain::drop_unused)* drop) {
    const mesh& m = s.mesh();
    const mesh gaps = with_gaps(m);
    std::vector<double> pos;
    std::vector<unsigned> connect;
    std::size_t left = 0;
    for (auto _ : state) {
        state.PauseTiming();
        pos.assign(gaps.pos.data(), gaps.pos.data() + gaps.pos.size());
        connect.assign(gaps.connect.data(), gaps.connect.data() + gaps.connect.size());
        state.ResumeTiming();
        std::vector<unsigned> new_ids;
        left = drop(pos, connect, new_ids);
    }
    bench::check(state, left == m.pos.cols(), "wrong numbers");
    bench::count(state, m.connect.cols(), bytes_of_dropping(m));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4", "H8", "TH10", "SOLID_MIX"}, bench::million, {order::grid})) {
        bench::add("check_IDs", s, BM_check_IDs);
        if (s.kind == "SOLID_MIX")
            continue; // a plain loop would do less than the check of the columns' tails
        bench::add_baseline("check_IDs:plain_loop", s, BM_all_below, plain::all_below, native::all_below);
    }
    for (const sample& s : bench::samples({"TH4"}, bench::five_million, {order::grid})) {
        for (const char* const form : {"matrix", "list"})
            bench::add_baseline("check_IDs:plain_loop", s.with(form), BM_all_below, plain::all_below,
                                native::all_below);
        bench::add("check_IDs", s.with("matrix"), BM_check_IDs_of_any_matrix);
        bench::add("check_IDs", s.with("list"), BM_check_IDs_of_a_list);
    }
    for (const sample& s : bench::samples({"TH4"}, bench::five_million)) {
        bench::add("get_ancestors", s, BM_get_ancestors);
        bench::add_baseline("get_ancestors:plain_loop", s, BM_first_element, plain::first_element_of_nodes,
                            native::first_element_of_nodes);
        bench::add("simplify", s, BM_simplify);
        bench::add_baseline("simplify:plain_loops", s, BM_drop_unused, plain::drop_unused, native::drop_unused);
    }
});

} // namespace
