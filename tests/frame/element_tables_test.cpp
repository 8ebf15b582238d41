#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <vector>

#include "frame/element_tables.h"
#include "meldra/face_oracle.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using namespace quorl::meldra3d::detail;

namespace {

constexpr int types = 25;
using point = std::array<double, 3>;

point operator-(const point& a, const point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

point cross(const point& a, const point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double dot(const point& a, const point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

point mean(const std::vector<point>& points) {
    point m{};
    for (const point& p : points)
        for (unsigned i = 0; i < 3; ++i)
            m[i] += p[i] / double(points.size());
    return m;
}

/// A solid placed asymmetrically, every face plane, no two lengths alike.
struct placed_solid {
    const char* name;
    const shape_record& record;
    std::vector<point> vertices;
};

/// The reference element under a linear map without symmetry, which keeps the sense.
std::vector<point> placed(const std::vector<point>& reference) {
    std::vector<point> vertices;
    for (const auto& [x, y, z] : reference)
        vertices.push_back(
            {0.3 + 1.1 * x + 0.2 * y - 0.1 * z, -0.2 + 0.1 * x + 0.7 * y + 0.3 * z, 0.5 - 0.2 * x + 0.1 * y + 1.9 * z});
    return vertices;
}

/// Direct elements: a base that turns counter-clockwise seen from the nodes across; the tetrahedron's, clockwise.
std::vector<placed_solid> direct_solids() {
    return {
        {"tetrahedron", tetrahedron_record, placed({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}})},
        {"pyramid", pyramid_record, placed({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.4, 0.3, 1}})},
        {"wedge", wedge_record, placed({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}})},
        {"hexahedron", hexahedron_record,
         placed({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}})},
    };
}

std::vector<point> corners(const placed_solid& solid, unsigned face) {
    std::vector<point> points;
    for (unsigned k = 0; k < solid.record.face[face].size; ++k)
        points.push_back(solid.vertices[solid.record.face[face].node[k]]);
    return points;
}

/// Twice the area of a plane polygon, along the normal around which it turns counter-clockwise.
point normal_of(const std::vector<point>& polygon) {
    point sum{};
    for (std::size_t k = 1; k + 1 < polygon.size(); ++k) {
        const point part = cross(polygon[k] - polygon[0], polygon[k + 1] - polygon[0]);
        for (unsigned i = 0; i < 3; ++i)
            sum[i] += part[i];
    }
    return sum;
}

std::set<unsigned> as_set(const face_cycle& face) {
    return {face.node.begin(), face.node.begin() + face.size};
}

element_type kind_of(element_type mixed, const std::vector<unsigned>& column) {
    return kind_of_column(*find_mixed_record(mixed), column.data(), column.size());
}

/// A column with `used` nodes, then unused slots.
std::vector<unsigned> column_of(std::size_t used, std::size_t rows) {
    std::vector<unsigned> column(rows, no_node);
    for (unsigned i = 0; i < used; ++i)
        column[i] = i;
    return column;
}

} // namespace

TEST(ElementTables, RowsFacesAndLinearFormsAreThoseDocumented) {
    const unsigned rows[types] = {0, 1, 2, 3, 4, 4, 9, 3, 6, 4, 8, 9, 8, 27, 4, 10, 5, 13, 14, 6, 15, 18, 8, 20, 27};
    const unsigned faces[types] = {0, 0, 2, 2, 2, 4, 4, 3, 3, 4, 4, 4, 6, 6, 4, 4, 5, 5, 5, 5, 5, 5, 6, 6, 6};
    const int linear[types] = {0, 1, 2, 2, 2, 5, 5, 7, 7, 9, 9, 9, 12, 12, 14, 14, 16, 16, 16, 19, 19, 19, 22, 22, 22};
    for (int type = 0; type < types; ++type) {
        const element_record* const record = find_record(static_cast<element_type>(type));
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->type, type);
        EXPECT_EQ(record->rows, rows[type]) << type;
        EXPECT_EQ(rows_of(record->type), rows[type]) << type;
        EXPECT_EQ(record->faces, faces[type]) << type;
        EXPECT_EQ(record->linear, linear[type]) << type;
    }
    EXPECT_EQ(find_record(static_cast<element_type>(-1)), nullptr);
    EXPECT_EQ(find_record(static_cast<element_type>(types)), nullptr);
}

TEST(ElementTables, EnumeratorsHaveTheirValues) {
    const int values[] = {ET_NONE, ET_NODE, ET_EDGE2, ET_EDGE3, 4,       ET_FACE_MIX,  ET_FACE_MIX_Q,
                          ET_T3,   ET_T6,   ET_Q4,    ET_Q8,    ET_Q9,   ET_SOLID_MIX, ET_SOLID_MIX_Q,
                          ET_TH4,  ET_TH10, ET_PY5,   ET_PY13,  ET_PY14, ET_W6,        ET_W15,
                          ET_W18,  ET_H8,   ET_H20,   ET_H27};
    for (int k = 0; k < types; ++k)
        EXPECT_EQ(values[k], k);
}

TEST(ElementTables, ALinearFormIsItsOwnAndHasTheSameFacesAndShape) {
    for (const element_record& record : element_records) {
        const element_record& linear = *find_record(record.linear);
        EXPECT_EQ(linear.linear, record.linear) << record.type;
        EXPECT_EQ(linear.faces, record.faces) << record.type;
        EXPECT_LE(linear.rows, record.rows) << record.type;
        if (record.type != 4) {
            EXPECT_EQ(linear.form, record.form) << record.type;
        }
        if (const shape_record* const form = find_record(record.form)) {
            EXPECT_EQ(form->nodes, linear.rows) << record.type;
            EXPECT_EQ(form->faces, record.faces) << record.type;
        }
    }
}

TEST(ElementTables, FacesAreTheCyclesDocumented) {
    const std::pair<const shape_record*, std::pair<bool, std::size_t>> shapes[] = {
        {&triangle_record, {true, 3}}, {&quadrangle_record, {true, 4}}, {&tetrahedron_record, {false, 4}},
        {&pyramid_record, {false, 5}}, {&wedge_record, {false, 6}},     {&hexahedron_record, {false, 8}}};
    for (const auto& [record, which] : shapes) {
        const auto faces = local_faces(which.first, which.second);
        ASSERT_EQ(record->nodes, which.second);
        ASSERT_EQ(record->faces, faces.size());
        for (unsigned f = 0; f < faces.size(); ++f)
            EXPECT_EQ(cycle(record->face[f].node.begin(), record->face[f].node.begin() + record->face[f].size),
                      faces[f])
                << which.second << " nodes, face " << f;
    }
}

TEST(ElementTables, EdgesAreInTheOrderOfTheirMidEdgeNodes) {
    using pairs = std::vector<node_pair>;
    const std::pair<const shape_record*, pairs> expected[] = {
        {&triangle_record, {{1, 2}, {2, 0}, {0, 1}}},
        {&quadrangle_record, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}},
        {&tetrahedron_record, {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}}},
        {&pyramid_record, {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}}},
        {&wedge_record, {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}},
        {&hexahedron_record,
         {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}},
    };
    for (const auto& [record, edges] : expected)
        EXPECT_EQ(pairs(record->edge.begin(), record->edge.begin() + record->edges), edges)
            << record->nodes << " nodes";
}

TEST(ElementTables, MidEdgeNodesFillTheRowsBehindTheVertices) {
    EXPECT_EQ(rows_of(ET_T6), triangle_record.nodes + triangle_record.edges);
    EXPECT_EQ(rows_of(ET_Q8), quadrangle_record.nodes + quadrangle_record.edges);
    EXPECT_EQ(rows_of(ET_TH10), tetrahedron_record.nodes + tetrahedron_record.edges);
    EXPECT_EQ(rows_of(ET_PY13), pyramid_record.nodes + pyramid_record.edges);
    EXPECT_EQ(rows_of(ET_W15), wedge_record.nodes + wedge_record.edges);
    EXPECT_EQ(rows_of(ET_H20), hexahedron_record.nodes + hexahedron_record.edges);
}

TEST(ElementTables, FacesOfDirectSolidsTurnCounterClockwiseSeenFromInside) {
    for (const placed_solid& solid : direct_solids()) {
        const point centre = mean(solid.vertices);
        for (unsigned f = 0; f < solid.record.faces; ++f) {
            const auto polygon = corners(solid, f);
            EXPECT_GT(dot(normal_of(polygon), centre - mean(polygon)), 0) << solid.name << ", face " << f;
        }
    }
}

TEST(ElementTables, FacesOfDirectSolidsEncloseTheirVolume) {
    // By the divergence theorem, with inward normals: V = -1/3 sum of area x distance.
    const double determinant =
        1.1 * (0.7 * 1.9 - 0.3 * 0.1) - 0.2 * (0.1 * 1.9 - 0.3 * -0.2) + -0.1 * (0.1 * 0.1 - 0.7 * -0.2);
    const double reference[] = {1.0 / 6, 1.0 / 3, 1.0 / 2, 1};
    const auto solids = direct_solids();
    for (unsigned s = 0; s < 4; ++s) {
        double six_volume = 0;
        point area{};
        for (unsigned f = 0; f < solids[s].record.faces; ++f) {
            const auto polygon = corners(solids[s], f);
            const point normal = normal_of(polygon);
            six_volume -= dot(normal, polygon[0]);
            for (unsigned i = 0; i < 3; ++i)
                area[i] += normal[i];
        }
        EXPECT_NEAR(six_volume / 6, determinant * reference[s], 1e-14) << solids[s].name;
        EXPECT_NEAR(dot(area, area), 0, 1e-28) << solids[s].name << " is not closed";
    }
}

TEST(ElementTables, FacesArePlaneAndTheirCyclesWalkAroundThem) {
    for (const placed_solid& solid : direct_solids())
        for (unsigned f = 0; f < solid.record.faces; ++f) {
            const auto polygon = corners(solid, f);
            const point normal = normal_of(polygon);
            const std::size_t n = polygon.size();
            for (std::size_t k = 0; k < n; ++k) {
                EXPECT_NEAR(dot(polygon[k] - polygon[0], normal), 0, 1e-14) << solid.name << ", face " << f;
                // Every corner turns the same way: a cycle that crosses itself would not.
                const point turn =
                    cross(polygon[(k + 1) % n] - polygon[k], polygon[(k + 2) % n] - polygon[(k + 1) % n]);
                EXPECT_GT(dot(turn, normal), 0) << solid.name << ", face " << f;
            }
            // All vertices that are not on the face lie on one side of it.
            for (unsigned v = 0; v < solid.record.nodes; ++v)
                if (!as_set(solid.record.face[f]).count(v)) {
                    EXPECT_GT(dot(solid.vertices[v] - polygon[0], normal), 1e-3) << solid.name << ", face " << f;
                }
        }
}

TEST(ElementTables, FaceKOfATetrahedronIsOppositeNodeK) {
    for (unsigned k = 0; k < 4; ++k) {
        std::set<unsigned> others{0, 1, 2, 3};
        others.erase(k);
        EXPECT_EQ(as_set(tetrahedron_record.face[k]), others);
    }
}

TEST(ElementTables, EdgeKOfATriangleIsOppositeNodeKAndOfAQuadrangleBeginsAtIt) {
    for (unsigned k = 0; k < 3; ++k)
        EXPECT_FALSE(as_set(triangle_record.face[k]).count(k));
    for (unsigned k = 0; k < 4; ++k) {
        EXPECT_EQ(quadrangle_record.face[k].node[0], k);
        EXPECT_EQ(quadrangle_record.face[k].node[1], (k + 1) % 4);
    }
}

TEST(ElementTables, EdgesOfASurfaceElementAreItsFaces) {
    for (const shape_record* record : {&triangle_record, &quadrangle_record})
        for (unsigned k = 0; k < record->edges; ++k)
            EXPECT_EQ((std::set<unsigned>{record->edge[k][0], record->edge[k][1]}), as_set(record->face[k]));
}

TEST(ElementTables, EveryEdgeOfASolidBelongsToTwoFacesThatWalkItOppositely) {
    for (const placed_solid& solid : direct_solids()) {
        std::multiset<std::pair<unsigned, unsigned>> steps;
        for (unsigned f = 0; f < solid.record.faces; ++f) {
            const face_cycle& face = solid.record.face[f];
            for (unsigned k = 0; k < face.size; ++k)
                steps.emplace(face.node[k], face.node[(k + 1) % face.size]);
        }
        EXPECT_EQ(steps.size(), 2 * solid.record.edges) << solid.name;
        for (unsigned e = 0; e < solid.record.edges; ++e) {
            const auto [from, to] = solid.record.edge[e];
            EXPECT_EQ(steps.count({from, to}), 1u) << solid.name << ", edge " << e;
            EXPECT_EQ(steps.count({to, from}), 1u) << solid.name << ", edge " << e;
        }
        EXPECT_EQ(solid.record.nodes + solid.record.faces, solid.record.edges + 2) << "Euler's formula, " << solid.name;
    }
}

TEST(ElementTables, AMixedLinearColumnIsToldByItsFirstUnusedRow) {
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(4, 8)), ET_TH4);
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(5, 8)), ET_PY5);
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(6, 8)), ET_W6);
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(8, 8)), ET_H8);
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(4, 4)), ET_TH4);
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(5, 5)), ET_PY5);
    EXPECT_EQ(kind_of(ET_SOLID_MIX, column_of(6, 6)), ET_W6);
    EXPECT_EQ(kind_of(ET_FACE_MIX, column_of(3, 4)), ET_T3);
    EXPECT_EQ(kind_of(ET_FACE_MIX, column_of(4, 4)), ET_Q4);
    EXPECT_EQ(kind_of(ET_FACE_MIX, column_of(3, 3)), ET_T3);
    EXPECT_EQ(kind_of(ET_FACE_MIX_Q, column_of(6, 9)), ET_T6);
    EXPECT_EQ(kind_of(ET_FACE_MIX_Q, column_of(8, 9)), ET_Q8);
    EXPECT_EQ(kind_of(ET_FACE_MIX_Q, column_of(9, 9)), ET_Q9);
}

TEST(ElementTables, AMixedQuadraticColumnIsToldByTheRowsThatExist) {
    const std::pair<std::size_t, element_type> kinds[] = {{10, ET_TH10}, {13, ET_PY13}, {14, ET_PY14}, {15, ET_W15},
                                                          {18, ET_W18},  {20, ET_H20},  {27, ET_H27}};
    for (const std::size_t rows : {13u, 14u, 15u, 18u, 20u, 27u})
        for (const auto& [nodes, kind] : kinds)
            if (nodes <= rows) {
                EXPECT_EQ(kind_of(ET_SOLID_MIX_Q, column_of(nodes, rows)), kind) << nodes << " of " << rows << " rows";
            }
}

TEST(ElementTables, OnlyMixedTypesHaveKinds) {
    for (int type = 0; type < types; ++type) {
        const bool mixed = type == 5 || type == 6 || type == 12 || type == 13;
        const mixed_record* const record = find_mixed_record(static_cast<element_type>(type));
        EXPECT_EQ(record != nullptr, mixed) << type;
        if (!record)
            continue;
        EXPECT_EQ(rows_of(record->kind[record->kinds - 1]), rows_of(record->type)) << "the largest kind fills a column";
        for (unsigned k = 0; k < record->kinds; ++k) {
            const element_record& kind = *find_record(record->kind[k]);
            EXPECT_LE(kind.faces, find_record(record->type)->faces);
            EXPECT_NE(find_record(kind.form), nullptr);
            if (k > 0) {
                EXPECT_LT(rows_of(record->kind[k - 1]), kind.rows);
            }
        }
    }
}
