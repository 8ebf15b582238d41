#pragma once

#include <string>

#include "bench_meshes.h"

namespace bench {

/// A mesh of at least that many elements (Delaunay: about as many), made when first asked for and kept: callers must
/// not write to its arrays, of which copies are shallow.
///
/// Kinds: "TH4", "PY5", "W6", "H8" and their quadratic forms "TH10", "PY14", "W18", "H27"; "SOLID_MIX" and
/// "SOLID_MIX_Q", a third each of the cells cut into tetrahedra, into wedges and not at all; the surfaces "T3", "Q4"
/// and "FACE_MIX" (as many triangles as it takes for every second cell to be two). Orders: that of the grid; nodes and
/// elements shuffled; Delaunay tetrahedra of random nodes, also shuffled.
const mesh& mesh_of(const std::string& kind, order o, std::size_t elements);

/// Gives the memory of all meshes free that nothing else holds.
void forget_meshes();

/// Whether TetGen was there to make Delaunay meshes.
bool has_delaunay();

} // namespace bench
