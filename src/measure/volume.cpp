// Signed volume of a mesh. The IDs of a block of columns are checked just before its elements are measured, so that
// the connectivity is read from memory once; a bad ID in a later block only discards the sum. In a mesh of scattered
// node numbers the time goes into waiting for coordinates, so they are asked for some columns ahead.

#include <meldra3d/measure.h>

#include <algorithm>

#include <meldra/meldra.h>

#include "measure/element_volumes.h"

namespace quorl::meldra3d {

namespace {

using namespace detail;

constexpr std::size_t block_columns = 1024; // 32 KiB of connectivity at most: a first-level cache
constexpr std::size_t columns_ahead = 12;   // some 100 ns of work: the latency of memory

struct coordinates {
    const double* data;
    std::size_t ld;

    const double* operator[](unsigned id) const { return data + std::size_t(id) * ld; }

    void prefetch(unsigned id) const { __builtin_prefetch((*this)[id]); }
};

template <std::size_t N>
double six_volume(const unsigned* column, const coordinates& x) {
    const double* p[N];
    for (std::size_t k = 0; k < N; ++k)
        p[k] = x[column[k]];
    if constexpr (N == 4)
        return six_volume_TH4(p);
    else if constexpr (N == 5)
        return six_volume_PY5(p);
    else if constexpr (N == 6)
        return six_volume_W6(p);
    else
        return six_volume_H8(p);
}

double six_volume_mixed(const unsigned* column, const coordinates& x) {
    if (column[4] == no_node)
        return six_volume<4>(column, x);
    if (column[5] == no_node)
        return six_volume<5>(column, x);
    if (column[6] == no_node)
        return six_volume<6>(column, x);
    return six_volume<8>(column, x);
}

/// Adds the elements of checked columns to a sum, one after another.
template <std::size_t Rows>
double add_columns(const dense2D<unsigned int>& connect, const coordinates& x, double sum) {
    const unsigned* column = connect.data();
    const std::size_t ld = connect.ld();
    for (std::size_t j = 0; j < connect.cols(); ++j, column += ld) {
        if (j + columns_ahead < connect.cols())
            for (std::size_t k = 0; k < Rows; ++k)
                if (const unsigned id = column[columns_ahead * ld + k]; Rows != 8 || id != no_node)
                    x.prefetch(id);
        if constexpr (Rows == 8)
            sum += six_volume_mixed(column, x);
        else
            sum += six_volume<Rows>(column, x);
    }
    return sum;
}

element_type type_of_rows(std::size_t rows) {
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

double add_block(const dense2D<unsigned int>& connect, const coordinates& x, double sum) {
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

} // namespace

int volume(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, double& vol) {
    vol = 0;
    if (connectM.empty())
        return 0;
    if (pos.rows() != 3)
        return -1;
    const auto nodes = static_cast<unsigned>(std::min<std::size_t>(pos.cols(), no_node));
    const element_type type = type_of_rows(connectM.rows());
    const coordinates x{pos.data(), pos.ld()};
    double sum = 0;
    for (std::size_t first = 0; first < connectM.cols(); first += block_columns) {
        const dense2D<unsigned int> columns =
            connectM.sub(0, first, connectM.rows(), std::min(block_columns, connectM.cols() - first));
        if (!meldra::check_IDs(columns, type, nodes))
            return -2;
        sum = add_block(columns, x, sum);
    }
    vol = sum * 0.16666666666666666;
    return 0;
}

} // namespace quorl::meldra3d
