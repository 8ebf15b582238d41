#pragma once

#include "parts.h"

// Ways to cut a mesh, and parts in the order that a caller may have them in.
namespace test {

/// Blocks, elements anywhere, ranks without elements in between, and all elements on the last rank.
inline std::vector<dense1D<int, 8>> many_owners(std::size_t elements) {
    const int ranks = world_size();
    std::vector<dense1D<int, 8>> all{blocks_of_owners(elements, ranks), scattered_owners(elements, ranks)};
    dense1D<int, 8> odd = scattered_owners(elements, ranks, 3);
    for (int& owner : odd)
        owner |= ranks > 1 ? 1 : 0;
    for (int& owner : odd)
        owner = std::min(owner, ranks - 1);
    all.push_back(odd);
    all.push_back(dense1D<int, 8>(elements, ranks - 1));
    return all;
}

/// The owners when each element becomes a number of them.
template <class Pieces>
dense1D<int, 8> owners_of_pieces(const dense1D<int, 8>& owners, const Pieces& pieces_of) {
    dense1D<int, 8> all;
    for (std::size_t j = 0; j < owners.size(); ++j)
        for (std::size_t k = 0; k < pieces_of(j); ++k)
            all.push_back(owners[j]);
    return all;
}

/// The places of a list's entries in ascending order.
inline std::vector<std::size_t> ascending(const dense1D<std::uint64_t, 8>& ids) {
    std::vector<std::size_t> order(ids.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return ids[a] < ids[b]; });
    return order;
}

/// A part with its k-th node from column nodes[k], and its elements likewise.
inline distributed_mesh reordered(const distributed_mesh& part, const std::vector<std::size_t>& nodes,
                                  const std::vector<std::size_t>& elements) {
    distributed_mesh result = deep_copy(part);
    std::vector<unsigned> to(nodes.size());
    for (std::size_t k = 0; k < nodes.size(); ++k) {
        to[nodes[k]] = static_cast<unsigned>(k);
        std::copy_n(part.pos.col(nodes[k]), 3, result.pos.col(k));
        result.node_ids[k] = part.node_ids[nodes[k]];
    }
    for (std::size_t k = 0; k < elements.size(); ++k) {
        result.element_ids[k] = part.element_ids[elements[k]];
        for (std::size_t i = 0; i < part.connectivity.rows(); ++i) {
            const unsigned id = part.connectivity(i, elements[k]);
            result.connectivity(i, k) = id == no_node ? no_node : to[id];
        }
    }
    for (unsigned& node : result.shared_nodes)
        node = to[node];
    return result;
}

inline distributed_mesh in_order(const distributed_mesh& part) {
    return reordered(part, ascending(part.node_ids), ascending(part.element_ids));
}

/// Nodes and elements in random order, in matrices whose columns lie apart.
inline distributed_mesh in_disorder(const distributed_mesh& part) {
    std::mt19937 random(static_cast<unsigned>(world_rank()) + 1);
    std::vector<std::size_t> nodes = ascending(part.node_ids), elements = ascending(part.element_ids);
    std::shuffle(nodes.begin(), nodes.end(), random);
    std::shuffle(elements.begin(), elements.end(), random);
    distributed_mesh result = reordered(part, nodes, elements);
    result.pos = as_window(result.pos, -1.0);
    result.connectivity = as_window(result.connectivity, 0U);
    return result;
}

/// The part with elements of one kind in the rows of that kind, where it holds no others.
inline distributed_mesh in_fewest_rows(const distributed_mesh& part) {
    std::size_t least = part.connectivity.rows(), most = 0;
    for (std::size_t j = 0; j < part.connectivity.cols(); ++j) {
        std::size_t nodes = part.connectivity.rows();
        while (part.connectivity(nodes - 1, j) == no_node)
            --nodes;
        least = std::min(least, nodes);
        most = std::max(most, nodes);
    }
    distributed_mesh result = deep_copy(part);
    if (least == most)
        result.connectivity = result.connectivity.sub(0, 0, most, part.connectivity.cols());
    return result;
}

/// Elements on nodes drawn from a few: edges and faces that many elements have, in all directions, or one element
/// twice. `rows` is the number of nodes of each kind that a column may be.
inline whole_mesh tangle(element_type type, const std::vector<std::size_t>& rows, unsigned seed) {
    std::mt19937 random(seed);
    whole_mesh mesh{dense2D<double>(3, 9), dense2D<unsigned>(*std::max_element(rows.begin(), rows.end()), 0), type};
    for (std::size_t j = 0; j < mesh.pos.cols(); ++j)
        for (unsigned i = 0; i < 3; ++i)
            mesh.pos(i, j) = static_cast<double>(random() % 1000) / 7;
    std::vector<unsigned> column(mesh.pos.cols());
    for (unsigned j = 0; j < 20; ++j) {
        std::iota(column.begin(), column.end(), 0U);
        std::shuffle(column.begin(), column.end(), random);
        if (random() % 4 == 0)
            column[0] = column[1];
        std::fill(column.begin() + static_cast<std::ptrdiff_t>(rows[random() % rows.size()]), column.end(), no_node);
        mesh.connectivity.append(column.data());
    }
    return mesh;
}

/// A mesh all on rank 0, whose node 0 the other ranks have as well, but no element: they get ghosts all the same.
inline distributed_mesh with_lookers_on(const whole_mesh& mesh) {
    distributed_mesh part = cut(mesh, dense1D<int, 8>(mesh.connectivity.cols(), 0));
    if (world_rank() != 0) {
        part.pos.append(mesh.pos.col(0));
        part.node_ids.push_back(0);
    }
    part.first_shared.clear();
    for (int rank = 0; rank < world_size(); ++rank) {
        if (rank == world_rank())
            continue;
        part.neighbor_ranks.push_back(rank);
        part.first_shared.push_back(part.shared_nodes.size());
        part.shared_nodes.push_back(0); // nodes are in ascending order
    }
    part.first_shared.push_back(part.shared_nodes.size());
    return part;
}

/// Whether the parts are those of a mesh: put together they make it, and their lists of shared nodes are those that the
/// library finds itself. Coordinates of nodes that no element names do not count.
inline bool make_up(const distributed_mesh& parts, const whole_mesh& mesh) {
    distributed_mesh fresh = deep_copy(parts);
    fresh.neighbor_ranks.clear();
    fresh.first_shared.clear();
    fresh.shared_nodes.clear();
    if (meldra3d_mpi::find_shared_nodes(fresh, MPI_COMM_WORLD) != 0 || !same_part(fresh, parts))
        return false;
    dense2D<double> pos;
    dense2D<unsigned> connectivity;
    if (meldra3d_mpi::gather(parts, pos, connectivity, MPI_COMM_WORLD) != 0)
        return false;
    if (world_rank() != 0)
        return pos.empty() && connectivity.empty();
    for (const unsigned node : test::entries(mesh.connectivity))
        if (node != no_node && std::memcmp(pos.col(node), mesh.pos.col(node), 3 * sizeof(double)) != 0)
            return false;
    return same_bits(connectivity, mesh.connectivity) && pos.cols() == mesh.pos.cols();
}

/// Whether the ranks that have a node have the same bits for where it lies.
inline bool agree_on_nodes(const distributed_mesh& part) {
    std::vector<std::uint64_t> mine(6 * part.nodes, 0), largest(6 * part.nodes);
    const auto visit = [&](const auto& with) {
        for (std::size_t j = 0; j < part.node_ids.size(); ++j)
            for (unsigned i = 0; i < 3; ++i) {
                std::uint64_t bits = 0;
                std::memcpy(&bits, &part.pos(i, j), sizeof bits);
                with(6 * part.node_ids[j] + 2 * i, bits);
            }
    };
    visit([&](std::size_t at, std::uint64_t bits) {
        mine[at] = bits;
        mine[at + 1] = ~bits;
    });
    MPI_Allreduce(mine.data(), largest.data(), static_cast<int>(mine.size()), MPI_UINT64_T, MPI_MAX, MPI_COMM_WORLD);
    bool alike = true;
    visit(
        [&](std::size_t at, std::uint64_t bits) { alike = alike && largest[at] == bits && largest[at + 1] == ~bits; });
    return alike;
}

} // namespace test
