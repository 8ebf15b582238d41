// The neighbours of tetrahedra as one would find them: all give neighbors[4 * element + face], the element across the
// face or 0xFFFFFFFF. Included once for each compilation, see harness.h.
//
// They do what the call does: the IDs are checked first (-1), and a face that more than two elements share is refused
// (-3) or, unless `strict`, left as a boundary of all of them.

#include <cstddef>

namespace BASELINES {

/// The faces in lists of those with the same smallest node, by a counting sort; each list is compared in itself.
int neighbors_by_counting_sort(const unsigned* connect, std::size_t cols, unsigned nodes, bool strict,
                               unsigned* neighbors);

/// All faces in one table, of which the second that comes finds the first.
int neighbors_by_open_addressing(const unsigned* connect, std::size_t cols, unsigned nodes, bool strict,
                                 unsigned* neighbors);

/// All faces sorted, so that equal ones stand side by side.
int neighbors_by_sorting(const unsigned* connect, std::size_t cols, unsigned nodes, bool strict, unsigned* neighbors);

} // namespace BASELINES
