#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <meldra/meldra.h>
#include <numcore/numcore.h>

#include "frame/morton_order.h"
#include "locate/node_ball.h"
#include "locate/tetra_kernels.h"
#include "locate/tetra_mesh.h"
#include "locate/walk.h"

namespace quorl::meldra3d::detail {

inline constexpr int search_out_of_memory = -199;

/// Finds the elements of a mesh of linear tetrahedra that hold points. One object serves one thread.
class element_search {
public:
    /// See tetra_mesh for the first three. `ancestors` gives an element of each node; what it lacks or names beyond the
    /// elements is none. All of them have to live on.
    element_search(const dense2D<double>& pos, const dense2D<unsigned int>& connect,
                   const dense2D<unsigned int>& neighbors, const dense1D<unsigned int, 8>& ancestors,
                   const meldra::node_detector& detector)
        : mesh_(pos, connect, neighbors), ancestors_(ancestors), detector_(detector) {}

    /// Walks to the point from `element`, or from an element of a close node when that is `no_node`. When the walk ends
    /// at the boundary, further ones start from each element around the closest node, if the caller wants that.
    /// Returns the status of the last walk (a walk_status), 0 when there was none, or -199 when memory ran out.
    /// `element` is `no_node` unless the status is 1.
    int find(const point<double>& p, double tolerance, bool fall_back, unsigned& element);

    /// The local coordinates of a point in an element that has been found.
    vector_fixed<double, 3> local_coordinates(unsigned element, const point<double>& p) const {
        return tetra_local_coordinates(tetrahedron_of(mesh_.pos, mesh_.pos_ld, mesh_.nodes_of(element)), p);
    }

private:
    unsigned element_of(unsigned node) const;
    int find_around_closest(const point<double>& p, double tolerance, unsigned& element);

    tetra_mesh mesh_;
    const dense1D<unsigned int, 8>& ancestors_;
    const meldra::node_detector& detector_;
    node_ball ball_;
};

/// Points are taken in blocks of at most this number, so that their keys take no more than 64 MiB.
inline constexpr std::size_t points_in_block = std::size_t(1) << 22;

/// Fills a list with the numbers 0 to count - 1 of points in Morton order, in the low half of the keys. Points that are
/// not finite may be anywhere. False when memory ran out.
bool order_points(const double* points, std::size_t ld, std::size_t count, dense1D<morton_key, 8>& keys,
                  dense1D<morton_key, 8>& work);

/// Finds the elements of many points, with all walks that it takes: visit(k, element) for each point k (a column) that
/// has been found. Points that are near each other come one after another, since their walks meet the same elements.
/// Returns 0 when all have been found, else the status of the last column that has not, or -199 when memory ran out.
template <class Visit>
int find_all(element_search& search, const dense2D<double>& points, double tolerance, Visit visit) {
    dense1D<morton_key, 8> keys, work;
    int status = 0;
    for (std::size_t first = 0; first < points.cols(); first += points_in_block) {
        const std::size_t count = std::min(points_in_block, points.cols() - first);
        if (!order_points(points.col(first), points.ld(), count, keys, work))
            return search_out_of_memory;
        std::size_t missed = 0; // one more than the last that has not been found
        for (std::size_t k = 0; k < count; ++k) {
            const std::uint32_t j = number_of(keys[k]);
            unsigned element = no_node;
            const int found = search.find(point_at(points.col(first + j)), tolerance, true, element);
            if (found == search_out_of_memory)
                return found;
            if (found == walk_found) {
                visit(first + j, element);
            } else if (j >= missed) {
                missed = j + 1;
                status = found;
            }
        }
    }
    return status;
}

} // namespace quorl::meldra3d::detail
