// Sweeps into ten layers, beside bare loops that write the same arrays into fresh memory in huge pages.

#include <algorithm>
#include <cmath>
#include <string>

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
using bench::order;
using bench::sample;

constexpr unsigned layers = 10;

std::size_t bytes_of_sweep(const mesh& m) {
    const std::size_t nodes = (layers + 1) * m.pos.cols() * 3 * sizeof(double);
    return nodes + layers * m.connect.cols() * 2 * m.connect.rows() * sizeof(unsigned);
}

/// sweep(pos, surface, solids, cap) of a mesh.
template <class Sweep>
void measure(benchmark::State& state, const mesh& m, std::size_t nodes_after, Sweep sweep) {
    const dense2D<unsigned> no_edges;
    int status = 0;
    std::size_t nodes = 0, solids_after = 0;
    for (auto _ : state) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> solids, sides, cap;
        status |= sweep(pos, m.connect, solids, no_edges, sides, cap);
        nodes = pos.cols();
        solids_after = solids.cols();
    }
    bench::check(state, status == 0 && nodes == nodes_after && solids_after == layers * m.connect.cols(), "no sweep");
    bench::count(state, layers * m.connect.cols(), bytes_of_sweep(m));
}

// The calls: (pos, surface, solids, edges, sides, cap).

const auto translate = [](auto& pos, auto& surface, auto&... out) {
    return meldra3d::extrude_translate(pos, surface, {0, 0, layers}, layers, out...);
};

const auto rotate = [](auto& pos, auto& surface, auto&... out) {
    return meldra3d::extrude_rotate(pos, surface, {-1, 0, 0}, {0, 1.5, 0}, layers, out...);
};

const auto spiral = [](auto& pos, auto& surface, auto&... out) {
    return meldra3d::extrude_spiral(pos, surface, {-1, 0, 0}, {0, 15, 0}, {0, 2000, 0}, layers, out...);
};

const auto thicken = [](auto& pos, auto& surface, auto&... out) {
    return meldra3d::extrude_normal(pos, surface, 1.0, layers, out...);
};

auto along(const dense2D<double>& vectors) {
    return [&vectors](auto& pos, auto& surface, auto&... out) {
        return meldra3d::extrude_normal(pos, surface, vectors, layers, out...);
    };
}

/// A kind of sweep that needs nothing but the mesh.
template <class Sweep>
void BM_extrude(benchmark::State& state, const sample& s, Sweep sweep) {
    const mesh& m = s.mesh();
    measure(state, m, (layers + 1) * m.pos.cols(), sweep);
}

dense2D<double> vectors_for(const mesh& m) {
    dense2D<double> vectors(3, m.pos.cols());
    for (std::size_t k = 0; k < vectors.size(); ++k)
        vectors.data()[k] = double(k % 7);
    return vectors;
}

void BM_extrude_vectors(benchmark::State& state, const sample& s) {
    const auto vectors = vectors_for(s.mesh());
    BM_extrude(state, s, along(vectors));
}

/// A mesh and a straight line above one of its nodes: from that node on, or the whole of it apart from the surface.
struct mesh_with_line {
    mesh m;
    dense1D<unsigned> line;

    mesh_with_line(const mesh& surface, bool joined) {
        m.connect = surface.connect;
        m.pos.copy(surface.pos);
        const unsigned first = m.connect(0, 0);
        if (joined)
            line.push_back(first);
        for (unsigned k = joined ? 1 : 0; k <= layers; ++k) {
            const double node[] = {surface.pos(0, first), surface.pos(1, first), double(k)};
            line.push_back(unsigned(m.pos.cols()));
            m.pos.append(node);
        }
    }
};

void BM_extrude_line(benchmark::State& state, const sample& s) {
    const bool joined = s.variant == "from-the-surface";
    const mesh_with_line with(s.mesh(), joined);
    dense2D<double> metrics;
    if (s.variant == "metrics") {
        metrics.resize(6, layers + 1, 0.0);
        for (unsigned k = 0; k <= layers; ++k)
            metrics(0, k) = metrics(2, k) = metrics(5, k) = 1 + k;
    }
    const std::size_t per_level = s.mesh().pos.cols() - (joined ? 1 : 0);
    measure(state, with.m, with.m.pos.cols() + layers * per_level, [&](auto& pos, auto& surface, auto&... out) {
        return meldra3d::extrude_line(pos, surface, with.line, {0, 0, 1}, metrics, out...);
    });
}

/// run(arrays) of a bare loop, into memory that is fresh each time. The arrays must be those of a call of the library,
/// which is made behind the loop: what it leaves in memory would change what fresh memory costs.
template <class Sweep, class Run, class Call>
void measure_bare(benchmark::State& state, const mesh& m, Run run, Call call) {
    using pages = fresh_memory::pages;
    const std::size_t nodes = m.pos.cols(), faces = m.connect.cols();
    const auto sweep = [&](auto look_at) {
        const fresh_memory index(nodes * sizeof(unsigned), pages::huge), ids(nodes * sizeof(unsigned), pages::huge),
            solids(layers * faces * 8 * sizeof(unsigned), pages::huge), cap(faces * 4 * sizeof(unsigned), pages::huge),
            swept((layers + 1) * nodes * 3 * sizeof(double), pages::huge);
        run(Sweep{m.pos.data(), nodes, m.connect.data(), faces, layers, index.as<unsigned>(), ids.as<unsigned>(),
                  solids.as<unsigned>(), cap.as<unsigned>(), swept.as<double>()});
        look_at(swept.as<double>(), solids.as<unsigned>(), cap.as<unsigned>());
    };
    for (auto _ : state)
        sweep([](const auto*... arrays) { (benchmark::DoNotOptimize(arrays), ...); });
    bool right = false;
    sweep([&](const double* swept, const unsigned* solids, const unsigned* cap) {
        dense2D<double> pos = m.pos;
        dense2D<unsigned> expected, no_edges, sides, expected_cap;
        const int status = call(pos, m.connect, expected, no_edges, sides, expected_cap);
        right = status == 0 && std::equal(expected.data(), expected.data() + expected.size(), solids) &&
                std::equal(expected_cap.data(), expected_cap.data() + expected_cap.size(), cap) &&
                std::equal(pos.data(), pos.data() + pos.size(), swept,
                           [](double a, double b) { return std::fabs(a - b) < 1e-6; });
    });
    bench::check(state, right, "another sweep");
    bench::count(state, layers * faces, bytes_of_sweep(m));
}

// Each kind of sweep by a bare loop, in the compilation that `in` stands for.
#define MELDRA3D_BARE(in)                                                                                              \
    void translate_##in(benchmark::State& state, const sample& s) {                                                    \
        const double shift[] = {0, 0, layers};                                                                         \
        const auto run = [&](const auto& arrays) { in::translate(arrays, shift); };                                    \
        measure_bare<in::plain_sweep>(state, s.mesh(), run, translate);                                                \
    }                                                                                                                  \
    void rotate_##in(benchmark::State& state, const sample& s) {                                                       \
        const auto run = [](const auto& arrays) { in::turn(arrays, {-1, 1.5, 0}); };                                   \
        measure_bare<in::plain_sweep>(state, s.mesh(), run, rotate);                                                   \
    }                                                                                                                  \
    void spiral_##in(benchmark::State& state, const sample& s) {                                                       \
        const auto run = [](const auto& arrays) { in::turn(arrays, {-1, 15, 2000}); };                                 \
        measure_bare<in::plain_sweep>(state, s.mesh(), run, spiral);                                                   \
    }                                                                                                                  \
    void vectors_##in(benchmark::State& state, const sample& s) {                                                      \
        const auto vectors = vectors_for(s.mesh());                                                                    \
        const auto run = [&](const auto& arrays) { in::along_vectors(arrays, vectors.data()); };                       \
        measure_bare<in::plain_sweep>(state, s.mesh(), run, along(vectors));                                           \
    }                                                                                                                  \
    void normal_##in(benchmark::State& state, const sample& s) {                                                       \
        const auto run = [](const auto& arrays) {                                                                      \
            const fresh_memory normals(arrays.nodes * 3 * sizeof(double), fresh_memory::pages::huge);                  \
            in::along_normals(arrays, 1, normals.as<double>());                                                        \
        };                                                                                                             \
        measure_bare<in::plain_sweep>(state, s.mesh(), run, thicken);                                                  \
    }                                                                                                                  \
    void line_##in(benchmark::State& state, const sample& s) {                                                         \
        const mesh_with_line with(s.mesh(), false);                                                                    \
        const auto run = [&](const auto& arrays) { in::along_line(arrays, with.line.data()); };                        \
        const auto call = [&](auto& pos, auto& surface, auto&... out) {                                                \
            return meldra3d::extrude_line(pos, surface, with.line, {0, 0, 1}, dense2D<double>(), out...);              \
        };                                                                                                             \
        measure_bare<in::plain_sweep>(state, with.m, run, call);                                                       \
    }

MELDRA3D_BARE(plain)
MELDRA3D_BARE(native)

/// The normals alone.
void BM_normals(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    int status = 0;
    for (auto _ : state) {
        dense2D<double> normals;
        status |= meldra2d::normals(m.pos, m.connect, 0, true, normals);
        benchmark::DoNotOptimize(normals.data());
    }
    bench::check(state, status == 0, "no normals");
    bench::count(state, m.connect.cols(), bench::bytes_of(m.connect) + 2 * bench::bytes_of(m.pos));
}

template <class Body>
void add_bare(const std::string& name, const sample& s, Body plain, Body native) {
    if (s.kind != "Q4") // of the others the loop has no kinds
        return;
    bench::add(name + ":bare_loop", s, plain);
    bench::add(name + ":bare_loop@native", s, native);
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"Q4", "FACE_MIX"}, bench::million, {order::grid, order::shuffled})) {
        bench::add("extrude_translate", s, BM_extrude<decltype(translate)>, translate);
        add_bare("extrude_translate", s, translate_plain, translate_native);
        bench::add("extrude_rotate", s, BM_extrude<decltype(rotate)>, rotate);
        add_bare("extrude_rotate", s, rotate_plain, rotate_native);
        bench::add("extrude_spiral", s, BM_extrude<decltype(spiral)>, spiral);
        add_bare("extrude_spiral", s, spiral_plain, spiral_native);
        bench::add("extrude_normal", s, BM_extrude<decltype(thicken)>, thicken);
        add_bare("extrude_normal", s, normal_plain, normal_native);
        bench::add("extrude_normal", s.with("vectors"), BM_extrude_vectors);
        add_bare("extrude_normal", s.with("vectors"), vectors_plain, vectors_native);
        bench::add("extrude_line", s.with("metrics"), BM_extrude_line);
        bench::add("normals", s, BM_normals);
        for (const sample& line : {s, s.with("from-the-surface")}) {
            bench::add("extrude_line", line, BM_extrude_line);
            add_bare("extrude_line", line, line_plain, line_native);
        }
    }
});

} // namespace
