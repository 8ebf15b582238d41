// Renumbering nodes and reordering elements changes nothing but the numbering: conversions, splits, flips, measures,
// openings and the common tools. What does depend on an order is tested as such.

#include "properties/random_solids.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

const dense2D<unsigned> nothing;

template <class Check>
void for_random_meshes(Check check) {
    expect_property([&] {
        const solid_mesh m = random_solids();
        check(m, random_renumbering(m));
    });
    expect_property([&] {
        const solid_mesh m = random_tetrahedra();
        check(m, random_renumbering(m));
    });
}

/// Shapes in the order of the renumbered mesh.
std::vector<std::vector<double>> in_order(const std::vector<std::vector<double>>& all,
                                          const std::vector<unsigned>& order) {
    std::vector<std::vector<double>> result;
    for (const unsigned j : order)
        result.push_back(all[j]);
    return result;
}

constexpr double last_bits_of_coordinates = 1e-14; // some bits of numbers up to 30

void require_close(const std::vector<std::vector<double>>& a, const std::vector<std::vector<double>>& b,
                   double tolerance) {
    RC_ASSERT(a.size() == b.size());
    for (std::size_t j = 0; j < a.size(); ++j) {
        RC_ASSERT(a[j].size() == b[j].size());
        for (std::size_t k = 0; k < a[j].size(); ++k)
            RC_ASSERT(std::fabs(a[j][k] - b[j][k]) <= tolerance);
    }
}

std::vector<std::vector<double>> sorted(std::vector<std::vector<double>> all) {
    std::sort(all.begin(), all.end());
    return all;
}

/// The quadrangular faces of some solids of 8 rows, each from any node and in any direction.
dense2D<unsigned> some_quadrangles(const dense2D<unsigned>& solids) {
    dense2D<unsigned> quadrangles(4, 0);
    for (std::size_t j = 0; j < solids.cols(); ++j) {
        const unsigned* const c = solids.col(j);
        const unsigned wedge[] = {c[1], c[0], c[3], c[4]}, hexahedron[] = {c[0], c[3], c[7], c[4]};
        const unsigned* const face = c[6] == no_node ? wedge : hexahedron;
        if (*rc::gen::inRange(0, 2) == 0)
            continue;
        const unsigned start = *rc::gen::inRange(0u, 4u), step = *rc::gen::inRange(0, 2) == 0 ? 1 : 3;
        unsigned cycle[4];
        for (unsigned k = 0; k < 4; ++k)
            cycle[k] = face[(start + k * step) % 4];
        quadrangles.append(cycle);
    }
    return quadrangles;
}

} // namespace

TEST(NumberingOfConversions, EveryNodeOfHigherOrderHasTheSamePlace) {
    // New nodes are numbered as the elements meet them, so their IDs follow the order of the elements. Those in edges
    // and quadrangles have the same bits in every reading, a mean of three vertices may differ by its last one.
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        const unsigned nE = *rc::gen::inRange(1u, 4u), nT = *rc::gen::element(0u, 1u, 3u);
        solid_mesh a = m.deep_copy(), b = r(m);
        for (solid_mesh* mesh : {&a, &b})
            RC_ASSERT(convert_into_high_order(mesh->pos, mesh->connect, nE, 4, nT, 8, 1, 2, 1, nothing, nothing) == 0);
        require_close(in_order(shapes(a.pos, a.connect), r.element), shapes(b.pos, b.connect),
                      nT == 0 ? 0 : last_bits_of_coordinates);
    });
}

TEST(NumberingOfConversions, AQuadraticMeshHasTheSameBits) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        solid_mesh a = m.deep_copy(), b = r(m);
        RC_ASSERT(convert_into_quadratic(a.pos, a.connect) == 0 && convert_into_quadratic(b.pos, b.connect) == 0);
        RC_ASSERT(in_order(shapes(a.pos, a.connect), r.element) == shapes(b.pos, b.connect));
        RC_ASSERT(convert_into_linear(b.connect) == 0);
        RC_ASSERT(entries(b.connect) == entries(r(m).connect));
    });
}

TEST(NumberingOfSplits, TheSameHexahedraComeOutElementByElement) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        solid_mesh a = m.deep_copy(), b = r(m);
        dense2D<unsigned> pieces_a, pieces_b, none;
        RC_ASSERT(split_into_H8(a.pos, a.connect, pieces_a, none, none) == 0);
        RC_ASSERT(split_into_H8(b.pos, b.connect, pieces_b, none, none) == 0);
        std::vector<unsigned> first{0};
        const auto pieces_of = [&](std::size_t j) {
            return m.connect.rows() == 4 ? 4u : m.connect(6, j) == no_node ? 6u : 8u;
        };
        for (std::size_t j = 0; j < m.connect.cols(); ++j)
            first.push_back(first.back() + pieces_of(j));
        std::vector<unsigned> order;
        for (const unsigned j : r.element)
            for (unsigned k = 0; k < pieces_of(j); ++k)
                order.push_back(first[j] + k);
        require_close(in_order(shapes(a.pos, pieces_a), order), shapes(b.pos, pieces_b), last_bits_of_coordinates);
    });
}

TEST(NumberingOfSplits, TheSamePiecesComeOutOfACutAlongQuadrangles) {
    expect_property([] {
        const solid_mesh m = random_solids();
        const renumbering r = random_renumbering(m);
        const dense2D<unsigned> quadrangles = some_quadrangles(m.connect);
        const dense1D<unsigned, 8> diagonals(quadrangles.cols(), *rc::gen::inRange(0u, 2u));
        solid_mesh a = m.deep_copy(), b = r(m);
        dense1D<unsigned, 8> failed_a, failed_b;
        dense2D<unsigned> pieces_a, pieces_b;
        RC_ASSERT(split_solid_Q4(a.pos, a.connect, quadrangles, diagonals, 0, failed_a, pieces_a) == 0);
        RC_ASSERT(split_solid_Q4(b.pos, b.connect, renamed(quadrangles, r.node), diagonals, 0, failed_b, pieces_b) ==
                  0);
        RC_ASSERT(failed_a.size() == failed_b.size());
        RC_ASSERT(sorted(shapes(a.pos, pieces_a)) == sorted(shapes(b.pos, pieces_b)));
    });
}

TEST(NumberingOfFlips, RowsChangePlacesWhateverTheNumbersAre) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        dense2D<unsigned> a = m.deep_copy().connect, b = r(m).connect;
        const element_type type = m.connect.rows() == 4 ? ET_TH4 : ET_H8;
        RC_ASSERT(flip(a, type) == 0 && flip(b, type) == 0);
        RC_ASSERT(entries(reordered(renamed(a, r.node), r.element)) == entries(b));
        RC_ASSERT((type == ET_TH4 ? flip_TH4(a) : flip_H8(a)) == 0 && (type == ET_TH4 ? flip_TH4(b) : flip_H8(b)) == 0);
        RC_ASSERT(entries(reordered(renamed(a, r.node), r.element)) == entries(b));
    });
}

TEST(NumberingOfMeasures, EachElementHasTheSameAnglesAndCentre) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        const solid_mesh other = r(m);
        const std::size_t n = m.connect.cols();
        for (const auto angles : {solid_angles, dihedral_angles}) {
            dense1D<double> least_a(n), most_a(n), least_b(n), most_b(n);
            RC_ASSERT(angles(m.pos, m.connect, true, least_a, most_a) == 0);
            RC_ASSERT(angles(other.pos, other.connect, true, least_b, most_b) == 0);
            for (std::size_t j = 0; j < n; ++j)
                RC_ASSERT(least_b[j] == least_a[r.element[j]] && most_b[j] == most_a[r.element[j]]);
        }
        if (m.connect.rows() != 4)
            return;
        dense2D<double> centers_a, centers_b;
        RC_ASSERT(circumcenters(m.pos, m.connect, centers_a) == 0);
        RC_ASSERT(circumcenters(other.pos, other.connect, centers_b) == 0);
        RC_ASSERT(entries(reordered(centers_a, r.element)) == entries(centers_b));
    });
}

TEST(NumberingOfMeasures, TheVolumeHasTheSameBitsUnlessItsSumIsTakenInAnotherOrder) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        const renumbering nodes_only{r.node, same_order(m.connect.cols())};
        RC_ASSERT(volume_of(nodes_only(m)) == volume_of(m));
        RC_ASSERT(std::fabs(volume_of(r(m)) - volume_of(m)) <= 1e-15 * volume_of(m) * double(m.connect.cols()));
    });
}

TEST(NumberingOfTools, NeighboursAreRenamedAndAncestorsAreTheFirst) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        const element_type type = m.connect.rows() == 4 ? ET_TH4 : ET_SOLID_MIX;
        const solid_mesh other = r(m);
        std::vector<unsigned> place(r.element.size()); // of an old element in the new order
        for (unsigned j = 0; j < place.size(); ++j)
            place[r.element[j]] = j;
        dense2D<unsigned> a, b;
        RC_ASSERT(meldra::get_neighbors(m.connect, type, true, a) == 0);
        RC_ASSERT(meldra::get_neighbors(other.connect, type, true, b) == 0);
        RC_ASSERT(entries(reordered(renamed(a, place), r.element)) == entries(b));

        // The first element of a node depends on their order, so only nodes are renumbered.
        const solid_mesh renumbered{other.pos, renamed(m.connect, r.node)};
        dense1D<unsigned, 8> first_a, first_b;
        RC_ASSERT(meldra::get_ancestors(m.connect, first_a) == 0);
        RC_ASSERT(meldra::get_ancestors(renumbered.connect, first_b) == 0);
        for (unsigned id = 0; id < first_a.size(); ++id)
            RC_ASSERT(first_a[id] == (r.node[id] < first_b.size() ? first_b[r.node[id]] : no_node));
        RC_ASSERT(meldra::check_IDs(other.connect, type, unsigned(m.pos.cols())));
    });
}

TEST(NumberingOfTools, SimplifyKeepsTheSameNodes) {
    for_random_meshes([](const solid_mesh& m, const renumbering& r) {
        solid_mesh a = m.deep_copy(), b = r(m);
        dense1D<unsigned, 8> ids_a, ids_b;
        RC_ASSERT(meldra::simplify(a.pos, &a.connect, &a.connect + 1, ids_a, 0) == 0);
        RC_ASSERT(meldra::simplify(b.pos, &b.connect, &b.connect + 1, ids_b, 0) == 0);
        RC_ASSERT(a.pos.cols() == b.pos.cols());
        RC_ASSERT(in_order(shapes(a.pos, a.connect), r.element) == shapes(b.pos, b.connect));
        for (unsigned id = 0; id < ids_a.size(); ++id)
            RC_ASSERT((ids_a[id] == no_node) == (ids_b[r.node[id]] == no_node));
    });
}

TEST(NumberingOfNormals, NodesHaveTheSameBitsAndFacesInAnotherOrderTheSameSum) {
    expect_property([] {
        patch p = pierced_patch();
        for (std::size_t j = 0; j < p.pos.cols(); ++j)
            p.pos(2, j) = coordinate();
        const std::vector<unsigned> number = random_order(p.pos.cols());
        const dense2D<double> moved = renumbered_nodes(p.pos, number);
        const dense2D<unsigned> faces = renamed(p.faces, number);
        dense2D<double> a, b, c;
        RC_ASSERT(meldra2d::normals(p.pos, p.faces, 0, true, a) == 0);
        RC_ASSERT(meldra2d::normals(moved, faces, 0, true, b) == 0);
        RC_ASSERT(entries(renumbered_nodes(a, number)) == entries(b));
        RC_ASSERT(meldra2d::normals(moved, reordered(faces, random_order(faces.cols())), 0, false, b) == 0);
        RC_ASSERT(meldra2d::normals(moved, faces, 0, false, c) == 0);
        for (std::size_t k = 0; k < b.size(); ++k) // sums of six angles at most
            RC_ASSERT(std::fabs(b.data()[k] - c.data()[k]) <= 1e-14);
    });
}

TEST(NumberingOfOpenings, CopiesFollowTheSurfaceAndNotTheSolids) {
    expect_property([] {
        patch p = random_patch();
        solid_mesh m{p.pos, {}};
        RC_ASSERT(extrude_translate(m.pos, p.faces, {0, 0, 2}, 2, m.connect) == 0);
        const renumbering r = random_renumbering(m);
        const dense2D<unsigned> middle = level_between_two_layers(m.connect);
        const auto open = [&](solid_mesh mesh, const dense2D<unsigned>& surface) {
            dense2D<unsigned> neighbors;
            dense1D<unsigned, 8> ancestors;
            RC_ASSERT(meldra::get_neighbors(mesh.connect, ET_SOLID_MIX, true, neighbors) == 0);
            RC_ASSERT(meldra::get_ancestors(mesh.connect, ancestors) == 0);
            RC_ASSERT(duplicate_surface_nodes(mesh.pos, mesh.connect, neighbors, ancestors, surface,
                                              dense1D<unsigned, 8>(), true, true, ET_SOLID_MIX) > 0);
            return mesh;
        };
        const solid_mesh a = open(m.deep_copy(), middle), b = open(r(m), renamed(middle, r.node));
        std::vector<unsigned> number = r.node; // copies are numbered as the surface names their nodes
        for (unsigned id = unsigned(number.size()); id < a.pos.cols(); ++id)
            number.push_back(id);
        RC_ASSERT(entries(renumbered_nodes(a.pos, number)) == entries(b.pos));
        RC_ASSERT(entries(reordered(renamed(a.connect, number), r.element)) == entries(b.connect));
    });
}
