#pragma once

#include <initializer_list>
#include <vector>

#include <meldra3d/meldra3d.h>

// Small meshes and matrices written out in tests.
namespace test {

using quorl::dense1D;
using quorl::dense2D;
using quorl::no_node;

/// A matrix from its columns.
template <class T>
dense2D<T> columns(std::initializer_list<std::initializer_list<T>> values) {
    dense2D<T> matrix;
    for (const auto& column : values) {
        if (matrix.cols() == 0)
            matrix.resize(column.size(), 0);
        matrix.append(column.begin());
    }
    return matrix;
}

inline dense2D<unsigned> ids(std::initializer_list<std::initializer_list<unsigned>> values) {
    return columns<unsigned>(values);
}

inline dense2D<double> points(std::initializer_list<std::initializer_list<double>> values) {
    return columns<double>(values);
}

/// All entries, column by column.
template <class T>
std::vector<T> entries(const dense2D<T>& matrix) {
    std::vector<T> all;
    for (std::size_t j = 0; j < matrix.cols(); ++j)
        all.insert(all.end(), matrix.col(j), matrix.col(j) + matrix.rows());
    return all;
}

template <class T>
std::vector<T> column(const dense2D<T>& matrix, std::size_t j) {
    return {matrix.col(j), matrix.col(j) + matrix.rows()};
}

/// The same contents as a window of a larger matrix (ld > rows), whose other entries are `around`.
template <class T>
dense2D<T> as_window(const dense2D<T>& matrix, T around) {
    dense2D<T> larger(matrix.rows() + 3, matrix.cols() + 2, around);
    for (std::size_t j = 0; j < matrix.cols(); ++j)
        for (std::size_t i = 0; i < matrix.rows(); ++i)
            larger(i + 1, j + 1) = matrix(i, j);
    return larger.sub(1, 1, matrix.rows(), matrix.cols());
}

} // namespace test
