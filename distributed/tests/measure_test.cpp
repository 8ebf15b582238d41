#include "exchange.h"
#include "parts.h"
#include "support/failing_alloc.h"

using namespace test;
using namespace quorl::meldra3d_mpi;
using quorl::meldra3d_mpi::detail::sum_of_all;

namespace {

constexpr element_type linear_solids[] = {ET_TH4, ET_PY5, ET_W6, ET_H8, ET_SOLID_MIX};

std::vector<dense1D<int, 8>> cuts_of(const whole_mesh& mesh) {
    const std::size_t n = mesh.connectivity.cols();
    return {blocks_of_owners(n, world_size()), scattered_owners(n, world_size()), dense1D<int, 8>(n, world_size() - 1)};
}

/// The smallest and the largest of the angles that the library gives.
template <class Angles>
std::pair<double, double> extremes(const whole_mesh& mesh, bool normalized, const Angles& angles) {
    dense1D<double> least(mesh.connectivity.cols()), most(mesh.connectivity.cols());
    EXPECT_EQ(angles(mesh.pos, mesh.connectivity, normalized, least, most), 0);
    return {*std::min_element(least.begin(), least.end()), *std::max_element(most.begin(), most.end())};
}

} // namespace

TEST(Measure, VolumeIsThatOfTheWhole) {
    for (const element_type type : linear_solids) {
        const whole_mesh mesh = shuffled(grid(type, 4, 3, 3));
        double expected = 0;
        ASSERT_EQ(meldra3d::volume(mesh.pos, mesh.connectivity, expected), 0);
        for (const dense1D<int, 8>& owners : cuts_of(mesh)) {
            double whole = -1;
            ASSERT_EQ(volume(cut(mesh, owners), whole, MPI_COMM_WORLD), 0);
            EXPECT_NEAR(whole, expected, 1e-13 * std::fabs(expected));
            double ordered = 0; // the parts in the order of ranks, to the bit
            for (int r = 0; r < world_size(); ++r) {
                const distributed_mesh part = cut(mesh, owners, r, world_size());
                double own = 0;
                ASSERT_EQ(meldra3d::volume(part.pos, part.connectivity, own), 0);
                ordered += own;
            }
            EXPECT_EQ(whole, ordered);
        }
    }
}

TEST(Measure, AnglesAreTheExtremesOfTheWhole) {
    for (const element_type type : linear_solids)
        for (const bool normalized : {false, true}) {
            const whole_mesh mesh = shuffled(grid(type, 4, 3, 3));
            for (const dense1D<int, 8>& owners : cuts_of(mesh)) {
                const distributed_mesh part = cut(mesh, owners);
                double smallest = -1, largest = -1;
                ASSERT_EQ(solid_angles(part, normalized, smallest, largest, MPI_COMM_WORLD), 0);
                EXPECT_EQ(std::pair(smallest, largest), extremes(mesh, normalized, meldra3d::solid_angles));
                ASSERT_EQ(dihedral_angles(part, normalized, smallest, largest, MPI_COMM_WORLD), 0);
                EXPECT_EQ(std::pair(smallest, largest), extremes(mesh, normalized, meldra3d::dihedral_angles));
            }
        }
}

TEST(Measure, GoesThroughMoreElementsThanABlock) {
    const whole_mesh mesh = grid(ET_TH4, 11, 10, 9);
    ASSERT_GT(mesh.connectivity.cols(), 4096u + 1000u);
    double smallest = -1, largest = -1;
    const distributed_mesh part = cut(mesh, dense1D<int, 8>(mesh.connectivity.cols(), 0));
    ASSERT_EQ(solid_angles(part, false, smallest, largest, MPI_COMM_WORLD), 0);
    EXPECT_EQ(std::pair(smallest, largest), extremes(mesh, false, meldra3d::solid_angles));
}

TEST(Measure, NothingHasNoVolumeAndNoAngles) {
    const distributed_mesh part = cut({dense2D<double>(3, 0), dense2D<unsigned>(4, 0), ET_TH4}, {});
    double vol = 5, smallest = 5, largest = 5;
    EXPECT_EQ(volume(part, vol, MPI_COMM_WORLD), 0);
    EXPECT_EQ(vol, 0);
    EXPECT_EQ(dihedral_angles(part, true, smallest, largest, MPI_COMM_WORLD), 0);
    EXPECT_EQ(smallest, std::numeric_limits<double>::infinity());
    EXPECT_EQ(largest, -std::numeric_limits<double>::infinity());
}

TEST(Measure, AFaultOnOneRankIsReturnedByAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 2, 2);
    const auto expect_status = [&](int faulty, int expected, auto spoil) {
        distributed_mesh part = deep_copy(cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size())));
        if (world_rank() == faulty)
            spoil(part);
        double vol = 7, smallest = 7, largest = 7;
        EXPECT_EQ(volume(part, vol, MPI_COMM_WORLD), expected);
        EXPECT_EQ(solid_angles(part, true, smallest, largest, MPI_COMM_WORLD), expected);
        EXPECT_EQ(dihedral_angles(part, true, smallest, largest, MPI_COMM_WORLD), expected);
        EXPECT_TRUE(vol == 7 && smallest == 7 && largest == 7);
    };
    for (int rank = 0; rank < world_size(); ++rank) {
        expect_status(rank, -2, [](distributed_mesh& part) { part.type = ET_TH10; });
        expect_status(rank, -2, [](distributed_mesh& part) { part.type = ET_T3; });
        expect_status(rank, -20, [](distributed_mesh& part) { part.elements = 1; });
    }
}

TEST(Measure, LackOfMemoryOnOneRankReturnsOnAll) {
    const whole_mesh mesh = grid(ET_TH4, 2, 2, 2);
    const distributed_mesh part = cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
    for (int failing = 0; failing < world_size(); ++failing)
        for (unsigned measure = 0; measure < 3; ++measure) {
            std::uint64_t failures = 1;
            for (std::size_t k = 1; failures != 0; ++k) {
                double one = 7, other = 7;
                if (world_rank() == failing)
                    fail_allocation(k);
                const int status = measure == 0   ? volume(part, one, MPI_COMM_WORLD)
                                   : measure == 1 ? solid_angles(part, false, one, other, MPI_COMM_WORLD)
                                                  : dihedral_angles(part, false, one, other, MPI_COMM_WORLD);
                failures = sum_of_all(stop_failing(), MPI_COMM_WORLD);
                ASSERT_EQ(status, failures != 0 ? -199 : 0) << "allocation " << k << " of rank " << failing;
                ASSERT_TRUE(failures == 0 || (one == 7 && other == 7));
            }
        }
}
