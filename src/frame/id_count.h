#pragma once

#include <algorithm>
#include <cstddef>

#include <meldra/element_type.h>

namespace quorl::meldra3d::detail {

/// How many of the columns of a matrix can be named: IDs lie below `no_node`.
constexpr unsigned id_count(std::size_t columns) {
    return static_cast<unsigned>(std::min<std::size_t>(columns, no_node));
}

} // namespace quorl::meldra3d::detail
