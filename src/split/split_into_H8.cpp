// Each vertex of a solid gathers a hexahedron: the vertex, the middles of its edges, the centres of its faces and that
// of the body. The order conversion with one node everywhere makes these nodes, so that they are shared by the
// elements around an edge or a face; the tables below pick them from its rows.

#include <meldra3d/split.h>

#include <algorithm>
#include <array>

#include <meldra/meldra.h>
#include <meldra3d/convert.h>

#include "frame/id_count.h"

namespace quorl::meldra3d {

namespace {

constexpr int no_memory = -199;

using hexahedron_rows = std::array<unsigned char, 8>;

/// The hexahedra that a refined element is cut into, as rows of it, in the order in which they are appended.
struct refined_kind {
    unsigned rows; ///< of the refined element
    unsigned pieces;
    std::array<hexahedron_rows, 8> piece;
};

constexpr refined_kind refined_hexahedron{27,
                                          8,
                                          {{{0, 8, 24, 11, 16, 22, 26, 20},
                                            {1, 9, 24, 8, 17, 21, 26, 22},
                                            {2, 10, 24, 9, 18, 23, 26, 21},
                                            {3, 11, 24, 10, 19, 20, 26, 23},
                                            {4, 15, 25, 12, 16, 20, 26, 22},
                                            {5, 12, 25, 13, 17, 22, 26, 21},
                                            {6, 13, 25, 14, 18, 21, 26, 23},
                                            {7, 14, 25, 15, 19, 23, 26, 20}}}};

// The upper three have the vertex of the wedge at their node 4, so that all six stand the same way up.
constexpr refined_kind refined_wedge{21,
                                     6,
                                     {{{0, 11, 15, 10, 6, 19, 20, 18},
                                       {1, 9, 15, 11, 7, 17, 20, 19},
                                       {2, 10, 15, 9, 8, 18, 20, 17},
                                       {6, 19, 20, 18, 3, 14, 16, 13},
                                       {7, 17, 20, 19, 4, 12, 16, 14},
                                       {8, 18, 20, 17, 5, 13, 16, 12}}}};

constexpr refined_kind refined_tetrahedron{15,
                                           4,
                                           {{{0, 5, 13, 6, 7, 11, 14, 12},
                                             {1, 6, 13, 4, 8, 12, 14, 10},
                                             {2, 4, 13, 5, 9, 10, 14, 11},
                                             {3, 7, 12, 8, 9, 11, 14, 10}}}};

/// The kind of a column of a refined connectivity; null for pyramids, which are not cut into hexahedra. A matrix of 27
/// rows holds hexahedra and wedges, any other is of one kind.
const refined_kind* kind_of(const unsigned* column, std::size_t rows) {
    switch (rows) {
    case refined_hexahedron.rows:
        if (column[26] != no_node)
            return &refined_hexahedron;
        return column[17] != no_node ? &refined_wedge : nullptr;
    case refined_wedge.rows:
        return &refined_wedge;
    case refined_tetrahedron.rows:
        return &refined_tetrahedron;
    default:
        return nullptr;
    }
}

/// True when a mixed column is a pyramid or a tetrahedron: both leave row 5 unused.
bool holds_pyramid_or_tetrahedron(const dense2D<unsigned int>& connect) {
    for (std::size_t j = 0; j < connect.cols(); ++j)
        if (connect(5, j) == no_node)
            return true;
    return false;
}

std::size_t count_pieces(const dense2D<unsigned int>& refined) {
    std::size_t pieces = 0;
    for (std::size_t j = 0; j < refined.cols(); ++j)
        if (const refined_kind* const kind = kind_of(refined.col(j), refined.rows()))
            pieces += kind->pieces;
    return pieces;
}

void write_pieces(const dense2D<unsigned int>& refined, unsigned* hexahedron, std::size_t ld) {
    for (std::size_t j = 0; j < refined.cols(); ++j) {
        const unsigned* const column = refined.col(j);
        const refined_kind* const kind = kind_of(column, refined.rows());
        for (unsigned p = 0; kind && p < kind->pieces; ++p, hexahedron += ld)
            for (unsigned k = 0; k < 8; ++k)
                hexahedron[k] = column[kind->piece[p][k]];
    }
}

} // namespace

int split_into_H8(dense2D<double>& pos, const dense2D<unsigned int>& connect, dense2D<unsigned int>& connectH8,
                  dense2D<unsigned int>& faces, dense2D<unsigned int>& edges) {
    if (connect.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    const auto nodes = detail::id_count(pos.cols());
    if (!meldra::check_IDs(connect, ET_SOLID_MIX, nodes))
        return -2;
    if (!connectH8.empty() && connectH8.rows() != 8)
        return -3;
    if (!meldra::check_IDs(faces, ET_Q9, nodes))
        return -4;
    if (!meldra::check_IDs(edges, ET_EDGE3, nodes))
        return -5;
    if (connect.rows() == 8 && holds_pyramid_or_tetrahedron(connect))
        return -2;

    dense2D<unsigned int> refined;
    if (convert_into_high_order(pos, connect, 1, 1, 1, 1, 1, 1, 1, refined, faces, edges) != 0)
        return no_memory;
    const std::size_t kept = connectH8.empty() ? 0 : connectH8.cols();
    if (!connectH8.resize(8, kept + count_pieces(refined)))
        return no_memory;
    write_pieces(refined, connectH8.data() + kept * connectH8.ld(), connectH8.ld());
    return 0;
}

} // namespace quorl::meldra3d
