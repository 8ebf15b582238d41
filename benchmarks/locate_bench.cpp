// Nodes near points: the detector of the library beside the tree of nanoflann. Elements that hold points: the search
// beside a bare walk from the nearest node of that tree. Both are timed in turn in one run, so that what else the
// machine does falls on both; the ratio is that of the sums. Interpolation is beside the search for the same points.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <nanoflann.hpp>
#ifdef MELDRA3D_HAS_TETGEN
#include <tetgen.h>
#endif

#include "bench_meshes.h"

namespace {

using namespace quorl;
using bench::mesh;
using meldra::node_detector;
using place = vector_fixed<double, 3>;

struct node_cloud {
    const dense2D<double>& pos;
    std::size_t kdtree_get_point_count() const { return pos.cols(); }
    double kdtree_get_pt(std::size_t k, std::size_t i) const { return pos(i, k); }
    template <class Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};

using metric = nanoflann::L2_Simple_Adaptor<double, node_cloud>;
using kd_tree = nanoflann::KDTreeSingleIndexAdaptor<metric, node_cloud, 3, std::uint32_t>;

std::unique_ptr<kd_tree> tree_of(const node_cloud& cloud) {
    return std::make_unique<kd_tree>(3, cloud, nanoflann::KDTreeSingleIndexAdaptorParams(10));
}

unsigned closest(const kd_tree& tree, const place& p) {
    std::uint32_t found = no_node;
    double distance = 0;
    tree.knnSearch(p.values, 1, &found, &distance);
    return found;
}

enum class nodes { random, clustered, grid };

/// Nodes of a mesh of points: as many elements of four nodes as it takes to name all.
mesh cloud_of(std::size_t n, nodes kind) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(0, 1);
    mesh m;
    m.pos.resize(3, n);
    const auto side = std::size_t(std::cbrt(double(n)));
    for (std::size_t j = 0; j < n; ++j) {
        const double near = kind == nodes::clustered ? std::pow(unit(random), 4) : 1;
        for (unsigned i = 0; i < 3; ++i)
            m.pos(i, j) = near * unit(random);
        if (kind == nodes::grid) {
            m.pos(0, j) = double(j % side);
            m.pos(1, j) = double(j / side % side);
            m.pos(2, j) = double(j / side / side);
        }
    }
    m.connect.resize(4, (n + 3) / 4);
    for (std::size_t k = 0; k < m.connect.size(); ++k)
        m.connect.data()[k] = unsigned(std::min(k, n - 1));
    if (kind == nodes::grid)
        bench::shuffle(m);
    return m;
}

/// Random points in the box of the nodes, along a Morton curve when they are to be in order.
std::vector<place> points_in(const mesh& m, std::size_t n, bool in_order) {
    place low{m.pos(0, 0), m.pos(1, 0), m.pos(2, 0)}, high = low;
    for (std::size_t j = 0; j < m.pos.cols(); ++j)
        for (unsigned i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], m.pos(i, j));
            high[i] = std::max(high[i], m.pos(i, j));
        }
    std::mt19937_64 random(2);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<std::pair<std::uint64_t, place>> keyed(n);
    for (auto& [key, p] : keyed) {
        key = 0;
        for (unsigned i = 0; i < 3; ++i) {
            const double x = unit(random);
            p[i] = low[i] + x * (high[i] - low[i]);
            for (unsigned bit = 0; bit < 20; ++bit)
                key |= (std::uint64_t(x * (1 << 20)) >> bit & 1) << (3 * bit + i);
        }
    }
    if (in_order)
        std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<place> points;
    for (const auto& [key, p] : keyed)
        points.push_back(p);
    return points;
}

double seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Times ours() and theirs() in turn.
template <class Ours, class Theirs>
void compare(benchmark::State& state, std::size_t items, Ours ours, Theirs theirs) {
    double ours_total = 0, theirs_total = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        ours();
        const double ours_now = seconds_since(start);
        const auto second = std::chrono::steady_clock::now();
        theirs();
        theirs_total += seconds_since(second);
        ours_total += ours_now;
        state.SetIterationTime(ours_now);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(items));
    state.counters["theirs_over_ours"] = theirs_total / ours_total;
}

void BM_build(benchmark::State& state, nodes kind) {
    const mesh m = cloud_of(std::size_t(state.range(0)), kind);
    node_detector detector;
    const node_cloud cloud{m.pos};
    std::unique_ptr<kd_tree> tree;
    int status = 0;
    compare(
        state, m.pos.cols(), [&] { status |= detector.reinit(m.pos, m.connect); }, [&] { tree = tree_of(cloud); });
    if (status != 0)
        state.SkipWithError("not built");
}

void BM_find_closest(benchmark::State& state, nodes kind, bool in_order) {
    const mesh m = cloud_of(std::size_t(state.range(0)), kind);
    const auto points = points_in(m, 1000000, in_order);
    node_detector detector;
    if (detector.reinit(m.pos, m.connect) != 0)
        state.SkipWithError("not built");
    const node_cloud cloud{m.pos};
    const auto tree = tree_of(cloud);
    std::vector<unsigned> ours(points.size()), theirs(points.size());
    const auto fill = [&](std::vector<unsigned>& found, auto find) {
        for (std::size_t k = 0; k < points.size(); ++k)
            found[k] = find(points[k]);
    };
    compare(
        state, points.size(), [&] { fill(ours, [&](const place& p) { return detector.find_closest(p); }); },
        [&] { fill(theirs, [&](const place& p) { return closest(*tree, p); }); });
    const auto distance = [&](std::size_t k, unsigned id) {
        return std::hypot(points[k][0] - m.pos(0, id), points[k][1] - m.pos(1, id), points[k][2] - m.pos(2, id));
    };
    for (std::size_t k = 0; k < points.size(); ++k)
        if (ours[k] != theirs[k] && distance(k, ours[k]) > distance(k, theirs[k]) * (1 + 1e-15))
            state.SkipWithError("not the nearest node");
}

/// The close node, beside the nearest one of the other tree.
void BM_find_close(benchmark::State& state, bool in_order) {
    const mesh m = cloud_of(std::size_t(state.range(0)), nodes::random);
    const auto points = points_in(m, 1000000, in_order);
    node_detector detector;
    if (detector.reinit(m.pos, m.connect) != 0)
        state.SkipWithError("not built");
    const node_cloud cloud{m.pos};
    const auto tree = tree_of(cloud);
    unsigned sum = 0;
    compare(
        state, points.size(),
        [&] {
            for (const place& p : points)
                sum += detector.find_close(p);
        },
        [&] {
            for (const place& p : points)
                sum += closest(*tree, p);
        });
    benchmark::DoNotOptimize(sum);
}

#ifdef MELDRA3D_HAS_TETGEN

struct delaunay_mesh {
    mesh m;
    dense2D<unsigned> neighbors;
    dense1D<unsigned> ancestors;
    node_detector detector;
};

/// The Delaunay tetrahedra of random nodes in the unit cube, direct, in shuffled order, with what a search needs.
delaunay_mesh delaunay(std::size_t n) {
    delaunay_mesh d;
    const mesh cloud = cloud_of(n, nodes::random);
    tetgenio in, out;
    in.numberofpoints = int(n);
    in.pointlist = new double[3 * n]; // which tetgenio deletes
    std::copy_n(cloud.pos.data(), 3 * n, in.pointlist);
    char options[] = "Q";
    tetrahedralize(options, &in, &out);
    d.m.pos = cloud.pos;
    d.m.connect.resize(4, std::size_t(out.numberoftetrahedra));
    for (std::size_t e = 0; e < d.m.connect.cols(); ++e) {
        unsigned* const column = d.m.connect.col(e);
        std::copy_n(out.tetrahedronlist + 4 * e, 4, column);
        double volume = 0;
        meldra3d::volume(d.m.pos, d.m.connect.sub(0, e, 4, 1), volume);
        if (volume < 0)
            std::swap(column[0], column[1]);
    }
    bench::shuffle(d.m);
    if (meldra::get_neighbors(d.m.connect, ET_TH4, true, d.neighbors) != 0 ||
        meldra::get_ancestors(d.m.connect, d.ancestors) != 0 || d.detector.reinit(d.m.pos, d.m.connect) != 0)
        d.m.connect.clear();
    return d;
}

/// Six times the volume between a face of a tetrahedron and a point.
double side(const dense2D<double>& pos, const unsigned* nodes, unsigned face, const place& p) {
    constexpr unsigned corners[4][3] = {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    const double *a = pos.col(nodes[corners[face][0]]), *b = pos.col(nodes[corners[face][1]]),
                 *c = pos.col(nodes[corners[face][2]]);
    const double u[3] = {a[0] - c[0], a[1] - c[1], a[2] - c[2]}, v[3] = {b[0] - c[0], b[1] - c[1], b[2] - c[2]};
    return (u[1] * v[2] - u[2] * v[1]) * (p[0] - c[0]) + (u[2] * v[0] - u[0] * v[2]) * (p[1] - c[1]) +
           (u[0] * v[1] - u[1] * v[0]) * (p[2] - c[2]);
}

/// Through the first face that the point is beyond, until there is none.
unsigned bare_walk(const delaunay_mesh& d, unsigned element, const place& p) {
    while (element != no_node) {
        const unsigned* const nodes = d.m.connect.col(element);
        unsigned face = 0;
        while (face < 4 && side(d.m.pos, nodes, face, p) >= 0)
            ++face;
        if (face == 4)
            return element;
        element = d.neighbors(face, element);
    }
    return no_node;
}

/// One million points at random; the bare walk gets them along a Morton curve, which is not counted.
void BM_get_elements_containing_points(benchmark::State& state) {
    const delaunay_mesh d = delaunay(std::size_t(state.range(0)));
    const auto sorted = points_in(d.m, 1000000, true);
    std::vector<std::size_t> place_of(sorted.size());
    std::iota(place_of.begin(), place_of.end(), std::size_t(0));
    std::shuffle(place_of.begin(), place_of.end(), std::mt19937(3));
    dense2D<double> points(3, sorted.size());
    for (std::size_t k = 0; k < sorted.size(); ++k)
        std::copy_n(sorted[k].values, 3, points.col(place_of[k]));
    const node_cloud cloud{d.m.pos};
    const auto tree = tree_of(cloud);

    dense1D<unsigned> elements;
    dense2D<double> local;
    std::vector<unsigned> theirs(sorted.size());
    int status = 0;
    compare(
        state, sorted.size(),
        [&] {
            status = meldra3d::get_elements_containing_points(d.m.pos, d.m.connect, d.neighbors, d.ancestors,
                                                              d.detector, ET_TH4, points, elements, local, 1e-6);
        },
        [&] {
            for (std::size_t k = 0; k < sorted.size(); ++k)
                theirs[k] = bare_walk(d, d.ancestors[closest(*tree, sorted[k])], sorted[k]);
        });
    std::size_t differ = 0; // points on faces, points outside
    for (std::size_t k = 0; k < sorted.size(); ++k)
        differ += theirs[k] != elements[place_of[k]];
    state.SetLabel(std::to_string(d.m.connect.cols()) + " elements, " + std::to_string(differ) + " found differently");
    if (status < 0 || d.m.connect.empty() || differ > sorted.size() / 100)
        state.SkipWithError("not found");
}

/// Values of three components, or a metric, at the same points as free nodes; beside finding them.
void BM_interpolate(benchmark::State& state, bool metrics) {
    delaunay_mesh d = delaunay(std::size_t(state.range(0)));
    const std::size_t mesh_nodes = d.m.pos.cols();
    dense2D<double> field(metrics ? 6 : 3, mesh_nodes, 0.0);
    for (std::size_t k = 0; k < mesh_nodes; ++k)
        if (metrics)
            field(0, k) = field(2, k) = field(5, k) = 1 + d.m.pos(0, k) * d.m.pos(0, k);
        else
            std::copy_n(d.m.pos.col(k), 3, field.col(k));
    auto sought = points_in(d.m, 1000000, true);
    std::shuffle(sought.begin(), sought.end(), std::mt19937(3));
    dense1D<unsigned> free;
    const std::size_t all = mesh_nodes + sought.size();
    if (!d.m.pos.resize(3, all) || !field.resize(field.rows(), all) || !d.ancestors.resize(all, no_node))
        return state.SkipWithError("no memory");
    for (std::size_t k = 0; k < sought.size(); ++k) {
        std::copy_n(sought[k].values, 3, d.m.pos.col(mesh_nodes + k));
        std::fill_n(field.col(mesh_nodes + k), field.rows(), -1.0);
        free.push_back(unsigned(mesh_nodes + k));
    }
    const dense2D<double> points = d.m.pos.sub(0, mesh_nodes, 3, sought.size());

    dense1D<unsigned> elements;
    dense2D<double> local;
    int status = 0;
    compare(
        state, sought.size(),
        [&] {
            status |= metrics ? meldra3d::interpolate_metrics(d.m.pos, d.m.connect, d.neighbors, d.ancestors, field,
                                                              free, false)
                              : meldra3d::interpolate(d.m.pos, d.m.connect, d.neighbors, d.ancestors, field, free);
        },
        [&] {
            meldra3d::get_elements_containing_points(d.m.pos, d.m.connect, d.neighbors, d.ancestors, d.detector, ET_TH4,
                                                     points, elements, local, 1e-6);
        });
    std::size_t wrong = 0; // the coordinates are linear, and no metric is outside of what the mesh has
    for (std::size_t k = 0; k < sought.size(); ++k)
        for (unsigned i = 0; i < 3 && elements[k] != no_node; ++i)
            wrong += metrics ? !(field(0, mesh_nodes + k) >= 0.99)
                             : !(std::fabs(field(i, mesh_nodes + k) - points(i, k)) < 1e-9);
    if (status != 0 || wrong != 0)
        state.SkipWithError("wrong values");
}

#endif

} // namespace

constexpr bool in_order = true;
constexpr bool at_random = false;
#define TIMED(...) BENCHMARK_CAPTURE(__VA_ARGS__)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseManualTime()
TIMED(BM_build, random, nodes::random);
TIMED(BM_build, clustered, nodes::clustered);
TIMED(BM_build, grid, nodes::grid);
TIMED(BM_find_closest, random / in_order, nodes::random, in_order);
TIMED(BM_find_closest, random / at_random, nodes::random, at_random);
TIMED(BM_find_closest, clustered / in_order, nodes::clustered, in_order);
TIMED(BM_find_closest, grid / in_order, nodes::grid, in_order);
TIMED(BM_find_close, in_order, in_order);
TIMED(BM_find_close, at_random, at_random);
#ifdef MELDRA3D_HAS_TETGEN
BENCHMARK(BM_get_elements_containing_points)->Arg(155000)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(BM_interpolate, field, false)->Arg(155000)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK_CAPTURE(BM_interpolate, metrics, true)->Arg(155000)->Unit(benchmark::kMillisecond)->UseManualTime();
#endif
