// All forms of extrude_line on random surfaces and lines, against a plain version of its checks, of its numbering, of
// the removal of nodes and, for numbers of moderate size, of the places of the nodes.

#include "plain_sweep.h"

#include <optional>

namespace {

using namespace fuzz;
using quorl::dense1D;
using quorl::vector_fixed;
using quorl::meldra3d::extrude_line;
using vec3 = vector_fixed<double, 3>;
using point = std::array<long double, 3>;

struct line_arguments {
    bool by_metrics;
    bool full;
    vec3 dir0;
    std::vector<unsigned> line;
    std::vector<double> sizes;
    std::size_t metric_rows;
    std::vector<double> metrics; ///< column by column

    std::size_t layers() const { return line.size() - 1; }
};

line_arguments decode(arguments& args, unsigned nodes) {
    line_arguments a{};
    a.by_metrics = args.flag();
    a.full = args.flag();
    a.dir0 = {args.number(), args.number(), args.number()};
    a.line.resize(args.rarely(16) ? args.below(2) : 2 + args.below(5));
    for (unsigned& id : a.line)
        id = args.id(nodes);
    a.sizes.resize(args.below(8));
    for (double& size : a.sizes)
        size = args.rarely(4) ? args.number() : std::abs(args.number());
    a.metric_rows = args.rarely(24) ? args.below(9) : 6;
    a.metrics.resize(a.metric_rows * args.below(8));
    for (std::size_t k = 0; k < a.metrics.size(); ++k) {
        const bool diagonal = a.metric_rows == 6 && (k % 6 == 0 || k % 6 == 2 || k % 6 == 5);
        a.metrics[k] = diagonal ? std::abs(args.number()) : args.number() / 8;
    }
    return a;
}

constexpr int work = 1;

int expected_status(const line_arguments& a, const snapshot<double>& pos,
                    const std::array<snapshot<unsigned>, roles>& in) {
    if (in[surface].empty())
        return 0;
    if (pos.rows != 3)
        return -1;
    if (!suits(in[surface], quorl::ET_FACE_MIX, named_columns(pos.cols)))
        return -2;
    if (a.line.size() < 2 || std::any_of(a.line.begin(), a.line.end(), [&](unsigned id) { return id >= pos.cols; }))
        return -3;
    if (a.by_metrics && !a.metrics.empty() && a.metric_rows != 6)
        return -5;
    if (!has_rows(in[solids], 6, 8))
        return -6;
    if (a.full && !has_rows(in[edges], 2, 2))
        return -7;
    if (a.full && !has_rows(in[sides], 4, 4))
        return -8;
    if (a.full && !has_rows(in[cap], 3, 4))
        return -9;
    return work;
}

/// An output as it must come back: old columns in the new rows, then the new ones.
struct expected_matrix {
    std::size_t rows;
    std::vector<column> columns;
};

expected_matrix appended(const snapshot<unsigned>& before, std::size_t rows, const std::vector<column>& added) {
    expected_matrix m{rows, {}};
    for (std::size_t j = 0; j < before.cols; ++j) {
        column old(rows, no_node);
        for (std::size_t i = 0; i < std::min(rows, before.rows); ++i)
            old[i] = before.col(j)[i];
        m.columns.push_back(old);
    }
    for (column fresh : added) {
        fresh.resize(rows, no_node);
        m.columns.push_back(fresh);
    }
    return m;
}

void check_output(const expected_matrix& expected, const dense2D<unsigned>& output) {
    require(output.rows() == expected.rows && output.cols() == expected.columns.size(), "dimensions of an output");
    for (std::size_t j = 0; j < expected.columns.size(); ++j)
        for (std::size_t i = 0; i < expected.rows; ++i)
            require(output(i, j) == expected.columns[j][i], "the entries of an output");
}

/// Puts the nodes of the line in the places of the copies of its first node.
void put_line_nodes(const line_arguments& a, const numbering& n, std::vector<expected_matrix>& outputs) {
    for (unsigned level = 1; level <= n.layers; ++level)
        for (expected_matrix& m : outputs)
            for (column& c : m.columns)
                std::replace(c.begin(), c.end(), n.node(a.line[0], level), a.line[level]);
}

/// The new IDs of all nodes when those that nothing names are removed; none when an entry names no node.
std::optional<std::vector<unsigned>> new_ids(const numbering& n, const std::vector<expected_matrix>& outputs) {
    std::vector<bool> used(n.entry_nodes + std::size_t(n.layers) * n.nodes.size());
    std::fill_n(used.begin(), n.entry_nodes, true);
    for (const expected_matrix& m : outputs)
        for (const column& c : m.columns)
            for (const unsigned id : c) {
                if (id != no_node && id >= used.size())
                    return std::nullopt;
                if (id != no_node)
                    used[id] = true;
            }
    std::vector<unsigned> numbers;
    unsigned next = 0;
    for (const bool keep : used)
        numbers.push_back(keep ? next++ : no_node);
    return numbers;
}

long double dot(const point& a, const point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

point difference(const point& a, const point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

point cross(const point& a, const point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Where the nodes lie, in extended precision; none where rounding may decide.
class plain_line {
public:
    plain_line(const line_arguments& a, const snapshot<double>& pos) : a_(a), pos_(pos) {}

    std::optional<point> image(unsigned id, unsigned level) const {
        const point to = original(a_.line[level]);
        if (!usable(level))
            return std::nullopt;
        if (id == a_.line[0])
            return to;
        const auto below = level == 1 ? std::optional(original(id)) : image(id, level - 1);
        if (!below)
            return std::nullopt;
        const point u = difference(*below, original(a_.line[level - 1]));
        const long double length = std::sqrt(dot(u, u));
        if (length < 1e-6L) // nearly at the line: its direction is mostly rounding
            return length == 0 ? std::optional(to) : std::nullopt;
        const long double scale = ratio(level, {u[0] / length, u[1] / length, u[2] / length});
        if (!(scale > 1e-3L && scale < 1e3L))
            return std::nullopt;
        point x = turned(u, rotation(level));
        for (unsigned i = 0; i < 3; ++i)
            x[i] = to[i] + scale * x[i];
        return x;
    }

private:
    point original(unsigned id) const { return {pos_.col(id)[0], pos_.col(id)[1], pos_.col(id)[2]}; }

    bool usable(unsigned level) const {
        for (const unsigned id : {a_.line[level - 1], a_.line[level]})
            for (const long double x : original(id))
                if (!is_moderate(double(x)))
                    return false;
        if (!is_moderate(a_.dir0))
            return false;
        if (!a_.by_metrics)
            return true;
        for (std::size_t k = 6 * (level - 1); k < std::min(a_.metrics.size(), 6 * std::size_t(level) + 6); ++k)
            if (!is_moderate(a_.metrics[k]))
                return false;
        return determined(level - 1) && determined(level);
    }

    point rotation(unsigned level) const {
        const point b = difference(original(a_.line[level]), original(a_.line[level - 1]));
        const point before = level == 1 ? point{a_.dir0[0], a_.dir0[1], a_.dir0[2]}
                                        : difference(original(a_.line[level - 1]), original(a_.line[level - 2]));
        const point c = cross(before, b);
        const long double size = std::sqrt(dot(c, c));
        if (size == 0)
            return {0, 0, 0};
        const long double sine = std::min(1.0L, size / std::sqrt(dot(before, before) * dot(b, b)));
        const long double factor = std::asin(sine) / size;
        return {c[0] * factor, c[1] * factor, c[2] * factor};
    }

    /// The leading minors of metric k.
    point minors(std::size_t k) const {
        const double* const m = a_.metrics.data() + 6 * k;
        const long double two = static_cast<long double>(m[0]) * m[2] - static_cast<long double>(m[1]) * m[1];
        const point r0{m[0], m[1], m[3]}, r1{m[1], m[2], m[4]}, r2{m[3], m[4], m[5]};
        return {m[0], two, dot(r0, cross(r1, r2))};
    }
    bool has_metric(std::size_t k) const { return 6 * k < a_.metrics.size(); }
    /// True when rounding does not decide whether metric k is positive definite. That of level 0 is never used.
    bool determined(std::size_t k) const {
        if (k == 0 || !has_metric(k))
            return true;
        const point m = minors(k);
        return std::all_of(m.begin(), m.end(), [](long double x) { return std::abs(x) > 1e-6L; });
    }

    long double metric_size(std::size_t k, const point& e) const {
        if (k == 0 || !has_metric(k))
            return 1;
        const point positive = minors(k);
        if (!std::all_of(positive.begin(), positive.end(), [](long double x) { return x > 0; }))
            return 1;
        const double* const m = a_.metrics.data() + 6 * k;
        return 1 / std::sqrt(m[0] * e[0] * e[0] + 2 * m[1] * e[0] * e[1] + m[2] * e[1] * e[1] + 2 * m[3] * e[0] * e[2] +
                             2 * m[4] * e[1] * e[2] + m[5] * e[2] * e[2]);
    }
    long double given_size(std::size_t k) const {
        return k < a_.sizes.size() && a_.sizes[k] > 0 && std::isfinite(a_.sizes[k]) ? a_.sizes[k] : 1;
    }
    long double ratio(unsigned level, const point& e) const {
        return a_.by_metrics ? metric_size(level, e) / metric_size(level - 1, e)
                             : given_size(level) / given_size(level - 1);
    }

    const line_arguments& a_;
    const snapshot<double>& pos_;
};

void check_places(const line_arguments& a, const sweep_matrices& m, const numbering& n,
                  const std::optional<std::vector<unsigned>>& numbers) {
    const plain_line plain(a, m.pos_before);
    for (unsigned level = 1; level <= n.layers; ++level)
        for (const unsigned id : n.nodes) {
            const unsigned old = n.node(id, level);
            const unsigned now = numbers ? (*numbers)[old] : old;
            const auto expected = plain.image(id, level);
            if (now == no_node || !expected || !is_moderate({m.pos(0, id), m.pos(1, id), m.pos(2, id)}))
                continue;
            for (unsigned i = 0; i < 3; ++i) {
                const long double tolerance = 1e-7L * (1 + std::abs((*expected)[i]));
                require(std::abs(m.pos(i, now) - (*expected)[i]) <= tolerance, "the place of a node");
            }
        }
}

bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
    return a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

int call(const line_arguments& a, sweep_matrices& m, const dense1D<unsigned>& line, const dense2D<double>& metrics,
         const dense1D<double>& sizes) {
    if (a.by_metrics && a.full)
        return extrude_line(m.pos, m[surface], line, a.dir0, metrics, m[solids], m[edges], m[sides], m[cap]);
    if (a.by_metrics)
        return extrude_line(m.pos, m[surface], line, a.dir0, metrics, m[solids]);
    if (a.full)
        return extrude_line(m.pos, m[surface], line, a.dir0, sizes, m[solids], m[edges], m[sides], m[cap]);
    return extrude_line(m.pos, m[surface], line, a.dir0, sizes, m[solids]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    sweep_matrices m(args);
    line_arguments a = decode(args, named_columns(m.pos.cols()));
    const auto line = dense1D<unsigned>::view(a.line.data(), a.line.size());
    const auto sizes = dense1D<double>::view(a.sizes.data(), a.sizes.size());
    const std::size_t cols = a.metric_rows == 0 ? 0 : a.metrics.size() / a.metric_rows;
    const auto metrics = dense2D<double>::view(a.metrics.data(), a.metric_rows, cols, a.metric_rows);
    const line_arguments given = a;

    const int status = call(a, m, line, metrics, sizes);

    require(args.callers_memory_kept(), "the caller's memory unchanged");
    m.require_other_views_kept();
    require(given.line == a.line && same_bits(given.metrics, a.metrics) && same_bits(given.sizes, a.sizes),
            "line, metrics and sizes unchanged");
    const int expected = expected_status(given, m.pos_before, m.before);
    if (expected != work) {
        require(status == expected, "the status of a checked argument");
        m.require_nothing_changed();
        return 0;
    }
    if (m.has_many_columns(given.full)) {
        require(status == -199, "no room for so many columns");
        m.require_cut_back();
        return 0;
    }
    require(status == 0, "a sweep of a small mesh");
    m.require_old_nodes_unmoved();
    numbering n = number_surface(m.pos_before, m.before[surface]);
    n.layers = unsigned(given.layers());
    if (given.full && !(m.has_one_meaning(solids) && m.has_one_meaning(sides) && m.has_one_meaning(cap)))
        return 0;
    std::vector<expected_matrix> outputs{
        appended(m.before[solids], 2 * m.before[surface].rows, expected_solids(m.before[surface], n))};
    if (given.full) {
        outputs.push_back(appended(m.before[sides], 4, expected_sides(m.before[edges], n)));
        outputs.push_back(appended(m.before[cap], m.before[surface].rows, expected_cap(m.before[surface], n)));
    }
    const bool joined = std::find(n.nodes.begin(), n.nodes.end(), given.line[0]) != n.nodes.end();
    std::optional<std::vector<unsigned>> numbers;
    if (joined) {
        put_line_nodes(given, n, outputs);
        numbers = new_ids(n, outputs);
    }
    if (numbers)
        for (expected_matrix& output : outputs)
            for (column& c : output.columns)
                for (unsigned& id : c)
                    id = id == no_node ? no_node : (*numbers)[id];
    const std::size_t all = n.entry_nodes + std::size_t(n.layers) * n.nodes.size();
    require(m.pos.cols() == (numbers ? all - std::size_t(std::count(numbers->begin(), numbers->end(), no_node)) : all),
            "the number of nodes");
    check_output(outputs[0], m[solids]);
    if (given.full) {
        check_output(outputs[1], m[sides]);
        check_output(outputs[2], m[cap]);
    }
    check_places(given, m, n, numbers);
    return 0;
}
