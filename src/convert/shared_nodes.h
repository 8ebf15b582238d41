#pragma once

#include <cstdint>
#include <utility>

#include <numcore/dense1D.h>
#include <numcore/dense2D.h>

#include "convert/element_keys.h"
#include "convert/node_layout.h"
#include "frame/distinct_keys.h"
#include "frame/elfes.h"
#include "frame/id_count.h"

namespace quorl::meldra3d::detail {

/// An edge or a face as it is met in the sequence of all.
struct group_visit {
    unsigned group;
    bool is_first;
};

/// The edges, or the faces, of a mesh and the nodes inside them: a group of nodes for each.
template <class Key>
struct node_groups {
    distinct_keys<Key> numbers; ///< of the groups
    dense1D<unsigned, 8> ids;
    unsigned* first = nullptr; ///< of these: ID of the first node of each group, once it has nodes

    // Where a group has more than one node the order counts in which they are listed.
    bool ordered = false;
    dense1D<Key, 8> key;               ///< of each group as it came first or was given
    dense1D<const unsigned*, 8> given; ///< the caller's list of its nodes, null for new ones, whose IDs rise

    /// Numbers the keys of a sequence; `lent` is written to. False when there is no memory.
    template <class ForEachKey>
    bool run(bool in_order, const ForEachKey& for_each_key, lent_room lent) {
        ordered = in_order;
        return numbers.run(for_each_key, lent) && ids.resize(numbers.size()) &&
               (!ordered || (key.resize(numbers.size()) && given.resize(numbers.size(), nullptr))) &&
               (first = ids.data(), true);
    }

    /// The groups of the next n keys of the sequence; what is known of them is asked for.
    void next(std::size_t n, group_visit* to) {
        const unsigned* const known = first;
        numbers.next(
            n, [&](unsigned group, bool is_first) __attribute__((always_inline)) {
                __builtin_prefetch(known + group);
                *to++ = {group, is_first};
            });
    }

    /// True when the group has no nodes: nothing is known of one that is met for the first time, and one that was given
    /// without all of its nodes has `no_node`.
    bool lacks_nodes(group_visit visit) const { return visit.is_first || first[visit.group] == no_node; }
};

/// Numbers the nodes inside edges, faces and elements, so that an edge or face gets its nodes once. IDs are given in
/// the order of the calls; those of a group rise in the direction in which its edge or face came first.
///
/// Edges and faces that the caller gives come with nodes of their own, below the new IDs.
class shared_nodes {
public:
    shared_nodes(const node_counts& counts, std::uint64_t first_new)
        : counts_(counts), side_(square_side(counts.nQ).value_or(0)), first_new_(first_new), next_(first_new) {}

    /// Finds the edges and faces that elements share with each other and with the given ones; `lent` is written to.
    /// False when there is no memory.
    bool find(const dense2D<unsigned int>& connect, const dense2D<unsigned int>& faces,
              const dense2D<unsigned int>& edges, lent_room lent);

    /// The groups of the edges and faces of the next elements, which are asked for in order.
    void look_up(const dense2D<unsigned int>& connect, std::size_t first, std::size_t last, group_visit* edge_groups,
                 group_visit* face_groups);

    /// Writes the IDs of the nodes of n edges or faces that have one node each. False when an ID would not fit.
    bool number_middles(const group_visit* groups, unsigned n, unsigned* ids) { return number(edges_, groups, n, ids); }
    bool number_centres(const group_visit* groups, unsigned n, unsigned* ids) { return number(faces_, groups, n, ids); }

    /// The same for all edges of an element of these vertices. Writes the edges whose middles are new to `ends`, in the
    /// order of their IDs.
    template <const shape_record& Solid>
    [[gnu::always_inline]] bool number_middles(const group_visit* groups, const unsigned* vertices, unsigned* ids,
                                               elfes::edge2* ends) {
        std::uint64_t next = next_;
        [&]<std::size_t... E>(std::index_sequence<E...>) __attribute__((always_inline)) {
            const auto number_one = [&](group_visit visit, elfes::edge2 edge, unsigned& to) {
                unsigned& id = edges_.first[visit.group];
                if (edges_.lacks_nodes(visit)) {
                    ends[next - first_new_] = edge;
                    id = static_cast<unsigned>(next++);
                }
                to = id;
            };
            (number_one(groups[E], {{vertices[Solid.edge[E][0]], vertices[Solid.edge[E][1]]}}, ids[E]), ...);
        }
        (std::make_index_sequence<Solid.edges>());
        next_ = next;
        return next <= id_limit;
    }
    /// How many edges there are, in elements and given ones.
    std::uint64_t edges() const { return edges_.numbers.size(); }

    /// Writes the IDs of the nodes inside an edge or face of a group, in the direction of the key. False when an ID
    /// would not fit.
    bool number_edge(group_visit visit, const elfes::edge2& edge, unsigned* ids) {
        if (!have_nodes(edges_, visit, edge, counts_.nE))
            return false;
        ids[0] = edges_.first[visit.group];
        if (counts_.nE != 1)
            list_edge(visit.group, edge, ids);
        return true;
    }
    bool number_face(group_visit visit, const elfes::face_mix& face, unsigned* ids) {
        const unsigned n = face.is_triangle() ? counts_.nT : counts_.nQ;
        if (!have_nodes(faces_, visit, face, n))
            return false;
        ids[0] = faces_.first[visit.group];
        if (n != 1)
            list_face(visit.group, face, ids);
        return true;
    }
    /// Writes n new IDs.
    bool number_interior(unsigned n, unsigned* ids);

    /// One more than the last ID.
    std::uint64_t next() const { return next_; }

private:
    /// n consecutive new IDs; `no_node` when they do not fit.
    unsigned take(unsigned n) {
        if (next_ + n > id_limit)
            return no_node;
        next_ += n;
        return static_cast<unsigned>(next_ - n);
    }

    template <class Key>
    [[gnu::always_inline]] bool number(node_groups<Key>& groups, const group_visit* visits, unsigned n, unsigned* ids) {
        std::uint64_t next = next_;
        for (unsigned k = 0; k < n; ++k) {
            unsigned& id = groups.first[visits[k].group];
            if (groups.lacks_nodes(visits[k]))
                id = static_cast<unsigned>(next++);
            ids[k] = id;
        }
        next_ = next;
        return next <= id_limit;
    }

    /// Sees to it that a group has n nodes.
    template <class Key>
    bool have_nodes(node_groups<Key>& groups, group_visit visit, const Key& key, unsigned n) {
        if (!groups.lacks_nodes(visit))
            return true;
        const unsigned group = visit.group;
        groups.first[group] = take(n);
        if (groups.ordered)
            groups.key[group] = key;
        return groups.first[group] != no_node;
    }

    void list_edge(unsigned group, const elfes::edge2& edge, unsigned* ids) const;
    void list_face(unsigned group, const elfes::face_mix& face, unsigned* ids) const;

    const node_counts counts_;
    const unsigned side_; ///< of the grid inside a quadrangle
    const bool edge_keys_ = counts_.nE != 0;
    const face_visits face_keys_{counts_.nT != 0, counts_.nQ != 0};
    const std::uint64_t first_new_;
    std::uint64_t next_;
    node_groups<elfes::edge2> edges_;
    node_groups<elfes::face_mix> faces_;
};

} // namespace quorl::meldra3d::detail
