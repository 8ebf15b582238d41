#pragma once

#include <array>
#include <cmath>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "support/meshes.h"

// What a conversion must give, said once more and plainly: the place of every row of every kind, from tables written
// out here, as weights of the vertices. Valid for straight elements.
namespace test {

using quorl::vector_fixed;

struct counts {
    unsigned nE, nQ, nT, nH, nTH, nX, nY;
};

inline constexpr counts quadratic{1, 1, 0, 1, 0, 0, 0};
inline constexpr counts one_each{1, 1, 1, 1, 1, 1, 1};

/// Numbers of every size: none of some kinds, grids, layers of a wedge's triangles (nX = nT nE) and points on its axis.
inline const std::vector<counts>& many_counts() {
    static const std::vector<counts> all{quadratic,
                                         one_each,
                                         {1, 0, 0, 0, 0, 0, 0},
                                         {0, 1, 0, 0, 0, 0, 0},
                                         {0, 0, 1, 0, 0, 0, 0},
                                         {0, 0, 0, 1, 1, 1, 1},
                                         {2, 4, 1, 8, 1, 2, 1},
                                         {3, 9, 3, 27, 1, 9, 1},
                                         {2, 4, 3, 8, 0, 5, 1},
                                         {3, 4, 0, 1, 0, 7, 0},
                                         {0, 4, 3, 8, 1, 2, 1},
                                         {1, 9, 0, 8, 0, 3, 0},
                                         {5, 25, 3, 1, 1, 15, 0}};
    return all;
}

struct kind {
    const char* name;
    unsigned nodes;
    std::vector<std::array<unsigned, 2>> edges;
    std::vector<std::vector<unsigned>> faces;
};

inline const std::array<kind, 4>& kinds() {
    static const std::array<kind, 4> all{
        {{"tetrahedron",
          4,
          {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {1, 3}, {2, 3}},
          {{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}}},
         {"pyramid",
          5,
          {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}},
          {{0, 1, 4}, {1, 2, 4}, {2, 3, 4}, {3, 0, 4}, {0, 1, 2, 3}}},
         {"wedge",
          6,
          {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}},
          {{0, 1, 2}, {3, 4, 5}, {1, 2, 5, 4}, {2, 0, 3, 5}, {0, 1, 4, 3}}},
         {"hexahedron",
          8,
          {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}},
          {{0, 3, 7, 4}, {1, 2, 6, 5}, {0, 1, 5, 4}, {2, 3, 7, 6}, {0, 1, 2, 3}, {4, 5, 6, 7}}}}};
    return all;
}

/// The weight of each vertex.
using row_weights = std::array<double, 8>;

inline void add_edge_rows(std::vector<row_weights>& rows, unsigned from, unsigned to, unsigned n) {
    for (unsigned i = 1; i <= n; ++i) {
        row_weights w{};
        w[to] = double(i) / (n + 1);
        w[from] = 1 - w[to];
        rows.push_back(w);
    }
}

inline void add_triangle_rows(std::vector<row_weights>& rows, const std::vector<unsigned>& f, unsigned n) {
    for (unsigned k = 0; k < n; ++k) {
        row_weights w{};
        for (unsigned v = 0; v < 3; ++v)
            w[f[v]] = n == 1 ? 1.0 / 3 : v == k ? 0.5 : 0.25;
        rows.push_back(w);
    }
}

inline unsigned root_of(unsigned n, unsigned degree) {
    unsigned r = 0;
    while (std::pow(r, degree) < n)
        ++r;
    return r;
}

inline void add_quadrangle_rows(std::vector<row_weights>& rows, const std::vector<unsigned>& f, unsigned n) {
    const unsigned s = root_of(n, 2);
    for (unsigned j = 1; j <= s; ++j)
        for (unsigned i = 1; i <= s; ++i) {
            const double u = double(i) / (s + 1), v = double(j) / (s + 1);
            row_weights w{};
            w[f[0]] = (1 - u) * (1 - v);
            w[f[1]] = u * (1 - v);
            w[f[2]] = u * v;
            w[f[3]] = (1 - u) * v;
            rows.push_back(w);
        }
}

inline void add_interior_rows(std::vector<row_weights>& rows, const kind& k, const counts& n) {
    if (k.nodes == 4 || k.nodes == 5) {
        row_weights w{};
        for (unsigned v = 0; v < k.nodes; ++v)
            w[v] = 1.0 / k.nodes;
        rows.insert(rows.end(), k.nodes == 4 ? n.nTH : n.nY, w);
        return;
    }
    if (k.nodes == 6) {
        const bool layers = n.nX == n.nT * n.nE;
        for (unsigned i = 0; i < n.nX; ++i) {
            std::vector<row_weights> triangle;
            add_triangle_rows(triangle, {0, 1, 2}, layers ? n.nT : 1);
            const row_weights& at = triangle[layers ? i % n.nT : 0];
            const double up = layers ? double(i / n.nT + 1) / (n.nE + 1) : double(i + 1) / (n.nX + 1);
            row_weights w{};
            for (unsigned v = 0; v < 3; ++v) {
                w[v] = at[v] * (1 - up);
                w[v + 3] = at[v] * up;
            }
            rows.push_back(w);
        }
        return;
    }
    const unsigned m = root_of(n.nH, 3);
    for (unsigned l = 1; l <= m; ++l) {
        std::vector<row_weights> layer;
        add_quadrangle_rows(layer, {0, 1, 2, 3}, m * m);
        for (const row_weights& at : layer) {
            const double up = double(l) / (m + 1);
            row_weights w{};
            for (unsigned v = 0; v < 4; ++v) {
                w[v] = at[v] * (1 - up);
                w[v + 4] = at[v] * up;
            }
            rows.push_back(w);
        }
    }
}

/// One entry a row of a converted element.
inline std::vector<row_weights> expected_rows(const kind& k, const counts& n) {
    std::vector<row_weights> rows;
    for (unsigned v = 0; v < k.nodes; ++v) {
        row_weights w{};
        w[v] = 1;
        rows.push_back(w);
    }
    for (const auto& [a, b] : k.edges)
        add_edge_rows(rows, a, b, n.nE);
    for (const auto& f : k.faces)
        if (f.size() == 3)
            add_triangle_rows(rows, f, n.nT);
        else
            add_quadrangle_rows(rows, f, n.nQ);
    add_interior_rows(rows, k, n);
    return rows;
}

/// The rows of a face that comes with its nodes.
inline std::vector<row_weights> expected_face_rows(unsigned corners, const counts& n) {
    std::vector<row_weights> rows;
    for (unsigned v = 0; v < corners; ++v) {
        row_weights w{};
        w[v] = 1;
        rows.push_back(w);
    }
    for (unsigned e = 0; e < corners; ++e)
        if (corners == 3)
            add_edge_rows(rows, (e + 1) % 3, (e + 2) % 3, n.nE);
        else
            add_edge_rows(rows, e, (e + 1) % 4, n.nE);
    if (corners == 3)
        add_triangle_rows(rows, {0, 1, 2}, n.nT);
    else
        add_quadrangle_rows(rows, {0, 1, 2, 3}, n.nQ);
    return rows;
}

using point = std::array<double, 3>;

inline point image(const row_weights& w, const dense2D<double>& pos, const unsigned* vertices) {
    point p{};
    for (unsigned v = 0; v < 8; ++v)
        for (unsigned i = 0; i < 3 && w[v] != 0; ++i)
            p[i] += w[v] * pos(i, vertices[v]);
    return p;
}

inline const kind& kind_of(const dense2D<unsigned>& linear, std::size_t j) {
    std::size_t nodes = 0;
    while (nodes < linear.rows() && linear(nodes, j) != no_node)
        ++nodes;
    for (const kind& k : kinds())
        if (k.nodes == nodes)
            return k;
    return kinds()[3];
}

/// Node IDs by their place, to a tenth of a millionth.
class node_finder {
public:
    explicit node_finder(const dense2D<double>& pos) {
        for (unsigned j = 0; j < pos.cols(); ++j)
            ids_[key({pos(0, j), pos(1, j), pos(2, j)})].push_back(j);
    }
    /// The nodes at a place.
    std::vector<unsigned> at(const point& p) const {
        std::vector<unsigned> found;
        const auto centre = key(p);
        for (long i = -1; i <= 1; ++i)
            for (long j = -1; j <= 1; ++j)
                for (long k = -1; k <= 1; ++k) {
                    const auto entry = ids_.find({centre[0] + i, centre[1] + j, centre[2] + k});
                    if (entry != ids_.end())
                        found.insert(found.end(), entry->second.begin(), entry->second.end());
                }
        return found;
    }

private:
    static std::array<long, 3> key(const point& p) {
        return {std::lround(p[0] * 1e7), std::lround(p[1] * 1e7), std::lround(p[2] * 1e7)};
    }
    std::map<std::array<long, 3>, std::vector<unsigned>> ids_;
};

/// Checks a conversion of a mesh of straight elements without given faces or edges: rows, places, numbering, and that
/// no two nodes lie at one place. `old` are the coordinates before.
inline void expect_converted(const dense2D<double>& old, const dense2D<unsigned>& linear, const counts& n,
                             const dense2D<double>& pos, const dense2D<unsigned>& out) {
    ASSERT_EQ(out.cols(), linear.cols());
    ASSERT_EQ(pos.rows(), 3u);
    for (std::size_t j = 0; j < old.cols(); ++j)
        ASSERT_EQ(column(pos, j), column(old, j));
    std::size_t width = 0;
    for (const kind& k : kinds())
        if (linear.rows() == 8 || linear.rows() == k.nodes)
            width = std::max(width, expected_rows(k, n).size());
    ASSERT_EQ(out.rows(), width);

    unsigned next = unsigned(old.cols());
    for (std::size_t j = 0; j < linear.cols(); ++j) {
        const kind& k = kind_of(linear, j);
        const auto rows = expected_rows(k, n);
        for (std::size_t i = 0; i < width; ++i) {
            const unsigned id = out(i, j);
            if (i >= rows.size()) {
                ASSERT_EQ(id, no_node) << k.name << " row " << i;
                continue;
            }
            ASSERT_LT(id, pos.cols()) << k.name << " row " << i;
            if (i < k.nodes) {
                ASSERT_EQ(id, linear(i, j));
            }
            ASSERT_LE(id, next) << "IDs rise in the order in which elements meet them: " << k.name << " row " << i;
            next += id == next;
            const point expected = image(rows[i], old, linear.col(j));
            for (unsigned x = 0; x < 3; ++x)
                ASSERT_NEAR(pos(x, id), expected[x], 1e-12) << k.name << " row " << i;
        }
    }
    ASSERT_EQ(next, pos.cols());
    const node_finder finder(pos);
    for (unsigned id = unsigned(old.cols()); id < pos.cols(); ++id)
        ASSERT_EQ(finder.at({pos(0, id), pos(1, id), pos(2, id)}), std::vector<unsigned>{id});
}

} // namespace test
