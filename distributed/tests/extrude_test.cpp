#include <functional>

#include "check_part.h"
#include "cuts.h"
#include "failures.h"

using namespace test;

namespace {

using id_matrix = dense2D<unsigned>;
using vec3 = vector_fixed<double, 3>;

/// One of the sweeps, as a serial call and as a call on parts.
struct sweep {
    const char* name;
    std::size_t layers;
    std::function<int(dense2D<double>&, const id_matrix&, id_matrix&, const id_matrix&, id_matrix&, id_matrix&)> serial;
    std::function<int(const distributed_mesh&, distributed_mesh&, const id_matrix&, id_matrix&, id_matrix&)> parts;
    bool sums_faces = false; ///< in an order that depends on all faces where there are triangles and quadrangles
};

constexpr vec3 dir{0.3, -0.2, 1.5}, axis{-3, 0.5, 0}, rotation{0.1, 0.9, 0.2}, shift{0.2, 0.1, 2};

/// Vectors of their own for nodes, by their global IDs.
dense2D<double> shifts_of(const std::vector<std::uint64_t>& ids) {
    dense2D<double> shifts(3, ids.size());
    for (std::size_t j = 0; j < ids.size(); ++j)
        for (unsigned i = 0; i < 3; ++i)
            shifts(i, j) = 0.01 * double(ids[j]) + i;
    return shifts;
}

dense2D<double> line_points() {
    return points({{0, 0, 0}, {0.2, 0.1, 1}, {0.9, 0.1, 1.8}, {2, 0.3, 2}});
}

dense2D<double> line_metrics() {
    return columns<double>({{1, 0, 1, 0, 0, 1}, {2, 0.1, 3, 0, 0.2, 1}, {1, 0, 1, 0, 0, 4}, {3, 1, 3, 1, 1, 3}});
}

/// The nodes of a line as the last ones of `pos`.
dense1D<unsigned, 8> last_nodes(const dense2D<double>& pos) {
    const auto n = static_cast<unsigned>(pos.cols());
    return {n - 4, n - 3, n - 2, n - 1};
}

const MPI_Comm world = MPI_COMM_WORLD;

// In the order of the serial arguments: pos, faces, solids, edges, sides, cap.
#define SERIAL                                                                                                         \
    [=](dense2D<double> & p, const id_matrix& f, id_matrix& e, const id_matrix& s, id_matrix& q, id_matrix& t)
#define PARTS [=](const distributed_mesh& f, distributed_mesh& e, const id_matrix& s, id_matrix& q, id_matrix& t)

std::vector<sweep> sweeps_in_sizes() {
    return {{"translate", 3, SERIAL{return meldra3d::extrude_translate(p, f, dir, 0.4, 0.6, false, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_translate(f, dir, 0.4, 0.6, false, e, s, q, t, world);
}
} // namespace
, {"translate, even", 4, SERIAL{return meldra3d::extrude_translate(p, f, dir, 0.4, 0.4, true, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_translate(f, dir, 0.4, 0.4, true, e, s, q, t, world);
}
}
, {"rotate", 0, SERIAL{return meldra3d::extrude_rotate(p, f, axis, rotation, 0.9, 1.4, false, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_rotate(f, axis, rotation, 0.9, 1.4, false, e, s, q, t, world);
}
}
, {"spiral", 2, SERIAL{return meldra3d::extrude_spiral(p, f, axis, rotation, shift, 0.7, 1.2, true, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_spiral(f, axis, rotation, shift, 0.7, 1.2, true, e, s, q, t, world);
}
}
, {
    "normal", 3, SERIAL {
        return meldra3d::extrude_normal(p, f, 1.3, 0.3, 0.6, false, e, s, q, t);
    }
    , PARTS {
        return meldra3d_mpi::extrude_normal(f, 1.3, 0.3, 0.6, false, e, s, q, t, world);
    }
    , true
}
}
;
}

std::vector<sweep> sweeps_in_equal_layers(unsigned n) {
    return {{"translate, equal", n, SERIAL{return meldra3d::extrude_translate(p, f, dir, n, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_translate(f, dir, n, e, s, q, t, world);
}
}
, {"rotate, equal", n, SERIAL{return meldra3d::extrude_rotate(p, f, axis, rotation, n, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_rotate(f, axis, rotation, n, e, s, q, t, world);
}
}
, {"spiral, equal", n, SERIAL{return meldra3d::extrude_spiral(p, f, axis, rotation, shift, n, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_spiral(f, axis, rotation, shift, n, e, s, q, t, world);
}
}
, {"normal, equal", n, SERIAL{return meldra3d::extrude_normal(p, f, 1.3, n, e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_normal(f, 1.3, n, e, s, q, t, world);
}
, true
}
, {
    "shifts", n, SERIAL {
        std::vector<std::uint64_t> ids(p.cols());
        std::iota(ids.begin(), ids.end(), std::uint64_t(0));
        return meldra3d::extrude_normal(p, f, shifts_of(ids), n, e, s, q, t);
    }
    , PARTS {
        const dense2D<double> shifts = shifts_of(entries(f.node_ids));
        return meldra3d_mpi::extrude_normal(f, shifts, n, e, s, q, t, world);
    }
}
}
;
}

std::vector<sweep> sweeps_along_lines() {
    const dense1D<double, 8> sizes{1, 1.5, 0.5, 2};
    return {{"line, metrics", 3,
             SERIAL{return meldra3d::extrude_line(p, f, last_nodes(p), {0, 0, 1}, line_metrics(), e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_line(f, line_points(), {0, 0, 1}, line_metrics(), e, s, q, t, world);
}
}
, {"line, no metrics", 3,
   SERIAL{return meldra3d::extrude_line(p, f, last_nodes(p), {0, 0, 1}, dense2D<double>(), e, s, q, t);
}
, PARTS {
    return meldra3d_mpi::extrude_line(f, line_points(), {0, 0, 1}, dense2D<double>(), e, s, q, t, world);
}
}
, {
    "line, sizes", 3, SERIAL {
        return meldra3d::extrude_line(p, f, last_nodes(p), {0, 0, 1}, sizes, e, s, q, t);
    }
    , PARTS {
        return meldra3d_mpi::extrude_line(f, line_points(), {0, 0, 1}, sizes, e, s, q, t, world);
    }
}
}
;
}

#undef SERIAL
#undef PARTS

std::vector<sweep> all_sweeps() {
    std::vector<sweep> all = sweeps_in_sizes();
    for (const std::vector<sweep>& more : {sweeps_in_equal_layers(1), sweeps_in_equal_layers(3), sweeps_along_lines()})
        all.insert(all.end(), more.begin(), more.end());
    return all;
}

/// A surface out of plane, with the nodes of a line behind its own, which no face names.
whole_mesh surface_of(element_type type, unsigned nx, unsigned ny, unsigned seed) {
    whole_mesh mesh = shuffled(grid(type, nx, ny, 0), seed);
    for (std::size_t j = 0; j < mesh.pos.cols(); ++j)
        mesh.pos(2, j) += 0.1 * mesh.pos(0, j) * mesh.pos(1, j);
    const dense2D<double> line = line_points();
    for (std::size_t j = 0; j < line.cols(); ++j)
        mesh.pos.append(line.col(j));
    return mesh;
}

/// Some edges of the part's faces, as columns of the part.
id_matrix edges_of(const distributed_mesh& part) {
    id_matrix edges(2, 0);
    for (std::size_t j = 0; j < part.connectivity.cols(); j += 2) {
        const unsigned ends[] = {part.connectivity(0, j), part.connectivity(2, j)};
        edges.append(ends);
        std::swap(edges(0, edges.cols() - 1), edges(1, edges.cols() - 1));
        edges.append(ends);
    }
    return edges;
}

/// A connectivity of the part in global IDs.
std::vector<std::uint64_t> global(const id_matrix& connectivity, const distributed_mesh& part) {
    std::vector<std::uint64_t> ids;
    for (const unsigned id : entries(connectivity))
        ids.push_back(id == no_node ? no_node : part.node_ids[id]);
    return ids;
}

bool close(const dense2D<double>& a, const dense2D<double>& b) {
    if (a.cols() != b.cols())
        return false;
    for (std::size_t j = 0; j < a.cols(); ++j)
        for (unsigned i = 0; i < 3; ++i)
            if (std::abs(a(i, j) - b(i, j)) > 1e-14)
                return false;
    return true;
}

/// Compares the swept parts with those cut from the swept whole, sides and closing faces included.
void expect_serial(const sweep& s, const whole_mesh& surface, const distributed_mesh& part,
                   const dense1D<int, 8>& owners) {
    SCOPED_TRACE(s.name);
    const id_matrix edges = edges_of(part);
    id_matrix global_edges(2, edges.cols());
    for (std::size_t j = 0; j < edges.cols(); ++j)
        for (unsigned i = 0; i < 2; ++i)
            global_edges(i, j) = static_cast<unsigned>(part.node_ids[edges(i, j)]);
    whole_mesh expected;
    expected.pos.copy(surface.pos);
    id_matrix expected_sides, expected_cap;
    ASSERT_EQ(
        s.serial(expected.pos, surface.connectivity, expected.connectivity, global_edges, expected_sides, expected_cap),
        0);
    const std::size_t layers = expected.connectivity.cols() / surface.connectivity.cols();
    ASSERT_TRUE(s.layers == 0 ? layers > 2 : layers == s.layers) << layers;
    expected.type = surface.type == ET_T3 ? ET_W6 : surface.type == ET_Q4 ? ET_H8 : ET_SOLID_MIX;

    distributed_mesh solids;
    id_matrix sides(4, 1, 0U), cap(5, 2, 0U); // of what they held before nothing stays
    ASSERT_EQ(s.parts(part, solids, edges, sides, cap), 0);
    EXPECT_EQ(meldra3d_mpi::detail::check_part(solids, MPI_COMM_WORLD), 0);
    EXPECT_TRUE(same_bits(solids.pos.sub(0, 0, 3, part.pos.cols()), part.pos));
    const distributed_mesh right = cut(expected, owners_of_pieces(owners, [&](std::size_t) { return layers; }));
    distributed_mesh result = in_order(solids);
    if (s.sums_faces && surface.type == ET_FACE_MIX) {
        EXPECT_TRUE(close(result.pos, right.pos));
        EXPECT_TRUE(agree_on_nodes(solids));
        result.pos.copy(right.pos);
    }
    EXPECT_TRUE(same_part(result, right)) << "type " << surface.type << ", layers " << layers;
    EXPECT_TRUE(make_up(result, expected));

    EXPECT_EQ(sides.cols(), edges.cols() * layers);
    const std::vector<unsigned> expected_sides_of_part = entries(expected_sides);
    EXPECT_EQ(global(sides, solids),
              std::vector<std::uint64_t>(expected_sides_of_part.begin(), expected_sides_of_part.end()));
    EXPECT_EQ(cap.cols(), part.element_ids.size());
    std::vector<std::uint64_t> expected_cap_of_part;
    for (const std::uint64_t face : part.element_ids)
        for (const unsigned id : column(expected_cap, face))
            expected_cap_of_part.push_back(id);
    EXPECT_EQ(global(cap, solids), expected_cap_of_part);
}

constexpr element_type face_types[] = {ET_T3, ET_Q4, ET_FACE_MIX};

} // namespace

TEST(MpiExtrude, EveryFormAsTheSerialOne) {
    for (const element_type type : face_types) {
        const whole_mesh surface = surface_of(type, 4, 3, 2);
        const std::vector<dense1D<int, 8>> owners = many_owners(surface.connectivity.cols());
        std::size_t next = 0;
        for (const sweep& s : all_sweeps()) {
            const dense1D<int, 8>& chosen = owners[next++ % owners.size()];
            expect_serial(s, surface, cut(surface, chosen), chosen);
        }
    }
}

TEST(MpiExtrude, EveryCutAsTheSerialOne) {
    const std::vector<sweep> sweeps = sweeps_in_sizes();
    for (const element_type type : face_types) {
        const whole_mesh surface = surface_of(type, 3, 4, 9);
        for (const dense1D<int, 8>& owners : many_owners(surface.connectivity.cols()))
            for (const sweep& s : sweeps)
                expect_serial(s, surface, cut(surface, owners), owners);
    }
}

TEST(MpiExtrude, PartsInAnyOrder) {
    for (const element_type type : face_types) {
        const whole_mesh surface = surface_of(type, 3, 4, 4);
        for (const dense1D<int, 8>& owners : many_owners(surface.connectivity.cols()))
            for (const sweep& s : sweeps_in_equal_layers(2))
                expect_serial(s, surface, in_disorder(cut(surface, owners)), owners);
    }
}

TEST(MpiExtrude, RandomCuts) {
    std::mt19937 random(3);
    const std::vector<sweep> sweeps = all_sweeps();
    for (unsigned round = 0; round < 60; ++round) {
        const auto nx = static_cast<unsigned>(1 + random() % 5), ny = static_cast<unsigned>(1 + random() % 5);
        const whole_mesh surface = surface_of(face_types[random() % 3], nx, ny, static_cast<unsigned>(random()));
        const dense1D<int, 8> owners =
            scattered_owners(surface.connectivity.cols(), world_size(), static_cast<unsigned>(random()));
        const sweep& s = sweeps[random() % sweeps.size()];
        if (s.layers != 0) // the length of a rotation is that of the way of the first node, which may be anywhere
            expect_serial(s, surface, cut(surface, owners), owners);
    }
}

TEST(MpiExtrude, TangledFaces) {
    const std::map<element_type, std::vector<std::size_t>> rows{{ET_T3, {3}}, {ET_Q4, {4}}, {ET_FACE_MIX, {3, 4}}};
    for (unsigned seed = 1; seed <= 4; ++seed)
        for (const element_type type : face_types) {
            const whole_mesh surface = tangle(type, rows.at(type), seed);
            const dense1D<int, 8> owners = scattered_owners(surface.connectivity.cols(), world_size(), seed);
            for (const sweep& s : sweeps_in_equal_layers(2))
                if (type != ET_FACE_MIX || !s.sums_faces) // shares of so many faces nearly cancel
                    expect_serial(s, surface, cut(surface, owners), owners);
        }
}

TEST(MpiExtrude, LayersOfARotationFollowTheFirstFaceWherever) {
    // A strip: most ranks neither have that face nor touch it.
    for (const element_type type : face_types)
        for (const unsigned seed : {0U, 1U, 2U}) {
            whole_mesh surface = grid(type, 16, 1, 0);
            if (seed != 0)
                surface = shuffled(surface, seed);
            std::vector<double> x(surface.connectivity.cols());
            for (std::size_t j = 0; j < x.size(); ++j)
                x[j] = surface.pos(0, surface.connectivity(0, j));
            dense1D<int, 8> owners(x.size(), 0); // along the strip
            for (std::size_t j = 0; j < x.size(); ++j)
                owners[j] = std::min(static_cast<int>(x[j] / 16 * world_size()), world_size() - 1);
            const distributed_mesh part = cut(surface, owners);
            for (const std::vector<sweep>& forms : {sweeps_in_sizes(), sweeps_in_equal_layers(3)})
                for (const sweep& s : forms)
                    if (std::string(s.name).starts_with("rotate"))
                        expect_serial(s, surface, part, owners);
        }
}

TEST(MpiExtrude, MixedPartsOfTrianglesInThreeRows) {
    const whole_mesh surface = surface_of(ET_FACE_MIX, 3, 3, 1);
    dense1D<int, 8> owners(surface.connectivity.cols(), 0);
    for (std::size_t j = 0; j < owners.size(); ++j)
        owners[j] = surface.connectivity(3, j) == no_node ? static_cast<int>(j) % world_size() : 0;
    for (const sweep& s : sweeps_in_equal_layers(2))
        expect_serial(s, surface, in_fewest_rows(cut(surface, owners)), owners);
    for (std::size_t j = 0; j < owners.size(); ++j)
        owners[j] = surface.connectivity(3, j) == no_node ? 0 : world_size() - 1;
    for (const sweep& s : sweeps_in_sizes())
        expect_serial(s, surface, in_fewest_rows(cut(surface, owners)), owners);
}

TEST(MpiExtrude, TheResultInThePlaceOfTheSurface) {
    const whole_mesh surface = surface_of(ET_FACE_MIX, 3, 3, 1);
    const dense1D<int, 8> owners = scattered_owners(surface.connectivity.cols(), world_size());
    for (const sweep& s : all_sweeps()) {
        distributed_mesh part = cut(surface, owners), solids;
        id_matrix edges = edges_of(part), sides, cap;
        ASSERT_EQ(s.parts(part, solids, edges, sides, cap), 0);
        ASSERT_EQ(s.parts(part, part, edges, edges, cap), 0);
        EXPECT_TRUE(same_part(part, solids)) << s.name;
        EXPECT_TRUE(same_bits(edges, sides)) << s.name;
    }
}

TEST(MpiExtrude, SweptSolidsAreConvertedLikeAnyOther) {
    const whole_mesh surface = surface_of(ET_FACE_MIX, 3, 2, 1);
    const dense1D<int, 8> owners = scattered_owners(surface.connectivity.cols(), world_size());
    distributed_mesh part = cut(surface, owners);
    id_matrix no_edges, sides, cap;
    ASSERT_EQ(meldra3d_mpi::extrude_translate(part, dir, 2, part, no_edges, sides, cap, world), 0);
    ASSERT_EQ(meldra3d_mpi::convert_into_quadratic(part, world), 0);
    whole_mesh whole;
    whole.pos.copy(surface.pos);
    whole.type = ET_SOLID_MIX;
    ASSERT_EQ(meldra3d::extrude_translate(whole.pos, surface.connectivity, dir, 2, whole.connectivity), 0);
    EXPECT_TRUE(same_part(part, cut(quadratic(whole), owners_of_pieces(owners, [](std::size_t) { return 2U; }))));
}

TEST(MpiExtrude, FacesWithGapsInTheirIDs) {
    const whole_mesh surface = surface_of(ET_T3, 3, 2, 1);
    const distributed_mesh dense = cut(surface, scattered_owners(surface.connectivity.cols(), world_size()));
    distributed_mesh sparse = deep_copy(dense), expected, solids;
    for (std::uint64_t& id : sparse.element_ids)
        id = 4 * id + 2;
    sparse.elements = std::uint64_t(1) << 40;
    id_matrix no_edges, sides, cap;
    ASSERT_EQ(meldra3d_mpi::extrude_rotate(dense, axis, rotation, 3, expected, no_edges, sides, cap, world), 0);
    ASSERT_EQ(meldra3d_mpi::extrude_rotate(sparse, axis, rotation, 3, solids, no_edges, sides, cap, world), 0);
    EXPECT_EQ(solids.elements, 3 * sparse.elements);
    for (std::uint64_t& id : solids.element_ids)
        id = (id / 3 - 2) / 4 * 3 + id % 3;
    solids.elements = expected.elements;
    EXPECT_TRUE(same_part(solids, expected));
}

TEST(MpiExtrude, RanksWithoutFacesButWithNodes) {
    const whole_mesh surface = surface_of(ET_T3, 3, 1, 0);
    const distributed_mesh part = with_lookers_on(surface);
    for (const sweep& s : all_sweeps()) {
        distributed_mesh solids;
        id_matrix sides, cap;
        ASSERT_EQ(s.parts(part, solids, edges_of(part), sides, cap), 0) << s.name;
        whole_mesh expected;
        expected.pos.copy(surface.pos);
        expected.type = ET_W6;
        id_matrix no_edges, q, t;
        ASSERT_EQ(s.serial(expected.pos, surface.connectivity, expected.connectivity, no_edges, q, t), 0);
        EXPECT_TRUE(same_part(solids, with_lookers_on(expected))) << s.name;
        EXPECT_TRUE(world_rank() == 0 || (sides.cols() == 0 && cap.cols() == 0));
    }
}

TEST(MpiExtrude, IDsThatDoNotFit) {
    const whole_mesh surface = grid(ET_Q4, 2, 2, 0);
    const distributed_mesh part = cut(surface, scattered_owners(4, world_size()));
    distributed_mesh solids;
    id_matrix no_edges, sides, cap;
    const auto sweep = [&](std::uint64_t nodes, std::uint64_t faces) {
        distributed_mesh large = part;
        large.nodes = nodes;
        large.elements = faces;
        return meldra3d_mpi::extrude_translate(large, dir, 3, solids, no_edges, sides, cap, world);
    };
    constexpr std::uint64_t most = meldra3d_mpi::no_id;
    EXPECT_EQ(sweep(most - 3 * 9 + 1, 4), -199);
    EXPECT_EQ(sweep(9, most / 3 + 1), -199);
    EXPECT_TRUE(solids.pos.empty());
    EXPECT_EQ(sweep(most - 3 * 9, most / 3), 0);
    EXPECT_EQ(solids.nodes, most);
    EXPECT_EQ(solids.elements, most / 3 * 3);
}

TEST(MpiExtrude, NothingToDo) {
    const whole_mesh surface = surface_of(ET_FACE_MIX, 2, 2, 1);
    const distributed_mesh part = cut(surface, scattered_owners(surface.connectivity.cols(), world_size()));
    const distributed_mesh before = cut(surface, blocks_of_owners(surface.connectivity.cols(), world_size()));
    const auto expect_untouched = [&](const sweep& s, const distributed_mesh& swept, const id_matrix& edges) {
        distributed_mesh solids = deep_copy(before);
        id_matrix sides = ids({{1, 2}}), cap = ids({{3}});
        EXPECT_EQ(s.parts(swept, solids, edges, sides, cap), 0) << s.name;
        EXPECT_TRUE(same_part(solids, before)) << s.name;
        EXPECT_EQ(entries(sides), (std::vector<unsigned>{1, 2}));
        EXPECT_EQ(entries(cap), (std::vector<unsigned>{3}));
    };
    for (const sweep& s : sweeps_in_equal_layers(0))
        expect_untouched(s, part, ids({{1, 2, 3}})); // nothing is checked
    for (const sweep& s : all_sweeps())
        expect_untouched(s, {}, ids({{1, 2, 3}}));
}

TEST(MpiExtrude, AFaultOnOneRankIsTheStatusOfAll) {
    const whole_mesh surface = surface_of(ET_FACE_MIX, 4, 4, 1);
    const distributed_mesh before = cut(surface, scattered_owners(surface.connectivity.cols(), world_size()));
    const std::map<char, int> edges_code{{'t', -8}, {'r', -9}, {'s', -9}, {'n', -8}, {'l', -7}};
    for (int faulty = 0; faulty < world_size(); ++faulty)
        for (const sweep& s : all_sweeps()) {
            const auto expect_status = [&](int status, const auto& spoil) {
                distributed_mesh part = deep_copy(before), solids = deep_copy(before);
                id_matrix edges = edges_of(part), sides = ids({{1, 2}}), cap = ids({{3}});
                if (faulty == world_rank())
                    spoil(part, edges);
                EXPECT_EQ(s.parts(part, solids, edges, sides, cap), status) << s.name;
                EXPECT_TRUE(same_part(solids, before));
                EXPECT_EQ(sides.cols() + cap.cols(), 2U);
            };
            const int code = std::string(s.name) == "shifts" ? -6 : edges_code.at(s.name[0]);
            expect_status(-2, [](distributed_mesh& part, id_matrix&) { part.type = ET_T6; });
            expect_status(code, [](distributed_mesh&, id_matrix& edges) { edges.resize(3, 2, 0U); });
            expect_status(code,
                          [](distributed_mesh& part, id_matrix& edges) { edges(0, 0) = unsigned(part.pos.cols()); });
            expect_status(code, [](distributed_mesh&, id_matrix& edges) { edges(1, 0) = no_node; });
            expect_status(code, [](distributed_mesh& part, id_matrix& edges) {
                const double x[3] = {1, 2, 3}; // a node that no face names
                part.pos.append(x);
                part.node_ids.push_back(surface_of(ET_FACE_MIX, 4, 4, 1).pos.cols() - 1);
                edges(1, 0) = static_cast<unsigned>(part.pos.cols() - 1);
            });
            if (std::string(s.name) != "shifts") // which looks at the number of nodes first
                expect_status(-20, [](distributed_mesh& part, id_matrix&) { part.pos.resize(3, 1); });
            expect_status(-20, [](distributed_mesh& part, id_matrix&) { part.connectivity(1, 0) = 5000; });
        }
}

TEST(MpiExtrude, FaultsInWhatAllRanksGive) {
    const whole_mesh surface = surface_of(ET_T3, 2, 2, 1);
    const distributed_mesh part = cut(surface, scattered_owners(surface.connectivity.cols(), world_size()));
    distributed_mesh e;
    id_matrix s, q, t;
    using namespace meldra3d_mpi;
    EXPECT_EQ(extrude_translate(part, dir, 0, 1, false, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_translate(part, dir, 1, -1, false, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_translate(part, vec3{0, 0, 0}, 3, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_rotate(part, axis, rotation, 0, 1, false, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_rotate(part, axis, rotation, 1, std::nan(""), false, e, s, q, t, world), -6);
    EXPECT_EQ(extrude_rotate(part, axis, vec3{0, 0, 0}, 2, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_spiral(part, axis, rotation, shift, 0, 1, false, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_spiral(part, axis, rotation, shift, 1, 0, false, e, s, q, t, world), -6);
    EXPECT_EQ(extrude_spiral(part, axis, rotation, vec3{0, 0, 0}, 2, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_normal(part, 0.0, 1, 1, false, e, s, q, t, world), -3);
    EXPECT_EQ(extrude_normal(part, 1.0, 0, 1, false, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_normal(part, 1.0, 1, 0, false, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_normal(part, -1.0, 2, e, s, q, t, world), -3);
    EXPECT_EQ(extrude_translate(part, vec3{0, 0, 1e300}, 1e-300, 1, false, e, s, q, t, world), -199);
    EXPECT_TRUE(e.pos.empty() && q.empty() && t.empty());
}

TEST(MpiExtrude, FaultsInArraysBesidesTheSurfaceOnOneRank) {
    const whole_mesh surface = surface_of(ET_T3, 2, 2, 1);
    const distributed_mesh part = cut(surface, scattered_owners(surface.connectivity.cols(), world_size()));
    distributed_mesh e;
    id_matrix s, q, t;
    using namespace meldra3d_mpi;
    for (int faulty = 0; faulty < world_size(); ++faulty) {
        const auto spoilt = [&](const dense2D<double>& right, const dense2D<double>& wrong) {
            return faulty == world_rank() ? wrong : right;
        };
        const dense2D<double> shifts = shifts_of(entries(part.node_ids)), line = line_points(),
                              metrics = line_metrics();
        const auto with_shifts = [&](const dense2D<double>& wrong) {
            return extrude_normal(part, spoilt(shifts, wrong), 1, e, s, q, t, world);
        };
        EXPECT_EQ(with_shifts({}), -3);
        EXPECT_EQ(with_shifts(shifts.sub(0, 0, 2, shifts.cols())), -3);
        EXPECT_EQ(with_shifts(shifts.sub(0, 0, 3, shifts.cols() - 1)), -3);
        const auto with_line = [&](const dense2D<double>& wrong_line, const dense2D<double>& wrong_metrics) {
            return extrude_line(part, spoilt(line, wrong_line), vec3{0, 0, 1}, spoilt(metrics, wrong_metrics), e, s, q,
                                t, world);
        };
        EXPECT_EQ(with_line({}, metrics), -3);
        EXPECT_EQ(with_line(line.sub(0, 0, 3, 1), metrics), -3);
        EXPECT_EQ(with_line(line.sub(0, 0, 2, 4), metrics), -3);
        EXPECT_EQ(with_line(line, metrics.sub(0, 0, 5, 4)), -5);
        const auto with_sizes = [&](const dense2D<double>& wrong) {
            return extrude_line(part, spoilt(line, wrong), vec3{0, 0, 1}, dense1D<double, 8>(), e, s, q, t, world);
        };
        EXPECT_EQ(with_sizes(line.sub(0, 0, 3, 1)), -3);
        EXPECT_EQ(with_sizes(line), 0);
        e = {};
        q.clear();
        t.clear();
    }
}

TEST(MpiExtrude, RanksMustAgree) {
    if (world_size() == 1)
        return;
    const whole_mesh surface = surface_of(ET_T3, 2, 2, 1);
    const distributed_mesh part = cut(surface, scattered_owners(surface.connectivity.cols(), world_size()));
    distributed_mesh e;
    id_matrix s, q, t;
    const bool odd = world_rank() == world_size() - 1;
    const vec3 turned = odd ? vec3{0.3, 0.2, 1.5} : dir;
    const double size = odd ? 0.25 : 0.5;
    const unsigned n = odd ? 0 : 2;
    using namespace meldra3d_mpi;
    EXPECT_EQ(extrude_translate(part, turned, 0.5, 0.5, false, e, s, q, t, world), -3);
    EXPECT_EQ(extrude_translate(part, dir, size, 0.5, false, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_translate(part, dir, 0.5, size, odd, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_translate(part, dir, 0.5, 0.5, odd, e, s, q, t, world), -6);
    EXPECT_EQ(extrude_translate(part, dir, n, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_rotate(part, turned, rotation, 0.5, 0.5, false, e, s, q, t, world), -3);
    EXPECT_EQ(extrude_rotate(part, axis, turned, n, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_rotate(part, axis, rotation, n, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_spiral(part, axis, rotation, turned, 1, 1, false, e, s, q, t, world), -5);
    EXPECT_EQ(extrude_spiral(part, axis, rotation, shift, n, e, s, q, t, world), -6);
    EXPECT_EQ(extrude_normal(part, size, 0.5, 0.5, false, e, s, q, t, world), -3);
    EXPECT_EQ(extrude_normal(part, 1.0, n, e, s, q, t, world), -4);
    EXPECT_EQ(extrude_normal(part, shifts_of(entries(part.node_ids)), n, e, s, q, t, world), -4);
    const dense2D<double> line = line_points();
    EXPECT_EQ(extrude_line(part, line.sub(0, 0, 3, odd ? 3 : 4), dir, line_metrics(), e, s, q, t, world), -3);
    EXPECT_EQ(extrude_line(part, line, turned, dense1D<double, 8>(), e, s, q, t, world), -4);
}

TEST(MpiExtrude, WithoutMemoryOnOneRankNothingChanges) {
    const whole_mesh surface = grid(ET_FACE_MIX, 6, 1, 0); // a strip, so that not all ranks have the first face
    const dense1D<int, 8> owners = blocks_of_owners(surface.connectivity.cols(), world_size());
    const distributed_mesh given = cut(surface, owners), copy = cut(surface, owners);
    const id_matrix edges = edges_of(given);
    const dense2D<double> shifts = shifts_of(entries(given.node_ids)), line = line_points(), metrics = line_metrics();
    const id_matrix old_sides = ids({{1, 2}}), old_cap = ids({{3}});
    distributed_mesh part;
    id_matrix q, t;
    const auto expect_safe = [&](const auto& call) {
        each_failure_returns_on_all(
            [&] {
                part = given; // shares its storage: needs no memory
                q = old_sides;
                t = old_cap;
                return call();
            },
            [&] {
                EXPECT_TRUE(same_part(part, copy));
                EXPECT_EQ(entries(q), (std::vector<unsigned>{1, 2}));
                EXPECT_EQ(entries(t), (std::vector<unsigned>{3}));
            });
    };
    using namespace meldra3d_mpi;
    // Each prepares something else; the others differ from them by the serial function alone.
    expect_safe([&] { return extrude_rotate(part, axis, rotation, 2, part, edges, q, t, world); });
    expect_safe([&] { return extrude_normal(part, 1.0, 2, part, edges, q, t, world); });
    if (world_size() > 3)
        return; // these are local steps; so many ranks would tell nothing new, in much time
    expect_safe([&] { return extrude_normal(part, shifts, 1, part, edges, q, t, world); });
    expect_safe([&] { return extrude_line(part, line, vec3{0, 0, 1}, metrics, part, edges, q, t, world); });
}
