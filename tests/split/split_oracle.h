#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "support/meshes.h"

// The cut along quadrangles done slowly and plainly, step by step, with nothing of the library but the arrays: the
// quadrangles are searched one by one, and diagonals are compared by the nodes that they join.
namespace test {

using node_list = std::vector<unsigned>;
using position = std::array<double, 3>;

struct split_result {
    std::vector<position> pos;
    std::vector<node_list> out;
    node_list failed;
};

inline const std::vector<node_list>& oracle_faces(std::size_t nodes) {
    static const std::vector<node_list> tetrahedron{{1, 2, 3}, {2, 0, 3}, {0, 1, 3}, {2, 1, 0}};
    static const std::vector<node_list> pyramid{{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}};
    static const std::vector<node_list> wedge{{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {0, 2, 5, 3}, {1, 0, 3, 4}};
    static const std::vector<node_list> hexahedron{{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1},
                                                   {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}};
    return nodes == 4 ? tetrahedron : nodes == 5 ? pyramid : nodes == 6 ? wedge : hexahedron;
}

/// Signed volume of a tetrahedron, pyramid, wedge or hexahedron of the named nodes.
inline double oracle_volume(const std::vector<position>& pos, const node_list& nodes) {
    const auto t = [&](unsigned i, unsigned j, unsigned k, unsigned l) {
        double e[3][3];
        const unsigned tips[] = {j, k, l};
        for (int r = 0; r < 3; ++r)
            for (std::size_t c = 0; c < 3; ++c)
                e[r][c] = pos[nodes[tips[r]]][c] - pos[nodes[i]][c];
        return e[0][0] * (e[1][1] * e[2][2] - e[1][2] * e[2][1]) - e[0][1] * (e[1][0] * e[2][2] - e[1][2] * e[2][0]) +
               e[0][2] * (e[1][0] * e[2][1] - e[1][1] * e[2][0]);
    };
    switch (nodes.size()) {
    case 4:
        return t(3, 0, 1, 2) / 6;
    case 5: // the base cut from node 0 to node 2
        return (t(4, 0, 2, 1) + t(4, 0, 3, 2)) / 6;
    case 6:
        return (t(0, 1, 2, 4) + t(0, 2, 3, 4) + t(2, 3, 4, 5)) / 6;
    default:
        return (t(6, 1, 5, 4) + t(4, 3, 7, 6) + t(1, 4, 6, 3) + t(1, 0, 4, 3) + t(1, 6, 2, 3)) / 6;
    }
}

inline bool is_rotation(const node_list& one, const node_list& other) {
    for (std::size_t shift = 0; shift < 4; ++shift)
        if (one[0] == other[shift] && one[1] == other[(shift + 1) % 4] && one[2] == other[(shift + 2) % 4] &&
            one[3] == other[(shift + 3) % 4])
            return true;
    return false;
}

/// The cut of one element. Pieces are unpadded.
class oracle_element {
public:
    struct mark {
        unsigned face, bit;
    };

    oracle_element(std::vector<position>& pos, node_list nodes, const std::vector<node_list>& quadrangles,
                   const node_list& diagonals, double min_volume)
        : pos_(pos), nodes_(std::move(nodes)), min_volume_(min_volume) {
        const auto& faces = oracle_faces(nodes_.size());
        for (unsigned k = 0; k < faces.size(); ++k) {
            node_list face;
            for (const unsigned local : faces[k])
                face.push_back(nodes_[local]);
            faces_.push_back(face);
            if (face.size() == 4)
                look_up(k, quadrangles, diagonals);
        }
    }

    const std::vector<mark>& marks() const { return marks_; }

    /// False when the cut fails.
    bool cut(std::vector<node_list>& pieces) {
        if (marks_.size() == 2 && nodes_.size() == 8) {
            const unsigned a = marks_[0].face, b = marks_[1].face;
            const bool opposite = (a == 0 && b == 1) || (a == 2 && b == 3) || (a == 4 && b == 5);
            if (opposite && marks_[0].bit == marks_[1].bit)
                return hexahedron(pieces);
        }
        if (marks_.size() == 2 && nodes_.size() == 6) {
            unsigned second = marks_[1].bit;
            if (marks_[0].face + marks_[1].face == 5)
                second = 1 - second;
            if (second == marks_[0].bit)
                return wedge(pieces);
        }
        return centroid(pieces);
    }

private:
    void look_up(unsigned k, const std::vector<node_list>& quadrangles, const node_list& diagonals) {
        const node_list& face = faces_[k];
        for (std::size_t j = quadrangles.size(); j-- > 0;) // the last of equal ones counts
            if (is_rotation(face, quadrangles[j])) {
                marks_.push_back({k, diagonals[j]});
                return;
            }
        const node_list reverse{face[3], face[2], face[1], face[0]};
        for (std::size_t j = quadrangles.size(); j-- > 0;)
            if (is_rotation(reverse, quadrangles[j])) {
                marks_.push_back({k, 1 - diagonals[j]});
                return;
            }
    }

    bool keep(std::vector<node_list>& pieces, const node_list& piece) const {
        pieces.push_back(piece);
        return oracle_volume(pos_, piece) > min_volume_;
    }

    bool centroid(std::vector<node_list>& pieces) {
        position mean{0, 0, 0};
        for (const unsigned id : nodes_)
            for (std::size_t i = 0; i < 3; ++i)
                mean[i] += pos_[id][i];
        for (double& x : mean)
            x /= double(nodes_.size());
        const auto c = unsigned(pos_.size());
        pos_.push_back(mean);
        std::vector<node_list> first;
        for (const node_list& f : faces_)
            if (!keep(first, f.size() == 3 ? node_list{f[1], f[0], f[2], c} : node_list{f[0], f[1], f[2], f[3], c}))
                return false;
        for (const node_list& piece : first) {
            const mark* found = nullptr;
            for (const mark& m : marks_)
                if (piece.size() == 5 && std::equal(piece.begin(), piece.begin() + 4, faces_[m.face].begin()))
                    found = &m;
            if (!found) {
                pieces.push_back(piece);
                continue;
            }
            const unsigned d = found->bit;
            if (!keep(pieces, {piece[d], piece[d + 2 == 4 ? 0 : d + 2], piece[d + 1], c}) ||
                !keep(pieces, {piece[d + 2 == 4 ? 0 : d + 2], piece[d], piece[(d + 3) % 4], c}))
                return false;
        }
        return true;
    }

    /// Whether two local nodes of a hexahedron are joined by an edge.
    static bool edge(unsigned i, unsigned j) {
        if (i > j)
            std::swap(i, j);
        return j == i + 4 || (i / 4 == j / 4 && (j - i) % 2 == 1);
    }

    bool hexahedron(std::vector<node_list>& pieces) const {
        const node_list& p = oracle_faces(8)[marks_[0].face];
        const node_list& q = oracle_faces(8)[marks_[1].face];
        const unsigned d1 = marks_[0].bit, d2 = marks_[1].bit;
        const unsigned r = d1 + 2;
        int s = -1;
        for (const unsigned end : {d2 + 2, d2})
            if (edge(p[r], q[end]))
                s = int(end);
        if (s < 0)
            return false;
        const auto P = [&](unsigned k) { return nodes_[p[k % 4]]; };
        const auto Q = [&](int k) { return nodes_[q[std::size_t((s + k + 4) % 4)]]; };
        return keep(pieces, {P(r), P(r + 1), P(r + 2), Q(0), Q(-1), Q(-2)}) &&
               keep(pieces, {P(r + 2), P(r + 3), P(r), Q(2), Q(1), Q(0)});
    }

    bool wedge(std::vector<node_list>& pieces) const {
        unsigned third = 2;
        while (third == marks_[0].face || third == marks_[1].face)
            ++third;
        const node_list& f = faces_[marks_[0].face];
        const node_list& g = faces_[marks_[1].face];
        const unsigned f0 = f[marks_[0].bit + 2], f1 = f[marks_[0].bit];
        const unsigned g0 = g[marks_[1].bit + 2], g1 = g[marks_[1].bit];
        unsigned w = no_node;
        if (g0 == f0 || g0 == f1)
            w = g0;
        else if (g1 == f0 || g1 == f1)
            w = g1;
        else
            return false;
        node_list l;
        for (const unsigned end : {f0, g0, f1, g1})
            if (end != w)
                l.push_back(end);
        if (l.size() != 2) // the wedge names a node more than once
            return false;
        const node_list& t = faces_[third];
        if (!keep(pieces, {t[0], t[1], t[2], t[3], w}))
            return false;
        const auto place = [&](unsigned id) { return std::find(t.begin(), t.end(), id) - t.begin(); };
        if (place(l[0]) == (place(l[1]) + 1) % 4)
            std::swap(l[0], l[1]);
        const auto at = std::size_t(std::find(nodes_.begin(), nodes_.end(), w) - nodes_.begin());
        return keep(pieces, {l[1], l[0], w, nodes_[(at + 3) % 6]});
    }

    std::vector<position>& pos_;
    const node_list nodes_;
    const double min_volume_;
    std::vector<node_list> faces_;
    std::vector<mark> marks_;
};

inline split_result split_plainly(std::vector<position> pos, const std::vector<node_list>& solids,
                                  const std::vector<node_list>& quadrangles, const node_list& diagonals,
                                  double min_volume) {
    split_result result;
    result.pos = std::move(pos);
    for (unsigned j = 0; j < solids.size(); ++j) {
        oracle_element element(result.pos, solids[j], quadrangles, diagonals, min_volume);
        std::vector<node_list> pieces;
        if (element.marks().empty())
            result.out.push_back(solids[j]);
        else if (element.cut(pieces))
            result.out.insert(result.out.end(), pieces.begin(), pieces.end());
        else
            result.failed.push_back(j);
    }
    return result;
}

/// Element lists as a connectivity of `rows` rows, padded with `no_node`.
inline dense2D<unsigned> as_columns(const std::vector<node_list>& elements, std::size_t rows) {
    dense2D<unsigned> connect(rows, 0);
    for (node_list nodes : elements) {
        nodes.resize(rows, no_node);
        connect.append(nodes.data());
    }
    return connect;
}

inline dense2D<double> as_columns(const std::vector<position>& positions) {
    dense2D<double> pos(3, 0);
    for (const position& x : positions)
        pos.append(x.data());
    return pos;
}

} // namespace test
