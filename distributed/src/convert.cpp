// The serial conversion of the part with its ghosts: the first element that meets an edge or a face of an own element
// is then that of the whole mesh, which decides where the nodes stand and with which bits they are placed.

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

/// The names are those of the public header.
struct node_counts {
    unsigned nE, nQ, nT, nH, nTH, nX, nY;

    bool none() const { return (nE | nQ | nT | nH | nTH | nX | nY) == 0; }
};

bool is_linear_solid(element_type type) {
    return type == ET_TH4 || type == ET_PY5 || type == ET_W6 || type == ET_H8 || type == ET_SOLID_MIX;
}

/// What the serial function says of the counts, tried on one tetrahedron. How many nodes an edge or a wedge gets needs
/// no check.
int check_counts(const node_counts& n) {
    dense2D<double> pos(3, 4, 0.0);
    dense2D<unsigned int> tetrahedron(4, 1), converted, faces, edges;
    if (pos.empty() || tetrahedron.empty())
        return no_memory;
    for (unsigned i = 0; i < 4; ++i)
        tetrahedron(i, 0) = i;
    return meldra3d::convert_into_high_order(pos, tetrahedron, std::min(n.nE, 1u), n.nQ, n.nT, n.nH, n.nTH, 0, n.nY,
                                             converted, faces, edges);
}

int check(const distributed_mesh& mesh, const node_counts& n, MPI_Comm comm) {
    if (!is_linear_solid(mesh.type))
        return -2;
    if (const int status = check_counts(n); status < 0)
        return status;
    return check_part(mesh, comm);
}

/// The type of the one kind that a mesh holds; a mixed one of fewer than 8 rows holds only one.
element_type kind_of(element_type type, std::size_t rows) {
    if (type == ET_SOLID_MIX)
        for (const element_type kind : {ET_TH4, ET_PY5, ET_W6})
            if (rows == meldra3d::detail::rows_of(kind))
                return kind;
    return type;
}

/// The quadratic type of converted elements of one kind, or the kind where they got no nodes; otherwise none.
element_type type_of_kind(element_type kind, const node_counts& n) {
    const unsigned in_triangle = kind == ET_H8 ? 0 : n.nT;
    const unsigned in_quadrangle = kind == ET_TH4 ? 0 : n.nQ;
    const unsigned inside = kind == ET_TH4 ? n.nTH : kind == ET_PY5 ? n.nY : kind == ET_W6 ? n.nX : n.nH;
    if ((n.nE | in_triangle | in_quadrangle | inside) == 0)
        return kind;
    const bool centres = in_quadrangle == 1;
    if (n.nE != 1 || in_triangle != 0 || in_quadrangle > 1 || inside != (kind == ET_H8 ? in_quadrangle : 0))
        return ET_NONE;
    switch (kind) {
    case ET_TH4:
        return ET_TH10;
    case ET_PY5:
        return centres ? ET_PY14 : ET_PY13;
    case ET_W6:
        return centres ? ET_W18 : ET_W15;
    default:
        return centres ? ET_H27 : ET_H20;
    }
}

/// The type of converted elements of the kind `kind`, or of all kinds, in a matrix of so many rows: for hexahedra it
/// may have more rows than they fill, since the serial function takes 8 rows for mixed ones.
element_type converted_type(element_type kind, const node_counts& n, std::uint64_t rows) {
    if (kind != ET_SOLID_MIX) {
        const element_type type = type_of_kind(kind, n);
        return rows == meldra3d::detail::rows_of(type) ? type : ET_NONE;
    }
    for (const element_type each : {ET_TH4, ET_PY5, ET_W6, ET_H8})
        if (const element_type type = type_of_kind(each, n); type == ET_NONE || type == each)
            return ET_NONE;
    return ET_SOLID_MIX_Q;
}

/// The result for this part; the elements have `rows` rows. The same status on all ranks.
int convert(const distributed_mesh& mesh, const node_counts& n, std::size_t rows, distributed_mesh& converted,
            MPI_Comm comm) {
    extended_part extended;
    if (const int status = extend_in_rows(mesh, rows, extended, comm); status < 0)
        return status;
    const std::size_t nodes = extended.pos.cols();
    extended_result result;
    dense2D<unsigned int> faces, edges;
    const int done = meldra3d::convert_into_high_order(extended.pos, extended.connectivity, n.nE, n.nQ, n.nT, n.nH,
                                                       n.nTH, n.nX, n.nY, result.connectivity, faces, edges);
    if (const int status = agree(done, comm); status < 0)
        return status;
    converted.type = converted_type(kind_of(mesh.type, rows), n, largest_of_all(result.connectivity.rows(), comm));
    const id_range range{static_cast<unsigned>(nodes), static_cast<unsigned>(extended.pos.cols() - nodes)};
    new_nodes found;
    if (const int status = number_new_nodes(mesh, extended, result, range, found, comm); status < 0)
        return status;
    const part_numbering numbering(mesh, range.first, found);
    const int cut = cut_nodes(mesh, extended.pos, numbering, 1, converted);
    const bool copied =
        cut_elements(result, numbering, converted.connectivity) && converted.element_ids.copy(mesh.element_ids);
    converted.elements = mesh.elements;
    return agree(copied ? cut : no_memory, comm);
}

} // namespace

int convert_into_high_order(distributed_mesh& mesh, unsigned int nE, unsigned int nQ, unsigned int nT, unsigned int nH,
                            unsigned int nTH, unsigned int nX, unsigned int nY, MPI_Comm comm) {
    const node_counts n{nE, nQ, nT, nH, nTH, nX, nY};
    const int alike = check_common({{nE, -3}, {nQ, -4}, {nT, -5}, {nH, -6}, {nTH, -7}, {nX, -8}, {nY, -9}}, comm);
    if (alike < 0 || n.none())
        return alike;
    const std::size_t rows = common_rows(mesh, comm);
    if (rows == 0)
        return agree(0, comm); // an empty mesh
    if (const int status = agree_on_part(check(mesh, n, comm), mesh, comm); status < 0)
        return status;
    distributed_mesh converted;
    const int status = convert(mesh, n, rows, converted, comm);
    if (status == 0)
        mesh = std::move(converted);
    return status;
}

int convert_into_quadratic(distributed_mesh& mesh, MPI_Comm comm) {
    return convert_into_high_order(mesh, 1, 1, 0, 1, 0, 0, 0, comm);
}

} // namespace quorl::meldra3d_mpi
