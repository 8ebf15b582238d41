#include <gtest/gtest.h>

#include <limits>

#include "duplicate/opened_meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::duplicate_surface_nodes;

namespace {

constexpr unsigned none = no_node;

std::vector<solid_mesh> meshes_of_all_types(unsigned n) {
    return {tetrahedra(n), tetrahedra(n, 8), hexahedra(n), mixed(n)};
}

double volume_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    double vol = 0;
    EXPECT_EQ(meldra3d::volume(pos, connect, vol), 0);
    return vol;
}

/// Elements that hold one of the nodes from `first` on.
std::set<unsigned> elements_with_nodes_from(const dense2D<unsigned>& connect, std::size_t first) {
    std::set<unsigned> found;
    for (unsigned e = 0; e < connect.cols(); ++e)
        for (std::size_t i = 0; i < connect.rows(); ++i)
            if (connect(i, e) != none && connect(i, e) >= first)
                found.insert(e);
    return found;
}

std::set<unsigned> nodes_in_use(const dense2D<unsigned>& connect) {
    const auto all = entries(connect);
    std::set<unsigned> nodes(all.begin(), all.end());
    nodes.erase(none);
    return nodes;
}

void expect_as_told(const solid_mesh& m, const dense2D<unsigned>& surface, const dense1D<unsigned, 8>& excluded,
                    bool plus, bool minus) {
    plain_opening told(m, surface);
    if (plus)
        told.open(nodes_to_copy(surface, excluded), true);
    if (minus)
        told.open(nodes_to_copy(surface, excluded), false);
    const auto got = opened(m, surface, excluded, plus, minus);
    ASSERT_EQ(got.status, int(told.result().added));
    EXPECT_EQ(entries(got.pos), told.result().pos);
    EXPECT_EQ(entries(got.connect), told.result().connect);
}

/// Two hexahedra, one upon the other, and the face between them seen from above.
solid_mesh two_cells() {
    solid_mesh m{points({{0, 0, 0},
                         {1, 0, 0},
                         {1, 1, 0},
                         {0, 1, 0},
                         {0, 0, 1},
                         {1, 0, 1},
                         {1, 1, 1},
                         {0, 1, 1},
                         {0, 0, 2},
                         {1, 0, 2},
                         {1, 1, 2},
                         {0, 1, 2}}),
                 ids({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 7, 8, 9, 10, 11}}),
                 {},
                 {},
                 ET_H8};
    m.find_neighbors();
    return m;
}

const dense2D<unsigned> between_cells = ids({{4, 5, 6, 7}});

} // namespace

TEST(DuplicateSurfaceNodes, PlusIsWhereTheNormalOfTheSurfacePoints) {
    for (const auto& m : meshes_of_all_types(4)) {
        const auto surface = plane_at(m, 2);
        const auto n = nodes_to_copy(surface, {}).size();
        ASSERT_EQ(n, 25u);
        const auto got = opened(m, surface, {}, true, false);
        EXPECT_EQ(got.status, 25);
        ASSERT_EQ(got.pos.cols(), m.pos.cols() + n);
        const auto changed = elements_with_nodes_from(got.connect, m.pos.cols());
        for (unsigned e = 0; e < m.connect.cols(); ++e) {
            const auto nodes = m.nodes_of(e);
            const bool touches = std::any_of(nodes.begin(), nodes.end(), [&](unsigned k) { return m.pos(2, k) == 2; });
            EXPECT_EQ(changed.count(e) != 0, touches && centroid(m, nodes)[2] > 2);
        }
        EXPECT_DOUBLE_EQ(volume_of(got.pos, got.connect), 64);
    }
}

TEST(DuplicateSurfaceNodes, MinusIsTheOtherSide) {
    for (const auto& m : meshes_of_all_types(3)) {
        const auto surface = plane_at(m, 1);
        const auto got = opened(m, surface, {}, false, true);
        EXPECT_EQ(got.status, 16);
        for (const unsigned e : elements_with_nodes_from(got.connect, m.pos.cols()))
            EXPECT_LT(centroid(m, m.nodes_of(e))[2], 1);
        const auto used = nodes_in_use(got.connect);
        EXPECT_EQ(used.size(), m.pos.cols() + 16);
    }
}

TEST(DuplicateSurfaceNodes, BothSidesLeaveTheSurfaceNodesUnused) {
    for (const auto& m : meshes_of_all_types(3)) {
        const auto surface = plane_at(m, 2);
        const auto got = opened(m, surface, {}, true, true);
        EXPECT_EQ(got.status, 32);
        const auto used = nodes_in_use(got.connect);
        for (const unsigned node : nodes_to_copy(surface, {}))
            EXPECT_EQ(used.count(node), 0u);
        for (unsigned copy = 0; copy < 32; ++copy) // the plus side comes first
            EXPECT_EQ(used.count(unsigned(m.pos.cols()) + copy), 1u);
        for (const unsigned e : elements_with_nodes_from(got.connect, m.pos.cols() + 16))
            EXPECT_LT(centroid(m, m.nodes_of(e))[2], 2);
    }
}

TEST(DuplicateSurfaceNodes, TheOpenedFacesAreBoundaries) {
    for (const auto& m : meshes_of_all_types(3)) {
        const auto surface = plane_at(m, 1);
        const auto got = opened(m, surface, {}, true, false);
        dense2D<unsigned> neighbors;
        ASSERT_EQ(meldra::get_neighbors(got.connect, m.type, true, neighbors), 0);
        const auto before = entries(m.neighbors), after = entries(neighbors);
        EXPECT_EQ(std::count(after.begin(), after.end(), none) - std::count(before.begin(), before.end(), none),
                  std::ptrdiff_t(2 * surface.cols()));
    }
}

TEST(DuplicateSurfaceNodes, NumbersCopiesInTheOrderInWhichASideMeetsThem) {
    const auto m = two_cells();
    const auto plus = opened(m, between_cells, {}, true, false);
    EXPECT_EQ(plus.status, 4);
    EXPECT_EQ(entries(plus.connect), entries(ids({{0, 1, 2, 3, 4, 5, 6, 7}, {12, 13, 14, 15, 8, 9, 10, 11}})));
    // The minus side reads (6, 5, 4, 7).
    const auto minus = opened(m, between_cells, {}, false, true);
    EXPECT_EQ(entries(minus.connect), entries(ids({{0, 1, 2, 3, 14, 13, 12, 15}, {4, 5, 6, 7, 8, 9, 10, 11}})));
    const auto both = opened(m, between_cells, {}, true, true);
    EXPECT_EQ(both.status, 8);
    EXPECT_EQ(entries(both.connect), entries(ids({{0, 1, 2, 3, 18, 17, 16, 19}, {12, 13, 14, 15, 8, 9, 10, 11}})));
    EXPECT_EQ(entries(both.pos.sub(0, 12, 3, 4)), entries(m.pos.sub(0, 4, 3, 4)));
    EXPECT_EQ(column(both.pos, 16), column(m.pos, 6));
}

TEST(DuplicateSurfaceNodes, ASurfaceElementMayBeginAnywhereInItsCycle) {
    const auto m = two_cells();
    const auto turned = opened(m, ids({{6, 7, 4, 5}}), {}, true, false);
    EXPECT_EQ(column(turned.connect, 1), (std::vector<unsigned>{14, 15, 12, 13, 8, 9, 10, 11}));
    const auto reversed = opened(m, ids({{7, 6, 5, 4}}), {}, true, false);
    EXPECT_EQ(column(reversed.connect, 0), (std::vector<unsigned>{0, 1, 2, 3, 15, 14, 13, 12}));
}

TEST(DuplicateSurfaceNodes, ACrossedCycleOfTheSameNodesIsNoFace) {
    const auto m = two_cells();
    const auto got = opened(m, ids({{4, 6, 5, 7}}), {}, true, true);
    EXPECT_EQ(got.status, 8);
    EXPECT_EQ(entries(got.connect), entries(m.connect));
}

TEST(DuplicateSurfaceNodes, KeepsExcludedNodes) {
    const auto m = two_cells();
    dense1D<unsigned, 8> excluded{6, 6, none, 4000000000u, 0, 6};
    const auto got = opened(m, between_cells, excluded, true, false);
    EXPECT_EQ(got.status, 3);
    EXPECT_EQ(column(got.connect, 1), (std::vector<unsigned>{12, 13, 6, 14, 8, 9, 10, 11}));
    EXPECT_EQ(opened(m, between_cells, {4, 5, 6, 7}, true, true).status, 0);
}

TEST(DuplicateSurfaceNodes, OpensACrackWhoseFrontIsExcluded) {
    for (const auto& m : meshes_of_all_types(4)) {
        const auto crack = faces_where(m, [](const vec3& c) { return c[2] == 2 && c[0] > 1 && c[0] < 3; });
        dense1D<unsigned, 8> front;
        for (unsigned node = 0; node < m.pos.cols(); ++node)
            if (m.pos(2, node) == 2 && (m.pos(0, node) == 1 || m.pos(0, node) == 3))
                front.push_back(node);
        const auto got = opened(m, crack, front, true, false);
        EXPECT_EQ(got.status, 5); // the line x = 2
        for (const unsigned e : elements_with_nodes_from(got.connect, m.pos.cols()))
            EXPECT_GT(centroid(m, m.nodes_of(e))[2], 2);
        expect_as_told(m, crack, front, true, true);
    }
}

TEST(DuplicateSurfaceNodes, OnlyRenumbersNodesOnAnOpenBorder) {
    const auto m = hexahedra(4);
    const auto crack =
        faces_where(m, [](const vec3& c) { return c[2] == 2 && c[0] > 1 && c[0] < 3 && c[1] > 1 && c[1] < 3; });
    ASSERT_EQ(crack.cols(), 4u);
    const auto got = opened(m, crack, {}, true, false);
    EXPECT_EQ(got.status, 9);
    const auto used = nodes_in_use(got.connect);
    for (const unsigned node : nodes_to_copy(crack, {})) {
        const bool inner = m.pos(0, node) == 2 && m.pos(1, node) == 2;
        EXPECT_TRUE(!inner || used.count(node) != 0) << "the other side keeps an inner node";
    }
    expect_as_told(m, crack, {}, true, false);
    expect_as_told(m, crack, {}, false, true);
    expect_as_told(m, crack, {}, true, true);
}

TEST(DuplicateSurfaceNodes, OpensAClosedSurface) {
    for (const auto& m : meshes_of_all_types(4)) {
        const auto box = faces_where(m, [](const vec3& c) {
            const auto inside = [](double x) { return x > 1 - 1e-9 && x < 3 + 1e-9; };
            const auto on = [](double x) { return std::fabs(x - 1) < 1e-9 || std::fabs(x - 3) < 1e-9; };
            return inside(c[0]) && inside(c[1]) && inside(c[2]) && (on(c[0]) || on(c[1]) || on(c[2]));
        });
        ASSERT_EQ(nodes_to_copy(box, {}).size(), 26u);
        // Faces at the far sides look inwards, those at the near sides outwards: the surface is not oriented.
        expect_as_told(m, box, {}, true, false);
        expect_as_told(m, box, {}, true, true);
    }
}

TEST(DuplicateSurfaceNodes, OpensAJunctionOfThreeSheets) {
    for (const auto& m : meshes_of_all_types(4)) {
        const auto sheets =
            faces_where(m, [](const vec3& c) { return std::fabs(c[2] - 2) < 1e-9 || (c[1] == 2 && c[2] > 2); });
        expect_as_told(m, sheets, {}, true, false);
        expect_as_told(m, sheets, {}, false, true);
        expect_as_told(m, sheets, {}, true, true);
    }
}

TEST(DuplicateSurfaceNodes, OpensAnySetOfFaces) {
    std::mt19937 random(11);
    for (int k = 0; k < 40; ++k)
        for (const auto& m : meshes_of_all_types(3)) {
            const double share = std::uniform_real_distribution<double>(0.02, 0.7)(random);
            auto surface = faces_where(
                m, [&](const vec3&) { return std::uniform_real_distribution<double>(0, 1)(random) < share; });
            for (std::size_t j = 0; j < surface.cols(); ++j)
                if (random() % 2 == 0)
                    std::swap(surface(0, j), surface(2, j));
            if (surface.cols() == 0)
                continue;
            dense1D<unsigned, 8> excluded;
            for (unsigned node = 0; node < m.pos.cols(); ++node)
                if (random() % 5 == 0)
                    excluded.push_back(node);
            expect_as_told(m, surface, excluded, k % 3 != 0, k % 3 != 1);
        }
}

TEST(DuplicateSurfaceNodes, ARepeatedFaceCountsOnce) {
    const auto m = two_cells();
    const auto once = opened(m, between_cells, {}, true, true);
    const auto twice = opened(m, ids({{4, 5, 6, 7}, {4, 5, 6, 7}, {7, 6, 5, 4}}), {}, true, true);
    EXPECT_EQ(twice.status, once.status);
    EXPECT_EQ(entries(twice.connect), entries(once.connect));
}

TEST(DuplicateSurfaceNodes, AFaceOfNoElementGetsCopiesThatNobodyUses) {
    const auto m = two_cells();
    const auto got = opened(m, ids({{0, 1, 6, 7}}), {}, true, true);
    EXPECT_EQ(got.status, 8);
    EXPECT_EQ(got.pos.cols(), 20u);
    EXPECT_EQ(entries(got.connect), entries(m.connect));
}

TEST(DuplicateSurfaceNodes, OpensTwiceOneAfterTheOther) {
    auto m = tetrahedra(4);
    auto got = opened(m, plane_at(m, 1), {}, true, false);
    ASSERT_EQ(got.status, 25);
    m.pos = got.pos;
    m.connect = got.connect;
    m.find_neighbors();
    const auto second = plane_at(m, 3);
    ASSERT_EQ(second.cols(), 32u);
    got = opened(m, second, {}, true, true);
    EXPECT_EQ(got.status, 50);
    EXPECT_NEAR(volume_of(got.pos, got.connect), 64, 1e-12);
    expect_as_told(m, second, {}, true, true);
}

TEST(DuplicateSurfaceNodes, ABadAncestorUndoesEverythingAndReturns0) {
    for (const unsigned bad : {none, 77u, 0u}) { // no element, an element that is not there, one without the node
        for (const bool plus : {true, false}) {
            auto m = hexahedra(3);
            const auto surface = plane_at(m, 2);
            m.ancestors[grid_numbers{3}(3, 3, 2)] = bad; // a corner, which only the last face holds
            for (const bool minus : {!plus, true}) {
                const auto got = opened(m, surface, {}, plus, minus);
                EXPECT_EQ(got.status, 0) << bad;
                EXPECT_EQ(entries(got.pos), entries(m.pos));
                EXPECT_EQ(entries(got.connect), entries(m.connect));
            }
        }
    }
}

TEST(DuplicateSurfaceNodes, ABadAncestorOfAnotherNodeDoesNoHarm) {
    auto m = two_cells();
    m.ancestors[0] = none;
    m.ancestors[6] = 4000000000u;
    EXPECT_EQ(opened(m, between_cells, {6}, true, false).status, 3);
    EXPECT_EQ(opened(m, between_cells, {}, true, false).status, 0);
}

TEST(DuplicateSurfaceNodes, ASurfaceNodeBehindTheAncestorsUndoesEverything) {
    auto m = two_cells();
    const double lonely[] = {5, 5, 5};
    m.pos.append(lonely); // node 12, of no element: the ancestors end before it
    const auto got = opened(m, ids({{4, 5, 6, 7}, {4, 5, 6, 12}}), {}, true, false);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.pos.cols(), 13u);
    EXPECT_EQ(entries(got.connect), entries(m.connect));
}

TEST(DuplicateSurfaceNodes, DoesNothingWithoutElementsFacesOrSides) {
    dense2D<double> pos(1, 1, 0.0);
    dense2D<unsigned> bad(7, 2, 99u), empty, three(3, 0);
    const dense1D<unsigned, 8> list{77};
    EXPECT_EQ(duplicate_surface_nodes(pos, empty, bad, list, bad, list, true, true, element_type(99)), 0);
    EXPECT_EQ(duplicate_surface_nodes(pos, bad, bad, list, three, list, true, true, element_type(99)), 0);
    EXPECT_EQ(duplicate_surface_nodes(pos, bad, bad, list, bad, list, false, false, element_type(99)), 0);
    EXPECT_EQ(pos.cols(), 1u);
}

TEST(DuplicateSurfaceNodes, ChecksComeInOrder) {
    const auto m = two_cells();
    dense2D<double> pos = m.pos, flat(2, 12, 0.0);
    dense2D<unsigned> connect = m.connect, far_node = ids({{0, 1, 2, 3, 4, 5, 6, 12}, {4, 5, 6, 7, 8, 9, 10, 11}});
    dense2D<unsigned> far_neighbor;
    far_neighbor.copy(m.neighbors);
    far_neighbor(0, 0) = 2;
    const dense2D<unsigned> few_columns(6, 1, 0u), few_rows(5, 2, 0u), bad_surface = ids({{4, 5, 6, 12}});
    const dense1D<unsigned, 8> few(11, 0u);
    const auto call = [&](dense2D<double>& p, dense2D<unsigned>& c, const dense2D<unsigned>& n,
                          const dense1D<unsigned, 8>& a, const dense2D<unsigned>& s,
                          element_type type) { return duplicate_surface_nodes(p, c, n, a, s, {}, true, false, type); };
    EXPECT_EQ(call(flat, far_node, few_columns, few, bad_surface, ET_NONE), -1);
    EXPECT_EQ(call(pos, far_node, few_columns, few, bad_surface, ET_H8), -2);
    EXPECT_EQ(call(pos, connect, few_columns, few, bad_surface, ET_NONE), -2);
    EXPECT_EQ(call(pos, connect, few_columns, few, bad_surface, ET_TH4), -2);
    EXPECT_EQ(call(pos, connect, few_columns, few, bad_surface, element_type(25)), -2);
    EXPECT_EQ(call(pos, connect, few_columns, few, bad_surface, ET_H8), -3);
    EXPECT_EQ(call(pos, connect, few_rows, few, bad_surface, ET_H8), -3);
    EXPECT_EQ(call(pos, connect, far_neighbor, few, bad_surface, ET_H8), -3);
    EXPECT_EQ(call(pos, connect, m.neighbors, few, bad_surface, ET_H8), -4);
    EXPECT_EQ(call(pos, connect, m.neighbors, m.ancestors, bad_surface, ET_H8), -5);
    EXPECT_EQ(call(pos, connect, m.neighbors, m.ancestors, ids({{4, 5, 6, none}}), ET_H8), -5);
    EXPECT_EQ(call(pos, connect, m.neighbors, m.ancestors, ids({{4, 5, 6}}), ET_H8), -5);
    EXPECT_EQ(call(pos, connect, m.neighbors, m.ancestors, ids({{4, 5, none, none}}), ET_SOLID_MIX), -5);
    EXPECT_EQ(pos.cols(), 12u);
    EXPECT_EQ(entries(connect), entries(m.connect));
    EXPECT_EQ(call(pos, connect, m.neighbors, m.ancestors, ids({{4, 5, 6, none}}), ET_SOLID_MIX), 3);
}

TEST(DuplicateSurfaceNodes, ComparesTheRowsOfNeighborsBeforeItRefusesTheType) {
    auto pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}});
    auto wedge = ids({{0, 1, 2, 3, 4, 5}});
    const dense1D<unsigned, 8> ancestors(6, 0u);
    const auto surface = ids({{0, 1, 2}});
    const dense2D<unsigned> six(6, 1, none), five(5, 1, none);
    EXPECT_EQ(duplicate_surface_nodes(pos, wedge, six, ancestors, surface, {}, true, false, ET_W6), -3);
    EXPECT_EQ(duplicate_surface_nodes(pos, wedge, five, ancestors, surface, {}, true, false, ET_W6), -9);
    EXPECT_EQ(duplicate_surface_nodes(pos, wedge, five, {}, surface, {}, true, false, ET_W6), -4);
}

TEST(DuplicateSurfaceNodes, TakesTetrahedraInFourRowsAsMixed) {
    auto m = tetrahedra(3);
    const auto triangles = plane_at(m, 1);
    const auto expected = opened(m, triangles, {}, true, true);
    m.type = ET_SOLID_MIX;
    ASSERT_EQ(meldra::get_neighbors(m.connect, m.type, false, m.neighbors), 0);
    ASSERT_EQ(m.neighbors.rows(), 6u);
    dense2D<unsigned> surface = triangles;
    ASSERT_TRUE(surface.__resize_rows(4, surface.cols(), none));
    const auto got = opened(m, surface, {}, true, true);
    EXPECT_EQ(got.status, 32);
    EXPECT_EQ(entries(got.connect), entries(expected.connect));
}

TEST(DuplicateSurfaceNodes, ChangesNoOtherViewOfItsArguments) {
    const auto m = two_cells();
    dense2D<double> pos;
    ASSERT_TRUE(pos.copy(m.pos));
    ASSERT_TRUE(pos.reserve(3, 100, 1));
    dense2D<double> longer = pos; // a second view of the block, which has room for more
    dense2D<unsigned> connect = m.connect;
    const auto before = entries(m.connect);
    EXPECT_EQ(duplicate_surface_nodes(pos, connect, m.neighbors, m.ancestors, between_cells, {}, true, true, ET_H8), 8);
    EXPECT_EQ(pos.cols(), 20u);
    EXPECT_EQ(longer.cols(), 12u);
    EXPECT_EQ(entries(m.connect), before);
    EXPECT_EQ(entries(longer), entries(m.pos));
}

TEST(DuplicateSurfaceNodes, ReadsWindowsOfLargerMatrices) {
    const auto m = two_cells();
    auto pos = as_window(m.pos, std::numeric_limits<double>::quiet_NaN());
    auto connect = as_window(m.connect, 5u);
    EXPECT_EQ(duplicate_surface_nodes(pos, connect, as_window(m.neighbors, 1u), m.ancestors,
                                      as_window(between_cells, 3u), {}, true, true, ET_H8),
              8);
    const auto expected = opened(m, between_cells, {}, true, true);
    EXPECT_EQ(entries(pos), entries(expected.pos));
    EXPECT_EQ(entries(connect), entries(expected.connect));
}

TEST(DuplicateSurfaceNodes, MayBeGivenOneMatrixTwice) {
    auto m = two_cells();
    // The connectivity as its own surface is refused, not misread; the neighbours may be the connectivity.
    EXPECT_EQ(duplicate_surface_nodes(m.pos, m.connect, m.neighbors, m.ancestors, m.connect, {}, true, true, ET_H8),
              -5);
    auto tetra = tetrahedra(1);
    EXPECT_GE(duplicate_surface_nodes(tetra.pos, tetra.connect, tetra.connect, tetra.ancestors, ids({{0, 1, 6}}), {},
                                      true, true, ET_TH4),
              -3);
    EXPECT_EQ(tetra.connect.rows(), 4u);
}

TEST(DuplicateSurfaceNodes, EndsWithNeighborsThatAreWrong) {
    std::mt19937 random(12);
    for (int k = 0; k < 200; ++k) {
        auto m = meshes_of_all_types(2)[std::size_t(k % 4)];
        const auto surface = plane_at(m, 1);
        for (std::size_t e = 0; e < m.neighbors.cols(); ++e)
            for (std::size_t f = 0; f < m.neighbors.rows(); ++f)
                m.neighbors(f, e) = random() % 4 == 0 ? none : unsigned(random() % m.connect.cols());
        const auto got = opened(m, surface, {}, true, true);
        EXPECT_EQ(got.status, 18);
        EXPECT_EQ(got.pos.cols(), m.pos.cols() + 18);
        EXPECT_TRUE(meldra::check_IDs(got.connect, m.type, unsigned(got.pos.cols())));
    }
}

TEST(DuplicateSurfaceNodes, RenumbersTheFirstRowOnlyOfADegenerateElement) {
    auto m = two_cells();
    m.connect(4, 1) = 5; // the upper cell holds node 5 twice
    m.connect(0, 1) = 4;
    ASSERT_EQ(meldra::get_ancestors(m.connect, m.ancestors), 0);
    const auto got = opened(m, between_cells, {}, true, false);
    EXPECT_EQ(got.status, 4);
    EXPECT_EQ(column(got.connect, 1), (std::vector<unsigned>{12, 13, 14, 15, 5, 9, 10, 11}));
}
