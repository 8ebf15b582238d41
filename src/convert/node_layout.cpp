#include "convert/node_layout.h"

#include <cmath>

namespace quorl::meldra3d::detail {

namespace {

unsigned interior_count(shape form, const node_counts& counts) {
    switch (form) {
    case shape::tetrahedron:
        return counts.nTH;
    case shape::pyramid:
        return counts.nY;
    case shape::wedge:
        return counts.nX;
    default:
        return counts.nH;
    }
}

/// The edges of a solid around one of its quadrangles, in the order of the cycle.
std::array<unsigned, 4> edges_of_quadrangle(const shape_record& solid, const face_cycle& face) {
    std::array<unsigned, 4> found{};
    for (unsigned k = 0; k < 4; ++k)
        for (unsigned e = 0; e < solid.edges; ++e) {
            const auto [a, b] = solid.edge[e];
            const unsigned from = face.node[k], to = face.node[(k + 1) % 4];
            if ((a == from && b == to) || (a == to && b == from))
                found[k] = e;
        }
    return found;
}

} // namespace

std::optional<unsigned> square_side(unsigned n) {
    const auto side = static_cast<unsigned>(std::sqrt(double(n))); // below 2^16
    return side * side == n ? std::optional(side) : std::nullopt;
}

std::optional<unsigned> cube_side(unsigned n) {
    for (const unsigned side : {0u, 1u, 2u, 3u})
        if (side * side * side == n)
            return side;
    return std::nullopt;
}

element_layout layout_of(shape form, const node_counts& counts) {
    element_layout layout{};
    layout.form = form;
    layout.solid = find_record(form);
    std::uint64_t row = layout.solid->nodes + std::uint64_t(layout.solid->edges) * counts.nE;
    for (unsigned f = 0; f < layout.solid->faces; ++f) {
        const face_cycle& face = layout.solid->face_nodes[f];
        layout.face_row[f] = row;
        layout.face_size[f] = face.size == 3 ? counts.nT : counts.nQ;
        if (face.size == 4)
            layout.face_edges[f] = edges_of_quadrangle(*layout.solid, face);
        row += layout.face_size[f];
    }
    layout.interior_row = row;
    layout.interior = interior_count(form, counts);
    layout.rows = row + layout.interior;
    return layout;
}

} // namespace quorl::meldra3d::detail
