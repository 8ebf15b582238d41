// Nodes near points: the detector of the library beside the tree of nanoflann. Both are timed in turn in one run, so
// that what else the machine does falls on both; the ratio is that of the sums.

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
