#pragma once

#include <algorithm>
#include <cstddef>

#include <meldra/element_type.h>

namespace quorl::meldra3d::detail {

/// IDs of nodes and elements lie below it. One build of the tests (tests/sizes) lowers it, so that small meshes come to
/// the limit.
#ifdef MELDRA3D_ID_LIMIT
constexpr unsigned id_limit = MELDRA3D_ID_LIMIT;
#else
constexpr unsigned id_limit = no_node;
#endif

/// How many of the columns of a matrix can be named.
constexpr unsigned id_count(std::size_t columns) {
    return static_cast<unsigned>(std::min<std::size_t>(columns, id_limit));
}

} // namespace quorl::meldra3d::detail
