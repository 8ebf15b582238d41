#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <numcore/numcore.h>

#include "frame/morton_order.h"

namespace quorl::meldra3d_mpi::detail {

inline bool is_finite(const double* x) {
    return std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]);
}

/// The box around some points; empty, with low above high, without any.
struct box {
    double low[3];
    double high[3];

    static box none() {
        constexpr double infinity = std::numeric_limits<double>::infinity();
        return {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
    }

    /// Takes in a point unless it is not finite.
    void include(const double* x) {
        if (is_finite(x))
            include(box{{x[0], x[1], x[2]}, {x[0], x[1], x[2]}});
    }

    void include(const box& other) {
        for (unsigned i = 0; i < 3; ++i) {
            low[i] = std::min(low[i], other.low[i]);
            high[i] = std::max(high[i], other.high[i]);
        }
    }
};

/// Around the finite points of a matrix of three rows.
inline box box_around(const dense2D<double>& points) {
    box around = box::none();
    for (std::size_t k = 0; k < (points.empty() ? 0 : points.cols()); ++k)
        around.include(points.col(k));
    return around;
}

/// The numbers 0 to n - 1 of points in Morton order, in which neighbours follow each other. center_of(k, x) gives the
/// k-th; `around` tells where they are, and one that is not finite may come anywhere. There are no more points than
/// IDs. False when memory ran out.
template <class CenterOf>
bool order_in_space(std::size_t n, const box& around, const CenterOf& center_of, dense1D<unsigned, 8>& order) {
    using meldra3d::detail::morton_bits;
    using meldra3d::detail::morton_key;
    dense1D<morton_key, 8> keys(n), work(n);
    if (keys.size() != n || work.size() != n || !order.resize(n))
        return false;
    double edge = 0;
    for (unsigned i = 0; i < 3; ++i)
        edge = std::max(edge, around.high[i] - around.low[i]);
    const double scale = (1u << morton_bits) / edge; // infinite or 0 for a box that is a point or too large
    std::uint32_t place[3];
    double x[3];
    for (std::size_t k = 0; k < n; ++k) {
        center_of(k, x);
        for (unsigned i = 0; i < 3; ++i) { // max(0, NaN) is 0
            const double steps = std::max(0.0, (x[i] - around.low[i]) * scale);
            place[i] = static_cast<std::uint32_t>(std::min(steps, double((1u << morton_bits) - 1)));
        }
        keys[k] = meldra3d::detail::morton_key_of(place[0], place[1], place[2], static_cast<std::uint32_t>(k));
    }
    meldra3d::detail::sort_by_place(keys.data(), work.data(), n);
    std::transform(keys.begin(), keys.end(), order.begin(), meldra3d::detail::number_of);
    return true;
}

} // namespace quorl::meldra3d_mpi::detail
