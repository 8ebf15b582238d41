#include "convert/shared_nodes.h"

#include <algorithm>
#include <array>

#include "convert/orientation.h"

namespace quorl::meldra3d::detail {

namespace {

/// Enters a value or replaces that of an equal key, the key included: it tells the direction of the new value.
template <class Table, class Key, class Payload>
bool put(Table& table, const Key& key, const Payload& payload) {
    auto* const node = table.insert(key.hash(), {key, payload});
    if (!node)
        return false;
    node->value = {key, payload};
    return true;
}

/// Enters the nodes of a given edge or face. A group with a node missing cannot be used: its nodes are created.
template <class Table, class GivenTable, class Key>
bool put_given(Table& table, GivenTable& given, const Key& key, const unsigned* ids, std::size_t n) {
    const bool whole = std::find(ids, ids + n, no_node) == ids + n;
    return put(table, key, whole ? ids[0] : no_node) && (n == 1 || !whole || put(given, key, ids));
}

/// The IDs of a group: consecutive, or those of a list.
struct id_group {
    unsigned first;
    const unsigned* list;

    unsigned operator[](std::uint64_t k) const { return list ? list[k] : static_cast<unsigned>(first + k); }
};

/// The group of a table's entry. Those that the caller gave are listed in the second table.
template <class Value, class GivenTable>
id_group group_of(const Value& entry, std::uint64_t first_new, unsigned n, const GivenTable& given) {
    if (n == 1 || entry.payload >= first_new)
        return {entry.payload, nullptr};
    return {entry.payload, given[given.find(entry.key.hash(), entry.key)].value.payload};
}

} // namespace

bool shared_nodes::init() {
    return edges_.init(fewest_buckets, fewest_buckets, 1.0) && faces_.init(fewest_buckets, fewest_buckets, 1.0) &&
           given_edges_.init(fewest_buckets, fewest_buckets, 1.0) &&
           given_faces_.init(fewest_buckets, fewest_buckets, 1.0);
}

bool shared_nodes::enter_faces(const dense2D<unsigned int>& faces, std::size_t solid_rows) {
    if (faces.empty())
        return true;
    const bool triangles_only =
        solid_rows == 4 || (faces.rows() == counts_.face_rows(3) && faces.rows() != counts_.face_rows(4));
    for (std::size_t j = 0; j < faces.cols(); ++j) {
        const unsigned* const column = faces.col(j);
        const bool triangle = triangles_only || column[faces.rows() - 1] == no_node;
        if (!enter_face(column, faces.rows(), triangle ? 3 : 4))
            return false;
    }
    return true;
}

bool shared_nodes::enter_face(const unsigned* column, std::size_t rows, unsigned corners) {
    if (std::find(column, column + corners, no_node) != column + corners)
        return true;
    const unsigned* group = column + corners;
    const shape_record& record = corners == 3 ? triangle_record : quadrangle_record;
    for (unsigned e = 0; e < record.edges && counts_.nE != 0; ++e, group += counts_.nE)
        if (!enter_edge({{column[record.edge[e][0]], column[record.edge[e][1]]}}, group))
            return false;
    const unsigned inside = corners == 3 ? counts_.nT : counts_.nQ;
    if (inside == 0 || counts_.face_rows(corners) > rows) // a triangle may have more nodes than a quadrangle has rows
        return true;
    const elfes::face_mix face{{column[0], column[1], column[2], corners == 3 ? no_node : column[3]}};
    return put_given(faces_, given_faces_, face, group, inside);
}

bool shared_nodes::enter_edges(const dense2D<unsigned int>& edges) {
    for (std::size_t j = 0; j < edges.cols() && !edges.empty() && counts_.nE != 0; ++j) {
        const unsigned* const column = edges.col(j);
        if (column[0] != no_node && column[1] != no_node && !enter_edge({{column[0], column[1]}}, column + 2))
            return false;
    }
    return true;
}

bool shared_nodes::enter_edge(const elfes::edge2& edge, const unsigned* ids) {
    return put_given(edges_, given_edges_, edge, ids, counts_.nE);
}

bool shared_nodes::number_edge(const edge_probe& edge, unsigned* ids) {
    auto* const node = edges_.insert(edge, {edge.key, no_node});
    if (!node)
        return false;
    auto& entry = node->value;
    if (entry.payload == no_node) {
        entry = {edge.key, take(counts_.nE)};
        if (entry.payload == no_node)
            return false;
    }
    if (counts_.nE == 1) {
        ids[0] = entry.payload;
        return true;
    }
    const id_group group = group_of(entry, first_new_, counts_.nE, given_edges_);
    const bool forwards = entry.key.id == edge.key.id;
    for (std::uint64_t k = 0; k < counts_.nE; ++k)
        ids[k] = group[forwards ? k : counts_.nE - 1 - k];
    return true;
}

bool shared_nodes::number_face(const face_probe& face, unsigned* ids) {
    auto* const node = faces_.insert(face, {face.key, no_node});
    if (!node)
        return false;
    auto& entry = node->value;
    const unsigned n = face.key.is_triangle() ? counts_.nT : counts_.nQ;
    if (entry.payload == no_node) {
        entry = {face.key, take(n)};
        if (entry.payload == no_node)
            return false;
    }
    if (n == 1) {
        ids[0] = entry.payload;
        return true;
    }
    const id_group group = group_of(entry, first_new_, n, given_faces_);
    if (face.key.is_triangle()) {
        for (const unsigned place : walk_triangle(entry.key.id, face.key.id))
            *ids++ = group[place];
        return true;
    }
    const grid_walk walk = walk_quadrangle(entry.key.id, face.key.id, side_);
    for (unsigned j = 0; j < side_; ++j)
        for (unsigned i = 0; i < side_; ++i)
            *ids++ = group[walk.place(i, j)];
    return true;
}

bool shared_nodes::number_interior(unsigned n, unsigned* ids) {
    const unsigned first = take(n);
    for (unsigned k = 0; k < n && first != no_node; ++k)
        ids[k] = first + k;
    return first != no_node;
}

} // namespace quorl::meldra3d::detail
