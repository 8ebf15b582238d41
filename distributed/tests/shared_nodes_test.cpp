#include "exchange.h"
#include "failures.h"
#include "whole_meshes.h"

using namespace test;
using quorl::meldra3d_mpi::find_shared_nodes;

namespace {

distributed_mesh without_lists(const distributed_mesh& part) {
    distributed_mesh bare = deep_copy(part);
    bare.neighbor_ranks.clear();
    bare.first_shared.clear();
    bare.shared_nodes.clear();
    return bare;
}

distributed_mesh scattered_part() {
    const whole_mesh mesh = shuffled(grid(ET_TH4, 2, 2, 2));
    return cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
}

} // namespace

TEST(SharedNodes, AreThoseOfTheWholeMesh) {
    for (const whole_mesh& mesh : meshes_of_all_types())
        for (const dense1D<int, 8>& owners : {scattered_owners(mesh.connectivity.cols(), world_size()),
                                              blocks_of_owners(mesh.connectivity.cols(), world_size())}) {
            for (const distributed_mesh& expected : {cut(mesh, owners), reversed(cut(mesh, owners))}) {
                distributed_mesh part = without_lists(expected);
                ASSERT_EQ(find_shared_nodes(part, MPI_COMM_WORLD), 0);
                EXPECT_TRUE(same_part(part, expected)) << "type " << mesh.type;
                ASSERT_EQ(find_shared_nodes(part, MPI_COMM_WORLD), 0); // lists that are there are made anew
                EXPECT_TRUE(same_part(part, expected));
            }
        }
}

TEST(SharedNodes, OfEmptyPartsAndOfNoNodes) {
    const whole_mesh mesh = grid(ET_H8, 2, 2, 2);
    const distributed_mesh expected = cut(mesh, dense1D<int, 8>(mesh.connectivity.cols(), world_size() - 1));
    distributed_mesh part = without_lists(expected);
    ASSERT_EQ(find_shared_nodes(part, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, expected));

    distributed_mesh nothing;
    ASSERT_EQ(find_shared_nodes(nothing, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(nothing.neighbor_ranks.empty() && nothing.shared_nodes.empty());
}

TEST(SharedNodes, TakeIDsBeyond32BitsAndFarApart) {
    constexpr std::uint64_t far = 1'000'000'000'000, apart = 4096;
    distributed_mesh expected = scattered_part();
    expected.nodes = far + apart * expected.nodes;
    expected.elements = far + apart * expected.elements;
    for (std::uint64_t& id : expected.node_ids)
        id = far + apart * id;
    for (std::uint64_t& id : expected.element_ids)
        id = far + apart * id;
    distributed_mesh part = without_lists(expected);
    ASSERT_EQ(find_shared_nodes(part, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, expected));
}

TEST(SharedNodes, APartThatIsNoneOnOneRankIsRefusedByAll) {
    for (int faulty = 0; faulty < world_size(); ++faulty) {
        const auto status_of = [&](auto spoil) {
            distributed_mesh part = without_lists(scattered_part());
            if (world_rank() == faulty)
                spoil(part);
            const distributed_mesh before = deep_copy(part);
            const int status = find_shared_nodes(part, MPI_COMM_WORLD);
            EXPECT_TRUE(same_part(part, before));
            return status;
        };
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.pos.resize(2, part.pos.cols()); }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.connectivity(0, 0) = 4000; }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.node_ids[1] = part.node_ids[0]; }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.element_ids[1] = part.elements; }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { part.type = ET_H8; }), -20);
        if (world_size() == 1)
            continue;
        EXPECT_EQ(status_of([](distributed_mesh& part) { ++part.nodes; }), -20);
        EXPECT_EQ(status_of([](distributed_mesh& part) { ++part.elements; }), -20);
    }
}

TEST(SharedNodes, AnElementOfTwoRanksIsRefusedByAll) {
    const whole_mesh mesh = grid(ET_TH4, 1, 1, 1);
    distributed_mesh part = without_lists(cut(mesh, dense1D<int, 8>(6, 0), 0, 1)); // all of it on each
    const distributed_mesh before = deep_copy(part);
    EXPECT_EQ(find_shared_nodes(part, MPI_COMM_WORLD), world_size() > 1 ? -20 : 0);
    EXPECT_EQ(part.first_shared.empty(), world_size() > 1); // as before
    part.first_shared.clear();
    EXPECT_TRUE(same_part(part, before));
}

TEST(SharedNodes, LackOfMemoryOnOneRankReturnsOnAll) {
    const distributed_mesh before = scattered_part();
    const distributed_mesh unchanged = deep_copy(before);
    distributed_mesh part;
    each_failure_returns_on_all(
        [&] {
            part = before;
            return find_shared_nodes(part, MPI_COMM_WORLD);
        },
        [&] { EXPECT_TRUE(same_part(part, unchanged)); });
}
