#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <numcore/numcore.h>

using quorl::dense1D;

namespace {

using list = dense1D<unsigned, 8>;

std::vector<unsigned> entries(const list& l) {
    return {l.begin(), l.end()};
}

/// A list whose values begin at 10.
list counting(unsigned n) {
    list l(n);
    for (unsigned k = 0; k < n; ++k)
        l[k] = 10 + k;
    return l;
}

} // namespace

TEST(Dense1D, IsEmptyWithoutStorageByDefault) {
    const list l;
    EXPECT_TRUE(l.empty());
    EXPECT_EQ(l.size(), 0u);
    EXPECT_EQ(l.data(), nullptr);
    EXPECT_EQ(l.begin(), l.end());
}

TEST(Dense1D, ConstructorsGiveSizeFillAndValues) {
    EXPECT_EQ(list(5).size(), 5u);
    EXPECT_EQ(entries(list(3, 7u)), (std::vector<unsigned>{7, 7, 7}));
    EXPECT_EQ(entries(list{4, 5}), (std::vector<unsigned>{4, 5}));
    EXPECT_TRUE(list(0, 7u).empty());
    EXPECT_TRUE(list({}).empty());
}

TEST(Dense1D, CanBeReadByARangeLoop) {
    unsigned sum = 0;
    for (const unsigned value : counting(4))
        sum += value;
    EXPECT_EQ(sum, 10u + 11 + 12 + 13);
}

TEST(Dense1D, CopiesAreShallow) {
    list a = counting(3);
    list b = a;
    list c;
    c = a;
    list d;
    d.shallow_copy(a);
    b[1] = 99;
    EXPECT_EQ(a[1], 99u);
    EXPECT_EQ(c[1], 99u);
    EXPECT_EQ(d[1], 99u);
}

TEST(Dense1D, ADeepCopyHasItsOwnValues) {
    list a = counting(3), b;
    ASSERT_TRUE(b.copy(a));
    b[0] = 99;
    EXPECT_EQ(entries(a), entries(counting(3)));
    ASSERT_TRUE(a.copy(a));
    EXPECT_EQ(entries(a), entries(counting(3)));
    ASSERT_TRUE(a.copy(list()));
    EXPECT_TRUE(a.empty());
}

TEST(Dense1D, MovesLeaveTheSourceEmpty) {
    list a = counting(3);
    const unsigned* const place = a.data();
    list b = std::move(a);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.data(), nullptr);
    EXPECT_EQ(b.data(), place);
    list c = counting(5);
    c = std::move(b);
    EXPECT_TRUE(b.empty());
    EXPECT_EQ(b.data(), nullptr);
    EXPECT_EQ(entries(c), entries(counting(3)));
    list& same = c;
    c = std::move(same);
    EXPECT_EQ(entries(c), entries(counting(3)));
    EXPECT_TRUE(b.push_back(1)); // an emptied list can be used again
    EXPECT_EQ(entries(b), std::vector<unsigned>{1});
}

TEST(Dense1D, ResizeKeepsTheFirstElementsAndFillsOnlyTheAddedOnes) {
    list l = counting(3);
    ASSERT_TRUE(l.resize(5, 7));
    EXPECT_EQ(entries(l), (std::vector<unsigned>{10, 11, 12, 7, 7}));
    ASSERT_TRUE(l.resize(2, 8));
    EXPECT_EQ(entries(l), (std::vector<unsigned>{10, 11}));
    ASSERT_TRUE(l.resize(4, 9));
    EXPECT_EQ(entries(l), (std::vector<unsigned>{10, 11, 9, 9}));
    ASSERT_TRUE(l.resize(4, 1));
    EXPECT_EQ(entries(l), (std::vector<unsigned>{10, 11, 9, 9}));
}

TEST(Dense1D, AnElementOfTheListItselfCanFillOrBePushed) {
    for (unsigned n = 1; n < 40; ++n) { // some of these move, some do not
        list l = counting(n);
        ASSERT_TRUE(l.push_back(l[n - 1]));
        EXPECT_EQ(l[n], 10 + n - 1);
        ASSERT_TRUE(l.resize(3 * n + 5, l[0]));
        EXPECT_EQ(l[n + 1], 10u);
        EXPECT_EQ(l[3 * n + 4], 10u);
    }
}

TEST(Dense1D, AppendingToOneViewNeverShowsInAnother) {
    list a = counting(3);
    ASSERT_TRUE(a.reserve(20, 1));
    list b = a;
    ASSERT_TRUE(a.push_back(1));
    ASSERT_TRUE(b.push_back(2));
    EXPECT_EQ(entries(a), (std::vector<unsigned>{10, 11, 12, 1}));
    EXPECT_EQ(entries(b), (std::vector<unsigned>{10, 11, 12, 2}));
}

TEST(Dense1D, AViewThatShrankAndGrowsLeavesTheLongerOneAlone) {
    const list a = counting(6);
    for (const bool cleared : {false, true}) {
        list b = a;
        if (cleared)
            b.clear();
        else
            ASSERT_TRUE(b.resize(2));
        ASSERT_TRUE(b.resize(6, 0));
        EXPECT_EQ(entries(a), entries(counting(6)));
    }
}

TEST(Dense1D, ReservingNoMoreThanThereIsKeepsTheSharing) {
    list a = counting(4);
    list b = a;
    ASSERT_TRUE(b.reserve(4, 2));
    b[0] = 99;
    EXPECT_EQ(a[0], 99u);
}

TEST(Dense1D, RoomReservedIsRoomWithoutMoving) {
    list l = counting(2);
    ASSERT_TRUE(l.reserve(100, 1));
    EXPECT_EQ(entries(l), entries(counting(2)));
    const unsigned* const place = l.data();
    while (l.size() < 100)
        ASSERT_TRUE(l.push_back(0));
    EXPECT_EQ(l.data(), place);
}

TEST(Dense1D, ReservesAMultipleOfWhatItHolds) {
    list l = counting(10);
    ASSERT_TRUE(l.reserve(17, 4)); // beyond what rounding up a block may give
    const unsigned* const place = l.data();
    ASSERT_TRUE(l.resize(40));
    EXPECT_EQ(l.data(), place);
}

TEST(Dense1D, ClearKeepsABlockOfItsOwnForLaterGrowth) {
    list l = counting(10);
    const unsigned* const place = l.data();
    l.clear();
    EXPECT_TRUE(l.empty());
    ASSERT_TRUE(l.resize(10));
    EXPECT_EQ(l.data(), place);
}

TEST(Dense1D, AViewOfTheCallersMemoryWritesThere) {
    unsigned memory[6] = {1, 2, 3, 4, 5, 6};
    list l = list::view(memory + 1, 4);
    EXPECT_EQ(l.data(), memory + 1);
    l[0] = 99;
    EXPECT_EQ(memory[1], 99u);
    ASSERT_TRUE(l.reserve(4, 2));
    EXPECT_EQ(l.data(), memory + 1);
}

TEST(Dense1D, GrowingAViewOfTheCallersMemoryLeavesThatAsItWas) {
    unsigned memory[6] = {1, 2, 3, 4, 5, 6};
    list l = list::view(memory, 6);
    ASSERT_TRUE(l.resize(3));
    ASSERT_TRUE(l.push_back(99)); // memory[3] would have room for it
    EXPECT_EQ(entries(l), (std::vector<unsigned>{1, 2, 3, 99}));
    l[0] = 98;
    EXPECT_EQ(std::vector<unsigned>(memory, memory + 6), (std::vector<unsigned>{1, 2, 3, 4, 5, 6}));
    list cleared = list::view(memory, 6);
    cleared.clear();
    ASSERT_TRUE(cleared.resize(6, 0));
    EXPECT_EQ(memory[0], 1u);
}

TEST(Dense1D, AViewOfNothingIsEmpty) {
    unsigned one = 1;
    EXPECT_EQ(list::view(nullptr, 5).size(), 0u);
    EXPECT_EQ(list::view(nullptr, 5).data(), nullptr);
    EXPECT_EQ(list::view(&one, 0).data(), nullptr);
}

TEST(Dense1D, SizesBeyondMemoryFailAndChangeNothing) {
    list l = counting(3);
    const list shared = l;
    for (const std::size_t n : {SIZE_MAX, SIZE_MAX / 2, SIZE_MAX / sizeof(unsigned), SIZE_MAX / sizeof(unsigned) + 1,
                                SIZE_MAX / sizeof(unsigned) + 2, std::size_t(PTRDIFF_MAX) / sizeof(unsigned)}) {
        EXPECT_FALSE(l.resize(n)) << n;
        EXPECT_FALSE(l.resize(n, 1)) << n;
        EXPECT_FALSE(l.reserve(n, 1)) << n;
        EXPECT_EQ(entries(l), entries(counting(3)));
        EXPECT_EQ(l.data(), shared.data());
        EXPECT_TRUE(list(n).empty());
        EXPECT_EQ(list(n, 1u).data(), nullptr);
    }
}

TEST(Dense1D, AFactorBeyondMemoryIsIgnoredOrFails) {
    list l = counting(3);
    EXPECT_TRUE(l.reserve(1, SIZE_MAX)); // there is room for one
    l.reserve(8, SIZE_MAX);
    EXPECT_EQ(entries(l), entries(counting(3)));
}
