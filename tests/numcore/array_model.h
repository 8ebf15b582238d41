#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <ostream>
#include <utility>
#include <vector>

#include <rapidcheck.h>

#include <numcore/numcore.h>

#include "support/failing_alloc.h"

// A slow model of arrays that share storage, run side by side with the arrays themselves.
//
// The model knows nothing of capacities, leading dimensions or growth in place. A view is a list of places in a block;
// a view that grows always takes a block of its own. So the model says what a caller may see: what is written through
// one view shows in the views that share it and nowhere else, and growth shows in no other view. Every element that an
// operation adds is given a value never used before, so an array that lends one place to two views is found out.
namespace test::model {

using quorl::dense1D;
using quorl::dense2D;

/// A storage block. Several blocks may lie over the one memory of the caller.
struct block {
    std::shared_ptr<std::vector<int>> memory;
    bool of_caller = false;
};

struct view {
    std::shared_ptr<block> held;     // also kept, as in the arrays, by a view that has shrunk to no elements
    std::vector<std::size_t> places; // of the elements, in order

    int& operator[](std::size_t k) { return (*held->memory)[places[k]]; }

    std::vector<int> values() const {
        std::vector<int> all;
        for (const std::size_t place : places)
            all.push_back((*held->memory)[place]);
        return all;
    }

    /// Takes a new block that nobody else holds.
    void take_own(std::vector<int> values) {
        places.resize(values.size());
        std::iota(places.begin(), places.end(), std::size_t(0));
        held = std::make_shared<block>(block{std::make_shared<std::vector<int>>(std::move(values))});
    }

    bool held_by_others() const { return held && held.use_count() > 1; }
};

struct matrix : view {
    std::size_t rows = 0;
    std::size_t cols = 0;

    int& operator()(std::size_t i, std::size_t j) { return (*this)[i + j * rows]; }

    /// The common upper-left block in a new block; `added` elsewhere.
    void grow(std::size_t new_rows, std::size_t new_cols, int added) {
        std::vector<int> grown(new_rows * new_cols, added);
        for (std::size_t j = 0; j < std::min(cols, new_cols); ++j)
            for (std::size_t i = 0; i < std::min(rows, new_rows); ++i)
                grown[i + j * new_rows] = (*this)(i, j);
        take_own(grown);
        rows = new_rows;
        cols = new_cols;
    }

    /// The window of new_rows x new_cols elements from (i0, j0) on, in the same block.
    void narrow(std::size_t i0, std::size_t j0, std::size_t new_rows, std::size_t new_cols) {
        std::vector<std::size_t> kept;
        for (std::size_t j = j0; j < j0 + new_cols; ++j)
            for (std::size_t i = i0; i < i0 + new_rows; ++i)
                if (new_rows * new_cols != 0)
                    kept.push_back(places[i + j * rows]);
        places = kept;
        rows = new_rows;
        cols = new_cols;
    }

    bool contains(std::size_t r, std::size_t c) const { return r <= rows && c <= cols; }

    void resize(std::size_t r, std::size_t c, int added) {
        if (r * c == 0 || contains(r, c))
            narrow(0, 0, r, c);
        else
            grow(r, c, added);
    }
};

enum class operation {
    write,
    construct,
    resize,
    filled_resize,
    resize_rows,
    reserve,
    append,
    copy,
    share,
    move,
    take_window,
    clear,
    lay_over_memory,
    list_write,
    list_construct,
    list_resize,
    list_filled_resize,
    list_reserve,
    list_push_back,
    list_copy,
    list_share,
    list_move,
    list_of_matrix,
    list_clear,
    list_lay_over_memory,
    count
};

/// One operation; what the numbers stand for depends on it, and they are reduced to what its arrays allow.
struct step {
    operation what = operation::write;
    std::size_t target = 0;
    std::size_t source = 0;
    std::size_t a = 0;
    std::size_t b = 0;
    std::size_t rows = 0;
    std::size_t cols = 0;
    bool own_element = false; // where a value is asked for: an element of the array itself
    std::size_t failing = 0;  // the allocation that fails; 0 for none

    friend std::ostream& operator<<(std::ostream& out, const step& s) {
        static const char* const names[] = {"write",       "construct",    "resize",         "filled_resize",
                                            "resize_rows", "reserve",      "append",         "copy",
                                            "share",       "move",         "take_window",    "clear",
                                            "lay",         "list_write",   "list_construct", "list_resize",
                                            "list_fill",   "list_reserve", "list_push_back", "list_copy",
                                            "list_share",  "list_move",    "list_of_matrix", "list_clear",
                                            "list_lay"};
        return out << names[int(s.what)] << "(" << s.target << ", from " << s.source << ", a " << s.a << ", b " << s.b
                   << ", " << s.rows << " x " << s.cols << (s.own_element ? ", own element" : "") << ", failing "
                   << s.failing << ")";
    }
};

/// Matrices and lists beside their models, and a piece of the caller's memory.
class world {
public:
    world() : memory_(memory_size), memory_model_(std::make_shared<std::vector<int>>()) {
        for (int& value : memory_)
            value = fresh();
        *memory_model_ = memory_;
    }

    /// Does the step to both and compares all that a caller can see.
    void run(const step& s) {
        if (s.what < operation::list_write)
            change_matrix(s);
        else
            change_list(s);
        compare();
    }

private:
    // Few arrays: then a block is often held by one view alone, and often by two.
    static constexpr std::size_t matrices = 3;
    static constexpr std::size_t lists = 2;
    static constexpr std::size_t memory_size = 40;

    struct matrix_pair {
        dense2D<int> real;
        matrix model;
    };
    struct list_pair {
        dense1D<int, 8> real;
        view model;
    };

    int fresh() { return ++last_value_; }

    /// Does something that may fail; true when it did not. It must fail when its allocation did, and only then.
    template <class Attempt>
    static bool succeeds(const step& s, Attempt attempt) {
        fail_allocation(s.failing);
        const bool done = attempt();
        const bool failed = stop_failing();
        RC_ASSERT(done == !failed);
        return done;
    }

    /// Puts new values into the elements of the matrix outside its upper-left r x c block, through the view.
    void fill_new(matrix_pair& m, std::size_t r, std::size_t c) {
        for (std::size_t j = 0; j < m.model.cols; ++j)
            for (std::size_t i = 0; i < m.model.rows; ++i)
                if (i >= r || j >= c)
                    m.real(i, j) = m.model(i, j) = fresh();
    }

    void fill_new(list_pair& l, std::size_t n) {
        for (std::size_t k = n; k < l.model.places.size(); ++k)
            l.real[k] = l.model[k] = fresh();
    }

    /// An element of the array, or else a new value.
    template <class Pair>
    const int& value_for(const step& s, Pair& p) {
        spare_value_ = fresh();
        return s.own_element && !p.model.places.empty() ? p.real.data()[0] : spare_value_;
    }

    void change_matrix(const step& s) {
        matrix_pair& m = matrices_[s.target % matrices];
        matrix_pair& other = matrices_[s.source % matrices];
        const std::size_t old_rows = m.model.rows, old_cols = m.model.cols;
        switch (s.what) {
        case operation::write:
            if (!m.model.places.empty())
                m.real(s.a % old_rows, s.b % old_cols) = m.model(s.a % old_rows, s.b % old_cols) = fresh();
            break;
        case operation::construct:
            return construct(s, m);
        case operation::resize:
            if (succeeds(s, [&] { return m.real.resize(s.rows, s.cols); })) {
                m.model.resize(s.rows, s.cols, 0);
                fill_new(m, old_rows, old_cols);
            }
            break;
        case operation::filled_resize:
            return filled_resize(s, m);
        case operation::resize_rows:
            return resize_rows(s, m);
        case operation::reserve:
            if (succeeds(s, [&] { return m.real.reserve(s.rows, s.cols, s.a % 4); }) &&
                !m.model.contains(s.rows, s.cols))
                m.model.grow(old_rows, old_cols, 0);
            break;
        case operation::append:
            return append(s, m, other);
        case operation::copy:
            if (succeeds(s, [&] { return m.real.copy(other.real); })) {
                const std::vector<int> values = other.model.values();
                m.model = other.model;
                m.model.take_own(values);
                RC_ASSERT(m.real.ld() == m.real.rows());
            }
            break;
        case operation::share:
            if (s.own_element)
                m.real.shallow_copy(other.real);
            else
                m.real = other.real;
            m.model = other.model;
            break;
        case operation::move:
            if (&m != &other) {
                m.real = std::move(other.real);
                m.model = std::exchange(other.model, {});
            }
            break;
        case operation::take_window:
            return take_window(s, m, other);
        case operation::clear:
            m.real.clear();
            m.model = {};
            break;
        default:
            return lay_over_memory(s, m);
        }
    }

    void construct(const step& s, matrix_pair& m) {
        const int fill = fresh();
        fail_allocation(s.failing);
        m.real = dense2D<int>(s.rows, s.cols, fill);
        m.model = {};
        if (!stop_failing())
            m.model.resize(s.rows, s.cols, fill);
    }

    void filled_resize(const step& s, matrix_pair& m) {
        const int& fill = value_for(s, m);
        const int value = fill;
        if (!succeeds(s, [&] { return m.real.resize(s.rows, s.cols, fill); }))
            return;
        // Only a view that alone holds its block may write in it; else others would see the new values.
        if (s.rows * s.cols != 0 && (m.model.held_by_others() || !m.model.contains(s.rows, s.cols)))
            m.model.grow(s.rows, s.cols, value);
        else
            m.model.narrow(0, 0, s.rows, s.cols);
        for (std::size_t k = 0; k < m.model.places.size(); ++k)
            m.model[k] = value;
    }

    void resize_rows(const step& s, matrix_pair& m) {
        const int& fill = value_for(s, m);
        const int value = fill;
        const std::size_t old_cols = m.model.cols;
        if (!succeeds(s, [&] { return m.real.__resize_rows(s.rows, s.cols, fill); }))
            return;
        m.model.resize(s.rows, s.cols, value);
        for (std::size_t j = old_cols; j < s.cols; ++j) // what is added behind the kept columns is unspecified
            for (std::size_t i = 0; i < s.rows; ++i)
                m.real(i, j) = m.model(i, j) = fresh();
    }

    void append(const step& s, matrix_pair& m, matrix_pair& other) {
        std::vector<int> values(m.model.rows);
        const bool of_matrix = !other.model.places.empty() && other.model.rows == m.model.rows;
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = of_matrix ? other.model(i, s.b % other.model.cols) : fresh();
        const int* const column = of_matrix ? other.real.col(s.b % other.model.cols) : values.data();
        if (!succeeds(s, [&] { return m.real.append(column); }))
            return;
        m.model.resize(m.model.rows, m.model.cols + 1, 0);
        for (std::size_t i = 0; i < values.size(); ++i)
            m.model(i, m.model.cols - 1) = values[i];
    }

    void take_window(const step& s, matrix_pair& m, matrix_pair& other) {
        const std::size_t i0 = s.a % (other.model.rows + 1), j0 = s.b % (other.model.cols + 1);
        const std::size_t r = s.rows % (other.model.rows - i0 + 1), c = s.cols % (other.model.cols - j0 + 1);
        m.real = other.real.sub(i0, j0, r, c);
        m.model = other.model;
        m.model.narrow(i0, j0, r, c);
        if (r * c == 0)
            m.model.held = nullptr;
    }

    void lay_over_memory(const step& s, matrix_pair& m) {
        const std::size_t start = s.a % 4, ld = s.rows + s.b % 3;
        if (s.rows * s.cols == 0 || start + ld * (s.cols - 1) + s.rows > memory_size)
            return;
        fail_allocation(s.failing);
        m.real = dense2D<int>::view(memory_.data() + start, s.rows, s.cols, ld);
        m.model = {};
        if (stop_failing())
            return;
        m.model.held = std::make_shared<block>(block{memory_model_, true});
        m.model.rows = s.rows;
        m.model.cols = s.cols;
        for (std::size_t j = 0; j < s.cols; ++j)
            for (std::size_t i = 0; i < s.rows; ++i)
                m.model.places.push_back(start + i + j * ld);
    }

    void change_list(const step& s) {
        list_pair& l = lists_[s.target % lists];
        list_pair& other = lists_[s.source % lists];
        const std::size_t old = l.model.places.size();
        const std::size_t n = s.rows * s.cols / 2;
        switch (s.what) {
        case operation::list_write:
            if (old != 0)
                l.real[s.a % old] = l.model[s.a % old] = fresh();
            break;
        case operation::list_construct:
            return construct(s, l, n);
        case operation::list_resize:
            if (succeeds(s, [&] { return l.real.resize(n); }))
                resize_model(l, n);
            fill_new(l, old);
            break;
        case operation::list_filled_resize: {
            const int& fill = value_for(s, l);
            const int value = fill;
            if (succeeds(s, [&] { return l.real.resize(n, fill); }))
                resize_model(l, n, value);
            break;
        }
        case operation::list_reserve:
            if (succeeds(s, [&] { return l.real.reserve(n, s.a % 4); }) && n > old)
                l.model.take_own(l.model.values());
            break;
        case operation::list_push_back: {
            const int& element = value_for(s, l);
            const int value = element;
            if (succeeds(s, [&] { return l.real.push_back(element); }))
                resize_model(l, old + 1, value);
            break;
        }
        case operation::list_copy:
            if (succeeds(s, [&] { return l.real.copy(other.real); }))
                l.model.take_own(other.model.values());
            break;
        case operation::list_share:
            if (s.own_element)
                l.real.shallow_copy(other.real);
            else
                l.real = other.real;
            l.model = other.model;
            break;
        case operation::list_move:
            if (&l != &other) {
                l.real = std::move(other.real);
                l.model = std::exchange(other.model, {});
            }
            break;
        case operation::list_of_matrix: {
            matrix_pair& m = matrices_[s.source % matrices];
            l.real = m.real.as_vector();
            const bool readable = m.real.ld() == m.real.rows() || m.real.cols() == 1;
            l.model = readable && !m.real.empty() ? static_cast<const view&>(m.model) : view{};
            break;
        }
        case operation::list_clear:
            l.real.clear();
            l.model = {};
            break;
        default:
            return lay_over_memory(s, l, n);
        }
    }

    static void resize_model(list_pair& l, std::size_t n, int added = 0) {
        if (n <= l.model.places.size()) {
            l.model.places.resize(n);
            return;
        }
        std::vector<int> grown = l.model.values();
        grown.resize(n, added);
        l.model.take_own(grown);
    }

    void construct(const step& s, list_pair& l, std::size_t n) {
        const int fill = fresh();
        fail_allocation(s.failing);
        l.real = dense1D<int, 8>(n, fill);
        l.model = {};
        if (!stop_failing())
            resize_model(l, n, fill);
    }

    void lay_over_memory(const step& s, list_pair& l, std::size_t n) {
        const std::size_t start = s.a % 4;
        n = std::min(n, memory_size - start);
        fail_allocation(s.failing);
        l.real = dense1D<int, 8>::view(memory_.data() + start, n);
        l.model = {};
        if (stop_failing() || n == 0)
            return;
        l.model.held = std::make_shared<block>(block{memory_model_, true});
        for (std::size_t k = 0; k < n; ++k)
            l.model.places.push_back(start + k);
    }

    void compare() {
        for (matrix_pair& m : matrices_) {
            RC_ASSERT(m.real.rows() == m.model.rows);
            RC_ASSERT(m.real.cols() == m.model.cols);
            RC_ASSERT(m.real.size() == m.model.places.size());
            RC_ASSERT(m.real.empty() == m.model.places.empty());
            RC_ASSERT(m.real.ld() >= m.real.rows());
            std::vector<int> seen;
            for (std::size_t j = 0; j < m.model.cols; ++j)
                for (std::size_t i = 0; i < m.model.rows; ++i)
                    seen.push_back(m.real(i, j));
            RC_ASSERT(seen == m.model.values());
        }
        for (list_pair& l : lists_) {
            RC_ASSERT(l.real.empty() == l.model.places.empty());
            RC_ASSERT(std::vector<int>(l.real.begin(), l.real.end()) == l.model.values());
        }
        RC_ASSERT(memory_ == *memory_model_);
    }

    int last_value_ = 0;
    int spare_value_ = 0;
    std::vector<int> memory_;
    std::shared_ptr<std::vector<int>> memory_model_;
    matrix_pair matrices_[matrices];
    list_pair lists_[lists];
};

/// Long sequences of steps; when `failures` is set, the first or second allocation of a step fails at times.
inline rc::Gen<std::vector<step>> steps(bool failures) {
    using rc::gen::inRange;
    using rc::gen::set;
    const auto number = inRange<std::size_t>(0, 8);
    const auto dimension = rc::gen::resize(100, inRange<std::size_t>(0, 7));
    const auto none = rc::gen::just(std::size_t(0));
    const auto failing =
        rc::gen::weightedOneOf<std::size_t>({{failures ? 1u : 0u, inRange<std::size_t>(1, 3)}, {2, none}});
    const auto what = rc::gen::map(inRange(0, int(operation::count)), [](int k) { return static_cast<operation>(k); });
    const auto one_step = rc::gen::build<step>(
        set(&step::what, what), set(&step::target, number), set(&step::source, number), set(&step::a, number),
        set(&step::b, number), set(&step::rows, dimension), set(&step::cols, dimension),
        set(&step::own_element, rc::gen::arbitrary<bool>()), set(&step::failing, failing));
    return rc::gen::scale(3, rc::gen::container<std::vector<step>>(one_step));
}

} // namespace test::model
