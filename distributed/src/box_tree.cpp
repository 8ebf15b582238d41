#include "box_tree.h"

namespace quorl::meldra3d_mpi::detail {

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

void box_tree::cover(box* boxes, std::size_t limit) const {
    std::size_t count = 0;
    for (unsigned level = 0; level < levels_ && count == 0; ++level)
        if (4 * nodes_of(level) <= limit)
            for (; count < 4 * nodes_of(level); ++count)
                boxes[count] = get(level, count);
    for (; count < limit; ++count)
        boxes[count] = box::none();
}

} // namespace quorl::meldra3d_mpi::detail
