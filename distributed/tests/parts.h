#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <meldra3d_mpi/meldra3d_mpi.h>

#include "support/meshes.h"

// Whole meshes, the same on all ranks, and parts of them made without a message: what the library's own cutting and
// searching for shared nodes is compared with.
namespace test {

using namespace quorl;
using meldra3d_mpi::distributed_mesh;

inline int world_rank() {
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    return rank;
}

inline int world_size() {
    int size = 1;
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    return size;
}

struct whole_mesh {
    dense2D<double> pos;
    dense2D<unsigned> connectivity;
    element_type type = ET_NONE;
};

/// Nodes of a grid of nx x ny x nz cells, out of line so that no two lengths are equal.
inline dense2D<double> grid_nodes(unsigned nx, unsigned ny, unsigned nz) {
    dense2D<double> pos(3, 0);
    for (unsigned z = 0; z <= nz; ++z)
        for (unsigned y = 0; y <= ny; ++y)
            for (unsigned x = 0; x <= nx; ++x) {
                const double p[3] = {x + 0.07 * y + 0.003 * z * z, y + 0.05 * z + 0.002 * x * x, z + 0.011 * x * y};
                pos.append(p);
            }
    return pos;
}

/// A grid of cells of one linear kind, or each cell of another (ET_SOLID_MIX, ET_FACE_MIX); faces lie in one layer.
inline whole_mesh grid(element_type type, unsigned nx, unsigned ny, unsigned nz) {
    // A cell by its hexahedron 0, ..., 7; 8 stands for its centre.
    static const std::map<element_type, std::vector<std::vector<unsigned>>> cuts{
        {ET_T3, {{0, 1, 2}, {0, 2, 3}}},
        {ET_Q4, {{0, 1, 2, 3}}},
        {ET_TH4, {{0, 2, 1, 6}, {0, 3, 2, 6}, {0, 7, 3, 6}, {0, 4, 7, 6}, {0, 5, 4, 6}, {0, 1, 5, 6}}},
        {ET_PY5,
         {{0, 1, 2, 3, 8}, {4, 7, 6, 5, 8}, {0, 4, 5, 1, 8}, {1, 5, 6, 2, 8}, {2, 6, 7, 3, 8}, {3, 7, 4, 0, 8}}},
        {ET_W6, {{0, 1, 2, 4, 5, 6}, {0, 2, 3, 4, 6, 7}}},
        {ET_H8, {{0, 1, 2, 3, 4, 5, 6, 7}}}};
    const bool faces = type == ET_T3 || type == ET_Q4 || type == ET_FACE_MIX;
    whole_mesh mesh{grid_nodes(nx, ny, faces ? 0 : nz), {}, type};
    mesh.connectivity.resize(faces            ? (type == ET_T3 ? 3 : 4)
                             : type == ET_TH4 ? 4
                             : type == ET_PY5 ? 5
                             : type == ET_W6  ? 6
                                              : 8,
                             0);
    const auto node = [&](unsigned x, unsigned y, unsigned z) { return x + (nx + 1) * (y + (ny + 1) * z); };
    unsigned cell = 0;
    for (unsigned z = 0; z < (faces ? 1 : nz); ++z)
        for (unsigned y = 0; y < ny; ++y)
            for (unsigned x = 0; x < nx; ++x, ++cell) {
                std::vector<unsigned> corner{node(x, y, z), node(x + 1, y, z), node(x + 1, y + 1, z),
                                             node(x, y + 1, z)};
                for (unsigned k = 0; k < 4 && !faces; ++k)
                    corner.push_back(corner[k] + (nx + 1) * (ny + 1));
                element_type kind = type;
                if (type == ET_FACE_MIX)
                    kind = cell % 2 == 0 ? ET_T3 : ET_Q4;
                if (type == ET_SOLID_MIX) // layer by layer, so that faces match: wedges and hexahedra side by side in y
                    kind = std::vector{ET_H8, ET_W6, ET_PY5}[z % 3];
                if (kind == ET_PY5) {
                    double centre[3] = {};
                    for (unsigned k = 0; k < 8; ++k)
                        for (unsigned i = 0; i < 3; ++i)
                            centre[i] += mesh.pos(i, corner[k]) / 8;
                    corner.push_back(static_cast<unsigned>(mesh.pos.cols()));
                    mesh.pos.append(centre);
                }
                for (const std::vector<unsigned>& local : cuts.at(kind)) {
                    std::vector<unsigned> column(mesh.connectivity.rows(), no_node);
                    for (std::size_t i = 0; i < local.size(); ++i)
                        column[i] = corner[local[i]];
                    mesh.connectivity.append(column.data());
                }
            }
    return mesh;
}

/// The same mesh in another order of nodes and elements.
inline whole_mesh shuffled(const whole_mesh& mesh, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::vector<unsigned> node(mesh.pos.cols()), element(mesh.connectivity.cols());
    std::iota(node.begin(), node.end(), 0U);
    std::iota(element.begin(), element.end(), 0U);
    std::shuffle(node.begin(), node.end(), random);
    std::shuffle(element.begin(), element.end(), random);
    whole_mesh result{dense2D<double>(3, mesh.pos.cols()),
                      dense2D<unsigned>(mesh.connectivity.rows(), mesh.connectivity.cols()), mesh.type};
    for (std::size_t j = 0; j < node.size(); ++j)
        std::copy_n(mesh.pos.col(j), 3, result.pos.col(node[j]));
    for (std::size_t j = 0; j < element.size(); ++j)
        for (std::size_t i = 0; i < mesh.connectivity.rows(); ++i) {
            const unsigned id = mesh.connectivity(i, j);
            result.connectivity(i, element[j]) = id == no_node ? no_node : node[id];
        }
    return result;
}

/// Its quadratic form (ET_TH10, ..., ET_SOLID_MIX_Q).
inline whole_mesh quadratic(const whole_mesh& mesh) {
    static const std::map<element_type, element_type> types{
        {ET_TH4, ET_TH10}, {ET_PY5, ET_PY14}, {ET_W6, ET_W18}, {ET_H8, ET_H27}, {ET_SOLID_MIX, ET_SOLID_MIX_Q}};
    whole_mesh result;
    result.pos.copy(mesh.pos);
    result.connectivity.copy(mesh.connectivity);
    result.type = types.at(mesh.type);
    EXPECT_EQ(meldra3d::convert_into_quadratic(result.pos, result.connectivity), 0);
    return result;
}

/// Ranks by chance, the same everywhere: parts in many pieces, each neighbour of each.
inline dense1D<int, 8> scattered_owners(std::size_t elements, int ranks, unsigned seed = 7) {
    std::mt19937 random(seed);
    dense1D<int, 8> owners(elements, 0);
    for (int& owner : owners)
        owner = static_cast<int>(random() % static_cast<unsigned>(ranks));
    return owners;
}

/// The first elements to rank 0, and so on.
inline dense1D<int, 8> blocks_of_owners(std::size_t elements, int ranks) {
    dense1D<int, 8> owners(elements, 0);
    for (std::size_t k = 0; k < elements; ++k)
        owners[k] = static_cast<int>(k * static_cast<std::size_t>(ranks) / elements);
    return owners;
}

/// The nodes that each rank's elements name, ascending.
inline std::vector<std::set<unsigned>> nodes_of_ranks(const whole_mesh& mesh, const dense1D<int, 8>& owners,
                                                      int ranks) {
    std::vector<std::set<unsigned>> nodes(static_cast<std::size_t>(ranks));
    for (std::size_t j = 0; j < mesh.connectivity.cols(); ++j)
        for (std::size_t i = 0; i < mesh.connectivity.rows(); ++i)
            if (mesh.connectivity(i, j) != no_node)
                nodes[static_cast<std::size_t>(owners[j])].insert(mesh.connectivity(i, j));
    return nodes;
}

/// A rank's part of a mesh, with nodes and elements in ascending order of global IDs.
inline distributed_mesh cut(const whole_mesh& mesh, const dense1D<int, 8>& owners, int rank, int ranks) {
    const std::vector<std::set<unsigned>> nodes = nodes_of_ranks(mesh, owners, ranks);
    const std::set<unsigned>& own = nodes[static_cast<std::size_t>(rank)];
    distributed_mesh part;
    part.type = mesh.type;
    part.nodes = mesh.pos.cols();
    part.elements = mesh.connectivity.empty() ? 0 : mesh.connectivity.cols();
    part.pos.resize(3, 0);
    std::map<unsigned, unsigned> column;
    for (const unsigned node : own) {
        column[node] = static_cast<unsigned>(part.pos.cols());
        part.pos.append(mesh.pos.col(node));
        part.node_ids.push_back(node);
    }
    part.connectivity.resize(mesh.connectivity.rows(), 0);
    for (std::size_t j = 0; j < part.elements; ++j) {
        if (owners[j] != rank)
            continue;
        std::vector<unsigned> ids = test::column(mesh.connectivity, j);
        for (unsigned& id : ids)
            id = id == no_node ? no_node : column[id];
        part.connectivity.append(ids.data());
        part.element_ids.push_back(j);
    }
    part.first_shared.push_back(0);
    for (int r = 0; r < ranks; ++r) {
        const std::size_t before = part.shared_nodes.size();
        for (const unsigned node : nodes[static_cast<std::size_t>(r)])
            if (r != rank && own.count(node) != 0)
                part.shared_nodes.push_back(column[node]);
        if (part.shared_nodes.size() == before)
            continue;
        part.neighbor_ranks.push_back(r);
        part.first_shared.push_back(part.shared_nodes.size());
    }
    return part;
}

inline distributed_mesh cut(const whole_mesh& mesh, const dense1D<int, 8>& owners) {
    return cut(mesh, owners, world_rank(), world_size());
}

/// The same part with its columns in the opposite order.
inline distributed_mesh reversed(const distributed_mesh& part) {
    distributed_mesh result = part;
    const std::size_t nodes = part.pos.cols();
    const std::size_t elements = part.element_ids.size();
    result.pos.copy(part.pos);
    result.connectivity.copy(part.connectivity);
    result.node_ids.copy(part.node_ids);
    result.element_ids.copy(part.element_ids);
    result.shared_nodes.copy(part.shared_nodes);
    std::reverse(result.node_ids.begin(), result.node_ids.end());
    std::reverse(result.element_ids.begin(), result.element_ids.end());
    for (std::size_t j = 0; j < nodes; ++j)
        std::copy_n(part.pos.col(nodes - 1 - j), 3, result.pos.col(j));
    const auto turned = [nodes](unsigned node) { return node == no_node ? no_node : unsigned(nodes - 1 - node); };
    for (std::size_t j = 0; j < elements; ++j)
        for (std::size_t i = 0; i < part.connectivity.rows(); ++i)
            result.connectivity(i, j) = turned(part.connectivity(i, elements - 1 - j));
    for (unsigned& node : result.shared_nodes)
        node = turned(node);
    return result;
}

template <class T>
std::vector<T> entries(const dense1D<T, 8>& list) {
    return {list.begin(), list.end()};
}

/// Whether two matrices have the same bits; of dimensions that are 0, any.
template <class T>
bool same_bits(const dense2D<T>& a, const dense2D<T>& b) {
    if (a.cols() != b.cols() || (a.cols() != 0 && a.rows() != b.rows()))
        return false;
    for (std::size_t j = 0; j < a.cols() && a.rows() != 0; ++j)
        if (std::memcmp(a.col(j), b.col(j), a.rows() * sizeof(T)) != 0)
            return false;
    return true;
}

/// Whether two parts have the same members, to the bit.
inline bool same_part(const distributed_mesh& a, const distributed_mesh& b) {
    return same_bits(a.pos, b.pos) && same_bits(a.connectivity, b.connectivity) && a.type == b.type &&
           entries(a.node_ids) == entries(b.node_ids) && entries(a.element_ids) == entries(b.element_ids) &&
           a.nodes == b.nodes && a.elements == b.elements && entries(a.neighbor_ranks) == entries(b.neighbor_ranks) &&
           entries(a.first_shared) == entries(b.first_shared) && entries(a.shared_nodes) == entries(b.shared_nodes);
}

/// A copy that shares no storage.
inline distributed_mesh deep_copy(const distributed_mesh& part) {
    distributed_mesh copy = part;
    copy.pos.copy(part.pos);
    copy.connectivity.copy(part.connectivity);
    copy.node_ids.copy(part.node_ids);
    copy.element_ids.copy(part.element_ids);
    copy.neighbor_ranks.copy(part.neighbor_ranks);
    copy.first_shared.copy(part.first_shared);
    copy.shared_nodes.copy(part.shared_nodes);
    return copy;
}

} // namespace test
