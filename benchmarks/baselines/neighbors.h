// The neighbours of tetrahedra as one would find them: all give neighbors[4 * element + face], the element across the
// face or 0xFFFFFFFF. Included once for each compilation, see harness.h.
//
// The element's IDs are checked first, as the call does.

#include <cstddef>

namespace BASELINES {

/// The faces in lists of those with the same smallest node, by a counting sort; each list is compared in itself.
bool neighbors_by_counting_sort(const unsigned* connect, std::size_t cols, unsigned nodes, unsigned* neighbors);

/// All faces in one table, of which the second that comes finds the first.
bool neighbors_by_open_addressing(const unsigned* connect, std::size_t cols, unsigned nodes, unsigned* neighbors);

/// All faces sorted, so that equal ones stand side by side.
bool neighbors_by_sorting(const unsigned* connect, std::size_t cols, unsigned nodes, unsigned* neighbors);

} // namespace BASELINES
