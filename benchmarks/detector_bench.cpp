// Nodes near points: the detector of the library beside the tree of nanoflann. Items are nodes or points. The kind
// tells how the nodes lie, the order how the points come.

#include <cstdint>
#include <map>
#include <memory>

#include <nanoflann.hpp>

#include "harness.h"

namespace {

using namespace quorl;
using bench::mesh;
using bench::order;
using bench::sample;
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

/// Nodes of a mesh of points, as many elements of four nodes as it takes to name all: at random, dense near a corner,
/// or those of a grid in no order.
mesh make_cloud(std::size_t n, const std::string& kind) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> unit(0, 1);
    mesh m;
    m.pos.resize(3, n);
    const auto side = std::size_t(std::cbrt(double(n)));
    for (std::size_t j = 0; j < n; ++j) {
        const double near = kind == "clustered" ? std::pow(unit(random), 4) : 1;
        for (unsigned i = 0; i < 3; ++i)
            m.pos(i, j) = near * unit(random);
        if (kind == "lattice") {
            m.pos(0, j) = double(j % side);
            m.pos(1, j) = double(j / side % side);
            m.pos(2, j) = double(j / side / side);
        }
    }
    m.connect.resize(4, (n + 3) / 4);
    for (std::size_t k = 0; k < m.connect.size(); ++k)
        m.connect.data()[k] = unsigned(std::min(k, n - 1));
    if (kind == "lattice")
        bench::shuffle(m);
    return m;
}

/// Random points in the box of the nodes, along a Morton curve (order::grid) or in no order.
std::vector<place> make_points(const mesh& m, order o) {
    place low{m.pos(0, 0), m.pos(1, 0), m.pos(2, 0)}, high = low;
    for (std::size_t j = 0; j < m.pos.cols(); ++j)
        for (unsigned i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], m.pos(i, j));
            high[i] = std::max(high[i], m.pos(i, j));
        }
    std::mt19937_64 random(2);
    std::uniform_real_distribution<double> unit(0, 1);
    std::vector<std::pair<std::uint64_t, place>> keyed(m.pos.cols());
    for (auto& [key, p] : keyed) {
        key = 0;
        for (unsigned i = 0; i < 3; ++i) {
            const double x = unit(random);
            p[i] = low[i] + x * (high[i] - low[i]);
            for (unsigned bit = 0; bit < 20; ++bit)
                key |= (std::uint64_t(x * (1 << 20)) >> bit & 1) << (3 * bit + i);
        }
    }
    if (o == order::grid)
        std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<place> points;
    for (const auto& [key, p] : keyed)
        points.push_back(p);
    return points;
}

/// Nodes with both trees, made once for a kind and size.
struct searched {
    mesh m;
    node_detector detector;
    node_cloud cloud{m.pos};
    std::unique_ptr<kd_tree> tree;
    std::map<order, std::vector<place>> points;

    explicit searched(const sample& s) : m(make_cloud(s.elements, s.kind)) {
        if (detector.reinit(m.pos, m.connect) != 0)
            m.connect.clear();
        tree = tree_of(cloud);
        for (const order o : {order::grid, order::shuffled})
            points.emplace(o, make_points(m, o));
    }
};

const searched& searched_of(const sample& s) {
    static std::map<std::pair<std::string, std::size_t>, std::unique_ptr<searched>> made;
    auto& found = made[{s.kind, s.elements}];
    if (!found)
        found = std::make_unique<searched>(s);
    return *found;
}

void count(benchmark::State& state, const searched& in) {
    bench::count(state, in.m.pos.cols(), 2 * bench::bytes_of(in.m.pos));
}

void BM_reinit(benchmark::State& state, const sample& s) {
    const searched& in = searched_of(s);
    node_detector detector;
    int status = 0;
    for (auto _ : state)
        status |= detector.reinit(in.m.pos, in.m.connect);
    const place& p = in.points.at(order::grid)[0];
    bench::check(state, status == 0 && detector.find_closest(p) == in.detector.find_closest(p), "not built");
    count(state, in);
}

void BM_build_tree(benchmark::State& state, const sample& s) {
    const searched& in = searched_of(s);
    std::unique_ptr<kd_tree> tree;
    for (auto _ : state)
        tree = tree_of(in.cloud);
    const place& p = in.points.at(order::grid)[0];
    bench::check(state, closest(*tree, p) == closest(*in.tree, p), "not built");
    count(state, in);
}

/// Runs find(point) for all points, and check(point, found) for each afterwards.
template <class Find, class Check>
void search(benchmark::State& state, const sample& s, Find find, Check check) {
    const searched& in = searched_of(s);
    const std::vector<place>& points = in.points.at(s.in_order);
    std::vector<unsigned> found(points.size());
    for (auto _ : state) {
        for (std::size_t k = 0; k < points.size(); ++k)
            found[k] = find(in, points[k]);
        benchmark::ClobberMemory();
    }
    bool right = true;
    for (std::size_t k = 0; k < points.size(); k += 100)
        right = right && check(in, points[k], found[k]);
    bench::check(state, right, "another node");
    count(state, in);
}

bool is_nearest(const searched& in, const place& p, unsigned id) {
    const auto distance = [&](unsigned node) {
        return std::hypot(p[0] - in.m.pos(0, node), p[1] - in.m.pos(1, node), p[2] - in.m.pos(2, node));
    };
    return distance(id) <= distance(closest(*in.tree, p)) * (1 + 1e-15);
}

void BM_find_closest(benchmark::State& state, const sample& s) {
    search(
        state, s, [](const searched& in, const place& p) { return in.detector.find_closest(p); }, is_nearest);
}

void BM_find_close(benchmark::State& state, const sample& s) {
    search(
        state, s, [](const searched& in, const place& p) { return in.detector.find_close(p); },
        [](const searched& in, const place&, unsigned id) { return id < in.m.pos.cols(); });
}

void BM_search_tree(benchmark::State& state, const sample& s) {
    search(
        state, s, [](const searched& in, const place& p) { return closest(*in.tree, p); }, is_nearest);
}

const bench::suite all([] {
    for (const sample& s :
         bench::samples({"random", "clustered", "lattice"}, bench::million, {order::grid, order::shuffled})) {
        if (s.in_order == order::grid) {
            bench::add("node_detector_reinit", s, BM_reinit);
            bench::add("node_detector_reinit:nanoflann", s, BM_build_tree);
        }
        bench::add("node_detector_find_closest", s, BM_find_closest);
        bench::add("node_detector_find_closest:nanoflann", s, BM_search_tree);
        bench::add("node_detector_find_close", s, BM_find_close);
    }
});

} // namespace
