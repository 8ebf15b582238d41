// The elements of a partitioned mesh that hold points. A rank sends each of its points to the parts that have a box
// around it, and each part looks for its elements among their boxes. No walk from element to element is made: a walk
// ends at the border of a part, which runs in and out, and would find one point in one way of cutting and miss it in
// another. What all elements have been asked for does not depend on the cut.

#include "locate.h"

#include <algorithm>

#include "check_part.h"
#include "frame/id_count.h"
#include "frame/quickest.h"
#include "locate/found_points.h"
#include "locate/tetra_mesh.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

using meldra3d::detail::found_points;
using meldra3d::detail::point_at;
using meldra3d::detail::quickest;
using meldra3d::detail::sides_of;
using meldra3d::detail::tetra_mesh;

/// Points that are neighbours, and for each the element with the lowest global ID that holds it, of those visited.
class holding_elements {
public:
    holding_elements(const tetra_mesh& mesh, const std::uint64_t* ids, const double* points, unsigned count,
                     double tolerance, unsigned* columns)
        : mesh_(mesh), ids_(ids), points_(points), tolerance_(tolerance), columns_(columns) {
        std::fill_n(columns, count, no_node);
        std::fill_n(best_, count, no_id);
    }

    [[gnu::always_inline]] void expect(unsigned column) const {
        __builtin_prefetch(mesh_.nodes_of(column));
        __builtin_prefetch(ids_ + column);
    }

    [[gnu::always_inline]] void prepare(unsigned column) const {
        for (unsigned i = 0; i < 4; ++i)
            __builtin_prefetch(mesh_.pos + mesh_.nodes_of(column)[i] * mesh_.pos_ld);
    }

    [[gnu::always_inline]] void visit(unsigned column, const std::uint16_t* which, unsigned n) {
        const auto corners = mesh_.element(column);
        const std::uint64_t id = ids_[column];
        for (unsigned i = 0; i < n; ++i) {
            const unsigned k = which[i];
            if (best_[k] < id)
                continue;
            const auto sides = sides_of(corners, point_at(points_ + std::size_t{3} * k), tolerance_);
            if (sides.degenerate || sides.beyond != 0)
                continue;
            columns_[k] = column;
            best_[k] = id;
        }
    }

private:
    const tetra_mesh& mesh_;
    const std::uint64_t* ids_;
    const double* points_;
    double tolerance_;
    unsigned* columns_;
    std::uint64_t best_[box_tree::most_points];
};

/// Takes local coordinates.
struct local_list {
    vector_fixed<double, 3>* local;

    void expect_at(const unsigned*) const {}
    void found(std::size_t k, unsigned, const vector_fixed<double, 3>& w) const { local[k] = w; }
};

/// The elements of a part that hold points.
class part_search {
public:
    part_search(const distributed_mesh& mesh, double tolerance)
        : mesh_(mesh), tetrahedra_(mesh.pos, mesh.connectivity, {}), tolerance_(tolerance) {}

    bool build() {
        return tree_.build(mesh_.element_ids.size(), box_around(mesh_.pos),
                           [this](std::size_t k) { return box_of(static_cast<unsigned>(k)); });
    }

    /// Around all elements and nodes.
    void cover(box* boxes) const { tree_.cover(boxes, part_boxes::boxes_per_part); }

    /// For each point the element with the lowest global ID that holds it, or `no_node`, and the local coordinates in
    /// it. The outputs have their sizes.
    void find(const dense1D<asked_point, 8>& points, dense1D<unsigned, 8>& columns,
              dense1D<vector_fixed<double, 3>, 8>& local) const {
        local_list results{local.data()};
        found_points<local_list> found(tetrahedra_, results);
        for (std::size_t first = 0; first < points.size(); first += box_tree::most_points) {
            const std::size_t count = std::min<std::size_t>(points.size() - first, box_tree::most_points);
            find_block(points[first].x, static_cast<unsigned>(count), columns.data() + first);
            for (std::size_t k = first; k < first + count; ++k)
                if (columns[k] != no_node)
                    found.add(k, columns[k], point_at(points[k].x));
        }
        found.finish();
    }

private:
    void find_block(const double* points, unsigned count, unsigned* columns) const {
        holding_elements elements(tetrahedra_, mesh_.element_ids.data(), points, count, tolerance_, columns);
        quickest([&]() __attribute__((always_inline)) { tree_.visit_around(points, count, elements); });
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
    tetra_mesh tetrahedra_;
    double tolerance_;
    box_tree tree_;
};

/// Where points go: to each part with a box around them, in an order in which neighbours follow each other, so that a
/// part finds in the cache what it needs.
bool list_destinations(const dense2D<double>& points, const part_boxes& boxes, dense1D<destination, 8>& list) {
    const std::size_t count = count_of(points);
    dense1D<unsigned, 8> order;
    const auto coordinates = [&](std::size_t k, double* x) { std::copy_n(points.col(k), 3, x); };
    if (!order_in_space(count, box_around(points), coordinates, order) || !list.reserve(count + count / 4, 1))
        return false;
    // Block by block: those that are finite.
    double block[3 * part_boxes::most_points];
    unsigned numbers[part_boxes::most_points];
    dense1D<part_boxes::candidate, 8> candidates;
    for (std::size_t next = 0; next < count;) {
        unsigned n = 0;
        for (; next < count && n < part_boxes::most_points; ++next) {
            const double* const x = points.col(order[next]);
            if (!is_finite(x))
                continue;
            std::copy_n(x, 3, block + std::size_t{3} * n);
            numbers[n++] = order[next];
        }
        if (!boxes.find_candidates(block, n, candidates))
            return false;
        for (const auto& [rank, point] : candidates)
            if (!list.push_back({numbers[point], rank}))
                return false;
    }
    return true;
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
    const bool room =
        located.columns.resize(received.size()) && located.local.resize(received.size()) && ids.resize(received.size());
    if (room)
        search.find(received, located.columns, located.local);
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
    const auto write = [&](std::size_t k, double* column) { std::copy_n(located.local[k].values, 3, column); };
    if (const int status = fetch_values(located.routed, located.chosen, 3, one_by_one(write), fetched, comm);
        status < 0)
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
