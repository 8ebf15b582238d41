#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "meldra/dice.h"
#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra::check_IDs;

namespace {

constexpr unsigned none = no_node;
constexpr int types = 25;

element_type type_of(int value) {
    return static_cast<element_type>(value);
}

/// How many nodes a column may have, by type and row count; a row count that is missing is none of the type's.
std::set<std::size_t> node_counts(int type, std::size_t rows) {
    static const std::map<int, std::map<std::size_t, std::set<std::size_t>>> mixed{
        {ET_FACE_MIX, {{3, {3}}, {4, {3, 4}}}},
        {ET_FACE_MIX_Q, {{9, {6, 8, 9}}}},
        {ET_SOLID_MIX, {{4, {4}}, {5, {5}}, {6, {6}}, {8, {4, 5, 6, 8}}}},
        {ET_SOLID_MIX_Q,
         {{13, {10, 13}},
          {14, {10, 13, 14}},
          {15, {10, 13, 14, 15}},
          {18, {10, 13, 14, 15, 18}},
          {20, {10, 13, 14, 15, 18, 20}},
          {27, {10, 13, 14, 15, 18, 20, 27}}}},
    };
    static const std::size_t own_rows[types] = {0,  1, 2,  3, 4,  4,  9, 3,  6,  4, 8,  9, 8,
                                                27, 4, 10, 5, 13, 14, 6, 15, 18, 8, 20, 27};
    const auto found = mixed.find(type);
    if (found == mixed.end())
        return rows == own_rows[type] ? std::set<std::size_t>{rows} : std::set<std::size_t>{};
    const auto counts = found->second.find(rows);
    return counts == found->second.end() ? std::set<std::size_t>{} : counts->second;
}

/// The rule for one column, entry by entry: nodes, then unused slots, in an admitted number.
bool column_is_right(const std::vector<unsigned>& column, int type, unsigned nodes) {
    std::size_t used = 0;
    while (used < column.size() && column[used] != none) {
        if (column[used] >= nodes)
            return false;
        ++used;
    }
    for (std::size_t i = used; i < column.size(); ++i)
        if (column[i] != none)
            return false;
    return node_counts(type, column.size()).count(used) != 0;
}

std::vector<std::pair<int, std::size_t>> types_and_rows() {
    std::vector<std::pair<int, std::size_t>> all;
    for (int type = 0; type < types; ++type)
        for (std::size_t rows = 1; rows <= 30; ++rows)
            if (!node_counts(type, rows).empty())
                all.emplace_back(type, rows);
    return all;
}

/// Columns of every kind that the type admits, in turn, with nodes below `nodes`.
dense2D<unsigned> all_kinds(int type, std::size_t rows, std::size_t cols, unsigned nodes) {
    const auto counts = node_counts(type, rows);
    dense2D<unsigned> connect(rows, cols, none);
    auto count = counts.begin();
    for (std::size_t j = 0; j < cols; ++j) {
        for (std::size_t i = 0; i < *count; ++i)
            connect(i, j) = static_cast<unsigned>((i * 7 + j * 13) % nodes);
        if (++count == counts.end())
            count = counts.begin();
    }
    return connect;
}

} // namespace

TEST(CheckIDs, EachTypeTakesItsRowCountsAndNoOther) {
    for (int type = 0; type < types; ++type)
        for (std::size_t rows = 1; rows <= 30; ++rows) {
            const bool right = !node_counts(type, rows).empty();
            EXPECT_EQ(check_IDs(dense2D<unsigned>(rows, 3, 0u), type_of(type), 1), right)
                << "type " << type << ", " << rows << " rows";
        }
}

TEST(CheckIDs, EveryKindOfAMixedTypePasses) {
    for (const auto& [type, rows] : types_and_rows())
        EXPECT_TRUE(check_IDs(all_kinds(type, rows, 50, 20), type_of(type), 20)) << type << ", " << rows << " rows";
}

TEST(CheckIDs, UnusedSlotsAreATailOfAdmittedLength) {
    // Every pattern of used and unused slots, for all row counts at which there are not too many.
    for (const auto& [type, rows] : types_and_rows()) {
        if (rows > 15)
            continue;
        dense2D<unsigned> connect(rows, 1);
        for (unsigned pattern = 0; pattern < 1u << rows; ++pattern) {
            for (std::size_t i = 0; i < rows; ++i)
                connect(i, 0) = pattern >> i & 1 ? none : unsigned(i);
            ASSERT_EQ(check_IDs(connect, type_of(type), 15), column_is_right(entries(connect), type, 15))
                << "type " << type << ", " << rows << " rows, pattern " << pattern;
        }
    }
}

TEST(CheckIDs, UnusedSlotsOfManyRowsAreATailOfAdmittedLength) {
    dice random(5);
    std::size_t right = 0, wrong = 0;
    for (const auto& [type, rows] : types_and_rows()) {
        if (rows <= 15)
            continue;
        for (unsigned n = 0; n < 6000; ++n) {
            std::vector<unsigned> column(rows, none);
            for (std::size_t i = 0, used = random(rows + 1); i < used; ++i)
                column[i] = random(50);
            for (unsigned flips = random(3); flips > 0; --flips) {
                unsigned& slot = column[random(rows)];
                slot = slot == none ? 0 : none;
            }
            const bool expected = column_is_right(column, type, 50);
            (expected ? right : wrong) += 1;
            dense2D<unsigned> connect(rows, 1);
            std::copy(column.begin(), column.end(), connect.data());
            ASSERT_EQ(check_IDs(connect, type_of(type), 50), expected)
                << "type " << type << ": " << testing::PrintToString(column);
        }
    }
    EXPECT_GT(right, 1000u);
    EXPECT_GT(wrong, 3000u);
}

TEST(CheckIDs, MeshesOfManyColumnsAgreeWithTheRuleColumnByColumn) {
    dice random(6);
    for (const auto& [type, rows] : types_and_rows())
        for (unsigned n = 0; n < 60; ++n) {
            auto connect = all_kinds(type, rows, 1 + random(7), 12);
            if (random(2))
                connect(random(rows), random(connect.cols())) = random(2) ? none : 10 + random(4);
            bool expected = true;
            for (std::size_t j = 0; j < connect.cols(); ++j)
                expected = expected && column_is_right(column(connect, j), type, 12);
            ASSERT_EQ(check_IDs(connect, type_of(type), 12), expected) << "type " << type;
            ASSERT_EQ(check_IDs(as_window(connect, 12u), type_of(type), 12), expected) << "type " << type << ", window";
            ASSERT_EQ(check_IDs(as_window(connect, none), type_of(type), 12), expected)
                << "type " << type << ", window";
        }
}

TEST(CheckIDs, ANodeMayBeTheLastButNoMore) {
    for (const auto& [type, rows] : types_and_rows())
        for (std::size_t i = 0; i < rows; ++i) {
            dense2D<unsigned> connect(rows, 2, 5u);
            EXPECT_TRUE(check_IDs(connect, type_of(type), 6));
            connect(i, 1) = 6;
            EXPECT_FALSE(check_IDs(connect, type_of(type), 6)) << "type " << type << ", row " << i;
            EXPECT_TRUE(check_IDs(connect, type_of(type), 7));
        }
}

TEST(CheckIDs, TheLargestPossibleIDIsANodeOfTheLargestPossibleMesh) {
    for (const auto& [type, rows] : types_and_rows())
        for (std::size_t i = 0; i < rows; ++i) {
            dense2D<unsigned> connect(rows, 1, 0u);
            connect(i, 0) = none - 1;
            EXPECT_TRUE(check_IDs(connect, type_of(type), none)) << "type " << type << ", row " << i;
            EXPECT_FALSE(check_IDs(connect, type_of(type), none - 1)) << "type " << type << ", row " << i;
        }
}

TEST(CheckIDs, OnlyMixedTypesHoldUnusedSlots) {
    for (const auto& [type, rows] : types_and_rows()) {
        if (node_counts(type, rows).size() > 1)
            continue;
        for (std::size_t i = 0; i < rows; ++i) {
            dense2D<unsigned> connect(rows, 1, 0u);
            connect(i, 0) = none;
            EXPECT_FALSE(check_IDs(connect, type_of(type), none)) << "type " << type << ", row " << i;
        }
    }
}

TEST(CheckIDs, WithoutNodesOnlyAnEmptyMatrixPasses) {
    for (const auto& [type, rows] : types_and_rows())
        EXPECT_FALSE(check_IDs(dense2D<unsigned>(rows, 1, 0u), type_of(type), 0)) << "type " << type;
    EXPECT_FALSE(check_IDs(dense2D<unsigned>(8, 1, none), ET_SOLID_MIX, 0));
}

TEST(CheckIDs, AnyEmptyMatrixPasses) {
    for (const int type : {-2147483647 - 1, -1, 0, 1, 4, 5, 12, 13, 14, 24, 25, 2147483647})
        for (const std::size_t n : {0u, 3u, 7u, 100u}) {
            EXPECT_TRUE(check_IDs(dense2D<unsigned>(n, 0), type_of(type), 0)) << type;
            EXPECT_TRUE(check_IDs(dense2D<unsigned>(0, n), type_of(type), 5)) << type;
        }
    EXPECT_TRUE(check_IDs(dense2D<unsigned>(4, 0), 0));
    EXPECT_TRUE(check_IDs(dense1D<unsigned, 8>(), 0));
}

TEST(CheckIDs, ATypeOutsideTheEnumerationHasNoElements) {
    for (const int type : {-2147483647 - 1, -1, 25, 26, 2147483647})
        for (const std::size_t rows : {1u, 4u, 8u, 27u})
            EXPECT_FALSE(check_IDs(dense2D<unsigned>(rows, 1, 0u), type_of(type), 1)) << type;
}

TEST(CheckIDs, ABadIDIsFoundWhereverItStands) {
    // The checks go by blocks of columns or entries: look at the borders of any power of two, and at the ends.
    std::vector<std::size_t> places{0, 1};
    for (std::size_t power = 2; power <= 4096; power *= 2)
        places.insert(places.end(), {power - 1, power});
    for (const auto& [type, rows] : types_and_rows()) {
        const std::size_t cols = 4099;
        auto connect = all_kinds(type, rows, cols, 20);
        ASSERT_TRUE(check_IDs(connect, type_of(type), 20));
        places.push_back(cols - 1);
        for (const std::size_t j : places) {
            const std::size_t i = j % rows;
            unsigned& slot = connect(i, j);
            const unsigned before = slot;
            for (const unsigned bad : {20u, none - 1}) {
                slot = bad;
                EXPECT_FALSE(check_IDs(connect, type_of(type), 20)) << "type " << type << ", column " << j;
            }
            slot = before;
        }
        places.pop_back();
    }
}

TEST(CheckIDs, AListOrAPlainMatrixMayHoldNoNodeAnywhere) {
    EXPECT_TRUE(check_IDs(dense1D<unsigned, 8>{0, none, 4}, 5));
    EXPECT_FALSE(check_IDs(dense1D<unsigned, 8>{0, none, 5}, 5));
    EXPECT_TRUE(check_IDs(ids({{none, 0}, {4, none}}), 5));
    EXPECT_FALSE(check_IDs(ids({{none, 0}, {5, none}}), 5));
    EXPECT_TRUE(check_IDs(dense1D<unsigned, 8>(3, none), 0));
    EXPECT_FALSE(check_IDs(dense1D<unsigned, 8>(3, 0u), 0));
    EXPECT_TRUE(check_IDs(dense1D<unsigned, 8>{none - 1}, none));
    EXPECT_FALSE(check_IDs(dense1D<unsigned, 8>{none - 1}, none - 1));
    EXPECT_TRUE(check_IDs(ids({{none - 1}}), none));
    EXPECT_FALSE(check_IDs(ids({{none - 1}}), none - 1));
    EXPECT_TRUE(check_IDs(dense2D<unsigned>(11, 2, none), 0)); // any row count
}

TEST(CheckIDs, ABadEntryOfALongListIsFoundWhereverItStands) {
    dense1D<unsigned, 8> list(3 * 4096 + 5, 7u);
    dense2D<unsigned> matrix(5, 2000, 7u);
    list[17] = matrix(3, 17) = none;
    EXPECT_TRUE(check_IDs(list, 8));
    EXPECT_TRUE(check_IDs(matrix, 8));
    EXPECT_TRUE(check_IDs(as_window(matrix, 8u), 8));
    for (const std::size_t k : {0u, 1u, 4095u, 4096u, 4097u, 8191u, 8192u, 9999u, 12287u, 12288u, 12292u}) {
        list[k] = 8;
        EXPECT_FALSE(check_IDs(list, 8)) << k;
        list[k] = 7;
        if (k < matrix.size()) {
            unsigned& entry = matrix(k % 5, k / 5);
            entry = 8;
            EXPECT_FALSE(check_IDs(matrix, 8)) << k;
            EXPECT_FALSE(check_IDs(as_window(matrix, 0u), 8)) << k;
            entry = 7;
        }
    }
}

TEST(CheckIDs, AListMayBeAPartOfAnother) {
    dense2D<unsigned> matrix(4, 3, 9u);
    for (unsigned i = 0; i < 4; ++i)
        matrix(i, 1) = 2;
    EXPECT_TRUE(check_IDs(matrix.sub(0, 1, 4, 1).as_vector(), 3));
    EXPECT_FALSE(check_IDs(matrix.as_vector(), 3));
}
