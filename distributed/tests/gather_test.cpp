#include "failures.h"
#include "whole_meshes.h"

using namespace test;
using quorl::meldra3d_mpi::gather;

namespace {

/// Whether rank 0 has the mesh and the others nothing.
void expect_gathered(const distributed_mesh& part, const whole_mesh& mesh) {
    dense2D<double> pos(2, 2, 1.0);
    dense2D<unsigned> connectivity(2, 2, 1);
    ASSERT_EQ(gather(part, pos, connectivity, MPI_COMM_WORLD), 0);
    const whole_mesh& expected = on_rank_0(mesh);
    EXPECT_TRUE(same_bits(pos, expected.pos));
    EXPECT_TRUE(same_bits(connectivity, expected.connectivity));
}

distributed_mesh scattered_part(const whole_mesh& mesh) {
    return cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
}

} // namespace

TEST(Gather, GivesTheMeshThatWasCut) {
    for (const whole_mesh& mesh : meshes_of_all_types()) {
        expect_gathered(scattered_part(mesh), mesh);
        expect_gathered(reversed(scattered_part(mesh)), mesh);
        expect_gathered(cut(mesh, dense1D<int, 8>(mesh.connectivity.cols(), world_size() - 1)), mesh);
    }
    expect_gathered(cut(no_elements(0), {}), {});
}

TEST(Gather, LeavesNodesAndElementsThatNoRankHasEmpty) {
    whole_mesh mesh = grid(ET_H8, 2, 1, 1);
    distributed_mesh part = cut(mesh, dense1D<int, 8>(2, 0));
    part.nodes += 1;
    part.elements += 1;
    const double nowhere[3] = {0, 0, 0};
    const std::vector<unsigned> unused(8, no_node);
    mesh.pos.append(nowhere);
    mesh.connectivity.append(unused.data());
    expect_gathered(part, mesh);
}

TEST(Gather, PadsMixedPartsOfFewerRows) {
    const whole_mesh mesh = grid(ET_SOLID_MIX, 1, 1, 2); // a hexahedron, two wedges
    distributed_mesh part = cut(mesh, blocks_of_owners(3, world_size()));
    if (world_size() >= 3 && world_rank() >= 1)
        part.connectivity = part.connectivity.sub(0, 0, 6, part.connectivity.cols());
    expect_gathered(part, mesh);
}

TEST(Gather, MayWriteWhereThePartIs) {
    const whole_mesh mesh = grid(ET_W6, 2, 1, 1);
    distributed_mesh part = scattered_part(mesh);
    ASSERT_EQ(gather(part, part.pos, part.connectivity, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_bits(part.pos, on_rank_0(mesh).pos));
    EXPECT_TRUE(same_bits(part.connectivity, on_rank_0(mesh).connectivity));
}

TEST(Gather, FaultsOnOneRankAreReturnedByAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    for (int faulty = 0; faulty < world_size(); ++faulty) {
        const auto status_of = [&](auto spoil) {
            distributed_mesh part = scattered_part(mesh);
            if (world_rank() == faulty)
                spoil(part);
            dense2D<double> pos(1, 1, 7.0);
            dense2D<unsigned> connectivity(1, 1, 7);
            const int status = gather(part, pos, connectivity, MPI_COMM_WORLD);
            EXPECT_TRUE(pos.size() == 1 && pos(0, 0) == 7.0);
            EXPECT_TRUE(connectivity.size() == 1 && connectivity(0, 0) == 7);
            return status;
        };
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.connectivity(0, 0) = 4000; }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.node_ids.resize(1); }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.shared_nodes.push_back(0); }), -20);
        if (world_size() == 1)
            continue;
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.nodes += 1; }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.neighbor_ranks[0] = world_rank(); }), -20);
    }
}

TEST(Gather, RefusesAnElementOfTwoRanksAndTooManyIDs) {
    const whole_mesh mesh = grid(ET_TH4, 1, 1, 1);
    distributed_mesh part = cut(mesh, dense1D<int, 8>(6, 0), 0, 1);
    dense2D<double> pos;
    dense2D<unsigned> connectivity;
    EXPECT_EQ(gather(part, pos, connectivity, MPI_COMM_WORLD), world_size() > 1 ? -20 : 0);
    part = scattered_part(mesh);
    part.nodes = std::uint64_t(no_node) + 1;
    EXPECT_EQ(gather(part, pos, connectivity, MPI_COMM_WORLD), -199);
    part = scattered_part(mesh);
    part.elements = std::uint64_t(no_node) + 1;
    EXPECT_EQ(gather(part, pos, connectivity, MPI_COMM_WORLD), -199);
}

TEST(Gather, LackOfMemoryOnOneRankReturnsOnAll) {
    const distributed_mesh part = reversed(scattered_part(grid(ET_W6, 2, 2, 1)));
    const dense2D<double> old_pos(1, 1, 7.0);
    const dense2D<unsigned> old_connectivity(1, 1, 7);
    dense2D<double> pos;
    dense2D<unsigned> connectivity;
    each_failure_returns_on_all(
        [&] {
            pos = old_pos;
            connectivity = old_connectivity;
            return gather(part, pos, connectivity, MPI_COMM_WORLD);
        },
        [&] {
            EXPECT_TRUE(pos.size() == 1 && pos(0, 0) == 7.0);
            EXPECT_TRUE(connectivity.size() == 1 && connectivity(0, 0) == 7);
        });
}
