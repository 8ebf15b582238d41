#include "properties/random_solids.h"

#include <array>
#include <map>
#include <set>

#include "meldra/face_oracle.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d;

namespace {

/// Faces as sorted nodes, with the number of elements that have each.
std::map<std::vector<unsigned>, unsigned> count_faces(const dense2D<unsigned>& solids) {
    std::map<std::vector<unsigned>, unsigned> count;
    for (std::size_t j = 0; j < solids.cols(); ++j)
        for (const cycle& local : local_faces(false, corners_of(ET_SOLID_MIX, column(solids, j)))) {
            std::vector<unsigned> nodes;
            for (const unsigned i : local)
                nodes.push_back(solids(i, j));
            std::sort(nodes.begin(), nodes.end());
            ++count[nodes];
        }
    return count;
}

/// All edges of cells, from the cycles of their faces.
void insert_edges(const unsigned* nodes, const cycle& local, std::set<std::array<unsigned, 2>>& edges) {
    for (std::size_t k = 0; k < local.size(); ++k) {
        const unsigned a = nodes[local[k]], b = nodes[local[(k + 1) % local.size()]];
        edges.insert({std::min(a, b), std::max(a, b)});
    }
}

/// Vertices - edges + faces (- solids).
int euler_characteristic(const dense2D<unsigned>& cells, bool surface) {
    std::set<unsigned> vertices;
    std::set<std::array<unsigned, 2>> edges;
    for (std::size_t j = 0; j < cells.cols(); ++j) {
        const auto nodes = column(cells, j);
        const std::size_t corners = corners_of(surface ? ET_FACE_MIX : ET_SOLID_MIX, nodes);
        vertices.insert(nodes.begin(), nodes.begin() + std::ptrdiff_t(corners));
        cycle all(corners);
        std::iota(all.begin(), all.end(), 0u);
        if (surface)
            insert_edges(cells.col(j), all, edges);
        else
            for (const cycle& face : local_faces(false, corners))
                insert_edges(cells.col(j), face, edges);
    }
    const int faces = int(surface ? cells.cols() : count_faces(cells).size());
    return int(vertices.size()) - int(edges.size()) + faces - int(surface ? 0 : cells.cols());
}

void require_two_at_each_inner_face(const dense2D<unsigned>& solids) {
    dense2D<unsigned> neighbors;
    RC_ASSERT(meldra::get_neighbors(solids, ET_SOLID_MIX, true, neighbors) == 0);
    std::size_t sides = 0;
    for (const unsigned id : entries(neighbors))
        sides += id != no_node;
    std::size_t inner = 0;
    for (const auto& [face, elements] : count_faces(solids)) {
        RC_ASSERT(elements <= 2u);
        inner += elements == 2;
    }
    RC_ASSERT(sides == 2 * inner);
}

} // namespace

TEST(Invariants, HexahedraOfASplitFillTheSolidsAndShareEachInnerFaceByTwo) {
    const auto check = [](const solid_mesh& linear) {
        solid_mesh m = linear.deep_copy(), split;
        dense2D<unsigned> faces, edges;
        RC_ASSERT(split_into_H8(m.pos, m.connect, split.connect, faces, edges) == 0);
        split.pos = m.pos;
        const double whole = volume_of(linear);
        RC_ASSERT(std::fabs(volume_of(split) - whole) <= 1e-13 * std::fabs(whole) * double(split.connect.cols()));
        require_two_at_each_inner_face(split.connect);
        RC_ASSERT(euler_characteristic(split.connect, false) == euler_characteristic(linear.connect, false));
    };
    expect_property([&] { check(random_solids()); });
    expect_property([&] { check(random_tetrahedra()); });
}

TEST(Invariants, AConversionKeepsVolumeAndInnerFaces) {
    expect_property([] {
        const solid_mesh linear = random_solids();
        solid_mesh m = linear.deep_copy();
        RC_ASSERT(convert_into_quadratic(m.pos, m.connect) == 0);
        const dense2D<unsigned> quadratic = m.connect;
        dense2D<unsigned> before, after;
        RC_ASSERT(meldra::get_neighbors(linear.connect, ET_SOLID_MIX, true, before) == 0);
        RC_ASSERT(meldra::get_neighbors(quadratic, ET_SOLID_MIX_Q, true, after) == 0);
        RC_ASSERT(entries(before) == entries(after));
        RC_ASSERT(convert_into_linear(m.connect) == 0);
        RC_ASSERT(volume_of(m) == volume_of(linear));
    });
}

TEST(Invariants, ASweptSurfaceHasTheEulerCharacteristicOfTheSurface) {
    // The product of a surface and an interval can be drawn together into the surface.
    expect_property([] {
        patch p = pierced_patch();
        const int expected = euler_characteristic(p.faces, true);
        dense2D<unsigned> solids;
        const unsigned layers = *rc::gen::inRange(1u, 5u);
        switch (*rc::gen::inRange(0, 4)) {
        case 0:
            RC_ASSERT(extrude_translate(p.pos, p.faces, {0, 0, 1}, layers, solids) == 0);
            break;
        case 1:
            RC_ASSERT(extrude_rotate(p.pos, p.faces, {-9, 0, 0}, {0, positive(3), 0}, layers, solids) == 0);
            break;
        case 2:
            RC_ASSERT(extrude_spiral(p.pos, p.faces, {0, 0, 0}, {0, 0, coordinate()}, {0, 0, 2}, layers, solids) == 0);
            break;
        default:
            RC_ASSERT(extrude_normal(p.pos, p.faces, positive(2), layers, solids) == 0);
        }
        RC_ASSERT(euler_characteristic(solids, false) == expected);
        require_two_at_each_inner_face(solids);
    });
}

TEST(Invariants, AnOpenedMeshHasTheVolumeOfTheClosedOne) {
    expect_property([] {
        patch p = random_patch();
        solid_mesh m{p.pos, {}};
        RC_ASSERT(extrude_translate(m.pos, p.faces, {0, 0, 2}, 2, m.connect) == 0);
        const double whole = volume_of(m);
        const dense2D<unsigned> middle = level_between_two_layers(m.connect);
        dense2D<unsigned> neighbors;
        dense1D<unsigned, 8> ancestors;
        RC_ASSERT(meldra::get_neighbors(m.connect, ET_SOLID_MIX, true, neighbors) == 0);
        RC_ASSERT(meldra::get_ancestors(m.connect, ancestors) == 0);
        const int copies = duplicate_surface_nodes(m.pos, m.connect, neighbors, ancestors, middle,
                                                   dense1D<unsigned, 8>(), true, false, ET_SOLID_MIX);
        RC_ASSERT(copies == int(p.pos.cols()));
        RC_ASSERT(volume_of(m) == whole);
        // Two bodies now, each like the patch.
        RC_ASSERT(euler_characteristic(m.connect, false) == 2 * euler_characteristic(p.faces, true));
    });
}

TEST(Invariants, MetricsBetweenTwoNodesMayBeReadFromEitherEnd) {
    // A node on an edge of its element, and the same with the two ends of the edge exchanged.
    expect_property([] {
        searchable m = one_tetrahedron();
        const double t = positive(1);
        const double on_edge[] = {0, t, 0}; // between nodes 0 and 1
        m.pos.append(on_edge);
        RC_ASSERT(m.prepare());
        m.ancestors.push_back(no_node);
        dense2D<double> metrics(6, 5, 0.0);
        for (unsigned v = 0; v < 4; ++v) {
            const double a = positive(3), b = positive(3), c = positive(3), p = coordinate(), q = coordinate(),
                         r = coordinate();
            // L L^T with the diagonal a b c of L
            const double packed[] = {a * a, a * p, p * p + b * b, a * q, p * q + b * r, q * q + r * r + c * c};
            std::copy_n(packed, 6, metrics.col(v));
        }
        dense2D<double> exchanged;
        RC_ASSERT(exchanged.copy(metrics));
        const dense1D<unsigned, 8> nodes{4};
        RC_ASSERT(interpolate_metrics(m.pos, m.connect, m.neighbors, m.ancestors, metrics, nodes, false) == 0);
        // The other element lists node 0 where node 1 was; to stay direct it exchanges 2 and 3 as well.
        searchable other = one_tetrahedron();
        other.pos = m.pos;
        other.connect = ids({{1, 0, 3, 2}});
        RC_ASSERT(other.prepare());
        other.ancestors.push_back(no_node);
        RC_ASSERT(interpolate_metrics(other.pos, other.connect, other.neighbors, other.ancestors, exchanged, nodes,
                                      false) == 0);
        double size = 0;
        for (unsigned i = 0; i < 6; ++i)
            size = std::max(size, std::fabs(metrics(i, 4)));
        RC_ASSERT(size > 0);
        // The condition of these metrics is below 1e8 or so: half of the digits are left.
        for (unsigned i = 0; i < 6; ++i)
            RC_ASSERT(std::fabs(metrics(i, 4) - exchanged(i, 4)) <= 1e-6 * size);
    });
}
