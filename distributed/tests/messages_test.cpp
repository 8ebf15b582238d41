// What the functions return when calls of MPI return an error from some call on, as they may where the error handler of
// a communicator lets them return.

#include "whole_meshes.h"

using namespace test;
using namespace quorl::meldra3d_mpi;

namespace {

std::size_t calls_before_failures = 0; ///< 0: no call fails
std::size_t calls = 0;
bool failed = false;

bool this_one_fails() {
    ++calls;
    const bool fails = calls_before_failures != 0 && calls >= calls_before_failures;
    failed = failed || fails;
    return fails;
}

} // namespace

// In the place of MPI's own, by its profiling interface.
extern "C" {

int MPI_Allreduce(const void* sent, void* received, int n, MPI_Datatype type, MPI_Op operation, MPI_Comm comm) {
    return this_one_fails() ? MPI_ERR_OTHER : PMPI_Allreduce(sent, received, n, type, operation, comm);
}

int MPI_Exscan(const void* sent, void* received, int n, MPI_Datatype type, MPI_Op operation, MPI_Comm comm) {
    return this_one_fails() ? MPI_ERR_OTHER : PMPI_Exscan(sent, received, n, type, operation, comm);
}

int MPI_Bcast(void* values, int n, MPI_Datatype type, int root, MPI_Comm comm) {
    return this_one_fails() ? MPI_ERR_OTHER : PMPI_Bcast(values, n, type, root, comm);
}

int MPI_Allgather(const void* sent, int n, MPI_Datatype type, void* received, int received_n,
                  MPI_Datatype received_type, MPI_Comm comm) {
    return this_one_fails() ? MPI_ERR_OTHER : PMPI_Allgather(sent, n, type, received, received_n, received_type, comm);
}

int MPI_Alltoall(const void* sent, int n, MPI_Datatype type, void* received, int received_n, MPI_Datatype received_type,
                 MPI_Comm comm) {
    return this_one_fails() ? MPI_ERR_OTHER : PMPI_Alltoall(sent, n, type, received, received_n, received_type, comm);
}

int MPI_Alltoallv(const void* sent, const int* counts, const int* first, MPI_Datatype type, void* received,
                  const int* received_counts, const int* received_first, MPI_Datatype received_type, MPI_Comm comm) {
    return this_one_fails() ? MPI_ERR_OTHER
                            : PMPI_Alltoallv(sent, counts, first, type, received, received_counts, received_first,
                                             received_type, comm);
}

} // extern "C"

namespace {

/// Calls `call`, which returns a status, with all calls of MPI failing on all ranks from the first, the second, ... on.
/// `check_unchanged` is called behind each failure.
template <class Call, class Check>
void each_message_may_fail(Call call, Check check_unchanged) {
    failed = true;
    for (std::size_t k = 1; failed; ++k) {
        calls = 0;
        failed = false;
        calls_before_failures = k;
        const int status = call();
        calls_before_failures = 0;
        ASSERT_EQ(status, failed ? -200 : 0) << "call " << k;
        if (failed)
            check_unchanged();
    }
}

distributed_mesh part_of(const whole_mesh& mesh) {
    return cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
}

/// The same for a function that changes a part.
template <class Call>
void each_message_may_fail(const whole_mesh& mesh, Call call) {
    const distributed_mesh before = part_of(mesh);
    distributed_mesh part;
    each_message_may_fail(
        [&] {
            part = before;
            return call(part);
        },
        [&] { EXPECT_TRUE(same_part(part, before)); });
}

} // namespace

TEST(Messages, FailuresOfCutting) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const whole_mesh& held = on_rank_0(mesh);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    each_message_may_fail(mesh, [&](distributed_mesh& part) {
        return distribute(held.pos, held.connectivity, ET_TH4, owners, part, MPI_COMM_WORLD);
    });
    each_message_may_fail(mesh, [&](distributed_mesh& part) {
        return partition(held.pos, held.connectivity, ET_TH4, part, MPI_COMM_WORLD);
    });
    each_message_may_fail(mesh, [&](distributed_mesh& part) { return find_shared_nodes(part, MPI_COMM_WORLD); });
}

TEST(Messages, FailuresOfGathering) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const distributed_mesh part = part_of(mesh);
    dense2D<double> pos, field(1, mesh.pos.cols(), 2.0), values;
    dense2D<unsigned> connectivity;
    const auto unchanged = [&] { EXPECT_TRUE(pos.empty() && connectivity.empty() && values.empty()); };
    each_message_may_fail([&] { return gather(part, pos, connectivity, MPI_COMM_WORLD); }, unchanged);
    pos.clear();
    connectivity.clear();
    each_message_may_fail([&] { return scatter_field(field, part, values, MPI_COMM_WORLD); }, unchanged);
    field.clear();
    each_message_may_fail([&] { return gather_field(values, part, field, MPI_COMM_WORLD); },
                          [&] { EXPECT_TRUE(field.empty()); });
}

TEST(Messages, FailuresOfConversionSplitAndSweep) {
    const whole_mesh solids = grid(ET_TH4, 2, 1, 1);
    each_message_may_fail(solids, [](distributed_mesh& part) { return convert_into_quadratic(part, MPI_COMM_WORLD); });
    each_message_may_fail(solids, [](distributed_mesh& part) { return split_into_H8(part, MPI_COMM_WORLD); });
    const dense2D<unsigned> edges;
    dense2D<unsigned> sides, cap;
    const vector_fixed<double, 3> up{0, 0, 1};
    each_message_may_fail(grid(ET_Q4, 2, 2, 0), [&](distributed_mesh& part) {
        return extrude_translate(part, up, 2, part, edges, sides, cap, MPI_COMM_WORLD);
    });
    each_message_may_fail(grid(ET_FACE_MIX, 2, 2, 0), [&](distributed_mesh& part) {
        return extrude_normal(part, 1.0, 2, part, edges, sides, cap, MPI_COMM_WORLD);
    });
    const vector_fixed<double, 3> beside{-1, 0, 0}, turn{0, 0.5, 0};
    each_message_may_fail(grid(ET_Q4, 2, 2, 0), [&](distributed_mesh& part) {
        return extrude_rotate(part, beside, turn, 2, part, edges, sides, cap, MPI_COMM_WORLD);
    });
    each_message_may_fail(grid(ET_T3, 2, 2, 0), [&](distributed_mesh& part) {
        return extrude_spiral(part, beside, turn, up, 2, part, edges, sides, cap, MPI_COMM_WORLD);
    });
    dense2D<double> line(3, 2, 0.0);
    line(2, 1) = 1;
    const dense1D<double, 8> sizes;
    each_message_may_fail(grid(ET_Q4, 2, 2, 0), [&](distributed_mesh& part) {
        return extrude_line(part, line, up, sizes, part, edges, sides, cap, MPI_COMM_WORLD);
    });
}

TEST(Messages, FailuresOfSearchesAndMeasures) {
    const distributed_mesh mesh = part_of(grid(ET_TH4, 2, 1, 1));
    const dense2D<double> points(3, 2, 0.4), field(1, mesh.pos.cols(), 2.0);
    dense1D<std::uint64_t, 8> elements;
    dense2D<double> local, values;
    double volume_of_all = 7, smallest = 7, largest = 7;
    each_message_may_fail(
        [&] { return get_elements_containing_points(mesh, points, elements, local, 1e-6, MPI_COMM_WORLD); },
        [&] { EXPECT_TRUE(elements.empty() && local.empty()); });
    elements.clear();
    each_message_may_fail([&] { return interpolate(mesh, field, points, values, elements, MPI_COMM_WORLD); },
                          [&] { EXPECT_TRUE(elements.empty() && values.empty()); });
    elements.clear();
    dense2D<double> metrics(6, mesh.pos.cols(), 0.0), carried(6, points.cols(), 7.0);
    for (std::size_t j = 0; j < metrics.cols(); ++j)
        metrics(0, j) = metrics(2, j) = metrics(5, j) = 1;
    each_message_may_fail(
        [&] { return interpolate_metrics(mesh, metrics, points, carried, elements, MPI_COMM_WORLD); },
        [&] { EXPECT_TRUE(elements.empty() && entries(carried) == std::vector<double>(carried.size(), 7.0)); });
    each_message_may_fail([&] { return volume(mesh, volume_of_all, MPI_COMM_WORLD); },
                          [&] { EXPECT_EQ(volume_of_all, 7); });
    each_message_may_fail([&] { return solid_angles(mesh, true, smallest, largest, MPI_COMM_WORLD); },
                          [&] { EXPECT_TRUE(smallest == 7 && largest == 7); });
    smallest = largest = 7;
    each_message_may_fail([&] { return dihedral_angles(mesh, true, smallest, largest, MPI_COMM_WORLD); },
                          [&] { EXPECT_TRUE(smallest == 7 && largest == 7); });
}
