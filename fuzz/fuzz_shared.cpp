// All exports on arrays that share: one object for several arguments, views of each other's blocks, outputs that
// overlap inputs or each other. A call must give what it gives on copies of its arguments, and change nothing else.

#include "suits.h"

#include <array>
#include <functional>

namespace {

using namespace fuzz;
using namespace quorl;
using namespace quorl::meldra3d;
using ids = dense2D<unsigned>;
using reals = dense2D<double>;
using list = dense1D<unsigned, 8>;
using numbers = dense1D<double, 8>;
using vec3 = vector_fixed<double, 3>;

/// What a function does with an argument. `written` is written where it is, so that views of it change; what is `out`
/// (or in and out) moves to storage of its own when others have a part in it.
enum class use { in, out, written };

/// The first and last address of an array's entries; both null when it has none.
template <class T>
struct span {
    const T* first = nullptr;
    const T* last = nullptr;

    span() = default;
    explicit span(const dense2D<T>& matrix) {
        if (!matrix.empty()) {
            first = matrix.data();
            last = matrix.col(matrix.cols() - 1) + matrix.rows() - 1;
        }
    }
    explicit span(const dense1D<T, 8>& values) {
        if (!values.empty()) {
            first = values.data();
            last = first + values.size() - 1;
        }
    }
    bool meets(const span& other) const {
        return first && other.first && !std::less<>()(last, other.first) && !std::less<>()(other.last, first);
    }
};

bool same_numbers(const unsigned* a, const unsigned* b, std::size_t n) {
    return std::equal(a, a + n, b);
}

bool same_numbers(const double* a, const double* b, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k)
        if (std::memcmp(a + k, b + k, sizeof *a) != 0 && (a[k] == a[k] || b[k] == b[k]))
            return false;
    return true;
}

template <class T>
bool same(const dense2D<T>& a, const dense2D<T>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols())
        return false;
    for (std::size_t j = 0; !a.empty() && j < a.cols(); ++j)
        if (!same_numbers(a.col(j), b.col(j), a.rows()))
            return false;
    return true;
}

template <class T>
bool same(const dense1D<T, 8>& a, const dense1D<T, 8>& b) {
    return a.size() == b.size() && same_numbers(a.data(), b.data(), a.size());
}

template <class Array>
Array deep_copy(const Array& array) {
    Array own;
    require(own.copy(array), "memory for a copy");
    return own;
}

/// The arguments of one kind in a call: places in the pool, and what is done with them.
struct argument {
    use how;
    unsigned usual; ///< the object that makes sense here
};

/// Objects by the arguments that they stand for.
struct frame {
    std::vector<ids*> m;
    std::vector<list*> l;
    std::vector<reals*> x;
    std::vector<numbers*> v;
};

struct call {
    std::vector<argument> m, l, x, v;
    std::function<int(frame&)> run;
    std::vector<int> codes;                    ///< what it may return besides 0
    std::function<bool(const frame&)> allowed; ///< its written precondition, when it has one
    bool counts = false;                       ///< returns a number of nodes
    bool range = false;                        ///< the matrices are a range: neighbours in the pool
};

/// Objects of one kind, some of which share storage.
template <class Array>
class shelf {
public:
    std::array<Array, 6> object;

    /// Chooses objects for the arguments of a call.
    std::vector<Array*> choose(arguments& args, const std::vector<argument>& wanted, bool range) {
        how_.assign(object.size(), use::in);
        outputs_twice_ = false;
        std::vector<Array*> chosen;
        for (const argument& a : wanted) {
            const unsigned place = !range && args.rarely(4) ? args.below(unsigned(object.size())) : a.usual;
            chosen.push_back(&object[place]);
            outputs_twice_ |= a.how != use::in && how_[place] != use::in;
            how_[place] = std::max(how_[place], a.how);
        }
        before_.clear();
        for (const Array& array : object)
            before_.push_back(deep_copy(array));
        return chosen;
    }
    bool outputs_twice() const { return outputs_twice_; }

    std::vector<span<typename Array::value_type>> written() const {
        std::vector<span<typename Array::value_type>> spans;
        for (std::size_t k = 0; k < object.size(); ++k)
            if (how_[k] == use::written)
                spans.emplace_back(object[k]);
        return spans;
    }

    /// Marks the objects that see what is written to others.
    void find_views(const std::vector<span<typename Array::value_type>>& spans) {
        sees_.clear();
        for (const Array& array : object)
            sees_.push_back(
                std::any_of(spans.begin(), spans.end(),
                            [own = span<typename Array::value_type>(array)](const auto& s) { return s.meets(own); }));
    }

    /// True when an argument sees what is written to another one.
    bool arguments_overlap(const std::vector<Array*>& chosen,
                           const std::vector<span<typename Array::value_type>>& spans) const {
        for (const Array* array : chosen) {
            std::ptrdiff_t met = 0;
            for (const auto& s : spans)
                met += s.meets(span<typename Array::value_type>(*array));
            if (met > (how_[std::size_t(array - object.data())] == use::written ? 1 : 0))
                return true;
        }
        return std::any_of(chosen.begin(), chosen.end(), [&](const Array* a) {
            return how_[std::size_t(a - object.data())] == use::written &&
                   std::count(chosen.begin(), chosen.end(), a) > 1;
        });
    }

    void require_others_kept() const {
        for (std::size_t k = 0; k < object.size(); ++k)
            if (how_[k] == use::in && !sees_[k])
                require(same(object[k], before_[k]), "what is no output is unchanged");
    }

private:
    std::vector<use> how_;
    std::vector<bool> sees_;
    std::vector<Array> before_;
    bool outputs_twice_ = false;
};

/// Copies of the arguments of one kind, each with storage of its own.
template <class Array>
class copies {
public:
    explicit copies(const std::vector<Array*>& arguments) {
        for (const Array* array : arguments)
            own_.push_back(deep_copy(*array));
    }
    std::vector<Array*> addresses() {
        std::vector<Array*> all;
        for (Array& array : own_)
            all.push_back(&array);
        return all;
    }

private:
    std::vector<Array> own_;
};

template <class Array>
void compare(const std::vector<argument>& wanted, const std::vector<Array*>& found,
             const std::vector<Array*>& expected) {
    for (std::size_t k = 0; k < wanted.size(); ++k)
        if (wanted[k].how != use::in)
            require(same(*found[k], *expected[k]), "the result of a call on copies");
}

/// Meshes, what belongs to them, and views of it all.
class pool {
public:
    explicit pool(arguments& args) : args_(args) {
        fill();
        for (unsigned k = args.below(6); k > 0; --k)
            share();
        detector_.reinit(x_.object[0], m_.object[0]);
    }

    bool is_small() const {
        return std::all_of(m_.object.begin(), m_.object.end(),
                           [](const ids& m) { return m.empty() || m.cols() < 500; }) &&
               std::all_of(x_.object.begin(), x_.object.end(),
                           [](const reals& x) { return x.empty() || x.cols() < 2000; });
    }

    void run(const call& c) {
        frame found{m_.choose(args_, c.m, c.range), l_.choose(args_, c.l, false), x_.choose(args_, c.x, false),
                    v_.choose(args_, c.v, false)};
        if (c.allowed && !c.allowed(found))
            return;
        copies<ids> m(found.m);
        copies<list> l(found.l);
        copies<reals> x(found.x);
        copies<numbers> v(found.v);
        frame expected{m.addresses(), l.addresses(), x.addresses(), v.addresses()};
        const bool comparable = find_overlaps(found);

        const int status = c.run(found);
        require(status == 0 || (c.counts && status > 0) ||
                    std::find(c.codes.begin(), c.codes.end(), status) != c.codes.end(),
                "a documented status");
        m_.require_others_kept();
        l_.require_others_kept();
        x_.require_others_kept();
        v_.require_others_kept();
        if (!comparable)
            return;
        require(c.run(expected) == status, "the status of a call on copies");
        compare(c.m, found.m, expected.m);
        compare(c.l, found.l, expected.l);
        compare(c.x, found.x, expected.x);
        compare(c.v, found.v, expected.v);
    }

    const meldra::node_detector& detector() const { return detector_; }

private:
    /// A small mesh in its usual places: coordinates, solids, neighbours, surface, edges.
    void fill() {
        auto& x = x_.object;
        auto& m = m_.object;
        auto& l = l_.object;
        x[0] = args_.coordinates();
        const unsigned nodes = named_columns(x[0].cols());
        const unsigned rows = args_.rarely(12) ? args_.below(30) : std::array{4u, 8u, 4u, 5u, 6u}[args_.below(5)];
        m[0] = args_.connectivity(rows, {rows, rows == 8 ? 6u : rows, rows == 8 ? 4u : rows}, nodes);
        const auto type = rows == 4 ? ET_TH4 : ET_SOLID_MIX;
        meldra::get_neighbors(m[0], type, false, m[1]);
        meldra::get_ancestors(m[0], l[0]);
        const unsigned surface_rows = 3 + args_.below(2);
        m[2] = args_.connectivity(surface_rows, {surface_rows, 3}, nodes, {&m[0]});
        m[3] = args_.connectivity(2 + args_.below(2), {2, 3}, nodes, {&m[0], &m[2]});
        m[4] = args_.connectivity(args_.flag() ? 4 : 9, {4, 9}, nodes, {&m[0], &m[2]});
        m[5] = args_.connectivity(rows, {rows}, nodes, {&m[0], &m[2]});
        for (unsigned k = 1; k < 4; ++k)
            for (unsigned n = args_.below(8); n > 0; --n)
                l[k].push_back(args_.id(k == 3 ? 2 : nodes));
        x[1] = args_.coordinates();
        x[2] = reals(6, x[0].empty() ? 0 : x[0].cols(), 0.0);
        for (std::size_t k = 0; k < x[2].size(); ++k)
            x[2].data()[k] = k % 6 == 0 || k % 6 == 2 || k % 6 == 5 ? std::abs(args_.number()) : args_.number() / 16;
        for (numbers& v : v_.object)
            v = numbers(args_.rarely(4) ? args_.below(30) : x[0].empty() ? 0 : x[0].cols(), args_.number());
    }

    /// Makes one object a view of another.
    void share() {
        const auto place = [&] { return args_.below(6); };
        switch (args_.below(6)) {
        case 0:
            m_.object[place()] = m_.object[place()];
            break;
        case 1: {
            const ids& of = m_.object[place()];
            m_.object[place()] = window(of);
            break;
        }
        case 2:
            l_.object[place()] = args_.flag() ? m_.object[place()].as_vector() : l_.object[place()];
            break;
        case 3:
            x_.object[place()] = x_.object[place()];
            break;
        case 4: {
            const reals& of = x_.object[place()];
            x_.object[place()] = window(of);
            break;
        }
        default:
            v_.object[place()] = args_.flag() ? x_.object[place()].as_vector() : v_.object[place()];
        }
    }

    /// A window of a matrix, mostly of all its rows.
    template <class T>
    dense2D<T> window(const dense2D<T>& of) {
        if (of.empty())
            return of;
        const unsigned row = args_.rarely(4) ? args_.below(unsigned(of.rows())) : 0;
        const unsigned col = args_.below(unsigned(of.cols()));
        return of.sub(row, col, of.rows() - row, 1 + args_.below(unsigned(of.cols() - col)));
    }

    /// Finds who sees what the call will write. True when its result can be told from copies: no output is given twice,
    /// and nothing is written under the eyes of another argument.
    bool find_overlaps(const frame& f) {
        auto id_spans = m_.written();
        for (const auto& s : l_.written())
            id_spans.push_back(s);
        auto number_spans = x_.written();
        for (const auto& s : v_.written())
            number_spans.push_back(s);
        m_.find_views(id_spans);
        l_.find_views(id_spans);
        x_.find_views(number_spans);
        v_.find_views(number_spans);
        return !m_.outputs_twice() && !l_.outputs_twice() && !x_.outputs_twice() && !v_.outputs_twice() &&
               !m_.arguments_overlap(f.m, id_spans) && !l_.arguments_overlap(f.l, id_spans) &&
               !x_.arguments_overlap(f.x, number_spans) && !v_.arguments_overlap(f.v, number_spans);
    }

    arguments& args_;
    shelf<ids> m_;
    shelf<list> l_;
    shelf<reals> x_;
    shelf<numbers> v_;
    meldra::node_detector detector_;
};

constexpr use in = use::in, out = use::out, written = use::written;
constexpr unsigned mesh = 0, across = 1, surface = 2, edges = 3, faces = 4, other = 5; // matrices of IDs
constexpr unsigned pos = 0, points = 1, metrics = 2;                                   // of numbers

vec3 any_vector(arguments& args) {
    return {args.number(), args.number(), args.number()};
}

/// The outputs of a sweep behind its path, in the short form or the full one.
std::vector<argument> sweep_matrices(bool full) {
    if (full)
        return {{in, surface}, {out, mesh}, {in, edges}, {out, faces}, {out, other}};
    return {{in, surface}, {out, mesh}};
}

const std::vector<int> sweep_codes{-1, -2, -3, -4, -5, -6, -7, -8, -9, -10, -11, -199};

/// Sweeps whose path is a few numbers: sweep(pos, surface, outputs and layers in the order of the form).
template <class Sweep>
call sweep_of(arguments& args, Sweep sweep) {
    const bool full = args.flag(), counted = args.flag(), even = args.flag();
    const unsigned layers = args.below(4);
    const double start = 1 + std::abs(args.number()), end = 1 + std::abs(args.number());
    call c{sweep_matrices(full), {}, {{out, pos}}, {}, nullptr, sweep_codes, nullptr};
    c.run = [=](frame& f) {
        const auto& m = f.m;
        if (full && counted)
            return sweep(*f.x[0], *m[0], layers, *m[1], *m[2], *m[3], *m[4]);
        if (full)
            return sweep(*f.x[0], *m[0], start, end, even, *m[1], *m[2], *m[3], *m[4]);
        if (counted)
            return sweep(*f.x[0], *m[0], layers, *m[1]);
        return sweep(*f.x[0], *m[0], start, end, even, *m[1]);
    };
    return c;
}

call sweep_along_numbers(arguments& args) {
    const vec3 a = any_vector(args), b = any_vector(args), d = any_vector(args);
    switch (args.below(4)) {
    case 0:
        return sweep_of(args, [=](auto& p, auto& s, auto&&... rest) { return extrude_translate(p, s, a, rest...); });
    case 1:
        return sweep_of(args, [=](auto& p, auto& s, auto&&... rest) { return extrude_rotate(p, s, a, b, rest...); });
    case 2:
        return sweep_of(args, [=](auto& p, auto& s, auto&&... rest) { return extrude_spiral(p, s, a, b, d, rest...); });
    default:
        return sweep_of(
            args, [=](auto& p, auto& s, auto&&... rest) { return extrude_normal(p, s, 1 + std::abs(a[0]), rest...); });
    }
}

call sweep_along_arrays(arguments& args) {
    const bool full = args.flag();
    const vec3 dir = any_vector(args);
    const unsigned layers = args.below(4);
    call c{sweep_matrices(full), {}, {{out, pos}}, {}, nullptr, sweep_codes, nullptr};
    const auto with = [=](auto sweep) {
        return [=](frame& f) {
            const auto& m = f.m;
            return full ? sweep(f, *m[0], *m[1], *m[2], *m[3], *m[4]) : sweep(f, *m[0], *m[1]);
        };
    };
    switch (args.below(3)) {
    case 0:
        c.x.push_back({in, points});
        c.run = with([=](frame& f, ids& s, auto&... outputs) {
            return extrude_normal(*f.x[0], s, *f.x[1], layers, outputs...);
        });
        break;
    case 1:
        c.x.push_back({in, metrics});
        c.l = {{in, 1}};
        c.run = with([=](frame& f, ids& s, auto&... outputs) {
            return extrude_line(*f.x[0], s, *f.l[0], dir, *f.x[1], outputs...);
        });
        break;
    default:
        c.v = {{in, 0}};
        c.l = {{in, 1}};
        c.run = with([=](frame& f, ids& s, auto&... outputs) {
            return extrude_line(*f.x[0], s, *f.l[0], dir, *f.v[0], outputs...);
        });
    }
    return c;
}

call conversion(arguments& args) {
    const unsigned nE = args.below(3), nQ = args.flag() ? 1 : 4, nT = args.flag(), nX = args.below(3);
    const std::vector<int> codes{-1, -2, -4, -5, -6, -7, -9, -11, -12, -199};
    switch (args.below(6)) {
    case 0:
        return {{{in, mesh}, {out, other}, {in, faces}, {in, edges}},
                {},
                {{out, pos}},
                {},
                [=](frame& f) {
                    return convert_into_high_order(*f.x[0], *f.m[0], nE, nQ, nT, 1, 1, nX, 1, *f.m[1], *f.m[2],
                                                   *f.m[3]);
                },
                codes,
                nullptr};
    case 1:
        return {{{out, mesh}, {in, faces}, {in, edges}},
                {},
                {{out, pos}},
                {},
                [=](frame& f) {
                    return convert_into_high_order(*f.x[0], *f.m[0], nE, nQ, nT, 1, 1, nX, 1, *f.m[1], *f.m[2]);
                },
                codes,
                nullptr};
    case 2:
        return {{{out, mesh}, {in, faces}, {in, edges}},
                {},
                {{out, pos}},
                {},
                [](frame& f) { return convert_into_quadratic(*f.x[0], *f.m[0], *f.m[1], *f.m[2]); },
                codes,
                nullptr};
    case 3:
        return {
            {{out, mesh}}, {},     {{out, pos}}, {}, [](frame& f) {
                    return convert_into_quadratic(*f.x[0], *f.m[0]); },
            codes,         nullptr};
    case 4:
        return {{{written, mesh}}, {}, {}, {}, [](frame& f) { return convert_into_linear(*f.m[0]); }, {-1}, nullptr};
    default:
        return {{{in, mesh}, {out, other}, {in, faces}, {in, edges}},
                {},
                {{out, pos}},
                {},
                [](frame& f) { return split_into_H8(*f.x[0], *f.m[0], *f.m[1], *f.m[2], *f.m[3]); },
                {-1, -2, -3, -4, -5, -199},
                nullptr};
    }
}

/// The written precondition of the cut along quadrangles.
bool can_be_cut(const frame& f) {
    const snapshot<unsigned> solids(*f.m[0]), quadrangles(*f.m[1]);
    const std::size_t nodes = f.x[0]->cols();
    return f.x[0]->rows() == 3 && solids.rows == 8 && quadrangles.rows == 4 &&
           suits(solids, ET_SOLID_MIX, named_columns(nodes)) && suits(quadrangles, ET_Q4, named_columns(nodes)) &&
           f.l[0]->size() >= quadrangles.cols &&
           std::all_of(f.l[0]->begin(), f.l[0]->end(), [](unsigned bit) { return bit < 2; });
}

call flip_or_cut(arguments& args) {
    const unsigned kind = args.below(5);
    const auto type = element_type(int(args.below(25)));
    if (kind == 4) {
        const double least = args.flag() ? args.number() : 0;
        return {{{in, mesh}, {in, faces}, {out, other}},
                {{in, 3}, {out, 2}},
                {{out, pos}},
                {},
                [=](frame& f) { return split_solid_Q4(*f.x[0], *f.m[0], *f.m[1], *f.l[0], least, *f.l[1], *f.m[2]); },
                {},
                can_be_cut};
    }
    return {{{written, mesh}},
            {},
            {},
            {},
            [=](frame& f) {
                ids& m = *f.m[0];
                return kind == 0 ? flip_H8(m) : kind == 1 ? flip_TH4(m) : kind == 2 ? flip_W6(m) : flip(m, type);
            },
            {-1, -2},
            nullptr};
}

call interpolation(arguments& args) {
    const unsigned form = args.below(6);
    const bool keep_valid = args.flag();
    const bool scalar = form % 2 == 1, listed = form < 4;
    call c{{{in, mesh}, {in, across}}, {{in, 0}}, {{in, pos}}, {}, nullptr, {-1, -2, -3, -4, -5, -6, -199}, nullptr};
    if (scalar)
        c.v = {{written, 0}};
    else
        c.x.push_back({written, metrics});
    if (listed)
        c.l.push_back({in, 1});
    c.run = [=](frame& f) {
        const auto at = [&](auto& values) {
            if (form < 2)
                return interpolate(*f.x[0], *f.m[0], *f.m[1], *f.l[0], values, *f.l[1]);
            if (listed)
                return interpolate_metrics(*f.x[0], *f.m[0], *f.m[1], *f.l[0], values, *f.l[1], keep_valid);
            return interpolate_metrics(*f.x[0], *f.m[0], *f.m[1], *f.l[0], values, keep_valid);
        };
        return scalar ? at(*f.v[0]) : at(*f.x[1]);
    };
    return c;
}

call search(arguments& args, const meldra::node_detector& detector) {
    const vec3 point = any_vector(args);
    const double tolerance = args.flag() ? 1e-6 : args.number();
    const auto type = args.rarely(8) ? ET_TH10 : ET_TH4;
    const std::vector<int> codes{1, -1, -2, -3, -4, -6, -7, -199};
    switch (args.below(4)) {
    case 0:
        return {{{in, mesh}, {in, across}},
                {{in, 0}, {out, 2}},
                {{in, pos}, {in, points}, {out, 3}},
                {},
                [=](frame& f) {
                    return get_elements_containing_points(*f.x[0], *f.m[0], *f.m[1], *f.l[0], detector, type, *f.x[1],
                                                          *f.l[1], *f.x[2], tolerance);
                },
                codes,
                nullptr};
    case 1:
        return {{{in, mesh}},
                {{in, 1}, {out, 2}},
                {{in, pos}, {out, 3}},
                {},
                [=](frame& f) {
                    return get_elements_containing_nodes(*f.x[0], *f.m[0], type, *f.l[0], *f.l[1], *f.x[1], tolerance);
                },
                codes,
                nullptr};
    case 2:
        return {{{in, mesh}, {in, across}},
                {{in, 0}},
                {{in, pos}},
                {},
                [=](frame& f) {
                    unsigned element = 0;
                    vec3 local{};
                    return get_element_containing_point(*f.x[0], *f.m[0], *f.m[1], *f.l[0], detector, type, point,
                                                        element, local, tolerance);
                },
                codes,
                nullptr};
    default:
        return {{{in, mesh}},
                {},
                {{in, pos}},
                {},
                [=](frame& f) {
                    meldra::node_detector own;
                    const int status = own.reinit(*f.x[0], *f.m[0]);
                    require(status == 0 || own.find_closest(point) == no_node, "an empty detector after a failure");
                    return status;
                },
                {-1, -2, -199},
                nullptr};
    }
}

bool has_room_for_angles(const frame& f) {
    const std::size_t elements = f.m[0]->empty() ? 0 : f.m[0]->cols();
    return f.v[0]->size() >= elements && f.v[1]->size() >= elements;
}

call measure(arguments& args) {
    const bool solid = args.flag(), normalized = args.flag();
    switch (args.below(3)) {
    case 0:
        return {{{in, mesh}},
                {},
                {{in, pos}},
                {{written, 1}, {written, 2}},
                [=](frame& f) {
                    const auto angles = solid ? solid_angles : dihedral_angles;
                    return angles(*f.x[0], *f.m[0], normalized, *f.v[0], *f.v[1]);
                },
                {-2},
                has_room_for_angles};
    case 1:
        return {{{in, mesh}},
                {},
                {{in, pos}, {out, 3}},
                {},
                [](frame& f) {
                    return circumcenters(*f.x[0], *f.m[0], *f.x[1]); },
                {-1, -2, -199},
                nullptr};
    default:
        return {{{in, mesh}},
                {},
                {{in, pos}},
                {},
                [](frame& f) {
                    double vol = 1;
                    const int status = volume(*f.x[0], *f.m[0], vol);
                    require(status == 0 || vol == 0, "no volume on failure");
                    return status;
                },
                {-1, -2},
                nullptr};
    }
}

call opening(arguments& args) {
    const bool plus = args.flag(), minus = args.flag();
    const element_type type = std::array{ET_TH4, ET_H8, ET_SOLID_MIX}[args.below(3)];
    call c{{{out, mesh}, {in, across}, {in, surface}},
           {{in, 0}, {in, 1}},
           {{out, pos}},
           {},
           nullptr,
           {-1, -2, -3, -4, -5, -9, -199},
           nullptr};
    c.counts = true;
    c.run = [=](frame& f) {
        return duplicate_surface_nodes(*f.x[0], *f.m[0], *f.m[1], *f.l[0], *f.m[2], *f.l[1], plus, minus, type);
    };
    return c;
}

call companion(arguments& args) {
    const bool strict = args.flag();
    const unsigned n0 = args.below(8), nodes = args.below(16);
    const auto type = element_type(int(args.below(26)));
    const double tolerance = std::abs(args.number());
    switch (args.below(5)) {
    case 0:
        return {{{in, mesh}, {out, across}},
                {},
                {},
                {},
                [=](frame& f) { return meldra::get_neighbors(*f.m[0], type, strict, *f.m[1]); },
                {-1, -2, -3, -199},
                nullptr};
    case 1:
        return {{{in, mesh}}, {{out, 0}}, {}, {}, [](frame& f) {
                    return meldra::get_ancestors(*f.m[0], *f.l[0]); },
                {-199},       nullptr};
    case 2: {
        call c{{{out, surface}, {out, edges}, {out, faces}, {out, other}},
               {{out, 4}},
               {{out, pos}},
               {},
               nullptr,
               {-2, -199},
               nullptr};
        c.range = true;
        c.run = [=](frame& f) { return meldra::simplify(*f.x[0], f.m[0], f.m[0] + 4, *f.l[0], n0); };
        return c;
    }
    case 3:
        return {{{in, surface}},
                {},
                {{in, pos}, {out, 3}},
                {},
                [=](frame& f) { return meldra2d::normals(*f.x[0], *f.m[0], tolerance, strict, *f.x[1]); },
                {-1, -2, -3, -199},
                nullptr};
    default:
        return {{{in, mesh}},
                {{in, 0}},
                {},
                {},
                [=](frame& f) {
                    const bool all = meldra::check_IDs(*f.m[0], nodes);
                    require(all || !meldra::check_IDs(*f.m[0], type, nodes), "a type asks for more than a number");
                    return int(meldra::check_IDs(*f.l[0], nodes)) * 0;
                },
                {},
                nullptr};
    }
}

call any_call(arguments& args, const meldra::node_detector& detector) {
    switch (args.below(10)) {
    case 0:
    case 1:
        return sweep_along_numbers(args);
    case 2:
        return sweep_along_arrays(args);
    case 3:
        return conversion(args);
    case 4:
        return flip_or_cut(args);
    case 5:
        return interpolation(args);
    case 6:
        return search(args, detector);
    case 7:
        return measure(args);
    case 8:
        return opening(args);
    default:
        return companion(args);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    pool objects(args);
    for (unsigned k = 1 + args.below(4); k > 0 && objects.is_small(); --k)
        objects.run(any_call(args, objects.detector()));
    return 0;
}
