#pragma once

#include <cstddef>
#include <cstdint>

#include <numcore/numcore.h>

namespace quorl::meldra3d_mpi::detail {

/// A number and where it belongs on a curve through space.
struct placed {
    std::uint64_t place;
    unsigned number;
};

/// The box around some points; empty, with low above high, without any.
struct box {
    double low[3];
    double high[3];

    static box none();
    void include(const double* x);
    void include(const box& other);
};

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

/// The numbers 0 to n - 1 of points in an order in which neighbours follow each other. center_of(k, x) gives the k-th.
/// False when memory ran out.
template <class CenterOf>
bool order_in_space(std::size_t n, const CenterOf& center_of, dense1D<unsigned, 8>& order) {
    dense1D<placed, 8> list(n), work(n);
    if (list.size() != n || work.size() != n || !order.resize(n))
        return false;
    box around = box::none();
    double x[3];
    for (std::size_t k = 0; k < n; ++k) {
        center_of(k, x);
        around.include(x);
    }
    const space_curve curve(around);
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
