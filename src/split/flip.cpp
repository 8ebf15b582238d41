// The flips exchange rows of a connectivity, column by column. The pairs are data (flip_tables.h), and known when the
// loop over the columns is compiled: read from the table while it runs they would cost as much as the exchanges.

#include <meldra3d/flip.h>

#include <algorithm>
#include <utility>

#include "split/flip_tables.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

template <exchange_list List>
[[gnu::always_inline]] inline void exchange_rows(unsigned* column) {
    [column]<std::size_t... K>(std::index_sequence<K...>) {
        (std::iter_swap(column + List.pair[K][0], column + List.pair[K][1]), ...);
    }
    (std::make_index_sequence<List.count>());
}

template <exchange_list List>
void exchange_columns(dense2D<unsigned int>& connectivity) {
    const std::size_t cols = connectivity.cols();
    const std::size_t ld = connectivity.ld();
    unsigned* column = connectivity.data();
    for (std::size_t j = 0; j < cols; ++j, column += ld)
        exchange_rows<List>(column);
}

template <std::size_t... K>
void exchange_columns_of(element_type type, dense2D<unsigned int>& connectivity, std::index_sequence<K...>) {
    ((flip_records[K].type == type ? exchange_columns<flip_records[K].exchanges>(connectivity) : void()), ...);
}

/// A row that tells the kind changes places only with another that holds a node: a second flip finds the same kind.
void exchange_mixed_column(unsigned* column) {
    if (column[10] == no_node) {
        exchange_rows<exchanges_of(ET_TH10)>(column);
    } else if (column[14] == no_node) {
        exchange_rows<exchanges_of(ET_PY14)>(column);
    } else if (column[18] == no_node) {
        exchange_rows<exchanges_of(ET_W18)>(column);
    } else {
        exchange_rows<exchanges_of(ET_H27)>(column);
        exchange_rows<mixed_hexahedron_exchanges>(column);
    }
}

template <flip_record Record>
int flip_kind(dense2D<unsigned int>& connectivity) {
    if (connectivity.cols() == 0)
        return 0;
    if (connectivity.rows() != rows_of(Record.type))
        return -1;
    exchange_columns<Record.exchanges>(connectivity);
    return 0;
}

} // namespace

int flip(dense2D<unsigned int>& connectivity, element_type type) {
    if (connectivity.cols() == 0)
        return 0;
    if (type == ET_SOLID_MIX) {
        if (connectivity.rows() != rows_of(ET_SOLID_MIX_Q))
            return -2;
        unsigned* column = connectivity.data();
        for (std::size_t j = 0; j < connectivity.cols(); ++j, column += connectivity.ld())
            exchange_mixed_column(column);
        return 0;
    }
    const element_record* const record = find_record(type);
    if (!record || connectivity.rows() != record->rows)
        return -2;
    exchange_columns_of(type, connectivity, std::make_index_sequence<flip_records.size()>());
    return 0;
}

int flip_H8(dense2D<unsigned int>& connectivity) {
    return flip_kind<flip_H8_record>(connectivity);
}

int flip_TH4(dense2D<unsigned int>& connectivity) {
    return flip_kind<flip_TH4_record>(connectivity);
}

int flip_W6(dense2D<unsigned int>& connectivity) {
    return flip_kind<flip_W6_record>(connectivity);
}

} // namespace quorl::meldra3d
