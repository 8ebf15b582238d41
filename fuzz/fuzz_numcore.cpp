// Arrays: long sequences of operations on views that share storage, against the model of the tests, and sizes beyond
// all memory, which must be refused with nothing changed.

#include "arguments.h"

#include "numcore/array_model.h"

// The model of the tests can let allocations fail; here all succeed.
namespace test {
void fail_allocation(std::size_t) {}
std::size_t stop_failing() {
    return 0;
}
} // namespace test

namespace {

using namespace fuzz;
using namespace test::model;
using matrix_type = dense2D<unsigned>;
using list_type = quorl::dense1D<unsigned, 8>;

void run_steps(arguments& args) {
    world arrays;
    for (unsigned k = args.below(40); k > 0; --k) {
        step s;
        s.what = operation(args.below(unsigned(operation::count)));
        s.target = args.below(8);
        s.source = args.below(8);
        s.a = args.below(8);
        s.b = args.below(8);
        s.rows = args.below(7);
        s.cols = args.below(7);
        s.own_element = args.flag();
        arrays.run(s); // throws, which ends the run, when the arrays and the model differ
    }
}

/// Whether an allocation of so many IDs may be granted here.
bool is_possible(std::size_t rows, std::size_t cols) {
    const auto entries = __extension__(unsigned __int128)(rows) * cols;
    return entries < (std::size_t(64) << 20) / sizeof(unsigned);
}

/// A size that changes nothing when it is refused, and is taken when there is nothing to store or there is room.
void resize_matrix(arguments& args, matrix_type& m) {
    const snapshot<unsigned> before(m);
    const std::size_t rows = args.extent(), cols = args.extent();
    const bool filled = args.flag();
    const bool done = filled ? m.resize(rows, cols, 3u) : m.resize(rows, cols);
    require(done || !is_possible(rows, cols), "a size that fits");
    if (!done) {
        require(before.same(m), "a matrix that did not grow");
        return;
    }
    require(m.rows() == rows && m.cols() == cols && m.size() == rows * cols, "the dimensions");
    for (std::size_t j = 0; !m.empty() && j < std::min(cols, before.cols); ++j)
        for (std::size_t i = 0; i < std::min(rows, before.rows); ++i)
            require(m(i, j) == (filled ? 3u : before.col(j)[i]), "the common block");
}

void reserve_matrix(arguments& args, matrix_type& m) {
    const snapshot<unsigned> before(m);
    const std::size_t rows = args.extent(), cols = args.extent(), factor = args.extent();
    const bool done = m.reserve(rows, cols, factor);
    require(done || !is_possible(rows, cols) || !is_possible(m.size(), factor), "a size that fits");
    require(before.same(m), "contents that stay");
}

void take_window(arguments& args, const matrix_type& m) {
    const std::size_t row = args.extent(), col = args.extent(), rows = args.extent(), cols = args.extent();
    const bool inside = row <= m.rows() && rows <= m.rows() - row && col <= m.cols() && cols <= m.cols() - col;
    const matrix_type window = m.sub(row, col, rows, cols);
    require(window.rows() == (inside ? rows : 0) && window.cols() == (inside ? cols : 0), "a window inside, or none");
    for (std::size_t j = 0; !window.empty() && j < cols; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            require(&window(i, j) == &m(row + i, col + j), "the same storage");
}

void lay_view(arguments& args, unsigned* memory, std::size_t size) {
    const std::size_t rows = args.extent(), cols = args.extent(), ld = args.extent();
    const bool valid = rows != 0 && cols != 0 && ld >= rows;
    const matrix_type laid = matrix_type::view(memory, rows, cols, ld);
    if (valid && ld < size && cols < size && ld * (cols - 1) + rows <= size)
        require(laid.rows() == rows && laid.cols() == cols && laid.data() == memory, "the caller's memory");
    else if (!valid)
        require(laid.rows() == 0 && laid.cols() == 0, "no view of what there is not");
    require(matrix_type::view(nullptr, rows, cols, ld).empty(), "no view of nothing");
}

void change_list(arguments& args, list_type& values) {
    const std::vector<unsigned> before(values.begin(), values.end());
    const std::size_t n = args.extent();
    switch (args.below(3)) {
    case 0:
        if (values.resize(n, 4u))
            require(values.size() == n, "the size");
        else
            require(!is_possible(n, 1), "a size that fits");
        break;
    case 1:
        require(values.reserve(n, args.extent()) || !is_possible(n, 1) || !values.empty(), "a size that fits");
        break;
    default:
        values.push_back(5u);
    }
    for (std::size_t k = 0; k < std::min(before.size(), values.size()); ++k)
        require(values[k] == before[k], "the first elements");
}

void ask_for_any_size(arguments& args) {
    matrix_type m(args.below(5), args.below(5), 1u);
    const matrix_type witness = m;
    const snapshot<unsigned> seen(witness);
    list_type values = args.flag() ? m.as_vector() : list_type(args.below(9), 2u);
    std::array<unsigned, 40> memory{};
    for (unsigned k = args.below(8); k > 0; --k)
        switch (args.below(6)) {
        case 0:
            resize_matrix(args, m);
            break;
        case 1:
            reserve_matrix(args, m);
            break;
        case 2:
            take_window(args, m);
            break;
        case 3:
            lay_view(args, memory.data(), memory.size());
            break;
        case 4:
            change_list(args, values);
            break;
        default: {
            const std::size_t rows = args.extent(), cols = args.extent();
            const matrix_type fresh(rows, cols);
            require(fresh.size() == fresh.rows() * fresh.cols(), "the number of entries");
            require((fresh.rows() == rows && fresh.cols() == cols) || !is_possible(rows, cols), "memory for a size");
        }
        }
    require(seen.same(witness), "other views unchanged");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    if (args.flag())
        run_steps(args);
    else
        ask_for_any_size(args);
    return 0;
}
