// All forms of the conversion on random meshes and given groups, against a plain version of the checks and of what must
// hold of every result: old nodes and inputs unchanged, rows of each kind, edges that elements share read in the
// direction of each, and the linear mesh back again.

#include "suits.h"

#include <array>
#include <map>

namespace {

using namespace fuzz;
using quorl::meldra3d::convert_into_high_order;
using quorl::meldra3d::convert_into_linear;
using quorl::meldra3d::convert_into_quadratic;

enum role : unsigned { solids, faces, edges, out, roles };

struct counts {
    std::uint64_t nE, nQ, nT, nH, nTH, nX, nY;
};

struct edge_rows {
    unsigned vertices;
    std::vector<std::array<unsigned, 2>> edges;
    std::uint64_t triangles, quadrangles;
};

const edge_rows& kind_of(std::size_t vertices) {
    static const std::array<edge_rows, 4> kinds{
        {{4, {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}}, 4, 0},
         {5, {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}}, 4, 1},
         {6, {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}, 2, 3},
         {8, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}}, 0, 6}}};
    return *std::find_if(kinds.begin(), kinds.end(), [=](const edge_rows& k) { return k.vertices == vertices; });
}

std::uint64_t rows_of(const edge_rows& kind, const counts& n) {
    const std::uint64_t interior[] = {n.nTH, n.nY, n.nX, 0, n.nH};
    return kind.vertices + kind.edges.size() * n.nE + kind.triangles * n.nT + kind.quadrangles * n.nQ +
           interior[kind.vertices - 4];
}

int expected_status(const snapshot<double>& pos, const std::array<snapshot<unsigned>, roles>& in, const counts& n) {
    const auto nodes = named_columns(pos.cols);
    const auto in_nodes = [=](const snapshot<unsigned>& m) {
        return std::all_of(m.entries.begin(), m.entries.end(),
                           [=](unsigned id) { return id < nodes || id == no_node; });
    };
    if (pos.rows != 3)
        return -1;
    if (!suits(in[solids], quorl::ET_SOLID_MIX, nodes))
        return -2;
    std::uint64_t side = 0;
    while (side * side < n.nQ)
        ++side;
    if (side * side != n.nQ)
        return -4;
    if (n.nT != 0 && n.nT != 1 && n.nT != 3)
        return -5;
    if (n.nH != 0 && n.nH != 1 && n.nH != 8 && n.nH != 27)
        return -6;
    if (n.nTH > 1)
        return -7;
    if (n.nY > 1)
        return -9;
    const bool triangles = in[faces].rows == 3 + 3 * n.nE + n.nT;
    const bool quadrangles = in[faces].rows == 4 + 4 * n.nE + n.nQ;
    const std::size_t rows = in[solids].rows;
    if (!in[faces].empty() && (!((rows != 8 && triangles) || (rows != 4 && quadrangles)) || !in_nodes(in[faces])))
        return -11;
    if (!in[edges].empty() && (in[edges].rows != n.nE + 2 || !in_nodes(in[edges])))
        return -12;
    return 0;
}

std::size_t vertices_of(const snapshot<unsigned>& mesh, std::size_t j) {
    return std::size_t(std::find(mesh.col(j), mesh.col(j) + mesh.rows, no_node) - mesh.col(j));
}

/// Rows and IDs of every column, and that an edge has the same nodes in all elements.
void check_columns(const snapshot<unsigned>& mesh, const dense2D<unsigned>& converted, const counts& n,
                   std::size_t old_nodes, std::size_t nodes) {
    std::uint64_t width = 0;
    for (const unsigned vertices : {4u, 5u, 6u, 8u})
        if (mesh.rows == 8 || mesh.rows == vertices)
            width = std::max(width, rows_of(kind_of(vertices), n));
    require(converted.rows() == width && converted.cols() == mesh.cols, "dimensions of the output");
    std::vector<bool> used(nodes, false);
    std::map<std::array<unsigned, 2>, std::vector<unsigned>> seen;
    for (std::size_t j = 0; j < mesh.cols; ++j) {
        const unsigned* const column = converted.col(j);
        const edge_rows& kind = kind_of(vertices_of(mesh, j));
        const std::uint64_t rows = rows_of(kind, n);
        require(std::equal(column, column + kind.vertices, mesh.col(j)), "vertices first");
        for (std::uint64_t i = 0; i < width; ++i) {
            require(i < rows ? column[i] < nodes : column[i] == no_node, "IDs, then unused slots");
            if (i < rows)
                used[column[i]] = true;
        }
        const unsigned* group = column + kind.vertices;
        for (const auto& [a, b] : kind.edges) {
            std::vector<unsigned> ids(group, group + n.nE);
            group += n.nE;
            std::array<unsigned, 2> key{column[a], column[b]};
            if (key[0] > key[1]) {
                std::swap(key[0], key[1]);
                std::reverse(ids.begin(), ids.end());
            }
            require(seen.emplace(key, ids).first->second == ids, "one set of nodes to an edge");
        }
    }
    require(std::all_of(used.begin() + std::ptrdiff_t(old_nodes), used.end(), [](bool u) { return u; }),
            "no node without an element");
}

void check_midpoints(const snapshot<unsigned>& mesh, const dense2D<unsigned>& converted, const dense2D<double>& pos) {
    for (std::size_t j = 0; j < mesh.cols; ++j) {
        const edge_rows& kind = kind_of(vertices_of(mesh, j));
        for (std::size_t e = 0; e < kind.edges.size(); ++e)
            for (unsigned i = 0; i < 3; ++i) {
                const double expected =
                    0.5 * pos(i, mesh.col(j)[kind.edges[e][0]]) + 0.5 * pos(i, mesh.col(j)[kind.edges[e][1]]);
                const double found = pos(i, converted(kind.vertices + e, j));
                require(found == expected || (found != found && expected != expected), "mid-edge nodes");
            }
    }
}

void check_linear_again(const snapshot<unsigned>& mesh, const dense2D<unsigned>& converted) {
    if (mesh.rows != 4 && mesh.rows != 8)
        return;
    dense2D<unsigned> linear;
    linear.copy(converted);
    require(convert_into_linear(linear) == 0 && mesh.same(linear), "the linear mesh again");
}

std::uint64_t pick(arguments& args, std::initializer_list<unsigned> usual) {
    return args.rarely(16) ? args.integer() | 0x80000000u : usual.begin()[args.below(unsigned(usual.size()))];
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    arguments args(bytes, size);
    enum form : unsigned { core, in_place, quadratic, quadratic_short, forms };
    const auto call = form(args.below(forms));
    counts n{1, 1, 0, 1, 0, 0, 0};
    if (call == core || call == in_place)
        n = {pick(args, {0, 1, 1, 2, 3}), pick(args, {0, 1, 1, 4, 9}), pick(args, {0, 1, 3}), pick(args, {0, 1, 8, 27}),
             pick(args, {0, 1}),          pick(args, {0, 1, 2, 3, 6}), pick(args, {0, 1})};
    dense2D<double> pos = args.coordinates();
    const auto nodes = named_columns(pos.cols());

    const unsigned solid_rows = args.rarely(12) ? args.below(12) : std::array{4u, 5u, 6u, 8u}[args.below(4)];
    const bool small = n.nE < 100 && n.nQ < 100;
    const auto triangle_rows = small ? unsigned(3 + 3 * n.nE + n.nT % 100) : 6;
    const auto quadrangle_rows = small ? unsigned(4 + 4 * n.nE + n.nQ) : 9;
    const unsigned face_rows = args.rarely(12) ? args.below(30) : args.flag() ? triangle_rows : quadrangle_rows;
    const unsigned edge_rows_given = args.rarely(12) ? args.below(8) : small ? unsigned(2 + n.nE) : 3;
    std::array<dense2D<unsigned>, roles> m;
    std::vector<dense2D<unsigned>*> earlier;
    m[solids] = args.connectivity(solid_rows,
                                  {solid_rows == 8 ? std::array{4u, 5u, 6u, 8u}[args.below(4)] : solid_rows}, nodes);
    earlier.push_back(&m[solids]);
    m[faces] = args.flag() ? args.connectivity(face_rows, {triangle_rows, quadrangle_rows}, nodes, earlier)
                           : dense2D<unsigned>();
    earlier.push_back(&m[faces]);
    m[edges] =
        args.flag() ? args.connectivity(edge_rows_given, {edge_rows_given}, nodes, earlier) : dense2D<unsigned>();
    earlier.push_back(&m[edges]);
    m[out] = args.connectivity(5, {5}, nodes, earlier);
    // The output may be one of the inputs.
    dense2D<unsigned>& output = call != core ? m[solids] : m[args.rarely(6) ? args.below(roles) : unsigned(out)];

    std::array<snapshot<unsigned>, roles> before, seen;
    std::array<dense2D<unsigned>, roles> witnesses;
    dense2D<double> pos_witness;
    if (args.flag()) {
        witnesses = m;
        pos_witness = pos;
    }
    for (unsigned r = 0; r < roles; ++r) {
        before[r] = snapshot<unsigned>(m[r]);
        seen[r] = snapshot<unsigned>(witnesses[r]);
    }
    const snapshot<double> pos_before(pos), pos_seen(pos_witness);
    if (call == quadratic_short)
        before[faces] = before[edges] = snapshot<unsigned>();

    const auto count = [](std::uint64_t c) { return unsigned(c); };
    int status = 0;
    switch (call) {
    case core:
        status = convert_into_high_order(pos, m[solids], count(n.nE), count(n.nQ), count(n.nT), count(n.nH),
                                         count(n.nTH), count(n.nX), count(n.nY), output, m[faces], m[edges]);
        break;
    case in_place:
        status = convert_into_high_order(pos, m[solids], count(n.nE), count(n.nQ), count(n.nT), count(n.nH),
                                         count(n.nTH), count(n.nX), count(n.nY), m[faces], m[edges]);
        break;
    case quadratic:
        status = convert_into_quadratic(pos, m[solids], m[faces], m[edges]);
        break;
    default:
        status = convert_into_quadratic(pos, m[solids]);
    }

    require(args.callers_memory_kept(), "the caller's memory unchanged");
    require(pos_seen.same(pos_witness), "other views of the nodes unchanged");
    for (unsigned r = 0; r < roles; ++r) {
        require(seen[r].same(witnesses[r]), "other views of a connectivity unchanged");
        require(&m[r] == &output || call == quadratic_short || before[r].same(m[r]), "inputs unchanged");
    }
    const bool nothing_to_do = before[solids].empty() || n.nE + n.nQ + n.nT + n.nH + n.nTH + n.nX + n.nY == 0;
    const int expected = nothing_to_do ? 0 : expected_status(pos_before, before, n);
    if (nothing_to_do || expected != 0 || status == -199) {
        require(status == expected || status == -199, "the status of a checked argument");
        require(status != -199 || expected == 0, "checks before memory");
        require(status != -199 || n.nE > 1000 || n.nQ > 1000 || n.nX > 1000, "memory for a small mesh");
        require(pos_before.same(pos), "nodes unchanged without work");
        require(output.rows() == 0 && output.cols() == 0, "an empty output without work");
        return 0;
    }
    require(status == 0, "a documented status");
    for (std::size_t j = 0; j < pos_before.cols; ++j)
        require(std::memcmp(pos.col(j), pos_before.col(j), 3 * sizeof(double)) == 0, "old nodes unmoved");
    if (n.nE > 100 || n.nQ > 100 || n.nX > 100) // the plain version is slow
        return 0;
    check_columns(before[solids], output, n, pos_before.cols, pos.cols());
    if (n.nE == 1 && before[faces].empty() && before[edges].empty())
        check_midpoints(before[solids], output, pos);
    if (call == quadratic || call == quadratic_short)
        check_linear_again(before[solids], output);
    return 0;
}
