#pragma once

#include "suits.h"

#include <array>
#include <cmath>

// What the sweeps have in common, in a plain version: their matrices, their numbering, their elements.
namespace fuzz {

enum role : unsigned { surface, solids, edges, sides, cap, roles };

inline bool has_rows(const snapshot<unsigned>& matrix, std::size_t one, std::size_t other) {
    return matrix.empty() || matrix.rows == one || matrix.rows == other;
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
inline void check_appended(const snapshot<unsigned>& before, const dense2D<unsigned>& after, std::size_t rows,
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

inline std::vector<column> expected_solids(const snapshot<unsigned>& faces, const numbering& n) {
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

inline std::vector<column> expected_sides(const snapshot<unsigned>& pairs, const numbering& n) {
    std::vector<column> added;
    for (std::size_t j = 0; j < pairs.cols && !pairs.empty(); ++j)
        for (unsigned k = 1; k <= n.layers; ++k) {
            const unsigned a = pairs.col(j)[0];
            const unsigned b = pairs.col(j)[1];
            added.push_back({n.node(b, k - 1), n.node(a, k - 1), n.node(a, k), n.node(b, k)});
        }
    return added;
}

inline std::vector<column> expected_cap(const snapshot<unsigned>& faces, const numbering& n) {
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

/// The nodes of a surface in order of first appearance, and no layers yet.
inline numbering number_surface(const snapshot<double>& pos, const snapshot<unsigned>& faces) {
    numbering n{{}, named_columns(pos.cols), 0};
    for (const unsigned id : faces.entries)
        if (id != no_node && std::find(n.nodes.begin(), n.nodes.end(), id) == n.nodes.end())
            n.nodes.push_back(id);
    return n;
}

/// The matrices of a sweep. A matrix may be passed for another role as well, and other views of the same blocks may
/// exist, which must not see anything; without them outputs may grow in place.
class sweep_matrices {
public:
    explicit sweep_matrices(arguments& args) : pos(args.coordinates()) {
        const std::array<std::array<unsigned, 2>, roles> usual_rows{{{3, 4}, {6, 8}, {2, 2}, {4, 4}, {3, 4}}};
        std::vector<dense2D<unsigned>*> earlier;
        for (unsigned r = 0; r < roles; ++r) {
            const unsigned rows = args.rarely(16) ? args.below(10) : usual_rows[r][args.below(2)];
            pool_[r] = args.connectivity(rows, {rows, r == solids ? 6u : 3u}, named_columns(pos.cols()), earlier);
            earlier.push_back(&pool_[r]);
            matrices_[r] = args.rarely(12) ? &pool_[args.below(r + 1)] : &pool_[r];
        }
        if (args.flag()) {
            witnesses_ = pool_;
            pos_witness_ = pos;
        }
        pos_before = snapshot<double>(pos);
        pos_seen_ = snapshot<double>(pos_witness_);
        for (unsigned r = 0; r < roles; ++r) {
            before[r] = snapshot<unsigned>(*matrices_[r]);
            seen_[r] = snapshot<unsigned>(witnesses_[r]);
        }
    }
    sweep_matrices(const sweep_matrices&) = delete;
    sweep_matrices& operator=(const sweep_matrices&) = delete;

    dense2D<unsigned>& operator[](role r) { return *matrices_[r]; }

    /// True when no other output is the same matrix: which of two results it would hold is not promised.
    bool has_one_meaning(role r) const {
        unsigned outputs = 0;
        for (const role other : {solids, sides, cap})
            outputs += unsigned(matrices_[other] == matrices_[r]);
        return outputs == 1;
    }

    /// True when an output claims more columns than there can be.
    bool has_many_columns(bool full) const {
        return before[solids].cols > many_columns ||
               (full && (before[sides].cols > many_columns || before[cap].cols > many_columns));
    }

    void require_other_views_kept() const {
        require(pos_seen_.same(pos_witness_), "other views of the nodes unchanged");
        for (unsigned r = 0; r < roles; ++r)
            require(seen_[r].same(witnesses_[r]), "other views of a connectivity unchanged");
    }

    void require_nothing_changed() const {
        require(pos_before.same(pos), "nodes unchanged without work");
        for (unsigned r = 0; r < roles; ++r)
            require(before[r].same(*matrices_[r]), "connectivities unchanged without work");
    }

    void require_cut_back() const {
        require(pos.cols() == pos_before.cols, "as many nodes as before");
        for (unsigned r = 0; r < roles; ++r)
            require(matrices_[r]->cols() == before[r].cols, "as many columns as before");
    }

    void require_old_nodes_unmoved() const {
        require(pos.rows() == 3, "three coordinates");
        for (std::size_t j = 0; j < pos_before.cols; ++j)
            for (std::size_t i = 0; i < 3; ++i)
                require(same_number(pos(i, j), i < pos_before.rows ? pos_before.col(j)[i] : 0.0), "old nodes unmoved");
    }

    static bool same_number(double a, double b) { return a == b || (a != a && b != b); }

    dense2D<double> pos;
    snapshot<double> pos_before;
    std::array<snapshot<unsigned>, roles> before;

private:
    std::array<dense2D<unsigned>, roles> pool_;
    std::array<dense2D<unsigned>*, roles> matrices_{};
    std::array<dense2D<unsigned>, roles> witnesses_;
    dense2D<double> pos_witness_;
    snapshot<double> pos_seen_;
    std::array<snapshot<unsigned>, roles> seen_;
};

/// A vector turned by a rotation vector, in extended precision.
inline std::array<long double, 3> turned(const std::array<long double, 3>& x, const std::array<long double, 3>& w) {
    const long double angle = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
    if (angle == 0)
        return x;
    const long double n[3] = {w[0] / angle, w[1] / angle, w[2] / angle};
    const long double along = n[0] * x[0] + n[1] * x[1] + n[2] * x[2];
    std::array<long double, 3> image{};
    for (unsigned i = 0; i < 3; ++i) {
        const unsigned b = (i + 1) % 3, c = (i + 2) % 3;
        image[i] = x[i] * std::cos(angle) + (n[b] * x[c] - n[c] * x[b]) * std::sin(angle) +
                   n[i] * along * (1 - std::cos(angle));
    }
    return image;
}

/// True for 0 and for numbers for which rounding errors are easily told.
inline bool is_moderate(double x) {
    return x == 0 || (std::abs(x) >= 1e-3 && std::abs(x) <= 100);
}

inline bool is_moderate(const quorl::vector_fixed<double, 3>& v) {
    return is_moderate(v[0]) && is_moderate(v[1]) && is_moderate(v[2]);
}

} // namespace fuzz
