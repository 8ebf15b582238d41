// The elements of a partitioned mesh that hold points. A rank sends each of its points to the parts that have a box
// around it, and each part looks for its elements among their boxes. No walk from element to element is made: a walk
// ends at the border of a part, which runs in and out, and would find one point in one way of cutting and miss it in
// another. What all elements have been asked for does not depend on the cut.

#include "locate.h"

#include <algorithm>
#include <cmath>

#include "check_part.h"
#include "frame/id_count.h"
#include "frame/quickest.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

using meldra3d::detail::point_at;
using meldra3d::detail::quickest;
using meldra3d::detail::sides_of;
using meldra3d::detail::tetrahedron;

/// The elements of a part that hold points.
class part_search {
public:
    part_search(const distributed_mesh& mesh, double tolerance) : mesh_(mesh), tolerance_(tolerance) {}

    bool build() {
        return tree_.build(mesh_.element_ids.size(),
                           [this](std::size_t k) { return box_of(static_cast<unsigned>(k)); });
    }

    /// Around all elements and nodes.
    void cover(box* boxes) const { tree_.cover(boxes, part_boxes::boxes_per_part); }

    /// For each point the element with the lowest global ID that holds it, or `no_node`.
    void find(const dense1D<asked_point, 8>& points, dense1D<unsigned, 8>& columns) const {
        quickest([&]() __attribute__((always_inline)) {
            for (std::size_t k = 0; k < points.size(); ++k)
                columns[k] = find_one(points[k].x);
        });
    }

private:
    [[gnu::always_inline]] unsigned find_one(const double* x) const {
        unsigned found = no_node;
        std::uint64_t id = no_id;
        tree_.visit_around(
            x, [&](unsigned column) __attribute__((always_inline)) {
                if (mesh_.element_ids[column] >= id)
                    return;
                const auto sides = sides_of(corners_of(mesh_, column), point_at(x), tolerance_);
                if (sides.degenerate || sides.beyond != 0)
                    return;
                found = column;
                id = mesh_.element_ids[column];
            });
        return found;
    }

    /// The box around the points that an element holds. A point whose barycentric coordinates are -t or more lies in
    /// the element enlarged 1 + 4 t times about its centre; besides, the box makes up for rounding.
    box box_of(unsigned column) const {
        const double growth = 4 * std::max(0.0, tolerance_) + 1e-12; // max(0, NaN) is 0
        box around = box::none();
        for (unsigned k = 0; k < 4; ++k)
            around.include(mesh_.pos.col(mesh_.connectivity(k, column)));
        for (unsigned i = 0; i < 3; ++i) {
            const double edge = around.high[i] - around.low[i];
            const double margin = edge > 0 ? edge * growth : 0; // infinite, but never NaN
            around.low[i] -= margin;
            around.high[i] += margin;
        }
        return around;
    }

    const distributed_mesh& mesh_;
    double tolerance_;
    box_tree tree_;
};

/// Where points go: to each part with a box around them, in an order in which neighbours follow each other, so that a
/// part finds in the cache what it needs.
bool list_destinations(const dense2D<double>& points, part_boxes& boxes, dense1D<destination, 8>& list) {
    const std::size_t count = count_of(points);
    dense1D<unsigned, 8> order;
    if (!order_in_space(
            count, [&](std::size_t k, double* x) { std::copy_n(points.col(k), 3, x); }, order) ||
        !list.reserve(count, 1))
        return false;
    bool complete = true;
    for (const unsigned k : order) {
        const double* const x = points.col(k);
        if (std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]))
            boxes.visit_around(x, [&](int rank) { complete = list.push_back({k, rank}) && complete; });
    }
    return complete;
}

/// Of the elements that hold a point, takes the one with the lowest ID.
bool choose(const dense1D<std::uint64_t, 8>& answers, std::size_t points, located_points& located) {
    if (!located.elements.resize(points, no_id) || !located.chosen.resize(answers.size(), 0))
        return false;
    const dense1D<unsigned, 8>& numbers = located.routed.numbers;
    for (std::size_t k = 0; k < answers.size(); ++k)
        located.elements[numbers[k]] = std::min(located.elements[numbers[k]], answers[k]);
    for (std::size_t k = 0; k < answers.size(); ++k)
        located.chosen[k] = answers[k] != no_id && answers[k] == located.elements[numbers[k]];
    return true;
}

} // namespace

int check_search(const distributed_mesh& mesh, element_type type, element_type other_type,
                 const dense2D<double>& points, MPI_Comm comm) {
    if (mesh.type != type && mesh.type != other_type)
        return -2;
    if (!points.empty() && points.rows() != 3)
        return -7;
    if (const int status = check_part(mesh, comm); status < 0)
        return status;
    return count_of(points) <= meldra3d::detail::id_limit ? 0 : no_memory;
}

int locate(const distributed_mesh& mesh, const dense2D<double>& points, double tolerance, located_points& located,
           MPI_Comm comm) {
    part_search search(mesh, tolerance);
    if (const int status = agree(search.build() ? 0 : no_memory, comm); status < 0)
        return status;
    box own[part_boxes::boxes_per_part];
    search.cover(own);
    if (const int status = located.boxes.collect(own, comm); status < 0)
        return status;

    dense1D<destination, 8> list;
    const bool complete = list_destinations(points, located.boxes, list);
    if (const int status = send_points(points, list, complete, located.routed, comm); status < 0)
        return status;

    const dense1D<asked_point, 8>& received = located.routed.received.records;
    dense1D<std::uint64_t, 8> ids, answers;
    const bool room = located.columns.resize(received.size()) && ids.resize(received.size());
    if (room)
        search.find(received, located.columns);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    for (std::size_t k = 0; k < ids.size(); ++k)
        ids[k] = located.columns[k] == no_node ? no_id : mesh.element_ids[located.columns[k]];
    if (const int status = answer(located.routed.received, ids, located.routed.sent, answers, comm); status < 0)
        return status;
    return agree(choose(answers, count_of(points), located) ? 0 : no_memory, comm);
}

} // namespace detail

using namespace detail;

int get_elements_containing_points(const distributed_mesh& mesh, const dense2D<double>& points,
                                   dense1D<std::uint64_t, 8>& elements, dense2D<double>& local, double tolerance,
                                   MPI_Comm comm) {
    if (const int status = agree_on_part(check_search(mesh, ET_TH4, ET_TH10, points, comm), mesh, comm); status < 0)
        return status;
    located_points located;
    if (const int status = locate(mesh, points, tolerance, located, comm); status < 0)
        return status;

    dense2D<double> fetched, weights;
    const auto write = [&](std::size_t k, double* column) {
        std::copy_n(local_coordinates(mesh, located, k).values, 3, column);
    };
    if (const int status = fetch_values(located.routed, located.chosen, 3, write, fetched, comm); status < 0)
        return status;
    if (const int status = agree(weights.resize(3, count_of(points), 0.0) ? 0 : no_memory, comm); status < 0)
        return status;
    std::size_t next = 0;
    for (std::size_t k = 0; k < located.chosen.size(); ++k)
        if (located.chosen[k] != 0)
            std::copy_n(fetched.col(next++), 3, weights.col(located.routed.numbers[k]));
    elements = located.elements;
    local = weights;
    return 0;
}

} // namespace quorl::meldra3d_mpi
