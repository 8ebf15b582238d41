#include "failures.h"
#include "whole_meshes.h"

using namespace test;
using quorl::meldra3d_mpi::distribute;

namespace {

int deal(const whole_mesh& mesh, const dense1D<int, 8>& owners, distributed_mesh& part) {
    const whole_mesh& held = on_rank_0(mesh);
    return distribute(held.pos, held.connectivity, mesh.type, world_rank() == 0 ? owners : dense1D<int, 8>(), part,
                      MPI_COMM_WORLD);
}

} // namespace

TEST(Distribute, GivesThePartsAsTheyAreCutSerially) {
    for (const whole_mesh& mesh : meshes_of_all_types())
        for (const dense1D<int, 8>& owners : {scattered_owners(mesh.connectivity.cols(), world_size()),
                                              blocks_of_owners(mesh.connectivity.cols(), world_size()),
                                              dense1D<int, 8>(mesh.connectivity.cols(), world_size() - 1)}) {
            distributed_mesh part;
            ASSERT_EQ(deal(mesh, owners, part), 0);
            EXPECT_TRUE(same_part(part, cut(mesh, owners))) << "type " << mesh.type;
        }
}

TEST(Distribute, LeavesOutNodesThatNoElementNames) {
    whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const double alone[3] = {9, 9, 9};
    mesh.pos.append(alone);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    distributed_mesh part;
    ASSERT_EQ(deal(mesh, owners, part), 0);
    EXPECT_TRUE(same_part(part, cut(mesh, owners)));
    EXPECT_EQ(part.nodes, mesh.pos.cols());
}

TEST(Distribute, TakesWindowsOfLargerMatrices) {
    whole_mesh mesh = grid(ET_W6, 2, 2, 1);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    const distributed_mesh expected = cut(mesh, owners);
    mesh.pos = as_window(mesh.pos, -1.0);
    mesh.connectivity = as_window(mesh.connectivity, 99U);
    distributed_mesh part;
    ASSERT_EQ(deal(mesh, owners, part), 0);
    EXPECT_TRUE(same_part(part, expected));
}

TEST(Distribute, AnEmptyMeshGivesEmptyParts) {
    for (const std::size_t nodes : {0U, 5U}) {
        distributed_mesh part = cut(grid(ET_TH4, 1, 1, 1), dense1D<int, 8>(6, 0), 0, 1);
        ASSERT_EQ(deal(no_elements(nodes), {}, part), 0);
        EXPECT_TRUE(part.connectivity.empty() && part.node_ids.empty() && part.element_ids.empty());
        EXPECT_EQ(part.pos.cols(), 0U);
        EXPECT_EQ(part.nodes, nodes);
        EXPECT_EQ(part.elements, 0U);
        EXPECT_TRUE(part.neighbor_ranks.empty() && part.shared_nodes.empty());
    }
}

TEST(Distribute, FaultsOnRank0AreReturnedByAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const dense1D<int, 8> owners(mesh.connectivity.cols(), 0);
    const distributed_mesh before = cut(mesh, owners, 0, 1);
    const auto status_of = [&](auto spoil) {
        whole_mesh spoilt = mesh;
        spoilt.connectivity.copy(mesh.connectivity);
        dense1D<int, 8> spoilt_owners;
        spoilt_owners.copy(owners);
        spoil(spoilt, spoilt_owners);
        distributed_mesh part = before;
        const int status = deal(spoilt, spoilt_owners, part);
        EXPECT_TRUE(same_part(part, before));
        return status;
    };
    EXPECT_EQ(status_of([](whole_mesh& m, auto&) { m.pos = m.pos.sub(0, 0, 2, m.pos.cols()); }), -1);
    EXPECT_EQ(status_of([](whole_mesh& m, auto&) { m.connectivity(1, 3) = unsigned(m.pos.cols()); }), -2);
    EXPECT_EQ(status_of([](whole_mesh& m, auto&) { m.connectivity(3, 3) = no_node; }), -2);
    EXPECT_EQ(status_of([](whole_mesh& m, auto&) { m.type = ET_H8; }), -2);
    for (const int type : {-1, 0, 1, 2, 3, 4, 25})
        EXPECT_EQ(status_of([type](whole_mesh& m, auto&) { m.type = element_type(type); }), -3);
    EXPECT_EQ(status_of([](auto&, dense1D<int, 8>& o) { o.resize(o.size() - 1); }), -4);
    EXPECT_EQ(status_of([](auto&, dense1D<int, 8>& o) { o[2] = -1; }), -4);
    EXPECT_EQ(status_of([](auto&, dense1D<int, 8>& o) { o[2] = world_size(); }), -4);
    EXPECT_EQ(status_of([](whole_mesh& m, dense1D<int, 8>& o) { m.connectivity(1, 3) = 999, o[2] = -1; }), -2);
}

TEST(Distribute, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = grid(ET_W6, 2, 2, 1);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    const distributed_mesh before = cut(grid(ET_H8, 1, 1, 1), {0}, 0, 1);
    distributed_mesh part;
    each_failure_returns_on_all(
        [&] {
            part = before;
            return deal(mesh, owners, part);
        },
        [&] { EXPECT_TRUE(same_part(part, before)); });
    EXPECT_TRUE(same_part(part, cut(mesh, owners)));
}
