#include "frame/max_node_id.h"

#include <algorithm>

#include <meldra/element_type.h>

namespace quorl::meldra3d::detail {

std::optional<unsigned> largest_id(const dense2D<unsigned int>& connect) {
    // One more than an ID, so that no_node becomes 0 and loses every comparison.
    unsigned bound = 0;
    for (std::size_t j = 0; !connect.empty() && j < connect.cols(); ++j) {
        const unsigned* const column = connect.col(j);
        for (std::size_t i = 0; i < connect.rows(); ++i)
            bound = std::max(bound, column[i] + 1);
    }
    return bound == 0 ? std::nullopt : std::optional<unsigned>(bound - 1);
}

unsigned max_node_id(const dense2D<unsigned int>& connect) {
    return largest_id(connect).value_or(connect.ld() == connect.rows() ? no_node : 0);
}

} // namespace quorl::meldra3d::detail
