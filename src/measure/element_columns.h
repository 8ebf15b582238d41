#pragma once

#include <cstddef>
#include <cstdint>

#include <meldra/element_type.h>
#include <numcore/numcore.h>

#include "measure/point.h"

// The elements of a mesh of linear solids, one after another: the kinds of their columns, and their points.
namespace quorl::meldra3d::detail {

inline constexpr std::size_t columns_ahead = 16; // some 100 ns of work: the latency of memory

/// The type that a row count stands for: one kind of solid, or a mix of them.
constexpr element_type type_of_rows(std::size_t rows) {
    switch (rows) {
    case 4:
        return ET_TH4;
    case 5:
        return ET_PY5;
    case 6:
        return ET_W6;
    default:
        return ET_SOLID_MIX;
    }
}

/// Nodes of a column of a checked mixed connectivity.
[[gnu::always_inline]] inline unsigned nodes_of(const unsigned* column) {
    return column[4] == no_node ? 4 : column[5] == no_node ? 5 : column[6] == no_node ? 6 : 8;
}

/// Asks for the memory that many bytes behind an address. It may lie outside of the array, for it is not read.
[[gnu::always_inline]] inline void prefetch_from(const void* address, std::size_t bytes) {
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(address) + bytes));
}

/// Coordinates for IDs that are checked. Those that a matrix lacks are 0; rows behind the third are not read.
class coordinate_reader {
public:
    explicit coordinate_reader(const dense2D<double>& pos) : data_(pos.data()), ld_(pos.ld()), rows_(pos.rows()) {}

    point<double> operator[](unsigned id) const {
        const double* const x = data_ + id * ld_;
        if (rows_ >= 3)
            return {x[0], x[1], x[2]};
        return {rows_ > 0 ? x[0] : 0, rows_ > 1 ? x[1] : 0, 0};
    }

    /// Asks for a node, or for a place that is never read where the ID is none.
    void prefetch(unsigned id) const { prefetch_from(data_, id * ld_ * sizeof(double)); }

private:
    const double* const data_;
    const std::size_t ld_;
    const std::size_t rows_;
};

/// measure(p) of the N points of a column.
template <std::size_t N, class Measure>
auto measure_nodes(const coordinate_reader& x, const unsigned* column, const Measure& measure) {
    point<double> p[N];
    for (std::size_t k = 0; k < N; ++k)
        p[k] = x[column[k]];
    return measure(p);
}

/// measure(p) of a column of `Rows` entries, p being an array of as many points as the element has nodes.
template <std::size_t Rows, class Measure>
auto measure_column(const coordinate_reader& x, const unsigned* column, const Measure& measure) {
    if constexpr (Rows != 8)
        return measure_nodes<Rows>(x, column, measure);
    else
        switch (nodes_of(column)) {
        case 4:
            return measure_nodes<4>(x, column, measure);
        case 5:
            return measure_nodes<5>(x, column, measure);
        case 6:
            return measure_nodes<6>(x, column, measure);
        default:
            return measure_nodes<8>(x, column, measure);
        }
}

/// Calls store(e, measure(p)) for each element of a checked connectivity of `Rows` rows.
template <std::size_t Rows, class Measure, class Store>
void measure_columns(const coordinate_reader& x, const dense2D<unsigned int>& connect, const Measure& measure,
                     const Store& store) {
    const unsigned* column = connect.data();
    for (std::size_t e = 0; e < connect.cols(); ++e, column += connect.ld()) {
        if (e + columns_ahead < connect.cols())
            for (std::size_t k = 0; k < Rows; ++k)
                x.prefetch(column[columns_ahead * connect.ld() + k]);
        store(e, measure_column<Rows>(x, column, measure));
    }
}

/// The same for a connectivity of any row count.
template <class Measure, class Store>
void measure_elements(const dense2D<double>& pos, const dense2D<unsigned int>& connect, const Measure& measure,
                      const Store& store) {
    const coordinate_reader x(pos);
    switch (connect.rows()) {
    case 4:
        return measure_columns<4>(x, connect, measure, store);
    case 5:
        return measure_columns<5>(x, connect, measure, store);
    case 6:
        return measure_columns<6>(x, connect, measure, store);
    default:
        return measure_columns<8>(x, connect, measure, store);
    }
}

} // namespace quorl::meldra3d::detail
