#include "check_part.h"
#include "cuts.h"
#include "failures.h"

using namespace test;
using meldra3d_mpi::split_into_H8;

namespace {

/// A grid of wedges and hexahedra; of other types one that its name tells.
whole_mesh grid_to_split(element_type type, unsigned nx, unsigned ny, unsigned nz) {
    whole_mesh mesh = grid(type, nx, ny, type == ET_SOLID_MIX ? std::min(nz, 2U) : nz); // pyramids come in the third
    return shuffled(mesh, nx + 3 * ny);
}

std::size_t pieces_of(const whole_mesh& mesh, std::size_t element) {
    const std::vector<unsigned> nodes = column(mesh.connectivity, element);
    return static_cast<std::size_t>(std::find(nodes.begin(), nodes.end(), no_node) - nodes.begin());
}

whole_mesh split(const whole_mesh& mesh) {
    whole_mesh result;
    result.pos.copy(mesh.pos);
    result.type = ET_H8;
    dense2D<unsigned> faces, edges;
    EXPECT_EQ(meldra3d::split_into_H8(result.pos, mesh.connectivity, result.connectivity, faces, edges), 0);
    return result;
}

constexpr element_type types[] = {ET_TH4, ET_W6, ET_H8, ET_SOLID_MIX};

} // namespace

TEST(MpiSplit, AsTheSerialOne) {
    for (const element_type type : types) {
        const whole_mesh mesh = grid_to_split(type, 3, 2, 2);
        const whole_mesh expected = split(mesh);
        for (const dense1D<int, 8>& owners : many_owners(mesh.connectivity.cols())) {
            const auto pieces_owners = owners_of_pieces(owners, [&](std::size_t j) { return pieces_of(mesh, j); });
            distributed_mesh part = cut(mesh, owners);
            ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
            EXPECT_EQ(meldra3d_mpi::detail::check_part(part, MPI_COMM_WORLD), 0);
            EXPECT_TRUE(same_part(part, cut(expected, pieces_owners))) << "type " << type;
            EXPECT_TRUE(make_up(part, expected));

            distributed_mesh disordered = in_disorder(cut(mesh, owners));
            ASSERT_EQ(split_into_H8(disordered, MPI_COMM_WORLD), 0);
            EXPECT_TRUE(same_part(in_order(disordered), cut(expected, pieces_owners))) << "type " << type;
        }
    }
}

TEST(MpiSplit, RandomCuts) {
    std::mt19937 random(5);
    const auto cells = [&] { return static_cast<unsigned>(1 + random() % 3); };
    for (unsigned round = 0; round < 30; ++round) {
        const unsigned nx = cells(), ny = cells(), nz = cells();
        const whole_mesh mesh = grid_to_split(types[random() % 4], nx, ny, nz);
        const dense1D<int, 8> owners =
            scattered_owners(mesh.connectivity.cols(), world_size(), static_cast<unsigned>(random()));
        distributed_mesh part = cut(mesh, owners);
        ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
        const auto pieces_owners = owners_of_pieces(owners, [&](std::size_t j) { return pieces_of(mesh, j); });
        EXPECT_TRUE(same_part(part, cut(split(mesh), pieces_owners))) << nx << " x " << ny << " x " << nz;
    }
}

TEST(MpiSplit, TangledElements) {
    const std::map<element_type, std::vector<std::size_t>> rows{
        {ET_TH4, {4}}, {ET_W6, {6}}, {ET_H8, {8}}, {ET_SOLID_MIX, {6, 8}}};
    for (unsigned seed = 1; seed <= 5; ++seed)
        for (const element_type type : types) {
            const whole_mesh mesh = tangle(type, rows.at(type), seed);
            const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size(), seed);
            distributed_mesh part = cut(mesh, owners);
            ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
            const auto pieces_owners = owners_of_pieces(owners, [&](std::size_t j) { return pieces_of(mesh, j); });
            EXPECT_TRUE(same_part(part, cut(split(mesh), pieces_owners))) << "type " << type << ", seed " << seed;
        }
}

TEST(MpiSplit, MixedPartsOfWedgesInFewerRowsThanOthers) {
    const whole_mesh mesh = grid_to_split(ET_SOLID_MIX, 2, 2, 2);
    dense1D<int, 8> owners(mesh.connectivity.cols(), 0);
    for (std::size_t j = 0; j < owners.size(); ++j)
        owners[j] = pieces_of(mesh, j) == 8 ? 0 : static_cast<int>(j) % world_size();
    distributed_mesh part = in_fewest_rows(cut(mesh, owners));
    ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
    const auto pieces_owners = owners_of_pieces(owners, [&](std::size_t j) { return pieces_of(mesh, j); });
    EXPECT_TRUE(same_part(part, cut(split(mesh), pieces_owners)));
}

TEST(MpiSplit, TwiceAndThenConverted) {
    const whole_mesh mesh = grid_to_split(ET_SOLID_MIX, 1, 2, 2);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    distributed_mesh part = cut(mesh, owners);
    ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
    ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
    ASSERT_EQ(meldra3d_mpi::convert_into_quadratic(part, MPI_COMM_WORLD), 0);
    const auto pieces_owners = owners_of_pieces(owners, [&](std::size_t j) { return 8 * pieces_of(mesh, j); });
    EXPECT_TRUE(same_part(part, cut(quadratic(split(split(mesh))), pieces_owners)));
}

TEST(MpiSplit, GlobalIDsWithGaps) {
    const whole_mesh mesh = grid_to_split(ET_SOLID_MIX, 2, 2, 2);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    distributed_mesh expected = cut(mesh, owners), part = cut(mesh, owners);
    for (std::uint64_t& id : part.element_ids)
        id = 5 * id + 1;
    part.elements = std::uint64_t(1) << 50;
    ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
    ASSERT_EQ(split_into_H8(expected, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, expected)) << "the pieces are numbered without gaps";
}

TEST(MpiSplit, RanksWithoutElementsButWithNodes) {
    const whole_mesh mesh = grid(ET_W6, 2, 1, 1);
    distributed_mesh part = with_lookers_on(mesh);
    ASSERT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, with_lookers_on(split(mesh))));
}

TEST(MpiSplit, AnEmptyMeshStays) {
    distributed_mesh part;
    part.type = ET_PY5;
    EXPECT_EQ(split_into_H8(part, MPI_COMM_WORLD), 0) << "nothing is checked";
    EXPECT_EQ(part.type, ET_PY5);
}

TEST(MpiSplit, AFaultOnOneRankIsTheStatusOfAll) {
    const whole_mesh mesh = grid_to_split(ET_SOLID_MIX, 2, 2, 2);
    const distributed_mesh before = cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
    for (int faulty = 0; faulty < world_size(); ++faulty) {
        const auto expect_status = [&](int status, const auto& spoil) {
            distributed_mesh part = deep_copy(before);
            if (faulty == world_rank())
                spoil(part);
            const distributed_mesh given = deep_copy(part);
            EXPECT_EQ(split_into_H8(part, MPI_COMM_WORLD), status);
            EXPECT_TRUE(same_part(part, given));
        };
        expect_status(-2, [](distributed_mesh& part) { part.type = ET_PY5; });
        expect_status(-2, [](distributed_mesh& part) { part.type = ET_NONE; });
        expect_status(-2, [](distributed_mesh& part) {
            for (unsigned i = 5; i < 8; ++i)
                part.connectivity(i, 0) = no_node; // a pyramid
        });
        expect_status(-2, [](distributed_mesh& part) {
            for (unsigned i = 4; i < 8; ++i)
                part.connectivity(i, 0) = no_node; // a tetrahedron
            part.connectivity(0, 0) = 1000;
        });
        expect_status(-20, [](distributed_mesh& part) { part.connectivity(0, 0) = 1000; });
        expect_status(-20, [](distributed_mesh& part) { part.element_ids[0] = part.elements; });
        if (world_size() > 1)
            expect_status(-20, [](distributed_mesh& part) { part.type = ET_H8; });
    }
}

TEST(MpiSplit, WithoutMemoryOnOneRankNothingChanges) {
    const whole_mesh mesh = grid_to_split(ET_SOLID_MIX, 1, 2, 2);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    const distributed_mesh given = cut(mesh, owners), copy = cut(mesh, owners);
    distributed_mesh part;
    each_failure_returns_on_all(
        [&] {
            part = given; // shares its storage: needs no memory
            return split_into_H8(part, MPI_COMM_WORLD);
        },
        [&] { EXPECT_TRUE(same_part(part, copy)); });
}
