// The elements of a partitioned mesh that hold points. A rank sends each of its points to the parts that have a box
// around it; each of these searches its own elements, and of what they find the lowest global ID counts.

#include "locate.h"

#include <algorithm>
#include <bit>

#include "check_part.h"
#include "frame/id_count.h"
#include "part_search.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

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
    // Positive numbers and their bits have the same order.
    const auto longest = std::bit_cast<double>(largest_of_all(std::bit_cast<std::uint64_t>(search.longest()), comm));

    dense1D<destination, 8> list;
    const bool complete = list_destinations(points, located.boxes, list);
    if (const int status = send_points(points, list, complete, located.routed, comm); status < 0)
        return status;

    const dense1D<asked_point, 8>& received = located.routed.received.records;
    dense1D<std::uint64_t, 8> ids, answers;
    const bool room =
        located.columns.resize(received.size()) && located.local.resize(received.size()) && ids.resize(received.size());
    const bool searched = room && search.find(received, longest, located.columns, located.local);
    if (const int status = agree(searched ? 0 : no_memory, comm); status < 0)
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
