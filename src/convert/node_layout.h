#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "frame/element_tables.h"

namespace quorl::meldra3d::detail {

/// How many nodes a conversion creates inside each edge, face and element; the names are those of the public header.
struct node_counts {
    unsigned nE;
    unsigned nQ;
    unsigned nT;
    unsigned nH;
    unsigned nTH;
    unsigned nX;
    unsigned nY;

    std::uint64_t total() const { return std::uint64_t(nE) + nQ + nT + nH + nTH + nX + nY; }
    /// Rows of a face that comes with its nodes: vertices, nodes of its edges, nodes inside.
    std::uint64_t face_rows(unsigned corners) const {
        return corners + std::uint64_t(corners) * nE + (corners == 3 ? nT : nQ);
    }
};

/// The side of a square grid of n nodes; none when n is no square.
std::optional<unsigned> square_side(unsigned n);

/// The side of a cubic grid of n nodes, for the grids that hexahedra take: 0, 1, 8 and 27 nodes.
std::optional<unsigned> cube_side(unsigned n);

/// The rows of a converted element of one shape: vertices, nodes of edges, of faces, of the interior.
struct element_layout {
    shape form;
    const shape_record* solid;
    std::array<std::uint64_t, 6> face_row;
    std::array<unsigned, 6> face_size;
    /// The edges around a quadrangle, in the order of `face_nodes`.
    std::array<std::array<unsigned, 4>, 6> face_edges;
    std::uint64_t interior_row;
    unsigned interior;
    std::uint64_t rows;
};

element_layout layout_of(shape form, const node_counts& counts);

} // namespace quorl::meldra3d::detail
