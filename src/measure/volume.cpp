// Signed volume of a mesh. The IDs of a block of columns are checked just before its elements are measured, so that
// the connectivity is read from memory once; a bad ID in a later block only discards the sum. In a mesh of scattered
// node numbers the time goes into waiting for coordinates, so they are asked for some columns ahead; in an ordered one
// it goes into arithmetic, so four elements of a kind are measured at once. Their volumes are added one after another
// in the order of the columns, and no operation is contracted: the sum has the same bits on every processor.

// Vectors never cross a call here: everything that takes one is inlined. (Known to both compilers by this name.)
#pragma GCC diagnostic ignored "-Wpsabi"

#include <meldra3d/measure.h>

#include <algorithm>

#include <meldra/meldra.h>

#include "frame/id_count.h"
#include "frame/lanes.h"
#include "frame/quickest.h"
#include "measure/element_columns.h"
#include "measure/element_volumes.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr std::size_t block_columns = 512; // 16 KiB of connectivity at most: half a first-level cache
constexpr std::size_t at_once = 4;

/// Columns of coordinates; Ld is their distance where it is known when compiling, else 0.
template <std::size_t Ld>
struct coordinates {
    const double* data;
    std::size_t ld;

    std::size_t offset(unsigned id) const { return std::size_t(id) * (Ld != 0 ? Ld : ld); }
    const double* operator[](unsigned id) const { return data + offset(id); }

    /// Asks for a node, or for a place that is never read where the ID is none.
    void prefetch(unsigned id) const { prefetch_from(data, offset(id) * sizeof(double)); }
};

template <std::size_t N, class Coordinates>
[[gnu::always_inline]] inline double add_one(const unsigned* column, const Coordinates& x, double sum) {
    point<double> p[N];
    for (std::size_t k = 0; k < N; ++k) {
        const double* const at = x[column[k]];
        p[k] = {at[0], at[1], at[2]};
    }
    return sum + six_volume(p);
}

template <std::size_t N, class Coordinates>
[[gnu::always_inline]] inline double add_four(const unsigned* column, std::size_t ld, const Coordinates& x,
                                              double sum) {
    point<four_doubles> p[N]{};
#pragma GCC unroll 8
    for (std::size_t k = 0; k < N; ++k) {
        const double* const a = x[column[k]];
        const double* const b = x[column[ld + k]];
        const double* const c = x[column[2 * ld + k]];
        const double* const d = x[column[3 * ld + k]];
        p[k] = {four_doubles{a[0], b[0], c[0], d[0]}, four_doubles{a[1], b[1], c[1], d[1]},
                four_doubles{a[2], b[2], c[2], d[2]}};
    }
    const four_doubles volumes = six_volume(p);
    return (((sum + volumes[0]) + volumes[1]) + volumes[2]) + volumes[3];
}

template <class Coordinates>
[[gnu::always_inline]] inline double add_one_mixed(const unsigned* column, const Coordinates& x, double sum) {
    switch (nodes_of(column)) {
    case 4:
        return add_one<4>(column, x, sum);
    case 5:
        return add_one<5>(column, x, sum);
    case 6:
        return add_one<6>(column, x, sum);
    default:
        return add_one<8>(column, x, sum);
    }
}

/// Adds four columns of any kinds: together when they are of one kind, as most neighbours in a list are.
template <class Coordinates>
[[gnu::always_inline]] inline double add_four_mixed(const unsigned* column, std::size_t ld, const Coordinates& x,
                                                    double sum) {
    const unsigned nodes = nodes_of(column);
    if (nodes != nodes_of(column + ld) || nodes != nodes_of(column + 2 * ld) || nodes != nodes_of(column + 3 * ld)) {
        for (std::size_t g = 0; g < at_once; ++g)
            sum = add_one_mixed(column + g * ld, x, sum);
        return sum;
    }
    switch (nodes) {
    case 4:
        return add_four<4>(column, ld, x, sum);
    case 5:
        return add_four<5>(column, ld, x, sum);
    case 6:
        return add_four<6>(column, ld, x, sum);
    default:
        return add_four<8>(column, ld, x, sum);
    }
}

/// Adds the elements of checked columns, of `Rows` nodes each or, with 8 rows, of as many as the unused tail tells.
template <std::size_t Rows, class Coordinates>
[[gnu::always_inline]] inline double add_columns(const dense2D<unsigned int>& connect, const Coordinates& x,
                                                 double sum) {
    const std::size_t ld = connect.ld();
    const std::size_t cols = connect.cols();
    const unsigned* column = connect.data();
    std::size_t j = 0;
    for (; j + at_once <= cols; j += at_once, column += at_once * ld) {
        if (j + columns_ahead + at_once <= cols)
            for (std::size_t g = 0; g < at_once; ++g)
                for (std::size_t k = 0; k < Rows; ++k)
                    x.prefetch(column[(columns_ahead + g) * ld + k]);
        // While this block is measured the next one comes from memory.
        for (std::size_t g = 0; g < at_once; ++g)
            prefetch_from(column, (block_columns + g) * ld * sizeof(unsigned));
        if constexpr (Rows == 8)
            sum = add_four_mixed(column, ld, x, sum);
        else
            sum = add_four<Rows>(column, ld, x, sum);
    }
    for (; j < cols; ++j, column += ld) {
        if constexpr (Rows == 8)
            sum = add_one_mixed(column, x, sum);
        else
            sum = add_one<Rows>(column, x, sum);
    }
    return sum;
}

template <std::size_t Ld>
[[gnu::always_inline]] inline double add_columns_of_any(const dense2D<unsigned int>& connect,
                                                        const dense2D<double>& pos, double sum) {
    const coordinates<Ld> x{pos.data(), pos.ld()};
    switch (connect.rows()) {
    case 4:
        return add_columns<4>(connect, x, sum);
    case 5:
        return add_columns<5>(connect, x, sum);
    case 6:
        return add_columns<6>(connect, x, sum);
    default:
        return add_columns<8>(connect, x, sum);
    }
}

double add_block(const dense2D<unsigned int>& connect, const dense2D<double>& pos, double sum) {
    return quickest([&]() __attribute__((always_inline)) {
        return pos.ld() == 3 ? add_columns_of_any<3>(connect, pos, sum) : add_columns_of_any<0>(connect, pos, sum);
    });
}

} // namespace

int volume(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, double& vol) {
    vol = 0;
    if (connectM.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    const auto nodes = id_count(pos.cols());
    const element_type type = type_of_rows(connectM.rows());
    double sum = 0;
    for (std::size_t first = 0; first < connectM.cols(); first += block_columns) {
        const dense2D<unsigned int> columns =
            connectM.sub(0, first, connectM.rows(), std::min(block_columns, connectM.cols() - first));
        if (!meldra::check_IDs(columns, type, nodes))
            return -2;
        sum = add_block(columns, pos, sum);
    }
    vol = sum * one_sixth;
    return 0;
}

} // namespace quorl::meldra3d
