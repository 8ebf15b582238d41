// Nodes at the very same place under different numbers: a mesh whose elements share no node, and elements without
// volume whose nodes fall together.

#include "properties/random_solids.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

/// Every element gets nodes of its own.
solid_mesh torn(const solid_mesh& m) {
    solid_mesh t{dense2D<double>(3, 0), {}};
    RC_ASSERT(t.connect.copy(m.connect));
    for (std::size_t k = 0; k < t.connect.size(); ++k)
        if (unsigned& id = t.connect.data()[k]; id != no_node) {
            t.pos.append(m.pos.col(id));
            id = unsigned(t.pos.cols()) - 1;
        }
    return t;
}

} // namespace

TEST(RepeatedNodes, ATornMeshHasTheSameMeasuresAndShapes) {
    expect_property([] {
        const solid_mesh m = *rc::gen::inRange(0, 2) == 0 ? random_solids() : random_tetrahedra();
        const solid_mesh t = torn(m);
        RC_ASSERT(volume_of(t) == volume_of(m));
        solid_mesh a = m.deep_copy(), b = t.deep_copy();
        RC_ASSERT(convert_into_quadratic(a.pos, a.connect) == 0 && convert_into_quadratic(b.pos, b.connect) == 0);
        RC_ASSERT(shapes(a.pos, a.connect) == shapes(b.pos, b.connect));
        dense2D<unsigned> neighbors; // numbers decide, not places
        const element_type type = m.connect.rows() == 4 ? ET_TH4 : ET_SOLID_MIX;
        RC_ASSERT(meldra::get_neighbors(t.connect, type, true, neighbors) == 0);
        RC_ASSERT(std::all_of(neighbors.data(), neighbors.data() + neighbors.size(),
                              [](unsigned id) { return id == no_node; }));
    });
}

TEST(RepeatedNodes, ASearchInATornMeshFindsAnElementWithThePoint) {
    // No walk leaves an element; those around the nearest node, which is the first of its place, are all that is tried.
    expect_property([] {
        const solid_mesh m = random_tetrahedra();
        searchable t;
        const solid_mesh apart = torn(m);
        t.pos = apart.pos;
        t.connect = apart.connect;
        RC_ASSERT(t.prepare());
        const unsigned e = *rc::gen::inRange(0u, unsigned(t.connect.cols()));
        double x[3] = {0, 0, 0};
        for (unsigned v = 0; v < 4; ++v)
            for (unsigned i = 0; i < 3; ++i)
                x[i] += t.pos(i, t.connect(v, e)) / 4;
        const vector_fixed<double, 3> p{x[0], x[1], x[2]};
        const unsigned closest = t.detector.find_closest(p);
        for (unsigned id = 0; id < closest; ++id)
            RC_ASSERT(!std::equal(t.pos.col(id), t.pos.col(id) + 3, t.pos.col(closest)));
        unsigned element = 0;
        vector_fixed<double, 3> local{};
        const int status = get_element_containing_point(t.pos, t.connect, t.neighbors, t.ancestors, t.detector, ET_TH4,
                                                        p, element, local, 1e-6);
        RC_ASSERT(element == (status == 1 ? e : no_node));
    });
}

TEST(RepeatedNodes, ElementsWithoutVolumeHaveZeroMeasures) {
    const solid_mesh m{points({{1, 2, 3}, {1, 2, 3}, {1, 2, 3}, {1, 2, 3}, {4, 2, 3}, {4, 7, 3}}),
                       ids({{0, 1, 2, 3}, {0, 1, 4, 5}, {4, 5, 0, 1}})};
    double vol = 7;
    ASSERT_EQ(volume(m.pos, m.connect, vol), 0);
    EXPECT_EQ(vol, 0);
    dense1D<double> least(3, 7.0), most(3, 7.0);
    ASSERT_EQ(dihedral_angles(m.pos, m.connect, false, least, most), 0);
    EXPECT_EQ(most[0], 0); // no face has an area
    for (std::size_t e = 0; e < 3; ++e)
        EXPECT_TRUE(least[e] >= 0 && most[e] <= 3.1415926535897932);
    ASSERT_EQ(solid_angles(m.pos, m.connect, false, least, most), 0);
    EXPECT_TRUE(least[0] == 0 && most[0] == 0);
    dense2D<double> centers;
    ASSERT_EQ(circumcenters(m.pos, m.connect, centers), 0);
    EXPECT_EQ(column(centers, 0), (std::vector<double>{1, 2, 3})); // node 3
    EXPECT_EQ(column(centers, 2), (std::vector<double>{1, 2, 3})); // nodes 5, 0, 1: two of them at one place
}

TEST(RepeatedNodes, AFaceFoldedToALineOrAPointHasNoNormal) {
    const dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 0}});
    dense2D<double> normals;
    ASSERT_EQ(meldra2d::normals(pos, ids({{0, 1, 3}, {0, 4, 0}}), 0, true, normals), 0);
    EXPECT_EQ(entries(normals), std::vector<double>(15, 0.0));
    dense2D<double> thick = pos;
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_normal(thick, ids({{0, 1, 3}}), 1, 1, solids), 0); // copies at the places of their nodes
    EXPECT_EQ(column(thick, 5), column(pos, 0));
}

TEST(RepeatedNodes, ALineThatStandsStillTurnsNothing) {
    dense2D<double> pos = points({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 5}, {0, 0, 5}, {0, 0, 9}});
    dense2D<unsigned> solids;
    ASSERT_EQ(extrude_line(pos, ids({{0, 1, 2}}), {0, 3, 4, 5}, {0, 0, 1}, dense1D<double, 8>(), solids), 0);
    ASSERT_EQ(solids.cols(), 3u);
    EXPECT_EQ(shape(pos, solids.col(1), 6),
              (std::vector<double>{0, 0, 5, 1, 0, 5, 0, 1, 5, 0, 0, 5, 1, 0, 5, 0, 1, 5}));
}

TEST(RepeatedNodes, MetricsAtOnePlaceAreThoseOfTheirOwnElement) {
    // A free node in a torn mesh takes the values of the element in which it is found, or of the nearest node.
    searchable m = one_tetrahedron();
    for (unsigned v = 0; v < 4; ++v)
        m.pos.append(column(m.pos, v).data());
    m.connect = ids({{0, 1, 2, 3}, {4, 5, 6, 7}});
    const double inner[] = {0.25, 0.25, 0.25};
    m.pos.append(inner);
    ASSERT_TRUE(m.prepare());
    m.ancestors.push_back(no_node);
    dense1D<double, 8> sizes{1, 1, 1, 1, 2, 2, 2, 2, 0};
    ASSERT_EQ(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, sizes, {8}, false), 0);
    EXPECT_EQ(sizes[8], 1); // of equally near nodes the lowest ID, hence the first element
}
