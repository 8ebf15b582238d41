#include "space_order.h"

#include <utility>

namespace quorl::meldra3d_mpi::detail {

namespace {

constexpr unsigned axis_bits = 21;

/// Each of 21 bits, followed by two zeros.
std::uint64_t spread_bits(std::uint64_t bits) {
    bits = (bits | bits << 32) & 0x001F00000000FFFF;
    bits = (bits | bits << 16) & 0x001F0000FF0000FF;
    bits = (bits | bits << 8) & 0x100F00F00F00F00F;
    bits = (bits | bits << 4) & 0x10C30C30C30C30C3;
    return (bits | bits << 2) & 0x1249249249249249;
}

} // namespace

space_curve::space_curve(const box& around) : low_{around.low[0], around.low[1], around.low[2]} {
    double edge = 0;
    for (unsigned i = 0; i < 3; ++i)
        edge = std::max(edge, around.high[i] - around.low[i]);
    scale_ = (1u << axis_bits) / edge; // infinite or 0 for a box that is a point or too large, which orders nothing
}

std::uint64_t space_curve::place_of(const double* x) const {
    std::uint64_t place = 0;
    for (unsigned i = 0; i < 3; ++i) {
        const double q = std::min(std::max(0.0, (x[i] - low_[i]) * scale_), double((1u << axis_bits) - 1));
        place |= spread_bits(static_cast<std::uint64_t>(q)) << i; // max(0, NaN) is 0
    }
    return place;
}

void sort_by_place(placed* list, placed* work, std::size_t n) {
    constexpr unsigned digit_bits = 9, passes = 3 * axis_bits / digit_bits;
    static_assert(passes * digit_bits == 3 * axis_bits);
    constexpr std::size_t digits = std::size_t(1) << digit_bits;
    if (n < 2 * digits) {
        std::sort(list, list + n, [](const placed& a, const placed& b) {
            return a.place != b.place ? a.place < b.place : a.number < b.number;
        });
        return;
    }
    std::size_t begin[passes][digits] = {};
    const auto digit = [](const placed& one, unsigned pass) { return (one.place >> (pass * digit_bits)) % digits; };
    for (std::size_t k = 0; k < n; ++k)
        for (unsigned pass = 0; pass < passes; ++pass)
            ++begin[pass][digit(list[k], pass)];
    placed* from = list;
    placed* to = work;
    for (unsigned pass = 0; pass < passes; ++pass) {
        std::size_t sum = 0;
        for (std::size_t& count : begin[pass])
            sum += std::exchange(count, sum);
        for (std::size_t k = 0; k < n; ++k)
            to[begin[pass][digit(from[k], pass)]++] = from[k];
        std::swap(from, to);
    }
    if (from != list)
        std::copy_n(from, n, list);
}

} // namespace quorl::meldra3d_mpi::detail
