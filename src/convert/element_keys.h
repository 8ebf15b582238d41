#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

#include <numcore/dense2D.h>

#include "convert/node_layout.h"
#include "frame/element_tables.h"
#include "frame/elfes.h"

// The edges and faces of a mesh as keys, in the order of its elements and of the numbering of each. Compiled for each
// shape, so that the local nodes are constants.
namespace quorl::meldra3d::detail {

struct edge_visits {
    template <const shape_record& Record, std::size_t E, class Visit>
    [[gnu::always_inline]] void one(const unsigned* column, const Visit& visit) const {
        constexpr node_pair edge = Record.edge[E];
        visit(elfes::edge2{{column[edge[0]], column[edge[1]]}});
    }

    template <const shape_record& Record, class Visit>
    [[gnu::always_inline]] void element(const unsigned* column, const Visit& visit) const {
        [&]<std::size_t... E>(std::index_sequence<E...>) __attribute__((always_inline)) {
            (one<Record, E>(column, visit), ...);
        }
        (std::make_index_sequence<Record.edges>());
    }
};

/// Only triangles, only quadrangles or both.
struct face_visits {
    bool triangles;
    bool quadrangles;

    /// Tetrahedra alone have no quadrangles.
    bool any_in(const dense2D<unsigned int>& connect) const {
        return triangles || (quadrangles && connect.rows() != tetrahedron_record.nodes);
    }

    /// How many of them an element has.
    template <const shape_record& Record>
    std::size_t of() const {
        constexpr auto with_3 = std::size_t(
            std::count_if(Record.face_nodes.begin(), Record.face_nodes.end(), [](auto& f) { return f.size == 3; }));
        return (triangles ? with_3 : 0) + (quadrangles ? Record.faces - with_3 : 0);
    }

    template <const shape_record& Record, std::size_t F, class Visit>
    [[gnu::always_inline]] void one(const unsigned* column, const Visit& visit) const {
        constexpr face_cycle face = Record.face_nodes[F];
        if (face.size == 3 ? triangles : quadrangles)
            visit(elfes::face_mix{{column[face.node[0]], column[face.node[1]], column[face.node[2]],
                                   face.size == 3 ? no_node : column[face.node[3]]}});
    }

    template <const shape_record& Record, class Visit>
    [[gnu::always_inline]] void element(const unsigned* column, const Visit& visit) const {
        [&]<std::size_t... F>(std::index_sequence<F...>) __attribute__((always_inline)) {
            (one<Record, F>(column, visit), ...);
        }
        (std::make_index_sequence<Record.faces>());
    }
};

/// Calls work<record>() for the record of a solid shape.
template <class Work>
[[gnu::always_inline]] inline void with_shape(shape form, const Work& work) {
    switch (form) {
    case shape::tetrahedron:
        return work.template operator()<tetrahedron_record>();
    case shape::pyramid:
        return work.template operator()<pyramid_record>();
    case shape::wedge:
        return work.template operator()<wedge_record>();
    default:
        return work.template operator()<hexahedron_record>();
    }
}

/// Calls work<record>(j) for the elements from `first` to before `last` of a linear mesh, in order. In a mesh of one
/// kind the record is found once for all.
template <class Work>
[[gnu::always_inline]] inline void for_each_element(const dense2D<unsigned int>& connect, std::size_t first,
                                                    std::size_t last, const Work& work) {
    const mixed_record& mixed = *find_mixed_record(ET_SOLID_MIX);
    const std::size_t rows = connect.rows();
    const auto form_of = [&](std::size_t j) __attribute__((always_inline)) {
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): it loses the reference in the lambda
        return element_records[std::size_t(kind_of_column(mixed, connect.col(j), rows))].form;
    };
    const bool may_differ = rows == rows_of(ET_SOLID_MIX);
    for (std::size_t begin = first, end = first; begin < last; begin = end) {
        end = may_differ ? begin + 1 : last;
        with_shape(
            form_of(begin), [&]<const shape_record & Solid>() __attribute__((always_inline)) {
                for (std::size_t j = begin; j < end; ++j)
                    work.template operator()<Solid>(j);
            });
    }
}

/// Calls visit(key) for each edge or face, as `visits` tells, of the elements from `first` to before `last` of a
/// linear mesh.
template <class Visits, class Visit>
[[gnu::always_inline]] inline void for_each_key(const dense2D<unsigned int>& connect, std::size_t first,
                                                std::size_t last, const Visits& visits, const Visit& visit) {
    const auto visit_all = [&]<const shape_record & Solid>(std::size_t j) __attribute__((always_inline)) {
        visits.template element<Solid>(connect.col(j), visit);
    };
    for_each_element(connect, first, last, visit_all);
}

} // namespace quorl::meldra3d::detail
