#pragma once

#include "box_tree.h"
#include "cell_grid.h"
#include "exchange.h"

namespace quorl::meldra3d_mpi::detail {

/// Boxes around all elements of all parts, known to every rank: some for each part, so that few points go to a part
/// that does not hold them. 3 KiB a part.
class part_boxes {
public:
    static constexpr std::size_t boxes_per_part = cell_grid::most_boxes;

    /// Collects the boxes of all ranks. Collective; `own` are boxes_per_part ones that may be empty.
    int collect(const box* own, MPI_Comm comm);

    /// A point, by its number, and a part that may have an element that holds it.
    struct candidate {
        int rank;
        unsigned point;
    };
    static constexpr unsigned most_points = box_tree::most_points;

    /// Sets the candidates for some points that are neighbours (see box_tree), in ascending order. False when memory
    /// ran out.
    bool find_candidates(const double* points, unsigned count, dense1D<candidate, 8>& found) const;

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

    dense1D<box, 8> boxes_; ///< boxes_per_part for each rank
    dense1D<box, 8> parts_; ///< around those
    box_tree tree_;         ///< of `boxes_`
};

} // namespace quorl::meldra3d_mpi::detail
