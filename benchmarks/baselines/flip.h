// Flips in place as one would write them. Included once for each compilation, see harness.h.

#include <cstddef>

namespace BASELINES {

/// Swaps pairs of rows of each column.
void swap_rows(unsigned* connect, std::size_t rows, std::size_t cols, const unsigned (*pairs)[2], std::size_t n);

/// The same for tetrahedra (rows 0 and 1), wedges and hexahedra (bottom and top), with the pairs known to the compiler.
void flip_tetrahedra(unsigned* connect, std::size_t cols);
void flip_wedges(unsigned* connect, std::size_t cols);
void flip_hexahedra(unsigned* connect, std::size_t cols);

} // namespace BASELINES
