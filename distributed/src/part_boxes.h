#pragma once

#include <utility>

#include "box_tree.h"
#include "exchange.h"

namespace quorl::meldra3d_mpi::detail {

/// Boxes around all elements of all parts, known to every rank: some for each part, so that few points go to a part
/// that does not hold them. 3 KiB a part.
class part_boxes {
public:
    static constexpr std::size_t boxes_per_part = 64;

    /// Collects the boxes of all ranks. Collective; `own` are boxes_per_part ones that may be empty.
    int collect(const box* own, MPI_Comm comm);

    /// Calls visit(rank), once each, for the parts that may have an element that holds a point.
    template <class Visit>
    void visit_around(const double* x, const Visit& visit) {
        ++point_;
        tree_.visit_around(
            x, [&](unsigned item) __attribute__((always_inline)) {
                const std::size_t rank = item / boxes_per_part;
                if (std::exchange(last_point_[rank], point_) != point_)
                    visit(static_cast<int>(rank));
            });
    }

    /// The part of which a box is the nearest to a point; -1 when all boxes are empty.
    int nearest_part(const double* x) const;

    /// Calls visit(rank) for the parts that may have a node as near to a point as that squared distance.
    template <class Visit>
    void visit_within(const double* x, double distance, const Visit& visit) const {
        for (std::size_t rank = 0; rank < parts_.size(); ++rank)
            if (squared_distance(parts_[rank], x) <= distance && nearest_box(rank, x) <= distance)
                visit(static_cast<int>(rank));
    }

private:
    static double squared_distance(const box& one, const double* x);
    double nearest_box(std::size_t rank, const double* x) const;

    dense1D<box, 8> boxes_;              ///< boxes_per_part for each rank
    dense1D<box, 8> parts_;              ///< around those
    box_tree tree_;                      ///< of `boxes_`
    dense1D<std::size_t, 8> last_point_; ///< for each rank, the last point for which it was visited
    std::size_t point_ = 0;
};

} // namespace quorl::meldra3d_mpi::detail
