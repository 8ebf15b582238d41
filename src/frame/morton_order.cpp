#include "frame/morton_order.h"

#include <algorithm>
#include <utility>

namespace quorl::meldra3d::detail {

void sort_by_place(morton_key* keys, morton_key* work, std::size_t n) {
    constexpr unsigned digit_bits = 10; // 1024 streams that are written: as many as the address translation holds
    constexpr unsigned passes = 3 * morton_bits / digit_bits;
    static_assert(passes * digit_bits == 3 * morton_bits);
    constexpr std::size_t digits = std::size_t(1) << digit_bits;
    if (n < 2 * digits) {
        std::sort(keys, keys + n);
        return;
    }
    std::size_t begin[passes][digits] = {};
    const auto digit = [](morton_key key, unsigned pass) { return (key >> (32 + pass * digit_bits)) % digits; };
    for (std::size_t k = 0; k < n; ++k)
        for (unsigned pass = 0; pass < passes; ++pass)
            ++begin[pass][digit(keys[k], pass)];
    morton_key* from = keys;
    morton_key* to = work;
    for (unsigned pass = 0; pass < passes; ++pass) {
        std::size_t sum = 0;
        for (std::size_t& count : begin[pass])
            sum += std::exchange(count, sum);
        for (std::size_t k = 0; k < n; ++k)
            to[begin[pass][digit(from[k], pass)]++] = from[k];
        std::swap(from, to);
    }
    if (from != keys)
        std::copy_n(from, n, keys);
}

} // namespace quorl::meldra3d::detail
