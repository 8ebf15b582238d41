#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>

#include "locate/tetra_meshes.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

constexpr unsigned none = no_node;
using list = dense1D<unsigned, 8>;

std::vector<unsigned> entries_of(const list& l) {
    return {l.begin(), l.end()};
}

/// The mesh as elements of ten nodes, with the aids made from those.
searchable quadratic(const searchable& linear) {
    searchable m;
    EXPECT_TRUE(m.pos.copy(linear.pos) && m.connect.copy(linear.connect));
    EXPECT_EQ(convert_into_quadratic(m.pos, m.connect), 0);
    EXPECT_TRUE(m.prepare(ET_TH10));
    return m;
}

} // namespace

TEST(GetElements, ASharedFaceBelongsToOneOfItsElementsAndAlwaysToTheSame) {
    searchable m = cube_of_tetrahedra(2, 0);
    ASSERT_TRUE(m.prepare());
    dense2D<double> centres(3, 0);
    for (std::size_t e = 0; e < m.connect.cols(); ++e)
        for (unsigned face = 0; face < 4; ++face) {
            double x[3] = {0, 0, 0};
            for (unsigned c = 0; c < 4; ++c)
                for (unsigned i = 0; i < 3; ++i)
                    x[i] += c == face ? 0 : m.pos(i, m.connect(c, e)) / 3;
            centres.append(x);
        }
    list elements, again;
    dense2D<double> local;
    EXPECT_EQ(get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4, centres,
                                             elements, local, 1e-6),
              0);
    for (unsigned k = 0; k < elements.size(); ++k)
        EXPECT_TRUE(elements[k] == k / 4 || elements[k] == m.neighbors(k % 4, k / 4));
    EXPECT_EQ(get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4, centres,
                                             again, local, 1e-6),
              0);
    EXPECT_EQ(entries_of(again), entries_of(elements));
}

RC_GTEST_PROP(GetElements, NodesAreThePointsWhereTheyLie, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    searchable m = cube_of_tetrahedra(1 + random(3), 0.2);
    const std::size_t of_mesh = m.pos.cols();
    for (unsigned k = 0; k < 10; ++k) {
        const double x[3] = {1.2 * share(random), 1.2 * share(random), share(random)};
        m.pos.append(x);
    }
    RC_ASSERT(m.prepare());
    list nodes(20);
    dense2D<double> sought(3, 20);
    for (std::size_t k = 0; k < 20; ++k) {
        nodes[k] = unsigned(k < 10 ? of_mesh + k : random(m.pos.cols()));
        std::copy_n(m.pos.col(nodes[k]), 3, sought.col(k));
    }
    list elements, expected;
    dense2D<double> local, expected_local;
    const int expected_status = get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector,
                                                               ET_TH4, sought, expected, expected_local, 1e-6);
    RC_ASSERT(get_elements_containing_nodes(m.pos, m.connect, ET_TH4, nodes, elements, local, 1e-6) == expected_status);
    RC_ASSERT(entries_of(elements) == entries_of(expected));
    RC_ASSERT(entries(local) == entries(expected_local));
}

RC_GTEST_PROP(GetElements, AQuadraticMeshIsSearchedAsItsLinearCopy, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    searchable linear = cube_of_tetrahedra(1 + random(3), 0.2);
    RC_ASSERT(linear.prepare());
    const searchable m = quadratic(linear);
    const auto before = entries(m.connect);
    dense2D<double> sought(3, 20);
    for (std::size_t k = 0; k < sought.size(); ++k)
        sought.data()[k] = 1.1 * share(random);
    list elements, again;
    dense2D<double> local, local_again;
    const int status = get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH10,
                                                      sought, elements, local, 1e-6);
    for (std::size_t k = 0; k < sought.cols(); ++k) {
        const bool inside = std::all_of(sought.col(k), sought.col(k) + 3, [](double x) { return x <= 1; });
        RC_ASSERT((elements[k] != none) == inside);
    }
    // The linear rows with the aids of the quadratic mesh.
    const dense2D<unsigned> rows = m.connect.sub(0, 0, 4, m.connect.cols());
    RC_ASSERT(get_elements_containing_points(m.pos, rows, m.neighbors, m.ancestors, m.detector, ET_TH4, sought, again,
                                             local_again, 1e-6) == status);
    RC_ASSERT(entries_of(again) == entries_of(elements));
    RC_ASSERT(entries(local_again) == entries(local));
    RC_ASSERT(entries(m.connect) == before);
}

RC_GTEST_PROP(GetElements, OutputsMayBeInputs, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    searchable m = cube_of_tetrahedra(2, 0.2);
    RC_ASSERT(m.prepare());
    dense2D<double> sought(3, 30);
    for (std::size_t k = 0; k < sought.size(); ++k)
        sought.data()[k] = 1.1 * share(random);
    const auto search = [&](searchable& mesh, const dense2D<double>& points, list& elements, dense2D<double>& local) {
        return get_elements_containing_points(mesh.pos, mesh.connect, mesh.neighbors, mesh.ancestors, mesh.detector,
                                              ET_TH4, points, elements, local, 1e-6);
    };
    list expected;
    dense2D<double> expected_local;
    const int status = search(m, sought, expected, expected_local);
    const unsigned choice = random(3);
    searchable copy = m;
    dense2D<double> other_local, points = sought;
    list other_elements;
    if (choice == 2) // views of what is read
        other_elements = m.connect.as_vector();
    list& elements = choice == 0 ? copy.ancestors : other_elements;
    dense2D<double>& local = choice == 0 ? points : choice == 1 ? copy.pos : other_local;
    RC_ASSERT(search(copy, points, elements, local) == status);
    RC_ASSERT(entries_of(elements) == entries_of(expected));
    RC_ASSERT(entries(local) == entries(expected_local));
}

TEST(GetElements, OneObjectMayBePointAndLocalCoordinates) {
    searchable m = one_tetrahedron();
    ASSERT_TRUE(m.prepare());
    vector_fixed<double, 3> x{0.25, 0.5, 0.125};
    unsigned element = 5;
    EXPECT_EQ(get_element_containing_point(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4, x, element,
                                           x, 1e-6),
              1);
    EXPECT_EQ(x[0], 0.125);
    EXPECT_EQ(x[1], 0.5);
    EXPECT_EQ(x[2], 0.25);
}

TEST(GetElements, AListOfNodesMayBecomeTheElements) {
    searchable m = one_tetrahedron();
    const double centre[3] = {0.25, 0.25, 0.25};
    m.pos.append(centre);
    list both{4, 4, 0};
    EXPECT_EQ(get_elements_containing_nodes(m.pos, m.connect, ET_TH4, both, both, m.pos, 1e-6), 0);
    EXPECT_EQ(entries_of(both), (std::vector<unsigned>{0, 0, 0}));
    EXPECT_EQ(entries(m.pos), (std::vector<double>{0.25, 0.25, 0.25, 0.25, 0.25, 0.25, 1, 0, 0}));
}

TEST(GetElements, AScrewOfTetrahedraIsLeftAndEnteredAgain) {
    // A cube whose inner cells are gone: many first walks end at the hole, and the ball finds the element behind it.
    searchable whole = cube_of_tetrahedra(5, 0.1);
    searchable m;
    m.pos = whole.pos;
    m.connect.resize(4, 0);
    const auto in_hole = [](unsigned i, unsigned j, unsigned k) { return i % 4 != 0 && j % 4 != 0 && k % 4 != 0; };
    for (unsigned e = 0; e < whole.connect.cols(); ++e) {
        const unsigned cell = e / 6;
        if (!in_hole(cell % 5, cell / 5 % 5, cell / 25))
            m.connect.append(whole.connect.col(e));
    }
    ASSERT_TRUE(m.prepare());
    dense2D<double> centroids(3, m.connect.cols(), 0.0);
    for (std::size_t e = 0; e < m.connect.cols(); ++e)
        for (unsigned c = 0; c < 4; ++c)
            for (unsigned i = 0; i < 3; ++i)
                centroids(i, e) += m.pos(i, m.connect(c, e)) / 4;
    list elements;
    dense2D<double> local;
    EXPECT_EQ(get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, ET_TH4, centroids,
                                             elements, local, 1e-6),
              0);
    for (unsigned e = 0; e < elements.size(); ++e) {
        EXPECT_EQ(elements[e], e);
        for (unsigned i = 0; i < 3; ++i)
            EXPECT_NEAR(local(i, e), 0.25, 1e-14);
    }
}
