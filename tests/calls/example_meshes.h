#pragma once

#include <array>
#include <cstdint>

#include <meldra3d/meldra3d.h>

// Meshes of every kind of element, of n cells along each side. Coordinates are graded and shaken by arithmetic that
// gives the same bits everywhere.
namespace test {

using quorl::dense1D;
using quorl::dense2D;
using quorl::no_node;
using id_list = dense1D<unsigned, 8>;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned> connect;
};

/// A number from 0 to 1 that depends on k alone (the finaliser of SplitMix64, Steele, Lea and Flood 2014).
double scattered(std::uint64_t k);

enum class cut {
    hexahedra,       ///< 8 rows
    wedges,          ///< two in each cell, 6 rows
    wedges_of_8,     ///< wedges and hexahedra, 8 rows
    pyramids,        ///< six in each cell around a node in its middle, 5 rows
    tetrahedra,      ///< six in each cell around a diagonal, 4 rows
    tetrahedra_of_8, ///< the same in 8 rows
    all_kinds        ///< hexahedra, wedges, pyramids and, at the bottom, tetrahedra, 8 rows
};

/// The unit cube; neighbours fit, and all elements are direct.
mesh solids(cut kind, unsigned n);

/// Faces of the solids on the plane between the cells of level n / 2 and those below.
dense2D<unsigned> inner_surface(cut kind, unsigned n);

/// A bowl over the unit square, seen from above counter-clockwise: of triangles (3 rows), or of triangles and
/// quadrangles (4).
mesh surface(std::size_t rows, unsigned n);

/// The edges of the surface along the side y = 0.
dense2D<unsigned> border(unsigned n);

/// The same columns with more rows, which hold IDs below `nodes`, or with fewer.
dense2D<unsigned> with_rows(const dense2D<unsigned>& connect, std::size_t rows, std::size_t nodes);

} // namespace test
