// What one would write for the work on node IDs without the library. Included once for each compilation, see harness.h.

#include <cstddef>
#include <vector>

namespace BASELINES {

/// Whether all IDs are below `nodes`; never stops early, so that the compiler can use vectors.
bool all_below(const unsigned* ids, std::size_t n, unsigned nodes);

/// The first element that holds each node.
void first_element_of_nodes(const unsigned* connect, std::size_t rows, std::size_t cols, std::vector<unsigned>& first);

/// Renumbers the nodes in use from 0 on in their order, moves their coordinates up, and gives their number back. None
/// where an ID is no node.
std::size_t drop_unused(std::vector<double>& pos, std::vector<unsigned>& connect, std::vector<unsigned>& new_ids);

} // namespace BASELINES
