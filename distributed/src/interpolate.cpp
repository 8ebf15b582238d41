// Fields and metrics carried from a partitioned mesh to points of each rank. A value is computed where its element or
// node is, and only the value travels.

#include <algorithm>

#include "check_part.h"
#include "locate.h"
#include "locate/metric_interpolation.h"
#include "nearest_nodes.h"

namespace quorl::meldra3d_mpi {

namespace {

using namespace detail;
using meldra3d::detail::combine_metrics;
using meldra3d::detail::metrics_at_once;

/// Values of own points, as they came: those found in elements, and those of the nearest nodes in two rounds.
struct fetched_values {
    located_points located;
    dense1D<unsigned, 8> missing; ///< the finite points in no element
    nearest_nodes nearest;
    dense2D<double> of_elements, of_nodes[2];
};

/// The finite points that no element holds, and their coordinates.
bool list_missing(const dense2D<double>& points, const dense1D<std::uint64_t, 8>& elements,
                  dense1D<unsigned, 8>& missing, dense2D<double>& coordinates) {
    bool complete = true;
    for (unsigned k = 0; k < elements.size() && complete; ++k)
        if (elements[k] == no_id && is_finite(points.col(k)))
            complete = missing.push_back(k);
    if (!complete || !coordinates.resize(3, missing.size()))
        return false;
    for (std::size_t k = 0; k < missing.size(); ++k)
        std::copy_n(points.col(missing[k]), 3, coordinates.col(k));
    return true;
}

/// Locates points and gets `rows` values for each: combine(located, wanted, columns) writes those of the points
/// received that are wanted, copy(node, column) those at a node, each on the rank that has it. Collective; the
/// arguments have been checked.
template <class Combine, class Copy>
int fetch(const distributed_mesh& mesh, const dense2D<double>& points, std::size_t rows, const Combine& combine,
          const Copy& copy, fetched_values& values, MPI_Comm comm) {
    constexpr double tolerance = 1e-6;
    located_points& located = values.located;
    if (const int status = locate(mesh, points, tolerance, located, comm); status < 0)
        return status;
    const auto write = [&](const dense1D<unsigned char, 8>& wanted, dense2D<double>& columns) {
        combine(located, wanted, columns);
    };
    if (const int status = fetch_values(located.routed, located.chosen, rows, write, values.of_elements, comm);
        status < 0)
        return status;

    dense2D<double> coordinates;
    const bool listed = list_missing(points, located.elements, values.missing, coordinates);
    if (const int status = agree(listed ? 0 : no_memory, comm); status < 0)
        return status;
    if (sum_of_all(values.missing.size(), comm) == 0)
        return agree(0, comm); // by which a sum that failed shows
    if (const int status = find_nearest_nodes(mesh, located.boxes, coordinates, values.nearest, comm); status < 0)
        return status;
    for (unsigned r = 0; r < 2; ++r) {
        const nearest_round& round = values.nearest.rounds[r];
        const auto write_node = [&](std::size_t k, double* column) { copy(round.nodes[k], column); };
        if (const int status =
                fetch_values(round.routed, round.chosen, rows, one_by_one(write_node), values.of_nodes[r], comm);
            status < 0)
            return status;
    }
    return 0;
}

/// take(point, column) for each point that has values.
template <class Take>
void hand_out(const fetched_values& values, const Take& take) {
    std::size_t next = 0;
    for (std::size_t k = 0; k < values.located.chosen.size(); ++k)
        if (values.located.chosen[k] != 0)
            take(values.located.routed.numbers[k], values.of_elements.col(next++));
    for (unsigned r = 0; r < 2; ++r) {
        const nearest_round& round = values.nearest.rounds[r];
        next = 0;
        for (std::size_t k = 0; k < round.chosen.size(); ++k)
            if (round.chosen[k] != 0)
                take(values.missing[round.routed.numbers[k]], values.of_nodes[r].col(next++));
    }
}

/// Some points and where their metrics go, with a 1 behind those that are metrics.
struct some_metrics {
    meldra3d::detail::metrics_around points[metrics_at_once];
    double* columns[metrics_at_once];
    unsigned count = 0;

    void combine() {
        const unsigned combined = combine_metrics(points, count, columns);
        for (unsigned k = 0; k < count; ++k)
            columns[k][6] = combined >> k & 1;
        count = 0;
    }
};

/// Combines metrics at the points that are wanted of those received.
void combine_wanted(const distributed_mesh& mesh, const dense2D<double>& metrics, const located_points& located,
                    const dense1D<unsigned char, 8>& wanted, dense2D<double>& columns) {
    some_metrics some;
    one_by_one([&](std::size_t k, double* column) {
        const unsigned* const n = mesh.connectivity.col(located.columns[k]);
        std::fill_n(column, 6, 0.0);
        some.points[some.count] = {{metrics.col(n[0]), metrics.col(n[1]), metrics.col(n[2]), metrics.col(n[3])},
                                   located.local[k]};
        some.columns[some.count++] = column;
        if (some.count == metrics_at_once)
            some.combine();
    })(wanted, columns);
    some.combine();
}

/// The rows of a field: those of the parts that have nodes. False when they differ. Collective.
bool common_rows(const distributed_mesh& mesh, const dense2D<double>& field, std::uint64_t& rows, MPI_Comm comm) {
    const bool counts = mesh.pos.cols() != 0;
    rows = largest_of_all(counts ? field.rows() : 0, comm);
    const std::uint64_t least = ~largest_of_all(counts ? ~std::uint64_t(field.rows()) : 0, comm);
    return rows == 0 || least == no_id || rows == least;
}

} // namespace

int interpolate(const distributed_mesh& mesh, const dense2D<double>& field, const dense2D<double>& points,
                dense2D<double>& values, dense1D<std::uint64_t, 8>& elements, MPI_Comm comm) {
    std::uint64_t rows = 0;
    const bool same_rows = common_rows(mesh, field, rows, comm);
    int status = check_search(mesh, ET_TH4, ET_TH4, points, comm);
    if (status != -2 && (!same_rows || (mesh.pos.cols() != 0 && field.cols() != mesh.pos.cols())))
        status = -5;
    status = agree_on_part(status, mesh, comm);
    if (status < 0)
        return status;

    const auto at_point = [&](const unsigned* nodes, const vector_fixed<double, 3>& w, double* column) {
        const double *const f0 = field.col(nodes[0]), *const f1 = field.col(nodes[1]), *const f2 = field.col(nodes[2]),
                            *const f3 = field.col(nodes[3]);
        for (std::size_t i = 0; i < rows; ++i)
            column[i] = (f0[i] - f3[i]) * w[0] + (f1[i] - f3[i]) * w[1] + (f2[i] - f3[i]) * w[2] + f3[i];
    };
    const auto combine = [&](const located_points& located, const dense1D<unsigned char, 8>& wanted,
                             dense2D<double>& columns) {
        one_by_one([&](std::size_t k, double* column) {
            at_point(mesh.connectivity.col(located.columns[k]), located.local[k], column);
        })(wanted, columns);
    };
    const auto copy = [&](unsigned node, double* column) { std::copy_n(field.col(node), rows, column); };
    fetched_values fetched;
    status = fetch(mesh, points, rows, combine, copy, fetched, comm);
    if (status < 0)
        return status;

    dense2D<double> result;
    status = agree(result.resize(rows, count_of(points), 0.0) ? 0 : no_memory, comm);
    if (status < 0)
        return status;
    hand_out(fetched, [&](unsigned point, const double* column) { std::copy_n(column, rows, result.col(point)); });
    values = result;
    elements = fetched.located.elements;
    return 0;
}

int interpolate_metrics(const distributed_mesh& mesh, const dense2D<double>& metrics, const dense2D<double>& points,
                        dense2D<double>& values, dense1D<std::uint64_t, 8>& elements, MPI_Comm comm) {
    const bool has_metrics = mesh.pos.cols() == 0 || (metrics.rows() == 6 && metrics.cols() == mesh.pos.cols());
    const bool has_values = count_of(points) == 0 || (values.rows() == 6 && values.cols() == count_of(points));
    int status = check_search(mesh, ET_TH4, ET_TH4, points, comm);
    if (status != -2 && !has_metrics)
        status = -5;
    else if (status != -2 && status != -7 && !has_values)
        status = -8;
    status = agree_on_part(status, mesh, comm);
    if (status < 0)
        return status;

    constexpr std::size_t rows = 7; // behind the entries: whether they are a metric, which some combinations are not
    const auto combine = [&](const located_points& located, const dense1D<unsigned char, 8>& wanted,
                             dense2D<double>& columns) { combine_wanted(mesh, metrics, located, wanted, columns); };
    const auto copy = [&](unsigned node, double* column) {
        std::copy_n(metrics.col(node), 6, column);
        column[6] = 1;
    };
    fetched_values fetched;
    status = fetch(mesh, points, rows, combine, copy, fetched, comm);
    if (status < 0)
        return status;
    hand_out(fetched, [&](unsigned point, const double* column) {
        if (column[6] != 0)
            std::copy_n(column, 6, values.col(point));
    });
    elements = fetched.located.elements;
    return 0;
}

} // namespace quorl::meldra3d_mpi
