#include "convert/shared_nodes.h"

#include <algorithm>
#include <array>

#include "convert/element_keys.h"
#include "convert/orientation.h"

namespace quorl::meldra3d::detail {

namespace {

/// Calls visit_edge(key, nodes) and visit_face(key, nodes) for a given face, whose column lists its corners, the nodes
/// of its edges and those inside.
template <class VisitEdge, class VisitFace>
void visit_given_face(const unsigned* column, std::size_t rows, unsigned corners, const node_counts& counts,
                      const VisitEdge& visit_edge, const VisitFace& visit_face) {
    if (std::find(column, column + corners, no_node) != column + corners)
        return;
    const unsigned* group = column + corners;
    const shape_record& record = corners == 3 ? triangle_record : quadrangle_record;
    for (unsigned e = 0; e < record.edges && counts.nE != 0; ++e, group += counts.nE)
        visit_edge({{column[record.edge[e][0]], column[record.edge[e][1]]}}, group);
    const unsigned inside = corners == 3 ? counts.nT : counts.nQ;
    if (inside != 0 && counts.face_rows(corners) <= rows) // a triangle may have more nodes than a quadrangle has rows
        visit_face({{column[0], column[1], column[2], corners == 3 ? no_node : column[3]}}, group);
}

/// Likewise for all that the caller gives; `solid_rows` are the rows of the mesh, which tell what the faces may be.
template <class VisitEdge, class VisitFace>
void visit_given(const dense2D<unsigned int>& faces, const dense2D<unsigned int>& edges, std::size_t solid_rows,
                 const node_counts& counts, const VisitEdge& visit_edge, const VisitFace& visit_face) {
    const bool triangles_only =
        solid_rows == 4 || (faces.rows() == counts.face_rows(3) && faces.rows() != counts.face_rows(4));
    for (std::size_t j = 0; j < faces.cols() && !faces.empty(); ++j) {
        const unsigned* const column = faces.col(j);
        const bool triangle = triangles_only || column[faces.rows() - 1] == no_node;
        visit_given_face(column, faces.rows(), triangle ? 3 : 4, counts, visit_edge, visit_face);
    }
    for (std::size_t j = 0; j < edges.cols() && !edges.empty() && counts.nE != 0; ++j) {
        const unsigned* const column = edges.col(j);
        if (column[0] != no_node && column[1] != no_node)
            visit_edge({{column[0], column[1]}}, column + 2);
    }
}

/// Sets the nodes of the next group, which are given. What is given later replaces what was given before, and a group
/// with a node missing cannot be used: its nodes are created.
template <class Key>
void set_given(node_groups<Key>& groups, const Key& key, const unsigned* ids, unsigned n) {
    group_visit visit{};
    groups.next(1, &visit);
    const unsigned group = visit.group;
    const bool whole = std::find(ids, ids + n, no_node) == ids + n;
    groups.first[group] = whole ? ids[0] : no_node;
    if (groups.ordered) {
        groups.key[group] = key;
        groups.given[group] = whole ? ids : nullptr;
    }
}

/// The IDs of a group: consecutive, or those of a list.
struct id_group {
    unsigned first;
    const unsigned* list;

    unsigned operator[](std::uint64_t k) const { return list ? list[k] : static_cast<unsigned>(first + k); }
};

} // namespace

bool shared_nodes::find(const dense2D<unsigned int>& connect, const dense2D<unsigned int>& faces,
                        const dense2D<unsigned int>& edges, lent_room lent) {
    const auto given = [&](const auto& visit_edge, const auto& visit_face) {
        visit_given(faces, edges, connect.rows(), counts_, visit_edge, visit_face);
    };
    const auto no_face = [](const elfes::face_mix&, const unsigned*) {};
    const auto no_edge = [](const elfes::edge2&, const unsigned*) {};
    const auto each_edge = [&](const auto& visit) {
        given([&](const elfes::edge2& key, const unsigned*) { visit(key); }, no_face);
        if (edge_keys_)
            for_each_key(connect, 0, connect.cols(), edge_visits(), visit);
    };
    const auto each_face = [&](const auto& visit) {
        given(no_edge, [&](const elfes::face_mix& key, const unsigned*) { visit(key); });
        if (face_keys_.any_in(connect))
            for_each_key(connect, 0, connect.cols(), face_keys_, visit);
    };
    if (!edges_.run(counts_.nE > 1, each_edge, lent) || !faces_.run(counts_.nT > 1 || counts_.nQ > 1, each_face, lent))
        return false;
    given([&](const elfes::edge2& key, const unsigned* ids) { set_given(edges_, key, ids, counts_.nE); },
          [&](const elfes::face_mix& key, const unsigned* ids) {
              set_given(faces_, key, ids, key.is_triangle() ? counts_.nT : counts_.nQ);
          });
    return true;
}

void shared_nodes::look_up(const dense2D<unsigned int>& connect, std::size_t first, std::size_t last,
                           group_visit* edge_groups, group_visit* face_groups) {
    std::size_t edges = 0;
    std::size_t faces = 0;
    for_each_element(
        connect, first, last, [&]<const shape_record & Solid>(std::size_t) __attribute__((always_inline)) {
            edges += Solid.edges;
            faces += face_keys_.of<Solid>();
        });
    if (edge_keys_)
        edges_.next(edges, edge_groups);
    faces_.next(faces, face_groups);
}

void shared_nodes::list_edge(unsigned group, const elfes::edge2& edge, unsigned* ids) const {
    const bool forwards = edges_.key[group].id == edge.id;
    const id_group listed{edges_.first[group], edges_.given[group]};
    for (std::uint64_t k = 0; k < counts_.nE; ++k)
        ids[k] = listed[forwards ? k : counts_.nE - 1 - k];
}

void shared_nodes::list_face(unsigned group, const elfes::face_mix& face, unsigned* ids) const {
    const id_group listed{faces_.first[group], faces_.given[group]};
    if (face.is_triangle()) {
        for (const unsigned place : walk_triangle(faces_.key[group].id, face.id))
            *ids++ = listed[place];
        return;
    }
    const grid_walk walk = walk_quadrangle(faces_.key[group].id, face.id, side_);
    for (unsigned j = 0; j < side_; ++j)
        for (unsigned i = 0; i < side_; ++i)
            *ids++ = listed[walk.place(i, j)];
}

bool shared_nodes::number_interior(unsigned n, unsigned* ids) {
    const unsigned first = take(n);
    for (unsigned k = 0; k < n && first != no_node; ++k)
        ids[k] = first + k;
    return first != no_node;
}

} // namespace quorl::meldra3d::detail
