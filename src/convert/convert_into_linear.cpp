// A high-order element lists its vertices first, so that the linear one is what is left of its rows. In a mixed mesh
// the smaller kinds have to be marked as such before the rows go.

#include <meldra3d/convert.h>

#include <algorithm>

#include "frame/element_tables.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

/// Number of vertices of a column of the mixed quadratic layout. Only rows that the matrix has can be unused, so that
/// a kind which fills all rows is taken for the last one.
unsigned vertices_of_column(const mixed_record& record, const unsigned* column, std::size_t rows) {
    unsigned k = 0;
    for (; k + 1 < record.kinds; ++k) {
        const unsigned end = rows_of(record.kind[k]);
        if (end < rows && column[end] == no_node)
            break;
    }
    return rows_of(element_records[std::size_t(record.kind[k])].linear);
}

/// True for the row counts of a mixed quadratic mesh: those of its kinds but the tetrahedron.
bool is_mixed_quadratic(const mixed_record& record, std::size_t rows) {
    for (unsigned k = 1; k < record.kinds; ++k)
        if (rows_of(record.kind[k]) == rows)
            return true;
    return false;
}

} // namespace

int convert_into_linear(dense2D<unsigned int>& connect) {
    if (connect.empty())
        return 0;
    if (connect.rows() == rows_of(ET_TH10)) {
        connect.resize(rows_of(ET_TH4), connect.cols()); // fewer rows never need memory
        return 0;
    }
    const mixed_record& record = *find_mixed_record(ET_SOLID_MIX_Q);
    if (!is_mixed_quadratic(record, connect.rows()))
        return -1;
    constexpr unsigned rows = rows_of(ET_SOLID_MIX);
    unsigned* column = connect.data();
    for (std::size_t j = 0; j < connect.cols(); ++j, column += connect.ld())
        std::fill(column + vertices_of_column(record, column, connect.rows()), column + rows, no_node);
    connect.resize(rows, connect.cols());
    return 0;
}

} // namespace quorl::meldra3d
