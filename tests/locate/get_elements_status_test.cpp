// Each status of the three searches, with one argument bad and all others good, and what is left of the outputs.

#include <gtest/gtest.h>

#include <limits>

#include "locate/tetra_meshes.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

constexpr unsigned none = no_node;
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
using place = vector_fixed<double, 3>;
using list = dense1D<unsigned, 8>;

/// Arguments of the searches with given aids, all good.
struct call {
    searchable m;
    element_type type = ET_TH4;
    dense2D<double> points = test::points({{0.1, 0.1, 0.1}, {0.2, 0.3, 0.4}});

    call() : m(one_tetrahedron()) { EXPECT_TRUE(m.prepare()); }

    /// The status of the search for one point; its outputs must be those of a failure unless it is 1.
    int one() const {
        unsigned element = 7;
        place local{7, 7, 7};
        const int status = get_element_containing_point(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, type,
                                                        {0.1, 0.1, 0.1}, element, local, 1e-6);
        EXPECT_EQ(element, status == 1 ? 0 : none);
        EXPECT_TRUE(status == 1 || (local[0] == 0 && local[1] == 0 && local[2] == 0));
        return status;
    }

    /// The status of the search for many points, whose outputs must have `sizes` entries.
    int many(std::size_t sizes) const {
        list elements{7, 7, 7};
        dense2D<double> local(3, 5, 7.0);
        const int status = get_elements_containing_points(m.pos, m.connect, m.neighbors, m.ancestors, m.detector, type,
                                                          points, elements, local, 1e-6);
        EXPECT_EQ(elements.size(), sizes);
        EXPECT_EQ(local.cols(), sizes);
        for (std::size_t k = 0; status < 0 && k < elements.size(); ++k)
            EXPECT_TRUE(elements[k] == none && local(0, k) == 0 && local(1, k) == 0 && local(2, k) == 0);
        return status;
    }
};

/// A good call with one change.
template <class Change>
call with(Change change) {
    call c;
    change(c);
    return c;
}

int nodes_status(const dense2D<double>& pos, const dense2D<unsigned>& connect, element_type type, const list& nodes,
                 std::size_t sizes) {
    list elements{7, 7, 7};
    dense2D<double> local(3, 5, 7.0);
    const int status = get_elements_containing_nodes(pos, connect, type, nodes, elements, local, 1e-6);
    EXPECT_EQ(elements.size(), sizes);
    EXPECT_EQ(local.cols(), sizes);
    return status;
}

/// The corners of the unit cube.
dense2D<double> cube_corners() {
    return points({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}});
}

} // namespace

TEST(GetElementsStatus, GoodArguments) {
    EXPECT_EQ(call().one(), 1);
    EXPECT_EQ(call().many(2), 0);
}

TEST(GetElementsStatus, CoordinatesOfThreeRows) {
    for (const std::size_t rows : {0u, 2u, 4u}) {
        const call c = with([&](call& x) { x.m.pos = dense2D<double>(rows, 4, 0.0); });
        EXPECT_EQ(c.one(), -1);
        EXPECT_EQ(c.many(0), -1);
    }
}

TEST(GetElementsStatus, WithoutNodesManyPointsAreDone) {
    const call c = with([](call& x) {
        x.m.pos = dense2D<double>(7, 0);
        x.type = element_type(99);
        x.points = dense2D<double>(5, 5);
    });
    EXPECT_EQ(c.many(0), 0);
    EXPECT_EQ(c.one(), -1);
}

TEST(GetElementsStatus, AConnectivityThatSuits) {
    for (const auto& connect : {ids({{0, 1, 2, 4}}), ids({{0, 1, 2, none}}), ids({{0, 1, 2}})}) {
        const call c = with([&](call& x) { x.m.connect = connect; });
        EXPECT_EQ(c.one(), -2);
        EXPECT_EQ(c.many(0), -2);
    }
    const call other_type = with([](call& x) { x.type = ET_T3; });
    EXPECT_EQ(other_type.one(), -2);
    const call no_type = with([](call& x) { x.type = element_type(25); });
    EXPECT_EQ(no_type.one(), -2);
}

TEST(GetElementsStatus, NeighborsThatSuit) {
    for (const auto& neighbors : {ids({{none, none, none}}), ids({{none, none, none, none}, {none, none, none, none}}),
                                  ids({{none, none, none, 1}}), dense2D<unsigned>()}) {
        const call c = with([&](call& x) { x.m.neighbors = neighbors; });
        EXPECT_EQ(c.one(), -3);
        EXPECT_EQ(c.many(0), -3);
    }
}

TEST(GetElementsStatus, AncestorsBelowTheElements) {
    const call c = with([](call& x) { x.m.ancestors[2] = 1; });
    EXPECT_EQ(c.one(), -4);
    EXPECT_EQ(c.many(0), -4);
}

TEST(GetElementsStatus, PointsOfThreeRows) {
    for (const std::size_t rows : {0u, 2u, 4u}) {
        const call c = with([&](call& x) { x.points = dense2D<double>(rows, 2, 0.0); });
        EXPECT_EQ(c.many(0), -7);
    }
    EXPECT_EQ(with([](call& x) { x.points = dense2D<double>(3, 0); }).many(0), 0);
}

TEST(GetElementsStatus, TypesWithoutALinearForm) {
    // The conversion knows solids only, and its status comes before that of the type.
    const call c = with([](call& x) {
        x.m.connect = ids({{0, 1, 2}});
        x.m.neighbors = ids({{none, none}});
        x.type = ET_EDGE3;
    });
    EXPECT_EQ(c.one(), -1);
    EXPECT_EQ(c.many(0), -1);
}

TEST(GetElementsStatus, OtherSolidsAreRefusedBehindTheOutputs) {
    const call hexahedra = with([](call& x) {
        x.m.pos = cube_corners();
        x.m.connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
        x.type = ET_H8;
        EXPECT_TRUE(x.m.prepare(ET_H8));
    });
    EXPECT_EQ(hexahedra.one(), -6);
    EXPECT_EQ(hexahedra.many(2), -6);
    const call quadratic = with([](call& x) {
        x.m.pos = dense2D<double>(3, 20, 0.0);
        x.m.connect = dense2D<unsigned>(20, 1);
        for (unsigned k = 0; k < 20; ++k)
            x.m.connect(k, 0) = k;
        x.type = ET_H20;
        EXPECT_TRUE(x.m.prepare(ET_H20));
    });
    const auto before = entries(quadratic.m.connect);
    EXPECT_EQ(quadratic.one(), -6);
    EXPECT_EQ(quadratic.many(2), -6);
    EXPECT_EQ(entries(quadratic.m.connect), before);
    const call mixed = with([](call& x) { x.type = ET_SOLID_MIX; });
    EXPECT_EQ(mixed.one(), -3) << "such a type has six faces";
}

TEST(GetElementsStatus, OfManyPointsTheLastThatIsNotFoundTells) {
    // Two tetrahedra apart, the second inverted.
    call c;
    c.m.pos = points({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}, {5, 5, 5}, {5, 6, 5}, {6, 5, 5}, {5, 5, 6}});
    c.m.connect = ids({{0, 1, 2, 3}, {4, 6, 5, 7}});
    ASSERT_TRUE(c.m.prepare());
    const auto status = [&](std::initializer_list<std::initializer_list<double>> sought) {
        c.points = points(sought);
        list elements;
        dense2D<double> local;
        return get_elements_containing_points(c.m.pos, c.m.connect, c.m.neighbors, c.m.ancestors, c.m.detector, ET_TH4,
                                              c.points, elements, local, 1e-6);
    };
    EXPECT_EQ(status({{0.1, 0.1, 0.1}}), 0);
    EXPECT_EQ(status({{5.1, 5.1, 5.1}}), -1);
    EXPECT_EQ(status({{5.1, 5.1, 5.1}, {0.1, 0.1, 0.1}}), -1);
    EXPECT_EQ(status({{5.1, 5.1, 5.1}, {0.1, 0.1, 0.1}, {9, 9, 9}}), 0);
    EXPECT_EQ(status({{9, 9, 9}, {5.1, 5.1, 5.1}}), -1);
    EXPECT_EQ(status({{not_a_number, 0, 0}}), 0);
}

TEST(GetElementsStatus, AMeshOfOneElementEndsAtItsLimit) {
    const call c;
    const auto status = [&](const place& p, unsigned& element) {
        place local;
        return get_element_containing_point(c.m.pos, c.m.connect, c.m.neighbors, c.m.ancestors, c.m.detector, ET_TH4, p,
                                            element, local, 1e-6);
    };
    unsigned element = 0;
    EXPECT_EQ(status({0.9, 0.9, 0.9}, element), -2) << "inside the box of the nodes";
    EXPECT_EQ(element, none);
    EXPECT_EQ(status({1.1, 0.9, 0.9}, element), 0) << "outside of it";
    call inverted;
    std::swap(inverted.m.connect(0, 0), inverted.m.connect(1, 0));
    EXPECT_EQ(inverted.one(), -2);
}

TEST(GetElementsStatus, NodesOfAMesh) {
    auto m = one_tetrahedron();
    const double more[2][3] = {{0.25, 0.25, 0.25}, {4, 4, 4}};
    m.pos.append(more[0]);
    m.pos.append(more[1]);
    const list nodes{4};
    EXPECT_EQ(nodes_status(m.pos, m.connect, ET_TH4, nodes, 1), 0);
    EXPECT_EQ(nodes_status(dense2D<double>(), ids({{9}}), element_type(-1), list(), 0), 0);
    EXPECT_EQ(nodes_status(dense2D<double>(2, 6, 0.0), m.connect, ET_TH4, nodes, 0), -1);
    EXPECT_EQ(nodes_status(m.pos, ids({{0, 1, 2, 6}}), ET_TH4, nodes, 0), -2);
    EXPECT_EQ(nodes_status(m.pos, m.connect, ET_T3, nodes, 0), -2);
    EXPECT_EQ(nodes_status(m.pos, m.connect, ET_TH4, {4, 6}, 0), -4);
    EXPECT_EQ(nodes_status(m.pos, ids({{0, 1, 2}}), ET_EDGE3, nodes, 0), -1) << "of the conversion";
    EXPECT_EQ(nodes_status(m.pos, ids({{0, 1}}), ET_EDGE2, nodes, 0), -2) << "of the neighbours";
    EXPECT_EQ(nodes_status(cube_corners(), ids({{0, 1, 2, 3, 4, 5, 6, 7}}), ET_H8, nodes, 1), -3);
    EXPECT_EQ(nodes_status(m.pos, dense2D<unsigned>(), ET_TH4, nodes, 1), 0) << "no element holds it";
    EXPECT_EQ(nodes_status(m.pos, dense2D<unsigned>(), element_type(77), nodes, 1), -3);
    EXPECT_EQ(nodes_status(m.pos, m.connect, ET_TH4, {5}, 1), 0) << "outside";

    list elements;
    dense2D<double> local;
    EXPECT_EQ(get_elements_containing_nodes(m.pos, m.connect, ET_TH4, {4, none, 5, 0}, elements, local, 1e-6), 0);
    EXPECT_EQ(std::vector<unsigned>(elements.begin(), elements.end()), (std::vector<unsigned>{0, none, none, 0}));
    EXPECT_EQ(entries(local), (std::vector<double>{0.25, 0.25, 0.25, 0, 0, 0, 0, 0, 0, 1, 0, 0}));
}
