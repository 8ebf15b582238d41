#include <cstdio>
#include <dlfcn.h>

#include <scotch.h>

#include "exchange.h"
#include "failures.h"
#include "whole_meshes.h"

using namespace test;
using quorl::meldra3d_mpi::partition;

namespace {

bool scotch_fails = false;

int cut_by_scotch(const whole_mesh& mesh, distributed_mesh& part) {
    const whole_mesh& held = on_rank_0(mesh);
    return partition(held.pos, held.connectivity, mesh.type, part, MPI_COMM_WORLD);
}

/// The rank of each element, on all ranks, from what each part says it has; -1 for those that none has.
dense1D<int, 8> owners_of(const distributed_mesh& part) {
    std::vector<int> mine(part.elements, -1), all(part.elements, -1);
    for (const std::uint64_t id : part.element_ids)
        mine[id] = world_rank();
    MPI_Allreduce(mine.data(), all.data(), static_cast<int>(mine.size()), MPI_INT, MPI_MAX, MPI_COMM_WORLD);
    dense1D<int, 8> owners(all.size(), -1);
    std::copy(all.begin(), all.end(), owners.begin());
    return owners;
}

/// Cuts the mesh and checks the parts against those that the same owners give.
void expect_parts(const whole_mesh& mesh) {
    distributed_mesh part;
    ASSERT_EQ(cut_by_scotch(mesh, part), 0);
    ASSERT_EQ(part.elements, mesh.connectivity.cols());
    const dense1D<int, 8> owners = owners_of(part);
    ASSERT_EQ(std::count(owners.begin(), owners.end(), -1), 0);
    EXPECT_TRUE(same_part(part, cut(mesh, owners))) << "type " << mesh.type;
}

/// Tetrahedra that touch nowhere.
whole_mesh pieces(unsigned n) {
    whole_mesh mesh{dense2D<double>(3, 0), dense2D<unsigned>(4, 0), ET_TH4};
    for (unsigned k = 0; k < n; ++k) {
        for (unsigned i = 0; i < 4; ++i) {
            const double p[3] = {3.0 * k + (i == 1), double(i == 2), double(i == 3)};
            mesh.pos.append(p);
        }
        const unsigned ids[4] = {4 * k, 4 * k + 2, 4 * k + 1, 4 * k + 3};
        mesh.connectivity.append(ids);
    }
    return mesh;
}

} // namespace

// In the place of Scotch's own, so that it can fail.
extern "C" int SCOTCH_graphPart(SCOTCH_Graph* const graph, const SCOTCH_Num parts, SCOTCH_Strat* const strategy,
                                SCOTCH_Num* const owners) {
    if (scotch_fails) {
        SCOTCH_errorPrint("%s: out of memory", "SCOTCH_graphPart");
        SCOTCH_errorPrintW("%s: memory is short", "SCOTCH_graphPart");
        return 1;
    }
    static const auto real = reinterpret_cast<decltype(&SCOTCH_graphPart)>(dlsym(RTLD_NEXT, "SCOTCH_graphPart"));
    return real(graph, parts, strategy, owners);
}

TEST(Partition, GivesEachElementToOneRank) {
    for (const whole_mesh& mesh : meshes_of_all_types())
        expect_parts(mesh);
}

TEST(Partition, GivesPartsOfNearlyTheSameSizeAndFewSharedNodes) {
    const whole_mesh mesh = shuffled(grid(ET_TH4, 8, 8, 8));
    distributed_mesh part;
    ASSERT_EQ(cut_by_scotch(mesh, part), 0);
    const std::size_t mean = mesh.connectivity.cols() / std::size_t(world_size());
    EXPECT_LT(part.element_ids.size(), mean + mean / 20);
    EXPECT_GT(part.element_ids.size(), mean - mean / 20);
    EXPECT_LT(part.shared_nodes.size(), std::size_t(3 * 9 * 9)); // three sections of the cube
}

TEST(Partition, IsTheSameEachTime) {
    const whole_mesh mesh = shuffled(grid(ET_H8, 6, 6, 6));
    distributed_mesh first, second;
    ASSERT_EQ(cut_by_scotch(mesh, first), 0);
    SCOTCH_randomSeed(5); // a caller's own random numbers
    SCOTCH_randomVal(100);
    ASSERT_EQ(cut_by_scotch(mesh, second), 0);
    EXPECT_TRUE(same_part(first, second));
}

TEST(Partition, TakesMoreRanksThanElementsAndElementsWithoutNeighbours) {
    for (const unsigned n : {1U, 2U, 3U, 4U, 5U, 12U})
        expect_parts(pieces(n));
}

TEST(Partition, TakesElementsThatShareTwoFacesOrFoldOntoThemselves) {
    expect_parts({grid_nodes(1, 1, 1), ids({{0, 1, 2, 3}, {0, 1, 2, 3}, {0, 1, 2, 4}, {2, 2, 4, 5}}), ET_TH4});
}

TEST(Partition, AnEmptyMeshGivesEmptyParts) {
    distributed_mesh part;
    ASSERT_EQ(cut_by_scotch(no_elements(4), part), 0);
    EXPECT_TRUE(part.element_ids.empty() && part.node_ids.empty());
    EXPECT_EQ(part.nodes, 4U);
}

TEST(Partition, FaultsOnRank0AreReturnedByAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const auto status_of = [&](auto spoil) {
        whole_mesh spoilt = mesh;
        spoilt.connectivity.copy(mesh.connectivity);
        spoil(spoilt);
        distributed_mesh part;
        const int status = cut_by_scotch(spoilt, part);
        EXPECT_TRUE(same_part(part, {}));
        return status;
    };
    EXPECT_EQ(status_of([](whole_mesh& m) { m.pos = m.pos.sub(0, 0, 2, m.pos.cols()); }), -1);
    EXPECT_EQ(status_of([](whole_mesh& m) { m.connectivity(1, 3) = unsigned(m.pos.cols()); }), -2);
    EXPECT_EQ(status_of([](whole_mesh& m) { m.type = ET_NONE; }), -3);
}

TEST(Partition, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = grid(ET_W6, 2, 2, 1);
    distributed_mesh part;
    each_failure_returns_on_all(
        [&] {
            part = {};
            return cut_by_scotch(mesh, part);
        },
        [&] { EXPECT_TRUE(same_part(part, {})); });
}

TEST(Partition, FailuresOfScotchAreALackOfMemoryAndPrintNothing) {
    const whole_mesh mesh = grid(ET_W6, 2, 2, 1);
    distributed_mesh part;
    testing::internal::CaptureStderr();
    scotch_fails = true;
    const int status = cut_by_scotch(mesh, part);
    scotch_fails = false;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(status, world_size() > 1 ? -199 : 0);
    EXPECT_EQ(same_part(part, {}), world_size() > 1);
}

TEST(Partition, LeavesTheMessagesOfOtherCallsOfScotch) {
    testing::internal::CaptureStderr();
    SCOTCH_errorPrint("%d is wrong", 7);
    SCOTCH_errorPrintW("%d is odd", 7);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: 7 is wrong\nWARNING: 7 is odd\n");
}
