#pragma once

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "cell_grid.h"
#include "locate/tetra_mesh.h"
#include "routed_points.h"

namespace quorl::meldra3d_mpi::detail {

/// Finds the elements of a part of tetrahedra that hold points. The part has to live on.
class part_search {
public:
    part_search(const distributed_mesh& mesh, double tolerance);

    /// Takes in where the elements are. False when memory ran out.
    bool build();

    /// cell_grid::most_boxes boxes around all elements and their nodes, some of which may be empty.
    void cover(box* boxes) const { where_.cover(boxes); }

    /// No element has nodes farther apart.
    double longest() const { return longest_; }

    /// For each point the element with the lowest global ID that holds it, or `no_node`, and the local coordinates in
    /// it. No element of any part is longer than `longest`. The outputs have their sizes. False when memory ran out.
    bool find(const dense1D<asked_point, 8>& points, double longest, dense1D<unsigned, 8>& columns,
              dense1D<vector_fixed<double, 3>, 8>& local) const;

private:
    struct found_by_walks {
        dense1D<unsigned, 8> elements;
        dense2D<double> local;
    };

    box box_of(std::size_t column) const;
    bool walk(const dense2D<double>& points, found_by_walks& found) const;
    void keep_far_inside(double margin, found_by_walks& found) const;
    bool search_tree(const dense1D<asked_point, 8>& points, const dense1D<unsigned, 8>& numbers,
                     dense1D<unsigned, 8>& columns, dense1D<vector_fixed<double, 3>, 8>& local) const;

    const distributed_mesh& mesh_;
    meldra3d::detail::tetra_mesh tetrahedra_;
    double tolerance_;
    double growth_; ///< of the box of an element, for each unit of its edge, on all sides: it holds the same points
    double longest_ = 0;
    box around_ = box::none();           ///< all elements
    cell_grid where_;                    ///< they are
    dense1D<cell_grid::range, 8> cells_; ///< of each
};

} // namespace quorl::meldra3d_mpi::detail
