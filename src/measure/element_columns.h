#pragma once

#include <cstddef>
#include <cstdint>

#include <meldra/element_type.h>
#include <numcore/numcore.h>

#include "frame/lanes.h"
#include "frame/quickest.h"
#include "measure/point.h"

// The elements of a mesh of linear solids, four at a time where four of a kind follow one another. In a mesh of
// scattered node numbers the time goes into waiting for coordinates, so they are asked for some columns ahead.
namespace quorl::meldra3d::detail {

inline constexpr std::size_t columns_ahead = 16; // some 100 ns of work: the latency of memory
inline constexpr std::size_t columns_at_once = 4;
inline constexpr std::size_t block_columns = 512; // 16 KiB of connectivity at most: half a first-level cache

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

/// Columns of three coordinates; Ld is their distance where it is known when compiling, else 0.
template <std::size_t Ld = 0>
struct coordinates {
    const double* data;
    std::size_t ld;

    [[gnu::always_inline]] std::size_t offset(unsigned id) const { return std::size_t(id) * (Ld != 0 ? Ld : ld); }
    [[gnu::always_inline]] point<double> operator[](unsigned id) const {
        const double* const x = data + offset(id);
        return {x[0], x[1], x[2]};
    }

    /// Asks for a node, or for a place that is never read where the ID is none.
    [[gnu::always_inline]] void prefetch(unsigned id) const { prefetch_from(data, offset(id) * sizeof(double)); }
};

/// Columns of fewer coordinates, which lack some: these are 0.
struct padded_coordinates {
    const double* data;
    std::size_t ld;
    std::size_t rows;

    point<double> operator[](unsigned id) const {
        const double* const x = data + id * ld;
        return {rows > 0 ? x[0] : 0, rows > 1 ? x[1] : 0, 0};
    }
    void prefetch(unsigned) const {}
};

/// visit(p, e) with the points of element e, of as many nodes. A function of its own: what `visit` does with one
/// element is compiled once, and not at each place where an element is left over.
template <std::size_t N, class Coordinates, class Visit>
[[gnu::noinline]] void visit_one(const Coordinates& x, const unsigned* column, std::size_t e, const Visit& visit) {
    point<double> p[N];
    for (std::size_t k = 0; k < N; ++k)
        p[k] = x[column[k]];
    visit(p, e);
}

/// The same with the points of elements e to e + 3.
template <std::size_t N, class Coordinates, class Visit>
[[gnu::always_inline]] inline void visit_four(const Coordinates& x, const unsigned* column, std::size_t ld,
                                              std::size_t e, const Visit& visit) {
    point<four_doubles> p[N]{};
#pragma GCC unroll 8
    for (std::size_t k = 0; k < N; ++k) {
        const point<double> a = x[column[k]], b = x[column[ld + k]], c = x[column[2 * ld + k]],
                            d = x[column[3 * ld + k]];
        p[k] = {four_doubles{a.x, b.x, c.x, d.x}, four_doubles{a.y, b.y, c.y, d.y}, four_doubles{a.z, b.z, c.z, d.z}};
    }
    visit(p, e);
}

/// The same for a column of that many rows, eight of them for a mix of kinds.
template <std::size_t Rows, class Coordinates, class Visit>
void visit_column(const Coordinates& x, const unsigned* column, std::size_t e, const Visit& visit) {
    if constexpr (Rows != 8) {
        visit_one<Rows>(x, column, e, visit);
    } else {
        switch (nodes_of(column)) {
        case 4:
            return visit_one<4>(x, column, e, visit);
        case 5:
            return visit_one<5>(x, column, e, visit);
        case 6:
            return visit_one<6>(x, column, e, visit);
        default:
            return visit_one<8>(x, column, e, visit);
        }
    }
}

/// Four columns of any kinds: together when they are of one kind, as most neighbours in a list are.
template <class Coordinates, class Visit>
[[gnu::always_inline]] inline void visit_four_mixed(const Coordinates& x, const unsigned* column, std::size_t ld,
                                                    std::size_t e, const Visit& visit) {
    const unsigned nodes = nodes_of(column);
    if (nodes != nodes_of(column + ld) || nodes != nodes_of(column + 2 * ld) || nodes != nodes_of(column + 3 * ld)) {
        for (std::size_t g = 0; g < columns_at_once; ++g)
            visit_column<8>(coordinates<>{x.data, x.ld}, column + g * ld, e + g, visit);
        return;
    }
    switch (nodes) {
    case 4:
        return visit_four<4>(x, column, ld, e, visit);
    case 5:
        return visit_four<5>(x, column, ld, e, visit);
    case 6:
        return visit_four<6>(x, column, ld, e, visit);
    default:
        return visit_four<8>(x, column, ld, e, visit);
    }
}

/// visit(p, e) for each of checked columns, at a distance of ld.
template <std::size_t Rows, class Coordinates, class Visit>
[[gnu::always_inline]] inline void visit_columns(const Coordinates& x, const unsigned* column, std::size_t ld,
                                                 std::size_t cols, const Visit& visit) {
    std::size_t e = 0;
    for (; e + columns_at_once <= cols; e += columns_at_once, column += columns_at_once * ld) {
        if (e + columns_ahead + columns_at_once <= cols)
            for (std::size_t g = 0; g < columns_at_once; ++g)
                for (std::size_t k = 0; k < Rows; ++k)
                    x.prefetch(column[(columns_ahead + g) * ld + k]);
        // While this block is measured the next one comes from memory.
        for (std::size_t g = 0; g < columns_at_once; ++g)
            prefetch_from(column, (block_columns + g) * ld * sizeof(unsigned));
        if constexpr (Rows == 8)
            visit_four_mixed(x, column, ld, e, visit);
        else
            visit_four<Rows>(x, column, ld, e, visit);
    }
    for (; e < cols; ++e, column += ld)
        visit_column<Rows>(coordinates<>{x.data, x.ld}, column, e, visit);
}

/// Calls visit(p, e), in the order of the columns, with the points of one element e (an array of as many point<double>
/// as it has nodes) or of the four from e on (of point<four_doubles>). The columns are checked and have `Rows` nodes
/// or, with 8 rows, as many as the unused tail tells. Coordinates that are lacking are 0, and those behind the third
/// are not read. `visit` has to be always_inline, and all that it does with vectors.
template <std::size_t Rows, class Visit>
void visit_columns(const dense2D<double>& pos, const dense2D<unsigned int>& connect, const Visit& visit) {
    const unsigned* const columns = connect.data();
    const std::size_t ld = connect.ld(), cols = connect.cols();
    if (pos.rows() < 3) {
        const padded_coordinates x{pos.data(), pos.ld(), pos.rows()};
        for (std::size_t e = 0; e < cols; ++e)
            visit_column<Rows>(x, columns + e * ld, e, visit);
        return;
    }
    if constexpr (Rows == 4) // the kind with the least to compute, where distances known when compiling show
        if (pos.ld() == 3 && ld == Rows)
            return quickest([&]() __attribute__((always_inline)) {
                visit_columns<Rows>(coordinates<3>{pos.data(), 3}, columns, Rows, cols, visit);
            });
    quickest([&]() __attribute__((always_inline)) {
        visit_columns<Rows>(coordinates<>{pos.data(), pos.ld()}, columns, ld, cols, visit);
    });
}

/// The same for a connectivity of any of these row counts.
template <class Visit>
void visit_elements(const dense2D<double>& pos, const dense2D<unsigned int>& connect, const Visit& visit) {
    switch (connect.rows()) {
    case 4:
        return visit_columns<4>(pos, connect, visit);
    case 5:
        return visit_columns<5>(pos, connect, visit);
    case 6:
        return visit_columns<6>(pos, connect, visit);
    default:
        return visit_columns<8>(pos, connect, visit);
    }
}

} // namespace quorl::meldra3d::detail
