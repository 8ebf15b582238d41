#include "ghost_layer.h"

#include "failures.h"
#include "parts.h"

using namespace test;
using namespace quorl::meldra3d_mpi::detail;

namespace {

/// The elements of the whole mesh that name a node of this rank's part, in order.
std::vector<std::uint64_t> elements_at(const whole_mesh& mesh, const distributed_mesh& part) {
    const std::set<std::uint64_t> own(part.node_ids.begin(), part.node_ids.end());
    std::vector<std::uint64_t> found;
    for (std::size_t j = 0; j < mesh.connectivity.cols(); ++j)
        for (std::size_t i = 0; i < mesh.connectivity.rows(); ++i)
            if (mesh.connectivity(i, j) != no_node && own.count(mesh.connectivity(i, j)) != 0) {
                found.push_back(j);
                break;
            }
    return found;
}

/// Checks the extended part; on each rank it has the nodes and elements that come last in the whole mesh first, when
/// `backwards` is set.
void expect_extended(const whole_mesh& mesh, const dense1D<int, 8>& owners, bool backwards = false) {
    const auto part_of = [&](int rank) {
        const distributed_mesh part = cut(mesh, owners, rank, world_size());
        return backwards ? reversed(part) : part;
    };
    const distributed_mesh part = part_of(world_rank());
    extended_part extended;
    ASSERT_EQ(extend(part, extended, MPI_COMM_WORLD), 0);

    EXPECT_EQ(entries(extended.element_ids), elements_at(mesh, part));
    ASSERT_EQ(extended.node_ids.size(), extended.pos.cols());
    for (std::size_t j = 0; j < extended.pos.cols(); ++j)
        EXPECT_EQ(column(extended.pos, j), column(mesh.pos, extended.node_ids[j]));
    for (std::size_t j = 0; j < part.node_ids.size(); ++j)
        EXPECT_EQ(extended.node_ids[j], part.node_ids[j]);
    EXPECT_TRUE(std::is_sorted(extended.node_ids.begin() + part.node_ids.size(), extended.node_ids.end()));
    ASSERT_EQ(extended.connectivity.cols(), extended.element_ids.size());
    for (std::size_t j = 0; j < extended.element_ids.size(); ++j) {
        const std::uint64_t id = extended.element_ids[j];
        EXPECT_EQ(extended.ranks[j], owners[id]);
        const distributed_mesh home = part_of(extended.ranks[j]);
        EXPECT_EQ(home.element_ids[extended.columns[j]], id);
        for (std::size_t i = 0; i < mesh.connectivity.rows(); ++i) {
            const unsigned node = extended.connectivity(i, j);
            const unsigned expected = mesh.connectivity(i, id);
            EXPECT_EQ(node == no_node ? no_node : extended.node_ids[node], expected);
        }
    }
}

} // namespace

TEST(GhostLayer, HoldsTheElementsAtOwnNodes) {
    for (const element_type type : {ET_TH4, ET_PY5, ET_W6, ET_H8, ET_SOLID_MIX, ET_T3, ET_Q4, ET_FACE_MIX}) {
        const whole_mesh mesh = shuffled(grid(type, 3, 2, 3));
        expect_extended(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
        expect_extended(mesh, blocks_of_owners(mesh.connectivity.cols(), world_size()));
    }
    const whole_mesh mesh = quadratic(grid(ET_SOLID_MIX, 2, 2, 3));
    expect_extended(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
}

TEST(GhostLayer, TakesPartsInAnyOrderAndOfNoElements) {
    const whole_mesh mesh = grid(ET_TH4, 2, 2, 2);
    expect_extended(mesh, scattered_owners(mesh.connectivity.cols(), world_size()), true);
    expect_extended(mesh, dense1D<int, 8>(mesh.connectivity.cols(), world_size() - 1));
    expect_extended({dense2D<double>(3, 0), {}, ET_TH4}, {});
}

TEST(GhostLayer, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 2, 2);
    const distributed_mesh part = cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
    each_failure_returns_on_all(
        [&] {
            extended_part extended;
            return extend(part, extended, MPI_COMM_WORLD);
        },
        [] {});
}
