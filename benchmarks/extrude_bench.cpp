// Sweeps, beside a bare loop that writes the same arrays. Items are solids.

#include "harness.h"

#define BASELINES plain
#include "baselines/extrude.h"
#undef BASELINES
#define BASELINES native
#include "baselines/extrude.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::fresh_memory;
using bench::mesh;
using bench::sample;

constexpr unsigned layers = 10;

void count(benchmark::State& state, const mesh& m, const dense2D<double>& pos, const dense2D<unsigned>& solids) {
    bench::count(state, layers * m.connect.cols(),
                 bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(pos) + bytes_of(solids));
}

/// Runs a sweep into `layers` layers: sweep(pos, surface, solids).
template <class Sweep>
void measure(benchmark::State& state, const mesh& m, Sweep sweep) {
    dense2D<double> pos;
    dense2D<unsigned> solids;
    int status = 0;
    for (auto _ : state) {
        pos = m.pos;
        solids = {};
        status |= sweep(pos, m.connect, solids);
    }
    bench::check(state,
                 status == 0 && pos.cols() >= (layers + 1) * m.connect.cols() / 2 &&
                     solids.cols() == layers * m.connect.cols() && std::isfinite(pos(2, pos.cols() - 1)),
                 "no sweep");
    count(state, m, pos, solids);
}

/// The same arrays into fresh memory in huge pages, along the vector of BM_extrude_translate; all sweeps are measured
/// against it.
void BM_bare_loop(benchmark::State& state, const sample& s, decltype(plain::sweep)* sweep) {
    const mesh& m = s.mesh();
    const double step[3] = {0, 0, 1};
    const std::size_t nodes = m.pos.cols(), faces = m.connect.cols();
    dense2D<double> pos = m.pos;
    dense2D<unsigned> solids;
    const int status = meldra3d::extrude_translate(pos, m.connect, {0, 0, layers}, layers, solids);
    bool right = status == 0 && pos.cols() == (layers + 1) * nodes && solids.rows() == 8;
    for (auto _ : state) {
        const fresh_memory new_pos(bytes_of(pos), fresh_memory::pages::huge),
            new_solids(bytes_of(solids), fresh_memory::pages::huge);
        sweep(m.pos.data(), nodes, m.connect.data(), faces, step, layers, new_pos.as<double>(),
              new_solids.as<unsigned>());
        benchmark::ClobberMemory();
        state.PauseTiming();
        right = right && std::equal(solids.data(), solids.data() + solids.size(), new_solids.as<unsigned>()) &&
                std::fabs(pos(2, pos.cols() - 1) - new_pos.as<double>()[pos.size() - 1]) < 1e-9;
        state.ResumeTiming();
    }
    bench::check(state, right, "another sweep");
    count(state, m, pos, solids);
}

void BM_extrude_translate(benchmark::State& state, const sample& s) {
    measure(state, s.mesh(), [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_translate(pos, surface, {0, 0, layers}, layers, solids);
    });
}

void BM_extrude_rotate(benchmark::State& state, const sample& s) {
    measure(state, s.mesh(), [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_rotate(pos, surface, {-1, 0, 0}, {0, 1.5, 0}, layers, solids);
    });
}

void BM_extrude_spiral(benchmark::State& state, const sample& s) {
    measure(state, s.mesh(), [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_spiral(pos, surface, {-1, 0, 0}, {0, 15, 0}, {0, 2000, 0}, layers, solids);
    });
}

/// Along a straight line, the whole of it apart from the surface or, `joined`, from one of its nodes on.
void sweep_line(benchmark::State& state, const sample& s, bool joined, const dense2D<double>& metrics) {
    const mesh& surface = s.mesh();
    mesh m;
    m.pos.copy(surface.pos);
    m.connect = surface.connect;
    dense1D<unsigned> line;
    const unsigned first = m.connect(0, 0);
    if (joined)
        line.push_back(first);
    for (unsigned k = joined ? 1 : 0; k <= layers; ++k) {
        const double node[] = {m.pos(0, first), m.pos(1, first), double(k)};
        line.push_back(unsigned(m.pos.cols()));
        m.pos.append(node);
    }
    measure(state, m, [&](auto& pos, auto& faces, auto& solids) {
        return meldra3d::extrude_line(pos, faces, line, {0, 0, 1}, metrics, solids);
    });
}

void BM_extrude_line(benchmark::State& state, const sample& s) {
    sweep_line(state, s, false, {});
}

void BM_extrude_line_from_the_surface(benchmark::State& state, const sample& s) {
    sweep_line(state, s, true, {});
}

void BM_extrude_line_by_metrics(benchmark::State& state, const sample& s) {
    dense2D<double> metrics(6, layers + 1, 0.0);
    for (unsigned k = 0; k <= layers; ++k)
        metrics(0, k) = metrics(2, k) = metrics(5, k) = 1 + k;
    sweep_line(state, s, false, metrics);
}

/// The thickness is that of a cell.
void BM_extrude_normal(benchmark::State& state, const sample& s) {
    measure(state, s.mesh(), [](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_normal(pos, surface, 1.0, layers, solids);
    });
}

void BM_extrude_normal_vectors(benchmark::State& state, const sample& s) {
    dense2D<double> shifts(3, s.mesh().pos.cols());
    for (std::size_t k = 0; k < shifts.size(); ++k)
        shifts.data()[k] = double(k % 7);
    measure(state, s.mesh(), [&](auto& pos, auto& surface, auto& solids) {
        return meldra3d::extrude_normal(pos, surface, shifts, layers, solids);
    });
}

/// The normals alone; items are faces.
void BM_normals(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    dense2D<double> normals;
    int status = 0;
    for (auto _ : state)
        status |= meldra2d::normals(m.pos, m.connect, 0, true, normals);
    bench::check(state, status == 0 && normals.cols() == m.pos.cols() && normals(2, 0) > 0.9, "wrong normals");
    bench::count(state, m.connect.cols(), bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(normals));
}

void add_sweep(const char* name, const sample& s, const char* variant,
               void (*sweep)(benchmark::State&, const sample&)) {
    const sample shown = variant ? s.with(variant) : s;
    bench::add(name, shown, sweep);
    bench::add_baseline(std::string(name) + ":bare_loop", shown, BM_bare_loop, plain::sweep, native::sweep);
}

const bench::suite all([] {
    for (const sample& s :
         bench::samples({"Q4", "FACE_MIX"}, bench::million, {bench::order::grid, bench::order::shuffled})) {
        add_sweep("extrude_translate", s, nullptr, BM_extrude_translate);
        add_sweep("extrude_rotate", s, nullptr, BM_extrude_rotate);
        add_sweep("extrude_spiral", s, nullptr, BM_extrude_spiral);
        add_sweep("extrude_normal", s, nullptr, BM_extrude_normal);
        add_sweep("extrude_normal", s, "vectors", BM_extrude_normal_vectors);
        add_sweep("extrude_line", s, nullptr, BM_extrude_line);
        add_sweep("extrude_line", s, "from-the-surface", BM_extrude_line_from_the_surface);
        add_sweep("extrude_line", s, "metrics", BM_extrude_line_by_metrics);
        bench::add("normals", s, BM_normals);
    }
});

} // namespace
