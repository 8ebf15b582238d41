#include "failures.h"
#include "whole_meshes.h"

using namespace test;
using quorl::meldra3d_mpi::gather_field;
using quorl::meldra3d_mpi::scatter_field;

namespace {

dense2D<double> field_of(std::size_t rows, std::size_t nodes) {
    dense2D<double> field(rows, nodes);
    for (std::size_t j = 0; j < nodes; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            field(i, j) = 1.5 + double(j) + 0.01 * double(i);
    return field;
}

const dense2D<double>& on_rank_0(const dense2D<double>& field) {
    static const dense2D<double> nothing{};
    return world_rank() == 0 ? field : nothing;
}

distributed_mesh scattered_part(const whole_mesh& mesh) {
    return cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
}

} // namespace

TEST(Fields, GoToTheNodesOfPartsAndBack) {
    for (const element_type type : {ET_TH4, ET_H8, ET_FACE_MIX})
        for (const std::size_t rows : {1U, 3U, 6U}) {
            const whole_mesh mesh = shuffled(grid(type, 2, 3, 2));
            const dense2D<double> field = field_of(rows, mesh.pos.cols());
            for (const distributed_mesh& part :
                 {scattered_part(mesh), reversed(scattered_part(mesh)),
                  cut(mesh, dense1D<int, 8>(mesh.connectivity.cols(), world_size() - 1))}) {
                dense2D<double> values(1, 1, 7.0), back(1, 1, 7.0);
                ASSERT_EQ(scatter_field(on_rank_0(field), part, values, MPI_COMM_WORLD), 0);
                ASSERT_EQ(values.cols(), part.node_ids.size());
                for (std::size_t j = 0; j < values.cols(); ++j)
                    EXPECT_EQ(column(values, j), column(field, part.node_ids[j]));
                ASSERT_EQ(gather_field(values, part, back, MPI_COMM_WORLD), 0);
                EXPECT_TRUE(same_bits(back, on_rank_0(field)));
            }
        }
}

TEST(Fields, TakeWindowsAndNoRows) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const distributed_mesh part = scattered_part(mesh);
    const dense2D<double> field = as_window(field_of(2, mesh.pos.cols()), -1.0);
    dense2D<double> values, back;
    ASSERT_EQ(scatter_field(on_rank_0(field), part, values, MPI_COMM_WORLD), 0);
    ASSERT_EQ(gather_field(as_window(values, -2.0), part, back, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_bits(back, on_rank_0(field)));

    ASSERT_EQ(scatter_field(field_of(0, mesh.pos.cols()), part, values, MPI_COMM_WORLD), 0);
    EXPECT_EQ(values.rows(), 0U);
    EXPECT_EQ(values.cols(), part.node_ids.size());
    EXPECT_EQ(gather_field(values, part, back, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(back.empty());
}

TEST(Fields, OfAnEmptyMesh) {
    const distributed_mesh nothing;
    dense2D<double> values, field;
    EXPECT_EQ(scatter_field(field_of(2, 0), nothing, values, MPI_COMM_WORLD), 0);
    EXPECT_EQ(gather_field(values, nothing, field, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(values.empty() && field.empty());
}

TEST(Fields, TheLowestRankCountsAndOtherNodesAreZero) {
    const whole_mesh mesh = grid(ET_TH4, 2, 2, 1);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    distributed_mesh part = cut(mesh, owners);
    part.nodes += 1;
    const dense2D<double> values(1, part.node_ids.size(), 10.0 + world_rank());
    dense2D<double> field;
    ASSERT_EQ(gather_field(values, part, field, MPI_COMM_WORLD), 0);
    if (world_rank() != 0) {
        EXPECT_TRUE(field.empty());
        return;
    }
    const std::vector<std::set<unsigned>> nodes = nodes_of_ranks(mesh, owners, world_size());
    for (unsigned j = 0; j < mesh.pos.cols(); ++j) {
        const auto has_it = [j](const std::set<unsigned>& of_rank) { return of_rank.count(j) != 0; };
        const auto lowest = std::find_if(nodes.begin(), nodes.end(), has_it) - nodes.begin();
        EXPECT_EQ(field(0, j), 10.0 + double(lowest));
    }
    EXPECT_EQ(field(0, mesh.pos.cols()), 0.0);
}

TEST(Fields, FaultsOnOneRankAreReturnedByAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const distributed_mesh good = scattered_part(mesh);
    const dense2D<double> field = field_of(2, mesh.pos.cols());
    dense2D<double> result(1, 1, 7.0);
    EXPECT_EQ(scatter_field(field_of(2, mesh.pos.cols() - 1), good, result, MPI_COMM_WORLD), -1);
    for (int faulty = 0; faulty < world_size(); ++faulty) {
        const bool mine = world_rank() == faulty;
        const dense2D<double> values(2, good.node_ids.size(), 1.0);
        const dense2D<double> fewer = values.sub(0, 0, 2, values.cols() - 1);
        EXPECT_EQ(gather_field(mine ? fewer : values, good, result, MPI_COMM_WORLD), -1);
        const dense2D<double> other_rows = values.sub(0, 0, 1, values.cols());
        EXPECT_EQ(gather_field(mine ? other_rows : values, good, result, MPI_COMM_WORLD), world_size() > 1 ? -1 : 0);
        result = dense2D<double>(1, 1, 7.0);
        distributed_mesh part = deep_copy(good);
        if (mine)
            part.node_ids[0] = part.nodes;
        EXPECT_EQ(gather_field(values, part, result, MPI_COMM_WORLD), -20);
        EXPECT_EQ(scatter_field(on_rank_0(field), part, result, MPI_COMM_WORLD), -20);
        EXPECT_TRUE(result.size() == 1 && result(0, 0) == 7.0);
    }
}

TEST(Fields, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = grid(ET_W6, 2, 1, 1);
    const distributed_mesh part = scattered_part(mesh);
    const dense2D<double> field = field_of(2, mesh.pos.cols());
    const dense2D<double> old(1, 1, 7.0);
    dense2D<double> values, back;
    each_failure_returns_on_all(
        [&] {
            values = old;
            return scatter_field(on_rank_0(field), part, values, MPI_COMM_WORLD);
        },
        [&] { EXPECT_TRUE(values.size() == 1 && values(0, 0) == 7.0); });
    each_failure_returns_on_all(
        [&] {
            back = old;
            return gather_field(values, part, back, MPI_COMM_WORLD);
        },
        [&] { EXPECT_TRUE(back.size() == 1 && back(0, 0) == 7.0); });
}
