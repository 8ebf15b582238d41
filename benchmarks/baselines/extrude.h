// A sweep as one would write it into memory that is there. Included once for each compilation, see harness.h.

#include <cstddef>

namespace BASELINES {

/// Sweeps a surface of 4 rows (triangles have 0xFFFFFFFF in the last) that names all nodes into layers along a vector.
/// Writes (layers + 1) * nodes columns of coordinates: those that were there, then level after level in the order in
/// which the surface names its nodes. Writes the solids over each face, 8 rows each, those of one face together.
void sweep(const double* pos, std::size_t nodes, const unsigned* faces, std::size_t cols, const double* step,
           unsigned layers, double* new_pos, unsigned* solids);

} // namespace BASELINES
