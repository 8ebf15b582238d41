#pragma once

#include <algorithm>
#include <cstddef>

#include <meldra/element_type.h>
#include <numcore/numcore.h>

#include "frame/id_count.h"
#include "locate/tetra_kernels.h"

namespace quorl::meldra3d::detail {

/// Views of a mesh of linear tetrahedra and the elements across their faces. The IDs in them may be anything: a node
/// beyond the coordinates makes its element degenerate, and a neighbour beyond the elements is none.
struct tetra_mesh {
    const double* pos;
    std::size_t pos_ld;
    std::size_t nodes;
    const unsigned* connect;
    std::size_t connect_ld;
    const unsigned* neighbors;
    std::size_t neighbors_ld;
    std::size_t elements;

    /// `pos` of 3 rows, `connect` and `neighbors` of 4, the latter of equal numbers of columns. They have to live on.
    tetra_mesh(const dense2D<double>& coordinates, const dense2D<unsigned int>& connectivity,
               const dense2D<unsigned int>& adjacency)
        : pos(coordinates.data()), pos_ld(coordinates.ld()), nodes(id_count(coordinates.cols())),
          connect(connectivity.data()), connect_ld(connectivity.ld()), neighbors(adjacency.data()),
          neighbors_ld(adjacency.ld()), elements(id_count(connectivity.cols())) {}

    [[gnu::always_inline]] const unsigned* nodes_of(unsigned element) const { return connect + element * connect_ld; }

    /// An element that has its nodes.
    [[gnu::always_inline]] tetrahedron element(unsigned number) const {
        return tetrahedron_of(pos, pos_ld, nodes_of(number));
    }

    /// Asks for what a step through an element reads first.
    [[gnu::always_inline]] void prefetch(unsigned number) const {
        __builtin_prefetch(connect + number * connect_ld);
        __builtin_prefetch(neighbors + number * neighbors_ld);
    }

    [[gnu::always_inline]] bool has_nodes(unsigned element) const {
        const unsigned* const n = nodes_of(element);
        return std::max(std::max(n[0], n[1]), std::max(n[2], n[3])) < nodes;
    }

    /// What four elements are to a point each. Of an element that lacks nodes the answer is not sure.
    [[gnu::always_inline]] sides_of_four sides(const unsigned (&element)[4], const point<double>* const (&p)[4],
                                               double tolerance) const {
        const double *corner_at[4][4], *point_at[4];
        for (unsigned g = 0; g < 4; ++g) {
            const unsigned* const n = nodes_of(element[g]);
            const bool has_all = has_nodes(element[g]);
            point_at[g] = &p[g]->x;
            for (unsigned i = 0; i < 4; ++i) // of a tetrahedron that is a point nothing is sure
                corner_at[i][g] = has_all ? pos + n[i] * pos_ld : point_at[g];
        }
        const point<four_doubles> corner[4] = {points_at(corner_at[0]), points_at(corner_at[1]),
                                               points_at(corner_at[2]), points_at(corner_at[3])};
        return {corner, points_at(point_at), tolerance};
    }

    [[gnu::always_inline]] unsigned neighbor(unsigned face, unsigned element) const {
        const unsigned across = neighbors[face + element * neighbors_ld];
        return across < elements ? across : no_node;
    }
};

} // namespace quorl::meldra3d::detail
