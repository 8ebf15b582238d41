#pragma once

#include <optional>

#include <numcore/dense2D.h>

namespace quorl::meldra3d::detail {

/// The largest entry below `no_node`; none when no entry is a node.
std::optional<unsigned> largest_id(const dense2D<unsigned int>& connect);

/// As `largest_id`, where a matrix without a node gives `no_node` when it is contiguous, so that + 1 counts its nodes
/// as 0, and 0 when its leading dimension differs from its row count. Callers of + 1 rely on this difference.
unsigned max_node_id(const dense2D<unsigned int>& connect);

} // namespace quorl::meldra3d::detail
