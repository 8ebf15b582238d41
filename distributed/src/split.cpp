// The serial split of the part with its ghosts. Each element becomes consecutive hexahedra, and all nodes that it
// brings are among theirs.

#include <algorithm>
#include <utility>

#include <meldra3d_mpi/meldra3d_mpi.h>

#include "check_part.h"
#include "common_values.h"
#include "exchange.h"
#include "frame/element_tables.h"
#include "ghost_layer.h"
#include "numbering.h"

namespace quorl::meldra3d_mpi {

namespace {

using namespace detail;

/// Hexahedra from an element, one at each of its vertices.
unsigned pieces_of(const dense2D<unsigned int>& connectivity, std::size_t element) {
    const unsigned* const column = connectivity.col(element);
    return static_cast<unsigned>(std::find(column, column + connectivity.rows(), no_node) - column);
}

/// True when a mixed mesh has elements with less nodes than a wedge.
bool holds_pyramid_or_tetrahedron(const dense2D<unsigned int>& connectivity) {
    for (std::size_t j = 0; j < connectivity.cols() && !connectivity.empty(); ++j)
        if (pieces_of(connectivity, j) < meldra3d::detail::rows_of(ET_W6))
            return true;
    return false;
}

int check(const distributed_mesh& mesh, MPI_Comm comm) {
    if (mesh.type != ET_TH4 && mesh.type != ET_W6 && mesh.type != ET_H8 && mesh.type != ET_SOLID_MIX)
        return -2;
    if (mesh.type == ET_SOLID_MIX && holds_pyramid_or_tetrahedron(mesh.connectivity))
        return -2;
    return check_part(mesh, comm);
}

/// Lists where the pieces of each element begin.
bool list_pieces(const dense2D<unsigned int>& connectivity, dense1D<std::size_t, 8>& first) {
    const std::size_t elements = connectivity.empty() ? 0 : connectivity.cols();
    if (!first.resize(elements + 1))
        return false;
    first[0] = 0;
    for (std::size_t j = 0; j < elements; ++j)
        first[j + 1] = first[j] + pieces_of(connectivity, j);
    return true;
}

/// Gives the pieces of own elements their global IDs: consecutive ones, in the order of the elements.
int number_pieces(const distributed_mesh& mesh, distributed_mesh& pieces, MPI_Comm comm) {
    const std::size_t elements = mesh.element_ids.size();
    dense1D<unsigned int, 8> counts;
    const bool resized = counts.resize(elements) && pieces.element_ids.resize(pieces.connectivity.cols());
    if (const int status = agree(resized ? 0 : no_memory, comm); status < 0)
        return status;
    for (std::size_t j = 0; j < elements; ++j)
        counts[j] = pieces_of(mesh.connectivity, j);
    dense1D<std::uint64_t, 8> starts;
    if (const int status = sum_below(mesh, counts, starts, pieces.elements, comm); status < 0)
        return status;
    std::uint64_t* next = pieces.element_ids.begin();
    for (std::size_t j = 0; j < elements; ++j)
        for (unsigned k = 0; k < counts[j]; ++k)
            *next++ = starts[j] + k;
    return 0;
}

/// The result for this part; the elements have `rows` rows. The same status on all ranks.
int split(const distributed_mesh& mesh, std::size_t rows, distributed_mesh& pieces, MPI_Comm comm) {
    extended_part extended;
    if (const int status = extend_in_rows(mesh, rows, extended, comm); status < 0)
        return status;
    const std::size_t nodes = extended.pos.cols();
    extended_result result;
    dense2D<unsigned int> faces, edges;
    int done = meldra3d::split_into_H8(extended.pos, extended.connectivity, result.connectivity, faces, edges);
    if (!list_pieces(extended.connectivity, result.first))
        done = no_memory;
    if (const int status = agree(done, comm); status < 0)
        return status;
    const id_range range{static_cast<unsigned>(nodes), static_cast<unsigned>(extended.pos.cols() - nodes)};
    new_nodes found;
    if (const int status = number_new_nodes(mesh, extended, result, range, found, comm); status < 0)
        return status;
    const part_numbering numbering(mesh, range.first, found);
    int cut = cut_nodes(mesh, extended.pos, numbering, 1, pieces);
    if (!cut_elements(result, numbering, pieces.connectivity))
        cut = no_memory;
    if (const int status = agree(cut, comm); status < 0)
        return status;
    pieces.type = ET_H8;
    return number_pieces(mesh, pieces, comm);
}

} // namespace

int split_into_H8(distributed_mesh& mesh, MPI_Comm comm) {
    const std::size_t rows = common_rows(mesh, comm);
    if (rows == 0)
        return agree(0, comm); // an empty mesh
    if (const int status = agree_on_part(check(mesh, comm), mesh, comm); status < 0)
        return status;
    distributed_mesh pieces;
    const int status = split(mesh, rows, pieces, comm);
    if (status == 0)
        mesh = std::move(pieces);
    return status;
}

} // namespace quorl::meldra3d_mpi
