#include "distribute.h"

#include <algorithm>
#include <array>
#include <utility>

#include "exchange.h"
#include "frame/element_tables.h"
#include "frame/id_count.h"
#include "mesh_message.h"

namespace quorl::meldra3d_mpi {

namespace detail {

namespace {

bool has_faces(element_type type) {
    const auto* const record = meldra3d::detail::find_record(type);
    return record && (meldra3d::detail::find_mixed_record(type) || meldra3d::detail::find_record(record->form));
}

/// Writes each rank's elements, ascending.
bool write_message(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, const dense1D<int, 8>& owners,
                   int ranks, mesh_message& message) {
    const dense1D<std::uint64_t, 8> columns; // no list: IDs are columns
    mesh_message_writer writer(pos, connectivity, columns, columns, message);
    by_rank<unsigned> elements;
    dense1D<std::size_t, 8> place;
    dense1D<unsigned, 8> of_rank;
    const auto owner = [&](std::size_t k) { return owners.empty() ? 0 : owners[k]; };
    const auto element = [](std::size_t k) { return static_cast<unsigned>(k); };
    if (!writer.begin(ranks) || !sort_by_rank(connectivity.cols(), ranks, owner, element, elements, place))
        return false;
    const unsigned* next = elements.records.begin();
    for (int r = 0; r < ranks; ++r) {
        const auto count = static_cast<std::size_t>(elements.counts[std::size_t(r)]);
        if (!of_rank.resize(count))
            return false;
        std::copy_n(next, count, of_rank.begin());
        next += count;
        if (!writer.write(r, of_rank))
            return false;
    }
    return true;
}

/// What came makes up the whole part: the elements, and the nodes in the order of their places.
bool read_message(const mesh_message& message, distributed_mesh& part) {
    const dense1D<element_record, 8>& elements = message.elements.records;
    const dense1D<node_record, 8>& nodes = message.nodes.records;
    if (!part.element_ids.resize(elements.size()) || !part.node_ids.resize(nodes.size()) ||
        !part.connectivity.resize(message.rows, elements.size()) || !part.pos.resize(3, nodes.size()))
        return false;
    std::copy(message.connectivity.begin(), message.connectivity.end(), part.connectivity.data());
    for (std::size_t k = 0; k < elements.size(); ++k)
        part.element_ids[k] = elements[k].id;
    for (std::size_t k = 0; k < nodes.size(); ++k) {
        double* const p = part.pos.col(k);
        part.node_ids[k] = nodes[k].id;
        p[0] = nodes[k].x;
        p[1] = nodes[k].y;
        p[2] = nodes[k].z;
    }
    return true;
}

} // namespace

int check_whole_mesh(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
                     MPI_Comm comm) {
    using meldra3d::detail::id_count;
    if (rank_of(comm) != 0 || connectivity.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    if (!has_faces(type))
        return -3;
    return meldra::check_IDs(connectivity, type, id_count(pos.cols())) ? 0 : -2;
}

int deal_out(int status, const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
             const dense1D<int, 8>& owners, distributed_mesh& part, MPI_Comm comm) {
    const bool holds_it = rank_of(comm) == 0;
    std::array<std::uint64_t, 4> head{};
    if (holds_it && !connectivity.empty())
        head = {pos.cols(), connectivity.cols(), connectivity.rows(), static_cast<std::uint64_t>(type)};
    else if (holds_it)
        head = {pos.cols(), 0, connectivity.rows(), static_cast<std::uint64_t>(type)};
    if (status = agree(status, comm); status < 0)
        return status;
    if (MPI_Bcast(head.data(), 4, MPI_UINT64_T, 0, comm) != MPI_SUCCESS)
        return no_message;
    distributed_mesh dealt;
    dealt.nodes = head[0];
    dealt.elements = head[1];
    dealt.type = static_cast<element_type>(head[3]);
    mesh_message sent, received;
    sent.rows = static_cast<std::size_t>(head[2]);

    const dense2D<double> no_pos;
    const dense2D<unsigned int> no_elements;
    const bool any = holds_it && head[1] != 0;
    const bool written =
        write_message(any ? pos : no_pos, any ? connectivity : no_elements, owners, size_of(comm), sent);
    if (status = agree(written ? 0 : no_memory, comm); status < 0)
        return status;
    if (status = exchange(sent, received, comm); status < 0)
        return status;
    if (status = agree(read_message(received, dealt) ? 0 : no_memory, comm); status < 0)
        return status;
    if (status = meldra3d_mpi::find_shared_nodes(dealt, comm); status < 0)
        return status;
    part = std::move(dealt);
    return 0;
}

} // namespace detail

int distribute(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity, element_type type,
               const dense1D<int, 8>& owners, distributed_mesh& part, MPI_Comm comm) {
    int status = detail::check_whole_mesh(pos, connectivity, type, comm);
    if (status == 0 && detail::rank_of(comm) == 0 && !connectivity.empty()) {
        const auto is_rank = [ranks = detail::size_of(comm)](int owner) { return owner >= 0 && owner < ranks; };
        if (owners.size() != connectivity.cols() || !std::all_of(owners.begin(), owners.end(), is_rank))
            status = -4;
    }
    return detail::deal_out(status, pos, connectivity, type, owners, part, comm);
}

} // namespace quorl::meldra3d_mpi
