#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "measure/extreme_arguments.h"

using namespace quorl::meldra3d::detail;

namespace {

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// An argument whose angle is a table's entry, as rough as a key may be.
template <class Real>
struct numbered {
    Real key, angle;

    numbered<double> of_lane(std::size_t g) const { return {lane(key, g), lane(angle, g)}; }
    auto is(const numbered& other) const { return (key == other.key) & (angle == other.angle); }
    void replace(const auto& where, const numbered& by) {
        *this = {choose(where, by.key, key), choose(where, by.angle, angle)};
    }
};

using arguments = std::array<numbered<double>, 6>;

/// The range as it is defined: of all angles.
angle_range plain_range(const arguments& all) {
    angle_range range(all[0].angle, all[0].angle);
    for (const auto& one : all)
        range.include(one.angle);
    return range;
}

bool are_equal(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

void expect_plain_range(const arguments& all) {
    unsigned calls = 0;
    const auto range = ranges_of(all, 0, all.size(), [&](const numbered<double>& a) {
        ++calls;
        return a.angle;
    })[0];
    const angle_range expected = plain_range(all);
    EXPECT_TRUE(are_equal(range.least(), expected.least())) << range.least() << " " << expected.least();
    EXPECT_TRUE(are_equal(range.most(), expected.most())) << range.most() << " " << expected.most();
    EXPECT_LE(calls, all.size());
}

} // namespace

TEST(ExtremeArguments, OnlyThoseOfTheExtremesBecomeAngles) {
    arguments all{};
    for (std::size_t k = 0; k < all.size(); ++k)
        all[k] = {0.1 * double(k * k % 6), 0.1 * double(k * k % 6)};
    unsigned calls = 0;
    const auto range = ranges_of(all, 1, 5, [&](const numbered<double>& a) {
        ++calls;
        return a.angle;
    })[0];
    EXPECT_EQ(calls, 2u);
    EXPECT_EQ(range.least(), 0.1);
    EXPECT_EQ(range.most(), 0.4);
}

TEST(ExtremeArguments, AnglesDecideBetweenKeysThatAreClose) {
    // The lower key belongs to the greater angle, as a rounding may have it.
    expect_plain_range(
        {{{1, 1}, {1 - 1e-15, 1 + 4e-16}, {0.5, 0.5}, {0.2, 0.2 - 1e-16}, {0.2 - 2e-15, 0.2}, {0.7, 0.7}}});
    std::mt19937 random(1);
    for (int trial = 0; trial < 2000; ++trial) {
        arguments all{};
        for (auto& one : all) {
            const double place = double(random() % 3);
            one = {place + 1e-16 * double(random() % 10), place + 1e-16 * double(random() % 10)};
        }
        expect_plain_range(all);
    }
}

TEST(ExtremeArguments, OfEqualAnglesTheSignOfTheFirstZeroStays) {
    expect_plain_range({{{0.0, 0.0}, {-0.0, -0.0}, {1, 1}, {1, 1}, {0.5, 0.5}, {0.5, 0.5}}});
    expect_plain_range({{{-0.0, -0.0}, {0.0, 0.0}, {-1, -1}, {-1, -1}, {-0.5, -0.5}, {-0.5, -0.5}}});
}

TEST(ExtremeArguments, AnArgumentWithoutAKeyIsTakenIntoAccount) {
    for (std::size_t without = 0; without < 6; ++without)
        for (const double angle : {not_a_number, 3.0, -3.0, 0.35}) {
            arguments all{{{0.1, 0.1}, {0.2, 0.2}, {0.3, 0.3}, {0.4, 0.4}, {0.5, 0.5}, {0.6, 0.6}}};
            all[without] = {not_a_number, angle};
            expect_plain_range(all);
        }
}

TEST(ExtremeArguments, LanesAreElementsOfTheirOwn) {
    std::mt19937 random(2);
    for (int trial = 0; trial < 500; ++trial) {
        std::array<numbered<four_doubles>, 6> four{};
        std::array<arguments, 4> each{};
        for (std::size_t k = 0; k < 6; ++k)
            for (std::size_t g = 0; g < 4; ++g) {
                const double angle =
                    random() % 40 == 0 ? not_a_number : double(random() % 5) + 1e-16 * double(random() % 8);
                each[g][k] = {angle, angle};
                four[k].key[g] = four[k].angle[g] = angle;
            }
        const auto ranges = ranges_of(four, 0, 6, [](const numbered<double>& a) { return a.angle; });
        for (std::size_t g = 0; g < 4; ++g) {
            EXPECT_TRUE(are_equal(ranges[g].least(), plain_range(each[g]).least()));
            EXPECT_TRUE(are_equal(ranges[g].most(), plain_range(each[g]).most()));
        }
    }
}
