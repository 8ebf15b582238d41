#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "support/meshes.h"

using namespace quorl;
using namespace test;
using meldra3d::convert_into_linear;

namespace {

constexpr unsigned none = no_node;

/// A column of `rows` slots whose first n hold the IDs from `first` on.
std::vector<unsigned> holding(std::size_t rows, std::size_t n, unsigned first = 100) {
    std::vector<unsigned> column(rows, none);
    std::iota(column.begin(), column.begin() + std::ptrdiff_t(n), first);
    return column;
}

dense2D<unsigned> matrix(std::size_t rows, const std::vector<std::size_t>& nodes_of_columns) {
    dense2D<unsigned> connect(rows, 0);
    unsigned first = 100;
    for (const std::size_t n : nodes_of_columns) {
        connect.append(holding(rows, n, first).data());
        first += 100;
    }
    return connect;
}

} // namespace

TEST(ConvertIntoLinear, AnEmptyMatrixOfAnyRowsPasses) {
    for (const std::size_t rows : {0u, 3u, 10u, 27u}) {
        dense2D<unsigned> connect(rows, 0);
        EXPECT_EQ(convert_into_linear(connect), 0);
        EXPECT_EQ(connect.rows(), rows);
    }
}

TEST(ConvertIntoLinear, OtherRowsAreRefusedAndUnchanged) {
    for (std::size_t rows = 1; rows < 40; ++rows) {
        if (rows == 10 || rows == 13 || rows == 14 || rows == 15 || rows == 18 || rows == 20 || rows == 27)
            continue;
        dense2D<unsigned> connect(rows, 2, 5u);
        EXPECT_EQ(convert_into_linear(connect), -1) << rows;
        EXPECT_EQ(connect.rows(), rows);
        EXPECT_EQ(entries(connect), std::vector<unsigned>(2 * rows, 5u));
    }
}

TEST(ConvertIntoLinear, TetrahedraKeepTheirFourVertices) {
    dense2D<unsigned> connect = matrix(10, {10, 10, 10});
    EXPECT_EQ(convert_into_linear(connect), 0);
    EXPECT_EQ(connect.rows(), 4u);
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{100, 101, 102, 103, 200, 201, 202, 203, 300, 301, 302, 303}));
}

TEST(ConvertIntoLinear, AnUnusedSlotInTenRowsIsKeptAsItIs) {
    dense2D<unsigned> connect = matrix(10, {3});
    EXPECT_EQ(convert_into_linear(connect), 0);
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{100, 101, 102, none}));
}

TEST(ConvertIntoLinear, AMixedMatrixGivesEveryKindItsVertices) {
    dense2D<unsigned> connect = matrix(27, {10, 13, 14, 15, 18, 20, 27});
    EXPECT_EQ(convert_into_linear(connect), 0);
    ASSERT_EQ(connect.rows(), 8u);
    ASSERT_EQ(connect.cols(), 7u);
    const std::size_t vertices[] = {4, 5, 5, 6, 6, 8, 8};
    for (unsigned j = 0; j < 7; ++j)
        EXPECT_EQ(column(connect, j), holding(8, vertices[j], 100 * (j + 1))) << j;
}

TEST(ConvertIntoLinear, TestsAreMadeInOrderWhateverStandsBehind) {
    dense2D<unsigned> connect(27, 1, 7u);
    connect(10, 0) = none; // and nothing else: a tetrahedron by the first test
    connect(14, 0) = none;
    EXPECT_EQ(convert_into_linear(connect), 0);
    EXPECT_EQ(entries(connect), (std::vector<unsigned>{7, 7, 7, 7, none, none, none, none}));
}

TEST(ConvertIntoLinear, AKindThatFillsItsMatrixIsTakenForAHexahedron) {
    for (const std::size_t rows : {13u, 14u, 15u, 18u, 20u, 27u}) {
        dense2D<unsigned> connect = matrix(rows, {rows, 10});
        EXPECT_EQ(convert_into_linear(connect), 0);
        EXPECT_EQ(column(connect, 0), holding(8, 8, 100)) << rows;
        EXPECT_EQ(column(connect, 1), holding(8, 4, 200)) << rows;
    }
}

TEST(ConvertIntoLinear, SmallerKindsAreMarkedInNarrowMatrices) {
    dense2D<unsigned> wedges = matrix(18, {15, 14, 13, 18});
    EXPECT_EQ(convert_into_linear(wedges), 0);
    EXPECT_EQ(column(wedges, 0), holding(8, 6, 100));
    EXPECT_EQ(column(wedges, 1), holding(8, 5, 200));
    EXPECT_EQ(column(wedges, 2), holding(8, 5, 300));
    EXPECT_EQ(column(wedges, 3), holding(8, 8, 400));
}

TEST(ConvertIntoLinear, AWindowIsConvertedInPlaceAndItsSurroundingsStay) {
    const dense2D<unsigned> mesh = matrix(27, {10, 27, 14});
    dense2D<unsigned> window = as_window(mesh, 77u);
    const dense2D<unsigned> seen = window;
    EXPECT_EQ(convert_into_linear(window), 0);
    EXPECT_EQ(column(window, 0), holding(8, 4, 100));
    EXPECT_EQ(column(window, 1), holding(8, 8, 200));
    EXPECT_EQ(column(window, 2), holding(8, 5, 300));
    ASSERT_EQ(seen.rows(), 27u); // another view keeps its dimensions and sees what was written
    EXPECT_EQ(seen(4, 0), none);
    EXPECT_EQ(seen(8, 0), 108u);
    EXPECT_EQ(seen(26, 1), 226u);
}
