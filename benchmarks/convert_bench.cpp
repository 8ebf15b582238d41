// Conversions of the order of elements, and the cut into hexahedra, beside hand-written ones that give the same
// numbers. Items are elements.

#include "harness.h"

#define BASELINES plain
#include "baselines/convert.h"
#undef BASELINES
#define BASELINES native
#include "baselines/convert.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::refined_mesh;
using bench::refinement;
using bench::sample;

std::size_t bytes_moved(const mesh& from, const mesh& to) {
    return bytes_of(from.pos) + bytes_of(from.connect) + bytes_of(to.pos) + bytes_of(to.connect);
}

/// Replaces the arrays of the mesh.
int refine(mesh& m, refinement into) {
    if (into == refinement::quadratic)
        return meldra3d::convert_into_quadratic(m.pos, m.connect);
    dense2D<unsigned> hexahedra, none;
    const int status = meldra3d::split_into_H8(m.pos, m.connect, hexahedra, none, none);
    m.connect = hexahedra;
    return status;
}

/// The Euler characteristic of a solid without holes: of its vertices, edges, faces and cells.
bool right_number(const sample& s, const mesh& refined, refinement into) {
    const mesh& m = s.mesh();
    if (s.kind != "H8" || into != refinement::quadratic)
        return refined.pos.cols() > m.pos.cols() + m.connect.cols();
    const std::size_t n = std::size_t(std::lround(std::cbrt(double(m.connect.cols()))));
    return refined.pos.cols() == (2 * n + 1) * (2 * n + 1) * (2 * n + 1);
}

void BM_refine(benchmark::State& state, const sample& s, refinement into) {
    const mesh& m = s.mesh();
    mesh made;
    int status = 0;
    for (auto _ : state) {
        made = {};
        made = m;
        status |= refine(made, into);
    }
    bench::check(state, status == 0 && right_number(s, made, into), "wrong number of nodes");
    bench::count(state, m.connect.cols(), bytes_moved(m, made));
}

bool equal(const mesh& ours, const refined_mesh& theirs) {
    if (ours.pos.cols() != theirs.nodes ||
        !std::equal(ours.connect.data(), ours.connect.data() + ours.connect.size(), theirs.connect->as<unsigned>()))
        return false;
    for (std::size_t k = 0; k < ours.pos.size(); ++k)
        if (!(std::fabs(ours.pos.data()[k] - theirs.pos->as<double>()[k]) < 1e-9))
            return false;
    return true;
}

void BM_by_hand(benchmark::State& state, const sample& s, refinement into, decltype(plain::refine_by_sorting)* by) {
    const mesh& m = s.mesh();
    refined_mesh made;
    for (auto _ : state) {
        made = {};
        made = by(m.pos.data(), m.pos.cols(), m.connect.data(), m.connect.rows(), m.connect.cols(), into);
    }
    mesh expected = m;
    const int status = refine(expected, into);
    bench::check(state, status == 0 && equal(expected, made), "another mesh");
    bench::count(state, m.connect.cols(), bytes_moved(m, expected));
}

void BM_high_order(benchmark::State& state, const sample& s, unsigned n) {
    const mesh& m = s.mesh();
    dense2D<unsigned> none;
    mesh made;
    int status = 0;
    for (auto _ : state) {
        made = {};
        made.pos = m.pos;
        status |= meldra3d::convert_into_high_order(made.pos, m.connect, n, n * n, n == 2 ? 1 : 3, n * n * n, 1, n, 1,
                                                    made.connect, none, none);
    }
    bench::check(state, status == 0 && made.connect.cols() == m.connect.cols(), "no conversion");
    bench::count(state, m.connect.cols(), bytes_moved(m, made));
}

/// Back from the quadratic mesh, in place: the coordinates stay.
void BM_linear(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<unsigned> connect;
    int status = 0;
    for (auto _ : state) {
        state.PauseTiming();
        connect.copy(m.connect);
        state.ResumeTiming();
        status |= meldra3d::convert_into_linear(connect);
    }
    bench::check(state, status == 0 && connect.rows() < m.connect.rows() && connect(3, 0) == m.connect(3, 0),
                 "no conversion");
    bench::count(state, m.connect.cols(), bytes_of(m.connect) + bytes_of(connect));
}

void add_refinement(const std::string& name, const sample& s, refinement into) {
    bench::add(name, s, BM_refine, into);
    if (s.kind != "TH4" && s.kind != "H8")
        return;
    const auto add_way = [&](const char* way, auto by, auto native_by) {
        bench::add(name + ":" + way, s, BM_by_hand, into, by);
        bench::add(name + ":" + way + "@native", s, BM_by_hand, into, native_by);
    };
    add_way("partitions", plain::refine_by_partitions, native::refine_by_partitions);
    add_way("open_addressing", plain::refine_by_open_addressing, native::refine_by_open_addressing);
    if (into == refinement::quadratic && s.elements < bench::million) // five times slower
        add_way("sorting", plain::refine_by_sorting, native::refine_by_sorting);
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"TH4", "H8"}, bench::million)) {
        add_refinement("convert_into_quadratic", s, refinement::quadratic);
        add_refinement("split_into_H8", s, refinement::hexahedra);
    }
    for (const sample& s : bench::samples({"PY5", "W6", "SOLID_MIX"}, bench::million, {bench::order::shuffled})) {
        add_refinement("convert_into_quadratic", s, refinement::quadratic);
        if (s.kind == "W6")
            add_refinement("split_into_H8", s, refinement::hexahedra);
    }
    for (const sample& s : bench::samples({"TH4", "H8"}, bench::million, {bench::order::shuffled})) {
        bench::add("convert_into_high_order", s.with("cubic"), BM_high_order, 2u);
        bench::add("convert_into_high_order", s.with("quartic"), BM_high_order, 3u);
    }
    for (const sample& s : bench::samples({"TH10", "H27"}, bench::million, {bench::order::grid}))
        bench::add("convert_into_linear", s, BM_linear);
});

} // namespace
