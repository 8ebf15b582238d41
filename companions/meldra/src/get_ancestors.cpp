#include <meldra/meldra.h>

#include <utility>

#include "frame/id_count.h"
#include "frame/max_node_id.h"

namespace quorl::meldra {

int get_ancestors(const dense2D<unsigned int>& connect, dense1D<unsigned int, 8>& ancestors) {
    ancestors.clear();
    if (!connect.empty() && connect.cols() > meldra3d::detail::id_limit)
        return -199;
    const auto largest = meldra3d::detail::largest_id(connect);
    if (!largest)
        return 0;
    dense1D<unsigned int, 8> found;
    if (!found.resize(std::size_t(*largest) + 1, no_node))
        return -199;
    unsigned* const first = found.data();
    // Backwards, so that the element that writes last is the first in column order.
    for (std::size_t j = connect.cols(); j-- > 0;) {
        const unsigned* const column = connect.col(j);
        for (std::size_t i = 0; i < connect.rows(); ++i)
            if (column[i] != no_node)
                first[column[i]] = static_cast<unsigned>(j);
    }
    ancestors = std::move(found);
    return 0;
}

} // namespace quorl::meldra
