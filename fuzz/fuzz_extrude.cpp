// All forms of the sweeps whose layers follow from a length, on random surfaces, against a plain version of the
// numbering and of the checks.

#include "plain_sweep.h"

namespace {

using namespace fuzz;
using namespace quorl::meldra3d;
using quorl::vector_fixed;
using vec3 = vector_fixed<double, 3>;

enum sweep_kind : unsigned { translation, rotation, spiral, kinds };

struct scalars {
    sweep_kind kind;
    bool counted;
    bool full;
    bool even;
    vec3 dir; ///< the shift of a spiral
    vec3 axis_point;
    vec3 turn;
    unsigned layers;
    double start;
    double end;
};

/// Squares of doubles fit in a long double; std::hypot of three arguments loses a NaN that does not come first.
double length_of(const vec3& v) {
    long double square = 0;
    for (unsigned i = 0; i < 3; ++i)
        square += static_cast<long double>(v[i]) * static_cast<long double>(v[i]);
    return double(std::sqrt(square));
}

/// The length that is divided into layers, as a product of two.
std::array<double, 2> path_lengths(const scalars& s, const snapshot<double>& pos, const snapshot<unsigned>& faces) {
    if (s.kind != rotation)
        return {length_of(s.dir), 1};
    if (faces.empty() || faces.entries[0] >= pos.cols || pos.rows < 2 || pos.rows > 3)
        return {0, 0}; // refused before it is asked for
    const double* const x = pos.col(faces.entries[0]);
    return {length_of(s.turn),
            length_of({x[0] - s.axis_point[0], x[1] - s.axis_point[1], (pos.rows == 3 ? x[2] : 0) - s.axis_point[2]})};
}

/// True when the last bit of the length decides whether a part of it is still greater than 0.
bool rounding_decides(const scalars& s, const std::array<double, 2>& lengths) {
    return s.counted && lengths[0] > 0 && lengths[1] > 0 && lengths[0] * lengths[1] < 1e-300;
}

constexpr int work = 1;

/// The codes of the four matrices; those that a short form lacks are empty in it.
int check_rows(const std::array<snapshot<unsigned>, roles>& in, bool full, const std::array<int, 4>& codes) {
    if (!has_rows(in[solids], 6, 8))
        return codes[0];
    if (full && !has_rows(in[edges], 2, 2))
        return codes[1];
    if (full && !has_rows(in[sides], 4, 4))
        return codes[2];
    if (full && !has_rows(in[cap], 3, 4))
        return codes[3];
    return 0;
}

/// The checks that a form with a count makes of its own.
int check_count_form(const snapshot<double>& pos, const std::array<snapshot<unsigned>, roles>& in, const scalars& s) {
    if (s.kind == rotation && !in[surface].empty()) {
        if (pos.rows != 2 && pos.rows != 3)
            return -1;
        if (in[surface].entries[0] >= pos.cols)
            return -2;
        return check_rows(in, s.full, {-6, -7, -8, -9});
    }
    if (s.kind == spiral) {
        if (!has_rows(in[solids], 6, 8))
            return -7;
        if (s.full && !has_rows(in[cap], 3, 4))
            return -8;
    }
    return 0;
}

/// The status of the checks, or `work`.
int expected_status(const snapshot<double>& pos, const std::array<snapshot<unsigned>, roles>& in, const scalars& s,
                    double length) {
    if (s.counted && s.layers == 0)
        return 0;
    if (s.counted)
        if (const int status = check_count_form(pos, in, s); status != 0)
            return status;
    if (in[surface].empty())
        return 0;
    if (pos.rows != 2 && pos.rows != 3)
        return -1;
    if (!suits(in[surface], quorl::ET_FACE_MIX, named_columns(pos.cols)))
        return -2;
    const int shifted = s.kind == translation ? 0 : 1;
    if (!((s.counted ? length * (1.0 / s.layers) : s.start) > 0))
        return -4 - shifted;
    if (!s.counted && !(s.end > 0))
        return -5 - shifted;
    const int status = check_rows(in, s.full, {-7 - shifted, -8 - shifted, -9 - shifted, -10 - shifted});
    return status != 0 ? status : work;
}

/// The numbering of a mesh whose layers follow from its nodes.
numbering levels_of(const snapshot<double>& pos, const snapshot<unsigned>& faces, const dense2D<double>& grown) {
    numbering n = number_surface(pos, faces);
    n.layers = unsigned((grown.cols() - pos.cols) / n.nodes.size());
    require(pos.cols + std::size_t(n.layers) * n.nodes.size() == grown.cols(), "whole levels of nodes");
    return n;
}

void check_translated(const dense2D<double>& pos, const numbering& n, const vec3& dir) {
    for (const unsigned id : n.nodes)
        for (unsigned i = 0; i < 3; ++i)
            require(sweep_matrices::same_number(pos(i, n.node(id, n.layers)), pos(i, id) + dir[i]), "the last level");
}

void check_turned(const dense2D<double>& pos, const numbering& n, const scalars& s) {
    if (!is_moderate(s.turn) || !is_moderate(s.axis_point) || (s.kind == spiral && !is_moderate(s.dir)))
        return;
    for (const unsigned id : n.nodes) {
        if (!is_moderate({pos(0, id), pos(1, id), pos(2, id)}))
            continue;
        std::array<long double, 3> x{};
        for (unsigned i = 0; i < 3; ++i)
            x[i] = static_cast<long double>(pos(i, id)) - s.axis_point[i];
        x = turned(x, {s.turn[0], s.turn[1], s.turn[2]});
        for (unsigned i = 0; i < 3; ++i) {
            const long double expected = s.axis_point[i] + x[i] + (s.kind == spiral ? s.dir[i] : 0);
            require(std::abs(pos(i, n.node(id, n.layers)) - expected) <= 1e-12L, "the last level");
        }
    }
}

scalars decode_scalars(arguments& args) {
    scalars s{};
    s.kind = sweep_kind(args.below(kinds));
    s.counted = args.flag();
    s.full = args.flag();
    s.even = args.flag();
    for (vec3* v : {&s.dir, &s.axis_point, &s.turn})
        if (v == &s.dir || s.kind != translation)
            *v = {args.number(), args.number(), args.number()};
    s.layers = args.rarely(8) ? args.integer() : args.below(20);
    s.start = std::abs(args.number());
    s.end = args.rarely(8) ? args.number() : std::abs(args.number());
    return s;
}

/// Calls the form of a sweep with these arguments behind its path: sweep(path..., layers or sizes..., outputs...).
template <class Sweep>
int call_form(const scalars& s, sweep_matrices& m, Sweep sweep) {
    if (s.counted && s.full)
        return sweep(s.layers, m[solids], m[edges], m[sides], m[cap]);
    if (s.counted)
        return sweep(s.layers, m[solids]);
    if (s.full)
        return sweep(s.start, s.end, s.even, m[solids], m[edges], m[sides], m[cap]);
    return sweep(s.start, s.end, s.even, m[solids]);
}

int call(const scalars& s, sweep_matrices& m) {
    if (s.kind == rotation)
        return call_form(
            s, m, [&](auto&&... rest) { return extrude_rotate(m.pos, m[surface], s.axis_point, s.turn, rest...); });
    if (s.kind == spiral)
        return call_form(s, m, [&](auto&&... rest) {
            return extrude_spiral(m.pos, m[surface], s.axis_point, s.turn, s.dir, rest...);
        });
    return call_form(s, m, [&](auto&&... rest) { return extrude_translate(m.pos, m[surface], s.dir, rest...); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const scalars s = decode_scalars(args);
    sweep_matrices m(args);
    const auto lengths = path_lengths(s, m.pos_before, m.before[surface]);
    const double length = lengths[0] * lengths[1];

    const int status = call(s, m);

    require(args.callers_memory_kept(), "the caller's memory unchanged");
    m.require_other_views_kept();
    if (rounding_decides(s, lengths))
        return 0;
    const int expected = expected_status(m.pos_before, m.before, s, length);
    if (expected != work) {
        require(status == expected, "the status of a checked argument");
        m.require_nothing_changed();
        return 0;
    }
    if (status == -199) {
        const bool usual = s.counted && s.layers < 20 && length > 1e-100 && length < 1e100;
        require(m.has_many_columns(s.full) || !usual, "memory for a small sweep");
        m.require_cut_back();
        return 0;
    }
    require(status == 0 && !m.has_many_columns(s.full), "a documented status");
    const numbering n = levels_of(m.pos_before, m.before[surface], m.pos);
    require(s.counted ? n.layers == s.layers || s.layers >= 20 : n.layers >= 1, "the number of layers");
    require(s.counted || !s.even || n.layers % 2 == 0, "an even number of layers");
    if (n.layers > 2000) // the plain version is slow
        return 0;
    m.require_old_nodes_unmoved();
    if (s.kind == translation)
        check_translated(m.pos, n, s.dir);
    else
        check_turned(m.pos, n, s);
    if (!s.full || m.has_one_meaning(solids))
        check_appended(m.before[solids], m[solids], 2 * m.before[surface].rows, expected_solids(m.before[surface], n));
    if (s.full && m.has_one_meaning(sides))
        check_appended(m.before[sides], m[sides], 4, expected_sides(m.before[edges], n));
    if (s.full && m.has_one_meaning(cap))
        check_appended(m.before[cap], m[cap], m.before[surface].rows, expected_cap(m.before[surface], n));
    return 0;
}
