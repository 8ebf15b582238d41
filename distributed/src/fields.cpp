// Values of nodes between rank 0, which has those of the whole mesh, and the parts.

#include <algorithm>
#include <utility>

#include "check_part.h"
#include "exchange.h"
#include "lowest_ranks.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

/// The global IDs of some nodes of the part, for rank 0.
template <class NodeAt>
bool write_ids(const distributed_mesh& part, std::size_t count, NodeAt node_at, MPI_Comm comm,
               by_rank<std::uint64_t>& ids) {
    if (!is_count(count) || !ids.counts.resize(static_cast<std::size_t>(size_of(comm)), 0) ||
        !ids.records.resize(count))
        return false;
    ids.counts[0] = static_cast<int>(count);
    for (std::size_t k = 0; k < count; ++k)
        ids.records[k] = part.node_ids[node_at(k)];
    return true;
}

/// Copies columns into a contiguous matrix; column_at(k) is the source of the k-th.
template <class ColumnAt>
bool copy_columns(const dense2D<double>& from, std::size_t rows, std::size_t count, ColumnAt column_at,
                  dense2D<double>& to) {
    if (!to.resize(rows, count))
        return false;
    for (std::size_t k = 0; k < count && rows != 0; ++k)
        std::copy_n(from.col(column_at(k)), rows, to.col(k));
    return true;
}

/// The number of rows that the values have on all ranks with nodes; no_row_count when they differ.
constexpr std::uint64_t no_row_count = ~std::uint64_t(0);
std::uint64_t common_rows(const dense2D<double>& values, const distributed_mesh& part, MPI_Comm comm) {
    const bool counts = part.pos.cols() != 0;
    const std::uint64_t rows = values.rows();
    const std::uint64_t most = largest_of_all(counts ? rows : 0, comm);
    const std::uint64_t fewest = ~largest_of_all(counts ? ~rows : 0, comm);
    return most == fewest || fewest == no_row_count ? most : no_row_count;
}

} // namespace

} // namespace detail

int scatter_field(const dense2D<double>& field, const distributed_mesh& part, dense2D<double>& values, MPI_Comm comm) {
    using namespace detail;
    const bool holds_it = rank_of(comm) == 0;
    const int mine = holds_it && field.cols() != part.nodes ? -1 : check_part(part, comm);
    if (const int status = agree_on_part(mine, part, comm); status < 0)
        return status;
    const auto rows = static_cast<std::size_t>(largest_of_all(holds_it ? field.rows() : 0, comm));
    const std::size_t nodes = part.node_ids.size();
    by_rank<std::uint64_t> asked, came;
    const auto itself = [](std::size_t k) { return k; };
    if (const int status = agree(write_ids(part, nodes, itself, comm, asked) ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(asked, came, comm); status < 0)
        return status;
    dense2D<double> sent, received;
    const auto id_at = [&](std::size_t k) { return came.records[k]; };
    const bool room = copy_columns(field, rows, came.records.size(), id_at, sent) && received.resize(rows, nodes);
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange_blocks(rows * sizeof(double), sent.data(), came.counts.data(), received.data(),
                                           asked.counts.data(), comm);
        status < 0)
        return status;
    values = std::move(received);
    return 0;
}

int gather_field(const dense2D<double>& values, const distributed_mesh& part, dense2D<double>& field, MPI_Comm comm) {
    using namespace detail;
    const std::uint64_t rows_of_all = common_rows(values, part, comm);
    const bool suits = rows_of_all != no_row_count && values.cols() == part.pos.cols();
    if (const int status = agree_on_part(suits ? check_part(part, comm) : -1, part, comm); status < 0)
        return status;
    const auto rows = static_cast<std::size_t>(rows_of_all);
    dense1D<unsigned, 8> nodes;
    by_rank<std::uint64_t> ids, came;
    dense2D<double> sent, received, whole;
    const auto node_at = [&](std::size_t k) { return nodes[k]; };
    const bool written = nodes_of_lowest_rank(part, comm, nodes) && write_ids(part, nodes.size(), node_at, comm, ids) &&
                         copy_columns(values, rows, nodes.size(), node_at, sent);
    if (const int status = agree(written ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange(ids, came, comm); status < 0)
        return status;
    const bool room =
        received.resize(rows, came.records.size()) && (rank_of(comm) != 0 || whole.resize(rows, part.nodes, 0.0));
    if (const int status = agree(room ? 0 : no_memory, comm); status < 0)
        return status;
    if (const int status = exchange_blocks(rows * sizeof(double), sent.data(), ids.counts.data(), received.data(),
                                           came.counts.data(), comm);
        status < 0)
        return status;
    for (std::size_t k = 0; k < came.records.size() && rows != 0; ++k)
        std::copy_n(received.col(k), rows, whole.col(came.records[k]));
    field = std::move(whole);
    return 0;
}

} // namespace quorl::meldra3d_mpi
