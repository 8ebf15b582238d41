#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include <numcore/numcore.h>

// This program gives the library blocks of its own choice: at addresses that are no multiple of 16, and counted.
namespace {

std::atomic<std::size_t> allocations{0};
std::atomic<std::size_t> bytes_asked{0};
std::atomic<std::size_t> live{0};
std::atomic<unsigned> misfit{0}; // bytes beyond a multiple of 16, below 16

} // namespace

namespace quorl::numcore {

void* __vector_num_alloc(std::size_t bytes) noexcept {
    ++allocations;
    bytes_asked = bytes;
    char* const block = static_cast<char*>(std::malloc(bytes + 16)); // at a multiple of 16
    if (!block)
        return nullptr;
    ++live;
    return block + misfit;
}

void __vector_num_free(void* block) noexcept {
    if (!block)
        return;
    --live;
    std::free(static_cast<char*>(block) - reinterpret_cast<std::uintptr_t>(block) % 16);
}

} // namespace quorl::numcore

using namespace quorl;

namespace {

/// A key of a hash table, say: filled where no element is.
struct key {
    unsigned first, second;
    static key __empty() { return {0xFFFFFFFF, 0xFFFFFFFF}; }
};

/// Notes its end in a counter.
struct watched : numcore::ref_counted {
    explicit watched(int& count) : ends(count) {}
    ~watched() override { ++ends; }
    int& ends;
};

} // namespace

TEST(Storage, BlocksAreAlignedWhateverTheAllocatorGives) {
    for (unsigned k = 0; k < 16; ++k) {
        misfit = k;
        SCOPED_TRACE(k);
        dense2D<double> matrix(3, 5, 1.5);
        dense1D<unsigned, 8> list(7, 3u);
        dense1D<char, 8> bytes(1, 'x');
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(matrix.data()) % 16, 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(list.data()) % 16, 0u);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes.data()) % 16, 0u);
        for (unsigned n = 0; n < 100; ++n)
            ASSERT_TRUE(list.push_back(n));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(list.data()) % 16, 0u);
        EXPECT_EQ(list[6], 3u);
        EXPECT_EQ(list[106], 99u);
    }
    misfit = 0;
    EXPECT_EQ(live, 0u);
}

TEST(Storage, AnAlignedBlockIsAskedForFifteenBytesMore) {
    vector_num<std::uint32_t> block;
    ASSERT_TRUE(block.__grow(100, 0, 1));
    EXPECT_EQ(bytes_asked, 100 * 4 + 15u);
    EXPECT_EQ(block.capacity(), (100 * 4 + 15) / 4u); // what the aligned block holds, to its end
    misfit = 5;
    vector_num<std::uint32_t> displaced;
    ASSERT_TRUE(displaced.__grow(100, 0, 1));
    EXPECT_EQ(displaced.shift(), 11u);
    EXPECT_EQ(displaced.capacity(), (100 * 4 + 15 - 11) / 4u);
    misfit = 0;
}

TEST(Storage, GrowsToTheLargestOfTwoTheFactorAndTheRequest) {
    vector_num<std::array<char, 16>> block; // 15 bytes more never hold one more element
    ASSERT_TRUE(block.__grow(0, 0, 2));
    EXPECT_EQ(block.capacity(), 2u);
    ASSERT_TRUE(block.__grow(3, 0, 1));
    EXPECT_EQ(block.capacity(), 3u);
    ASSERT_TRUE(block.__grow(4, 0, 2));
    EXPECT_EQ(block.capacity(), 6u);
    ASSERT_TRUE(block.__grow(100, 0, 2));
    EXPECT_EQ(block.capacity(), 100u);
    ASSERT_TRUE(block.__grow(5, 0, 1));
    EXPECT_EQ(block.capacity(), 100u);
}

TEST(Storage, GrowingKeepsTheFirstElements) {
    vector_num<unsigned> block;
    ASSERT_TRUE(block.__grow(10, 0, 1));
    for (unsigned k = 0; k < 10; ++k)
        block.data()[k] = k;
    ASSERT_TRUE(block.__grow(20, 7, 1));
    for (unsigned k = 0; k < 7; ++k)
        EXPECT_EQ(block.data()[k], k);
}

TEST(Storage, ABlockCutShorterKeepsWhatItHolds) {
    vector_num<std::array<char, 16>> block;
    ASSERT_TRUE(block.__grow(100, 0, 1));
    for (std::size_t k = 0; k < 100; ++k)
        block.data()[k].fill(static_cast<char>(k));
    ASSERT_TRUE(block.__grow(5, 100, 0)); // no factor: only what is asked for
    EXPECT_EQ(block.capacity(), 5u);
    EXPECT_EQ(block.data()[4][15], 4);
}

TEST(Storage, NewElementsTakeTheEmptyValueOfTheirType) {
    for (unsigned k = 0; k < 16; ++k) {
        misfit = k;
        vector_num<key> block;
        ASSERT_TRUE(block.__grow(3, 0, 1));
        block.data()[0] = {1, 2};
        block.data()[1] = {3, 4};
        ASSERT_TRUE(block.__grow(50, 1, 2));
        EXPECT_EQ(block.data()[0].first, 1u);
        ASSERT_GE(block.capacity(), 50u);
        for (std::size_t n = 1; n < block.capacity(); ++n) {
            EXPECT_EQ(block.data()[n].first, 0xFFFFFFFF) << n;
            EXPECT_EQ(block.data()[n].second, 0xFFFFFFFF) << n;
        }
    }
    misfit = 0;
}

TEST(Storage, GrowthBeyondMemoryFailsAndChangesNothing) {
    vector_num<unsigned> block;
    ASSERT_TRUE(block.__grow(10, 0, 1));
    block.data()[9] = 77;
    const unsigned* const place = block.data();
    const std::size_t capacity = block.capacity();
    EXPECT_FALSE(block.__grow(SIZE_MAX, 10, 1));
    EXPECT_FALSE(block.__grow(SIZE_MAX / 4 + 1, 10, 1));
    EXPECT_FALSE(block.__grow(SIZE_MAX / 4, 10, 1)); // the bytes fit in 64 bits, but not with those for alignment
    EXPECT_FALSE(block.__grow(PTRDIFF_MAX / 4, 10, 1));
    EXPECT_FALSE(block.__grow(11, 10, SIZE_MAX)); // capacity x factor overflows
    EXPECT_FALSE(block.__grow(11, 10, SIZE_MAX / capacity + 1));
    EXPECT_EQ(block.data(), place);
    EXPECT_EQ(block.capacity(), capacity);
    EXPECT_EQ(block.data()[9], 77u);
}

TEST(Storage, MemoryThatIsNotOwnedIsMarkedAndLeftAlone) {
    unsigned memory[4] = {1, 2, 3, 4};
    const std::size_t live_before = live;
    {
        vector_num<unsigned> block;
        ASSERT_TRUE(block.__grow(10, 0, 1));
        block.__lay_over(memory, 4);
        EXPECT_EQ(live, live_before); // its own memory has gone back
        EXPECT_EQ(block.data(), memory);
        EXPECT_EQ(block.capacity(), 4u);
        EXPECT_EQ(block.shift(), 65535u);
        EXPECT_FALSE(block.__owned());
        ASSERT_TRUE(block.__grow(6, 4, 1));
        EXPECT_TRUE(block.__owned());
        EXPECT_EQ(block.data()[3], 4u);
        block.data()[3] = 99;
        EXPECT_EQ(memory[3], 4u);
        block.__lay_over(memory, 4);
    }
    EXPECT_EQ(live, live_before);
}

TEST(Storage, ReleasingClearsDataCapacityAndShift) {
    misfit = 3;
    vector_num<unsigned> block;
    ASSERT_TRUE(block.__grow(10, 0, 1));
    EXPECT_NE(block.shift(), 0u);
    block.__free();
    EXPECT_EQ(block.data(), nullptr);
    EXPECT_EQ(block.capacity(), 0u);
    EXPECT_EQ(block.shift(), 0u);
    misfit = 0;
    numcore::__vector_num_free(nullptr);
}

TEST(Storage, AppendingDoublesTheRoom) {
    constexpr std::size_t n = 100000;
    const std::size_t before = allocations;
    dense1D<unsigned, 8> list;
    for (unsigned k = 0; k < n; ++k)
        ASSERT_TRUE(list.push_back(k));
    EXPECT_LE(allocations - before, 18u); // 2^17 > n
    EXPECT_EQ(list[n - 1], n - 1);
    const std::size_t between = allocations;
    dense2D<unsigned> matrix(4, 0);
    for (unsigned k = 0; k < n; ++k) {
        const unsigned column[] = {k, k, k, k};
        ASSERT_TRUE(matrix.append(column));
    }
    EXPECT_LE(allocations - between, 18u);
    EXPECT_EQ(matrix(3, n - 1), n - 1);
}

TEST(Storage, AppendingThroughAViewThatWasSharedOnceMovesOnce) {
    dense2D<unsigned> matrix(4, 1000, 7u);
    const dense2D<unsigned> shared = matrix;
    const std::size_t before = allocations;
    const unsigned column[] = {1, 2, 3, 4};
    for (unsigned k = 0; k < 900; ++k)
        ASSERT_TRUE(matrix.append(column));
    EXPECT_EQ(allocations - before, 1u);
}

TEST(Ptr, TakesAndDropsReferences) {
    int ends = 0;
    auto* const object = new watched(ends);
    {
        const Ptr<watched> first(object);
        EXPECT_TRUE(object->__unique());
        Ptr<watched> second = first;
        EXPECT_FALSE(object->__unique());
        EXPECT_EQ(second.get(), object);
        EXPECT_EQ(&*second, object);
        Ptr<watched> third = std::move(second);
        EXPECT_FALSE(second);
        EXPECT_TRUE(third);
        third = nullptr;
        EXPECT_FALSE(third);
        EXPECT_TRUE(object->__unique());
        EXPECT_EQ(ends, 0);
    }
    EXPECT_EQ(ends, 1);
}

TEST(Ptr, AssigningWhatItHoldsKeepsTheObject) {
    int ends = 0;
    Ptr<watched> held(new watched(ends));
    watched* const object = held.get();
    held = object; // were the old one dropped first, the object would be gone
    EXPECT_EQ(ends, 0);
    Ptr<watched>& same = held;
    held = same;
    EXPECT_EQ(ends, 0);
    held = std::move(same);
    EXPECT_EQ(held.get(), object);
    EXPECT_TRUE(object->__unique());
    EXPECT_EQ(ends, 0);
    held = new watched(ends);
    EXPECT_EQ(ends, 1);
}

TEST(Ptr, AnObjectMayHoldTheOneThatReplacesIt) {
    struct link : watched {
        using watched::watched;
        Ptr<link> next;
    };
    int ends = 0;
    Ptr<link> first(new link(ends));
    first->next = new link(ends);
    first = first->next; // the last reference to the second is inside the first
    EXPECT_EQ(ends, 1);
    EXPECT_FALSE(first->next);
    first = nullptr;
    EXPECT_EQ(ends, 2);
}

TEST(Storage, ViewsMayBeCopiedAndDroppedOnManyThreads) {
    const std::size_t live_before = live;
    {
        dense2D<unsigned> matrix(4, 100, 7u);
        dense1D<unsigned, 8> list(100, 9u);
        std::vector<std::thread> threads;
        std::atomic<std::size_t> sum{0};
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([matrix, list, &sum]() mutable {
                for (unsigned k = 0; k < 2000; ++k) {
                    const dense2D<unsigned> copy = matrix;
                    dense2D<unsigned> window = copy.sub(0, k % 100, 4, 1);
                    dense1D<unsigned, 8> all = copy.as_vector(), same = list;
                    sum += copy(3, 99) + window(0, 0) + all[399] + same[0];
                    window.resize(5, 2, k); // detaches, whatever the others do
                    same.push_back(k);
                    sum += window(4, 1) - same[100];
                }
            });
        matrix.clear(); // the last view may be dropped by any of them
        list.clear();
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(sum, 4u * 2000 * (7 + 7 + 7 + 9));
    }
    EXPECT_EQ(live, live_before);
}

TEST(Storage, TheLastOfManyThreadsDropsTheBlock) {
    const std::size_t live_before = live;
    for (int round = 0; round < 200; ++round) {
        dense1D<unsigned, 8> list(10, 1u);
        std::thread other([view = list]() mutable {
            view[0] = 2;
            view = dense1D<unsigned, 8>();
        });
        list = dense1D<unsigned, 8>();
        other.join();
        EXPECT_EQ(live, live_before);
    }
}

TEST(Storage, AViewThatGrowsInPlaceSeesWhatTheOtherThreadWroteBeforeItLetGo) {
    for (int round = 0; round < 200; ++round) {
        dense1D<unsigned, 8> list(10, 1u);
        ASSERT_TRUE(list.reserve(1000, 1));
        const unsigned* const place = list.data();
        std::atomic<bool> let_go{false};
        std::thread other([&let_go, view = list]() mutable {
            view[9] = 2;
            view.clear();
            let_go.store(true, std::memory_order_relaxed); // orders nothing: the count itself has to
        });
        while (!let_go.load(std::memory_order_relaxed))
            std::this_thread::yield();
        EXPECT_TRUE(list.push_back(3));
        EXPECT_EQ(list[9], 2u);
        EXPECT_EQ(list.data(), place);
        other.join();
    }
}

TEST(FixedVectors, AreAggregates) {
    constexpr vector_fixed<double, 3> v{1, 2, 3};
    static_assert(v[0] == 1 && v[2] == 3);
    static_assert(std::is_trivially_copyable_v<vector_fixed<double, 3>> && sizeof(v) == 24);
    vector_fixed<double, 3> w{};
    w[1] = 5;
    EXPECT_EQ(w[1], 5);
    EXPECT_EQ(w[0], 0);
}

TEST(FixedVectors, ASymmetricMatrixIsPackedByColumnsOfItsUpperTriangle) {
    constexpr symmetric_fixed<double, 3> m{11, 12, 22, 13, 23, 33};
    static_assert(sizeof(m) == 48);
    for (unsigned i = 0; i < 3; ++i)
        for (unsigned j = 0; j < 3; ++j)
            EXPECT_EQ(m(i, j), i <= j ? 10 * (i + 1) + j + 1 : 10 * (j + 1) + i + 1) << i << ", " << j;
    symmetric_fixed<double, 3> copy{};
    copy = m;
    copy(2, 0) = 99;
    EXPECT_EQ(copy(0, 2), 99);
    EXPECT_EQ(copy[3], 99);
    for (unsigned k : {0u, 1u, 2u, 4u, 5u})
        EXPECT_EQ(copy[k], m[k]);
}

TEST(ByteCount, SaysWhenAProductIsTooLarge) {
    std::size_t bytes = 0;
    EXPECT_TRUE(numcore::__byte_count(3, 5, 8, bytes));
    EXPECT_EQ(bytes, 120u);
    EXPECT_TRUE(numcore::__byte_count(0, SIZE_MAX, 8, bytes));
    EXPECT_EQ(bytes, 0u);
    EXPECT_TRUE(numcore::__byte_count(SIZE_MAX, 0, 8, bytes));
    EXPECT_EQ(bytes, 0u);
    EXPECT_FALSE(numcore::__byte_count(SIZE_MAX, 1, 1, bytes));
    EXPECT_FALSE(numcore::__byte_count(SIZE_MAX / 8 + 1, 8, 1, bytes)); // wraps to 0
    EXPECT_FALSE(numcore::__byte_count(std::size_t(1) << 61, 1, 8, bytes));
    EXPECT_FALSE(numcore::__byte_count(std::size_t(1) << 32, std::size_t(1) << 32, 1, bytes));
    EXPECT_FALSE(numcore::__byte_count(std::size_t(1) << 20, std::size_t(1) << 20, std::size_t(1) << 24, bytes));
}
