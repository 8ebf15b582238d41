// All forms of extrude_translate on random surfaces, against a plain version of the numbering and of the checks.

#include "suits.h"

#include <array>
#include <cmath>

namespace {

using namespace fuzz;
using quorl::vector_fixed;
using quorl::meldra3d::extrude_translate;

enum role : unsigned { surface, solids, edges, sides, cap, roles };

struct scalars {
    vector_fixed<double, 3> dir;
    bool counted;
    bool full;
    bool even;
    unsigned layers;
    double start;
    double end;

    /// Squares of doubles fit in a long double; std::hypot of three arguments loses a NaN that does not come first.
    double length() const {
        long double square = 0;
        for (unsigned i = 0; i < 3; ++i)
            square += static_cast<long double>(dir[i]) * static_cast<long double>(dir[i]);
        return double(std::sqrt(square));
    }
    /// True when the last bit of the length decides whether a part of it is still greater than 0.
    bool rounding_decides() const { return counted && length() > 0 && length() < 1e-300; }
};

bool has_rows(const snapshot<unsigned>& matrix, std::size_t one, std::size_t other) {
    return matrix.empty() || matrix.rows == one || matrix.rows == other;
}

/// The status of the checks; 0 where the work begins.
int expected_status(const snapshot<double>& pos, const std::array<snapshot<unsigned>, roles>& in, const scalars& s) {
    if (pos.rows != 2 && pos.rows != 3)
        return -1;
    if (!suits(in[surface], quorl::ET_FACE_MIX, unsigned(pos.cols)))
        return -2;
    if (!((s.counted ? s.length() * (1.0 / s.layers) : s.start) > 0))
        return -4;
    if (!s.counted && !(s.end > 0))
        return -5;
    if (!has_rows(in[solids], 6, 8))
        return -7;
    if (s.full && !has_rows(in[edges], 2, 2))
        return -8;
    if (s.full && !has_rows(in[sides], 4, 4))
        return -9;
    if (s.full && !has_rows(in[cap], 3, 4))
        return -10;
    return 0;
}

/// The numbering of a sweep, from the words of the header.
struct numbering {
    std::vector<unsigned> nodes; ///< of the surface, in order of first appearance
    unsigned entry_nodes;
    unsigned layers;

    unsigned node(unsigned id, unsigned level) const {
        const auto found = std::find(nodes.begin(), nodes.end(), id);
        const unsigned index = found == nodes.end() ? no_node : unsigned(found - nodes.begin());
        return level == 0 ? id : entry_nodes + (level - 1) * unsigned(nodes.size()) + index;
    }
};

using column = std::vector<unsigned>;

/// Old columns cut or widened to the new rows, then the new ones.
void check_appended(const snapshot<unsigned>& before, const dense2D<unsigned>& after, std::size_t rows,
                    const std::vector<column>& added) {
    const std::size_t kept = before.cols;
    require(after.rows() == rows && after.cols() == kept + added.size(), "dimensions of an output");
    if (after.empty())
        return;
    for (std::size_t j = 0; j < kept; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            require(after(i, j) == (i < before.rows ? before.col(j)[i] : no_node), "the columns that were there");
    for (std::size_t j = 0; j < added.size(); ++j)
        for (std::size_t i = 0; i < rows; ++i)
            require(after(i, kept + j) == (i < added[j].size() ? added[j][i] : no_node), "the columns that came");
}

std::vector<column> expected_solids(const snapshot<unsigned>& faces, const numbering& n) {
    std::vector<column> added;
    for (std::size_t j = 0; j < faces.cols; ++j)
        for (unsigned k = 1; k <= n.layers; ++k) {
            column solid;
            for (const unsigned level : {k - 1, k})
                for (std::size_t i = 0; i < faces.rows; ++i)
                    if (faces.col(j)[i] != no_node)
                        solid.push_back(n.node(faces.col(j)[i], level));
            added.push_back(solid);
        }
    return added;
}

std::vector<column> expected_sides(const snapshot<unsigned>& pairs, const numbering& n) {
    std::vector<column> added;
    for (std::size_t j = 0; j < pairs.cols && !pairs.empty(); ++j)
        for (unsigned k = 1; k <= n.layers; ++k) {
            const unsigned a = pairs.col(j)[0];
            const unsigned b = pairs.col(j)[1];
            added.push_back({n.node(b, k - 1), n.node(a, k - 1), n.node(a, k), n.node(b, k)});
        }
    return added;
}

std::vector<column> expected_cap(const snapshot<unsigned>& faces, const numbering& n) {
    std::vector<column> added;
    for (std::size_t j = 0; j < faces.cols; ++j) {
        column closing;
        for (std::size_t i = 0; i < faces.rows; ++i)
            if (faces.col(j)[i] != no_node)
                closing.push_back(n.node(faces.col(j)[i], n.layers));
        std::reverse(closing.begin() + 1, closing.end());
        added.push_back(closing);
    }
    return added;
}

numbering levels_of(const snapshot<double>& pos, const snapshot<unsigned>& faces, const dense2D<double>& grown) {
    numbering n{{}, unsigned(pos.cols), 0};
    for (const unsigned id : faces.entries)
        if (id != no_node && std::find(n.nodes.begin(), n.nodes.end(), id) == n.nodes.end())
            n.nodes.push_back(id);
    n.layers = unsigned((grown.cols() - pos.cols) / n.nodes.size());
    require(pos.cols + std::size_t(n.layers) * n.nodes.size() == grown.cols(), "whole levels of nodes");
    return n;
}

bool same_number(double a, double b) {
    return a == b || (a != a && b != b);
}

void check_nodes(const snapshot<double>& before, const dense2D<double>& after, const numbering& n, const scalars& s) {
    require(after.rows() == 3, "three coordinates");
    for (std::size_t j = 0; j < before.cols; ++j)
        for (std::size_t i = 0; i < 3; ++i)
            require(same_number(after(i, j), i < before.rows ? before.col(j)[i] : 0.0), "old nodes unmoved");
    for (const unsigned id : n.nodes)
        for (unsigned i = 0; i < 3; ++i)
            require(same_number(after(i, n.node(id, n.layers)), after(i, id) + s.dir[i]), "the last level");
}

scalars decode_scalars(arguments& args) {
    scalars s{};
    s.counted = args.flag();
    s.full = args.flag();
    s.even = args.flag();
    s.dir = {args.number(), args.number(), args.number()};
    s.layers = args.rarely(8) ? args.integer() : args.below(20);
    s.start = std::abs(args.number());
    s.end = args.rarely(8) ? args.number() : std::abs(args.number());
    return s;
}

int call(const scalars& s, dense2D<double>& pos, const std::array<dense2D<unsigned>*, roles>& m) {
    if (s.counted && s.full)
        return extrude_translate(pos, *m[surface], s.dir, s.layers, *m[solids], *m[edges], *m[sides], *m[cap]);
    if (s.counted)
        return extrude_translate(pos, *m[surface], s.dir, s.layers, *m[solids]);
    if (s.full)
        return extrude_translate(pos, *m[surface], s.dir, s.start, s.end, s.even, *m[solids], *m[edges], *m[sides],
                                 *m[cap]);
    return extrude_translate(pos, *m[surface], s.dir, s.start, s.end, s.even, *m[solids]);
}

/// True when no other output is the same matrix: which of two results it would hold is not promised.
bool has_one_meaning(const std::array<dense2D<unsigned>*, roles>& m, role r) {
    unsigned outputs = 0;
    for (const role other : {solids, sides, cap})
        outputs += unsigned(m[other] == m[r]);
    return outputs == 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    const scalars s = decode_scalars(args);
    dense2D<double> pos = args.coordinates();
    const unsigned nodes = unsigned(pos.cols());

    // Usual numbers of rows and of nodes in a column; a matrix may be passed for another role as well.
    const std::array<std::array<unsigned, 2>, roles> usual_rows{{{3, 4}, {6, 8}, {2, 2}, {4, 4}, {3, 4}}};
    std::array<dense2D<unsigned>, roles> pool;
    std::array<dense2D<unsigned>*, roles> m;
    std::vector<dense2D<unsigned>*> earlier;
    for (unsigned r = 0; r < roles; ++r) {
        const unsigned rows = args.rarely(16) ? args.below(10) : usual_rows[r][args.below(2)];
        pool[r] = args.connectivity(rows, {rows, r == solids ? 6u : 3u}, nodes, earlier);
        earlier.push_back(&pool[r]);
        m[r] = args.rarely(12) ? &pool[args.below(r + 1)] : &pool[r];
    }

    // Other views of the same blocks must not see anything. Without them outputs may grow in place.
    std::array<dense2D<unsigned>, roles> witnesses;
    dense2D<double> pos_witness;
    if (args.flag()) {
        witnesses = pool;
        pos_witness = pos;
    }
    const snapshot<double> pos_before(pos), pos_seen(pos_witness);
    std::array<snapshot<unsigned>, roles> before, seen;
    for (unsigned r = 0; r < roles; ++r) {
        before[r] = snapshot<unsigned>(*m[r]);
        seen[r] = snapshot<unsigned>(witnesses[r]);
    }

    const int status = call(s, pos, m);

    require(args.callers_memory_kept(), "the caller's memory unchanged");
    require(pos_seen.same(pos_witness), "other views of the nodes unchanged");
    for (unsigned r = 0; r < roles; ++r)
        require(seen[r].same(witnesses[r]), "other views of a connectivity unchanged");

    if (s.rounding_decides())
        return 0;
    const bool nothing_to_do = before[surface].empty() || (s.counted && s.layers == 0);
    const int expected = nothing_to_do ? 0 : expected_status(pos_before, before, s);
    if (nothing_to_do || expected != 0) {
        require(status == expected, "the status of a checked argument");
        require(pos_before.same(pos), "nodes unchanged without work");
        for (unsigned r = 0; r < roles; ++r)
            require(before[r].same(*m[r]), "connectivities unchanged without work");
        return 0;
    }
    if (status == -199) {
        const bool usual = s.counted && s.layers < 20 && s.length() > 1e-100 && s.length() < 1e100;
        require(!usual, "memory for a small sweep");
        require(pos.cols() == pos_before.cols, "as many nodes as before");
        for (unsigned r = 0; r < roles; ++r)
            require(m[r]->cols() == before[r].cols, "as many columns as before");
        return 0;
    }
    require(status == 0, "a documented status");
    const numbering n = levels_of(pos_before, before[surface], pos);
    require(s.counted ? n.layers == s.layers || s.layers >= 20 : n.layers >= 1, "the number of layers");
    require(s.counted || !s.even || n.layers % 2 == 0, "an even number of layers");
    if (n.layers > 2000) // the plain version is slow
        return 0;
    check_nodes(pos_before, pos, n, s);
    if (!s.full || has_one_meaning(m, solids))
        check_appended(before[solids], *m[solids], 2 * before[surface].rows, expected_solids(before[surface], n));
    if (s.full && has_one_meaning(m, sides))
        check_appended(before[sides], *m[sides], 4, expected_sides(before[edges], n));
    if (s.full && has_one_meaning(m, cap))
        check_appended(before[cap], *m[cap], before[surface].rows, expected_cap(before[surface], n));
    return 0;
}
