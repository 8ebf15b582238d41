#include "box_tree.h"

#include <algorithm>
#include <bit>

namespace quorl::meldra3d_mpi::detail {

namespace {

/// Moves those for which goes_first holds before the others, and counts them. No branch depends on it, since
/// which way one goes cannot be foreseen.
template <class T, class GoesFirst>
std::size_t move_first(T* list, std::size_t n, const GoesFirst& goes_first) {
    std::size_t count = 0;
    for (std::size_t k = 0; k < n; ++k) {
        const T one = list[k];
        list[k] = list[count];
        list[count] = one;
        count += goes_first(one) ? 1 : 0;
    }
    return count;
}

/// As std::nth_element, by key_of(one): C. A. R. Hoare's selection (1961), with the middle of some samples.
template <class T, class KeyOf>
void put_nth(T* list, std::size_t nth, std::size_t n, const KeyOf& key_of) {
    constexpr std::size_t samples = 31;
    for (unsigned round = 0; round < 64 && n > 4 * samples; ++round) {
        float key[samples];
        for (std::size_t k = 0; k < samples; ++k)
            key[k] = key_of(list[k * (n / samples)]);
        std::sort(key, key + samples);
        const float middle = key[nth * samples / n];
        const std::size_t less = move_first(list, n, [&](const T& one) { return key_of(one) < middle; });
        if (nth < less) {
            n = less;
            continue;
        }
        const std::size_t up_to =
            less + move_first(list + less, n - less, [&](const T& one) { return key_of(one) == middle; });
        if (nth < up_to)
            return;
        list += up_to;
        nth -= up_to;
        n -= up_to;
    }
    std::nth_element(list, list + nth, list + n, [&](const T& a, const T& b) { return key_of(a) < key_of(b); });
}

} // namespace

void box_tree::halve(centre* list, std::size_t n) {
    struct range {
        std::size_t first, count, size; // of a power of two
    };
    range waiting[8 * sizeof n];
    unsigned tasks = 0;
    waiting[tasks++] = {0, n, std::bit_ceil(n)};
    while (tasks != 0) {
        const auto [first, count, size] = waiting[--tasks];
        const std::size_t half = size / 2;
        if (count <= 4)
            continue;
        if (count > half) {
            float low[3] = {1, 1, 1}, high[3] = {0, 0, 0};
            for (const centre* c = list + first; c != list + first + count; ++c)
                for (unsigned i = 0; i < 3; ++i) {
                    low[i] = std::min(low[i], c->x[i]);
                    high[i] = std::max(high[i], c->x[i]);
                }
            unsigned axis = 0;
            for (unsigned i = 1; i < 3; ++i)
                axis = high[i] - low[i] > high[axis] - low[axis] ? i : axis;
            put_nth(list + first, half, count, [axis](const centre& one) { return one.x[axis]; });
            waiting[tasks++] = {first + half, count - half, half};
        }
        waiting[tasks++] = {first, std::min(count, half), half};
    }
}

bool box_tree::make_levels(std::size_t n) {
    levels_ = 0;
    std::size_t sum = 0;
    for (std::size_t boxes = n; boxes != 0; boxes = boxes > 4 ? (boxes + 3) / 4 : 0) {
        first_[levels_++] = sum;
        sum += (boxes + 3) / 4;
    }
    first_[levels_] = sum;
    return nodes_.resize(sum);
}

void box_tree::set(unsigned level, std::size_t k, const box& one) {
    node& of = nodes_[first_[level] + k / 4];
    for (unsigned i = 0; i < 3; ++i) {
        of.low[i][k % 4] = one.low[i];
        of.high[i][k % 4] = one.high[i];
    }
}

box box_tree::get(unsigned level, std::size_t k) const {
    const node& of = nodes_[first_[level] + k / 4];
    box one;
    for (unsigned i = 0; i < 3; ++i) {
        one.low[i] = of.low[i][k % 4];
        one.high[i] = of.high[i][k % 4];
    }
    return one;
}

void box_tree::join_levels(std::size_t n) {
    std::size_t boxes = n;
    for (unsigned level = 0; level < levels_; ++level) {
        for (std::size_t k = boxes; k < 4 * nodes_of(level); ++k)
            set(level, k, box::none());
        boxes = nodes_of(level);
        for (std::size_t k = 0; k < boxes && level + 1 < levels_; ++k) {
            box around = get(level, 4 * k);
            for (std::size_t c = 1; c < 4; ++c)
                around.include(get(level, 4 * k + c));
            set(level + 1, k, around);
        }
    }
}

} // namespace quorl::meldra3d_mpi::detail
