#include "frame/morton_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace quorl::meldra3d::detail;

TEST(MortonOrder, InterleavesTheBitsOfTheAxes) {
    std::mt19937 random(1);
    for (unsigned k = 0; k < 1000; ++k) {
        const std::uint32_t at[3] = {std::uint32_t(random() % 1024), std::uint32_t(random() % 1024),
                                     std::uint32_t(random() % 1024)};
        std::uint64_t expected = 0;
        for (unsigned axis = 0; axis < 3; ++axis)
            for (unsigned bit = 0; bit < morton_bits; ++bit)
                expected |= std::uint64_t(at[axis] >> bit & 1) << (32 + 3 * bit + axis);
        const std::uint32_t number = std::uint32_t(random());
        const morton_key key = morton_key_of(at[0], at[1], at[2], number);
        EXPECT_EQ(key, expected | number);
        EXPECT_EQ(number_of(key), number);
    }
}

TEST(MortonOrder, SortsByPlaceAndThenByNumber) {
    std::mt19937 random(2);
    for (const std::size_t n : {0u, 1u, 2u, 2047u, 2048u, 2049u, 100000u})
        for (const std::uint32_t places : {1u, 3u, 1024u}) {
            const auto place = [&] { return std::uint32_t(random() % places); };
            std::vector<morton_key> keys(n), work(n);
            for (std::size_t k = 0; k < n; ++k)
                keys[k] = morton_key_of(place(), place(), place(), std::uint32_t(k));
            auto expected = keys;
            std::sort(expected.begin(), expected.end());
            sort_by_place(keys.data(), work.data(), n);
            EXPECT_EQ(keys, expected);
        }
}
