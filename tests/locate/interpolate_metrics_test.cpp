#include <gtest/gtest.h>

#include <limits>

#include "locate/tetra_meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::interpolate_metrics;

namespace {

constexpr unsigned none = no_node;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// A cube with free nodes inside and outside of it, and sizes 1 + x + 2y + 4z at the nodes of elements; -1 at others.
struct sized_mesh : searchable {
    dense1D<unsigned, 8> free;
    dense1D<double, 8> sizes;

    double size_at(std::size_t node) const { return 1 + pos(0, node) + 2 * pos(1, node) + 4 * pos(2, node); }

    sized_mesh() : searchable(cube_of_tetrahedra(3, 0.2)) {
        EXPECT_TRUE(prepare());
        dice random(9);
        for (unsigned k = 0; k < 100; ++k) {
            const double margin = k < 80 ? 0 : 0.5;
            double x[3];
            for (double& value : x)
                value = -margin + (1 + 2 * margin) * share(random);
            pos.append(x);
            ancestors.push_back(none);
            free.push_back(unsigned(pos.cols() - 1));
        }
        for (std::size_t k = 0; k < pos.cols(); ++k)
            sizes.push_back(ancestors[k] == none ? -1 : size_at(k));
    }

    dense2D<double> metrics() const {
        dense2D<double> m(6, pos.cols(), 0.0);
        for (std::size_t k = 0; k < pos.cols(); ++k)
            m(0, k) = m(2, k) = m(5, k) = sizes[k] > 0 ? 1 / (sizes[k] * sizes[k]) : -1;
        return m;
    }

    bool is_inside(std::size_t node) const {
        bool inside = true;
        for (unsigned i = 0; i < 3; ++i)
            inside = inside && pos(i, node) >= 0 && pos(i, node) <= 1;
        return inside;
    }
};

} // namespace

TEST(InterpolateMetrics, ReproducesSizesThatGrowLinearly) {
    sized_mesh m;
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, m.sizes, m.free, false), 0);
    for (std::size_t k = 0; k < m.pos.cols(); ++k) {
        if (m.is_inside(k))
            EXPECT_NEAR(m.sizes[k], m.size_at(k), 1e-13);
        else
            EXPECT_GE(m.sizes[k], 1);
    }
}

TEST(InterpolateMetrics, GivesIsotropicMetricsTheSizesThatGrowLinearly) {
    const sized_mesh m;
    auto metrics = m.metrics();
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, m.free, false), 0);
    for (std::size_t k = 0; k < m.pos.cols(); ++k)
        if (m.is_inside(k)) {
            for (const unsigned diagonal : {0u, 2u, 5u})
                EXPECT_NEAR(1 / std::sqrt(metrics(diagonal, k)), m.size_at(k), 1e-11);
            for (const unsigned off : {1u, 3u, 4u})
                EXPECT_NEAR(metrics(off, k), 0, 1e-12);
        }
}

TEST(InterpolateMetrics, GivesOutsideTheValueOfTheClosestNode) {
    sized_mesh m;
    auto metrics = m.metrics();
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, m.free, false), 0);
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, m.sizes, m.free, false), 0);
    std::size_t outside = 0;
    for (const unsigned node : m.free)
        if (!m.is_inside(node)) {
            ++outside;
            const unsigned closest = m.detector.find_closest({m.pos(0, node), m.pos(1, node), m.pos(2, node)});
            EXPECT_EQ(m.sizes[node], m.sizes[closest]);
            EXPECT_EQ(column(metrics, node), column(metrics, closest));
        }
    EXPECT_GT(outside, 10u);
}

TEST(InterpolateMetrics, KeepsValidValuesIfAsked) {
    sized_mesh m;
    auto metrics = m.metrics();
    const unsigned kept = m.free[0], zero = m.free[1], mended = m.free[2];
    m.sizes[kept] = 77;
    m.sizes[zero] = 0;
    metrics(0, kept) = metrics(2, kept) = metrics(5, kept) = 77;
    metrics(0, mended) = not_a_number;
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, m.sizes, m.free, true), 0);
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, m.free, true), 0);
    EXPECT_EQ(m.sizes[kept], 77);
    EXPECT_NEAR(m.sizes[zero], m.size_at(zero), 1e-13);
    EXPECT_EQ(metrics(0, kept), 77);
    EXPECT_NEAR(1 / std::sqrt(metrics(0, mended)), m.size_at(mended), 1e-11);
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, m.sizes, m.free, false), 0);
    EXPECT_NEAR(m.sizes[kept], m.size_at(kept), 1e-13);
}

TEST(InterpolateMetrics, WithoutAListTakesAllNodes) {
    sized_mesh m;
    dense1D<double, 8> listed;
    ASSERT_TRUE(listed.copy(m.sizes));
    auto all = m.metrics(), some = m.metrics();
    m.sizes[0] = listed[0] = -3; // of an element: left alone
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, listed, m.free, false), 0);
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, m.sizes, false), 0);
    EXPECT_EQ(m.sizes[0], -3);
    for (std::size_t k = 0; k < listed.size(); ++k)
        EXPECT_EQ(m.sizes[k], listed[k]);
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, some, m.free, false), 0);
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, all, false), 0);
    EXPECT_EQ(entries(all), entries(some));
}

TEST(InterpolateMetrics, AtAVertexCopiesItsMetricWhateverTheOthersAre) {
    searchable m = one_tetrahedron();
    ASSERT_TRUE(m.prepare());
    const double corner[] = {0, 1, 0}; // that of node 1
    m.pos.append(corner);
    m.ancestors.push_back(none);
    auto metrics = dense2D<double>(6, 5, not_a_number);
    for (unsigned i = 0; i < 6; ++i)
        metrics(i, 1) = 10 + i;
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, false), 0);
    EXPECT_EQ(column(metrics, 4), column(metrics, 1));
    dense1D<double, 8> sizes{-1, 4, not_a_number, 0, -9};
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, sizes, false), 0);
    EXPECT_EQ(sizes[4], 4);
}

TEST(InterpolateMetrics, LeavesANodeAloneWhereItsElementHasBadValues) {
    searchable m = one_tetrahedron();
    ASSERT_TRUE(m.prepare());
    const double inside[] = {0.2, 0.2, 0.2};
    m.pos.append(inside);
    m.ancestors.push_back(none);
    for (const double bad : {0.0, -1.0, not_a_number, std::numeric_limits<double>::infinity()}) {
        dense2D<double> metrics(6, 5, 0.0);
        for (std::size_t k = 0; k < 5; ++k)
            metrics(0, k) = metrics(2, k) = metrics(5, k) = k == 0 ? bad : 1;
        metrics(1, 4) = 0.125;
        ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, false), 0);
        EXPECT_EQ(column(metrics, 4), (std::vector<double>{1, 0.125, 1, 0, 0, 1})) << bad;
        dense1D<double, 8> sizes{bad, 1, 1, 1, -9};
        ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, sizes, false), 0);
        EXPECT_EQ(sizes[4], -9) << bad;
    }
}

TEST(InterpolateMetrics, ChecksComeInOrder) {
    searchable m = one_tetrahedron();
    ASSERT_TRUE(m.prepare());
    const dense2D<double> flat(2, 4, 0.0);
    const dense2D<unsigned> ten_rows(10, 1, 0u), two_columns(4, 2, none), five_rows(5, 1, none);
    const dense1D<unsigned, 8> three(3, 0u), far_node{4};
    const auto both = [](const dense2D<double>& pos, const dense2D<unsigned>& connect,
                         const dense2D<unsigned>& neighbors, const dense1D<unsigned, 8>& ancestors, std::size_t rows,
                         std::size_t values, const dense1D<unsigned, 8>& nodes, int expected) {
        dense2D<double> metrics(rows, values, 1.0);
        dense1D<double, 8> sizes(rows == 6 ? values : values + 1, 1.0);
        EXPECT_EQ(interpolate_metrics(pos, connect, neighbors, ancestors, metrics, nodes, false), expected);
        EXPECT_EQ(interpolate_metrics(pos, connect, neighbors, ancestors, sizes, nodes, false), expected);
    };
    both(flat, ten_rows, two_columns, three, 3, 3, {}, 0);
    both(flat, ten_rows, two_columns, three, 3, 3, far_node, -1);
    both(m.pos, ten_rows, two_columns, three, 3, 3, far_node, -2);
    both(m.pos, dense2D<unsigned>(), two_columns, three, 3, 3, far_node, -2);
    both(m.pos, m.connect, two_columns, three, 3, 3, far_node, -3);
    both(m.pos, m.connect, five_rows, three, 3, 3, far_node, -3);
    both(m.pos, m.connect, m.neighbors, three, 3, 3, far_node, -4);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 3, 4, far_node, -5);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 6, 3, far_node, -5);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 6, 4, far_node, -6);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 6, 4, {none, 1}, 0);
    dense2D<double> metrics(3, 4, 1.0);
    EXPECT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, false), -5);
    EXPECT_EQ(interpolate_metrics(dense2D<double>(2, 0), ten_rows, two_columns, three, metrics, false), 0);
}

TEST(InterpolateMetrics, SurvivesAidsThatNameNothing) {
    dice random(3);
    for (int k = 0; k < 300; ++k) {
        sized_mesh m;
        for (std::size_t e = 0; e < m.connect.cols(); ++e)
            for (unsigned i = 0; i < 4; ++i) {
                if (random(20) == 0)
                    m.connect(i, e) = random(2) == 0 ? none : unsigned(m.pos.cols()) + random(5);
                if (random(20) == 0)
                    m.neighbors(i, e) = unsigned(m.connect.cols()) + random(5);
            }
        for (unsigned& ancestor : m.ancestors)
            if (ancestor != none && random(20) == 0)
                ancestor = unsigned(m.connect.cols()) + random(5);
        auto metrics = m.metrics();
        EXPECT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, m.sizes, m.free, false), 0);
        EXPECT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, false), 0);
        for (const unsigned node : m.free)
            EXPECT_GT(m.sizes[node], 0);
    }
}

TEST(InterpolateMetrics, WritesWhereTheValuesAre) {
    const sized_mesh m;
    auto expected = m.metrics();
    auto metrics = as_window(expected, not_a_number);
    const dense2D<double> other_view = metrics;
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, expected, m.free, false), 0);
    ASSERT_EQ(interpolate_metrics(as_window(m.pos, 1.0), as_window(m.connect, 7u), as_window(m.neighbors, 7u),
                                  m.ancestors, metrics, m.free, false),
              0);
    EXPECT_EQ(entries(other_view), entries(expected));
}
