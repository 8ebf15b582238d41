#include <gtest/gtest.h>

#include <limits>

#include "locate/tetra_meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::interpolate;

namespace {

constexpr unsigned none = no_node;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// A mesh with free nodes behind those of its elements.
struct mesh_with_free_nodes : searchable {
    dense1D<unsigned, 8> free;

    explicit mesh_with_free_nodes(searchable mesh) : searchable(std::move(mesh)) { EXPECT_TRUE(prepare()); }

    unsigned add(double x, double y, double z) {
        const double point[] = {x, y, z};
        pos.append(point);
        ancestors.push_back(none);
        free.push_back(unsigned(pos.cols() - 1));
        return unsigned(pos.cols() - 1);
    }

    unsigned closest(unsigned node) const {
        unsigned best = none;
        double least = std::numeric_limits<double>::infinity();
        for (unsigned k = 0; k < pos.cols(); ++k) {
            double square = 0;
            for (unsigned i = 0; i < 3; ++i)
                square += (pos(i, k) - pos(i, node)) * (pos(i, k) - pos(i, node));
            if (ancestors[k] != none && square < least) {
                least = square;
                best = k;
            }
        }
        return best;
    }
};

double linear(const dense2D<double>& pos, std::size_t node, unsigned component) {
    return (2 + component) * pos(0, node) - 3 * pos(1, node) + 0.5 * pos(2, node) + 7 - component;
}

/// Linear functions at the nodes of elements, and a number that is none of theirs at the free ones.
dense2D<double> linear_field(const mesh_with_free_nodes& m, unsigned components) {
    dense2D<double> field(components, m.pos.cols(), -99.0);
    for (unsigned k = 0; k < m.pos.cols(); ++k)
        for (unsigned i = 0; i < components && m.ancestors[k] != none; ++i)
            field(i, k) = linear(m.pos, k, i);
    return field;
}

mesh_with_free_nodes cube_with_free_nodes(unsigned n, unsigned count, double margin) {
    mesh_with_free_nodes m(cube_of_tetrahedra(n, 0.2));
    dice random(5);
    for (unsigned k = 0; k < count; ++k) {
        const auto coordinate = [&] { return -margin + (1 + 2 * margin) * share(random); };
        const double x = coordinate(), y = coordinate(), z = coordinate();
        m.add(x, y, z);
    }
    return m;
}

} // namespace

TEST(Interpolate, ReproducesLinearFieldsOfSeveralComponents) {
    const auto m = cube_with_free_nodes(4, 500, 0);
    for (const unsigned components : {1u, 2u, 3u, 7u}) {
        auto field = linear_field(m, components);
        ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
        for (std::size_t k = 0; k < m.pos.cols(); ++k)
            for (unsigned i = 0; i < components; ++i)
                EXPECT_NEAR(field(i, k), linear(m.pos, k, i), 1e-13);
    }
}

TEST(Interpolate, ReproducesAScalarFieldWithTheSameBits) {
    const auto m = cube_with_free_nodes(3, 200, 0.3);
    auto field = linear_field(m, 1);
    dense1D<double, 8> scalar(m.pos.cols());
    std::copy_n(field.data(), field.size(), scalar.data());
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, scalar, m.free), 0);
    for (std::size_t k = 0; k < scalar.size(); ++k)
        EXPECT_EQ(scalar[k], field(0, k));
}

TEST(Interpolate, GivesTheMeanAtACentroidAndTheValueOfANodeAtItsPlace) {
    mesh_with_free_nodes m(one_tetrahedron());
    const unsigned centroid = m.add(0.25, 0.25, 0.25);
    const unsigned at_node[] = {m.add(0, 0, 0), m.add(0, 1, 0), m.add(1, 0, 0), m.add(0, 0, 1)};
    dense1D<double, 8> field{1, 10, 100, 1000, -1, -1, -1, -1, -1};
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    EXPECT_DOUBLE_EQ(field[centroid], 1111.0 / 4);
    for (unsigned k = 0; k < 4; ++k)
        EXPECT_EQ(field[at_node[k]], field[k]);
}

TEST(Interpolate, GivesOutsideTheValueOfTheClosestNode) {
    const auto m = cube_with_free_nodes(3, 300, 1.5);
    auto field = linear_field(m, 2);
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    std::size_t outside = 0;
    for (const unsigned node : m.free) {
        bool inside = true;
        for (unsigned i = 0; i < 3; ++i)
            inside = inside && m.pos(i, node) >= 0 && m.pos(i, node) <= 1;
        if (inside)
            continue;
        ++outside;
        for (unsigned i = 0; i < 2; ++i)
            EXPECT_EQ(field(i, node), field(i, m.closest(node)));
    }
    EXPECT_GT(outside, 100u);
}

TEST(Interpolate, LeavesOtherNodesAlone) {
    auto m = cube_with_free_nodes(2, 10, 0);
    auto field = linear_field(m, 1);
    field(0, 3) = 55; // a node of an element
    const dense1D<unsigned, 8> listed{3, m.free[4], none, 3, m.free[4]};
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, listed), 0);
    EXPECT_EQ(field(0, 3), 55);
    for (const unsigned node : m.free)
        EXPECT_EQ(field(0, node) == -99, node != m.free[4]);
}

TEST(Interpolate, TakesNodesBehindTheAncestorsAsFree) {
    auto m = cube_with_free_nodes(2, 20, 0);
    const auto expected = [&] {
        auto field = linear_field(m, 1);
        EXPECT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
        return entries(field);
    }();
    auto field = linear_field(m, 1);
    ASSERT_TRUE(m.ancestors.resize(m.pos.cols() - 20));
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    EXPECT_EQ(entries(field), expected);
}

TEST(Interpolate, TakesTheClosestNodeWhereElementsAreInverted) {
    mesh_with_free_nodes m(one_tetrahedron());
    std::swap(m.connect(0, 0), m.connect(1, 0));
    m.add(0.1, 0.2, 0.6);
    dense1D<double, 8> field{1, 10, 100, 1000, -1};
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    EXPECT_EQ(field[4], 1000);
}

TEST(Interpolate, LeavesNodesAloneWhenTheMeshHasNone) {
    const auto pos = points({{0, 0, 0}, {1, 1, 1}});
    const dense2D<unsigned> no_elements(4, 0);
    dense1D<double, 8> field{5, 6};
    EXPECT_EQ(interpolate(pos, no_elements, no_elements, {none, none}, field, {0, 1}), 0);
    EXPECT_EQ(field[0], 5);
    EXPECT_EQ(field[1], 6);
}

TEST(Interpolate, LeavesNodesAloneThatAreNoNumbers) {
    mesh_with_free_nodes m(one_tetrahedron());
    m.add(not_a_number, 0.1, 0.1);
    m.add(std::numeric_limits<double>::infinity(), 0.1, 0.1);
    dense1D<double, 8> field{1, 10, 100, 1000, -1, -2};
    EXPECT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    EXPECT_EQ(field[4], -1);
    EXPECT_EQ(field[5], -2);
}

TEST(Interpolate, ReturnsAtOnceWithoutNodes) {
    dense2D<double> bad_pos(2, 1, 0.0), field(1, 9, 0.0);
    dense1D<double, 8> scalar(4, 0.0);
    const dense2D<unsigned> bad(7, 3, 99u);
    EXPECT_EQ(interpolate(bad_pos, bad, bad, {77}, field, {}), 0);
    EXPECT_EQ(interpolate(bad_pos, bad, bad, {77}, scalar, {}), 0);
}

TEST(Interpolate, ChecksComeInOrder) {
    const mesh_with_free_nodes m(one_tetrahedron());
    const dense2D<double> flat(2, 4, 0.0);
    const auto far_node = ids({{0, 1, 2, 4}});
    const dense2D<unsigned> two_columns(4, 2, none), five_rows(5, 1, none), far_element(4, 1, 1u);
    const dense1D<unsigned, 8> far_ancestors{0, 0, 1, 0}, far_nodes{4};
    const auto both = [&](const dense2D<double>& pos, const dense2D<unsigned>& connect,
                          const dense2D<unsigned>& neighbors, const dense1D<unsigned, 8>& ancestors, std::size_t values,
                          const dense1D<unsigned, 8>& nodes, int expected) {
        dense2D<double> field(2, values, 1.0);
        dense1D<double, 8> scalar(values, 1.0);
        EXPECT_EQ(interpolate(pos, connect, neighbors, ancestors, field, nodes), expected);
        EXPECT_EQ(interpolate(pos, connect, neighbors, ancestors, scalar, nodes), expected);
    };
    both(flat, far_node, two_columns, far_ancestors, 3, far_nodes, -1);
    both(m.pos, far_node, two_columns, far_ancestors, 3, far_nodes, -2);
    both(m.pos, dense2D<unsigned>(10, 1, 0u), two_columns, far_ancestors, 3, far_nodes, -2);
    both(m.pos, m.connect, two_columns, far_ancestors, 3, far_nodes, -3);
    both(m.pos, m.connect, five_rows, far_ancestors, 3, far_nodes, -3);
    both(m.pos, m.connect, far_element, far_ancestors, 3, far_nodes, -3);
    both(m.pos, m.connect, m.neighbors, far_ancestors, 3, far_nodes, -4);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 3, far_nodes, -5);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 5, far_nodes, -5);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 4, far_nodes, -6);
    both(m.pos, m.connect, m.neighbors, m.ancestors, 4, {0, none}, 0);
}

TEST(Interpolate, ReadsWindowsAndWritesWhereTheFieldIs) {
    const auto m = cube_with_free_nodes(3, 50, 0.2);
    auto expected = linear_field(m, 3);
    auto field = as_window(expected, not_a_number);
    const dense2D<double> other_view = field;
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, expected, m.free), 0);
    ASSERT_EQ(interpolate(as_window(m.pos, 9.0), as_window(m.connect, 1u), as_window(m.neighbors, 2u), m.ancestors,
                          field, m.free),
              0);
    EXPECT_EQ(entries(other_view), entries(expected));
}

TEST(Interpolate, MayInterpolateTheCoordinatesThemselves) {
    auto m = cube_with_free_nodes(3, 50, 0.2);
    for (std::size_t k = m.free.size(); k > 0; --k)
        m.free.push_back(m.free[k - 1]); // where a node goes the first time does not matter for the second
    dense2D<double> field;
    ASSERT_TRUE(field.copy(m.pos));
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, m.pos, m.free), 0);
    EXPECT_EQ(entries(m.pos), entries(field));
}

TEST(Interpolate, TheFieldMayLieBesideTheCoordinates) {
    const auto m = cube_with_free_nodes(3, 50, 0.2);
    auto expected = linear_field(m, 2);
    dense2D<double> all(5, m.pos.cols());
    for (std::size_t k = 0; k < all.cols(); ++k) {
        std::copy_n(m.pos.col(k), 3, all.col(k));
        std::copy_n(expected.col(k), 2, all.col(k) + 3);
    }
    dense2D<double> pos = all.sub(0, 0, 3, all.cols()), field = all.sub(3, 0, 2, all.cols());
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, expected, m.free), 0);
    ASSERT_EQ(interpolate(pos, m.connect, m.neighbors, m.ancestors, field, m.free), 0);
    EXPECT_EQ(entries(field), entries(expected));
    EXPECT_EQ(entries(pos), entries(m.pos));
}

TEST(Interpolate, DoesNotDependOnTheOrderOfTheNodes) {
    const auto m = cube_with_free_nodes(3, 300, 0.4);
    auto one = linear_field(m, 2), other = linear_field(m, 2);
    dense1D<unsigned, 8> turned(m.free.size());
    std::reverse_copy(m.free.begin(), m.free.end(), turned.begin());
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, one, m.free), 0);
    ASSERT_EQ(interpolate(m.pos, m.connect, m.neighbors, m.ancestors, other, turned), 0);
    EXPECT_EQ(entries(one), entries(other));
}
