#pragma once

#include <array>
#include <cstddef>

#include <meldra/element_type.h>

// The local numberings, as data: row counts, faces, edges and linear forms of every element type, and the tests that
// tell the kind of a column of a mixed connectivity. Nothing else in the library repeats them.
namespace quorl::meldra3d::detail {

enum class shape : unsigned char { none, point, edge, triangle, quadrangle, tetrahedron, pyramid, wedge, hexahedron };

/// What the type alone tells. `faces` is the row count of a matrix of neighbours; a mixed type has no one shape.
struct element_record {
    element_type type;
    unsigned rows;
    unsigned faces;
    element_type linear;
    shape form;
};

inline constexpr std::array<element_record, 25> element_records{{
    {ET_NONE, 0, 0, ET_NONE, shape::none},
    {ET_NODE, 1, 0, ET_NODE, shape::point},
    {ET_EDGE2, 2, 2, ET_EDGE2, shape::edge},
    {ET_EDGE3, 3, 2, ET_EDGE2, shape::edge},
    {element_type(4), 4, 2, ET_EDGE2, shape::none},
    {ET_FACE_MIX, 4, 4, ET_FACE_MIX, shape::none},
    {ET_FACE_MIX_Q, 9, 4, ET_FACE_MIX, shape::none},
    {ET_T3, 3, 3, ET_T3, shape::triangle},
    {ET_T6, 6, 3, ET_T3, shape::triangle},
    {ET_Q4, 4, 4, ET_Q4, shape::quadrangle},
    {ET_Q8, 8, 4, ET_Q4, shape::quadrangle},
    {ET_Q9, 9, 4, ET_Q4, shape::quadrangle},
    {ET_SOLID_MIX, 8, 6, ET_SOLID_MIX, shape::none},
    {ET_SOLID_MIX_Q, 27, 6, ET_SOLID_MIX, shape::none},
    {ET_TH4, 4, 4, ET_TH4, shape::tetrahedron},
    {ET_TH10, 10, 4, ET_TH4, shape::tetrahedron},
    {ET_PY5, 5, 5, ET_PY5, shape::pyramid},
    {ET_PY13, 13, 5, ET_PY5, shape::pyramid},
    {ET_PY14, 14, 5, ET_PY5, shape::pyramid},
    {ET_W6, 6, 5, ET_W6, shape::wedge},
    {ET_W15, 15, 5, ET_W6, shape::wedge},
    {ET_W18, 18, 5, ET_W6, shape::wedge},
    {ET_H8, 8, 6, ET_H8, shape::hexahedron},
    {ET_H20, 20, 6, ET_H8, shape::hexahedron},
    {ET_H27, 27, 6, ET_H8, shape::hexahedron},
}};

/// The record of a type, or null for a value outside the enumeration.
constexpr const element_record* find_record(element_type type) {
    const int value = type;
    return value < 0 || value >= int(element_records.size()) ? nullptr : &element_records[std::size_t(value)];
}

/// A face (of a surface element: an edge) as a cycle of local nodes; `size` of them count.
struct face_cycle {
    unsigned size;
    std::array<unsigned, 4> node;
};

using node_pair = std::array<unsigned, 2>;

/// The vertices, faces and edges of a shape. Edge k of a quadratic kind carries the node of row `nodes` + k.
/// In elements of higher order the nodes of an edge run from its first vertex to its second, and those of a solid's
/// face k are listed along the cycle `face_nodes[k]`: the same cycle as `face[k]`, but it may begin elsewhere and run
/// back.
struct shape_record {
    unsigned nodes;
    unsigned faces;
    std::array<face_cycle, 6> face;
    unsigned edges;
    std::array<node_pair, 12> edge;
    std::array<face_cycle, 6> face_nodes;
};

// Edges of a triangle are numbered by the opposite vertex, edges of a quadrangle from their first vertex.
inline constexpr shape_record triangle_record{
    3, 3, {{{2, {1, 2}}, {2, {2, 0}}, {2, {0, 1}}}}, 3, {{{1, 2}, {2, 0}, {0, 1}}}, {}};

inline constexpr shape_record quadrangle_record{
    4, 4, {{{2, {0, 1}}, {2, {1, 2}}, {2, {2, 3}}, {2, {3, 0}}}}, 4, {{{0, 1}, {1, 2}, {2, 3}, {3, 0}}}, {}};

// Face k of a tetrahedron is opposite vertex k. Direct (positive volume): 0, 1, 2 turn clockwise seen from 3. The other
// solids are direct when their base turns counter-clockwise seen from the opposite nodes.
inline constexpr shape_record tetrahedron_record{4,
                                                 4,
                                                 {{{3, {1, 2, 3}}, {3, {2, 0, 3}}, {3, {0, 1, 3}}, {3, {2, 1, 0}}}},
                                                 6,
                                                 {{{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}}},
                                                 {{{3, {1, 2, 3}}, {3, {2, 0, 3}}, {3, {0, 1, 3}}, {3, {2, 1, 0}}}}};

// Base 0, 1, 2, 3; apex 4.
inline constexpr shape_record pyramid_record{
    5,
    5,
    {{{3, {0, 4, 1}}, {3, {1, 4, 2}}, {3, {2, 4, 3}}, {3, {3, 4, 0}}, {4, {0, 1, 2, 3}}}},
    8,
    {{{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}}},
    {{{3, {0, 1, 4}}, {3, {1, 2, 4}}, {3, {2, 3, 4}}, {3, {3, 0, 4}}, {4, {0, 1, 2, 3}}}}};

// Triangles 0, 1, 2 and 3, 4, 5; vertex 3 above 0, 4 above 1, 5 above 2.
inline constexpr shape_record wedge_record{
    6,
    5,
    {{{3, {0, 1, 2}}, {3, {3, 5, 4}}, {4, {2, 1, 4, 5}}, {4, {0, 2, 5, 3}}, {4, {1, 0, 3, 4}}}},
    9,
    {{{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}},
    {{{3, {0, 1, 2}}, {3, {3, 4, 5}}, {4, {1, 2, 5, 4}}, {4, {2, 0, 3, 5}}, {4, {0, 1, 4, 3}}}}};

// Quadrangles 0, 1, 2, 3 and 4, 5, 6, 7; vertex 4 above 0, and so on.
inline constexpr shape_record hexahedron_record{
    8,
    6,
    {{{4, {0, 3, 7, 4}},
      {4, {1, 5, 6, 2}},
      {4, {0, 4, 5, 1}},
      {4, {3, 2, 6, 7}},
      {4, {0, 1, 2, 3}},
      {4, {4, 7, 6, 5}}}},
    12,
    {{{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}},
    {{{4, {0, 3, 7, 4}},
      {4, {1, 2, 6, 5}},
      {4, {0, 1, 5, 4}},
      {4, {2, 3, 7, 6}},
      {4, {0, 1, 2, 3}},
      {4, {4, 5, 6, 7}}}}};

/// A corner of a solid: its vertex and the three at the other ends of its edges, in the order that makes the volume
/// they span positive in a direct element.
struct solid_corner {
    unsigned node;
    std::array<unsigned, 3> to;
};

inline constexpr std::array<solid_corner, 4> tetrahedron_corners{
    {{0, {2, 1, 3}}, {1, {0, 2, 3}}, {2, {1, 0, 3}}, {3, {1, 2, 0}}}};

// Four edges meet at the apex: its cone is the sum of the last two.
inline constexpr std::array<solid_corner, 6> pyramid_corners{
    {{0, {1, 3, 4}}, {1, {2, 0, 4}}, {2, {3, 1, 4}}, {3, {0, 2, 4}}, {4, {0, 3, 2}}, {4, {2, 1, 0}}}};

inline constexpr std::array<solid_corner, 6> wedge_corners{
    {{0, {1, 2, 3}}, {1, {2, 0, 4}}, {2, {0, 1, 5}}, {3, {5, 4, 0}}, {4, {3, 5, 1}}, {5, {4, 3, 2}}}};

inline constexpr std::array<solid_corner, 8> hexahedron_corners{{{0, {4, 1, 3}},
                                                                 {1, {5, 2, 0}},
                                                                 {2, {6, 3, 1}},
                                                                 {3, {7, 0, 2}},
                                                                 {4, {0, 7, 5}},
                                                                 {5, {1, 4, 6}},
                                                                 {6, {2, 5, 7}},
                                                                 {7, {3, 6, 4}}}};

/// The two faces on either side of each edge, in the order of the edges.
template <std::size_t Edges>
consteval std::array<std::array<unsigned, 2>, Edges> faces_at_edges(const shape_record& record) {
    std::array<std::array<unsigned, 2>, Edges> sides{};
    for (std::size_t e = 0; e < Edges; ++e)
        for (unsigned f = 0; f < record.faces; ++f)
            for (unsigned k = 0; k < record.face[f].size; ++k) {
                const unsigned from = record.face[f].node[k];
                const unsigned to = record.face[f].node[(k + 1) % record.face[f].size];
                if (record.edge[e] == node_pair{from, to})
                    sides[e][0] = f;
                if (record.edge[e] == node_pair{to, from})
                    sides[e][1] = f;
            }
    return sides;
}

/// The record of a surface or solid shape, or null for the others.
constexpr const shape_record* find_record(shape form) {
    switch (form) {
    case shape::triangle:
        return &triangle_record;
    case shape::quadrangle:
        return &quadrangle_record;
    case shape::tetrahedron:
        return &tetrahedron_record;
    case shape::pyramid:
        return &pyramid_record;
    case shape::wedge:
        return &wedge_record;
    case shape::hexahedron:
        return &hexahedron_record;
    default:
        return nullptr;
    }
}

/// The kinds that the columns of a mixed type may be, by rising number of nodes. The first kind whose `nodes` is the
/// row of an unused slot is that of the column; rows behind the last of a matrix count as unused.
struct mixed_record {
    element_type type;
    unsigned kinds;
    std::array<element_type, 7> kind;
};

inline constexpr std::array<mixed_record, 4> mixed_records{{
    {ET_FACE_MIX, 2, {ET_T3, ET_Q4}},
    {ET_FACE_MIX_Q, 3, {ET_T6, ET_Q8, ET_Q9}},
    {ET_SOLID_MIX, 4, {ET_TH4, ET_PY5, ET_W6, ET_H8}},
    {ET_SOLID_MIX_Q, 7, {ET_TH10, ET_PY13, ET_PY14, ET_W15, ET_W18, ET_H20, ET_H27}},
}};

/// The record of a mixed type, or null for the others.
constexpr const mixed_record* find_mixed_record(element_type type) {
    for (const mixed_record& record : mixed_records)
        if (record.type == type)
            return &record;
    return nullptr;
}

constexpr unsigned rows_of(element_type type) {
    return element_records[std::size_t(type)].rows;
}

/// The place, among the kinds of a mixed type, of the kind of a column of `rows` entries.
constexpr unsigned kind_place(const mixed_record& record, const unsigned* column, std::size_t rows) {
    unsigned k = 0;
    for (; k + 1 < record.kinds; ++k)
        if (rows_of(record.kind[k]) >= rows || column[rows_of(record.kind[k])] == no_node)
            break;
    return k;
}

/// The kind of a column of `rows` entries of a mixed connectivity.
constexpr element_type kind_of_column(const mixed_record& record, const unsigned* column, std::size_t rows) {
    return record.kind[kind_place(record, column, rows)];
}

// What must hold of the tables, whoever edits them.
namespace table_checks {

consteval bool records_are_in_order() {
    for (std::size_t k = 0; k < element_records.size(); ++k)
        if (element_records[k].type != int(k))
            return false;
    return true;
}

consteval unsigned walks(const shape_record& record, unsigned from, unsigned to) {
    unsigned count = 0;
    for (unsigned f = 0; f < record.faces; ++f)
        for (unsigned k = 0; k < record.face[f].size; ++k)
            if (record.face[f].node[k] == from && record.face[f].node[(k + 1) % record.face[f].size] == to)
                ++count;
    return count;
}

/// Each edge of a solid is walked once in each direction by its two faces, and there are no other steps.
consteval bool is_closed(const shape_record& record) {
    unsigned steps = 0;
    for (unsigned f = 0; f < record.faces; ++f)
        steps += record.face[f].size;
    for (unsigned e = 0; e < record.edges; ++e)
        if (walks(record, record.edge[e][0], record.edge[e][1]) != 1 ||
            walks(record, record.edge[e][1], record.edge[e][0]) != 1)
            return false;
    return steps == 2 * record.edges;
}

/// The nodes of each face are listed along its own cycle, from any vertex on and in either direction.
consteval bool lists_face_nodes(const shape_record& record) {
    for (unsigned f = 0; f < record.faces; ++f) {
        const face_cycle& face = record.face[f];
        const face_cycle& listed = record.face_nodes[f];
        if (listed.size != face.size)
            return false;
        bool matches = false;
        for (unsigned start = 0; start < face.size; ++start)
            for (const unsigned step : {1u, face.size - 1}) {
                bool same = true;
                for (unsigned k = 0; k < face.size; ++k)
                    same = same && listed.node[k] == face.node[(start + k * step) % face.size];
                matches = matches || same;
            }
        if (!matches)
            return false;
    }
    return true;
}

static_assert(records_are_in_order());
static_assert(lists_face_nodes(tetrahedron_record) && lists_face_nodes(pyramid_record) &&
              lists_face_nodes(wedge_record) && lists_face_nodes(hexahedron_record));
static_assert(is_closed(tetrahedron_record) && is_closed(pyramid_record) && is_closed(wedge_record) &&
              is_closed(hexahedron_record));

} // namespace table_checks

} // namespace quorl::meldra3d::detail
