// The further forms of calls: sweeps between two sizes, with sides and closing faces; conversions with given faces and
// edges; the search for one point; scalar fields and sizes. Items are what the fuller forms count.

#include <cmath>

#include "harness.h"
#include "points.h"

namespace {

using namespace quorl;
using bench::bytes_of;
using bench::mesh;
using bench::sample;

constexpr double length = 10, first_size = 0.5, last_size = 2;

/// The first edges of some faces, for the sides of a sweep.
dense2D<unsigned> edges_of(const mesh& m) {
    dense2D<unsigned> edges(2, m.connect.cols() / 100);
    for (std::size_t j = 0; j < edges.cols(); ++j)
        std::copy_n(m.connect.col(100 * j), 2, edges.col(j));
    return edges;
}

/// Runs sweep(pos, surface, solids, edges, sides, caps).
template <class Sweep>
void measure_sweep(benchmark::State& state, const mesh& m, Sweep sweep) {
    const dense2D<unsigned> edges = edges_of(m);
    dense2D<double> pos;
    dense2D<unsigned> solids, sides, caps;
    int status = 0;
    for (auto _ : state) {
        pos = m.pos;
        solids = sides = caps = {};
        status |= sweep(pos, m.connect, solids, edges, sides, caps);
    }
    const std::size_t layers = solids.cols() / m.connect.cols();
    bench::check(state,
                 status == 0 && layers > 1 && sides.cols() == layers * edges.cols() && caps.cols() == m.connect.cols(),
                 "no sweep");
    bench::count(state, solids.cols(),
                 bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(pos) + bytes_of(solids) + bytes_of(sides) +
                     bytes_of(caps));
}

void BM_translate(benchmark::State& state, const sample& s) {
    measure_sweep(state, s.mesh(), [](auto& pos, auto& faces, auto& solids, auto& edges, auto& sides, auto& caps) {
        return meldra3d::extrude_translate(pos, faces, {0, 0, length}, first_size, last_size, false, solids, edges,
                                           sides, caps);
    });
}

/// Layers are counted along the way of the first node, wherever a shuffled mesh has it: the angle is what brings it far
/// enough.
void BM_rotate(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const double* first = m.pos.col(m.connect(0, 0));
    const double angle = length / std::hypot(first[0] + length, first[1]);
    measure_sweep(state, m, [=](auto& pos, auto& faces, auto& solids, auto& edges, auto& sides, auto& caps) {
        return meldra3d::extrude_rotate(pos, faces, {-length, 0, 0}, {0, angle, 0}, first_size, last_size, false,
                                        solids, edges, sides, caps);
    });
}

void BM_spiral(benchmark::State& state, const sample& s) {
    measure_sweep(state, s.mesh(), [](auto& pos, auto& faces, auto& solids, auto& edges, auto& sides, auto& caps) {
        return meldra3d::extrude_spiral(pos, faces, {-length, 0, 0}, {0, 1, 0}, {0, length, 0}, first_size, last_size,
                                        false, solids, edges, sides, caps);
    });
}

void BM_normal(benchmark::State& state, const sample& s) {
    measure_sweep(state, s.mesh(), [](auto& pos, auto& faces, auto& solids, auto& edges, auto& sides, auto& caps) {
        return meldra3d::extrude_normal(pos, faces, length, first_size, last_size, false, solids, edges, sides, caps);
    });
}

/// Along a line with a size at each of its nodes.
void BM_line(benchmark::State& state, const sample& s) {
    mesh m;
    m.pos.copy(s.mesh().pos);
    m.connect = s.mesh().connect;
    dense1D<unsigned> line;
    dense1D<double> sizes;
    for (unsigned k = 0; k <= unsigned(length); ++k) {
        const double node[] = {0, 0, double(k)};
        line.push_back(unsigned(m.pos.cols()));
        sizes.push_back(1 + 0.1 * k);
        m.pos.append(node);
    }
    measure_sweep(state, m, [&](auto& pos, auto& faces, auto& solids, auto& edges, auto& sides, auto& caps) {
        return meldra3d::extrude_line(pos, faces, line, {0, 0, 1}, sizes, solids, edges, sides, caps);
    });
}

/// With the edges of every hundredth element given: their middles are nodes already.
void BM_quadratic_with_edges(benchmark::State& state, const sample& s) {
    mesh m;
    m.pos.copy(s.mesh().pos);
    m.connect = s.mesh().connect;
    dense2D<unsigned> edges(3, 0), none;
    for (std::size_t j = 0; j < m.connect.cols(); j += 100) {
        const unsigned a = m.connect(0, j), b = m.connect(1, j), edge[] = {a, b, unsigned(m.pos.cols())};
        double middle[3];
        for (std::size_t i = 0; i < 3; ++i)
            middle[i] = (m.pos(i, a) + m.pos(i, b)) / 2;
        m.pos.append(middle);
        edges.append(edge);
    }
    mesh made;
    int status = 0;
    for (auto _ : state) {
        made = {};
        made = m;
        status |= meldra3d::convert_into_quadratic(made.pos, made.connect, none, edges);
    }
    bench::check(state, status == 0 && made.connect.rows() == 10, "no conversion");
    bench::count(state, m.connect.cols(),
                 bytes_of(m.pos) + bytes_of(m.connect) + bytes_of(made.pos) + bytes_of(made.connect));
}

/// The call checks the whole mesh each time: most of its time.
void BM_one_point(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    const bench::search_aids& aids = bench::aids_of(m);
    unsigned element = no_node;
    vector_fixed<double, 3> local{};
    int status = 0;
    for (auto _ : state)
        status = meldra3d::get_element_containing_point(m.pos, m.connect, aids.neighbors, aids.ancestors, aids.detector,
                                                        ET_TH4, {0.5, 0.5, 0.5}, element, local, 1e-6);
    bench::check(state, status == 1 && element < m.connect.cols(), "not found");
    bench::count(state, m.connect.cols(), bytes_of(m.connect) + bytes_of(aids.neighbors) + bytes_of(aids.ancestors));
}

/// Values at points that are nodes of no element: field(v) is given at the nodes of the mesh.
struct free_nodes {
    dense2D<double> pos;
    dense1D<unsigned> ancestors, nodes;
    dense1D<double> field;

    explicit free_nodes(const mesh& m) {
        const dense2D<double> points = bench::points_in(m, m.connect.cols());
        const std::size_t n = m.pos.cols(), all = n + points.cols();
        pos.resize(3, all);
        std::copy_n(m.pos.data(), m.pos.size(), pos.data());
        std::copy_n(points.data(), points.size(), pos.col(n));
        const dense1D<unsigned>& known = bench::aids_of(m).ancestors;
        ancestors.resize(all, no_node);
        std::copy_n(known.data(), known.size(), ancestors.data());
        nodes.resize(points.cols());
        std::iota(nodes.data(), nodes.data() + nodes.size(), unsigned(n));
        field.resize(all, 0.0);
        for (std::size_t v = 0; v < n; ++v)
            field.data()[v] = 1 + m.pos(0, v);
    }

    bool filled() const {
        return std::all_of(field.data(), field.data() + field.size(),
                           [](double value) { return value >= 1 && value <= 2; });
    }
};

void BM_interpolate_scalar(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    free_nodes f(m);
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::interpolate(f.pos, m.connect, bench::aids_of(m).neighbors, f.ancestors, f.field, f.nodes);
    bench::check(state, status == 0 && f.filled(), "wrong values");
    bench::count(state, f.nodes.size(), 2 * bytes_of(f.nodes) + 4 * bytes_of(f.field));
}

void BM_interpolate_sizes(benchmark::State& state, const sample& s) {
    const mesh& m = s.mesh();
    free_nodes f(m);
    int status = 0;
    for (auto _ : state)
        status |= meldra3d::interpolate_metrics(f.pos, m.connect, bench::aids_of(m).neighbors, f.ancestors, f.field,
                                                f.nodes, false);
    bench::check(state, status == 0 && f.filled(), "wrong sizes");
    bench::count(state, f.nodes.size(), 2 * bytes_of(f.nodes) + 4 * bytes_of(f.field));
}

const bench::suite all([] {
    for (const sample& s : bench::samples({"Q4"}, bench::million, {bench::order::shuffled})) {
        const sample shown = s.with("sizes-sides-caps");
        bench::add("extrude_translate", shown, BM_translate);
        bench::add("extrude_rotate", shown, BM_rotate);
        bench::add("extrude_spiral", shown, BM_spiral);
        bench::add("extrude_normal", shown, BM_normal);
        bench::add("extrude_line", shown, BM_line);
    }
    for (const sample& s : bench::samples({"TH4"}, bench::million, {bench::order::delaunay})) {
        bench::add("convert_into_quadratic", s.with("given-edges"), BM_quadratic_with_edges);
        bench::add("get_element_containing_point", s, BM_one_point);
        bench::add("interpolate", s.with("scalar"), BM_interpolate_scalar);
        bench::add("interpolate_metrics", s.with("sizes"), BM_interpolate_sizes);
    }
});

} // namespace
