#include <algorithm>

#include "calls/lists.h"

// The arrays themselves. What an operation leaves unspecified is written, so that results can be compared.
namespace test {

namespace {

using matrix = dense2D<double>;
using numbers = dense1D<double, 8>;

arguments whole(unsigned n) {
    return of_solids(cut::hexahedra, n);
}

/// The coordinates without the first node and the last: a view with another matrix around it.
arguments window(unsigned n) {
    arguments a = whole(n);
    matrix larger(5, a.pos.cols() + 2, 9.0);
    for (std::size_t j = 0; j < a.pos.cols(); ++j)
        std::copy_n(a.pos.col(j), 3, larger.col(j + 1) + 1);
    a.pos = larger.sub(1, 1, 3, a.pos.cols());
    return a;
}

arguments list(unsigned n) {
    arguments a;
    a.numbers = numbers(n, 0.5);
    return a;
}

int written(bool done, matrix& m) {
    for (std::size_t j = 0; done && !m.empty() && j < m.cols(); ++j)
        std::fill_n(m.col(j), m.rows(), 2.0);
    return status_of(done);
}

int written(bool done, numbers& l) {
    if (done)
        std::fill(l.begin(), l.end(), 2.0);
    return status_of(done);
}

void add_matrix_calls(call_list& all) {
    const std::vector<made> matrices{{"whole", whole}, {"window", window}};
    const call_list::rules kept{{argument::pos, leaves::as_it_was}};
    const auto add = [&](const char* form, const std::function<int(arguments&)>& run) {
        all.add(std::string("dense2D::") + form, "", matrices, run, kept);
    };
    add("resize", [](arguments& a) { return written(a.pos.resize(3, 2 * a.pos.cols()), a.pos); });
    add("resize of rows", [](arguments& a) { return written(a.pos.resize(8, a.pos.cols() / 2), a.pos); });
    add("resize, filled", [](arguments& a) { return status_of(a.pos.resize(3, 2 * a.pos.cols(), 1.0)); });
    add("__resize_rows", [](arguments& a) { return status_of(a.pos.__resize_rows(5, a.pos.cols(), 1.0)); });
    add("reserve", [](arguments& a) { return status_of(a.pos.reserve(3, 2 * a.pos.cols(), 2)); });
    add("append", [](arguments& a) { return status_of(a.pos.append(a.pos.col(0))); });
    add("copy", [](arguments& a) { return status_of(a.pos.copy(matrix(a.pos))); });
    add("__detach", [](arguments& a) { return status_of(a.pos.__detach()); });
    add("sub, as_vector, clear", [](arguments& a) {
        numbers first = a.pos.sub(0, 0, 3, 1).as_vector();
        a.pos.clear();
        return status_of(first.size() == 3 && a.pos.empty());
    });
}

void add_matrix_constructors(call_list& all) {
    const call_list::rules empty{{argument::reals, leaves::nothing}};
    const auto add = [&](const char* form, const std::function<void(arguments&)>& run) {
        all.add(
            "dense2D", form, {{"whole", whole}},
            [run](arguments& a) {
                a.reals = matrix();
                run(a);
                return status_of(!a.reals.empty());
            },
            empty);
    };
    add("of unspecified values", [](arguments& a) {
        a.reals = matrix(3, 40);
        written(true, a.reals);
    });
    add("filled", [](arguments& a) { a.reals = matrix(3, 40, 1.0); });
    add("view", [](arguments& a) { a.reals = matrix::view(a.pos.data(), 3, 4, 3); });
}

void add_list_calls(call_list& all) {
    const call_list::rules kept{{argument::numbers, leaves::as_it_was}};
    const auto add = [&](const char* form, const std::function<int(arguments&)>& run) {
        all.add(std::string("dense1D::") + form, "", {{"list", list}}, run, kept);
    };
    add("resize", [](arguments& a) { return written(a.numbers.resize(2 * a.numbers.size() + 3), a.numbers); });
    add("resize, filled", [](arguments& a) { return status_of(a.numbers.resize(2 * a.numbers.size() + 3, 1.0)); });
    add("reserve", [](arguments& a) { return status_of(a.numbers.reserve(2 * a.numbers.size() + 3, 2)); });
    add("push_back", [](arguments& a) {
        for (unsigned k = 0; k < 4; ++k)
            if (!a.numbers.push_back(k)) {
                a.numbers.resize(a.numbers.size() - k);
                return -199;
            }
        return 0;
    });
    add("copy", [](arguments& a) { return status_of(a.numbers.copy(numbers(a.numbers))); });
}

void add_list_constructors(call_list& all) {
    const call_list::rules empty{{argument::more_numbers, leaves::nothing}};
    const auto add = [&](const char* form, const std::function<void(arguments&)>& run) {
        all.add(
            "dense1D", form, {{"list", list}},
            [run](arguments& a) {
                a.more_numbers = numbers();
                run(a);
                return status_of(!a.more_numbers.empty());
            },
            empty);
    };
    add("of unspecified values", [](arguments& a) {
        a.more_numbers = numbers(9);
        written(true, a.more_numbers);
    });
    add("filled", [](arguments& a) { a.more_numbers = numbers(9, 1.0); });
    add("of values", [](arguments& a) { a.more_numbers = numbers{1, 2, 3}; });
    add("view", [](arguments& a) { a.more_numbers = numbers::view(a.numbers.data(), a.numbers.size()); });
}

} // namespace

void add_array_calls(call_list& all) {
    add_matrix_calls(all);
    add_matrix_constructors(all);
    add_list_calls(all);
    add_list_constructors(all);
    all.add("__vector_num_alloc", "", {{"100 bytes", list}}, [](arguments&) {
        void* const block = quorl::numcore::__vector_num_alloc(100);
        quorl::numcore::__vector_num_free(block);
        return status_of(block != nullptr);
    });
}

} // namespace test
