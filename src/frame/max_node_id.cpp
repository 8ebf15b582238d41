#include "frame/max_node_id.h"

#include <algorithm>

#include <meldra/element_type.h>

#include "frame/quickest.h"

namespace quorl::meldra3d::detail {

namespace {

/// One more than the largest ID, so that no_node becomes 0 and loses every comparison.
[[gnu::always_inline]] inline unsigned bound_of(const unsigned* ids, std::size_t n) {
    unsigned bound = 0;
    for (std::size_t k = 0; k < n; ++k)
        bound = std::max(bound, ids[k] + 1);
    return bound;
}

} // namespace

std::optional<unsigned> largest_id(const dense2D<unsigned int>& connect) {
    unsigned bound = 0;
    if (connect.ld() == connect.rows() && !connect.empty())
        bound = quickest([&]() __attribute__((always_inline)) {
            return bound_of(connect.data(), connect.rows() * connect.cols());
        });
    else
        for (std::size_t j = 0; !connect.empty() && j < connect.cols(); ++j)
            bound = std::max(bound, bound_of(connect.col(j), connect.rows()));
    return bound == 0 ? std::nullopt : std::optional<unsigned>(bound - 1);
}

unsigned max_node_id(const dense2D<unsigned int>& connect) {
    return largest_id(connect).value_or(connect.ld() == connect.rows() ? no_node : 0);
}

} // namespace quorl::meldra3d::detail
