#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/failing_alloc.h"
#include "support/meshes.h"

// Each operation with its first, second, ... allocation failing: it says so, changes nothing and leaks nothing.
using namespace test;

namespace {

using matrix = dense2D<int>;
using list = dense1D<int, 8>;

const int three[] = {7, 8, 9};

const std::vector<std::pair<const char*, std::function<bool(matrix&)>>> growing_matrix_operations{
    {"resize", [](matrix& m) { return m.resize(3, 20); }},
    {"resize of rows", [](matrix& m) { return m.resize(20, 2); }},
    {"resize that widens and cuts", [](matrix& m) { return m.resize(20, 1); }},
    {"filled resize", [](matrix& m) { return m.resize(3, 20, 5); }},
    {"resize of rows with a fill", [](matrix& m) { return m.__resize_rows(20, 2, 5); }},
    {"reserve", [](matrix& m) { return m.reserve(3, 20, 2); }},
    {"append", [](matrix& m) { return m.append(three); }},
    {"append of an own column", [](matrix& m) { return m.append(m.col(0)); }},
    {"copy", [](matrix& m) { return m.copy(matrix(m)); }},
};

const std::vector<std::pair<const char*, std::function<bool(list&)>>> growing_list_operations{
    {"resize", [](list& l) { return l.resize(20); }},
    {"filled resize", [](list& l) { return l.resize(20, 5); }},
    {"reserve", [](list& l) { return l.reserve(20, 2); }},
    {"push_back", [](list& l) { return l.push_back(5); }},
    {"push_back of an own element", [](list& l) { return l.push_back(l[0]); }},
    {"copy", [](list& l) { return l.copy(list(l)); }},
};

/// Runs an operation on fresh copies of what `make` gives until it succeeds.
template <class Array, class Make, class Operation>
void expect_failures_change_nothing(Make make, const Operation& operation) {
    const std::size_t blocks_before = live_blocks();
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        ASSERT_LT(failures, 10u);
        Array array = make();
        const Array shared = array;
        const auto* const place = array.data();
        const std::size_t size = array.size();
        fail_allocation(failures + 1);
        const bool done = operation(array);
        failed = stop_failing();
        EXPECT_NE(done, failed);
        if (failed) {
            EXPECT_EQ(array.data(), place);
            EXPECT_EQ(array.size(), size);
        }
    }
    EXPECT_GE(failures, 2u + 1) << "the block and its elements are two allocations";
    EXPECT_EQ(live_blocks(), blocks_before);
}

} // namespace

TEST(ArrayMemory, AMatrixOperationWithoutMemoryChangesNothing) {
    for (const auto& [name, operation] : growing_matrix_operations) {
        SCOPED_TRACE(name);
        expect_failures_change_nothing<matrix>([] { return columns<int>({{1, 2, 3}, {4, 5, 6}}); }, operation);
        expect_failures_change_nothing<matrix>(
            [] {
                return as_window(columns<int>({{1, 2, 3}, {4, 5, 6}}), 0);
            },
            operation);
    }
}

TEST(ArrayMemory, AListOperationWithoutMemoryChangesNothing) {
    for (const auto& [name, operation] : growing_list_operations) {
        SCOPED_TRACE(name);
        expect_failures_change_nothing<list>([] { return list{1, 2, 3}; }, operation);
    }
}

TEST(ArrayMemory, AFailedResizeKeepsContentsAndDimensions) {
    for (const std::size_t k : {1u, 2u}) {
        matrix m = columns<int>({{1, 2, 3}, {4, 5, 6}});
        const std::vector<int> before = entries(m);
        for (const auto& [name, operation] : growing_matrix_operations) {
            if (name == std::string("append") || name == std::string("append of an own column"))
                m.reserve(3, 2, 1);
            matrix shared = m; // so that nothing can be done in place
            fail_allocation(k);
            EXPECT_FALSE(operation(m)) << name;
            EXPECT_TRUE(stop_failing()) << name;
            EXPECT_EQ(m.rows(), 3u) << name;
            EXPECT_EQ(m.cols(), 2u) << name;
            EXPECT_EQ(m.ld(), 3u) << name;
            EXPECT_EQ(entries(m), before) << name;
        }
    }
}

TEST(ArrayMemory, AConstructorWithoutMemoryLeavesTheArrayEmpty) {
    const std::size_t blocks_before = live_blocks();
    int memory[4] = {};
    const std::vector<std::pair<std::size_t, std::function<std::size_t()>>> attempts{
        {2, [] { return matrix(3, 4).rows(); }},
        {2, [] { return matrix(3, 4, 7).cols(); }},
        {2, [] { return list(5).size(); }},
        {2, [] { return list(5, 7).size(); }},
        {2,
         [] {
             return list{1, 2, 3}.size();
         }},
        {1, [&] { return matrix::view(memory, 2, 2, 2).rows(); }},
        {1, [&] { return list::view(memory, 4).size(); }},
    };
    for (const auto& [allocations, attempt] : attempts) {
        for (std::size_t k = 1; k <= allocations; ++k) {
            fail_allocation(k);
            EXPECT_EQ(attempt(), 0u);
            EXPECT_TRUE(stop_failing());
        }
        fail_allocation(allocations + 1);
        EXPECT_NE(attempt(), 0u);
        EXPECT_FALSE(stop_failing());
    }
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(ArrayMemory, ViewsWithinABlockNeedNone) {
    matrix m = columns<int>({{1, 2, 3}, {4, 5, 6}});
    list l{1, 2, 3};
    fail_allocation(1);
    matrix copy = m, window = m.sub(1, 0, 2, 2);
    list as_list = m.as_vector(), same = l;
    EXPECT_TRUE(copy.resize(2, 2)); // shared, but smaller
    EXPECT_TRUE(copy.resize(1, 1));
    EXPECT_TRUE(copy.resize(0, 9));
    EXPECT_TRUE(window.resize(1, 2));
    EXPECT_TRUE(as_list.resize(2));
    EXPECT_TRUE(same.resize(0));
    same.clear();
    copy.clear();
    EXPECT_TRUE(copy.copy(matrix(0, 5)));
    EXPECT_FALSE(stop_failing());
}

TEST(ArrayMemory, TheCallersMemoryIsNeverFreed) {
    const std::size_t blocks_before = live_blocks();
    int memory[12] = {};
    {
        matrix m = matrix::view(memory, 3, 4, 3);
        list l = list::view(memory, 12);
        EXPECT_EQ(live_blocks(), blocks_before);
        ASSERT_TRUE(m.resize(5, 5));
        ASSERT_TRUE(l.push_back(1));
        EXPECT_EQ(live_blocks(), blocks_before + 2);
    }
    EXPECT_EQ(live_blocks(), blocks_before);
}

TEST(ArrayMemory, ABlockLivesAsLongAsItsLastView) {
    const std::size_t blocks_before = live_blocks();
    list last;
    {
        const matrix m(3, 4, 7);
        last = m.sub(0, 1, 3, 2).as_vector();
    }
    EXPECT_EQ(live_blocks(), blocks_before + 1);
    EXPECT_EQ(last[5], 7);
    last.clear();
    last = list();
    EXPECT_EQ(live_blocks(), blocks_before);
}
