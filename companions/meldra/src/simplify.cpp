// Removal of unused nodes: mark what is in use, number it, close the gaps. Nothing of the caller's is written before
// all checks are passed and all memory is there.

#include <meldra/meldra.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "frame/id_count.h"

namespace quorl::meldra {

namespace {

using matrix_range = std::pair<dense2D<unsigned int>*, dense2D<unsigned int>*>;

template <class Visit>
void visit_nodes(unsigned* ids, std::size_t n, Visit visit) {
    for (std::size_t k = 0; k < n; ++k)
        if (ids[k] != no_node)
            visit(ids[k]);
}

/// Calls visit(entry) for each entry of each matrix that is a node.
template <class Visit>
void visit_nodes(const matrix_range& range, Visit visit) {
    for (dense2D<unsigned int>* matrix = range.first; matrix != range.second; ++matrix)
        if (matrix->ld() == matrix->rows())
            visit_nodes(matrix->data(), matrix->size(), visit);
        else
            for (std::size_t j = 0; !matrix->empty() && j < matrix->cols(); ++j)
                visit_nodes(matrix->col(j), matrix->rows(), visit);
}

/// Fills the map from old to new IDs, one entry for each node. Returns the number of nodes that are kept.
unsigned number_kept_nodes(const matrix_range& range, std::size_t n0, dense1D<unsigned int, 8>& new_ids) {
    unsigned* const map = new_ids.data();
    std::fill_n(map, n0, 0);
    std::fill(map + n0, map + new_ids.size(), no_node);
    visit_nodes(range, [map](unsigned id) { map[id] = 0; }); // any number but no_node: in use
    unsigned kept = 0;
    for (std::size_t id = 0; id < new_ids.size(); ++id)
        if (map[id] != no_node)
            map[id] = kept++;
    return kept;
}

bool detach(dense2D<double>& pos, const matrix_range& range) {
    bool done = pos.__detach();
    for (dense2D<unsigned int>* matrix = range.first; done && matrix != range.second; ++matrix)
        done = matrix->__detach();
    return done;
}

/// Moves the kept columns to their new places, which lie never behind the old ones. `Rows` is their length, or 0 where
/// it is not known when compiling.
template <std::size_t Rows>
void move_up(double* columns, std::size_t ld, std::size_t length, const dense1D<unsigned int, 8>& new_ids) {
    const std::size_t rows = Rows != 0 ? Rows : length;
    const unsigned* const map = new_ids.data();
    for (std::size_t id = 0; id < new_ids.size(); ++id)
        if (map[id] != no_node && map[id] != id)
            std::memcpy(columns + map[id] * ld, columns + id * ld, rows * sizeof(double));
}

void close_gaps(dense2D<double>& pos, const dense1D<unsigned int, 8>& new_ids, unsigned kept) {
    if (pos.rows() == 3)
        move_up<3>(pos.data(), pos.ld(), 3, new_ids);
    else if (!pos.empty())
        move_up<0>(pos.data(), pos.ld(), pos.rows(), new_ids);
    pos.resize(pos.rows(), kept); // shrinks, which needs no memory
}

} // namespace

int simplify(dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
             dense1D<unsigned int, 8>& new_ids, unsigned int n0) {
    if (std::less<>()(last, first))
        return -3;
    const std::size_t nodes = pos.cols();
    const auto checked_nodes = meldra3d::detail::id_count(nodes);
    for (const dense2D<unsigned int>* matrix = first; matrix != last; ++matrix)
        if (!check_IDs(*matrix, checked_nodes))
            return -2;
    const matrix_range range{first, last};
    dense1D<unsigned int, 8> map;
    if (nodes > meldra3d::detail::id_limit || !map.resize(nodes))
        return -199;
    const unsigned kept = number_kept_nodes(range, std::min<std::size_t>(n0, nodes), map);
    if (kept != nodes) {
        if (!detach(pos, range))
            return -199;
        close_gaps(pos, map, kept);
        visit_nodes(range, [ids = map.data()](unsigned& id) { id = ids[id]; });
    }
    new_ids = std::move(map);
    return 0;
}

} // namespace quorl::meldra
