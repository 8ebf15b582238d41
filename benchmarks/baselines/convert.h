// Conversion to quadratic elements, and the cut into hexahedra, as one would write them for meshes of tetrahedra or of
// hexahedra with less than two million nodes. Included once for each compilation, see harness.h.
//
// All check the IDs, and give each new node the number that the library gives it: in the order in which the elements
// meet them. Three ways find what elements share, told by keys of 64 bits, and of 128 for quadrangles, of which two may
// have three nodes in common:
//   open addressing   one table, in which the elements look up and enter their edges and faces one by one
//   sorting           all keys with their places, sorted
//   partitions        the keys distributed by a hash, then a small table for each part, which stays in the cache and
//                     puts numbers in the place of the keys (a radix-partitioned join; Manegold, Boncz, Kersten 2002)
// With the latter two a last pass over the elements gives the IDs.

#include "refined_mesh.h"

namespace BASELINES {

bench::refined_mesh refine_by_open_addressing(const double* pos, std::size_t nodes, const unsigned* connect,
                                              std::size_t rows, std::size_t cols, bench::refinement into);
bench::refined_mesh refine_by_sorting(const double* pos, std::size_t nodes, const unsigned* connect, std::size_t rows,
                                      std::size_t cols, bench::refinement into);
bench::refined_mesh refine_by_partitions(const double* pos, std::size_t nodes, const unsigned* connect,
                                         std::size_t rows, std::size_t cols, bench::refinement into);

} // namespace BASELINES
