#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

#include "frame/element_tables.h"
#include "frame/elfes.h"

namespace quorl::meldra3d::detail {

/// A shape of linear solids, with its corners and faces as sets: bit k for local node k, bit f for face f.
struct solid_kind {
    const shape_record* shape;
    std::array<unsigned, 6> corners;  ///< of each face
    std::array<unsigned, 8> faces_at; ///< each corner

    constexpr unsigned all_faces() const { return (1u << shape->faces) - 1; }
    /// The faces that hold one of some corners.
    constexpr unsigned faces_with(unsigned places) const {
        unsigned faces = 0;
        for (; places != 0; places &= places - 1)
            faces |= faces_at[std::size_t(std::countr_zero(places))];
        return faces;
    }
};

constexpr solid_kind solid_kind_of(const shape_record& shape) {
    solid_kind kind{&shape, {}, {}};
    for (unsigned f = 0; f < shape.faces; ++f)
        for (unsigned k = 0; k < shape.face[f].size; ++k) {
            kind.corners[f] |= 1u << shape.face[f].node[k];
            kind.faces_at[shape.face[f].node[k]] |= 1u << f;
        }
    return kind;
}

/// In the order of the kinds of ET_SOLID_MIX.
inline constexpr std::array<solid_kind, 4> solid_kinds{solid_kind_of(tetrahedron_record), solid_kind_of(pyramid_record),
                                                       solid_kind_of(wedge_record), solid_kind_of(hexahedron_record)};

/// The elements of a checked mesh of linear solids, looked up at random.
class solid_elements {
public:
    solid_elements(const dense2D<unsigned int>& connect, const dense2D<unsigned int>& neighbors)
        : connect_(connect.data()), ld_(connect.ld()), rows_(connect.rows()), count_(connect.cols()),
          neighbors_(neighbors.data()), neighbors_ld_(neighbors.ld()) {}

    std::size_t count() const { return count_; }
    const unsigned* nodes(unsigned element) const { return connect_ + element * ld_; }
    const unsigned* neighbors(unsigned element) const { return neighbors_ + element * neighbors_ld_; }

    const solid_kind& kind(unsigned element) const {
        return solid_kinds[rows_ == 4 ? 0 : kind_place(mixed_records[2], nodes(element), rows_)];
    }

    /// The set of the local nodes that are a node: empty when the element does not hold it.
    unsigned places_of(unsigned node, unsigned element) const {
        const unsigned* const column = nodes(element);
        unsigned places = 0;
        for (unsigned i = 0; i < 4; ++i)
            places |= unsigned(column[i] == node) << i;
        for (unsigned i = 4; i < rows_; ++i)
            places |= unsigned(column[i] == node) << i;
        return places;
    }

    elfes::face_mix face(unsigned element, const face_cycle& cycle) const {
        const unsigned* const column = nodes(element);
        elfes::face_mix ids{{no_node, no_node, no_node, no_node}};
        for (unsigned k = 0; k < cycle.size; ++k)
            ids.id[k] = column[cycle.node[k]];
        return ids;
    }

    /// Fetch an element into the cache. Inlined always: a call of a function that only prefetches has no effect in the
    /// eyes of a compiler, and is left out.
    [[gnu::always_inline]] void prefetch_nodes(unsigned element) const { __builtin_prefetch(nodes(element)); }
    [[gnu::always_inline]] void prefetch_neighbors(unsigned element) const { __builtin_prefetch(neighbors(element)); }

private:
    static_assert(mixed_records[2].type == ET_SOLID_MIX && mixed_records[2].kinds == solid_kinds.size());

    const unsigned* connect_;
    std::size_t ld_;
    std::size_t rows_;
    std::size_t count_;
    const unsigned* neighbors_;
    std::size_t neighbors_ld_;
};

} // namespace quorl::meldra3d::detail
