#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra::simplify;

namespace {

constexpr unsigned none = no_node;
using list = dense1D<unsigned, 8>;

std::vector<unsigned> entries_of(const list& l) {
    return {l.begin(), l.end()};
}

/// Node j lies at (j, j / 10, -j), so that a column tells where it came from.
dense2D<double> numbered_points(std::size_t n) {
    dense2D<double> pos(3, n);
    for (std::size_t j = 0; j < n; ++j) {
        pos(0, j) = double(j);
        pos(1, j) = double(j) / 10;
        pos(2, j) = -double(j);
    }
    return pos;
}

std::vector<double> first_row(const dense2D<double>& pos) {
    std::vector<double> row;
    for (std::size_t j = 0; j < pos.cols(); ++j)
        row.push_back(pos(0, j));
    return row;
}

/// What may differ after a call that must change nothing.
struct state {
    dense2D<double> pos;
    std::vector<dense2D<unsigned>> matrices;
    list new_ids;

    state(const dense2D<double>& p, const std::vector<dense2D<unsigned>>& m, const list& n) : matrices(m.size()) {
        pos.copy(p);
        for (std::size_t k = 0; k < m.size(); ++k)
            matrices[k].copy(m[k]);
        new_ids.copy(n);
    }
    bool same(const dense2D<double>& p, const std::vector<dense2D<unsigned>>& m, const list& n) const {
        bool equal = entries(pos) == entries(p) && pos.rows() == p.rows() && pos.cols() == p.cols() &&
                     entries_of(new_ids) == entries_of(n);
        for (std::size_t k = 0; k < m.size(); ++k)
            equal = equal && entries(matrices[k]) == entries(m[k]) && matrices[k].rows() == m[k].rows() &&
                    matrices[k].cols() == m[k].cols();
        return equal;
    }
};

int simplify_all(dense2D<double>& pos, std::vector<dense2D<unsigned>>& matrices, list& new_ids, unsigned n0) {
    return simplify(pos, matrices.data(), matrices.data() + matrices.size(), new_ids, n0);
}

} // namespace

TEST(Simplify, DeletesUnusedNodesAndClosesTheGapsInOrder) {
    auto pos = numbered_points(8);
    std::vector<dense2D<unsigned>> matrices{ids({{0, 7, 3}}), ids({{3, 5, none, 0}})};
    list new_ids{9, 9};
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), 0);
    EXPECT_EQ(first_row(pos), (std::vector<double>{0, 3, 5, 7}));
    EXPECT_EQ(column(pos, 2), (std::vector<double>{5, 0.5, -5}));
    EXPECT_EQ(column(matrices[0], 0), (std::vector<unsigned>{0, 3, 1}));
    EXPECT_EQ(column(matrices[1], 0), (std::vector<unsigned>{1, 2, none, 0}));
    EXPECT_EQ(entries_of(new_ids), (std::vector<unsigned>{0, none, none, 1, none, 2, none, 3}));
}

TEST(Simplify, NodesBelowTheLimitStayUnusedOrNot) {
    auto pos = numbered_points(6);
    std::vector<dense2D<unsigned>> matrices{ids({{1, 4}})};
    list new_ids;
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 3), 0);
    EXPECT_EQ(first_row(pos), (std::vector<double>{0, 1, 2, 4}));
    EXPECT_EQ(column(matrices[0], 0), (std::vector<unsigned>{1, 3}));
    EXPECT_EQ(entries_of(new_ids), (std::vector<unsigned>{0, 1, 2, none, 3, none}));
}

TEST(Simplify, AnEmptyRangeNamesNoNode) {
    auto pos = numbered_points(4);
    list new_ids;
    EXPECT_EQ(simplify(pos, nullptr, nullptr, new_ids, 1), 0);
    EXPECT_EQ(first_row(pos), std::vector<double>{0});
    EXPECT_EQ(entries_of(new_ids), (std::vector<unsigned>{0, none, none, none}));
    EXPECT_EQ(simplify(pos, nullptr, nullptr, new_ids, 0), 0);
    EXPECT_EQ(pos.rows(), 3u);
    EXPECT_EQ(pos.cols(), 0u);
    EXPECT_EQ(entries_of(new_ids), std::vector<unsigned>{none});
    EXPECT_EQ(simplify(pos, nullptr, nullptr, new_ids, 0), 0) << "no nodes at all";
    EXPECT_TRUE(new_ids.empty());
}

TEST(Simplify, EmptyMatricesPass) {
    auto pos = numbered_points(3);
    std::vector<dense2D<unsigned>> matrices{{}, dense2D<unsigned>(4, 0), ids({{2}}), dense2D<unsigned>(0, 5)};
    list new_ids;
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), 0);
    EXPECT_EQ(first_row(pos), std::vector<double>{2});
    EXPECT_EQ(matrices[2](0, 0), 0u);
    EXPECT_EQ(matrices[1].rows(), 4u);
    EXPECT_EQ(matrices[3].cols(), 5u);
}

TEST(Simplify, ALimitBeyondTheColumnsDeletesNothing) {
    for (const unsigned n0 : {5u, 6u, 100u, none}) {
        auto pos = numbered_points(5);
        std::vector<dense2D<unsigned>> matrices{ids({{3}})};
        list new_ids;
        EXPECT_EQ(simplify_all(pos, matrices, new_ids, n0), 0);
        EXPECT_EQ(pos.cols(), 5u);
        EXPECT_EQ(matrices[0](0, 0), 3u);
        EXPECT_EQ(entries_of(new_ids), (std::vector<unsigned>{0, 1, 2, 3, 4}));
    }
}

TEST(Simplify, RefusesAnIDBeyondTheNodesAndChangesNothing) {
    for (const unsigned bad : {4u, 5u, none - 1}) {
        auto pos = numbered_points(4);
        std::vector<dense2D<unsigned>> matrices{ids({{0, 1}}), ids({{3, bad}})};
        list new_ids{7};
        const state before(pos, matrices, new_ids);
        EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), -2);
        EXPECT_TRUE(before.same(pos, matrices, new_ids));
    }
    dense2D<double> no_nodes;
    std::vector<dense2D<unsigned>> matrices{ids({{0}})};
    list new_ids;
    EXPECT_EQ(simplify_all(no_nodes, matrices, new_ids, 0), -2);
    matrices[0](0, 0) = none;
    EXPECT_EQ(simplify_all(no_nodes, matrices, new_ids, 0), 0);
    EXPECT_EQ(matrices[0](0, 0), none);
}

TEST(Simplify, RefusesARangeThatEndsBeforeItBegins) {
    auto pos = numbered_points(4);
    std::vector<dense2D<unsigned>> matrices{ids({{0, 1}}), ids({{3, 2}})};
    list new_ids{7};
    const state before(pos, matrices, new_ids);
    EXPECT_EQ(simplify(pos, matrices.data() + 1, matrices.data(), new_ids, 0), -3);
    EXPECT_TRUE(before.same(pos, matrices, new_ids));
}

TEST(Simplify, MoreColumnsThanIDsFailBeforeTheyAreCounted) {
    dense2D<double> pos(0, std::size_t(1) << 32);
    list new_ids{7};
    EXPECT_EQ(simplify(pos, nullptr, nullptr, new_ids, 0), -199);
    EXPECT_EQ(pos.cols(), std::size_t(1) << 32);
    EXPECT_EQ(entries_of(new_ids), std::vector<unsigned>{7});
}

TEST(Simplify, OtherViewsKeepTheOldMesh) {
    auto pos = numbered_points(5);
    const auto old_pos = pos;
    std::vector<dense2D<unsigned>> matrices{ids({{4, 2}})};
    const auto old_connect = matrices[0];
    list new_ids{7, 7, 7, 7, 7};
    const auto old_ids = new_ids;
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), 0);
    EXPECT_EQ(first_row(pos), (std::vector<double>{2, 4}));
    EXPECT_EQ(entries(matrices[0]), (std::vector<unsigned>{1, 0}));
    EXPECT_EQ(first_row(old_pos), (std::vector<double>{0, 1, 2, 3, 4}));
    EXPECT_EQ(entries(old_connect), (std::vector<unsigned>{4, 2}));
    EXPECT_EQ(entries_of(old_ids), (std::vector<unsigned>{7, 7, 7, 7, 7}));
}

TEST(Simplify, MatricesThatShareElementsAreRenumberedOnceEach) {
    // Renumbered twice, the 9 would become 5 and then 3.
    auto pos = numbered_points(10);
    dense2D<unsigned> all = ids({{9, 7}, {5, 1}, {3, 9}});
    std::vector<dense2D<unsigned>> matrices{all, all.sub(0, 1, 2, 2), all, all.sub(1, 0, 1, 3)};
    all = dense2D<unsigned>();
    list new_ids;
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), 0);
    EXPECT_EQ(first_row(pos), (std::vector<double>{1, 3, 5, 7, 9}));
    EXPECT_EQ(entries(matrices[0]), (std::vector<unsigned>{4, 3, 2, 0, 1, 4}));
    EXPECT_EQ(entries(matrices[1]), (std::vector<unsigned>{2, 0, 1, 4}));
    EXPECT_EQ(entries(matrices[2]), entries(matrices[0]));
    EXPECT_EQ(entries(matrices[3]), (std::vector<unsigned>{3, 0, 4}));
}

TEST(Simplify, TheCallersMemoryStaysAsItWas) {
    // Two views laid over one piece of memory know nothing of each other.
    std::vector<unsigned> memory{4, 2, 4};
    std::vector<double> coordinates{0, 1, 2, 3, 4};
    auto pos = dense2D<double>::view(coordinates.data(), 1, 5, 1);
    std::vector<dense2D<unsigned>> matrices{dense2D<unsigned>::view(memory.data(), 3, 1, 3),
                                            dense2D<unsigned>::view(memory.data() + 1, 2, 1, 2)};
    list new_ids;
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), 0);
    EXPECT_EQ(first_row(pos), (std::vector<double>{2, 4}));
    EXPECT_EQ(entries(matrices[0]), (std::vector<unsigned>{1, 0, 1}));
    EXPECT_EQ(entries(matrices[1]), (std::vector<unsigned>{0, 1}));
    EXPECT_EQ(memory, (std::vector<unsigned>{4, 2, 4}));
    EXPECT_EQ(coordinates, (std::vector<double>{0, 1, 2, 3, 4}));
}

TEST(Simplify, TheMapMayShareStorageWithAMatrix) {
    auto pos = numbered_points(4);
    std::vector<dense2D<unsigned>> matrices{ids({{3, 1}})};
    list new_ids = matrices[0].as_vector();
    EXPECT_EQ(simplify_all(pos, matrices, new_ids, 0), 0);
    EXPECT_EQ(entries(matrices[0]), (std::vector<unsigned>{1, 0}));
    EXPECT_EQ(entries_of(new_ids), (std::vector<unsigned>{none, 0, none, 1}));
}

RC_GTEST_PROP(Simplify, KeepsEveryElementWhereItWas, ()) {
    dice random(*rc::gen::arbitrary<unsigned>());
    const unsigned nodes = random(40);
    const unsigned n0 = random(nodes + 3);
    auto pos = numbered_points(nodes);
    std::vector<dense2D<unsigned>> matrices(random(4));
    std::set<unsigned> kept;
    for (unsigned id = 0; id < std::min(n0, nodes); ++id)
        kept.insert(id);
    for (auto& matrix : matrices) {
        matrix.resize(1 + random(8), random(6));
        for (std::size_t k = 0; k < matrix.size(); ++k) {
            const unsigned id = random(5) == 0 || nodes == 0 ? none : random(nodes);
            matrix.data()[k] = id;
            if (id != none)
                kept.insert(id);
        }
        if (!matrix.empty() && random(3) == 0)
            matrix = as_window(matrix, 99u);
    }
    if (nodes != 0 && random(3) == 0)
        pos = as_window(pos, -1.0);
    const state before(pos, matrices, {});

    list new_ids;
    RC_ASSERT(simplify_all(pos, matrices, new_ids, n0) == 0);
    RC_ASSERT(pos.rows() == 3u);
    RC_ASSERT(first_row(pos) == std::vector<double>(kept.begin(), kept.end()));
    for (std::size_t j = 0; j < pos.cols(); ++j)
        RC_ASSERT(pos(1, j) == pos(0, j) / 10 && pos(2, j) == -pos(0, j));
    RC_ASSERT(new_ids.size() == nodes);
    for (unsigned id = 0; id < nodes; ++id)
        RC_ASSERT(new_ids[id] == (kept.count(id) == 0 ? none : unsigned(std::distance(kept.begin(), kept.find(id)))));
    for (std::size_t m = 0; m < matrices.size(); ++m) {
        const auto old_entries = entries(before.matrices[m]);
        const auto new_entries = entries(matrices[m]);
        RC_ASSERT(old_entries.size() == new_entries.size());
        for (std::size_t k = 0; k < old_entries.size(); ++k)
            RC_ASSERT(new_entries[k] == (old_entries[k] == none ? none : new_ids[old_entries[k]]));
    }
}
