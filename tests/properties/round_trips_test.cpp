#include "properties/random_solids.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

void goes_up_and_down(const solid_mesh& linear) {
    solid_mesh m = linear.deep_copy();
    RC_ASSERT(convert_into_quadratic(m.pos, m.connect) == 0);
    RC_ASSERT(m.connect.rows() == (linear.connect.rows() == 4 ? 10u : 27u));
    RC_ASSERT(convert_into_linear(m.connect) == 0);
    RC_ASSERT(entries(m.connect) == entries(linear.connect));
    RC_ASSERT(m.pos.cols() > linear.pos.cols());
    RC_ASSERT(entries(m.pos.sub(0, 0, 3, linear.pos.cols())) == entries(linear.pos));
}

/// The triangles of a mesh of tetrahedra whose nodes lie in the plane z = height, as faces of the elements above it.
dense2D<unsigned> faces_in_plane(const solid_mesh& m, double height) {
    constexpr unsigned face[4][3] = {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    dense2D<unsigned> faces(3, 0);
    for (std::size_t j = 0; j < m.connect.cols(); ++j)
        for (unsigned f = 0; f < 4; ++f) {
            const unsigned nodes[] = {m.connect(face[f][0], j), m.connect(face[f][1], j), m.connect(face[f][2], j)};
            const bool flat =
                std::all_of(nodes, nodes + 3, [&](unsigned id) { return std::fabs(m.pos(2, id) - height) < 1e-12; });
            if (flat && m.pos(2, m.connect(f, j)) > height)
                faces.append(nodes);
        }
    return faces;
}

} // namespace

TEST(RoundTrips, ALinearMeshComesBackFromItsQuadraticForm) {
    expect_property([] { goes_up_and_down(random_solids()); });
    expect_property([] { goes_up_and_down(random_tetrahedra()); });
}

TEST(RoundTrips, NodesOfHigherOrderAreDroppedWithTheirRows) {
    // With any counts, the vertices stay in front, and the old nodes in place.
    expect_property([] {
        const solid_mesh linear = random_solids();
        solid_mesh m = linear.deep_copy();
        const unsigned nE = *rc::gen::inRange(1u, 5u), side = *rc::gen::inRange(0u, 3u), nT = *rc::gen::inRange(0u, 2u);
        const dense2D<unsigned> none;
        RC_ASSERT(convert_into_high_order(m.pos, m.connect, nE, side * side, nT, 8, 1, 2, 1, none, none) == 0);
        for (std::size_t j = 0; j < linear.connect.cols(); ++j) {
            const unsigned corners = linear.connect(6, j) == no_node ? 6 : 8;
            RC_ASSERT(std::equal(linear.connect.col(j), linear.connect.col(j) + corners, m.connect.col(j)));
        }
        RC_ASSERT(entries(m.pos.sub(0, 0, 3, linear.pos.cols())) == entries(linear.pos));
    });
}

TEST(RoundTrips, TwoFlipsRestoreAMeshAndOneReversesItsVolume) {
    expect_property([] {
        const solid_mesh m = random_tetrahedra();
        const solid_mesh flipped = m.deep_copy();
        dense2D<unsigned> connect = flipped.connect;
        const bool own = *rc::gen::arbitrary<bool>();
        const auto flip_once = [&] { return own ? flip_TH4(connect) : flip(connect, ET_TH4); };
        RC_ASSERT(flip_once() == 0);
        RC_ASSERT(std::fabs(volume_of(flipped) + volume_of(m)) <= 1e-14);
        RC_ASSERT(flip_once() == 0);
        RC_ASSERT(entries(flipped.connect) == entries(m.connect));
    });
}

TEST(RoundTrips, AnOpenedMeshClosesWhenItsCopiesAreGivenTheirOldNumbers) {
    expect_property([] {
        const unsigned n = 2 * *rc::gen::inRange(1u, 3u);
        const searchable cube = cube_of_tetrahedra(n, 0);
        const solid_mesh closed{cube.pos, cube.connect};
        solid_mesh m = closed.deep_copy();
        const dense2D<unsigned> surface = faces_in_plane(m, 0.5);
        RC_ASSERT(surface.cols() == 2 * n * n);
        dense2D<unsigned> neighbors;
        dense1D<unsigned, 8> ancestors;
        RC_ASSERT(meldra::get_neighbors(m.connect, ET_TH4, true, neighbors) == 0);
        RC_ASSERT(meldra::get_ancestors(m.connect, ancestors) == 0);
        const bool plus = *rc::gen::arbitrary<bool>(), minus = !plus || *rc::gen::arbitrary<bool>();
        const int copies = duplicate_surface_nodes(m.pos, m.connect, neighbors, ancestors, surface,
                                                   dense1D<unsigned, 8>(), plus, minus, ET_TH4);
        const unsigned nodes = unsigned(closed.pos.cols()), in_plane = (n + 1) * (n + 1);
        RC_ASSERT(copies == int(in_plane * (unsigned(plus) + unsigned(minus))));
        RC_ASSERT(shapes(m.pos, m.connect) == shapes(closed.pos, closed.connect)); // nothing has moved

        // Every copy has the place of one node of the surface: put that back.
        std::vector<unsigned> number = same_order(m.pos.cols());
        for (unsigned copy = nodes; copy < m.pos.cols(); ++copy)
            for (unsigned id = 0; id < nodes; ++id)
                if (std::equal(m.pos.col(id), m.pos.col(id) + 3, m.pos.col(copy)))
                    number[copy] = id;
        RC_ASSERT(entries(m.connect) != entries(closed.connect));
        RC_ASSERT(entries(renamed(m.connect, number)) == entries(closed.connect));
    });
}

TEST(RoundTrips, SimplifyUndoesTheUnusedNodesOfAConversion) {
    expect_property([] {
        const solid_mesh linear = random_solids();
        solid_mesh m = linear.deep_copy();
        RC_ASSERT(convert_into_quadratic(m.pos, m.connect) == 0 && convert_into_linear(m.connect) == 0);
        dense1D<unsigned, 8> new_ids;
        RC_ASSERT(meldra::simplify(m.pos, &m.connect, &m.connect + 1, new_ids, unsigned(linear.pos.cols())) == 0);
        RC_ASSERT(entries(m.pos) == entries(linear.pos) && entries(m.connect) == entries(linear.connect));
    });
}
