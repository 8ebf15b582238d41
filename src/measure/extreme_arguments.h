#pragma once

#include <array>
#include <cstddef>

#include "frame/lanes.h"
#include "measure/angle_range.h"

// An angle takes some twenty nanoseconds in the mathematical library, its argument a few in vectors. So only those
// arguments are turned into angles that may give the smallest or the largest one of an element.
//
// An argument has a key that rises with the angle, and not faster than the angle. The functions of the library are
// accurate to a few units in the last place but not known to keep the order of their arguments: where keys differ by
// less than `key_margin`, which is some ten roundings of an angle, the angles themselves are compared. So are those of
// arguments whose key is no number.
namespace quorl::meldra3d::detail {

inline constexpr double key_margin = 4e-15;

/// The arguments of the extremes of arguments[begin] to arguments[end - 1]; of equal ones the first. `Argument<Real>`
/// has a member `key`; is(other) and replace(where, other) for each lane; Real is double, or a vector of doubles for as
/// many elements.
template <template <class> class Argument, class Real>
struct extreme_arguments {
    Argument<Real> lowest;
    Argument<Real> highest;
    Real doubtful{}; ///< 1 where another argument may give an extreme

    template <std::size_t Count>
    [[gnu::always_inline]] extreme_arguments(const std::array<Argument<Real>, Count>& arguments, std::size_t begin,
                                             std::size_t end)
        : lowest(arguments[begin]), highest(arguments[begin]) {
        for (std::size_t k = begin + 1; k < end; ++k) {
            lowest.replace(arguments[k].key < lowest.key, arguments[k]);
            highest.replace(arguments[k].key > highest.key, arguments[k]);
        }
        for (std::size_t k = begin; k < end; ++k) {
            doubt(arguments[k].key > lowest.key + key_margin, arguments[k].is(lowest));
            doubt(arguments[k].key < highest.key - key_margin, arguments[k].is(highest));
        }
    }

private:
    [[gnu::always_inline]] void doubt(const auto& apart, const auto& same) {
        doubtful = choose(apart, doubtful, choose(same, doubtful, Real{} + 1));
    }
};

/// The smallest and the largest angle of one element, from the angles of all arguments that may give them.
template <template <class> class Argument, std::size_t Count, class Angle>
[[gnu::noinline]] angle_range range_by_angles(const std::array<Argument<double>, Count>& arguments, std::size_t begin,
                                              std::size_t end, const Angle& angle) {
    const extreme_arguments<Argument, double> extreme(arguments, begin, end);
    const double first = angle(arguments[begin]);
    angle_range range(first, first);
    for (std::size_t k = begin + 1; k < end; ++k) {
        const double key = arguments[k].key;
        if (!(key > extreme.lowest.key + key_margin && key < extreme.highest.key - key_margin))
            range.include(angle(arguments[k]));
    }
    return range;
}

/// The smallest and the largest of angle(arguments[begin]) to angle(arguments[end - 1]) for each lane.
template <template <class> class Argument, class Real, std::size_t Count, class Angle>
[[gnu::always_inline]] inline std::array<angle_range, lane_count<Real>>
ranges_of(const std::array<Argument<Real>, Count>& arguments, std::size_t begin, std::size_t end, const Angle& angle) {
    const extreme_arguments<Argument, Real> extreme(arguments, begin, end);
    std::array<angle_range, lane_count<Real>> ranges;
    for (std::size_t g = 0; g < ranges.size(); ++g) {
        if (lane(extreme.doubtful, g) == 0) {
            ranges[g] = {angle(extreme.lowest.of_lane(g)), angle(extreme.highest.of_lane(g))};
            continue;
        }
        std::array<Argument<double>, Count> of_one;
        for (std::size_t k = begin; k < end; ++k)
            of_one[k] = arguments[k].of_lane(g);
        ranges[g] = range_by_angles(of_one, begin, end, angle);
    }
    return ranges;
}

} // namespace quorl::meldra3d::detail
