#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::split_into_H8;

namespace {

constexpr unsigned none = no_node;

/// Two unit cubes, one on the other.
dense2D<double> tower() {
    return points({{0, 0, 0},
                   {1, 0, 0},
                   {1, 1, 0},
                   {0, 1, 0},
                   {0, 0, 1},
                   {1, 0, 1},
                   {1, 1, 1},
                   {0, 1, 1}, //
                   {0, 0, 2},
                   {1, 0, 2},
                   {1, 1, 2},
                   {0, 1, 2}});
}

/// The lower cube as a hexahedron, the upper one as two wedges.
dense2D<unsigned> mixed_tower() {
    return ids({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 8, 9, 10, none, none}, {4, 6, 7, 8, 10, 11, none, none}});
}

struct arguments {
    dense2D<double> pos = tower();
    dense2D<unsigned> connect = mixed_tower();
    dense2D<unsigned> hexahedra, faces, edges;

    int split() { return split_into_H8(pos, connect, hexahedra, faces, edges); }
};

double volume_of(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    double vol = 0;
    EXPECT_EQ(meldra3d::volume(pos, connect, vol), 0);
    return vol;
}

/// Volume of each column alone.
std::vector<double> volumes(const dense2D<double>& pos, const dense2D<unsigned>& connect) {
    std::vector<double> all;
    for (std::size_t j = 0; j < connect.cols(); ++j)
        all.push_back(volume_of(pos, connect.sub(0, j, connect.rows(), 1)));
    return all;
}

std::vector<double> mean(const dense2D<double>& pos, const std::vector<unsigned>& nodes) {
    std::vector<double> x(3, 0.0);
    for (const unsigned id : nodes)
        for (unsigned i = 0; i < 3; ++i)
            x[i] += pos(i, id) / double(nodes.size());
    return x;
}

/// True when the node lies at the mean of the others.
bool lies_amid(const dense2D<double>& pos, unsigned id, const std::vector<unsigned>& nodes) {
    const auto x = mean(pos, nodes);
    for (unsigned i = 0; i < 3; ++i)
        if (std::fabs(pos(i, id) - x[i]) > 1e-14)
            return false;
    return true;
}

} // namespace

TEST(SplitIntoH8, OneHexahedronGivesEightAroundNineteenNewNodes) {
    arguments a;
    a.pos.resize(3, 8);
    a.connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    ASSERT_EQ(a.split(), 0);
    EXPECT_EQ(a.hexahedra.cols(), 8u);
    EXPECT_EQ(a.pos.cols(), 8u + 19u);
    for (const double v : volumes(a.pos, a.hexahedra))
        EXPECT_NEAR(v, 1.0 / 8, 1e-15);
    for (unsigned p = 0; p < 8; ++p) {
        EXPECT_EQ(a.hexahedra(0, p), p); // each begins at its vertex
        EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(6, p), {0, 1, 2, 3, 4, 5, 6, 7}));
    }
    // Written out for vertex 0: its edges go to 1, 3 and 4, its faces are those at z, y and x = 0.
    EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(1, 0), {0, 1}));
    EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(2, 0), {0, 1, 2, 3}));
    EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(3, 0), {0, 3}));
    EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(4, 0), {0, 4}));
    EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(5, 0), {0, 1, 5, 4}));
    EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(7, 0), {0, 3, 7, 4}));
}

TEST(SplitIntoH8, OneTetrahedronGivesFourAroundElevenNewNodes) {
    arguments a;
    a.pos = points({{0, 0, 0}, {0, 1.5, 0.1}, {2, 0.2, 0}, {0.3, 0.1, 1}});
    a.connect = ids({{0, 1, 2, 3}});
    const double vol = volume_of(a.pos, a.connect);
    ASSERT_GT(vol, 0);
    ASSERT_EQ(a.split(), 0);
    EXPECT_EQ(a.hexahedra.cols(), 4u);
    EXPECT_EQ(a.pos.cols(), 4u + 11u);
    for (const double v : volumes(a.pos, a.hexahedra))
        EXPECT_NEAR(v, vol / 4, 1e-15);
    for (unsigned p = 0; p < 4; ++p) {
        EXPECT_EQ(a.hexahedra(0, p), p);
        EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(6, p), {0, 1, 2, 3}));
    }
}

TEST(SplitIntoH8, OneWedgeGivesSixThatStandTheSameWayUp) {
    arguments a;
    a.pos = points({{0, 0, 0}, {2, 0, 0}, {0, 1, 0}, {0, 0, 3}, {2, 0, 3}, {0, 1, 3}});
    a.connect = ids({{0, 1, 2, 3, 4, 5}});
    ASSERT_EQ(a.split(), 0);
    EXPECT_EQ(a.hexahedra.cols(), 6u);
    EXPECT_EQ(a.pos.cols(), 6u + 9u + 5u + 1u);
    for (const double v : volumes(a.pos, a.hexahedra))
        EXPECT_NEAR(v, 0.5, 1e-14);
    for (unsigned p = 0; p < 3; ++p) {
        EXPECT_EQ(a.hexahedra(0, p), p);
        EXPECT_EQ(a.hexahedra(4, p + 3), p + 3);
        EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(6, p), {0, 1, 2, 3, 4, 5}));
        EXPECT_TRUE(lies_amid(a.pos, a.hexahedra(2, p + 3), {0, 1, 2, 3, 4, 5}));
    }
}

TEST(SplitIntoH8, MixedElementsStayConformingAndKeepTheVolume) {
    arguments a;
    a.connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}, {4, 5, 6, 7, 8, 9, 10, 11}});
    ASSERT_EQ(a.split(), 0);
    EXPECT_EQ(a.pos.cols(), 12u + 20u + 11u + 2u);
    EXPECT_NEAR(volume_of(a.pos, a.hexahedra), 2, 1e-14);
    dense2D<unsigned> neighbors;
    ASSERT_EQ(meldra::get_neighbors(a.hexahedra, ET_H8, true, neighbors), 0);
    std::size_t open = 0;
    for (std::size_t e = 0; e < neighbors.cols(); ++e)
        for (unsigned f = 0; f < 6; ++f)
            open += neighbors(f, e) == none;
    EXPECT_EQ(open, 4u * 10u); // each face of the tower in four
}

TEST(SplitIntoH8, WedgesAndHexahedraOfOneMatrixAreToldByTheirRows) {
    arguments a;
    ASSERT_EQ(a.split(), 0);
    ASSERT_EQ(a.hexahedra.cols(), 8u + 6u + 6u);
    EXPECT_NEAR(volume_of(a.pos, a.hexahedra.sub(0, 0, 8, 8)), 1, 1e-14);
    EXPECT_NEAR(volume_of(a.pos, a.hexahedra.sub(0, 8, 8, 6)), 0.5, 1e-14);
    EXPECT_NEAR(volume_of(a.pos, a.hexahedra.sub(0, 14, 8, 6)), 0.5, 1e-14);
    dense2D<unsigned> neighbors;
    EXPECT_EQ(meldra::get_neighbors(a.hexahedra, ET_H8, true, neighbors), 0);
}

TEST(SplitIntoH8, PyramidsGetNodesButNoHexahedra) {
    arguments a;
    a.pos.resize(3, 8);
    a.connect = ids({{0, 1, 2, 3, 6}});
    ASSERT_EQ(a.split(), 0);
    EXPECT_EQ(a.hexahedra.cols(), 0u);
    EXPECT_EQ(a.pos.cols(), 8u + 8u + 5u + 1u);
}

TEST(SplitIntoH8, AppendsBehindWhatTheOutputHolds) {
    arguments a;
    a.connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    a.hexahedra = ids({{7, 6, 5, 4, 3, 2, 1, 0}});
    ASSERT_EQ(a.split(), 0);
    ASSERT_EQ(a.hexahedra.cols(), 9u);
    EXPECT_EQ(column(a.hexahedra, 0), (std::vector<unsigned>{7, 6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(a.hexahedra(0, 1), 0u);

    arguments empty;
    empty.hexahedra = dense2D<unsigned>(0, 5);
    ASSERT_EQ(empty.split(), 0);
    EXPECT_EQ(empty.hexahedra.cols(), 20u);
}

TEST(SplitIntoH8, UsesGivenFacesAndEdgesAgain) {
    arguments lower;
    lower.connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    ASSERT_EQ(lower.split(), 0);
    const auto node_amid = [&](const std::vector<unsigned>& nodes) {
        for (unsigned id = 12; id < lower.pos.cols(); ++id)
            if (lies_amid(lower.pos, id, nodes))
                return id;
        return none;
    };
    // The face between the cubes, as the lower one made it.
    arguments upper;
    upper.pos.shallow_copy(lower.pos);
    upper.connect = ids({{4, 5, 6, 7, 8, 9, 10, 11}});
    upper.faces = ids({{4, 5, 6, 7, node_amid({4, 5}), node_amid({5, 6}), node_amid({6, 7}), node_amid({7, 4}),
                        node_amid({4, 5, 6, 7})}});
    const std::size_t before = upper.pos.cols();
    ASSERT_EQ(upper.split(), 0);
    EXPECT_EQ(upper.pos.cols(), before + 19 - 5);
    EXPECT_EQ(upper.hexahedra(2, 0), upper.faces(8, 0)); // the centre of the bottom face
}

TEST(SplitIntoH8, StatusesComeInTheirOrder) {
    const auto expect_refused = [](arguments a, int status) {
        const auto pos = entries(a.pos);
        const auto hexahedra = entries(a.hexahedra);
        EXPECT_EQ(a.split(), status);
        EXPECT_EQ(entries(a.pos), pos);
        EXPECT_EQ(entries(a.hexahedra), hexahedra);
    };
    arguments a;
    a.connect = ids({{0, 1, 2, 3, none, none, none, none}, {0, 1, 2, 3, 4, 5, 6, 7}});
    expect_refused(a, -2); // a tetrahedron among hexahedra comes last
    a.connect = ids({{0, 1, 2, 3, 6, none, none, none}});
    expect_refused(a, -2); // so does a pyramid
    a.edges = ids({{0, 1, 99}});
    expect_refused(a, -5);
    a.edges = ids({{0, 1}});
    expect_refused(a, -5);
    a.faces = ids({{0, 1, 2, 3, 4, 5, 6, 7, none}});
    expect_refused(a, -4);
    a.faces = ids({{0, 1, 2, 3, 4, 5, 6}});
    expect_refused(a, -4);
    a.hexahedra = ids({{0, 1, 2, 3, 4, 5}});
    expect_refused(a, -3);
    a.connect = ids({{0, 1, 2, 99}});
    expect_refused(a, -2);
    a.connect = dense2D<unsigned>(7, 1, 0u);
    expect_refused(a, -2);
    a.pos.resize(2, 12);
    expect_refused(a, -1);
    a.connect = dense2D<unsigned>(0, 4);
    expect_refused(a, 0);
}

TEST(SplitIntoH8, FacesThatDoNotSuitTetrahedraEndInNoMemory) {
    arguments a;
    a.connect = ids({{0, 1, 3, 4}});
    a.faces = ids({{0, 1, 2, 3, 4, 5, 6, 7, 8}});
    EXPECT_EQ(a.split(), -199);
    EXPECT_EQ(a.hexahedra.cols(), 0u);
}

TEST(SplitIntoH8, TheOutputMayBeTheInput) {
    arguments a, same;
    ASSERT_EQ(a.split(), 0);
    same.connect = ids({{0, 1, 2, 3, 4, 5, 6, 7}});
    ASSERT_EQ(split_into_H8(same.pos, same.connect, same.connect, same.faces, same.edges), 0);
    EXPECT_EQ(same.connect.cols(), 9u); // behind its own columns
    EXPECT_EQ(column(same.connect, 0), (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(SplitIntoH8, ReadsWindowsOfLargerMatrices) {
    arguments plain, windows;
    windows.pos = as_window(tower(), -7.0);
    windows.connect = as_window(mixed_tower(), 3u);
    windows.hexahedra = as_window(ids({{0, 1, 2, 3, 4, 5, 6, 7}}), 9u);
    ASSERT_EQ(plain.split(), 0);
    ASSERT_EQ(windows.split(), 0);
    EXPECT_EQ(entries(windows.pos), entries(plain.pos));
    EXPECT_EQ(entries(windows.hexahedra.sub(0, 1, 8, 20)), entries(plain.hexahedra));
}
