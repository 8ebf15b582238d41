#pragma once

#include <cstdint>
#include <optional>

// Where the layers of a sweep lie: pure functions of sizes. The layer thickness follows a geometric progression from
// one size a to another b.
namespace quorl::meldra3d::detail {

/// Layers per unit of length when the thickness goes steadily from a to b: ln(b/a) / (b - a), 1/a for equal sizes, and
/// 0 when the smaller size is 0. Near equal sizes, where that quotient cancels, it is the series of log1p.
double progression_density(double a, double b);

/// A real number of layers rounded to a multiple of `step` (1 or 2), at the geometric mean of its two neighbours and
/// never below `step`. None when the count is NaN or too large for 32 bits.
std::optional<std::uint32_t> round_layer_count(double count, unsigned step);

/// The fraction of the path at which level k of n lies, t = k / n. 0 and 1 are kept, and equal sizes give t.
double layer_fraction(double t, double a, double b);

/// Length of a vector; exact squares where they neither overflow nor vanish.
double vector_length(double x, double y, double z);

} // namespace quorl::meldra3d::detail
