// Searches and interpolations under other numbers: a point inside of an element is found there, with the same bits.
// Points on faces belong to two elements, and which is found depends on the walk; so do equally near nodes on IDs.

#include "properties/random_solids.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

/// A point well inside each of some elements, and the element.
struct inner_points {
    dense2D<double> at{3, 0};
    std::vector<unsigned> element;
};

inner_points random_points(const solid_mesh& m) {
    inner_points points;
    for (unsigned k = 0; k < 8; ++k) {
        const unsigned e = *rc::gen::inRange(0u, unsigned(m.connect.cols()));
        double weight[4], sum = 0, x[3] = {0, 0, 0};
        for (double& w : weight)
            sum += w = 0.1 + positive(1);
        for (unsigned v = 0; v < 4; ++v)
            for (unsigned i = 0; i < 3; ++i)
                x[i] += weight[v] / sum * m.pos(i, m.connect(v, e));
        points.at.append(x);
        points.element.push_back(e);
    }
    return points;
}

searchable prepared(const solid_mesh& m) {
    searchable s;
    s.pos = m.pos;
    s.connect = m.connect;
    RC_ASSERT(s.prepare());
    return s;
}

} // namespace

TEST(NumberingOfSearches, PointsInsideAreFoundInTheSameElements) {
    expect_property([] {
        const solid_mesh m = random_tetrahedra();
        const renumbering r = random_renumbering(m);
        const inner_points points = random_points(m);
        const searchable a = prepared(m), b = prepared(r(m));
        dense1D<unsigned, 8> in_a, in_b;
        dense2D<double> local_a, local_b;
        RC_ASSERT(get_elements_containing_points(a.pos, a.connect, a.neighbors, a.ancestors, a.detector, ET_TH4,
                                                 points.at, in_a, local_a, 1e-6) == 0);
        RC_ASSERT(get_elements_containing_points(b.pos, b.connect, b.neighbors, b.ancestors, b.detector, ET_TH4,
                                                 points.at, in_b, local_b, 1e-6) == 0);
        for (std::size_t k = 0; k < points.element.size(); ++k)
            RC_ASSERT(in_a[k] == points.element[k] && r.element[in_b[k]] == points.element[k]);
        RC_ASSERT(entries(local_a) == entries(local_b));
    });
}

TEST(NumberingOfSearches, TheNearestNodeIsTheSame) {
    expect_property([] {
        const solid_mesh m = random_tetrahedra();
        const renumbering r = random_renumbering(m);
        const searchable a = prepared(m), b = prepared(r(m));
        const vector_fixed<double, 3> p{coordinate() / 3, coordinate() / 7, coordinate() / 11};
        std::vector<double> squares;
        for (std::size_t j = 0; j < m.pos.cols(); ++j) {
            const double x = m.pos(0, j) - p[0], y = m.pos(1, j) - p[1], z = m.pos(2, j) - p[2];
            squares.push_back(x * x + y * y + z * z);
        }
        std::sort(squares.begin(), squares.end());
        RC_PRE(squares[1] > squares[0]); // of equally near nodes the lowest ID is found
        RC_ASSERT(r.node[a.detector.find_closest(p)] == b.detector.find_closest(p));
    });
}

TEST(NumberingOfInterpolations, NodesInsideTakeTheSameValues) {
    expect_property([] {
        solid_mesh m = random_tetrahedra();
        const unsigned nodes = unsigned(m.pos.cols());
        const inner_points points = random_points(m);
        for (std::size_t k = 0; k < points.at.cols(); ++k)
            m.pos.append(points.at.col(k));
        const renumbering r = random_renumbering(m);
        dense2D<double> field(2, m.pos.cols(), 0.0), metrics(6, m.pos.cols(), 0.0);
        for (unsigned v = 0; v < nodes; ++v) {
            field(0, v) = coordinate();
            field(1, v) = coordinate();
            for (const unsigned i : {0u, 2u, 5u})
                metrics(i, v) = 2 + positive(3);
            for (const unsigned i : {1u, 3u, 4u})
                metrics(i, v) = coordinate() / 8;
        }
        dense2D<double> field_b = renumbered_nodes(field, r.node), metrics_b = renumbered_nodes(metrics, r.node);
        dense1D<unsigned, 8> at_a, at_b;
        for (unsigned v = nodes; v < m.pos.cols(); ++v) {
            at_a.push_back(v);
            at_b.push_back(r.node[v]);
        }
        const auto run = [&](const solid_mesh& mesh, dense2D<double>& values, dense2D<double>& sizes,
                             const dense1D<unsigned, 8>& at) {
            searchable s = prepared(mesh);
            s.ancestors.resize(mesh.pos.cols(), no_node);
            RC_ASSERT(interpolate(s.pos, s.connect, s.neighbors, s.ancestors, values, at) == 0);
            RC_ASSERT(interpolate_metrics(s.pos, s.connect, s.neighbors, s.ancestors, sizes, at, false) == 0);
        };
        run(m, field, metrics, at_a);
        run(r(m), field_b, metrics_b, at_b);
        RC_ASSERT(entries(renumbered_nodes(field, r.node)) == entries(field_b));
        RC_ASSERT(entries(renumbered_nodes(metrics, r.node)) == entries(metrics_b));
    });
}
