#include "by_id.h"
#include "check_part.h"

#include "exchange.h"
#include "parts.h"
#include "support/failing_alloc.h"

using namespace test;
using namespace quorl::meldra3d_mpi::detail;

namespace {

whole_mesh two_cells() {
    return grid(ET_TH4, 2, 1, 1);
}

/// The part of rank 0 of two, whichever rank asks.
distributed_mesh good_part() {
    const whole_mesh mesh = two_cells();
    return cut(mesh, scattered_owners(mesh.connectivity.cols(), 2), 0, 2);
}

/// The same without the lists of shared nodes, which suits any number of ranks.
distributed_mesh lone_part() {
    distributed_mesh part = good_part();
    part.neighbor_ranks.clear();
    part.first_shared.clear();
    part.shared_nodes.clear();
    return part;
}

} // namespace

TEST(CheckPart, TakesAPart) {
    EXPECT_EQ(check_part_alone(good_part()), 0);
    EXPECT_EQ(check_part(distributed_mesh{}, MPI_COMM_WORLD), 0);
    EXPECT_EQ(check_part(lone_part(), MPI_COMM_WORLD), 0);
    const whole_mesh mesh = two_cells();
    EXPECT_EQ(check_part(cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size())), MPI_COMM_WORLD), 0);
}

TEST(CheckPart, TakesIDsInAnyOrder) {
    distributed_mesh part = lone_part();
    std::reverse(part.node_ids.begin(), part.node_ids.end());
    std::reverse(part.element_ids.begin(), part.element_ids.end());
    EXPECT_EQ(check_part(part, MPI_COMM_WORLD), 0);
    part.node_ids[1] = part.node_ids[3];
    EXPECT_EQ(check_part(part, MPI_COMM_WORLD), -20);
}

TEST(CheckPart, RefusesArraysThatDoNotSuitEachOther) {
    const auto refuses = [](auto spoil) {
        distributed_mesh part = lone_part();
        spoil(part);
        return check_part_alone(part) == -20 && check_part(part, MPI_COMM_WORLD) == -20;
    };
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.pos.resize(2, part.pos.cols()); }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.connectivity(0, 0) = unsigned(part.pos.cols()); }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.connectivity(0, 0) = no_node; }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.type = ET_H8; }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.type = element_type(25); }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.node_ids.resize(part.node_ids.size() - 1); }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.node_ids[2] = part.nodes; }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.node_ids[2] = part.node_ids[1]; }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.element_ids.push_back(0); }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.element_ids[0] = part.elements; }));
    EXPECT_TRUE(refuses([](distributed_mesh& part) { part.element_ids[1] = part.element_ids[0]; }));
}

TEST(CheckPart, RefusesListsOfSharedNodesThatAreNone) {
    const int other = world_rank() == 0 ? 1 : 0;
    const auto checked = [&](std::initializer_list<int> ranks, std::initializer_list<std::uint64_t> first,
                             std::initializer_list<unsigned> nodes) {
        distributed_mesh part = lone_part();
        part.neighbor_ranks = ranks;
        part.first_shared = first;
        part.shared_nodes = nodes;
        return check_part(part, MPI_COMM_WORLD);
    };
    EXPECT_EQ(checked({other}, {0, 2}, {1, 3}), world_size() > 1 ? 0 : -20);
    EXPECT_EQ(checked({}, {0}, {}), 0);
    EXPECT_EQ(checked({}, {1}, {}), -20);
    EXPECT_EQ(checked({}, {0}, {1}), -20);
    EXPECT_EQ(checked({world_rank()}, {0, 2}, {1, 3}), -20);
    EXPECT_EQ(checked({world_size()}, {0, 2}, {1, 3}), -20);
    EXPECT_EQ(checked({-1}, {0, 2}, {1, 3}), -20);
    EXPECT_EQ(checked({other}, {0}, {1, 3}), -20);
    EXPECT_EQ(checked({other}, {0, 1}, {1, 3}), -20);
    EXPECT_EQ(checked({other}, {1, 2}, {1, 3}), -20);
    EXPECT_EQ(checked({other}, {0, 0}, {}), -20);
    EXPECT_EQ(checked({other}, {0, 2}, {3, 1}), -20);
    EXPECT_EQ(checked({other}, {0, 2}, {1, 1}), -20);
    EXPECT_EQ(checked({other}, {0, 2}, {1, 300}), -20);
}

TEST(CheckPart, LackOfMemory) {
    distributed_mesh part = lone_part();
    std::reverse(part.node_ids.begin(), part.node_ids.end());
    fail_allocation(1);
    const int status = check_part_alone(part);
    EXPECT_EQ(stop_failing(), 1U);
    EXPECT_EQ(status, -199);
}

TEST(AgreeOnPart, GivesOneStatusToAll) {
    distributed_mesh part = lone_part();
    EXPECT_EQ(agree_on_part(0, part, MPI_COMM_WORLD), 0);
    EXPECT_EQ(agree_on_part(world_rank() == 0 ? -7 : 0, part, MPI_COMM_WORLD), -7);
    EXPECT_EQ(agree_on_part(world_rank() == 0 ? -199 : -20, part, MPI_COMM_WORLD), world_size() > 1 ? -20 : -199);
    const int one_differs = world_size() > 1 ? -20 : 0;
    part.nodes += world_rank() == 0;
    EXPECT_EQ(agree_on_part(0, part, MPI_COMM_WORLD), one_differs);
    EXPECT_EQ(agree_on_part(-2, part, MPI_COMM_WORLD), -2);
    part = lone_part();
    part.elements += world_rank() + 1 == world_size();
    EXPECT_EQ(agree_on_part(0, part, MPI_COMM_WORLD), one_differs);
    part = lone_part();
    part.type = world_rank() == 0 ? ET_T3 : ET_TH4;
    EXPECT_EQ(agree_on_part(0, part, MPI_COMM_WORLD), one_differs);
}

TEST(IDOrder, IsThatOfTheIDs) {
    std::mt19937_64 random(5);
    for (const std::size_t n : {0u, 1u, 2u, 100u, 5000u, 70000u})
        for (const unsigned bits : {1u, 17u, 40u, 64u}) {
            std::vector<std::uint64_t> ids(n);
            for (std::uint64_t& id : ids)
                id = (random() >> (64 - bits)) + (bits < 64 ? 1000000000000 : 0);
            for (const bool sorted : {false, true}) {
                if (sorted)
                    std::sort(ids.begin(), ids.end());
                const auto id_at = [&](std::size_t k) { return ids[k]; };
                meldra3d_mpi::detail::id_order order;
                ASSERT_TRUE(order.build(n, id_at));
                ASSERT_EQ(order.size(), n);
                std::vector<std::size_t> expected(n);
                std::iota(expected.begin(), expected.end(), std::size_t(0));
                std::stable_sort(expected.begin(), expected.end(),
                                 [&](std::size_t a, std::size_t b) { return ids[a] < ids[b]; });
                std::vector<bool> seen(n, false);
                for (std::size_t k = 0; k < n; ++k) {
                    ASSERT_EQ(ids[order[k]], ids[expected[k]]);
                    seen[order[k]] = true;
                    ASSERT_EQ(ids[order.find(ids[k], id_at)], ids[k]);
                }
                EXPECT_EQ(std::count(seen.begin(), seen.end(), false), 0);
            }
        }
}
