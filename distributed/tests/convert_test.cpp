#include "check_part.h"
#include "cuts.h"
#include "delaunay.h"
#include "failures.h"

using namespace test;
using meldra3d_mpi::convert_into_high_order;
using meldra3d_mpi::convert_into_quadratic;

namespace {

/// Nodes inside each edge, quadrangle, triangle, hexahedron, tetrahedron, wedge and pyramid.
struct counts {
    unsigned nE, nQ, nT, nH, nTH, nX, nY;
};

constexpr counts for_quadratic{1, 1, 0, 1, 0, 0, 0};
constexpr counts one_each{1, 1, 1, 1, 1, 1, 1};
constexpr counts many_counts[] = {for_quadratic,         one_each,
                                  {1, 0, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 0, 0, 0},
                                  {0, 0, 1, 0, 0, 0, 0}, {0, 0, 0, 1, 1, 1, 1},
                                  {2, 4, 1, 8, 1, 2, 1}, {3, 9, 3, 27, 1, 9, 1},
                                  {2, 4, 3, 8, 0, 5, 1}, {3, 4, 0, 1, 0, 7, 0},
                                  {0, 4, 3, 8, 1, 2, 1}, {5, 25, 3, 1, 1, 15, 0}};

constexpr element_type solid_types[] = {ET_TH4, ET_PY5, ET_W6, ET_H8, ET_SOLID_MIX};

whole_mesh converted(const whole_mesh& mesh, const counts& n) {
    whole_mesh result;
    result.pos.copy(mesh.pos);
    dense2D<unsigned> faces, edges;
    EXPECT_EQ(meldra3d::convert_into_high_order(result.pos, mesh.connectivity, n.nE, n.nQ, n.nT, n.nH, n.nTH, n.nX,
                                                n.nY, result.connectivity, faces, edges),
              0);
    return result;
}

int convert(distributed_mesh& part, const counts& n) {
    return convert_into_high_order(part, n.nE, n.nQ, n.nT, n.nH, n.nTH, n.nX, n.nY, MPI_COMM_WORLD);
}

/// Compares the converted parts with those cut from the converted whole.
void expect_serial(const whole_mesh& mesh, const dense1D<int, 8>& owners, const counts& n) {
    whole_mesh expected = converted(mesh, n);
    distributed_mesh part = cut(mesh, owners);
    ASSERT_EQ(convert(part, n), 0);
    EXPECT_EQ(meldra3d_mpi::detail::check_part(part, MPI_COMM_WORLD), 0);
    expected.type = part.type;
    EXPECT_TRUE(same_part(part, cut(expected, owners))) << "type " << mesh.type << ", nE " << n.nE << ", nQ " << n.nQ;
    EXPECT_TRUE(make_up(part, expected));
}

} // namespace

TEST(MpiConvert, EveryKindAndOrderAsTheSerialOne) {
    for (const element_type type : solid_types) {
        const whole_mesh mesh = shuffled(grid(type, 3, 2, 3));
        const std::vector<dense1D<int, 8>> owners = many_owners(mesh.connectivity.cols());
        std::size_t next = 0;
        for (const counts& n : many_counts)
            expect_serial(mesh, owners[next++ % owners.size()], n);
    }
}

TEST(MpiConvert, EveryCutAsTheSerialOne) {
    for (const element_type type : solid_types)
        for (const whole_mesh& mesh : {grid(type, 2, 2, 3), shuffled(grid(type, 2, 2, 3), 5)})
            for (const dense1D<int, 8>& owners : many_owners(mesh.connectivity.cols()))
                for (const counts& n : {for_quadratic, counts{2, 4, 3, 8, 1, 6, 1}})
                    expect_serial(mesh, owners, n);
}

TEST(MpiConvert, DelaunayMeshes) {
    const whole_mesh mesh = delaunay_mesh(80);
    for (const dense1D<int, 8>& owners : many_owners(mesh.connectivity.cols()))
        for (const counts& n : {for_quadratic, counts{2, 0, 3, 0, 1, 0, 0}})
            expect_serial(mesh, owners, n);
}

TEST(MpiConvert, PartsInAnyOrder) {
    for (const element_type type : solid_types) {
        const whole_mesh mesh = shuffled(grid(type, 2, 2, 3));
        const counts n{2, 4, 3, 8, 1, 5, 1};
        for (const dense1D<int, 8>& owners : many_owners(mesh.connectivity.cols())) {
            const distributed_mesh before = in_disorder(cut(mesh, owners));
            distributed_mesh part = before;
            ASSERT_EQ(convert(part, n), 0);
            EXPECT_EQ(entries(part.element_ids), entries(before.element_ids));
            EXPECT_TRUE(same_bits(part.pos.sub(0, 0, 3, before.pos.cols()), before.pos));
            EXPECT_TRUE(std::is_sorted(part.node_ids.begin() + before.node_ids.size(), part.node_ids.end()));
            whole_mesh expected = converted(mesh, n);
            expected.type = part.type;
            EXPECT_TRUE(same_part(in_order(part), cut(expected, owners)));
        }
    }
}

TEST(MpiConvert, RandomCuts) {
    std::mt19937 random(11);
    for (unsigned round = 0; round < 60; ++round) {
        const element_type type = solid_types[random() % 5];
        const auto cells = [&] { return unsigned(1 + random() % 3); };
        const unsigned nx = cells(), ny = cells(), nz = cells();
        const whole_mesh mesh = shuffled(grid(type, nx, ny, nz), static_cast<unsigned>(random()));
        dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size(), unsigned(random()));
        expect_serial(mesh, owners, many_counts[random() % std::size(many_counts)]);
    }
}

TEST(MpiConvert, TangledElements) {
    const std::map<element_type, std::vector<std::size_t>> rows{
        {ET_TH4, {4}}, {ET_PY5, {5}}, {ET_W6, {6}}, {ET_H8, {8}}, {ET_SOLID_MIX, {4, 5, 6, 8}}};
    for (unsigned seed = 1; seed <= 12; ++seed)
        for (const element_type type : solid_types) {
            const whole_mesh mesh = tangle(type, rows.at(type), seed);
            const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size(), seed);
            expect_serial(mesh, owners, many_counts[(seed + unsigned(type)) % std::size(many_counts)]);
        }
}

TEST(MpiConvert, GlobalIDsWithGaps) {
    // Elements and nodes that no rank has: the others are numbered as if these were not there.
    const whole_mesh mesh = shuffled(grid(ET_TH4, 2, 2, 2));
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    distributed_mesh expected = cut(mesh, owners), part = cut(mesh, owners);
    ASSERT_EQ(convert_into_quadratic(expected, MPI_COMM_WORLD), 0);
    const std::uint64_t far = std::uint64_t(1) << 40;
    for (std::uint64_t& id : part.element_ids)
        id = 3 * id + far;
    part.elements = 3 * part.elements + far;
    part.nodes += far;
    ASSERT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0);
    for (std::uint64_t& id : part.element_ids)
        id = (id - far) / 3;
    for (std::uint64_t& id : part.node_ids)
        id = id < mesh.pos.cols() ? id : id - far;
    part.elements = expected.elements;
    part.nodes -= far;
    EXPECT_TRUE(same_part(part, expected));
}

TEST(MpiConvert, NodesThatNoElementNamesStay) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    const distributed_mesh plain = cut(mesh, owners);
    // All ranks get a node of the whole mesh that none of their elements needs, and so share it.
    distributed_mesh part = deep_copy(plain), expected = deep_copy(plain);
    ASSERT_EQ(convert_into_quadratic(expected, MPI_COMM_WORLD), 0);
    const double x[3] = {7, 8, 9};
    part.pos.append(x);
    part.node_ids.push_back(mesh.pos.cols());
    part.nodes += 1;
    part.shared_nodes.clear();
    part.first_shared.clear();
    part.neighbor_ranks.clear();
    for (int rank = 0; rank < world_size(); ++rank) {
        if (rank == world_rank())
            continue;
        part.neighbor_ranks.push_back(rank);
        part.first_shared.push_back(part.shared_nodes.size());
        for (std::size_t n = 0; n < plain.neighbor_ranks.size(); ++n)
            for (std::uint64_t k = plain.first_shared[n];
                 plain.neighbor_ranks[n] == rank && k < plain.first_shared[n + 1]; ++k)
                part.shared_nodes.push_back(plain.shared_nodes[k]);
        part.shared_nodes.push_back(static_cast<unsigned>(plain.pos.cols()));
    }
    part.first_shared.push_back(part.shared_nodes.size());
    ASSERT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0);
    ASSERT_EQ(part.pos.cols(), expected.pos.cols() + 1);
    EXPECT_EQ(column(part.pos, plain.pos.cols()), (std::vector<double>{7, 8, 9}));
    for (std::size_t j = 0; j < expected.pos.cols(); ++j) {
        const std::size_t k = j < plain.pos.cols() ? j : j + 1;
        EXPECT_EQ(column(part.pos, k), column(expected.pos, j));
        EXPECT_EQ(part.node_ids[k], expected.node_ids[j] + (j < plain.pos.cols() ? 0 : 1));
    }
}

TEST(MpiConvert, RanksWithoutElementsButWithNodes) {
    const whole_mesh mesh = grid(ET_TH4, 2, 1, 1);
    distributed_mesh part = with_lookers_on(mesh);
    ASSERT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, with_lookers_on(quadratic(mesh))));
}

TEST(MpiConvert, TypesOfTheResult) {
    const auto type_of = [](element_type type, const counts& n) {
        const whole_mesh mesh = grid(type, 1, 1, 3);
        distributed_mesh part = cut(mesh, dense1D<int, 8>(mesh.connectivity.cols(), 0)); // other ranks are empty
        EXPECT_EQ(convert(part, n), 0);
        return part.type;
    };
    EXPECT_EQ(type_of(ET_TH4, for_quadratic), ET_TH10);
    EXPECT_EQ(type_of(ET_PY5, for_quadratic), ET_PY14);
    EXPECT_EQ(type_of(ET_W6, for_quadratic), ET_W18);
    EXPECT_EQ(type_of(ET_H8, for_quadratic), ET_H27);
    EXPECT_EQ(type_of(ET_SOLID_MIX, for_quadratic), ET_SOLID_MIX_Q);
    constexpr counts serendipity{1, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(type_of(ET_TH4, serendipity), ET_TH10);
    EXPECT_EQ(type_of(ET_PY5, serendipity), ET_PY13);
    EXPECT_EQ(type_of(ET_W6, serendipity), ET_W15);
    EXPECT_EQ(type_of(ET_H8, serendipity), ET_H20);
    EXPECT_EQ(type_of(ET_SOLID_MIX, serendipity), ET_SOLID_MIX_Q);
    for (const element_type type : solid_types) {
        EXPECT_EQ(type_of(type, one_each), type == ET_H8 ? ET_H27 : ET_NONE);
        EXPECT_EQ(type_of(type, {2, 4, 3, 8, 1, 6, 1}), ET_NONE);
        EXPECT_EQ(type_of(type, {2, 0, 0, 0, 0, 0, 0}), ET_NONE);
        EXPECT_EQ(type_of(type, {0, 1, 1, 0, 0, 0, 0}), ET_NONE);
    }
    EXPECT_EQ(type_of(ET_H8, {1, 1, 0, 0, 0, 0, 0}), ET_NONE);
    EXPECT_EQ(type_of(ET_H8, {1, 0, 0, 1, 0, 0, 0}), ET_NONE);
    EXPECT_EQ(type_of(ET_SOLID_MIX, {1, 1, 0, 0, 0, 0, 0}), ET_NONE);
    EXPECT_EQ(type_of(ET_PY5, {1, 4, 0, 0, 0, 0, 0}), ET_NONE);
    EXPECT_EQ(type_of(ET_TH4, {0, 1, 0, 1, 0, 1, 1}), ET_TH4) << "tetrahedra get no nodes";
    EXPECT_EQ(type_of(ET_H8, {0, 0, 0, 0, 1, 1, 1}), ET_H8);
    EXPECT_EQ(type_of(ET_H8, {0, 0, 3, 0, 0, 0, 0}), ET_NONE) << "the rows are those of larger wedges";
    EXPECT_EQ(type_of(ET_TH4, {1, 9, 0, 8, 0, 3, 1}), ET_TH10) << "what other kinds get does not count";
}

TEST(MpiConvert, AMixedMeshOfOneKindInFewerRows) {
    for (const element_type type : {ET_TH4, ET_PY5, ET_W6}) {
        const whole_mesh mesh = grid(type, 2, 2, 2);
        const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
        distributed_mesh part = cut(mesh, owners), expected = cut(mesh, owners);
        part.type = ET_SOLID_MIX;
        ASSERT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0);
        ASSERT_EQ(convert_into_quadratic(expected, MPI_COMM_WORLD), 0);
        EXPECT_TRUE(same_part(part, expected));
    }
}

TEST(MpiConvert, MixedPartsOfOneKindInFewerRowsThanOthers) {
    const whole_mesh mesh = grid(ET_SOLID_MIX, 2, 1, 3); // layers of hexahedra, wedges and pyramids
    const std::size_t n = mesh.connectivity.cols();
    dense1D<int, 8> owners(n, 0);
    for (std::size_t j = 0; j < n; ++j)
        owners[j] = std::min(mesh.connectivity(6, j) != no_node   ? 2
                             : mesh.connectivity(5, j) != no_node ? 1
                                                                  : 0,
                             world_size() - 1);
    whole_mesh expected = quadratic(mesh);
    distributed_mesh part = in_fewest_rows(cut(mesh, owners));
    ASSERT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, cut(expected, owners)));

    // Wedges on one rank and pyramids on the other: no part has 8 rows.
    dense2D<unsigned> without_hexahedra(8, 0);
    for (std::size_t j = 0; j < n; ++j)
        if (mesh.connectivity(6, j) == no_node)
            without_hexahedra.append(mesh.connectivity.col(j));
    const whole_mesh smaller{mesh.pos, without_hexahedra, ET_SOLID_MIX};
    dense1D<int, 8> two(without_hexahedra.cols(), 0);
    for (std::size_t j = 0; j < two.size(); ++j)
        two[j] = std::min(smaller.connectivity(5, j) == no_node ? 1 : 0, world_size() - 1);
    part = in_fewest_rows(cut(smaller, two));
    ASSERT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_part(part, cut(quadratic(smaller), two)));
}

TEST(MpiConvert, OnACommunicatorOfItsOwn) {
    // Ranks in the opposite order, and two groups that work on different meshes at the same time.
    const int group = world_rank() % 2;
    MPI_Comm comm = MPI_COMM_NULL;
    MPI_Comm_split(MPI_COMM_WORLD, group, -world_rank(), &comm);
    int rank = 0, ranks = 0;
    MPI_Comm_rank(comm, &rank);
    MPI_Comm_size(comm, &ranks);
    const whole_mesh mesh = grid(group == 0 ? ET_TH4 : ET_H8, 3, 2, 2);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), ranks);
    distributed_mesh part = cut(mesh, owners, rank, ranks);
    EXPECT_EQ(convert_into_quadratic(part, comm), 0);
    EXPECT_TRUE(same_part(part, cut(quadratic(mesh), owners, rank, ranks)));
    MPI_Comm_free(&comm);
}

TEST(MpiConvert, IDsThatDoNotFit) {
    const whole_mesh mesh = grid(ET_TH4, 2, 2, 1);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    distributed_mesh part = cut(mesh, owners);
    const std::uint64_t added = quadratic(mesh).pos.cols() - mesh.pos.cols();
    part.nodes = meldra3d_mpi::no_id - added + 1;
    const distributed_mesh before = deep_copy(part);
    EXPECT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), -199);
    EXPECT_TRUE(same_part(part, before));
    part.nodes -= 1;
    EXPECT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), 0) << "the last ID is below the one that stands for none";
    EXPECT_EQ(part.nodes, meldra3d_mpi::no_id);
}

TEST(MpiConvert, NothingToDo) {
    const whole_mesh mesh = grid(ET_H8, 2, 2, 2);
    const distributed_mesh before = cut(mesh, blocks_of_owners(mesh.connectivity.cols(), world_size()));
    distributed_mesh part = deep_copy(before);
    EXPECT_EQ(convert(part, {0, 0, 0, 0, 0, 0, 0}), 0);
    EXPECT_TRUE(same_part(part, before));
    distributed_mesh empty;
    EXPECT_EQ(convert(empty, {1, 2, 2, 2, 2, 0, 2}), 0) << "nothing is checked";
    EXPECT_EQ(empty.type, ET_NONE);
}

TEST(MpiConvert, AFaultOnOneRankIsTheStatusOfAll) {
    const whole_mesh mesh = grid(ET_SOLID_MIX, 2, 2, 3);
    const distributed_mesh before = cut(mesh, blocks_of_owners(mesh.connectivity.cols(), world_size()));
    for (int faulty = 0; faulty < world_size(); ++faulty) {
        const bool here = faulty == world_rank();
        const auto expect_status = [&](int status, const counts& n, const auto& spoil) {
            distributed_mesh part = deep_copy(before);
            if (here)
                spoil(part);
            const distributed_mesh given = deep_copy(part);
            EXPECT_EQ(convert(part, here ? n : for_quadratic), status);
            EXPECT_TRUE(same_part(part, given));
        };
        const auto nothing = [](distributed_mesh&) {};
        expect_status(-2, for_quadratic, [](distributed_mesh& part) { part.type = ET_TH10; });
        expect_status(-2, for_quadratic, [](distributed_mesh& part) { part.type = element_type(99); });
        expect_status(-4, {1, 2, 0, 1, 0, 0, 0}, nothing);
        expect_status(-5, {1, 1, 2, 1, 0, 0, 0}, nothing);
        expect_status(-6, {1, 1, 0, 2, 0, 0, 0}, nothing);
        expect_status(-7, {1, 1, 0, 1, 2, 0, 0}, nothing);
        expect_status(-9, {1, 1, 0, 1, 0, 0, 2}, nothing);
        expect_status(-4, {1, 3, 2, 1, 0, 0, 0}, nothing);
        if (world_size() > 1) { // counts that are right but not those of the others
            expect_status(-3, {2, 1, 0, 1, 0, 0, 0}, nothing);
            expect_status(-4, {1, 4, 0, 1, 0, 0, 0}, nothing);
            expect_status(-8, {1, 1, 0, 1, 0, 3, 0}, nothing);
            expect_status(-3, {0, 0, 0, 0, 0, 0, 0}, nothing);
            expect_status(-20, for_quadratic, [](distributed_mesh& part) { part.nodes += 1; });
            expect_status(-20, for_quadratic, [](distributed_mesh& part) { part.elements += 1; });
        }
        expect_status(-20, for_quadratic, [](distributed_mesh& part) { part.type = ET_H8; });
        expect_status(-20, for_quadratic, [](distributed_mesh& part) { part.connectivity(0, 0) = 1000; });
        expect_status(-20, for_quadratic, [](distributed_mesh& part) { part.node_ids[0] = part.node_ids[1]; });
        expect_status(-20, for_quadratic, [](distributed_mesh& part) { part.pos.resize(2, part.pos.cols()); });
    }
    for (const counts& n : {counts{1, 2, 2, 2, 2, 0, 2}, counts{1, 1, 2, 2, 2, 0, 2}, counts{1, 1, 3, 2, 2, 0, 2},
                            counts{1, 1, 3, 8, 2, 0, 2}, counts{1, 1, 3, 8, 1, 0, 2}}) {
        distributed_mesh part = deep_copy(before);
        const int status = n.nQ == 2 ? -4 : n.nT == 2 ? -5 : n.nH == 2 ? -6 : n.nTH == 2 ? -7 : -9;
        EXPECT_EQ(convert(part, n), status);
    }
}

TEST(MpiConvert, ListsThatDoNotSuitEachOther) {
    if (world_size() == 1)
        return;
    // Rank 0 does not know that it shares nodes with those that send it their elements.
    const whole_mesh mesh = grid(ET_H8, 2, 2, 2);
    distributed_mesh part = cut(mesh, scattered_owners(mesh.connectivity.cols(), world_size()));
    if (world_rank() == 0) {
        part.neighbor_ranks.clear();
        part.first_shared.clear();
        part.shared_nodes.clear();
    }
    EXPECT_EQ(convert_into_quadratic(part, MPI_COMM_WORLD), -20);
}

TEST(MpiConvert, WithoutMemoryOnOneRankNothingChanges) {
    const whole_mesh mesh = grid(ET_SOLID_MIX, 1, 2, 3);
    const dense1D<int, 8> owners = scattered_owners(mesh.connectivity.cols(), world_size());
    const distributed_mesh given = in_disorder(cut(mesh, owners)); // its checks sort
    const distributed_mesh copy = deep_copy(given);
    distributed_mesh part;
    each_failure_returns_on_all(
        [&] {
            part = given; // shares its storage: needs no memory
            return convert(part, {2, 4, 3, 8, 1, 5, 1});
        },
        [&] { EXPECT_TRUE(same_part(part, copy)); });
}
