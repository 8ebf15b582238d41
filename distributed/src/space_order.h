#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <numcore/numcore.h>

namespace quorl::meldra3d_mpi::detail {

/// A number and where it belongs on a curve through space.
struct placed {
    std::uint64_t place;
    unsigned number;
};

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

/// Where a point lies on the Morton curve through a box (G. M. Morton, 1966), with 21 bits for each axis. A point that
/// is not finite may lie anywhere.
class space_curve {
public:
    explicit space_curve(const box& around);
    std::uint64_t place_of(const double* x) const;

private:
    double low_[3];
    double scale_;
};

/// Sorts by places, the numbers of one place in the order in which they stand. A radix sort; linear. `work` has room
/// for as many.
void sort_by_place(placed* list, placed* work, std::size_t n);

/// The numbers 0 to n - 1 of points in an order in which neighbours follow each other. center_of(k, x) gives the k-th;
/// `around` tells where they are. False when memory ran out.
template <class CenterOf>
bool order_in_space(std::size_t n, const box& around, const CenterOf& center_of, dense1D<unsigned, 8>& order) {
    dense1D<placed, 8> list(n), work(n);
    if (list.size() != n || work.size() != n || !order.resize(n))
        return false;
    const space_curve curve(around);
    double x[3];
    for (std::size_t k = 0; k < n; ++k) {
        center_of(k, x);
        list[k] = {curve.place_of(x), static_cast<unsigned>(k)};
    }
    sort_by_place(list.data(), work.data(), n);
    for (std::size_t k = 0; k < n; ++k)
        order[k] = list[k].number;
    return true;
}

} // namespace quorl::meldra3d_mpi::detail
