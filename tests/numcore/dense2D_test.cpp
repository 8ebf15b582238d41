#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

#include "support/meshes.h"

using namespace test;

namespace {

using matrix = dense2D<int>;

constexpr int around = -1;

/// Element (i, j) is 100 * (i + 1) + j.
int value_at(std::size_t i, std::size_t j) {
    return int(100 * (i + 1) + j);
}

matrix numbered(std::size_t rows, std::size_t cols) {
    matrix m(rows, cols);
    for (std::size_t j = 0; j < cols; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            m(i, j) = value_at(i, j);
    return m;
}

void expect_numbered(const matrix& m, std::size_t rows, std::size_t cols) {
    for (std::size_t j = 0; j < cols; ++j)
        for (std::size_t i = 0; i < rows; ++i)
            EXPECT_EQ(m(i, j), value_at(i, j)) << i << ", " << j;
}

void expect_dimensions(const matrix& m, std::size_t rows, std::size_t cols) {
    EXPECT_EQ(m.rows(), rows);
    EXPECT_EQ(m.cols(), cols);
    EXPECT_EQ(m.size(), rows * cols);
    EXPECT_EQ(m.empty(), rows * cols == 0);
    EXPECT_GE(m.ld(), rows);
}

/// A numbered matrix in one of the ways that a matrix can be stored, with whatever else sees its memory.
struct stored {
    const char* how;
    matrix m;
    matrix others;           // views of the same block, or none
    std::vector<int> memory; // the caller's, or none
};

std::vector<std::function<stored(std::size_t, std::size_t)>> ways_to_store() {
    return {
        [](std::size_t r, std::size_t c) {
            return stored{"alone", numbered(r, c), {}, {}};
        },
        [](std::size_t r, std::size_t c) {
            stored s{"with room", numbered(r, c), {}, {}};
            s.m.reserve(r + 3, c + 3, 3);
            return s;
        },
        [](std::size_t r, std::size_t c) {
            stored s{"shared", numbered(r, c), {}, {}};
            s.others = s.m;
            return s;
        },
        [](std::size_t r, std::size_t c) {
            stored s{"window", {}, as_window(numbered(r, c), around), {}};
            s.m = s.others;
            return s;
        },
        [](std::size_t r, std::size_t c) {
            return stored{"window alone", as_window(numbered(r, c), around), {}, {}};
        },
        [](std::size_t r, std::size_t c) {
            stored s{"caller's memory", {}, {}, entries(numbered(r, c))};
            s.memory.resize(r * c + 50, around);
            s.m = matrix::view(s.memory.data(), r, c, r);
            if (s.m.empty())
                s.m.resize(r, c);
            return s;
        },
        [](std::size_t r, std::size_t c) {
            stored s{"window of caller's memory", {}, {}, std::vector<int>((r + 2) * c + 50, around)};
            s.m = matrix::view(s.memory.data(), r, c, r + 2);
            if (s.m.empty())
                s.m.resize(r, c);
            for (std::size_t j = 0; j < c; ++j)
                for (std::size_t i = 0; i < r; ++i)
                    s.m(i, j) = value_at(i, j);
            return s;
        },
    };
}

/// Calls check(stored, rows, cols) for matrices of every way and old size, and every new size.
template <class Check>
void for_all_resizes(Check check) {
    for (const auto& store : ways_to_store())
        for (std::size_t old = 0; old < 5 * 5; ++old)
            for (std::size_t now = 0; now < 7 * 7; ++now) {
                stored s = store(old / 5, old % 5);
                SCOPED_TRACE(testing::Message()
                             << s.how << ", " << old / 5 << " x " << old % 5 << " to " << now / 7 << " x " << now % 7);
                check(s, now / 7, now % 7);
                if (testing::Test::HasFailure())
                    return;
            }
}

} // namespace

TEST(Dense2D, IsEmptyWithoutStorageByDefault) {
    const matrix m;
    expect_dimensions(m, 0, 0);
    EXPECT_EQ(m.ld(), 0u);
    EXPECT_EQ(m.data(), nullptr);
}

TEST(Dense2D, ElementsLieColumnByColumn) {
    matrix m = numbered(3, 2);
    EXPECT_EQ(m.ld(), 3u);
    EXPECT_EQ(entries(m), (std::vector<int>{100, 200, 300, 101, 201, 301}));
    EXPECT_EQ(std::vector<int>(m.data(), m.data() + 6), entries(m));
    EXPECT_EQ(m.col(1), m.data() + 3);
    EXPECT_EQ(&m(2, 1), m.data() + 5);
}

TEST(Dense2D, ConstructorsFill) {
    EXPECT_EQ(entries(matrix(2, 2, 7)), (std::vector<int>{7, 7, 7, 7}));
    expect_dimensions(matrix(0, 4), 0, 4);
    expect_dimensions(matrix(4, 0, 7), 4, 0);
}

TEST(Dense2D, ResizeKeepsTheCommonUpperLeftBlockAndNoOtherViewSeesIt) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        const std::size_t kept_rows = std::min(rows, s.m.rows()), kept_cols = std::min(cols, s.m.cols());
        const auto others_before = entries(s.others);
        const auto memory_before = s.memory;
        const bool grows = rows > s.m.rows() || cols > s.m.cols();
        ASSERT_TRUE(s.m.resize(rows, cols));
        expect_dimensions(s.m, rows, cols);
        expect_numbered(s.m, kept_rows, kept_cols);
        if (grows)
            for (std::size_t j = 0; j < cols; ++j)
                std::fill_n(s.m.col(j), rows, 77); // what has grown is the view's own
        EXPECT_EQ(entries(s.others), others_before);
        EXPECT_EQ(s.memory, memory_before);
    });
}

TEST(Dense2D, AFilledResizeSetsEveryElementAndNoOtherViewSeesIt) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        const auto others_before = entries(s.others);
        const auto memory_before = s.memory;
        const bool grows = rows > s.m.rows() || cols > s.m.cols();
        ASSERT_TRUE(s.m.resize(rows, cols, 77));
        expect_dimensions(s.m, rows, cols);
        EXPECT_EQ(entries(s.m), std::vector<int>(rows * cols, 77));
        EXPECT_EQ(entries(s.others), others_before);
        if (grows) {
            EXPECT_EQ(s.memory, memory_before);
        }
    });
}

TEST(Dense2D, RowsThatAreAddedToKeptColumnsTakeTheFill) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        const std::size_t old_rows = s.m.rows();
        const std::size_t kept_rows = std::min(rows, old_rows), kept_cols = std::min(cols, s.m.cols());
        const auto others_before = entries(s.others);
        const auto memory_before = s.memory;
        ASSERT_TRUE(s.m.__resize_rows(rows, cols, 77));
        expect_dimensions(s.m, rows, cols);
        expect_numbered(s.m, kept_rows, kept_cols);
        for (std::size_t j = 0; j < kept_cols; ++j)
            for (std::size_t i = old_rows; i < rows; ++i)
                EXPECT_EQ(s.m(i, j), 77) << i << ", " << j;
        EXPECT_EQ(entries(s.others), others_before);
        EXPECT_EQ(s.memory, memory_before);
    });
}

TEST(Dense2D, ReservingChangesNothingVisible) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        const std::size_t old_rows = s.m.rows(), old_cols = s.m.cols();
        ASSERT_TRUE(s.m.reserve(rows, cols, 2));
        expect_dimensions(s.m, old_rows, old_cols);
        expect_numbered(s.m, old_rows, old_cols);
    });
}

TEST(Dense2D, RoomReservedIsRoomWithoutMoving) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        if (rows < s.m.rows() || cols < s.m.cols())
            return;
        ASSERT_TRUE(s.m.reserve(rows, cols, 1));
        const int* const place = s.m.data();
        ASSERT_TRUE(s.m.resize(rows, cols));
        if (rows * cols != 0) {
            EXPECT_EQ(s.m.data(), place);
        }
    });
}

TEST(Dense2D, ReservingNoMoreThanThereIsKeepsTheSharing) {
    matrix a = numbered(3, 4);
    matrix b = a;
    ASSERT_TRUE(b.reserve(3, 4, 2));
    ASSERT_TRUE(b.reserve(2, 1, 2));
    b(0, 0) = 99;
    EXPECT_EQ(a(0, 0), 99);
}

TEST(Dense2D, AMatrixHeldAloneIsContiguousAfterAnyResize) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        if (s.how != std::string("alone") && s.how != std::string("with room"))
            return;
        matrix filled;
        ASSERT_TRUE(filled.copy(s.m));
        ASSERT_TRUE(s.m.resize(rows, cols));
        EXPECT_EQ(s.m.ld(), rows);
        ASSERT_TRUE(filled.resize(rows, cols, 7));
        EXPECT_EQ(filled.ld(), rows);
        EXPECT_EQ(filled.as_vector().size(), rows * cols);
    });
}

TEST(Dense2D, LoweringTheRowCountOfSharedStorageMovesNothing) {
    matrix a = numbered(6, 4);
    matrix b = a;
    ASSERT_TRUE(b.resize(4, 4));
    EXPECT_EQ(b.ld(), 6u);
    EXPECT_EQ(b.data(), a.data());
    expect_numbered(b, 4, 4);
    expect_numbered(a, 6, 4);
    ASSERT_TRUE(b.resize(6, 4));
    EXPECT_NE(b.data(), a.data());
    expect_numbered(b, 4, 4);
}

TEST(Dense2D, EmptyMatricesKeepTheirDimensions) {
    matrix m = numbered(3, 4);
    ASSERT_TRUE(m.resize(0, 4));
    expect_dimensions(m, 0, 4);
    ASSERT_TRUE(m.resize(3, 0));
    expect_dimensions(m, 3, 0);
    ASSERT_TRUE(m.resize(5, 0, 7));
    expect_dimensions(m, 5, 0);
    ASSERT_TRUE(m.reserve(5, 9, 1));
    expect_dimensions(m, 5, 0);
    matrix copy;
    ASSERT_TRUE(copy.copy(m));
    expect_dimensions(copy, 5, 0);
    EXPECT_EQ(copy.data(), nullptr);
    expect_dimensions(matrix(m), 5, 0);
    const int column[] = {1, 2, 3, 4, 5};
    ASSERT_TRUE(m.append(column));
    expect_dimensions(m, 5, 1);
    EXPECT_EQ(entries(m), (std::vector<int>{1, 2, 3, 4, 5}));
    m.clear();
    expect_dimensions(m, 0, 0);
    EXPECT_EQ(m.ld(), 0u);
}

TEST(Dense2D, AppendingToAMatrixWithoutRowsCountsColumns) {
    matrix m(0, 2);
    ASSERT_TRUE(m.append(nullptr));
    expect_dimensions(m, 0, 3);
}

TEST(Dense2D, AppendingAColumnTooManyFails) {
    matrix m(0, SIZE_MAX);
    EXPECT_FALSE(m.append(nullptr));
    expect_dimensions(m, 0, SIZE_MAX);
}

TEST(Dense2D, AppendingToOneViewNeverShowsInAnother) {
    matrix a = numbered(2, 2);
    ASSERT_TRUE(a.reserve(2, 20, 1));
    matrix b = a;
    const int first[] = {1, 2}, second[] = {3, 4};
    ASSERT_TRUE(a.append(first));
    ASSERT_TRUE(b.append(second));
    EXPECT_EQ(column(a, 2), (std::vector<int>{1, 2}));
    EXPECT_EQ(column(b, 2), (std::vector<int>{3, 4}));
    expect_numbered(a, 2, 2);
    expect_numbered(b, 2, 2);
}

TEST(Dense2D, AWindowThatAppendsLeavesWhatLiesBehindIt) {
    const matrix whole = numbered(3, 4);
    matrix window = whole.sub(0, 0, 3, 2);
    const int values[] = {7, 8, 9};
    ASSERT_TRUE(window.append(values));
    EXPECT_EQ(column(window, 2), (std::vector<int>{7, 8, 9}));
    expect_numbered(whole, 3, 4);
}

TEST(Dense2D, AColumnOfTheMatrixItselfCanBeAppended) {
    for (const auto& store : ways_to_store()) {
        stored s = store(3, 2);
        SCOPED_TRACE(s.how);
        for (std::size_t n = 2; n < 40; ++n) { // some of these move, some do not
            const std::vector<int> wanted = column(s.m, n / 2);
            ASSERT_TRUE(s.m.append(s.m.col(n / 2)));
            EXPECT_EQ(s.m.cols(), n + 1);
            EXPECT_EQ(column(s.m, n), wanted);
        }
        expect_numbered(s.m, 3, 2);
    }
}

TEST(Dense2D, AnElementOfTheMatrixItselfCanFill) {
    for_all_resizes([](stored& s, std::size_t rows, std::size_t cols) {
        if (s.m.empty())
            return;
        const int wanted = s.m(s.m.rows() - 1, s.m.cols() - 1);
        ASSERT_TRUE(s.m.resize(rows, cols, s.m(s.m.rows() - 1, s.m.cols() - 1)));
        EXPECT_EQ(entries(s.m), std::vector<int>(rows * cols, wanted));
    });
}

TEST(Dense2D, CopiesAreShallowAndDeepCopiesContiguous) {
    matrix a = as_window(numbered(3, 2), around);
    matrix shallow = a, deep, assigned;
    assigned.shallow_copy(a);
    ASSERT_TRUE(deep.copy(a));
    EXPECT_EQ(deep.ld(), 3u);
    a(1, 1) = 99;
    EXPECT_EQ(shallow(1, 1), 99);
    EXPECT_EQ(assigned(1, 1), 99);
    expect_numbered(deep, 3, 2);
    ASSERT_TRUE(deep.copy(deep));
    expect_numbered(deep, 3, 2);
}

TEST(Dense2D, MovesLeaveTheSourceEmpty) {
    matrix a = numbered(3, 2);
    matrix b = std::move(a);
    expect_dimensions(a, 0, 0);
    EXPECT_EQ(a.data(), nullptr);
    expect_numbered(b, 3, 2);
    a = std::move(b);
    expect_dimensions(b, 0, 0);
    EXPECT_EQ(b.ld(), 0u);
    expect_numbered(a, 3, 2);
    matrix& same = a;
    a = std::move(same);
    expect_numbered(a, 3, 2);
}

TEST(Dense2D, AWindowIsAViewOfTheSameElements) {
    matrix m = numbered(5, 6);
    matrix w = m.sub(1, 2, 3, 4);
    expect_dimensions(w, 3, 4);
    EXPECT_EQ(w.ld(), 5u);
    EXPECT_EQ(w(2, 3), value_at(3, 5));
    w.sub(1, 1, 1, 1)(0, 0) = 99;
    EXPECT_EQ(m(2, 3), 99);
    EXPECT_EQ(m.sub(0, 0, 5, 6).data(), m.data());
}

TEST(Dense2D, AWindowOutsideTheMatrixIsEmpty) {
    const matrix m = numbered(5, 6);
    expect_dimensions(m.sub(3, 0, 3, 1), 0, 0);
    expect_dimensions(m.sub(0, 3, 1, 4), 0, 0);
    expect_dimensions(m.sub(6, 0, 0, 0), 0, 0);
    expect_dimensions(m.sub(1, 0, SIZE_MAX, 1), 0, 0);
    expect_dimensions(m.sub(0, SIZE_MAX, 1, 2), 0, 0);
    expect_dimensions(m.sub(5, 6, 0, 0), 0, 0);
    expect_dimensions(m.sub(1, 6, 4, 0), 4, 0);
    expect_dimensions(m.sub(5, 1, 0, 5), 0, 5);
}

TEST(Dense2D, AWindowWithoutRowsGrowsLikeAnyOther) {
    const matrix m = numbered(3, 4);
    matrix window = m.sub(0, 1, 0, 3);
    EXPECT_EQ(window.ld(), 3u);
    EXPECT_TRUE(window.__resize_rows(2, 5, 8));
    expect_dimensions(window, 2, 5);
    for (std::size_t j = 0; j < 3; ++j)
        EXPECT_EQ(std::vector<int>(window.col(j), window.col(j) + 2), (std::vector<int>{8, 8}));
    EXPECT_EQ(entries(m), entries(numbered(3, 4)));
}

TEST(Dense2D, AsAListSharesItsElements) {
    matrix m = numbered(3, 2);
    auto list = m.as_vector();
    EXPECT_EQ(std::vector<int>(list.begin(), list.end()), entries(m));
    list[4] = 99;
    EXPECT_EQ(m(1, 1), 99);
    ASSERT_TRUE(list.push_back(1));
    list[0] = 98;
    EXPECT_EQ(m(0, 0), 100);
    list = m.as_vector();
    ASSERT_TRUE(m.resize(3, 5)); // now the matrix moves away
    m(0, 0) = 97;
    EXPECT_EQ(list[0], 100);
}

TEST(Dense2D, OnlyAContiguousMatrixCanBeReadAsAList) {
    const matrix m = numbered(3, 4);
    EXPECT_EQ(m.sub(0, 0, 2, 2).as_vector().size(), 0u);
    EXPECT_EQ(m.sub(1, 1, 2, 1).as_vector().size(), 2u); // one column is contiguous
    EXPECT_EQ(m.sub(1, 1, 2, 1).as_vector()[1], value_at(2, 1));
    EXPECT_EQ(m.sub(0, 1, 3, 2).as_vector().size(), 6u);
    EXPECT_EQ(matrix(3, 0).as_vector().data(), nullptr);
}

TEST(Dense2D, AListOutlivesItsMatrix) {
    auto list = numbered(3, 2).as_vector();
    EXPECT_EQ(list[5], value_at(2, 1));
    ASSERT_TRUE(list.push_back(7));
    EXPECT_EQ(list[5], value_at(2, 1));
}

TEST(Dense2D, AViewOfTheCallersMemoryWritesThere) {
    int memory[12] = {};
    matrix m = matrix::view(memory, 2, 3, 4);
    m(1, 2) = 99;
    EXPECT_EQ(memory[9], 99);
    EXPECT_EQ(m.data(), memory);
    EXPECT_EQ(m.ld(), 4u);
    matrix copy = m;
    copy(0, 0) = 98;
    EXPECT_EQ(memory[0], 98);
}

TEST(Dense2D, GrowingMovesAwayEvenInsideTheCallersMemory) {
    int memory[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const std::vector<int> before(memory, memory + 12);
    matrix m = matrix::view(memory, 3, 4, 3);
    ASSERT_TRUE(m.resize(3, 2));
    EXPECT_EQ(m.data(), memory);
    const int values[] = {91, 92, 93};
    ASSERT_TRUE(m.append(values));
    m(0, 0) = 90;
    EXPECT_EQ(std::vector<int>(memory, memory + 12), before);
    EXPECT_EQ(entries(m), (std::vector<int>{90, 2, 3, 4, 5, 6, 91, 92, 93}));
    matrix cleared = matrix::view(memory, 3, 4, 3);
    cleared.clear();
    ASSERT_TRUE(cleared.resize(3, 4, 0));
    EXPECT_EQ(std::vector<int>(memory, memory + 12), before);
}

TEST(Dense2D, ADetachedViewSharesNothing) {
    matrix alone(2, 2, 3);
    const int* const own = alone.data();
    EXPECT_TRUE(alone.__detach());
    EXPECT_EQ(alone.data(), own) << "nothing to do";

    matrix window = alone.sub(1, 0, 1, 2);
    EXPECT_TRUE(window.__detach());
    EXPECT_EQ(window.ld(), 1u);
    window(0, 1) = 5;
    EXPECT_EQ(alone(1, 1), 3);

    int memory[2] = {1, 2};
    matrix lent = matrix::view(memory, 1, 2, 1);
    EXPECT_TRUE(lent.__detach());
    lent(0, 0) = 7;
    EXPECT_EQ(memory[0], 1);
    EXPECT_EQ(lent(0, 1), 2);

    matrix none(0, 3);
    EXPECT_TRUE(none.__detach());
    EXPECT_EQ(none.cols(), 3u);
}

TEST(Dense2D, AViewOfNothingIsEmpty) {
    int memory[4] = {};
    expect_dimensions(matrix::view(nullptr, 2, 2, 2), 0, 0);
    expect_dimensions(matrix::view(memory, 0, 2, 2), 0, 0);
    expect_dimensions(matrix::view(memory, 2, 0, 2), 0, 0);
    expect_dimensions(matrix::view(memory, 2, 2, 1), 0, 0);
    expect_dimensions(matrix::view(memory, 2, SIZE_MAX / 2, 2), 0, 0);
    expect_dimensions(matrix::view(memory, 2, 2, SIZE_MAX), 0, 0);
}

TEST(Dense2D, SizesBeyondMemoryFailAndChangeNothing) {
    matrix m = numbered(3, 2);
    const matrix shared = m;
    const std::size_t half = std::size_t(1) << 32;
    const std::pair<std::size_t, std::size_t> sizes[] = {{SIZE_MAX, 1},         {1, SIZE_MAX},
                                                         {SIZE_MAX, SIZE_MAX},  {half, half},
                                                         {SIZE_MAX / 2 + 1, 2}, {3, SIZE_MAX / 3 + 1},
                                                         {3, SIZE_MAX / 3},     {half / 2, half / 2},
                                                         {half, half / 4 + 1},  {3, PTRDIFF_MAX / 3 / sizeof(int)}};
    for (const auto& [rows, cols] : sizes) {
        SCOPED_TRACE(testing::Message() << rows << " x " << cols);
        EXPECT_FALSE(m.resize(rows, cols));
        EXPECT_FALSE(m.resize(rows, cols, 7));
        EXPECT_FALSE(m.__resize_rows(rows, cols, 7));
        EXPECT_FALSE(m.reserve(rows, cols, 1));
        EXPECT_EQ(m.data(), shared.data());
        expect_dimensions(m, 3, 2);
        expect_numbered(m, 3, 2);
        expect_dimensions(matrix(rows, cols), 0, 0);
        expect_dimensions(matrix(rows, cols, 7), 0, 0);
    }
}

TEST(Dense2D, AMatrixOfTooManyRowsHasNoRoomForAColumn) {
    matrix m(SIZE_MAX, 0);
    expect_dimensions(m, SIZE_MAX, 0);
    const int value = 1;
    EXPECT_FALSE(m.append(&value));
    EXPECT_FALSE(m.resize(SIZE_MAX, 1));
    expect_dimensions(m, SIZE_MAX, 0);
}

TEST(Dense2D, AFactorBeyondMemoryIsIgnored) {
    matrix m = numbered(3, 2);
    EXPECT_TRUE(m.reserve(3, 4, SIZE_MAX));
    expect_numbered(m, 3, 2);
    EXPECT_TRUE(m.resize(3, 4));
}
