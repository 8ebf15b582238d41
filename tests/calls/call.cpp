#include "calls/call.h"

#include <algorithm>
#include <cstring>

#include "calls/lists.h"

namespace test {

namespace {

template <class T>
content content_of(argument which, const dense2D<T>& matrix) {
    content c{which, matrix.rows(), matrix.cols(), sizeof(T), {}};
    c.bytes.resize(matrix.size() * sizeof(T));
    for (std::size_t j = 0; !matrix.empty() && j < matrix.cols(); ++j)
        std::memcpy(c.bytes.data() + j * matrix.rows() * sizeof(T), matrix.col(j), matrix.rows() * sizeof(T));
    return c;
}

template <class T>
content content_of(argument which, const dense1D<T, 8>& list) {
    content c{which, 1, list.size(), sizeof(T), std::vector<unsigned char>(list.size() * sizeof(T))};
    if (!list.empty())
        std::memcpy(c.bytes.data(), list.data(), c.bytes.size());
    return c;
}

template <class T>
content content_of_value(argument which, const T& value) {
    content c{which, 1, 1, sizeof(T), std::vector<unsigned char>(sizeof(T))};
    std::memcpy(c.bytes.data(), &value, sizeof(T));
    return c;
}

content content_of(argument which, const quorl::meldra::node_detector& detector) {
    std::array<unsigned, 54> found{};
    for (unsigned k = 0; k < 27; ++k) {
        const quorl::vector_fixed<double, 3> point{0.1 + 0.4 * (k % 3), 0.1 + 0.4 * (k / 3 % 3), 0.1 + 0.4 * (k / 9)};
        found[2 * k] = detector.find_close(point);
        found[2 * k + 1] = detector.find_closest(point);
    }
    return content_of_value(which, found);
}

content content_of(argument which, unsigned value) {
    return content_of_value(which, value);
}

content content_of(argument which, double value) {
    return content_of_value(which, value);
}

content content_of(argument which, const quorl::vector_fixed<double, 3>& value) {
    return content_of_value(which, value);
}

/// Calls visit(name, argument) for all arguments.
template <class Arguments, class Visit>
void for_each(Arguments& all, const Visit& visit) {
    visit(argument::pos, all.pos);
    visit(argument::values, all.values);
    visit(argument::reals, all.reals);
    visit(argument::connect, all.connect);
    visit(argument::neighbors, all.neighbors);
    visit(argument::faces, all.faces);
    visit(argument::edges, all.edges);
    visit(argument::out, all.out);
    visit(argument::sides, all.sides);
    visit(argument::cap, all.cap);
    visit(argument::ids, all.ids);
    visit(argument::ancestors, all.ancestors);
    visit(argument::list, all.list);
    visit(argument::numbers, all.numbers);
    visit(argument::more_numbers, all.more_numbers);
    visit(argument::detector, all.detector);
    visit(argument::element, all.element);
    visit(argument::local, all.local);
    visit(argument::number, all.number);
}

/// Something for a call to remove.
void put_anything(dense2D<double>& m) {
    m.resize(3, 2, 7.0);
}

void put_anything(dense2D<unsigned>& m) {
    m.resize(3, 2, 7u);
}

template <class T>
void put_anything(dense1D<T, 8>& list) {
    list.resize(3, T(7));
}

bool is_output_alone(leaves left) {
    return left == leaves::nothing || left == leaves::anything;
}

template <class T>
concept array = requires(T a) {
    a.copy(a);
};

bool is_nothing(const content& c) {
    const auto all = [&c](unsigned char byte) {
        return std::all_of(c.bytes.begin(), c.bytes.end(), [byte](unsigned char one) { return one == byte; });
    };
    return c.rows * c.cols == 0 || all(0) || all(0xFF);
}

/// The first columns as they were, as far as there are as many rows.
bool begins_with(const content& now, const content& before) {
    const std::size_t kept = std::min(now.rows, before.rows) * before.entry;
    for (std::size_t j = 0; j < before.cols; ++j) {
        const auto from = before.bytes.begin() + std::ptrdiff_t(j * before.rows * before.entry);
        const auto at = now.bytes.begin() + std::ptrdiff_t(j * now.rows * now.entry);
        if (!std::equal(from, from + std::ptrdiff_t(kept), at))
            return false;
    }
    return true;
}

bool is_mixture(const content& now, const content& before, const content& after) {
    if (now.rows != before.rows || now.cols != before.cols)
        return before.rows * before.cols == 0 || (now.rows == after.rows && now.cols == after.cols);
    const auto same = [&now](const content& other, std::size_t at) {
        return std::equal(now.bytes.begin() + std::ptrdiff_t(at), now.bytes.begin() + std::ptrdiff_t(at + now.entry),
                          other.bytes.begin() + std::ptrdiff_t(at));
    };
    for (std::size_t at = 0; at < now.bytes.size(); at += now.entry)
        if (!same(before, at) && !same(after, at))
            return false;
    return true;
}

} // namespace

std::vector<content> contents(const arguments& all) {
    std::vector<content> list;
    for_each(all, [&list](argument which, const auto& one) { list.push_back(content_of(which, one)); });
    return list;
}

arguments with_own_outputs(const call& which, const arguments& all) {
    arguments own = all;
    for_each(own, [&which]([[maybe_unused]] argument name, auto& one) {
        for ([[maybe_unused]] const auto& [changed, left] : which.rules)
            if constexpr (array<decltype(one)>)
                if (changed == name) {
                    one.copy(one);
                    if (is_output_alone(left) && one.empty())
                        put_anything(one);
                }
    });
    return own;
}

bool obeys(leaves rule, const content& now, const content& before, const content& after) {
    switch (rule) {
    case leaves::as_it_was:
        return now == before;
    case leaves::cut_back:
        return now.cols == before.cols && begins_with(now, before);
    case leaves::longer:
        return now.rows == before.rows && now.cols >= before.cols && begins_with(now, before);
    case leaves::nothing:
    case leaves::nothing_too:
        return is_nothing(now);
    case leaves::some_done:
        return is_mixture(now, before, after);
    case leaves::anything:
        return true;
    }
    return false;
}

const std::vector<call>& all_calls() {
    static const std::vector<call> calls = [] {
        call_list list;
        add_array_calls(list);
        add_mesh_tool_calls(list);
        add_convert_calls(list);
        add_split_calls(list);
        add_extrude_calls(list);
        add_locate_calls(list);
        add_measure_calls(list);
        return list.calls();
    }();
    return calls;
}

} // namespace test
