// All forms of extrude_normal on random surfaces, against a plain version of the numbering and of the checks.

#include "plain_sweep.h"

namespace {

using namespace fuzz;
using quorl::meldra3d::extrude_normal;

enum form : unsigned { by_sizes, by_count, by_vectors, forms };

struct scalars {
    form kind;
    bool full;
    bool even;
    double thickness;
    double start;
    double end;
    unsigned layers;
};

scalars decode_scalars(arguments& args) {
    scalars s{};
    s.kind = form(args.below(forms));
    s.full = args.flag();
    s.even = args.flag();
    s.thickness = args.rarely(8) ? args.number() : std::abs(args.number());
    s.start = std::abs(args.number());
    s.end = args.rarely(8) ? args.number() : std::abs(args.number());
    s.layers = args.rarely(8) ? args.integer() : args.below(20);
    return s;
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
    return work;
}

int expected_status_of_vectors(const sweep_matrices& m, const scalars& s, const snapshot<double>& shifts) {
    if (m.before[surface].empty())
        return 0;
    if (m.pos_before.rows != 3)
        return -1;
    if (!suits(m.before[surface], quorl::ET_FACE_MIX, named_columns(std::min(m.pos_before.cols, shifts.cols))))
        return -2;
    if (shifts.rows != 3)
        return -3;
    return check_rows(m.before, s.full, {-5, -6, -7, -8});
}

/// The status of the checks, or `work`.
int expected_status(const sweep_matrices& m, const scalars& s, const snapshot<double>& shifts) {
    if (s.kind == by_vectors)
        return expected_status_of_vectors(m, s, shifts);
    if (s.kind == by_count) {
        if (s.layers == 0)
            return 0;
        if (!has_rows(m.before[solids], 6, 8))
            return -5;
        if (s.full && !has_rows(m.before[cap], 3, 4))
            return -6;
    }
    if (m.before[surface].empty())
        return 0;
    if (m.pos_before.rows != 3)
        return -1;
    if (!suits(m.before[surface], quorl::ET_FACE_MIX, named_columns(m.pos_before.cols)))
        return -2;
    if (!(s.thickness > 0))
        return -3;
    if (!((s.kind == by_count ? s.thickness / s.layers : s.start) > 0))
        return -4;
    if (s.kind == by_sizes && !(s.end > 0))
        return -5;
    return check_rows(m.before, s.full, {-7, -8, -9, -10});
}

int call(const scalars& s, sweep_matrices& m, const dense2D<double>& shifts) {
    dense2D<double>& pos = m.pos;
    switch (s.kind) {
    case by_sizes:
        if (s.full)
            return extrude_normal(pos, m[surface], s.thickness, s.start, s.end, s.even, m[solids], m[edges], m[sides],
                                  m[cap]);
        return extrude_normal(pos, m[surface], s.thickness, s.start, s.end, s.even, m[solids]);
    case by_count:
        if (s.full)
            return extrude_normal(pos, m[surface], s.thickness, s.layers, m[solids], m[edges], m[sides], m[cap]);
        return extrude_normal(pos, m[surface], s.thickness, s.layers, m[solids]);
    default:
        if (s.full)
            return extrude_normal(pos, m[surface], shifts, s.layers, m[solids], m[edges], m[sides], m[cap]);
        return extrude_normal(pos, m[surface], shifts, s.layers, m[solids]);
    }
}

/// The last level: old coordinates plus the whole way of each node.
void check_last_level(const dense2D<double>& pos, const numbering& n, double factor, const snapshot<double>& ways) {
    if (n.layers == 0)
        return;
    for (const unsigned id : n.nodes)
        for (unsigned i = 0; i < 3; ++i)
            require(sweep_matrices::same_number(pos(i, n.node(id, n.layers)), pos(i, id) + factor * ways.col(id)[i]),
                    "the last level");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const scalars s = decode_scalars(args);
    sweep_matrices m(args);
    dense2D<double> own_shifts;
    if (s.kind == by_vectors)
        own_shifts = args.rarely(8) ? m.pos : args.coordinates();
    const dense2D<double>& shifts = s.kind == by_vectors && args.rarely(8) ? m.pos : own_shifts;
    snapshot<double> ways(shifts);
    ways.cols = shifts.cols(); // an empty matrix has columns, too
    const int expected = expected_status(m, s, ways);
    if (s.kind != by_vectors && expected == work) {
        dense2D<double> normals;
        require(quorl::meldra2d::normals(m.pos, m[surface], 0, true, normals) == 0, "normals of a checked surface");
        ways = snapshot<double>(normals);
    }

    const int status = call(s, m, shifts);

    require(args.callers_memory_kept(), "the caller's memory unchanged");
    m.require_other_views_kept();
    if (expected != work) {
        require(status == expected, "the status of a checked argument");
        m.require_nothing_changed();
        return 0;
    }
    numbering n = number_surface(m.pos_before, m.before[surface]);
    if (status == -199) {
        const bool usual = s.kind != by_sizes && s.layers < 20;
        const bool moderate = s.kind == by_vectors || (s.thickness > 1e-100 && s.thickness < 1e100);
        require(m.has_many_columns(s.full) || !usual || !moderate, "memory for a small sweep");
        m.require_cut_back();
        return 0;
    }
    require(status == 0 && !m.has_many_columns(s.full), "a documented status");
    n.layers = unsigned((m.pos.cols() - m.pos_before.cols) / n.nodes.size());
    require(m.pos_before.cols + std::size_t(n.layers) * n.nodes.size() == m.pos.cols(), "whole levels of nodes");
    require(s.kind == by_sizes ? n.layers >= 1 : n.layers == s.layers || s.layers >= 20, "the number of layers");
    require(s.kind != by_sizes || !s.even || n.layers % 2 == 0, "an even number of layers");
    if (n.layers > 2000) // the plain version is slow
        return 0;
    m.require_old_nodes_unmoved();
    check_last_level(m.pos, n, s.kind == by_vectors ? 1 : s.thickness, ways);
    if (!s.full || m.has_one_meaning(solids))
        check_appended(m.before[solids], m[solids], 2 * m.before[surface].rows, expected_solids(m.before[surface], n));
    if (s.full && m.has_one_meaning(sides))
        check_appended(m.before[sides], m[sides], 4, expected_sides(m.before[edges], n));
    if (s.full && m.has_one_meaning(cap))
        check_appended(m.before[cap], m[cap], m.before[surface].rows, expected_cap(m.before[surface], n));
    return 0;
}
